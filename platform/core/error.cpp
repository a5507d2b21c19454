#include "kavo/core.h"

namespace {

struct Record {
    uint32_t code;
    int line;
    const char *file;
};

// Part of the thread's own block from its start on, so that recording a failure never allocates.
[[gnu::tls_model("initial-exec")]] constinit thread_local Record record{0, 0, ""};

} // namespace

extern "C" void KLIBCErrSetEx(uint32_t code, const char *szFile, int line)
{
    record = {code, line, szFile == nullptr ? "" : szFile};
}

extern "C" uint32_t KLIBCErrGet(void)
{
    return record.code;
}

extern "C" const char *KLIBCErrorGetFile(void)
{
    return record.file;
}

extern "C" int KLIBCErrorGetLine(void)
{
    return record.line;
}
