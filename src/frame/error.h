// How a function of the library fails: one error record (code, bare file name, line), then its failure value.
#pragma once

#include <cstdint>

#include "kavo/core.h"
#include "kavonetsdk/error.h"

namespace kavonet {

// The name of a source file without its folders: callers compare the bare name.
inline const char *bare_name(const char *path)
{
    const char *slash = __builtin_strrchr(path, '/');
    return slash == nullptr ? path : slash + 1;
}

// Records the failure at the line of the call and gives back `result`.
template <class Result>
Result fail(uint32_t code, Result result, const char *path = __builtin_FILE(), int line = __builtin_LINE())
{
    KLIBCErrSetEx(code, bare_name(path), line);
    return result;
}

// The same with a line number that is part of the interface: callers and their tools compare it, so it stays what it is
// wherever the statement stands in the file.
template <class Result> Result fail_at(int line, uint32_t code, Result result, const char *path = __builtin_FILE())
{
    KLIBCErrSetEx(code, bare_name(path), line);
    return result;
}

// The error record as it is now, to be put back after other calls: what failed first is what callers want to know.
class KeptFailure {
public:
    void put_back() const { KLIBCErrSetEx(code_, file_, line_); }

private:
    uint32_t code_ = KLIBCErrGet();
    const char *file_ = KLIBCErrorGetFile();
    int line_ = KLIBCErrorGetLine();
};

} // namespace kavonet
