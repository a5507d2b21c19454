#include <climits>

#include "appliance/ipv6/ipv6_test.h"

namespace {

constexpr char FILE_NAME[] = "net_ipv6_ip_action.cpp";
constexpr char ADDRESS[] = "2001:db8::5";

class Ipv6IpAction : public Ipv6Test {
protected:
    void SetUp() override
    {
        Ipv6Test::SetUp();
        if (IsSkipped())
            return;
        record("/sbin/ip");
        follow("net/ipv6_change");
        add_card("lan0");
        plain_table();
    }

    // Callers in C pass whatever number they have.
    static KAVOIPV6IPCMD command_of(int number)
    {
        KAVOIPV6IPCMD command = KAVO_IPV6_IP_ADD;
        memcpy(&command, &number, sizeof command);
        return command;
    }

    static int act(int command, const char *router = nullptr, unsigned prefix = 64)
    {
        return KAVONetIPv6IPAction(command_of(command), "lan0", ADDRESS, prefix, router);
    }
};

TEST_F(Ipv6IpAction, AddsAnAddressAndTellsSubscribersFirst)
{
    EXPECT_EQ(0, act(KAVO_IPV6_IP_ADD));
    EXPECT_THAT(calls(), ElementsAre("[event] [net/ipv6_change] [pre]",
                                     "[/sbin/ip] [-6] [address] [add] [2001:db8::5/64] [dev] [lan0]"));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(Ipv6IpAction, DeletesAnAddressWithoutAnEvent)
{
    EXPECT_EQ(0, act(KAVO_IPV6_IP_DEL, nullptr, 128));
    EXPECT_THAT(calls(), ElementsAre("[/sbin/ip] [-6] [address] [del] [2001:db8::5/128] [dev] [lan0]"));
}

TEST_F(Ipv6IpAction, AnEmptyRouterIsNone)
{
    EXPECT_EQ(0, act(KAVO_IPV6_IP_DEL, ""));
    EXPECT_THAT(calls(), ElementsAre("[/sbin/ip] [-6] [address] [del] [2001:db8::5/64] [dev] [lan0]"));
}

TEST_F(Ipv6IpAction, WithARouterItChangesTheDefaultRouteOnly)
{
    EXPECT_EQ(0, act(KAVO_IPV6_IP_ADD, "fe80::1"));
    EXPECT_EQ(0, act(KAVO_IPV6_IP_DEL, "fe80::1"));
    EXPECT_THAT(calls(), ElementsAre("[/sbin/ip] [-6] [route] [add] [default] [via] [fe80::1] [dev] [lan0]",
                                     "[/sbin/ip] [-6] [route] [del] [default] [via] [fe80::1] [dev] [lan0]"));
}

TEST_F(Ipv6IpAction, GivesBackWhatTheRouteCommandEndsWith)
{
    record("/sbin/ip", 2);
    EXPECT_EQ(2, act(KAVO_IPV6_IP_ADD, "fe80::1"));
    EXPECT_THAT(log_lines(), IsEmpty());
    fail_call("KLIBCExecl");
    EXPECT_EQ(-1, act(KAVO_IPV6_IP_ADD, "fe80::1"));
}

TEST_F(Ipv6IpAction, WhatTheAddressCommandEndsWithDoesNotCount)
{
    record("/sbin/ip", 2);
    EXPECT_EQ(0, act(KAVO_IPV6_IP_ADD));
}

TEST_F(Ipv6IpAction, AnAddressThatCannotBeChangedIsAFailure)
{
    fail_call("KLIBCExecl");
    EXPECT_EQ(-1, act(KAVO_IPV6_IP_ADD));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "set IP failed. IP = 2001:db8::5, Netmask = , prefix = 64"));
    for (const char *text : {"", "fe80::1%lan0", "10.0.0.1", "2001:db8::", "2001:db8:::1", "1:2:3:4:5:6:7"}) {
        clear();
        const bool valid = std::string(text) == "2001:db8::";
        EXPECT_EQ(valid ? 0 : -1, KAVONetIPv6IPAction(KAVO_IPV6_IP_ADD, "lan0", text, 64, nullptr)) << text;
        EXPECT_EQ(valid ? -1 : LOG_ERR,
                  logged_in(FILE_NAME, std::string("set IP failed. IP = ") + text + ", Netmask = , prefix = 64"));
    }
}

TEST_F(Ipv6IpAction, RefusesPrefixesOutOfRange)
{
    for (const unsigned prefix : {129U, 1000U, unsigned{INT_MAX}, UINT_MAX}) {
        clear();
        EXPECT_EQ(-1, act(KAVO_IPV6_IP_ADD, nullptr, prefix));
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
        EXPECT_EQ(1U, log_lines().size());
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Paramter Prefix length " + std::to_string(static_cast<int>(prefix)) +
                                                    " out of range [0, 128] "));
    }
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_EQ(0, act(KAVO_IPV6_IP_DEL, nullptr, 0));
    EXPECT_EQ(0, act(KAVO_IPV6_IP_DEL, nullptr, 128));
}

TEST_F(Ipv6IpAction, RefusesNullInItsOrder)
{
    // The prefix is looked at before the address, the address before the device, the command last.
    EXPECT_EQ(-1, KAVONetIPv6IPAction(command_of(2), nullptr, nullptr, 129, nullptr));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Paramter Prefix length 129 out of range [0, 128] "));
    clear();
    EXPECT_EQ(-1, KAVONetIPv6IPAction(command_of(2), nullptr, nullptr, 64, nullptr));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Paramter szV6IPAddr can not be NULL"));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    clear();
    EXPECT_EQ(-1, KAVONetIPv6IPAction(command_of(2), nullptr, ADDRESS, 64, nullptr));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Paramter szDevice can not be NULL"));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(Ipv6IpAction, RefusesOtherCommands)
{
    for (const int command : {2, 3, 100, INT_MAX, -1}) {
        clear();
        EXPECT_EQ(-1, act(command));
        EXPECT_EQ(-1, act(command, "fe80::1"));
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Paramter KAVOIPV6IPCMD is not a legal parameter"));
        EXPECT_EQ(NO_ERROR_SET, last_error());
    }
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(Ipv6IpAction, RefusesHostileDevices)
{
    std::vector<std::string> names = support::hostile_names();
    names.emplace_back(support::NAME_OF_16);
    for (const std::string &name : names) {
        clear();
        EXPECT_EQ(-1, KAVONetIPv6IPAction(KAVO_IPV6_IP_ADD, name.c_str(), ADDRESS, 64, "fe80::1")) << name;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << name;
    }
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(Ipv6IpAction, ReallyChangesTheKernel)
{
    script("/sbin/ip", "exec /usr/bin/ip \"$@\"");
    ASSERT_EQ(0, act(KAVO_IPV6_IP_ADD));
    EXPECT_NE("", shell("ip -6 -o address show dev lan0 to 2001:db8::5/64"));
    ASSERT_EQ(0, act(KAVO_IPV6_IP_ADD, "fe80::1"));
    EXPECT_NE(std::string::npos, shell("ip -6 route show default").find("default via fe80::1 dev lan0"));
    EXPECT_NE(0, act(KAVO_IPV6_IP_ADD, "fe80::1")) << "it is there already";
    ASSERT_EQ(0, act(KAVO_IPV6_IP_DEL, "fe80::1"));
    EXPECT_EQ("", shell("ip -6 route show default"));
    ASSERT_EQ(0, act(KAVO_IPV6_IP_DEL));
    EXPECT_EQ("", shell("ip -6 -o address show dev lan0 to 2001:db8::5/64"));
}

} // namespace
