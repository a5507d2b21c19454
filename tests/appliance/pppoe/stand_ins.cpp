#include "stand_ins.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fstream>

#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kavo/core.h"
#include "support/faults.h"
#include "support/private_root.h"

namespace {

int connections = 0;

template <class Function> Function real(const char *name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

bool fails(const char *function, int error)
{
    if (!support::fails_now(function))
        return false;
    errno = error;
    return true;
}

// Whether the line's words begin with those words.
bool begins_with(const std::string &line, const std::string &words)
{
    return line == words || line.compare(0, words.size() + 1, words + " ") == 0;
}

} // namespace

namespace stand_ins {

void run_connections(int count)
{
    connections = count;
}

std::vector<std::string> &relays()
{
    static std::vector<std::string> lines;
    return lines;
}

void clear()
{
    connections = 0;
    relays().clear();
}

} // namespace stand_ins

extern "C" int KLIBCPs(const char *szName, char *szBuf, int cbBuf)
{
    const bool asked_rightly = strcmp(szName, "pppoe-connect") == 0 && szBuf != nullptr && cbBuf == 256;
    return asked_rightly ? connections : -2;
}

extern "C" int KLIBCIsProcAlive(const char *szCmdline)
{
    for (const std::string &line : stand_ins::relays()) {
        if (begins_with(line, szCmdline))
            return 1;
    }
    return 0;
}

// Each try is written down among the recorded calls.
extern "C" int KLIBCKill(const char *szCmdline, int flag)
{
    std::ofstream(support::RECORDED_CALLS, std::ios::app) << "[kill] [" << szCmdline << "] [" << flag << "]\n";
    if (support::fails_now("KLIBCKill"))
        return -1;
    std::erase_if(stand_ins::relays(), [&](const std::string &line) { return begins_with(line, szCmdline); });
    return 0;
}

#define PASS_ON(result, name, parameters, arguments, failure, error)                                                   \
    extern "C" result name parameters                                                                                  \
    {                                                                                                                  \
        if (fails(#name, error))                                                                                       \
            return failure;                                                                                            \
        static const auto next = real<result(*) parameters>(#name);                                                    \
        return next arguments;                                                                                         \
    }

PASS_ON(int, KLIBCFileEnumDir, (const char *folder, int flags, PKLIBSZLIST *list, int most),
        (folder, flags, list, most), -1, EIO)
PASS_ON(FILE *, fdopen, (int fd, const char *mode) noexcept, (fd, mode), nullptr, ENOMEM)
PASS_ON(int, mkdir, (const char *path, mode_t mode) noexcept, (path, mode), -1, EROFS)
PASS_ON(ssize_t, write, (int fd, const void *data, size_t size), (fd, data, size), 1, ENOSPC)
PASS_ON(FILE *, KLIBCPopen, (const char *program, const char *mode, ...), (program, mode, nullptr), nullptr, EMFILE)

extern "C" int fprintf(FILE *file, const char *format, ...)
{
    if (fails("fprintf", EIO))
        return -1;
    va_list arguments;
    va_start(arguments, format);
    const int result = vfprintf(file, format, arguments);
    va_end(arguments);
    return result;
}
