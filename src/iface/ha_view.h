// What of a list of interfaces depends on high availability.
#pragma once

#include "frame/name.h"
#include "kavo/ha.h"

namespace kavonet {

class HaView {
public:
    // Whoever asks for the pair's addresses gets them on an appliance that has HA interfaces, whether HA runs or not.
    explicit HaView(bool addresses_asked) : addresses_(addresses_asked && KAVOHAHasHAIF() == 1) {}

    // Learns, while HA runs, which interface carries its heartbeat. False when it cannot be told: none is hidden then.
    bool find_heartbeat()
    {
        if (KAVOHAIsRunning() != 1 || KAVOHAGetHeartbeatIF(heartbeat_.buffer(), heartbeat_.size()) == 0)
            return true;
        heartbeat_.format("%s", ""); // whatever a failure left there
        return false;
    }
    [[nodiscard]] bool is_heartbeat(const char *name) const { return !heartbeat_.empty() && heartbeat_.is(name); }

    // Whether entries carry the pair's address, and interfaces without one are left out.
    [[nodiscard]] bool addresses() const { return addresses_; }

    // Whether nothing was listed because the pair's addresses are not there yet.
    [[nodiscard]] bool is_not_ready(int listed) const { return listed == 0 && addresses_ && KAVOHAIsActive() == 1; }

private:
    bool addresses_;
    InterfaceName heartbeat_; // empty unless HA runs and tells
};

} // namespace kavonet
