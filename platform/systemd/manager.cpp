#include "systemd/manager.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "systemd/limits.h"

namespace kavo {
namespace {

constexpr char BUS_ADDRESS[] = "unix:path=/run/dbus/system_bus_socket";
constexpr char SERVICE[] = "org.freedesktop.systemd1";
constexpr char OBJECT[] = "/org/freedesktop/systemd1";
constexpr char INTERFACE[] = "org.freedesktop.systemd1.Manager";
constexpr char UNIT_INTERFACE[] = "org.freedesktop.systemd1.Unit";
constexpr char NO_SUCH_UNIT[] = "org.freedesktop.systemd1.NoSuchUnit";

constexpr uint64_t SECOND = 1'000'000;
constexpr uint64_t CONNECT_LIMIT = CONNECT_SECONDS * SECOND;
constexpr uint64_t CALL_LIMIT = CALL_SECONDS * SECOND;
constexpr uint64_t JOB_LIMIT = JOB_SECONDS * SECOND;

uint64_t now()
{
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<uint64_t>(time.tv_sec) * SECOND + static_cast<uint64_t>(time.tv_nsec) / 1000;
}

// The answer of a call that may have failed.
struct Answer {
    explicit Answer(const SdBus &sd) : calls(sd) {}
    Answer(const Answer &) = delete;
    Answer &operator=(const Answer &) = delete;
    ~Answer()
    {
        calls.message_unref(message);
        calls.error_free(&error);
    }

    const SdBus &calls;
    sd_bus_message *message = nullptr;
    sd_bus_error error = SD_BUS_ERROR_NULL;
};

} // namespace

Manager::~Manager()
{
    if (bus_ != nullptr)
        sd_->close_unref(bus_);
}

// Keeps the reason: the manager's own words where there are some. Gives back false.
bool Manager::refuse(int error, const sd_bus_error *answer)
{
    const bool told = answer != nullptr && answer->message != nullptr;
    snprintf(reason_, sizeof reason_, "%s", told ? answer->message : strerror(abs(error)));
    return false;
}

// Works off what the bus brings until `is_done`, within the time.
template <class Test> bool Manager::process_until(Test is_done, uint64_t deadline, const char *late)
{
    while (!is_done()) {
        const uint64_t time = now();
        if (time >= deadline) {
            snprintf(reason_, sizeof reason_, "%s", late);
            return false;
        }
        int result = sd_->process(bus_, nullptr);
        if (result == 0)
            result = sd_->wait(bus_, deadline - time);
        if (result < 0 && result != -EINTR)
            return refuse(result);
    }
    return true;
}

// The environment may name another bus; units are those of the system, so its bus is named here.
bool Manager::connect()
{
    sd_ = sd_bus_calls();
    if (sd_ == nullptr)
        return refuse(ELIBACC);
    int result = sd_->create(&bus_);
    if (result >= 0)
        result = sd_->set_address(bus_, BUS_ADDRESS);
    if (result >= 0)
        result = sd_->set_bus_client(bus_, 1);
    if (result >= 0)
        result = sd_->set_method_call_timeout(bus_, CALL_LIMIT);
    if (result >= 0)
        result = sd_->start(bus_);
    if (result < 0)
        return refuse(result);
    // A call would wait for the bus by itself, but longer than anybody should.
    return process_until([this] { return sd_->is_ready(bus_) != 0; }, now() + CONNECT_LIMIT, "the bus does not answer");
}

int Manager::note_job(sd_bus_message *message, void *manager, sd_bus_error *)
{
    auto *self = static_cast<Manager *>(manager);
    const char *job = nullptr;
    const char *result = nullptr;
    if (self->sd_->message_read(message, "uoss", nullptr, &job, nullptr, &result) >= 0 &&
        strcmp(job, self->job_) == 0) {
        snprintf(self->result_, sizeof self->result_, "%s", result);
        self->job_gone_ = true;
    }
    return 0;
}

// The manager tells of a job's end to those who asked for it, and it may end before the call that made it returns. What
// comes in between is kept by the bus until it is worked off, when the job's path is known.
bool Manager::subscribe()
{
    int result = sd_->match_signal(bus_, nullptr, SERVICE, OBJECT, INTERFACE, "JobRemoved", note_job, this);
    if (result < 0)
        return refuse(result);
    Answer answer(*sd_);
    result = sd_->call_method(bus_, SERVICE, OBJECT, INTERFACE, "Subscribe", &answer.error, nullptr, nullptr);
    return result >= 0 || refuse(result, &answer.error);
}

bool Manager::run_job(const char *method, const char *unit)
{
    if (!subscribe())
        return false;
    const uint64_t deadline = now() + JOB_LIMIT;
    Answer answer(*sd_);
    int result = sd_->call_method(bus_, SERVICE, OBJECT, INTERFACE, method, &answer.error, &answer.message, "ss", unit,
                                  "replace");
    const char *job = nullptr;
    if (result >= 0)
        result = sd_->message_read(answer.message, "o", &job);
    if (result < 0)
        return refuse(result, &answer.error);
    snprintf(job_, sizeof job_, "%s", job);
    if (!process_until([this] { return job_gone_; }, deadline, "its job takes too long"))
        return false;
    if (strcmp(result_, "done") == 0)
        return true;
    snprintf(reason_, sizeof reason_, "its job ended with \"%s\"", result_);
    return false;
}

int Manager::is_active(const char *unit)
{
    Answer place(*sd_);
    int result = sd_->call_method(bus_, SERVICE, OBJECT, INTERFACE, "GetUnit", &place.error, &place.message, "s", unit);
    if (sd_->error_has_name(&place.error, NO_SUCH_UNIT) != 0)
        return 0;
    const char *path = nullptr;
    if (result >= 0)
        result = sd_->message_read(place.message, "o", &path);
    if (result < 0) {
        refuse(result, &place.error);
        return -1;
    }
    Answer answer(*sd_);
    char *state = nullptr;
    result = sd_->get_property_string(bus_, SERVICE, path, UNIT_INTERFACE, "ActiveState", &answer.error, &state);
    if (result < 0) {
        refuse(result, &answer.error);
        return -1;
    }
    const bool active = strcmp(state, "active") == 0 || strcmp(state, "reloading") == 0;
    free(state);
    return active ? 1 : 0;
}

} // namespace kavo
