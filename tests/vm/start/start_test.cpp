// A bond and a VLAN at the start of a machine: the tests run in two machines, one after the other. The second finds the files
// that the first has left and a kernel that knows nothing of them, and the network script makes the same of them.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "kavonetsdk/kavonetsdk.h"
#include "support/commands.h"
#include "support/read_back.h"

using support::output_of;
using support::read_file;
using support::shell;
using support::write_file;

namespace {

const std::string FOLDER = "/etc/sysconfig/network-scripts/ifcfg-";

// The files of the first machine, as one word.
const char *handed_over()
{
    return getenv("KAVO_KEPT_FILES");
}

// Three cards, of which two become a bond and one carries a VLAN.
class Boot : public testing::Test {
protected:
    void SetUp() override
    {
        const std::string root = KAVO_SOURCE_DIR "/appliance/root";
        for (const std::string program : {"/etc/rc.network", "/usr/kavo/sbin/kavostoragecore",
                                          "/usr/kavo/bin/kavofirewall", "/usr/kavo/bin/tctool"}) {
            write_file(program, read_file(root + program), 0755);
            ASSERT_EQ(0, chmod(program.c_str(), 0755));
        }
        shell("rm -rf /etc/sysconfig; mkdir -p /etc/sysconfig/network-scripts; : >/etc/kavoinfo.conf;"
              "for i in 0 1 2; do ip link add eth5$i type veth peer name far5$i; ip link set far5$i up; done");
    }

    static void expect_all_there()
    {
        KAVOLINKAGGROPT bond;
        ASSERT_EQ(0, KAVONetLinkAggrGet("bond5", &bond));
        EXPECT_EQ(4, bond.mode);
        ASSERT_EQ(2, bond.nSlave);
        EXPECT_STREQ("eth50", bond.szSlave[0]);
        EXPECT_STREQ("eth51", bond.szSlave[1]);
        KLIBNETVLANINFO vlan;
        ASSERT_EQ(1, KLIBNetVlanGet("eth52.7", &vlan));
        EXPECT_STREQ("eth52", vlan.szRowDev);
        EXPECT_EQ(7, vlan.vlanId);
        EXPECT_EQ("10.5.0.1/24\n", output_of("ip -4 -o address show dev bond5 | awk '{ print $4 }'"));
        EXPECT_EQ("10.6.0.1/24\n", output_of("ip -4 -o address show dev eth52.7 | awk '{ print $4 }'"));
        EXPECT_EQ("", output_of("ip -4 -o address show dev eth52"));
        EXPECT_EQ(1400, KAVOGetMTU("eth52.7"));
    }

    // What an administrator sees.
    static std::string shown()
    {
        const std::string command = KAVO_BUILD_DIR "/bin/kavonet ";
        return output_of(command + "bond list --json; " + command + "vlan list --json | sed 's/\"mac\":\"[^\"]*\"//g'");
    }
};

TEST_F(Boot, First)
{
    const std::string address = "ONBOOT=yes\nBOOTPROTO=static\nNETMASK=255.255.255.0\n";
    write_file(FOLDER + "eth50", "DEVICE=eth50\n" + address + "IPADDR=10.5.0.1\n");
    write_file(FOLDER + "eth51", "DEVICE=eth51\n" + address + "IPADDR=10.5.1.1\n");
    write_file(FOLDER + "eth52", "DEVICE=eth52\n" + address + "IPADDR=10.6.0.1\n");
    write_file("/etc/kavoinfo.conf", "eth52_mtu=\"1400\"\n");
    shell("/etc/rc.network start");
    KAVOLINKAGGROPT bond = {};
    strcpy(bond.szIfname, "bond5");
    bond.mode = 4;
    ASSERT_EQ(0, KAVONetLinkAggrOptSlsaveAdd(&bond, "eth50"));
    ASSERT_EQ(0, KAVONetLinkAggrOptSlsaveAdd(&bond, "eth51"));
    ASSERT_EQ(0, KAVONetLinkAggrSet(&bond));
    KAVONETINFO info = {};
    info.blStatic = 1;
    strcpy(info.szAddr, "10.6.0.1");
    strcpy(info.szMask, "255.255.255.0");
    ASSERT_EQ(0, KLIBNetVlanCreate("eth52", 7, &info));
    expect_all_there();
    write_file("/etc/sysconfig/shown", shown());
    EXPECT_NE(std::string::npos, read_file("/etc/sysconfig/shown").find("eth52.7"));
    printf("kept: %s\n", output_of("tar -C / -cz etc/sysconfig etc/kavoinfo.conf | base64 -w 0").c_str());
}

TEST_F(Boot, Second)
{
    if (handed_over() == nullptr)
        GTEST_SKIP() << "nothing was handed over by a first machine";
    shell("printf '%s' \"$KAVO_KEPT_FILES\" | base64 -d | tar -C / -xz");
    EXPECT_NE(0, system("ip link show bond5 2>/dev/null")) << "the kernel knows nothing of the time before";
    shell("/etc/rc.network start");
    expect_all_there();
    EXPECT_EQ(read_file("/etc/sysconfig/shown"), shown());
}

} // namespace
