// The service manager, as one call sees it: a connection of its own, closed at its end.
#pragma once

#include <cstdint>

#include "systemd/sdbus.h"

namespace kavo {

class Manager {
public:
    Manager() = default;
    Manager(const Manager &) = delete;
    Manager &operator=(const Manager &) = delete;
    ~Manager();

    // Connects to the system's bus. False with a reason after a bounded time.
    bool connect();

    // Asks for a job ("StartUnit") and waits until it is done. False with a reason.
    bool run_job(const char *method, const char *unit);

    // 1 active, 0 not, -1 with a reason.
    int is_active(const char *unit);

    // Why the last call failed.
    [[nodiscard]] const char *reason() const { return reason_; }

private:
    static int note_job(sd_bus_message *message, void *manager, sd_bus_error *error);

    bool subscribe();
    template <class Test> bool process_until(Test is_done, uint64_t deadline, const char *late);
    bool refuse(int error, const sd_bus_error *answer = nullptr);

    const SdBus *sd_ = nullptr;
    sd_bus *bus_ = nullptr;
    char job_[256] = "";   // the path of the awaited job
    char result_[64] = ""; // its result, as soon as it is gone
    bool job_gone_ = false;
    char reason_[256] = "";
};

} // namespace kavo
