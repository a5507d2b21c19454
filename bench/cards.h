// A network namespace of the benchmark's own, with real cards.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

namespace bench {

[[noreturn]] inline void give_up(const char *what)
{
    perror(what);
    exit(1);
}

inline void run(const std::string &command)
{
    if (system(command.c_str()) != 0)
        give_up(command.c_str());
}

// Leaves the caller's network and mounts for a fresh network with `count` cards, each up with an address of its own. Their
// other ends stand in a second namespace, so that the cards are all there is.
inline void enter_network(int count)
{
    if (unshare(CLONE_NEWNET | CLONE_NEWNS) != 0)
        give_up("unshare (the benchmarks need root)");
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("sys", "/sys", "sysfs", 0, nullptr) != 0)
        give_up("mount");
    const std::string script = "/tmp/kavo-bench-" + std::to_string(getpid());
    FILE *batch = fopen(script.c_str(), "w");
    if (batch == nullptr)
        give_up(script.c_str());
    // The sleeper's namespace takes the other ends.
    fprintf(batch,
            "set -e\nip link set lo up\nunshare -n sleep 600 >/dev/null 2>&1 & other=$!\n"
            "while [ \"$(readlink /proc/$other/ns/net)\" = \"$(readlink /proc/$$/ns/net)\" ]; do sleep 0.01; done\n"
            "ip -batch - <<END\n");
    for (int i = 0; i < count; ++i)
        fprintf(batch, "link add eth%d type veth peer name peer%d netns $other\n", i, i);
    for (int i = 0; i < count; ++i)
        fprintf(batch, "address add 10.%d.%d.1/24 broadcast + dev eth%d\nlink set eth%d up\n", 1 + i / 250, i % 250, i,
                i);
    fprintf(batch,
            "END\nnsenter --net=/proc/$other/ns/net sh -c 'for i in $(seq 0 %d); do echo link set peer$i up; done | ip "
            "-batch -'\n"
            "echo $other >%s.pid\n",
            count - 1, script.c_str());
    fclose(batch);
    run("sh " + script);
    unlink(script.c_str());
}

// Ends the sleeper that holds the other ends.
inline void leave_network()
{
    const std::string file = "/tmp/kavo-bench-" + std::to_string(getpid()) + ".pid";
    run("kill $(cat " + file + "); rm -f " + file);
}

} // namespace bench
