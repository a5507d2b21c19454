#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <sys/stat.h>
#include <sys/utsname.h>

#include "core/fail.h"
#include "kavo/core.h"

namespace kavo {
namespace {

constexpr char DEFAULTS_FILE[] = "/etc.defaults/kavoinfo.conf";
constexpr size_t MODULE_NAME_SIZE = 64; // the kernel's own limit is 56 on 64 bits and 60 on 32

enum Answer { ERROR = -1, NO = 0, YES = 1 };

// A module's name as the kernel spells it: '-' and '_' are the same letter. It becomes part of paths, so nothing else
// is let through.
bool kernel_spelling(const char *name, char (&result)[MODULE_NAME_SIZE])
{
    size_t length = 0;
    for (; name[length] != '\0'; ++length) {
        const char c = name[length];
        const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
        if (length + 1 == MODULE_NAME_SIZE || !(letter || c == '_' || c == '-'))
            return false;
        result[length] = c == '-' ? '_' : c;
    }
    result[length] = '\0';
    return length > 0;
}

Answer exists(const char *path)
{
    struct stat status;
    if (stat(path, &status) == 0)
        return YES;
    return errno == ENOENT || errno == ENOTDIR ? NO : ERROR;
}

struct CloseStream {
    void operator()(FILE *stream) const { fclose(stream); }
};
struct FreeText {
    void operator()(char *text) const { free(text); }
};

// Whether a line of a file meets `is_wanted`; a file that does not exist has none.
template <class Test> Answer has_line(const char *path, Test is_wanted)
{
    const std::unique_ptr<FILE, CloseStream> stream(fopen(path, "re"));
    if (!stream)
        return errno == ENOENT || errno == ENOTDIR ? NO : ERROR;
    char *line = nullptr;
    size_t room = 0;
    Answer answer = NO;
    while (answer == NO && getline(&line, &room, stream.get()) >= 0)
        answer = is_wanted(line) ? YES : NO;
    const std::unique_ptr<char, FreeText> owner(line);
    return answer == NO && ferror(stream.get()) != 0 ? ERROR : answer;
}

// "/sys/module" also lists what is built in and has parameters.
Answer in_sys(const char *module)
{
    char path[32 + MODULE_NAME_SIZE];
    snprintf(path, sizeof path, "/sys/module/%s", module);
    return exists(path);
}

// Lines "8021q 40960 0 - Live 0x0000000000000000".
Answer in_proc(const char *module)
{
    const size_t length = strlen(module);
    return has_line("/proc/modules",
                    [=](const char *line) { return strncmp(line, module, length) == 0 && line[length] == ' '; });
}

// Lines "kernel/net/8021q/8021q.ko", in the modules' folder of the running kernel.
Answer built_in(const char *module)
{
    utsname system;
    if (uname(&system) != 0)
        return ERROR;
    char path[64 + sizeof system.release];
    snprintf(path, sizeof path, "/lib/modules/%s/modules.builtin", system.release);
    return has_line(path, [=](char *line) {
        line[strcspn(line, "\n")] = '\0';
        char *slash = strrchr(line, '/');
        char *name = slash == nullptr ? line : slash + 1;
        char *suffix = strstr(name, ".ko");
        if (suffix == nullptr)
            return false;
        *suffix = '\0';
        char spelled[MODULE_NAME_SIZE];
        return kernel_spelling(name, spelled) && strcmp(spelled, module) == 0;
    });
}

// The VLAN code tells of itself, also where it is built in without parameters and no list of built-in modules is kept.
Answer shows_itself(const char *module)
{
    return strcmp(module, "8021q") == 0 ? exists("/proc/net/vlan") : NO;
}

} // namespace
} // namespace kavo

using namespace kavo;

extern "C" int KLIBCModuleIsLoad(const char *szModule)
{
    char module[MODULE_NAME_SIZE];
    if (szModule == nullptr || !kernel_spelling(szModule, module))
        return fail(ERROR_PARAMETER, -1);
    Answer answer = NO;
    for (const auto look : {in_sys, in_proc, shows_itself, built_in}) {
        const Answer found = look(module);
        if (found == YES)
            return YES;
        if (found == ERROR)
            answer = ERROR;
    }
    return answer == ERROR ? fail<int>(ERROR_READ, -1) : NO;
}

extern "C" int KLIBCSupportDualhead(void)
{
    return KLIBCFileCheckKeyValue(DEFAULTS_FILE, "support_dual_head", "yes", 0) == 1 ? 1 : 0;
}
