#include "support/faults.h"

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <utility>

#include <dlfcn.h>
#include <ifaddrs.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kavo/core.h"
#include "kavo/ha.h"
#include "kavo/plugin.h"
#include "kavo/systemd.h"

namespace support {
namespace {

std::map<std::string, int> &pending()
{
    static std::map<std::string, int> map;
    return map;
}

std::map<std::string, std::function<void()>> &actions()
{
    static std::map<std::string, std::function<void()>> map;
    return map;
}

// Of any function: which call is to fail, how many were made, and which one it was. Plain, because the allocator asks too.
long any_to_fail = 0;
long any_made = 0;
const char *any_failed = nullptr;

bool armed = false;
bool acting = false; // inside an action

KLIBPLUGINHANDLE left_handle = 0;

// A release that fails has nobody to make up for it. An item that is missing or an event that is not open is an answer, which
// a test asks for by its name.
bool never_has_a_turn(const char *function)
{
    return strstr(function, "Unlock") != nullptr || strcmp(function, "KLIBPluginExit") == 0 ||
           strcmp(function, "KLIBPluginHasInit") == 0 || strcmp(function, "KLIBCSzListGet") == 0;
}

} // namespace

void fail_call(const char *function, int n)
{
    pending()[function] = n;
    armed = true;
}

void on_call(const char *function, std::function<void()> action)
{
    actions()[function] = std::move(action);
    armed = true;
}

void fail_any_call(long n)
{
    any_made = 0;
    any_failed = nullptr;
    any_to_fail = n;
}

const char *failed_call()
{
    return any_failed;
}

void leave_handle(KLIBPLUGINHANDLE handle)
{
    left_handle = handle;
}

bool failing_any()
{
    return any_to_fail > 0;
}

void clear_faults()
{
    any_to_fail = 0;
    pending().clear();
    actions().clear();
    armed = false;
    left_handle = 0;
}

bool fails_now(const char *function)
{
    if (any_to_fail > 0) {
        if (never_has_a_turn(function))
            return false;
        if (++any_made != any_to_fail)
            return false;
        any_failed = function;
        return true;
    }
    if (!armed)
        return false;
    if (acting)
        return false;
    if (const auto found = actions().find(function); found != actions().end()) {
        const auto action = found->second; // it may install another one
        acting = true;
        action();
        acting = false;
    }
    const auto it = pending().find(function);
    if (it == pending().end())
        return false;
    if (it->second == 0)
        return true;
    if (--it->second > 0)
        return false;
    pending().erase(it);
    return true;
}

} // namespace support

