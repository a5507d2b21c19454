// How a function of this library fails: one error record (code, bare file name, line), then its failure value.
#pragma once

#include <cstdint>

#include "kavo/core.h"

namespace kavo {

enum ErrorCode : uint32_t {
    ERROR_MEMORY = 0x0200,
    ERROR_LOCK = 0x0400,
    ERROR_OPEN = 0x0900,
    ERROR_READ = 0x0A00,
    ERROR_WRITE = 0x0B00,
    ERROR_PARAMETER = 0x0D00,
    ERROR_RENAME = 0x2800,
    ERROR_EXEC = 0x2A00,
    ERROR_SYSTEM = 0x8100,
};

// The name of a source file without its folders.
constexpr const char *bare_name(const char *path)
{
    const char *name = path;
    for (; *path != '\0'; ++path) {
        if (*path == '/')
            name = path + 1;
    }
    return name;
}

// Records the failure at the line of the call and gives back `result`.
template <class Result>
Result fail(uint32_t code, Result result, const char *path = __builtin_FILE(), int line = __builtin_LINE())
{
    KLIBCErrSetEx(code, bare_name(path), line);
    return result;
}

} // namespace kavo
