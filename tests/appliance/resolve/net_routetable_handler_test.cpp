#include "appliance/resolve/route_test.h"

#include <sys/ioctl.h>

namespace {

constexpr char FILE_NAME[] = "net_routetable_handler.cpp";

class RoutetableHandler : public RouteTest {
protected:
    static constexpr char STATIC[] = "BOOTPROTO=static\nIPADDR=192.168.1.20\nNETMASK=255.255.255.0\n";
    static constexpr char DHCP[] = "BOOTPROTO=dhcp\nIPADDR=192.168.1.20\nNETMASK=255.255.255.0\n";

    void SetUp() override
    {
        RouteTest::SetUp();
        if (IsSkipped())
            return;
        add_card("eth0");
        write_ifcfg("eth0", STATIC);
    }

    static std::string ip_call(const char *verb, const char *subnet, const char *device, const char *source)
    {
        return std::string("[/sbin/ip] [route] [") + verb + "] [" + subnet + "] [dev] [" + device + "] [src] [" +
               source + "]";
    }

    static void expect_nothing_done(unsigned int action, const char *name = "eth0")
    {
        clear();
        EXPECT_EQ(0, NetRoutetableHandler(action, name));
        EXPECT_THAT(calls(), IsEmpty());
        EXPECT_THAT(log_lines(), IsEmpty());
    }

    static void expect_failure(unsigned int action, const std::string &message)
    {
        clear();
        EXPECT_EQ(-1, NetRoutetableHandler(action, "eth0"));
        EXPECT_EQ(1U, log_lines().size());
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, message)) << message;
        EXPECT_THAT(calls(), IsEmpty());
    }

    static void add_card_of_15()
    {
        shell("ip link add eth456789012345 type veth peer name peer0; ip link set eth456789012345 up");
        write_ifcfg("eth456789012345", STATIC);
    }

    // Gives a real interface more flags than it has.
    static void more_flags(const std::string &name, int flags)
    {
        support::answer_ioctl([name, flags](int, unsigned long question, void *argument) {
            auto &request = *static_cast<ifreq *>(argument);
            if (question != SIOCGIFFLAGS || name != request.ifr_name)
                return support::ASK_KERNEL;
            request.ifr_flags = static_cast<short>(IFF_UP | IFF_RUNNING | flags);
            return 0;
        });
    }
};

