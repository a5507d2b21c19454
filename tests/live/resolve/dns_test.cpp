// Name servers for real: leases give them, the library writes the file, the system's resolver asks them.
#include <cstdlib>

#include "kavonetsdk/kavonetsdk.h"

#include "lab_side.h"

namespace resolve_test {
namespace {

using support::read_file;
using support::write_file;

constexpr char IN_USE[] = "/etc/resolv.conf";
constexpr char STATIC[] = "/etc/resolv.conf.static";
constexpr char LEASED[] = "nameserver\t10.77.0.1\n";
constexpr char OWN[] = "nameserver\t10.77.0.2\n";

class LiveDns : public testing::Test {
protected:
    static void SetUpTestSuite() { TwoRouters::build(); }
    static void TearDownTestSuite() { TwoRouters::remove(); }
    void TearDown() override
    {
        restore();
        run("systemctl stop kavorelayd; rm -f /run/systemd/system/kavorelayd.service; systemctl daemon-reload");
    }

    // The address that a new process finds for a name; empty when there is none.
    static std::string address_of(const std::string &name)
    {
        return run("getent ahostsv4 " + name + " | awk 'NR == 1 { printf \"%s\", $1 }'").output;
    }

    static std::string servers()
    {
        PKLIBSZLIST list = KLIBCSzListAlloc(512);
        std::string text;
        EXPECT_EQ(0, KAVONetDNSListGet(&list));
        for (int i = 0; i < list->nItem; ++i)
            text += std::string(KLIBCSzListGet(list, i)) + " ";
        KLIBCSzListFree(list);
        return text;
    }
};

TEST_F(LiveDns, ALeaseIsUsedByItself)
{
    take_lease("eth0");
    EXPECT_TRUE(wait_for([] { return read_file(IN_USE) == LEASED; })) << read_file(IN_USE);
    EXPECT_EQ("10.77.0.1 ", servers());
    EXPECT_EQ("10.77.0.9", address_of("storage.lab.test"));
}

TEST_F(LiveDns, TheModeTellsWhoseServersAreUsed)
{
    take_lease("eth0");
    ASSERT_EQ(0, KAVONetDNSModeSet("auto"));
    EXPECT_EQ(LEASED, read_file(IN_USE));
    EXPECT_EQ("644 root\n", run(std::string("stat -c '%a %U' ") + IN_USE).output);

    ASSERT_EQ(0, KAVONetDNSSet("10.77.0.2"));
    EXPECT_EQ(OWN, read_file(IN_USE));
    EXPECT_EQ(OWN, read_file(STATIC));
    EXPECT_EQ("10.77.0.2 ", servers());

    // A new lease does not touch the administrator's.
    ASSERT_EQ(0, run("systemctl stop dhclient@eth0").status);
    take_lease("eth0");
    ASSERT_EQ(0, KAVONetDNSUpdate());
    EXPECT_EQ(OWN, read_file(IN_USE));

    ASSERT_EQ(0, KAVONetDNSModeSet("auto"));
    EXPECT_EQ(LEASED, read_file(IN_USE));
    EXPECT_EQ(OWN, read_file(STATIC));
    ASSERT_EQ(0, KAVONetDNSModeSet("static"));
    EXPECT_EQ(OWN, read_file(IN_USE));
}

TEST_F(LiveDns, NamesAreResolvedWithTheFile)
{
    take_lease("eth0");
    ASSERT_TRUE(wait_for([] { return read_file(IN_USE) == LEASED; }));
    EXPECT_EQ("10.77.0.9", address_of("storage.lab.test"));
    ASSERT_EQ(0, KAVONetDNSSet("10.77.0.2"));
    EXPECT_EQ("10.77.0.10", address_of("storage.lab.test"));
    EXPECT_EQ("", address_of("nobody.lab.test"));

    // With the domain's line a short name will do.
    EXPECT_EQ("", address_of("storage"));
    write_file("/etc/resolv.conf.option", "domain\tlab.test\n");
    ASSERT_EQ(0, KAVONetDNSModeSet("auto"));
    EXPECT_EQ(std::string(LEASED) + "domain\tlab.test\n", read_file(IN_USE));
    EXPECT_EQ("10.77.0.9", address_of("storage"));
}

TEST_F(LiveDns, SubscribersAndServicesHear)
{
    subscribe("net/dns_config_change");
    subscribe("net/dns_change");
    write_file("/run/systemd/system/kavorelayd.service",
               "[Service]\nExecStart=/bin/sleep 1000\nExecReload=/bin/sh -c 'echo relay >>/run/live-events'\n");
    ASSERT_EQ(0, run("systemctl daemon-reload; systemctl start ddnsd kavorelayd").status);
    const auto looks = [] {
        return run("journalctl --no-pager -u ddnsd -o cat | grep -c 'address to publish'").output;
    };
    ASSERT_TRUE(wait_for([&] { return looks() != "0\n"; }));
    const std::string before = looks();

    ASSERT_EQ(0, KAVONetDNSSet("10.77.0.2"));
    EXPECT_EQ("net/dns_config_change pre 10.77.0.2\nnet/dns_change pre 10.77.0.2\nnet/dns_change post 10.77.0.2\n"
              "relay\nnet/dns_config_change post 10.77.0.2\n",
              read_file(EVENTS));
    EXPECT_TRUE(wait_for([&] { return looks() != before; })) << "ddnsd looks again when it is reloaded";

    // A service that does not run is not started.
    run("systemctl stop kavorelayd ddnsd");
    ASSERT_EQ(0, KAVONetDNSUpdate());
    EXPECT_EQ(3, run("systemctl is-active kavorelayd").status);
}

TEST_F(LiveDns, TheCommandSaysWhatHolds)
{
    take_lease("eth0");
    ASSERT_TRUE(wait_for([] { return read_file(IN_USE) == LEASED; }));
    EXPECT_EQ("dns: auto 10.77.0.1 -> static 10.77.0.2\n", run("kavonet dns set 10.77.0.2").output);
    EXPECT_EQ("dns: static 10.77.0.2 -> auto 10.77.0.1\n", run("kavonet dns mode auto").output);
    EXPECT_NE(std::string::npos, run("kavonet status").output.find("\ndns: auto 10.77.0.1\n"));
}

} // namespace
} // namespace resolve_test
