#include "addr_test.h"

namespace {

using NetIsV6IpAddrValid = AddrTest;

TEST_F(NetIsV6IpAddrValid, AcceptsAddresses)
{
    for (const char *text :
         {"::", "::1", "fe80::1", "FE80::1", "2001:db8:0:1:2:3:4:5", "::ffff:192.168.1.1",
          "0000:0000:0000:0000:0000:ffff:192.168.100.200", "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"})
        EXPECT_EQ(1, BlKLIBIsv6IpAddrValid(text)) << text;
}

TEST_F(NetIsV6IpAddrValid, AcceptsAddressesWithAPrefix)
{
    for (const char *text : {"fe80::1/64", "::/0", "::1/128", "fe80::1/1", "fe80::1/064", "fe80::1/000",
                             "0000:0000:0000:0000:0000:ffff:192.168.100.200/96"})
        EXPECT_EQ(1, BlKLIBIsv6IpAddrValid(text)) << text;
}

TEST_F(NetIsV6IpAddrValid, RefusesOtherTextsWithoutACode)
{
    for (const char *text : {"", " ", "x", "10.0.0.1", ":", ":::", "1::2::3", "12345::", "fe80::1%eth0", " fe80::1",
                             "fe80::1 ", "1:2:3:4:5:6:7", "1:2:3:4:5:6:7:8:9", "::g", "\xff::"})
        EXPECT_EQ(0, BlKLIBIsv6IpAddrValid(text)) << text;
    EXPECT_EQ(0, BlKLIBIsv6IpAddrValid(nullptr));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetIsV6IpAddrValid, RefusesBadPrefixes)
{
    for (const char *text :
         {"fe80::1/",   "fe80::1/129", "fe80::1/999", "fe80::1/0064", "fe80::1/-1",         "fe80::1/+1",  "fe80::1/ 1",
          "fe80::1/1 ", "fe80::1/x",   "fe80::1/6x",  "fe80::1/0x1",  "fe80::1//64",        "fe80::1/64/", "/64",
          "/",          "10.0.0.1/8",  "x/64",        " fe80::1/64",  "fe80::1/4294967360", "fe80::1/\xb2"})
        EXPECT_EQ(0, BlKLIBIsv6IpAddrValid(text)) << text;
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetIsV6IpAddrValid, RefusesLongTexts)
{
    // No valid address is longer than 45 characters, so the limit shows in what is refused: nothing beyond is read.
    const std::string longest = "0000:0000:0000:0000:0000:ffff:192.168.100.200";
    ASSERT_EQ(45U, longest.size());
    EXPECT_EQ(0, BlKLIBIsv6IpAddrValid((longest + "0").c_str()));
    EXPECT_EQ(0, BlKLIBIsv6IpAddrValid((longest + "0/64").c_str()));
    EXPECT_EQ(0, BlKLIBIsv6IpAddrValid((longest + "00").c_str()));
    EXPECT_EQ(0, BlKLIBIsv6IpAddrValid((longest + "00/64").c_str()));
    EXPECT_EQ(0, BlKLIBIsv6IpAddrValid((std::string(46, ':') + "1/64").c_str()));
    EXPECT_EQ(0, BlKLIBIsv6IpAddrValid(std::string(100000, ':').c_str()));
    EXPECT_EQ(0, BlKLIBIsv6IpAddrValid((std::string(100000, ':') + "/64").c_str()));
    EXPECT_EQ(0, BlKLIBIsv6IpAddrValid(("::/" + std::string(100000, '0')).c_str()));
}

} // namespace
