#include "addr_test.h"

namespace {

constexpr char FILE_NAME[] = "net_is_valid_ip_mask.cpp";

using NetIsValidIpMask = AddrTest;

TEST_F(NetIsValidIpMask, AcceptsHostsAndNetworksUnderAMask)
{
    const std::vector<std::pair<const char *, const char *>> cases = {
        {"192.168.1.1", "255.255.255.0"}, {"192.168.1.0", "255.255.255.0"}, {"192.168.1.254", "0xff.255.255.0"},
        {"192.168.0.255", "255.255.0.0"}, {"10.0.0.1", "255.0.0.0"},        {"0.0.0.0", "255.255.255.0"},
        {"010.1.1.1", "255.255.255.128"}, {"10.1.1.3", "255.255.255.254"},
    };
    for (const auto &[address, mask] : cases) {
        const bool broadcast = std::string(address) == "10.1.1.3";
        clear();
        EXPECT_EQ(broadcast ? 0 : 1, BlKLIBIsValidIpMask(address, mask)) << address << " " << mask;
        EXPECT_EQ(broadcast ? bad_address(FILE_NAME, 46) : NO_ERROR_SET, last_error()) << address << " " << mask;
    }
}

TEST_F(NetIsValidIpMask, RefusesTheBroadcastAddress)
{
    const std::vector<std::pair<const char *, const char *>> cases = {
        {"192.168.1.255", "255.255.255.0"}, {"192.168.255.255", "255.255.0.0"}, {"10.255.255.255", "255.0.0.0"},
        {"10.1.1.127", "255.255.255.128"},  {"0x0a.1.1.0377", "255.255.255.0"},
    };
    for (const auto &[address, mask] : cases) {
        clear();
        EXPECT_EQ(0, BlKLIBIsValidIpMask(address, mask)) << address;
        EXPECT_EQ(bad_address(FILE_NAME, 46), last_error()) << address;
    }
}

TEST_F(NetIsValidIpMask, AWholeMaskSuitsEveryAddress)
{
    for (const char *address : {"192.168.1.255", "10.0.0.0", "0.0.0.0", "223.255.255.255"}) {
        EXPECT_EQ(1, BlKLIBIsValidIpMask(address, "255.255.255.255")) << address;
        EXPECT_EQ(NO_ERROR_SET, last_error());
    }
}

TEST_F(NetIsValidIpMask, KeepsTheRecordOfTheFailedCheck)
{
    EXPECT_EQ(0, BlKLIBIsValidIpMask("127.0.0.1", "255.255.255.0"));
    EXPECT_EQ(bad_address("net_is_ip_addr.cpp", 20), last_error());
    EXPECT_EQ(0, BlKLIBIsValidIpMask("10.0.0.256", "255.255.255.0"));
    EXPECT_EQ(bad_address("net_is_ip_addr.cpp", 25), last_error());
    EXPECT_EQ(0, BlKLIBIsValidIpMask("", "255.255.255.0"));
    EXPECT_EQ(bad_address("net_is_ip_addr.cpp", 20), last_error());
    for (const char *mask : {"", "0.0.0.0", "255.0.255.0", "255.255.255", "x"}) {
        clear();
        EXPECT_EQ(0, BlKLIBIsValidIpMask("10.0.0.1", mask)) << mask;
        EXPECT_EQ(bad_address("net_is_ip_mask.cpp", 17), last_error()) << mask;
    }
}

TEST_F(NetIsValidIpMask, RefusesWhatOnlyTheOwnParserReads)
{
    for (const char *address : {" 10.0.0.1", "+10.0.0.1", "10.0.-0.1", ".1.2.3"}) {
        clear();
        EXPECT_EQ(0, BlKLIBIsValidIpMask(address, "255.255.255.0")) << address;
        EXPECT_EQ(bad_address(FILE_NAME, 42), last_error()) << address;
    }
}

TEST_F(NetIsValidIpMask, AMaskThatDoesNotFitSetsNoCode)
{
    EXPECT_EQ(1, BlKLIBIsValidIpMask("10.0.0.1", "0xff.0xff.0xff.0x00")); // 19 characters
    EXPECT_EQ(0, BlKLIBIsValidIpMask("10.0.0.1", "0xff.0xff.0xff.0x000"));
    EXPECT_EQ(0, BlKLIBIsValidIpMask("no address", std::string(100000, '0').c_str()));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetIsValidIpMask, LeavesTheMaskAsItWas)
{
    Buffer mask(std::string("0xff.255.255.0"));
    EXPECT_EQ(1, BlKLIBIsValidIpMask("10.0.0.1", mask.text()));
    EXPECT_EQ("0xff.255.255.0", mask.str());
    EXPECT_TRUE(mask.guarded());
}

TEST_F(NetIsValidIpMask, LogsNull)
{
    EXPECT_EQ(0, BlKLIBIsValidIpMask(nullptr, "255.255.255.0"));
    EXPECT_EQ(bad_parameter(FILE_NAME, 30), last_error());
    EXPECT_EQ(LOG_ERR,
              logged(R"(net_is_valid_ip_mask\.cpp:[0-9]+ Invaild Argument \(\(\(void \*\)0\) != szIP\)=\[0\]\n)"));
    clear();
    EXPECT_EQ(0, BlKLIBIsValidIpMask("10.0.0.1", nullptr));
    EXPECT_EQ(bad_parameter(FILE_NAME, 30), last_error());
    EXPECT_EQ(LOG_ERR, logged(R"(net_is_valid_ip_mask\.cpp:[0-9]+ Invaild Argument \(NULL != szMask\)=\[0\]\n)"));
    clear();
    EXPECT_EQ(0, BlKLIBIsValidIpMask(nullptr, nullptr));
    EXPECT_EQ(bad_parameter(FILE_NAME, 30), last_error());
    EXPECT_EQ(1U, support::log_lines().size());
}

} // namespace
