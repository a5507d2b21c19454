// What the writers of a bond's ifcfg files share.
#pragma once

#include <cstring>

#include "frame/name.h"
#include "frame/paths.h"
#include "kavo/core.h"

namespace kavonet {

// A name in a bond's record. One that fills its bytes without a terminator is too long to be one.
template <size_t Size> bool is_record_name(const char (&name)[Size])
{
    return memchr(name, '\0', Size) != nullptr && is_short_interface_name(name);
}

inline Path saved_path(const char *port)
{
    return Path("%s.saved", ifcfg_path(port).c_str());
}

inline bool copy_file(const Path &from, const Path &to)
{
    return KLIBCExec("/bin/cp", "-f", from.c_str(), to.c_str(), nullptr) == 0;
}

// Puts a port's file back as it was before the bond was changed. A port that was not come to yet has nothing to put back.
inline void put_back_saved(const char *port)
{
    KLIBCExec("/bin/mv", "-f", saved_path(port).c_str(), ifcfg_path(port).c_str(), nullptr);
}

} // namespace kavonet
