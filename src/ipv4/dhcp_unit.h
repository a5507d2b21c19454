// The service unit of an interface's DHCP client.
#pragma once

#include "frame/text.h"

namespace kavonet {

inline Text<256> dhcp_unit(const char *name)
{
    return Text<256>("dhclient@%s.service", name);
}

} // namespace kavonet
