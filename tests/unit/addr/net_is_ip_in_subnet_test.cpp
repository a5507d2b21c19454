#include "addr_test.h"

namespace {

struct Case {
    const char *address;
    const char *subnet;
};

using NetIsIpInSubnet = AddrTest;

TEST_F(NetIsIpInSubnet, Inside)
{
    for (const auto &[address, subnet] :
         {Case{"10.1.1.1", "10.1.1.0/24"}, Case{"10.1.1.0", "10.1.1.0/24"}, Case{"10.1.1.255", "10.1.1.0/24"},
          Case{"10.1.1.1", "10.1.1.1/32"}, Case{"255.255.255.255", "0.0.0.0/0"}, Case{"0.0.0.0", "0.0.0.0/0"},
          Case{"191.255.255.255", "128.0.0.0/2"}, Case{"10.1.1.1", "10.0.0.0/8 and more"},
          Case{"0x0a.1.1.1", "10.0.0.0/8"}, Case{"10.1", "10.0.0.0/8"}, Case{"8.1.1.1", "010.0.0.0/8"}}) {
        EXPECT_EQ(1, KAVONetIsIpInSubnet(address, subnet)) << address << " " << subnet;
        EXPECT_TRUE(support::log_lines().empty()) << address << " " << subnet;
        EXPECT_EQ(NO_ERROR_SET, last_error());
    }
}

TEST_F(NetIsIpInSubnet, Outside)
{
    for (const auto &[address, subnet] :
         {Case{"10.1.2.1", "10.1.1.0/24"}, Case{"10.1.0.255", "10.1.1.0/24"}, Case{"10.1.1.2", "10.1.1.1/32"},
          Case{"11.0.0.0", "10.0.0.0/8"}, Case{"128.0.0.0", "0.0.0.0/1"}, Case{"127.255.255.255", "128.0.0.0/1"}}) {
        EXPECT_EQ(0, KAVONetIsIpInSubnet(address, subnet)) << address << " " << subnet;
        EXPECT_TRUE(support::log_lines().empty()) << address << " " << subnet;
        EXPECT_EQ(NO_ERROR_SET, last_error());
    }
}

TEST_F(NetIsIpInSubnet, LogsASubnetThatDoesNotSplit)
{
    for (const char *subnet : {"", "10.1.1.0", "10.1.1.0/33", "10.1.1.0/x", "127.0.0.0/8", "00000000000010.1.1.0/24"}) {
        clear();
        EXPECT_EQ(0, KAVONetIsIpInSubnet("10.1.1.1", subnet)) << subnet;
        EXPECT_EQ(LOG_ERR, logged(R"(net_sep_subnet\.cpp:[0-9]+ invalid subnet format: .*)")) << subnet;
        EXPECT_EQ(LOG_ERR, logged(R"(net_is_ip_in_subnet\.cpp:[0-9]+ Failed to seperate Subnet IP and prefix length)"));
        EXPECT_EQ(2U, support::log_lines().size());
    }
}

TEST_F(NetIsIpInSubnet, LogsAddressesThatDoNotParse)
{
    for (const char *address : {"", "x", "10.1.1.256", " 10.1.1.1", "fe80::1"}) {
        clear();
        EXPECT_EQ(0, KAVONetIsIpInSubnet(address, "10.1.1.0/24")) << address;
        EXPECT_EQ(LOG_ERR, logged(R"(net_is_ip_in_subnet\.cpp:[0-9]+ Failed to parse IP)")) << address;
        EXPECT_EQ(1U, support::log_lines().size());
    }
    clear();
    EXPECT_EQ(0, KAVONetIsIpInSubnet("10.1.1.1", ".1.2.0/24")); // only the own parser reads it
    EXPECT_EQ(LOG_ERR, logged(R"(net_is_ip_in_subnet\.cpp:[0-9]+ Failed to parse Subnet IP)"));
    EXPECT_EQ(1U, support::log_lines().size());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetIsIpInSubnet, LogsHostBitsInTheSubnet)
{
    for (const char *subnet : {"10.1.1.1/24", "10.1.1.0/0", "10.1.1.0/23", "10.1.1.1/31"}) {
        clear();
        EXPECT_EQ(0, KAVONetIsIpInSubnet("10.1.1.1", subnet)) << subnet;
        EXPECT_EQ(LOG_ERR, logged(R"(net_is_ip_in_subnet\.cpp:[0-9]+ Invalid subnet with non-zero host identifier: )" +
                                  std::string(subnet)));
        EXPECT_EQ(1U, support::log_lines().size());
    }
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetIsIpInSubnet, RefusesNull)
{
    EXPECT_EQ(0, KAVONetIsIpInSubnet(nullptr, "10.1.1.0/24"));
    EXPECT_TRUE(is_bad_parameter_in("net_is_ip_in_subnet.cpp"));
    clear();
    EXPECT_EQ(0, KAVONetIsIpInSubnet("10.1.1.1", nullptr));
    EXPECT_TRUE(is_bad_parameter_in("net_is_ip_in_subnet.cpp"));
}

} // namespace
