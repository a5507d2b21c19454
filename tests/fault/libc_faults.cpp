// Stand-ins for more of libc: allocation, files and folders. They fail when it is their turn and else pass on.
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/faults.h"

extern "C" void *__libc_malloc(size_t size);
extern "C" void *__libc_realloc(void *memory, size_t size);

namespace {

template <class Function> Function real(const char *name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

// Whether the code at an address is one of the project's libraries', or of the one that reads its JSON.
bool is_library(const void *code)
{
    Dl_info info{};
    return support::failing_any() && dladdr(code, &info) != 0 &&
           (strstr(info.dli_fname, "/libkavo") != nullptr || strstr(info.dli_fname, "/libjson-c") != nullptr);
}

bool fails(const char *function, int error)
{
    if (!support::fails_now(function))
        return false;
    errno = error;
    return true;
}

} // namespace

#define PASS_ON(result, name, parameters, arguments, failure, error)                                                   \
    extern "C" result name parameters                                                                                  \
    {                                                                                                                  \
        if (fails(#name, error))                                                                                       \
            return failure;                                                                                            \
        static const auto next = real<result(*) parameters>(#name);                                                    \
        return next arguments;                                                                                         \
    }

// Memory runs out for the libraries only: the test program and its stand-ins ask for some too.
extern "C" void *malloc(size_t size) noexcept
{
    return is_library(__builtin_return_address(0)) && fails("malloc", ENOMEM) ? nullptr : __libc_malloc(size);
}

extern "C" void *realloc(void *memory, size_t size) noexcept
{
    return is_library(__builtin_return_address(0)) && fails("realloc", ENOMEM) ? nullptr : __libc_realloc(memory, size);
}

PASS_ON(FILE *, fopen64, (const char *path, const char *mode), (path, mode), nullptr, EMFILE)
PASS_ON(DIR *, opendir, (const char *path), (path), nullptr, EMFILE)
PASS_ON(ssize_t, write, (int fd, const void *data, size_t size), (fd, data, size), -1, ENOSPC)
PASS_ON(int, fchown, (int fd, uid_t owner, gid_t group) noexcept, (fd, owner, group), -1, EPERM)
PASS_ON(FILE *, fdopen, (int fd, const char *mode) noexcept, (fd, mode), nullptr, ENOMEM)
PASS_ON(int, mkdir, (const char *path, mode_t mode) noexcept, (path, mode), -1, EROFS)
PASS_ON(int, fchmod, (int fd, mode_t mode) noexcept, (fd, mode), -1, EPERM)
PASS_ON(int, renameat, (int from_folder, const char *from, int to_folder, const char *to) noexcept,
        (from_folder, from, to_folder, to), -1, EROFS)
PASS_ON(void *, mmap64, (void *address, size_t size, int protection, int flags, int fd, off64_t offset) noexcept,
        (address, size, protection, flags, fd, offset), MAP_FAILED, ENOMEM)

extern "C" int open64(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = va_arg(arguments, unsigned);
    va_end(arguments);
    if (fails("open64", EMFILE))
        return -1;
    static const auto next = real<int (*)(const char *, int, ...)>("open64");
    return next(path, flags, mode);
}

extern "C" int openat64(int folder, const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = va_arg(arguments, unsigned);
    va_end(arguments);
    if (fails("openat64", EMFILE))
        return -1;
    static const auto next = real<int (*)(int, const char *, int, ...)>("openat64");
    return next(folder, path, flags, mode);
}
