// Compares whole processes: "kavonet if list --json" with "ip -j addr show" on 4, 64 and 256 real interfaces with an address
// each, in a network namespace of its own. The two run alternately, so that whatever else the machine does meets both;
// what counts is the ratio of the medians.
//
//   process_bench [KAVONET [RUNS]]
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sched.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Arguments = std::vector<const char *>;

[[noreturn]] void die(const std::string &what)
{
    fprintf(stderr, "process_bench: %s: %s\n", what.c_str(), strerror(errno));
    exit(1);
}

// Runs a command to its end, its output in the file; the time it took in microseconds.
double run(const Arguments &arguments, const char *output)
{
    posix_spawn_file_actions_t files;
    if (posix_spawn_file_actions_init(&files) != 0 ||
        posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, output, O_WRONLY | O_CREAT | O_TRUNC, 0600) != 0)
        die("file actions");
    std::vector<char *> argv;
    for (const char *argument : arguments)
        argv.push_back(const_cast<char *>(argument));
    argv.push_back(nullptr);

    const auto start = std::chrono::steady_clock::now();
    pid_t child = 0;
    errno = posix_spawnp(&child, argv[0], &files, nullptr, argv.data(), environ);
    if (errno != 0)
        die(argv[0]);
    int status = 0;
    if (waitpid(child, &status, 0) != child)
        die("waitpid");
    const auto end = std::chrono::steady_clock::now();

    posix_spawn_file_actions_destroy(&files);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        fprintf(stderr, "process_bench: %s failed (status %d)\n", argv[0], status);
        exit(1);
    }
    return std::chrono::duration<double, std::micro>(end - start).count();
}

// Writes commands for "ip -batch" into a file and runs it.
void batch(const std::string &commands)
{
    char path[] = "/tmp/process-bench-XXXXXX";
    const int fd = mkstemp(path);
    if (fd < 0 || write(fd, commands.data(), commands.size()) != static_cast<ssize_t>(commands.size()) ||
        close(fd) != 0)
        die(path);
    run({"ip", "-batch", path}, "/dev/null");
    unlink(path);
}

// Adds pairs of cards until there are `count`, all up and with an address.
void grow_to(int &cards, int count)
{
    std::string commands;
    for (; cards < count; cards += 2) {
        const std::string a = "eth" + std::to_string(cards);
        const std::string b = "eth" + std::to_string(cards + 1);
        commands += "link add " + a + " type veth peer name " + b + "\n";
        for (const auto &[name, number] : {std::pair{a, cards}, std::pair{b, cards + 1}})
            commands += "addr add 10." + std::to_string(number) + ".0.1/24 broadcast + dev " + name + "\nlink set " +
                        name + " up\n";
    }
    batch(commands);
}

double median(std::vector<double> times)
{
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

void compare(const char *kavonet, int cards, int runs)
{
    const Arguments ours = {kavonet, "if", "list", "--json"};
    const Arguments theirs = {"ip", "-j", "addr", "show"};
    std::vector<double> our_times;
    std::vector<double> their_times;
    for (int i = 0; i < runs; ++i) {
        our_times.push_back(run(ours, "/dev/null"));
        their_times.push_back(run(theirs, "/dev/null"));
    }
    printf("%10d  %12.0f  %12.0f  %6.2f\n", cards, median(our_times), median(their_times),
           median(our_times) / median(their_times));
}

} // namespace

int main(int argc, char **argv)
{
    const char *kavonet = argc > 1 ? argv[1] : KAVONET_PROGRAM;
    const int runs = argc > 2 ? static_cast<int>(strtol(argv[2], nullptr, 10)) : 301;
    if (runs < 1) {
        fprintf(stderr, "process_bench: the number of runs must be at least 1\n");
        return 2;
    }
    const int user_namespace = geteuid() == 0 ? 0 : CLONE_NEWUSER;
    if (unshare(CLONE_NEWNET | user_namespace) != 0)
        die("no network namespace");
    printf("whole processes, median of %d runs each, in microseconds\n", runs);
    printf("%10s  %12s  %12s  %6s\n", "interfaces", "kavonet if", "ip -j addr", "ratio");
    int cards = 0;
    for (const int count : {4, 64, 256}) {
        grow_to(cards, count);
        compare(kavonet, cards, runs);
    }
    return 0;
}
