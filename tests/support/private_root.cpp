#include "support/private_root.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/fake_clock.h"
#include "support/fake_ioctl.h"
#include "support/faults.h"
#include "support/log_capture.h"
#include "support/read_back.h"

namespace support {
namespace {

int outer_root = -1;
std::string base;
constexpr char EVENTS[] = "/run/recorded-events";

std::string failed(const std::string &what)
{
    return what + ": " + strerror(errno);
}

bool write_line(const char *path, const std::string &line)
{
    const int fd = open(path, O_WRONLY | O_CLOEXEC);
    const bool done = fd >= 0 && write(fd, line.data(), line.size()) == static_cast<ssize_t>(line.size());
    if (fd >= 0)
        close(fd);
    return done;
}

// Namespaces for the whole process, once. The empty text is success, else the reason why not.
std::string enter_namespaces()
{
    int flags = CLONE_NEWNS | CLONE_NEWUTS | CLONE_NEWIPC;
    const uid_t uid = geteuid();
    const gid_t gid = getegid();
    if (uid != 0)
        flags |= CLONE_NEWUSER;
    if (unshare(flags) != 0)
        return failed("this machine allows no namespaces");
    if (uid != 0 && (!write_line("/proc/self/setgroups", "deny") ||
                     !write_line("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1") ||
                     !write_line("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1")))
        return failed("user mapping");
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        return failed("private mounts");
    outer_root = open("/", O_PATH | O_DIRECTORY | O_CLOEXEC);
    return outer_root < 0 ? failed("/") : "";
}

bool mount_at(const char *source, const std::string &target, const char *type, unsigned long flags,
              const std::string &options = "")
{
    mkdir(target.c_str(), 0755);
    return mount(source, target.c_str(), type, flags, options.c_str()) == 0;
}

std::string enter_root()
{
    static const std::string reason = enter_namespaces();
    if (!reason.empty())
        return reason;
    if (unshare(CLONE_NEWNET) != 0)
        return failed("network namespace");
    char name[] = "/tmp/kavo-appliance-XXXXXX";
    if (mkdtemp(name) == nullptr)
        return failed(name);
    base = name;
    const std::string root = base + "/root";
    if (!mount_at("tmpfs", base, "tmpfs", 0, "mode=755") || mkdir((base + "/up").c_str(), 0755) != 0 ||
        mkdir((base + "/work").c_str(), 0755) != 0)
        return failed("tmpfs");
    if (!mount_at("overlay", root, "overlay", 0, "lowerdir=/,upperdir=" + base + "/up,workdir=" + base + "/work"))
        return failed("overlay");
    if (!mount_at("/proc", root + "/proc", nullptr, MS_BIND | MS_REC) ||
        !mount_at("/dev", root + "/dev", nullptr, MS_BIND | MS_REC) || !mount_at("sysfs", root + "/sys", "sysfs", 0) ||
        !mount_at("tmpfs", root + "/run", "tmpfs", 0, "mode=755") ||
        !mount_at("tmpfs", root + "/tmp", "tmpfs", 0, "mode=1777"))
        return failed("system mounts");
    // A tree that stands on another mount, or under /tmp, is not seen in the overlay by itself.
    for (const std::string tree : {KAVO_SOURCE_DIR, KAVO_BUILD_DIR}) {
        if (exists(root + tree + "/CMakeLists.txt") || exists(root + tree + "/CMakeCache.txt"))
            continue;
        std::error_code ignored; // the mount tells
        std::filesystem::create_directories(root + tree, ignored);
        if (!mount_at(tree.c_str(), root + tree, nullptr, MS_BIND))
            return failed(tree);
    }
    if (chdir(root.c_str()) != 0 || chroot(".") != 0)
        return failed("chroot");
    return "";
}

} // namespace

void PrivateRoot::SetUp()
{
    const std::string reason = enter_root();
    if (!reason.empty())
        GTEST_SKIP() << "no private root here: " << reason;
    for (const char *folder : {"/etc/sysconfig", "/etc/sysconfig/network-scripts", "/etc.defaults", "/etc/dhclient",
                               "/etc/dhclient/ipv4", "/usr/kavo", "/usr/kavo/etc", "/usr/kavo/etc/plugins",
                               "/usr/kavo/sbin", "/usr/kavo/bin", "/usr/kavo/etc/net", "/run/lock"})
        mkdir(folder, 0755);
    write_file("/etc/kavoinfo.conf", "");
    write_file("/etc.defaults/kavoinfo.conf", "");
    clear_log();
    clear_error();
    clear_waits();
    clear_faults();
    answer_ioctl({});
}

void PrivateRoot::TearDown()
{
    clear_faults();
    answer_ioctl({});
    if (outer_root >= 0) {
        if (fchdir(outer_root) != 0 || chroot(".") != 0)
            ADD_FAILURE() << "cannot leave the private root";
        umount2(base.c_str(), MNT_DETACH);
        rmdir(base.c_str());
    }
}

void PrivateRoot::script(const std::string &program, const std::string &body)
{
    const std::string prologue = std::string("#!/bin/sh\nrecord_call() { line=; for a; do line=\"$line [$a]\"; done; "
                                             "printf '%s\\n' \"${line# }\" >>") +
                                 RECORDED_CALLS + "; }\n";
    unlink(program.c_str());
    write_file(program, prologue + body + "\n", 0755);
}

void PrivateRoot::record(const std::string &program, int status, const std::string &output)
{
    script(program, "record_call \"$0\" \"$@\"\ncat <<'END_OF_OUTPUT'\n" + output + "\nEND_OF_OUTPUT\nexit " +
                        std::to_string(status));
    if (output.empty())
        script(program, "record_call \"$0\" \"$@\"\nexit " + std::to_string(status));
}

std::vector<std::string> PrivateRoot::calls()
{
    return lines_of(read_file(RECORDED_CALLS));
}

void PrivateRoot::subscribe(const std::string &event, int status)
{
    write_file(
        "/usr/kavo/etc/plugins/" + event + "/50-recorder",
        std::string("#!/bin/sh\nline=\"$KAVO_EVENT $1\"\nfor a in $(env | sed -n 's/^KAVO_ARG_\\([^=]*\\)=.*/\\1/p' | "
                    "LC_ALL=C sort); do\nv=$(env | sed -n \"s/^KAVO_ARG_$a=//p\")\nline=\"$line $a=$v\"\ndone\n"
                    "printf '%s\\n' \"$line\" >>") +
            EVENTS + "\nexit " + std::to_string(status) + "\n",
        0755);
}

std::vector<std::string> PrivateRoot::events()
{
    return lines_of(read_file(EVENTS));
}

std::string PrivateRoot::shell(const std::string &command)
{
    FILE *pipe = popen(("PATH=/usr/bin:$PATH; exec 2>&1; set -e; " + command).c_str(), "r");
    if (pipe == nullptr) {
        ADD_FAILURE() << command;
        return "";
    }
    std::string output;
    char buffer[4096];
    while (size_t n = fread(buffer, 1, sizeof buffer, pipe))
        output.append(buffer, n);
    const int status = pclose(pipe);
    EXPECT_EQ(0, status) << command << "\n" << output;
    return output;
}

void PrivateRoot::add_card(const std::string &name, const std::string &address, bool up)
{
    shell("ip link add " + name + " type veth peer name " + name + "p");
    if (!address.empty())
        shell("ip address add " + address + " broadcast + dev " + name);
    if (!up)
        return;
    // The kernel notices a new carrier a moment later; what a test sees must not depend on when.
    shell("ip link set " + name + " up; ip link set " + name +
          "p up; i=0; while [ $((i += 1)) -le 6000 ]; do "
          "case $(ip -o link show dev " +
          name + "; ip -o link show dev " + name +
          "p) in "
          "*'state UP'*'state UP'*) exit 0 ;; esac; sleep 0.01; done; echo no carrier; exit 1");
}

void PrivateRoot::plain_sys()
{
    ASSERT_EQ(0, mount("tmpfs", "/sys", "tmpfs", 0, "mode=755"));
}

void PrivateRoot::plain_proc_net()
{
    // /proc/net is a link to the process's own folder, so the folder itself is covered.
    ASSERT_EQ(0, mount("tmpfs", ("/proc/" + std::to_string(getpid()) + "/net").c_str(), "tmpfs", 0, "mode=755"))
        << strerror(errno);
}

std::string PrivateRoot::ifcfg(const std::string &name)
{
    return "/etc/sysconfig/network-scripts/ifcfg-" + name;
}

void PrivateRoot::write_ifcfg(const std::string &name, const std::string &content)
{
    write_file(ifcfg(name), content);
}

void PrivateRoot::write_lease(const std::string &name, const std::string &content)
{
    write_file("/etc/dhclient/ipv4/dhcpcd-" + name + ".info", content);
}

} // namespace support
