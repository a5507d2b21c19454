// What the tests of the IPv6 functions share.
#pragma once

#include <cstring>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include "kavonetsdk/error.h"
#include "kavonetsdk/ipv6.h"
#include "support/tidy_root.h"

using support::fail_call;
using support::last_error;
using support::log_lines;
using support::logged_in;
using support::NO_ERROR_SET;
using support::read_file;
using support::write_file;
using testing::ElementsAre;
using testing::IsEmpty;

class Ipv6Test : public support::TidyRoot {
protected:
    // The kernel's table as a plain file. `cards` are those that the kernel's own list keeps naming.
    static void plain_table(const std::string &content = "")
    {
        const std::string cards = read_file("/proc/net/dev");
        plain_proc_net();
        write_file("/proc/net/dev", cards);
        table(content);
    }

    static void table(const std::string &content) { write_file("/proc/net/if_inet6", content); }

    // The switch of an interface as a plain file that holds "x"; and both switches of one more.
    static void plain_switches(const std::string &name)
    {
        ASSERT_EQ(0, mount("tmpfs", "/proc/sys/net/ipv6/conf", "tmpfs", 0, "mode=755"));
        write_file(switch_of(name), "x");
    }
    static void more_plain_switches(const std::string &name)
    {
        write_file(switch_of(name), "x");
        write_file(accept_ra_of(name), "x");
    }

    static std::string switch_of(const std::string &name)
    {
        return "/proc/sys/net/ipv6/conf/" + name + "/disable_ipv6";
    }
    static std::string accept_ra_of(const std::string &name)
    {
        return "/proc/sys/net/ipv6/conf/" + name + "/accept_ra";
    }

    // A file that can be opened but takes nothing.
    static void make_full(const std::string &path)
    {
        ASSERT_EQ(0, unlink(path.c_str()));
        ASSERT_EQ(0, symlink("/dev/full", path.c_str()));
    }

    static void clear()
    {
        support::clear_log();
        support::clear_error();
        support::clear_faults();
        support::clear_waits();
    }
};
