#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <string_view>
#include <utility>

#include <csignal>
#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "core/descriptor.h"
#include "core/fail.h"
#include "core/open_file.h"
#include "core/path.h"
#include "kavo/core.h"
#include "spawn/spawn.h"

namespace kavo {
namespace {

constexpr long MILLISECOND = 1'000'000;
constexpr long SECOND = 1000 * MILLISECOND;
constexpr int GRACE_SECONDS = 5;   // between SIGTERM and SIGKILL
constexpr int REMOVAL_SECONDS = 2; // what the kernel may need to take a killed process down
constexpr long PAUSE = 20 * MILLISECOND;
constexpr char BLANKS[] = " \t\r\n";

struct Free {
    void operator()(void *memory) const { free(memory); }
};

struct CloseFolder {
    void operator()(DIR *folder) const { closedir(folder); }
};

// The whole text as a number above 0; 0 when it is none.
int positive_number(std::string_view text)
{
    long long number = 0;
    for (const char c : text) {
        if (c < '0' || c > '9')
            return 0;
        number = number * 10 + (c - '0');
        if (number > INT_MAX)
            return 0;
    }
    return static_cast<int>(number);
}

// Reads from the beginning of an open file into a buffer, as much as fits. -1 with errno.
ssize_t read_start(const Descriptor &file, char *buffer, size_t size)
{
    if (!file)
        return -1;
    size_t have = 0;
    while (have < size) {
        const ssize_t got = read(file.get(), buffer + have, size - have);
        if (got == 0)
            break;
        if (got > 0)
            have += static_cast<size_t>(got);
        else if (errno != EINTR)
            return -1;
    }
    return static_cast<ssize_t>(have);
}

ssize_t read_of_process(int pid, const char *file, char *buffer, size_t size)
{
    char path[64];
    snprintf(path, sizeof path, "/proc/%d/%s", pid, file);
    return read_start(Descriptor(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK)), buffer, size);
}

// The line "pid (name) state ppid ...". The name may hold anything, blanks and parentheses included; what follows it
// does not, so its end is the last parenthesis.
bool read_stat(int pid, KLIBCPROC &process)
{
    char line[1024];
    const ssize_t length = read_of_process(pid, "stat", line, sizeof line - 1);
    if (length <= 0)
        return false;
    line[length] = '\0';
    const char *name = strchr(line, '(');
    const char *end = strrchr(line, ')');
    if (name == nullptr || end == nullptr || end < name)
        return false;
    char state = 0;
    char parent[16] = "";
    if (sscanf(end + 1, " %c %15[0-9]", &state, parent) != 2)
        return false;
    process.pid = pid;
    process.ppid = positive_number(parent);
    process.state = state;
    snprintf(process.szName, sizeof process.szName, "%.*s", static_cast<int>(end - name - 1), name + 1);
    return true;
}

// The argument words, joined by blanks. The kernel ends each with a zero byte.
void read_command_line(int pid, KLIBCPROC &process)
{
    constexpr size_t ROOM = sizeof process.szCmdline - 1;
    const ssize_t length = read_of_process(pid, "cmdline", process.szCmdline, ROOM);
    size_t end = length > 0 ? static_cast<size_t>(length) : 0;
    while (end > 0 && process.szCmdline[end - 1] == '\0')
        --end;
    for (size_t i = 0; i < end; ++i) {
        if (process.szCmdline[i] == '\0')
            process.szCmdline[i] = ' ';
    }
    process.szCmdline[end] = '\0';
}

// Calls `visit` with every process's number until it returns false. False when the processes cannot be listed.
template <class Visit> bool for_each_process(Visit visit)
{
    const std::unique_ptr<DIR, CloseFolder> folder(opendir("/proc"));
    if (!folder)
        return false;
    for (;;) {
        errno = 0;
        const dirent *entry = readdir(folder.get());
        if (entry == nullptr)
            return errno == 0;
        const int pid = positive_number(entry->d_name);
        if (pid > 0 && !visit(pid))
            return true;
    }
}

// Pid files stand in /tmp too, where anybody may have put them.
Descriptor open_pid_file(const char *path)
{
    PathBuffer target;
    struct stat status;
    if (!follow_links(path, target))
        return Descriptor();
    Descriptor file = open_plain_file(target, status);
    return file && is_trusted(target, status) ? std::move(file) : Descriptor();
}

// ---- Processes by their name

bool is_gone(char state)
{
    return state == 'Z' || state == 'X' || state == 'x';
}

bool has_name(int pid, const char *name)
{
    KLIBCPROC process;
    if (!read_stat(pid, process) || is_gone(process.state) || strcmp(process.szName, WAITER_NAME) == 0)
        return false;
    if (strcmp(process.szName, name) == 0)
        return true;
    char program[PATH_MAX + 1] = "";
    if (read_of_process(pid, "cmdline", program, PATH_MAX) <= 0)
        return false;
    const char *slash = strrchr(program, '/');
    return strcmp(slash == nullptr ? program : slash + 1, name) == 0;
}

// ---- Processes by their argument words

// Words as the kernel lists them, each with a zero byte at its end: so whole words are compared.
class Words {
public:
    explicit Words(const char *line)
    {
        const size_t room = strlen(line) + 1;
        words_.reset(static_cast<char *>(malloc(room)));
        found_.reset(static_cast<char *>(malloc(room)));
        if (!*this)
            return;
        while (*(line += strspn(line, BLANKS)) != '\0') {
            const size_t length = strcspn(line, BLANKS);
            memcpy(words_.get() + size_, line, length);
            words_.get()[size_ + length] = '\0';
            size_ += length + 1;
            line += length;
        }
    }