TEST_F(RoutetableHandler, AddsTheRouteOfAStaticInterface)
{
    EXPECT_EQ(0, NetRoutetableHandler(0, "eth0"));
    EXPECT_THAT(calls(), ElementsAre(ip_call("del", "192.168.1.0/24", "eth0", "192.168.1.20"),
                                     ip_call("add", "192.168.1.0/24", "eth0", "192.168.1.20")));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(RoutetableHandler, ClearsTheRouteOfAStaticInterface)
{
    EXPECT_EQ(0, NetRoutetableHandler(1, "eth0"));
    EXPECT_THAT(calls(), ElementsAre(ip_call("del", "192.168.1.0/24", "eth0", "192.168.1.20")));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(RoutetableHandler, AddsNothingForADhcpInterfaceAndClearsByItsLease)
{
    write_ifcfg("eth0", DHCP);
    write_lease("eth0", "IPADDR=10.0.0.7\nNETMASK=255.255.0.0\n");
    expect_nothing_done(0);
    EXPECT_EQ(0, NetRoutetableHandler(1, "eth0"));
    EXPECT_THAT(calls(), ElementsAre(ip_call("del", "10.0.0.0/16", "eth0", "10.0.0.7")));
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(RoutetableHandler, AMissingLeaseIsAFailureWhateverTheAction)
{
    write_ifcfg("eth0", DHCP);
    for (const unsigned int action : {0U, 1U, 2U}) {
        expect_failure(action, "/etc/dhclient/ipv4/dhcpcd-eth0.info is not exist");
        EXPECT_EQ(NO_ERROR_SET, last_error());
    }
}

TEST_F(RoutetableHandler, DoesNothingForOtherActions)
{
    for (const unsigned int action : {2U, 0x80000000U, 0xFFFFFFFFU})
        expect_nothing_done(action);
    // Nor does it look at the values.
    write_ifcfg("eth0", "BOOTPROTO=static\n");
    expect_nothing_done(2);
}

TEST_F(RoutetableHandler, DoesNothingForInterfacesThatAreNotUsable)
{
    shell("/bin/ip link set eth0 down");
    for (const unsigned int action : {0U, 1U}) {
        expect_nothing_done(action);
        expect_nothing_done(action, "lo");
        expect_nothing_done(action, "eth9");
    }
    // Not even the configuration is looked at.
    ASSERT_EQ(0, unlink(ifcfg("eth0").c_str()));
    expect_nothing_done(1);
    EXPECT_FALSE(exists(ifcfg("eth0")));
}

TEST_F(RoutetableHandler, DoesNothingForMembers)
{
    add_card("eth1");
    write_ifcfg("eth1", STATIC);
    shell("/bin/ip link add br0 type bridge; /bin/ip link set eth0 master br0");
    more_flags("eth1", IFF_SLAVE);
    for (const unsigned int action : {0U, 1U}) {
        expect_nothing_done(action, "eth0");
        expect_nothing_done(action, "eth1");
    }
}

TEST_F(RoutetableHandler, APortOfOpenVSwitchHasTheRouteOfTheInterfaceInFront)
{
    add_card("ovs_eth0");
    write_ifcfg("ovs_eth0", "BOOTPROTO=static\nIPADDR=10.9.9.9\nNETMASK=255.0.0.0\n");
    EXPECT_EQ(0, NetRoutetableHandler(0, "eth0"));
    // The configuration is the port's own.
    EXPECT_THAT(calls(), ElementsAre(ip_call("del", "192.168.1.0/24", "ovs_eth0", "192.168.1.20"),
                                     ip_call("add", "192.168.1.0/24", "ovs_eth0", "192.168.1.20")));
    clear();
    EXPECT_EQ(0, NetRoutetableHandler(1, "ovs_eth0"));
    EXPECT_THAT(calls(), ElementsAre(ip_call("del", "10.0.0.0/8", "ovs_eth0", "10.9.9.9")));
}

TEST_F(RoutetableHandler, TheInterfaceInFrontMustBeUsable)
{
    add_card("ovs_eth0", "", false);
    expect_nothing_done(0);
    expect_nothing_done(1);
}

TEST_F(RoutetableHandler, OnlyEthernetPortsHaveAnInterfaceInFront)
{
    add_card("lan0");
    add_card("ovs_lan0");
    write_ifcfg("lan0", STATIC);
    expect_nothing_done(0, "lan0"); // the port itself is not usable
    expect_nothing_done(1, "lan0");
}

TEST_F(RoutetableHandler, NothingIsAddedForABridgePortBehindOpenVSwitch)
{
    add_card("ovs_eth0");
    shell("/bin/ip link add br0 type bridge; /bin/ip link set eth0 master br0");
    expect_nothing_done(0);
    EXPECT_EQ(0, NetRoutetableHandler(1, "eth0"));
    EXPECT_THAT(calls(), ElementsAre(ip_call("del", "192.168.1.0/24", "ovs_eth0", "192.168.1.20")));
}

TEST_F(RoutetableHandler, NothingIsAddedForABondMemberBehindOpenVSwitch)
{
    add_card("ovs_eth0");
    more_flags("eth0", IFF_SLAVE);
    expect_nothing_done(0);
    EXPECT_EQ(0, NetRoutetableHandler(1, "eth0"));
    EXPECT_THAT(calls(), ElementsAre(ip_call("del", "192.168.1.0/24", "ovs_eth0", "192.168.1.20")));
}

TEST_F(RoutetableHandler, AddressAndMaskMustBeConfigured)
{
    const std::string path = ifcfg("eth0");
    for (const unsigned int action : {0U, 1U}) {
        for (const char *content : {"BOOTPROTO=static\n", "BOOTPROTO=static\nNETMASK=255.255.255.0\n",
                                    "BOOTPROTO=static\n#IPADDR=192.168.1.20\nNETMASK=255.255.255.0\n"}) {
            write_ifcfg("eth0", content);
            expect_failure(action, "Get IP from " + path + " fail");
            EXPECT_EQ(NO_ERROR_SET, last_error());
        }
        write_ifcfg("eth0", "BOOTPROTO=static\nIPADDR=192.168.1.20\n");
        expect_failure(action, "Get netmask from " + path + " fail");
        EXPECT_EQ(NO_ERROR_SET, last_error());
    }
    write_ifcfg("eth0", DHCP);
    write_lease("eth0", "");
    expect_failure(1, "Get IP from /etc/dhclient/ipv4/dhcpcd-eth0.info fail");
    write_lease("eth0", "IPADDR=10.0.0.7\n");
    expect_failure(1, "Get netmask from /etc/dhclient/ipv4/dhcpcd-eth0.info fail");
}

TEST_F(RoutetableHandler, AFileThatCannotBeReadIsAFailure)
{
    fail_call("KLIBCFileGetKeyValue", 2); // the first asks for the method
    expect_failure(1, "Get IP from " + ifcfg("eth0") + " fail");
    EXPECT_STREQ("fault.c", KLIBCErrorGetFile());
    fail_call("KLIBCFileGetKeyValue", 3);
    expect_failure(1, "Get netmask from " + ifcfg("eth0") + " fail");
    EXPECT_EQ(0, NetRoutetableHandler(1, "eth0")) << "the next call works";
}

TEST_F(RoutetableHandler, AMissingFileIsAFailure)
{
    ASSERT_EQ(0, unlink(ifcfg("eth0").c_str()));
    EXPECT_EQ(-1, NetRoutetableHandler(1, "eth0"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Get IP from " + ifcfg("eth0") + " fail"));
    EXPECT_FALSE(exists(ifcfg("eth0")));
}

TEST_F(RoutetableHandler, AFileWithoutAMethodIsReadAsStatic)
{
    write_ifcfg("eth0", "IPADDR=192.168.1.20\nNETMASK=255.255.255.0\n");
    EXPECT_EQ(0, NetRoutetableHandler(1, "eth0"));
    EXPECT_THAT(calls(), ElementsAre(ip_call("del", "192.168.1.0/24", "eth0", "192.168.1.20")));
    EXPECT_EQ("IPADDR=192.168.1.20\nNETMASK=255.255.255.0\nBOOTPROTO=static\n", read_file(ifcfg("eth0")));
}

TEST_F(RoutetableHandler, WhatTheEditorSaysIsIgnored)
{
    for (const char *values :
         {"IPADDR=nonsense\nNETMASK=255.255.255.0\n", "IPADDR=\nNETMASK=\n", "IPADDR=192.168.1.20\nNETMASK=-F\n",
          "IPADDR=$(id)\nNETMASK=255.255.255.0\n", "IPADDR=192.168.1.20 dev lo\nNETMASK=255.255.255.0\n"}) {
        write_ifcfg("eth0", std::string("BOOTPROTO=static\n") + values);
        clear();
        EXPECT_EQ(0, NetRoutetableHandler(0, "eth0")) << values;
        EXPECT_THAT(calls(), IsEmpty()) << values;
        EXPECT_EQ(1U, log_lines().size());
        EXPECT_EQ(0U, log_lines()[0].text.find("net_routetable_edit.cpp:"));
    }
    write_ifcfg("eth0", STATIC);
    record(IP, 1);
    record(ROUTE, 1);
    EXPECT_EQ(0, NetRoutetableHandler(0, "eth0"));
}

TEST_F(RoutetableHandler, ValuesAreCutToTheirBuffers)
{
    // Of the address 19 characters are read.
    write_ifcfg("eth0", "BOOTPROTO=static\nIPADDR=" + std::string(5000, '1') + "\nNETMASK=255.255.255.0\n");
    EXPECT_EQ(0, NetRoutetableHandler(1, "eth0"));
    EXPECT_EQ(LOG_ERR, logged_in("net_routetable_edit.cpp", "inet_pton error (" + std::string(19, '1') + ")"));
}

TEST_F(RoutetableHandler, AHeldLockMakesItReadTheFileAsStatic)
{
    // Without the lock nobody knows the method, so the interface counts as one that is not on DHCP.
    fail_call("KLIBCFileLock");
    EXPECT_EQ(0, NetRoutetableHandler(1, "eth0"));
    EXPECT_THAT(calls(), ElementsAre(ip_call("del", "192.168.1.0/24", "eth0", "192.168.1.20")));
}

TEST_F(RoutetableHandler, RefusesNullAndHostileNames)
{
    const auto expect_refused = [](const char *name) {
        for (const unsigned int action : {0U, 1U, 2U}) {
            clear();
            EXPECT_EQ(-1, NetRoutetableHandler(action, name));
            EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
            EXPECT_THAT(calls(), IsEmpty());
            EXPECT_THAT(log_lines(), IsEmpty());
        }
    };
    expect_refused(nullptr);
    for (const std::string &name : support::hostile_names())
        expect_refused(name.c_str());
    expect_refused(support::NAME_OF_16);
}

TEST_F(RoutetableHandler, NamesOfFifteenCharactersAreTaken)
{
    add_card_of_15();
    EXPECT_EQ(0, NetRoutetableHandler(1, "eth456789012345"));
    EXPECT_THAT(calls(), ElementsAre(ip_call("del", "192.168.1.0/24", "eth456789012345", "192.168.1.20")));
}

TEST_F(RoutetableHandler, NoInterfaceInFrontHasATooLongName)
{
    // A member of an Open vSwitch bond whose name leaves no room for the "ovs_" in front.
    plain_sys();
    write_file("/sys/class/net/kavo_ovs_bonds", "ovs_bond0 eth456789012345 eth1\n");
    add_card_of_15();
    expect_nothing_done(0, "eth456789012345");
    expect_nothing_done(1, "eth456789012345");
}

TEST_F(RoutetableHandler, ChangesTheRealRoutes)
{
    use_real_commands();
    shell("/bin/ip address add 192.168.1.20/24 dev eth0");
    const auto routes = [] { return shell("/bin/ip route show dev eth0"); };
    EXPECT_EQ(0, NetRoutetableHandler(1, "eth0"));
    EXPECT_EQ("", routes());
    EXPECT_EQ(0, NetRoutetableHandler(0, "eth0"));
    EXPECT_THAT(routes(), testing::StartsWith("192.168.1.0/24 scope link src 192.168.1.20"));
}

} // namespace
