// Interface names as callers pass them.
#pragma once

#include <cstring>

#include <net/if.h>

#include "frame/text.h"

namespace kavonet {

// A name as the kernel holds it: at most 15 characters.
using InterfaceName = Text<IFNAMSIZ>;

// A name becomes part of paths, command arguments and keys. It is refused everywhere when it is null or empty, when it
// would leave its directory ("/", ".", "..") or when it holds white space or a control character.
inline bool is_interface_name(const char *name)
{
    if (name == nullptr || name[0] == '\0' || strcmp(name, ".") == 0 || strcmp(name, "..") == 0)
        return false;
    for (const char *c = name; *c != '\0'; ++c) {
        if (*c == '/' || static_cast<unsigned char>(*c) <= ' ' || *c == '\x7f')
            return false;
    }
    return true;
}

// The same, and it fits the kernel's buffer of 16 bytes: the rule of every function that has no own rule for long names.
inline bool is_short_interface_name(const char *name)
{
    return is_interface_name(name) && strnlen(name, IFNAMSIZ) < IFNAMSIZ;
}

} // namespace kavonet
