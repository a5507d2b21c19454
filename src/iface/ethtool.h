// The questions to an Ethernet driver.
#pragma once

#include <linux/ethtool.h>

#include "frame/ifrequest.h"

namespace kavonet {

class EthtoolRequest {
public:
    EthtoolRequest(const Socket &socket, const char *name) : request_(socket, name) {}

    // Speed, duplex and supported modes. False with errno when the driver refuses.
    bool ask_settings(ethtool_cmd &settings)
    {
        settings = {};
        settings.cmd = ETHTOOL_GSET;
        return ask(&settings);
    }

    // Whether the link is up.
    bool ask_link(bool &up)
    {
        ethtool_value value{};
        value.cmd = ETHTOOL_GLINK;
        const bool answered = ask(&value);
        up = value.data != 0;
        return answered;
    }

private:
    bool ask(void *data)
    {
        request_.raw().ifr_data = static_cast<char *>(data);
        return request_.ask(SIOCETHTOOL);
    }

    InterfaceRequest request_;
};

} // namespace kavonet
