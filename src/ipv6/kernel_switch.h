// The kernel's IPv6 switches of an interface.
#pragma once

#include <cstdio>

#include "frame/owner.h"
#include "frame/text.h"

namespace kavonet {

using SwitchPath = Text<128>;

inline SwitchPath switch_path(const char *name, const char *which)
{
    return SwitchPath("/proc/sys/net/ipv6/conf/%s/%s", name, which);
}

enum class Switched { DONE, NOT_OPENED, NOT_WRITTEN };

inline Switched write_switch(const SwitchPath &path, const char *value)
{
    File file(fopen(path.c_str(), "we"));
    if (!file)
        return Switched::NOT_OPENED;
    const bool written = fputs(value, file.get()) >= 0;
    // The kernel answers at the flush, which closing does.
    return fclose(file.release()) == 0 && written ? Switched::DONE : Switched::NOT_WRITTEN;
}

} // namespace kavonet
