#include "appliance/ipv4/ipv4_test.h"

namespace {

constexpr char FILE_NAME[] = "net_flush_ip.cpp";

using FlushIp = Ipv4Test;

TEST_F(FlushIp, Ipv4FlushesEveryAddressOfTheInterface)
{
    EXPECT_EQ(0, KAVONetFlushIP("-4", "eth0"));
    EXPECT_THAT(calls(), ElementsAre("[/sbin/ip] [-4] [address] [flush] [dev] [eth0]"));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(FlushIp, Ipv4FailsWhenTheCommandCannotBeRun)
{
    unlink(IP);
    EXPECT_EQ(-1, KAVONetFlushIP("-4", "eth0"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to flush ipv4 address on [eth0]"));
    EXPECT_STRNE(FILE_NAME, KLIBCErrorGetFile());
}

TEST_F(FlushIp, AStatusOfTheCommandIsNoFailure)
{
    record(IP, 2);
    EXPECT_EQ(0, KAVONetFlushIP("-4", "eth0"));
    EXPECT_EQ(1U, calls().size());
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(FlushIp, Ipv6TurnsIpv6OffAndOn)
{
    add_card("lan0");
    write_ifcfg("lan0", "IPV6INIT=auto\n");
    shell("/bin/ip -6 address add 2001:db8::5/64 dev lan0 nodad");
    EXPECT_EQ(0, KAVONetFlushIP("-6", "lan0"));
    EXPECT_EQ("", shell("/bin/ip -6 -o address show dev lan0 to 2001:db8::/32"));
    EXPECT_EQ("0\n", read_file("/proc/sys/net/ipv6/conf/lan0/disable_ipv6"));
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(FlushIp, Ipv6FailsWithTheFlush)
{
    EXPECT_EQ(-1, KAVONetFlushIP("-6", "lan0"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to flush ipv6 address on [lan0]"));
}

TEST_F(FlushIp, OtherFamiliesAreWrong)
{
    for (const char *family : {"", "4", "-5", "-46", "inet"}) {
        clear();
        EXPECT_EQ(-1, KAVONetFlushIP(family, "eth0")) << family;
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "ip type is wrong, only -4 or -6")) << family;
        EXPECT_EQ(NO_ERROR_SET, last_error()) << family;
    }
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(FlushIp, RefusesNullAndHostileNames)
{
    std::vector<std::string> names = support::hostile_names();
    names.emplace_back(support::NAME_OF_16);
    for (const char *family : {"-4", "-6"}) {
        for (const std::string &name : names) {
            support::clear_error();
            EXPECT_EQ(-1, KAVONetFlushIP(family, name.c_str())) << name;
            EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << name;
        }
        support::clear_error();
        EXPECT_EQ(-1, KAVONetFlushIP(family, nullptr));
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    }
    EXPECT_EQ(-1, KAVONetFlushIP(nullptr, "eth0"));
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(FlushIp, NamesAreArgumentsAsTheyStand)
{
    EXPECT_EQ(0, KAVONetFlushIP("-4", "$(id)\"';"));
    EXPECT_EQ(0, KAVONetFlushIP("-4", support::NAME_OF_15));
    EXPECT_THAT(calls(), ElementsAre("[/sbin/ip] [-4] [address] [flush] [dev] [$(id)\"';]",
                                     "[/sbin/ip] [-4] [address] [flush] [dev] [abcdefghijklmno]"));
}

} // namespace
