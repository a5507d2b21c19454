#include "appliance/ipv4/ipv4_test.h"

namespace {

constexpr char FILE_NAME[] = "net_lnx_get_ip.cpp";

using LnxGetIp = Ipv4Test;

TEST_F(LnxGetIp, GivesTheKernelsAddress)
{
    add_card("lan0", "192.0.2.5/24");
    char text[16] = "";
    EXPECT_EQ(1, KAVOILnxGetIP("lan0", text, sizeof text));
    EXPECT_STREQ("192.0.2.5", text);
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(LnxGetIp, AsksForAnIpv4Address)
{
    int family = -1;
    support::answer_ioctl([&](int, unsigned long question, void *argument) {
        if (question == SIOCGIFADDR)
            family = static_cast<const ifreq *>(argument)->ifr_addr.sa_family;
        return support::ASK_KERNEL;
    });
    char text[16] = "";
    EXPECT_EQ(0, KAVOILnxGetIP("none0", text, sizeof text));
    support::answer_ioctl({});
    EXPECT_EQ(AF_INET, family);
}

TEST_F(LnxGetIp, ALabelledAliasIsNotTheInterfacesAddress)
{
    add_card("lan0");
    shell("/bin/ip address add 192.0.2.9/24 dev lan0 label lan0:1");
    char text[16] = "";
    EXPECT_EQ(0, KAVOILnxGetIP("lan0", text, sizeof text));
    EXPECT_STREQ("0.0.0.0", text);
}

TEST_F(LnxGetIp, AnInterfaceWithoutAddressHasTheAllZeroOne)
{
    add_card("lan0");
    char text[64] = "before";
    EXPECT_EQ(0, KAVOILnxGetIP("lan0", text, sizeof text));
    EXPECT_STREQ("0.0.0.0", text);
    EXPECT_EQ(LOG_INFO, logged_in(FILE_NAME, "get ip failed"));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(LnxGetIp, SoHasAnUnknownInterface)
{
    char text[64] = "before";
    EXPECT_EQ(0, KAVOILnxGetIP("none0", text, sizeof text));
    EXPECT_STREQ("0.0.0.0", text);
}

TEST_F(LnxGetIp, CutsTheTextToTheBuffer)
{
    has_address("eth0", "192.168.100.200", "255.255.255.0");
    char text[20] = "###################";
    EXPECT_EQ(1, KAVOILnxGetIP("eth0", text, 8));
    EXPECT_STREQ("192.168", text);
    EXPECT_EQ('#', text[8]);
    EXPECT_EQ(1, KAVOILnxGetIP("eth0", text, 1));
    EXPECT_STREQ("", text);
    EXPECT_EQ('9', text[1]);
    EXPECT_EQ(1, KAVOILnxGetIP("eth0", text, 16));
    EXPECT_STREQ("192.168.100.200", text);
}

TEST_F(LnxGetIp, CutsNamesToFifteenCharacters)
{
    has_address(support::NAME_OF_15, "192.0.2.5", "255.255.255.0");
    char text[16] = "";
    EXPECT_EQ(1, KAVOILnxGetIP(support::NAME_OF_17, text, sizeof text));
    EXPECT_STREQ("192.0.2.5", text);
}

TEST_F(LnxGetIp, AFailedSocketIsAFailure)
{
    fail_call("socket");
    char text[16] = "before";
    EXPECT_EQ(-1, KAVOILnxGetIP("eth0", text, sizeof text));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_SOCKET_FAILED));
    EXPECT_STREQ("before", text);
}

TEST_F(LnxGetIp, RefusesBadArguments)
{
    char text[16] = "before";
    const auto expect_refused = [&](const char *name, char *buffer, int size) {
        support::clear_error();
        EXPECT_EQ(-1, KAVOILnxGetIP(name, buffer, size));
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
        EXPECT_STREQ("before", text);
    };
    expect_refused(nullptr, text, sizeof text);
    expect_refused("eth0", nullptr, sizeof text);
    expect_refused("eth0", text, 0);
    expect_refused("eth0", text, -1);
    for (const std::string &name : support::hostile_names())
        expect_refused(name.c_str(), text, sizeof text);
}

} // namespace
