#include "addr_test.h"

namespace {

constexpr char FILE_NAME[] = "net_is_ip_addr.cpp";

using NetIsIpAddr = AddrTest;

TEST_F(NetIsIpAddr, AcceptsHostAddresses)
{
    for (const char *text :
         {"0.0.0.0", "1.2.3.4", "10.0.0.255", "126.255.255.255", "128.0.0.1", "192.168.1.77", "223.255.255.255",
          "010.1.1.1", "0x0a.0xff.0.1", " 1.2.3.4", "+1.2.3.4", "1.-0.3.4", ".1.2.3"}) {
        EXPECT_EQ(1, BlKLIBIsIpAddr(text)) << text;
        EXPECT_EQ(NO_ERROR_SET, last_error()) << text;
    }
}

TEST_F(NetIsIpAddr, RefusesWhatIsNotFourPartsOrNoHosts)
{
    for (const char *text : {"",
                             "1",
                             "1.2.3",
                             "1.2.3.",
                             "1.2.3.4.5",
                             "1.2.3.4x",
                             "1..2.3",
                             "a.b.c.d",
                             "fe80::1",
                             "1.2.3.4/24",
                             "1.2.3.4 ",
                             "127.0.0.1",
                             "127.255.255.255",
                             "0x7f.1.1.1",
                             "0177.1.1.1",
                             "224.0.0.1",
                             "239.1.1.1",
                             "240.0.0.1",
                             "255.255.255.255",
                             "256.1.1.1",
                             "-1.1.1.1",
                             "4294967297.1.1.1",
                             "-4294967295.1.1.1"}) {
        clear();
        EXPECT_EQ(0, BlKLIBIsIpAddr(text)) << text;
        EXPECT_EQ(bad_address(FILE_NAME, 20), last_error()) << text;
    }
}

TEST_F(NetIsIpAddr, RefusesFurtherPartsThatAreNoOctets)
{
    for (const char *text : {"1.256.1.1", "1.1.256.1", "1.1.1.256", "1.-1.1.1", "1.1.-1.1", "1.1.1.-1", "1.0x100.1.1",
                             "1.1.0400.1", "1.1.1.4294967297", "1.1.1.18446744073709551617"}) {
        clear();
        EXPECT_EQ(0, BlKLIBIsIpAddr(text)) << text;
        EXPECT_EQ(bad_address(FILE_NAME, 25), last_error()) << text;
    }
}

TEST_F(NetIsIpAddr, LooksAt31Characters)
{
    EXPECT_EQ(1, BlKLIBIsIpAddr(("1.2.3." + std::string(100, '0')).c_str()));
    EXPECT_EQ(0, BlKLIBIsIpAddr(std::string(100000, '.').c_str()));
}

TEST_F(NetIsIpAddr, RefusesNull)
{
    EXPECT_EQ(0, BlKLIBIsIpAddr(nullptr));
    EXPECT_TRUE(is_bad_parameter_in(FILE_NAME));
}

} // namespace
