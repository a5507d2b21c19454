// Export and import of configuration files: time and memory for 250, 500 and 1000 files of 1 MB each, beside a bare copy
// of the same bytes to and fro. The time of a file must not grow with their number, nor the memory beside the hash.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "kavonetsdk/diag.h"

namespace {

constexpr char FOLDER[] = "/run/kavo-bench";
constexpr char PATTERNS[] = "/run/kavo-bench/f*";
constexpr size_t SIZE = 1 << 20;

[[noreturn]] void die(const char *what)
{
    perror(what);
    _exit(1);
}

std::string path_of(int i)
{
    return std::string(FOLDER) + "/f" + std::to_string(i);
}

void write_file(const std::string &path, const char *content, size_t size)
{
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0 || write(fd, content, size) != static_cast<ssize_t>(size) || close(fd) != 0)
        die(path.c_str());
}

// The most memory that the process had at any time, in megabytes.
long peak_megabytes()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024;
}

template <class Action> double seconds(Action action)
{
    const auto start = std::chrono::steady_clock::now();
    action();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Reads every file into memory of its own, then writes each beside its place and renames it: the least that has to be done.
double bare_copy(int count)
{
    std::vector<char *> contents(static_cast<size_t>(count));
    const double time = seconds([&] {
        for (int i = 0; i < count; ++i) {
            contents[static_cast<size_t>(i)] = static_cast<char *>(malloc(SIZE));
            const int fd = open(path_of(i).c_str(), O_RDONLY | O_CLOEXEC);
            if (fd < 0 || read(fd, contents[static_cast<size_t>(i)], SIZE) != static_cast<ssize_t>(SIZE) ||
                close(fd) != 0)
                die("read");
        }
        for (int i = 0; i < count; ++i) {
            write_file(path_of(i) + ".new", contents[static_cast<size_t>(i)], SIZE);
            if (rename((path_of(i) + ".new").c_str(), path_of(i).c_str()) != 0)
                die("rename");
        }
    });
    for (char *content : contents)
        free(content);
    return time;
}

std::string measure(int count)
{
    const long before = peak_megabytes();
    PKLIBSZHASH hash = KLIBCSzHashAlloc(1024);
    const double out = seconds([&] {
        if (KAVOConfigExport(&hash, PATTERNS) != 0)
            die("KAVOConfigExport");
    });
    const long exported = peak_megabytes();
    const double in = seconds([&] {
        if (KAVOConfigImport(hash, PATTERNS, KAVO_CONFIG_DELETE_OLD) != 0)
            die("KAVOConfigImport");
    });
    const long imported = peak_megabytes();
    KLIBCSzHashFree(hash);
    char line[256];
    snprintf(line, sizeof line,
             "%5d files of 1 MB: export %.2f ms a file, import %.2f ms, together %.2f times a bare copy; "
             "memory %ld MB for the hash, %+ld MB for the import\n",
             count, out * 1000 / count, in * 1000 / count, (out + in) / bare_copy(count), exported - before,
             imported - exported);
    return line;
}

} // namespace

int main()
{
    if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("tmpfs", "/run", "tmpfs", 0, "size=2g") != 0 || mkdir(FOLDER, 0755) != 0) {
        perror("a private /run (the benchmark needs root)");
        return 1;
    }
    const std::string content(SIZE, 'x');
    // The first round only makes the machine hand out its memory, which takes longer than all the rest.
    bool first = true;
    for (const int count : {1000, 250, 500, 1000}) {
        for (int i = 0; i < count; ++i)
            write_file(path_of(i), content.data(), SIZE);
        // A process each, so that each peak is its own.
        const pid_t child = fork();
        if (child == 0) {
            const std::string line = measure(count);
            if (!first)
                printf("%s", line.c_str());
            fflush(stdout);
            _exit(0);
        }
        int status = 0;
        if (waitpid(child, &status, 0) != child || status != 0)
            return 1;
        for (int i = 0; i < count; ++i)
            unlink(path_of(i).c_str());
        first = false;
    }
    return 0;
}
