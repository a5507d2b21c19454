#include "plugin/deliver.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include "core/descriptor.h"
#include "core/fail.h"
#include "spawn/spawn.h"

namespace kavo {
namespace {

constexpr char PLUGINS_FOLDER[] = "/usr/kavo/etc/plugins";

void log_skipped(const char *name, const char *reason)
{
    syslog(LOG_WARNING, "%s:%d Skipped subscriber %s: %s.", __FILE_NAME__, __LINE__, name, reason);
}

// ---- Whom to trust
//
// Subscribers run with the rights of the caller, so nobody but root may have had a hand in them. A subscriber is run by
// its path, because the interpreter of a script opens it by its path: so the folders must be root's alone as well. Then
// what was looked at cannot be exchanged before it is run, except by root.

// Why a file or folder is not to be trusted; null when it is.
const char *distrust(const struct stat &status)
{
    if (status.st_uid != 0)
        return "it is not owned by root";
    if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0)
        return "it is writable by others";
    return nullptr;
}

Descriptor open_folder(int above, const char *name, int flags)
{
    return Descriptor(openat(above, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC | flags));
}

enum class Subscribers { NONE, SOME, UNKNOWN };

// Opens the event's folder, step by step from the plug-ins' folder down. No folder means that nobody subscribed.
Subscribers open_event_folder(const char *event, Descriptor &folder)
{
    const char *part = event;
    folder = open_folder(AT_FDCWD, PLUGINS_FOLDER, 0);
    for (;;) {
        if (!folder) {
            if (errno == ENOENT)
                return Subscribers::NONE;
            if (errno != ENOTDIR && errno != ELOOP)
                return Subscribers::UNKNOWN;
            log_skipped(event, "its folder is none");
            return Subscribers::NONE;
        }
        struct stat status;
        if (fstat(folder.get(), &status) != 0)
            return Subscribers::UNKNOWN;
        if (const char *reason = distrust(status); reason != nullptr) {
            log_skipped(event, reason);
            return Subscribers::NONE;
        }
        if (*part == '\0')
            return Subscribers::SOME;
        char name[NAME_MAX + 1];
        const size_t length = strcspn(part, "/");
        snprintf(name, sizeof name, "%.*s", static_cast<int>(length), part);
        part += length + (part[length] == '/' ? 1 : 0);
        folder = open_folder(folder.get(), name, O_NOFOLLOW);
    }
}

// Whether a file of the event's folder is a subscriber. Hidden files, an editor's "name~" copies, folders and files
// without a right to execute (how a subscriber is switched off) are none; what looks like one and must not be trusted
// is logged.
bool is_subscriber(int folder, const char *name, const char *path)
{
    if (name[0] == '.' || name[strlen(name) - 1] == '~')
        return false;
    const Descriptor file(openat(folder, name, O_PATH | O_NOFOLLOW | O_CLOEXEC));
    if (!file)
        return false;
    struct stat status;
    if (fstat(file.get(), &status) != 0 || S_ISDIR(status.st_mode))
        return false;
    if (S_ISREG(status.st_mode) && (status.st_mode & (S_IXUSR | S_IXGRP | S_IXOTH)) == 0)
        return false;
    const char *reason = S_ISREG(status.st_mode) ? distrust(status) : "it is not a plain file";
    if (reason != nullptr)
        log_skipped(path, reason);
    return reason == nullptr;
}

// ---- Whom to run

// The names of a folder's files in the order of their bytes.
class Names {
public:
    explicit Names(int folder) : count_(scandirat(folder, ".", &names_, nullptr, by_bytes)) {}
    Names(const Names &) = delete;
    Names &operator=(const Names &) = delete;
    ~Names()
    {
        for (int i = 0; i < count_; ++i)
            free(names_[i]);
        free(names_);
    }

    explicit operator bool() const { return count_ >= 0; }
    [[nodiscard]] int count() const { return count_; }
    const char *operator[](int i) const { return names_[i]->d_name; }

private:
    static int by_bytes(const dirent **a, const dirent **b) { return strcmp((*a)->d_name, (*b)->d_name); }

    dirent **names_ = nullptr;
    int count_;
};

struct Free {
    void operator()(const char **vector) const { free(vector); }
};
using Environment = std::unique_ptr<const char *, Free>;

Environment make_environment(const OpenEvent &event, const char *event_variable, const char *phase_variable)
{
    const char *const fixed[] = {"PATH=/sbin:/bin:/usr/sbin:/usr/bin", "LANG=C", event_variable, phase_variable};
    const size_t count = sizeof fixed / sizeof fixed[0] + event.variables.count();
    Environment environment(static_cast<const char **>(calloc(count + 1, sizeof(const char *))));
    if (!environment)
        return environment;
    const char **at = environment.get();
    for (const char *variable : fixed)
        *at++ = variable;
    for (const Variable *variable = event.variables.first(); variable != nullptr; variable = variable->next)
        *at++ = variable->text;
    return environment;
}

bool run_subscriber(const char *path, const char *phase, const char *const *environment, int seconds)
{
    const char *const arguments[] = {path, phase, nullptr};
    RunningCommand *running = start_command({path, arguments, environment, -1, seconds});
    if (running == nullptr) {
        syslog(LOG_ERR, "%s:%d Failed to run subscriber %s. (%s)", __FILE_NAME__, __LINE__, path, strerror(errno));
        return false;
    }
    const CommandEnd end = finish_command(running);
    if (end.late)
        syslog(LOG_ERR, "%s:%d Killed subscriber %s after %d seconds.", __FILE_NAME__, __LINE__, path, seconds);
    else if (end.result != 0)
        syslog(LOG_ERR, "%s:%d Subscriber %s failed. (%d)", __FILE_NAME__, __LINE__, path, end.result);
    return !end.late && end.result == 0;
}

} // namespace

int deliver(const OpenEvent &event, const char *phase, int seconds)
{
    Descriptor folder;
    const Subscribers subscribers = open_event_folder(event.name, folder);
    if (subscribers == Subscribers::NONE)
        return 0;
    if (subscribers == Subscribers::UNKNOWN)
        return fail(ERROR_OPEN, -1);
    const Names names(folder.get());
    if (!names)
        return fail(ERROR_OPEN, -1);
    char event_variable[PATH_MAX];
    char phase_variable[32];
    snprintf(event_variable, sizeof event_variable, "KAVO_EVENT=%s", event.name);
    snprintf(phase_variable, sizeof phase_variable, "KAVO_PHASE=%s", phase);
    const Environment environment = make_environment(event, event_variable, phase_variable);
    if (!environment)
        return fail(ERROR_MEMORY, -1);
    bool failed = false;
    for (int i = 0; i < names.count(); ++i) {
        char path[PATH_MAX];
        snprintf(path, sizeof path, "%s/%s/%s", PLUGINS_FOLDER, event.name, names[i]);
        if (is_subscriber(folder.get(), names[i], path))
            failed |= !run_subscriber(path, phase, environment.get(), seconds);
    }
    return failed ? fail(ERROR_EXEC, -1) : 0;
}

} // namespace kavo