    explicit operator bool() const { return words_ && found_; }
    [[nodiscard]] bool empty() const { return size_ == 0; }

    // Neither the caller nor what waits for a command in somebody's name is ever meant.
    [[nodiscard]] bool begin(int pid) const
    {
        const ssize_t length = read_of_process(pid, "cmdline", found_.get(), size_);
        if (length != static_cast<ssize_t>(size_) || memcmp(found_.get(), words_.get(), size_) != 0)
            return false;
        KLIBCPROC process;
        return pid != getpid() && read_stat(pid, process) && strcmp(process.szName, WAITER_NAME) != 0;
    }

private:
    std::unique_ptr<char, Free> words_;
    std::unique_ptr<char, Free> found_; // room to read into
    size_t size_ = 0;
};

// The processes that were told to end. A process loses its argument words before it closes its files and ports, and those
// who start its successor need them, so its real end is what counts.
class Condemned {
public:
    Condemned() = default;
    Condemned(const Condemned &) = delete;
    Condemned &operator=(const Condemned &) = delete;
    ~Condemned()
    {
        for (size_t i = 0; i < count_; ++i)
            close(processes_.get()[i].fd);
    }

    // Signals a process that still is what was looked for: the number may have passed to another one meanwhile.
    void signal(const Words &words, int pid, int signal)
    {
        Descriptor process(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
        if (!process) {
            if (errno != ESRCH)
                kill(pid, signal);
            return;
        }
        if (!words.begin(pid))
            return;
        syscall(SYS_pidfd_send_signal, process.get(), signal, nullptr, 0);
        keep(process);
    }

    [[nodiscard]] bool ended() const
    {
        const int answered = poll(processes_.get(), count_, 0);
        return answered == static_cast<int>(count_);
    }

private:
    // One that there is no memory for is followed by its words alone.
    void keep(Descriptor &process)
    {
        if (count_ == room_) {
            const size_t room = room_ == 0 ? 8 : room_ * 2;
            void *larger = realloc(processes_.get(), room * sizeof(pollfd));
            if (larger == nullptr)
                return;
            static_cast<void>(processes_.release());
            processes_.reset(static_cast<pollfd *>(larger));
            room_ = room;
        }
        processes_.get()[count_++] = {process.release(), POLLIN, 0};
    }

    std::unique_ptr<pollfd, Free> processes_;
    size_t count_ = 0;
    size_t room_ = 0;
};

// Counts all that match. -1 when the processes cannot be listed.
int count_all(const Words &words)
{
    int count = 0;
    const bool listed = for_each_process([&](int pid) {
        count += words.begin(pid) ? 1 : 0;
        return true;
    });
    return listed ? count : -1;
}

// Sends a signal to all that match. Returns their number or -1.
int signal_all(const Words &words, int signal, Condemned &condemned)
{
    int count = 0;
    const bool listed = for_each_process([&](int pid) {
        if (words.begin(pid)) {
            ++count;
            condemned.signal(words, pid, signal);
        }
        return true;
    });
    return listed ? count : -1;
}

timespec now()
{
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time;
}

// True as soon as none is left.
bool gone_within(const Words &words, const Condemned &condemned, int seconds)
{
    timespec deadline = now();
    deadline.tv_sec += seconds;
    for (;;) {
        if (count_all(words) == 0 && condemned.ended())
            return true;
        timespec next = now();
        if (next.tv_sec > deadline.tv_sec || (next.tv_sec == deadline.tv_sec && next.tv_nsec >= deadline.tv_nsec))
            return false;
        next.tv_nsec += PAUSE;
        if (next.tv_nsec >= SECOND) {
            next.tv_nsec -= SECOND;
            ++next.tv_sec;
        }
        clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &next, nullptr);
    }
}

} // namespace
} // namespace kavo

