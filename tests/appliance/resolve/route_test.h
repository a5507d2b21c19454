// What the tests of gateway and routes share: the kernel's table, the commands that change it, and interfaces.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <net/if.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include "kavonetsdk/error.h"
#include "kavonetsdk/resolve.h"
#include "support/tidy_root.h"

using support::exists;
using support::fail_call;
using support::last_error;
using support::log_lines;
using support::logged_by;
using support::logged_in;
using support::NO_ERROR_SET;
using support::read_file;
using support::write_file;
using testing::ElementsAre;
using testing::IsEmpty;

class RouteTest : public support::TidyRoot {
protected:
    static constexpr char IP[] = "/sbin/ip";
    static constexpr char ROUTE[] = "/sbin/route";
    static constexpr char NETWORK[] = "/etc/sysconfig/network";
    static constexpr char TABLE[] = "/proc/net/route";
    static constexpr char HEADER[] =
        "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n";
    static constexpr char DEFAULT[] = "eth0\t00000000\t0101A8C0\t0003\t0\t0\t0\t00000000\t0\t0\t0\n"; // 192.168.1.1
    static constexpr char SUBNET[] = "eth0\t0001A8C0\t00000000\t0001\t0\t0\t0\t00FFFFFF\t0\t0\t0\n";

    void SetUp() override
    {
        TidyRoot::SetUp();
        if (IsSkipped())
            return;
        mkdir(REAL_FOLDER, 0755);
        rename(ROUTE, REAL_ROUTE); // where the machine has it; the command looks at its own name
        record(IP);
        record(ROUTE);
    }

    // The kernel's table, from here on a plain file.
    static void table(const std::string &content)
    {
        if (!exists(PLAIN)) {
            plain_proc_net();
            write_file(PLAIN, "");
        }
        write_file(TABLE, content);
    }

    // Records the commands and runs the real ones too. False where the machine has no "route".
    static bool use_real_commands()
    {
        script(IP, "record_call \"$0\" \"$@\"\nexec /bin/ip \"$@\"");
        script(ROUTE, std::string("record_call \"$0\" \"$@\"\nexec ") + REAL_ROUTE + " \"$@\"");
        return exists(REAL_ROUTE);
    }

    // The level of the line "file (number) message", -1 when there is none.
    static int logged_in_file(const std::string &file, const std::string &message)
    {
        return support::level_of(file, " (", ") ", message);
    }

    // From here on nothing in the folder can be written.
    static void make_read_only(const char *folder)
    {
        ASSERT_EQ(0, mount(folder, folder, nullptr, MS_BIND | MS_REC, nullptr));
        ASSERT_EQ(0, mount(nullptr, folder, nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr));
    }

    // Gateways that would add a line, an argument or an option.
    static const std::vector<std::string> &hostile_gateways()
    {
        static const std::vector<std::string> all = {
            "-",           "-4",          "--help",      "-net",          "-A inet6",       " ",
            "192.0.2.1 ",  " 192.0.2.1",  "192.0.2.1\n", "192.0.2.1\r",   "192.0.2.1\nX=y", "192.0.2.1 dev eth1",
            "192.0.2.1\t", "192.0.2.1\v", "\n",          "192.0.2.1\x01", "192.0.2.1\x7f",  "\n-4"};
        return all;
    }

    static void clear()
    {
        support::clear_log();
        support::clear_error();
        unlink(support::RECORDED_CALLS);
    }

private:
    static constexpr char PLAIN[] = "/proc/net/.plain";
    static constexpr char REAL_FOLDER[] = "/sbin/real";
    static constexpr char REAL_ROUTE[] = "/sbin/real/route";
};
