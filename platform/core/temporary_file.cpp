#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/fail.h"
#include "core/path.h"
#include "core/temporary_name.h"

namespace {

constexpr std::string_view LETTERS = "XXXXXX";

// The letters at a template's end; null when it does not end in them.
char *letters_of(char *name)
{
    if (name == nullptr)
        return nullptr;
    const size_t length = strlen(name);
    return length >= LETTERS.size() && name + length - LETTERS.size() == LETTERS ? name + length - LETTERS.size()
                                                                                 : nullptr;
}

// Takes back the completion of a template.
void restore(char *letters)
{
    memcpy(letters, LETTERS.data(), LETTERS.size());
}

bool is_free(const char *path)
{
    struct stat status;
    return lstat(path, &status) != 0 && errno == ENOENT;
}

} // namespace

extern "C" FILE *KLIBCFileTempFileOpen(char *szTemplate)
{
    char *letters = letters_of(szTemplate);
    if (letters == nullptr)
        return kavo::fail(kavo::ERROR_PARAMETER, nullptr);
    const int fd = mkostemp(szTemplate, O_CLOEXEC);
    if (fd < 0) {
        restore(letters);
        return kavo::fail(kavo::ERROR_OPEN, nullptr);
    }
    FILE *file = fdopen(fd, "w+");
    if (file == nullptr) {
        close(fd);
        unlink(szTemplate);
        restore(letters);
        return kavo::fail(kavo::ERROR_MEMORY, nullptr);
    }
    return file;
}

extern "C" int KLIBCFileITmpName(const char *szTarget, char *szTmp, int cbTmp)
{
    if (szTmp == nullptr || cbTmp <= 0)
        return kavo::fail(kavo::ERROR_PARAMETER, -1);
    szTmp[0] = '\0';
    if (szTarget == nullptr || kavo::base_of(szTarget).empty())
        return kavo::fail(kavo::ERROR_PARAMETER, -1);

    kavo::TemporaryName name;
    kavo::PathBuffer path;
    for (int attempt = 0; attempt < 100; ++attempt) {
        if (!kavo::temporary_name("", kavo::base_of(szTarget), name))
            return kavo::fail(kavo::ERROR_OPEN, -1);
        if (!kavo::join(path, kavo::folder_of(szTarget), name) || strlen(path) >= static_cast<size_t>(cbTmp))
            return kavo::fail(kavo::ERROR_PARAMETER, -1);
        if (is_free(path)) {
            memcpy(szTmp, path, strlen(path) + 1);
            return 0;
        }
    }
    return kavo::fail(kavo::ERROR_OPEN, -1);
}