using namespace kavo;

extern "C" int KLIBCPs(const char *szName, char *szBuf, int cbBuf)
{
    if (szName == nullptr || szName[0] == '\0' || (szBuf != nullptr && cbBuf <= 0))
        return fail(ERROR_PARAMETER, -1);
    int count = 0;
    int first = 0;
    const bool listed = for_each_process([&](int pid) {
        if (has_name(pid, szName) && count++ == 0)
            first = pid;
        return true;
    });
    if (!listed)
        return fail(ERROR_OPEN, -1);
    if (szBuf != nullptr && count > 0)
        snprintf(szBuf, static_cast<size_t>(cbBuf), "%d", first);
    else if (szBuf != nullptr)
        szBuf[0] = '\0';
    return count;
}

extern "C" int KLIBCIsProcAlive(const char *szCmdline)
{
    if (szCmdline == nullptr)
        return fail(ERROR_PARAMETER, 0);
    const Words words(szCmdline);
    if (!words)
        return fail(ERROR_MEMORY, 0);
    if (words.empty())
        return fail(ERROR_PARAMETER, 0);
    bool found = false;
    const bool listed = for_each_process([&](int pid) {
        found = words.begin(pid);
        return !found;
    });
    return listed ? found : fail(ERROR_OPEN, 0);
}

extern "C" int KLIBCKill(const char *szCmdline, int flag)
{
    if (szCmdline == nullptr || flag != 1)
        return fail(ERROR_PARAMETER, -1);
    const Words words(szCmdline);
    if (!words)
        return fail(ERROR_MEMORY, -1);
    if (words.empty())
        return fail(ERROR_PARAMETER, -1);
    Condemned condemned;
    const int asked = signal_all(words, SIGTERM, condemned);
    if (asked < 0)
        return fail(ERROR_OPEN, -1);
    if (asked == 0 || gone_within(words, condemned, GRACE_SECONDS))
        return 0;
    signal_all(words, SIGKILL, condemned);
    return gone_within(words, condemned, REMOVAL_SECONDS) ? 0 : fail(ERROR_SYSTEM, -1);
}

extern "C" int KLIBCReadPidFile(const char *szPath)
{
    if (szPath == nullptr || szPath[0] == '\0')
        return fail(ERROR_PARAMETER, -1);
    char text[64];
    const ssize_t length = read_start(open_pid_file(szPath), text, sizeof text);
    if (length < 0)
        return fail(ERROR_OPEN, -1);
    const std::string_view number(text, static_cast<size_t>(length));
    const size_t last = number.find_last_not_of(BLANKS);
    if (number.size() == sizeof text)
        return 0;
    return last == std::string_view::npos ? 0 : positive_number({text, last + 1});
}

extern "C" int KLIBCProcGetByPid(int pid, KLIBCPROC *pProc)
{
    if (pid <= 0 || pProc == nullptr)
        return fail(ERROR_PARAMETER, -1);
    KLIBCPROC process{};
    if (!read_stat(pid, process))
        return fail(ERROR_OPEN, -1);
    read_command_line(pid, process);
    *pProc = process;
    return 0;
}