namespace {

std::atomic<int> last_wait = -1;

int note_wait(int seconds)
{
    last_wait = seconds;
    return seconds;
}

std::atomic<size_t> last_hostname = 0;

size_t note_hostname(size_t size)
{
    last_hostname = size;
    return size;
}

std::atomic<int> synced = -1;

// The platform's record, and a handle all the same where a test wants one.
void fail_to_open(KLIBPLUGINHANDLE *handle)
{
    KLIBCErrSetEx(0x5151, "fault.c", 51);
    if (support::left_handle != 0)
        *handle = support::left_handle;
}

template <class Function> Function real(const char *name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

} // namespace

int support::last_lock_wait()
{
    return last_wait;
}

size_t support::last_hostname_size()
{
    return last_hostname;
}

int support::last_synced()
{
    return synced;
}

// A stand-in that fails on demand with `failure` and the error that the function leaves, and else calls the real one.
#define FAILING_WITH(result, name, parameters, arguments, failure, leave_error)                                        \
    extern "C" result name parameters                                                                                  \
    {                                                                                                                  \
        if (support::fails_now(#name)) {                                                                               \
            leave_error;                                                                                               \
            errno = EIO;                                                                                               \
            return failure;                                                                                            \
        }                                                                                                              \
        static const auto next = real<result(*) parameters>(#name);                                                    \
        return next arguments;                                                                                         \
    }

// The platform leaves its record; libc, and what only answers a question, just errno.
#define FAILING(result, name, parameters, arguments, failure)                                                          \
    FAILING_WITH(result, name, parameters, arguments, failure, KLIBCErrSetEx(0x5151, "fault.c", 51))
#define FAILING_LIBC(result, name, parameters, arguments, failure)                                                     \
    FAILING_WITH(result, name, parameters, arguments, failure, )

FAILING(int, KLIBCFileLock, (int word, int wait), (word, note_wait(wait)), -1)
FAILING(int, KLIBCFileUnlock, (int lockClass), (lockClass), -1)
FAILING(int, KLIBCFileLockTimeByFile, (const char *path, int mode, int timeout, int *fd),
        (path, mode, note_wait(timeout), fd), 0)
FAILING(int, KLIBCFileUnlockByFile, (int fd), (fd), 0)
FAILING(PKLIBSZLIST, KLIBCSzListAlloc, (int items), (items), nullptr)
FAILING(int, KLIBCSzListPush, (PKLIBSZLIST * list, const char *text), (list, text), -1)
FAILING(PKLIBSZHASH, KLIBCSzHashAlloc, (int buckets), (buckets), nullptr)
FAILING(int, KLIBCSzHashSetValue, (PKLIBSZHASH * hash, const char *key, const char *value), (hash, key, value), -1)
FAILING(int, KLIBCFileGetKeyValue, (const char *path, const char *key, char *value, int size, int flags),
        (path, key, value, size, flags), -1)
FAILING(int, KLIBCFileSetKeyValue, (const char *path, const char *key, const char *value, const char *format),
        (path, key, value, format), -1)
FAILING(int, KLIBCFileSetKeys, (const char *path, PKLIBSZHASH set, PKLIBSZHASH remove, const char *format),
        (path, set, remove, format), -1)
FAILING(int, KLIBCFileRemoveKey, (const char *path, const char *key), (path, key), -1)
FAILING(int, KLIBCFileReadLines, (const char *path, PKLIBSZLIST *list), (path, list), -1)
FAILING(FILE *, KLIBCFileTempFileOpen, (char *name), (name), nullptr)
FAILING(int, KLIBCFileGetLine, (const char *path, const char *prefix, char *line, int size, int mode),
        (path, prefix, line, size, mode), -1)
FAILING(int, KLIBCINFOSetKeyValue, (const char *key, const char *value), (key, value), -1)
FAILING(int, KLIBCSzHashEnumKey, (PKLIBSZHASH hash, PKLIBSZLIST *list), (hash, list), -1)
FAILING(int, KLIBCFileGetSection, (const char *path, const char *section, PKLIBSZHASH *hash), (path, section, hash), -1)
FAILING(int, KLIBCFileAddSection, (const char *path, const char *section, PKLIBSZHASH hash, const char *format),
        (path, section, hash, format), -1)
FAILING(int, KLIBCINFORemoveKey, (const char *key), (key), -1)
FAILING(int, KLIBCStrSep, (const char *text, const char *separators, PKLIBSZLIST *list), (text, separators, list), -1)
FAILING(int, KLIBCStrTok, (const char *text, const char *separators, PKLIBSZLIST *list), (text, separators, list), -1)
FAILING(int, KLIBCExecv, (const char *program, char *const *arguments, int flag), (program, arguments, flag), -1)
FAILING(int, KLIBCStrCat, (char **buffer, size_t *size, const char *text), (buffer, size, text), -1)
FAILING(int, KLIBCFileITmpName, (const char *target, char *name, int size), (target, name, size), -1)
FAILING(int, KLIBCModuleIsLoad, (const char *module), (module), -1)
FAILING_WITH(int, KLIBPluginSDKInit, (const char *domain, const char *event, KLIBPLUGINHANDLE *handle),
             (domain, event, handle), -1, fail_to_open(handle))
FAILING(int, KLIBPluginSetArg, (KLIBPLUGINHANDLE handle, const char *key, const char *value), (handle, key, value), -1)
FAILING(int, KLIBPluginSetArgByInt, (KLIBPLUGINHANDLE handle, const char *key, int value), (handle, key, value), -1)
FAILING(int, KLIBPluginSetArgByArray, (KLIBPLUGINHANDLE handle, const char *key, const char *const *values, int count),
        (handle, key, values, count), -1)
FAILING(int, KLIBPluginAction, (int phase, KLIBPLUGINHANDLE handle), (phase, handle), -1)
FAILING(int, KLIBPluginExit, (KLIBPLUGINHANDLE handle), (handle), -1)
FAILING_LIBC(int, KLIBPluginHasInit, (KLIBPLUGINHANDLE handle), (handle), 0)
FAILING_LIBC(const char *, KLIBCSzListGet, (const KLIBSZLIST *list, int i), (list, i), nullptr)
FAILING(int, KAVOHAGetHeartbeatIF, (char *name, int size), (name, size), -1)
FAILING(int, KAVOHAGetRelatedIFInfo, (const char *name, char *address, int addressSize, char *mask, int maskSize),
        (name, address, addressSize, mask, maskSize), -1)
FAILING(int, KAVOHAGetMac, (int port, char *mac, int size), (port, mac, size), -1)
FAILING_LIBC(int, socket, (int domain, int type, int protocol) noexcept, (domain, type, protocol), -1)
FAILING_LIBC(int, rename, (const char *from, const char *to) noexcept, (from, to), -1)
FAILING_LIBC(int, getifaddrs, (struct ifaddrs * *list) noexcept, (list), -1)
FAILING_LIBC(int, unlink, (const char *path) noexcept, (path), -1)
FAILING_LIBC(int, chmod, (const char *path, mode_t mode) noexcept, (path, mode), -1)
FAILING_LIBC(int, fflush, (FILE * file), (file), EOF)
FAILING_LIBC(int, sethostname, (const char *name, size_t size) noexcept, (name, note_hostname(size)), -1)
FAILING_LIBC(int, gethostname, (char *name, size_t size) noexcept, (name, size), -1)

extern "C" int fsync(int fd)
{
    synced = fd;
    if (support::fails_now("fsync")) {
        errno = EIO;
        return -1;
    }
    static const auto next = real<int (*)(int)>("fsync");
    return next(fd);
}

// A stream that fails to close is closed nevertheless.
extern "C" int fclose(FILE *file)
{
    const bool fails = support::fails_now("fclose");
    static const auto next = real<int (*)(FILE *)>("fclose");
    const int result = next(file);
    if (!fails)
        return result;
    errno = EIO;
    return EOF;
}

// Memory runs out without a record. Finding the real function may itself ask for memory: that comes from a small store,
// which is never given back.
// Not with the thread sanitizer, which asks for memory before it knows the thread that does.
#ifndef __SANITIZE_THREAD__
extern "C" void *calloc(size_t count, size_t size) noexcept
{
    using Calloc = void *(*)(size_t, size_t);
    static Calloc next = nullptr;
    static bool looking = false;
    if (next == nullptr) {
        alignas(16) static char store[1024];
        static size_t used = 0;
        if (looking) {
            void *piece = store + used;
            used += (count * size + 15) & ~size_t{15};
            return used <= sizeof store ? piece : nullptr;
        }
        looking = true;
        next = real<Calloc>("calloc");
    }
    if (support::fails_now("calloc")) {
        errno = ENOMEM;
        return nullptr;
    }
    return next(count, size);
}
#endif

// Its arguments are passed on one by one: the callee stops at their null.
extern "C" int KLIBCExecl(const char *program, int options, ...)
{
    const char *given[12] = {};
    va_list arguments;
    va_start(arguments, options);
    for (size_t i = 0; i + 1 < sizeof given / sizeof *given; ++i) {
        given[i] = va_arg(arguments, const char *);
        if (given[i] == nullptr)
            break;
    }
    va_end(arguments);
    if (support::fails_now("KLIBCExecl")) {
        KLIBCErrSetEx(0x5151, "fault.c", 51);
        errno = EIO;
        return -1;
    }
    static const auto next = real<int (*)(const char *, int, ...)>("KLIBCExecl");
    return next(program, options, given[0], given[1], given[2], given[3], given[4], given[5], given[6], given[7],
                given[8], given[9], given[10], static_cast<char *>(nullptr));
}
