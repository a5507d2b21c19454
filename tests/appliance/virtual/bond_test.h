// What the tests of the bonds' writers share: ports with files, and a system whose every command is written down.
#pragma once

#include <filesystem>

#include "appliance/virtual/virtual_test.h"

using support::exists;
using support::is_set_in;
using support::read_file;

class BondTest : public VirtualTest {
protected:
    static constexpr char FOLDER[] = "/etc/sysconfig/network-scripts/";
    static constexpr char RENAMED[] = "net/ifname_change";
    static constexpr char ETH0[] =
        "DEVICE=eth0\nONBOOT=yes\nBOOTPROTO=static\nIPADDR=10.0.0.5\nNETMASK=255.255.255.0\n";
    static constexpr char ETH1[] = "# second port\nDEVICE=eth1\nONBOOT=yes\nBOOTPROTO=dhcp\n";
    static constexpr char ETH2[] = "DEVICE=eth2\nBOOTPROTO=none\nIPADDR=10.0.0.7\n";

    void SetUp() override
    {
        VirtualTest::SetUp();
        if (IsSkipped())
            return;
        for (const std::string program : {"cp", "mv"}) {
            std::filesystem::copy_file("/bin/" + program, "/run/real-" + program);
            script("/bin/" + program, "record_call \"$0\" \"$@\"\n[ -e /run/failing ] && "
                                      "grep -qxF -e \"${0##*/} $*\" /run/failing && exit 1\nexec /run/real-" +
                                          program + " \"$@\"");
        }
        // The script sees the files as they are when it runs.
        script("/etc/rc.network", std::string("record_call \"$0\" \"$@\"\n/run/real-cp -r ") + FOLDER + " /run/at-$1");
        record("/usr/kavo/sbin/kavostoragecore");
        follow(RENAMED);
        write_ifcfg("eth0", ETH0);
        write_ifcfg("eth1", ETH1);
    }

    // From now on "cp -f A B" or "mv -f A B" fails.
    static void fail_command(const std::string &command)
    {
        write_file("/run/failing", (exists("/run/failing") ? read_file("/run/failing") : "") + command + "\n");
    }

    static std::string saved(const std::string &name) { return ifcfg(name) + ".saved"; }
    static std::string file_of(const std::string &name)
    {
        return exists(ifcfg(name)) ? read_file(ifcfg(name)) : "no file";
    }
    static std::string saved_of(const std::string &name)
    {
        return exists(saved(name)) ? read_file(saved(name)) : "no file";
    }

    static KAVOLINKAGGROPT record_of(const std::string &name, int mode, const std::vector<std::string> &ports)
    {
        KAVOLINKAGGROPT bond{};
        name.copy(bond.szIfname, sizeof bond.szIfname);
        bond.mode = mode;
        bond.nSlave = static_cast<int>(ports.size());
        for (size_t i = 0; i < ports.size(); ++i)
            ports[i].copy(bond.szSlave[i], sizeof bond.szSlave[i]);
        return bond;
    }

    // The files of a bond of eth0 and eth1 that has taken over eth0's address, as the writers leave them.
    static void configure_bond(const std::string &mode = "active-backup 1")
    {
        kernel_bond("bond0", "eth0 eth1\n", mode + "\n");
        write_ifcfg("bond0", BOND0);
        write_ifcfg("eth0", ENSLAVED_ETH0);
        write_ifcfg("eth1", ENSLAVED_ETH1);
    }
    static constexpr char BOND0[] =
        "DEVICE=bond0\nONBOOT=yes\nBOOTPROTO=static\nIPADDR=10.0.0.5\nNETMASK=255.255.255.0\nUSERCTL=no\n"
        "BONDING_OPTS=\"mode=1 use_carrier=0 miimon=100 updelay=100\"\n";
    static constexpr char ENSLAVED_ETH0[] =
        "DEVICE=eth0\nONBOOT=yes\nBOOTPROTO=static\nIPADDR=10.0.0.5\nNETMASK=255.255.255.0\nUSERCTL=no\n"
        "MASTER=bond0\nSLAVE=yes\n";
    static constexpr char ENSLAVED_ETH1[] =
        "# second port\nDEVICE=eth1\nONBOOT=yes\nBOOTPROTO=dhcp\nUSERCTL=no\nMASTER=bond0\nSLAVE=yes\n";
    // eth0 after the bond's settings went back to it.
    static constexpr char FREED_ETH0[] = "DEVICE=eth0\nONBOOT=yes\nBOOTPROTO=static\nIPADDR=10.0.0.5\n"
                                         "NETMASK=255.255.255.0\n";

    // ---- Recorded commands as they stand among the calls

    static std::string cp(const std::string &from, const std::string &to)
    {
        return "[/bin/cp] [-f] [" + from + "] [" + to + "]";
    }
    static std::string save(const std::string &name) { return cp(ifcfg(name), saved(name)); }
    static std::string put_back(const std::string &name)
    {
        return "[/bin/mv] [-f] [" + saved(name) + "] [" + ifcfg(name) + "]";
    }
    static std::string network(const std::string &verb, const std::vector<std::string> &names)
    {
        std::string call = "[/etc/rc.network] [" + verb + "]";
        for (const std::string &name : names)
            call += " [" + name + "]";
        return call;
    }
    static std::string event(const std::string &phase)
    {
        return std::string("[event] [") + RENAMED + "] [" + phase + "]";
    }
    static constexpr char READ_AHEAD[] = "[/usr/kavo/sbin/kavostoragecore] [--volume-readahead-set]";
};
