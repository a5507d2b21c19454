// What the tests of the ports in use share: real sockets, or socket tables as the test writes them.
#pragma once

#include <climits>

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <syslog.h>

#include "kavonetsdk/diag.h"
#include "kavonetsdk/error.h"
#include "sockets.h"
#include "support/tidy_root.h"

class TableTest : public support::TidyRoot {
protected:
    static constexpr unsigned int TCP = 1;
    static constexpr unsigned int UDP = 2;

    void SetUp() override
    {
        TidyRoot::SetUp();
        if (!IsSkipped())
            shell("ip link set lo up");
    }

    // The tables hold just this from now on, under their header; the others are empty.
    static void tables(const std::string &tcp, const std::string &tcp6 = "", const std::string &udp = "",
                       const std::string &udp6 = "")
    {
        plain_proc_net();
        write("tcp", tcp);
        write("tcp6", tcp6);
        write("udp", udp);
        write("udp6", udp6);
    }

    static void write(const std::string &name, const std::string &lines)
    {
        support::write_file(
            "/proc/net/" + name,
            "  sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid  timeout "
            "inode                                                     \n" +
                lines);
    }

    static std::string line(unsigned port, unsigned state)
    {
        char text[200];
        snprintf(text, sizeof text,
                 "   0: 0100007F:%04X 0100007F:1F90 %02X 00000000:00000000 00:00000000 00000000     0        0 1 1 "
                 "0000000000000000 100 0 0 10 0\n",
                 port, state);
        return text;
    }

    static std::string not_opened(const std::string &table, int error = ENOENT)
    {
        return "Fail to open [/proc/net/" + table + "], errno=[" + std::to_string(error) + "/" + strerror(error) + "]";
    }
};
