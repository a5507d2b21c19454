#include "kavonetsdk/diag.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "diag/socket_table.h"
#include "frame/error.h"
#include "frame/kernel_file.h"
#include "frame/log.h"

using namespace kavonet;

namespace {

constexpr unsigned int LISTENING = 10; // the kernel's number of the state

// The caller's array. What it holds is marked besides, so that a port is looked up at once however many there are.
class PortList {
public:
    PortList(int *ports, int capacity) : ports_(ports), capacity_(capacity) {}

    [[nodiscard]] int count() const { return count_; }
    [[nodiscard]] bool full() const { return count_ == capacity_; }

    void add(unsigned int port)
    {
        if (!full() && !holds(port))
            ports_[count_++] = static_cast<int>(port);
    }

private:
    static constexpr unsigned int PORTS = 65536;
    static constexpr unsigned int BITS = 8;

    // Whether the port is there; from now on it counts as such.
    bool holds(unsigned int port)
    {
        if (port >= PORTS) // no kernel lists one
            return std::find(ports_, ports_ + count_, static_cast<int>(port)) != ports_ + count_;
        const unsigned int bit = 1U << port % BITS;
        const bool held = (marks_[port / BITS] & bit) != 0;
        marks_[port / BITS] = static_cast<unsigned char>(marks_[port / BITS] | bit);
        return held;
    }

    int *ports_;
    int capacity_;
    int count_ = 0;
    std::array<unsigned char, PORTS / BITS> marks_{};
};

} // namespace

int KAVONetGetPortUsedInRange(int *rgPort, int *pCount, int lowest, int highest, int protocol)
{
    if (rgPort == nullptr || pCount == nullptr || *pCount < 0)
        return fail(NET_ERR_BAD_PARAMETER, -1);
    PortList found(rgPort, *pCount);
    for (const char *path : socket_tables(static_cast<unsigned int>(protocol))) {
        KernelFile table(path);
        if (!table) {
            log_err("Fail to open [%s], errno=[%d/%m]", path, errno);
            continue;
        }
        SocketLine line;
        while (!found.full() && table.next_line(line)) {
            SocketColumns columns(line);
            unsigned int port = 0;
            unsigned int state = 0;
            // The same state counts for UDP, whose sockets never have it: callers ask for listeners.
            if (read_port_and_state(columns, port, state) && state == LISTENING &&
                std::cmp_greater_equal(port, lowest) && std::cmp_less_equal(port, highest))
                found.add(port);
        }
    }
    *pCount = found.count();
    return 0;
}
