// What the tests of the commands about other hosts share: a resolver that knows what the test writes into the hosts file, and
// a recorded NetBIOS program.
#pragma once

#include "appliance/diag/sockets.h"
#include "command.h"

namespace cli_test {

class HostCommand : public Command {
protected:
    static constexpr char NMBLOOKUP[] = "/usr/local/bin/nmblookup";

    void SetUp() override
    {
        Command::SetUp();
        if (IsSkipped())
            return;
        shell("ip link set lo up");
        support::write_file("/etc/resolv.conf", "nameserver 127.0.0.1\noptions timeout:1 attempts:1\n");
        support::write_file("/etc/hosts", "");
        netbios("");
    }

    static void netbios(const std::string &output, const std::string &first = "")
    {
        support::write_file("/run/netbios-output", output);
        script(NMBLOOKUP, "record_call \"$0\" \"$@\"\n" + first + "\ncat /run/netbios-output\n");
    }
};

} // namespace cli_test
