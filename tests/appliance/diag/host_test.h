// What the tests of name lookup and reachability share: a resolver that knows what the test writes into the hosts file, and
// a recorded NetBIOS program.
#pragma once

#include <chrono>
#include <climits>
#include <cstring>
#include <set>

#include <gmock/gmock.h>
#include <syslog.h>

#include "kavonetsdk/diag.h"
#include "kavonetsdk/error.h"
#include "sockets.h"
#include "support/tidy_root.h"

class HostTest : public support::TidyRoot {
protected:
    static constexpr char NMBLOOKUP[] = "/usr/local/bin/nmblookup";

    void SetUp() override
    {
        TidyRoot::SetUp();
        if (IsSkipped())
            return;
        shell("ip link set lo up");
        // Nobody answers to the resolver's questions beyond the file.
        support::write_file("/etc/resolv.conf", "nameserver 127.0.0.1\noptions timeout:1 attempts:1\n");
        hosts("");
        netbios("");
    }

    static void hosts(const std::string &lines) { support::write_file("/etc/hosts", lines); }

    // What the NetBIOS program prints from now on.
    static void netbios(const std::string &output, int status = 0)
    {
        support::write_file("/run/netbios-output", output);
        script(NMBLOOKUP, "record_call \"$0\" \"$@\"\ncat /run/netbios-output\nexit " + std::to_string(status));
    }

    static bool asked_netbios() { return !calls().empty(); }

    // Makes each allocation of the call fail in turn, until the one for the line buffer did; whether there was such a one.
    template <class Call> static bool fails_for_want_of_a_line_buffer(const char *file, Call call)
    {
        call(); // the C library's resolver makes ready once, and keeps a lock for ever when memory is short then
        for (int n = 1; n < 50; ++n) {
            support::clear_log();
            support::fail_call("calloc", n);
            call();
            support::clear_faults();
            if (support::logged_in(file, "pszBuf is NULL") == LOG_ERR)
                return true;
        }
        return false;
    }
};
