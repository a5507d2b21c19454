#include "appliance/ipv4/ipv4_test.h"

namespace {

constexpr char FILE_NAME[] = "net_set_ip.cpp";

class SetIp : public Ipv4Test {
protected:
    static constexpr char EVENT[] = "[event] [net/ipv4_change] [pre]";
    static constexpr char FLUSH[] = "[/sbin/ip] [-4] [address] [flush] [dev] [eth0] [label] [eth0]";
    static constexpr char ADD[] = "[/sbin/ip] [-4] [address] [add] [192.0.2.5/24] [broadcast] [+] [dev] [eth0]";
    static constexpr char REFRESH[] = "[/usr/kavo/sbin/kavonetdtool] [--refresh-static-route-rules] [-4]";

    void SetUp() override
    {
        Ipv4Test::SetUp();
        if (!IsSkipped())
            has_address("eth0", "192.0.2.1", "255.255.255.0");
    }

    static int add4(const char *address = "192.0.2.5", unsigned int prefix = 24, const char *name = "eth0")
    {
        return KAVONetSetIP("-4", name, address, prefix, "add");
    }

    static void expect_failure(const std::string &message)
    {
        EXPECT_EQ(1U, log_lines().size());
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, message));
        EXPECT_STRNE(FILE_NAME, KLIBCErrorGetFile()) << "it sets no code of its own";
    }
};

TEST_F(SetIp, ANewAddressIsToldBeforeTheOldIsFlushed)
{
    EXPECT_EQ(0, add4());
    EXPECT_THAT(calls(), ElementsAre(EVENT, FLUSH, ADD)); // and the route rules are not refreshed
    EXPECT_THAT(followed(), ElementsAre("net/ipv4_change pre IFNAME=eth0 ORIGIN_ADDRESS=192.0.2.1 "
                                        "NEW_ADDRESS=192.0.2.5 PREFIX_LENGTH=24 IS_LINK=true"));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(SetIp, TheFirstAddressReplacesTheAllZeroOne)
{
    has_address("eth0", "", "");
    EXPECT_EQ(0, add4());
    EXPECT_THAT(calls(), ElementsAre(EVENT, FLUSH, ADD));
    ASSERT_EQ(1U, followed().size());
    EXPECT_THAT(followed()[0], testing::HasSubstr(" ORIGIN_ADDRESS=0.0.0.0 "));
}

TEST_F(SetIp, TheSameAddressAndPrefixIsNothingToDo)
{
    EXPECT_EQ(0, add4("192.0.2.1", 24));
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(SetIp, AddressesAreComparedAsText)
{
    EXPECT_EQ(0, add4("192.0.2.01", 24));
    EXPECT_THAT(calls(), ElementsAre(EVENT, FLUSH,
                                     "[/sbin/ip] [-4] [address] [add] [192.0.2.01/24] [broadcast] [+] [dev] [eth0]"));
    EXPECT_THAT(followed(), ElementsAre("net/ipv4_change pre IFNAME=eth0 ORIGIN_ADDRESS=192.0.2.1 "
                                        "NEW_ADDRESS=192.0.2.01 PREFIX_LENGTH=24 IS_LINK=true"));
}

TEST_F(SetIp, ANewPrefixAloneRefreshesTheRouteRulesAndSendsNoEvent)
{
    EXPECT_EQ(0, add4("192.0.2.1", 16));
    EXPECT_THAT(
        calls(),
        ElementsAre(FLUSH, "[/sbin/ip] [-4] [address] [add] [192.0.2.1/16] [broadcast] [+] [dev] [eth0]", REFRESH));
}

TEST_F(SetIp, AnUnknownMaskCountsAsAnotherPrefix)
{
    has_address("eth0", "192.0.2.5", "");
    EXPECT_EQ(0, add4());
    EXPECT_THAT(calls(), ElementsAre(FLUSH, ADD, REFRESH));
}

TEST_F(SetIp, AnUnknownMaskIsNotThePrefixZero)
{
    has_address("eth0", "192.0.2.5", "");
    EXPECT_EQ(0, add4("192.0.2.5", 0));
    EXPECT_EQ(3U, calls().size());
}

TEST_F(SetIp, PrefixesUpTo32AreIpv4s)
{
    EXPECT_EQ(0, add4("192.0.2.5", 32));
    EXPECT_EQ(0, add4("192.0.2.5", 0));
    EXPECT_EQ(6U, calls().size());
    for (const unsigned int prefix : {33U, 128U, 0x80000000U, 0xFFFFFFFFU}) {
        for (const char *action : {"add", "del"}) {
            clear();
            EXPECT_EQ(-1, KAVONetSetIP("-4", "eth0", "192.0.2.5", prefix, action)) << prefix;
            expect_failure("prefix length is wrong");
            clear();
            EXPECT_EQ(-1, KAVONetSetIP("-4", "eth0", "bad", prefix, action)) << "it is looked at before the address";
            expect_failure("prefix length is wrong");
        }
    }
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(SetIp, AddressesThatAreNoneAreRefused)
{
    for (const char *address : {"", "192.0.2", "192.0.2.256", "127.0.0.1", "224.0.0.1", "192.0.2.5/24", "192.0.2.5 ",
                                "192.0.2.5\n", "$(reboot)", "::1"}) {
        clear();
        EXPECT_EQ(-1, add4(address)) << address;
        EXPECT_EQ(1U, log_lines().size());
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, std::string("your ip ") + address + " is not valid"));
        EXPECT_STRNE(FILE_NAME, KLIBCErrorGetFile());
    }
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(SetIp, TheCurrentAddressMustBeReadable)
{
    for (const char *action : {"add", "del"}) {
        clear();
        fail_call("socket", 1);
        EXPECT_EQ(-1, KAVONetSetIP("-4", "eth0", "192.0.2.5", 24, action));
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "get old v4 IP failed")) << action;
        EXPECT_TRUE(support::is_set_in("net_lnx_get_ip.cpp", NET_ERR_SOCKET_FAILED)) << action;
        clear();
        fail_call("socket", 2);
        EXPECT_EQ(-1, KAVONetSetIP("-4", "eth0", "192.0.2.5", 24, action));
        expect_failure("Failed to create socket.");
        EXPECT_THAT(calls(), IsEmpty()) << action;
    }
}

TEST_F(SetIp, LongNamesHaveNoInterfaceInfo)
{
    for (const char *name : {support::NAME_OF_16, support::NAME_OF_17}) {
        for (const char *action : {"add", "del"}) {
            clear();
            EXPECT_EQ(-1, KAVONetSetIP("-4", name, "192.0.2.5", 24, action)) << action;
            EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, std::string("Failed to get interface info of '") + name + "'."));
            EXPECT_EQ(NO_ERROR_SET, last_error());
        }
    }
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_EQ(0, add4("192.0.2.5", 24, support::NAME_OF_15));
    EXPECT_EQ(2U, calls().size());
}

TEST_F(SetIp, ACommandThatCannotBeRunEndsTheChange)
{
    fail_call("KLIBCExecl", 1);
    EXPECT_EQ(-1, add4());
    expect_failure("excute command: ip -4 address flush dev eth0 label eth0, failed");
    EXPECT_THAT(calls(), ElementsAre(EVENT));
    clear();
    fail_call("KLIBCExecl", 2);
    EXPECT_EQ(-1, add4());
    expect_failure("excute command: ip -4 address add 192.0.2.5/24 dev eth0, failed");
    EXPECT_THAT(calls(), ElementsAre(EVENT, FLUSH));
}

TEST_F(SetIp, AFailedRefreshIsOnlyLogged)
{
    fail_call("KLIBCExecl", 3);
    EXPECT_EQ(0, add4("192.0.2.1", 16));
    expect_failure("Failed to refresh static route rules.");
}

TEST_F(SetIp, TheStatusOfACommandIsNoFailure)
{
    record(IP, 2);
    record(KAVONETDTOOL, 1);
    EXPECT_EQ(0, add4("192.0.2.1", 16));
    EXPECT_EQ(3U, calls().size());
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(SetIp, AFailedEventStopsNothing)
{
    follow("net/ipv4_change", 1);
    EXPECT_EQ(0, add4());
    EXPECT_THAT(calls(), ElementsAre(EVENT, FLUSH, ADD));
    clear();
    fail_call("KLIBPluginSDKInit");
    EXPECT_EQ(0, add4());
    EXPECT_THAT(calls(), ElementsAre(FLUSH, ADD));
}

TEST_F(SetIp, DeletingAsksForNothingElse)
{
    EXPECT_EQ(0, KAVONetSetIP("-4", "eth0", "192.0.2.9", 24, "del"));
    EXPECT_THAT(calls(), ElementsAre("[/sbin/ip] [-4] [address] [del] [192.0.2.9/24] [dev] [eth0]"));
    clear();
    fail_call("KLIBCExecl");
    EXPECT_EQ(-1, KAVONetSetIP("-4", "eth0", "192.0.2.9", 24, "del"));
    expect_failure("excute cmd /sbin/ip address del 192.0.2.9/24 dev eth0 failed");
}

TEST_F(SetIp, FlushingNeedsNoAddress)
{
    EXPECT_EQ(0, KAVONetSetIP("-4", "eth0", nullptr, 99, "flush"));
    EXPECT_THAT(calls(), ElementsAre("[/sbin/ip] [-4] [address] [flush] [dev] [eth0]"));
    clear();
    fail_call("KLIBCExecl");
    EXPECT_EQ(-1, KAVONetSetIP("-4", "eth0", "", 24, "flush"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "flush ip failed"));
    clear();
    EXPECT_EQ(-1, KAVONetSetIP("-5", "eth0", "192.0.2.5", 24, "flush"));
    EXPECT_EQ(LOG_ERR, logged_in("net_flush_ip.cpp", "ip type is wrong, only -4 or -6"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "flush ip failed"));
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(SetIp, TheActionIsLookedAtBeforeTheFamily)
{
    for (const char *action : {"", "ADD", "added", "ad", "modify"}) {
        clear();
        EXPECT_EQ(-1, KAVONetSetIP("-5", "eth0", "192.0.2.5", 24, action));
        expect_failure(std::string("action command is wrong. your action is ") + action);
    }
    for (const char *family : {"", "4", "-46", "inet"}) {
        clear();
        EXPECT_EQ(-1, KAVONetSetIP(family, "eth0", "bad", 999, "add"));
        expect_failure("ip type is wrong, only -4 or -6");
    }
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(SetIp, RefusesNullAndHostileTexts)
{
    const auto expect_refused = [](const char *family, const char *name, const char *address, const char *action) {
        support::clear_error();
        EXPECT_EQ(-1, KAVONetSetIP(family, name, address, 24, action)) << (name == nullptr ? "null" : name);
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    };
    expect_refused(nullptr, "eth0", "192.0.2.5", "add");
    expect_refused("-4", nullptr, "192.0.2.5", "add");
    expect_refused("-4", "eth0", nullptr, "add");
    expect_refused("-6", "eth0", nullptr, "del");
    expect_refused("-4", "eth0", "192.0.2.5", nullptr);
    for (const std::string &name : support::hostile_names()) {
        expect_refused("-4", name.c_str(), "192.0.2.5", "add");
        expect_refused("-6", name.c_str(), "2001:db8::5", "del");
        expect_refused("-4", name.c_str(), "192.0.2.5", "flush");
    }
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(SetIp, NamesAreArgumentsAsTheyStand)
{
    EXPECT_EQ(0, KAVONetSetIP("-4", "$(id)\"';", "192.0.2.5", 24, "del"));
    EXPECT_THAT(calls(), ElementsAre("[/sbin/ip] [-4] [address] [del] [192.0.2.5/24] [dev] [$(id)\"';]"));
}

TEST_F(SetIp, KeepsTheLabelledAliasesOfARealCard)
{
    use_real_ip();
    add_card("lan0", "198.51.100.7/16");
    shell("/bin/ip address add 203.0.113.1/24 dev lan0 label lan0:1; /bin/ip address add 198.51.100.8/16 dev lan0");
    EXPECT_EQ(0, add4("192.0.2.5", 24, "lan0"));
    const std::string addresses = shell("/bin/ip -4 -o address show dev lan0");
    EXPECT_THAT(addresses, testing::HasSubstr(" inet 192.0.2.5/24 brd 192.0.2.255 "));
    EXPECT_THAT(addresses, testing::HasSubstr(" inet 203.0.113.1/24 "));
    EXPECT_THAT(addresses, testing::Not(testing::HasSubstr("198.51.100.")));
    EXPECT_THAT(calls(), testing::Not(testing::Contains(REFRESH)));

    clear();
    EXPECT_EQ(0, add4("192.0.2.5", 24, "lan0")); // now it is there
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_EQ(0, add4("192.0.2.5", 25, "lan0"));
    EXPECT_THAT(shell("/bin/ip -4 -o address show dev lan0"),
                testing::HasSubstr(" inet 192.0.2.5/25 brd 192.0.2.127 "));
    EXPECT_THAT(calls(), testing::Contains(REFRESH));
    EXPECT_EQ(1U, followed().size());
}

// ---- IPv6

class SetIpv6 : public SetIp {
protected:
    static constexpr char EVENT6[] = "[event] [net/ipv6_change] [pre]";
    static constexpr char ADD6[] = "[/sbin/ip] [-6] [address] [add] [2001:db8::5/64] [dev] [eth0]";

    void SetUp() override
    {
        SetIp::SetUp();
        if (IsSkipped())
            return;
        plain_proc_net();
        table("");
    }

    static void table(const std::string &content) { support::write_file("/proc/net/if_inet6", content); }

    static std::string row(const char *digits, const char *name)
    {
        return std::string(digits) + " 02 40 00 80 " + name + "\n";
    }

    static int add6(const char *address = "2001:db8::5", unsigned int prefix = 64, const char *name = "eth0")
    {
        return KAVONetSetIP("-6", name, address, prefix, "add");
    }
};

TEST_F(SetIpv6, ANewAddressIsToldWithTheFirstOneAsItsOrigin)
{
    table(row("20010db8000000000000000000000001", "eth1") + row("20010db8000000000000000000000002", "eth0") +
          row("20010db8000000000000000000000003", "eth0"));
    EXPECT_EQ(0, add6());
    EXPECT_THAT(calls(), ElementsAre(EVENT6, ADD6));
    EXPECT_THAT(followed(), ElementsAre("net/ipv6_change pre IFNAME=eth0 ORIGIN_ADDRESS=2001:db8::2 "
                                        "NEW_ADDRESS=2001:db8::5 PREFIX_LENGTH=64 IS_LINK=true"));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(SetIpv6, TheFirstAddressHasAnEmptyOrigin)
{
    EXPECT_EQ(0, add6());
    ASSERT_EQ(1U, followed().size());
    EXPECT_THAT(followed()[0], testing::HasSubstr(" ORIGIN_ADDRESS= NEW_ADDRESS=2001:db8::5 "));
}

TEST_F(SetIpv6, AnAddressThatIsThereIsAddedAgainWithoutAnEvent)
{
    table(row("20010db8000000000000000000000002", "eth0") + row("20010db8000000000000000000000005", "eth0"));
    EXPECT_EQ(0, add6());
    EXPECT_THAT(calls(), ElementsAre(ADD6));
}

TEST_F(SetIpv6, AddressesAreComparedAsText)
{
    table(row("20010db8000000000000000000000005", "eth0"));
    EXPECT_EQ(0, add6("2001:db8:0::5"));
    EXPECT_THAT(calls(), ElementsAre(EVENT6, "[/sbin/ip] [-6] [address] [add] [2001:db8:0::5/64] [dev] [eth0]"));
}

TEST_F(SetIpv6, OnlySixteenAddressesAreLookedAt)
{
    std::string content;
    for (int i = 0; i < 16; ++i)
        content += row(("20010db80000000000000000000001" + std::to_string(10 + i)).c_str(), "eth0");
    table(content + row("20010db8000000000000000000000005", "eth0"));
    EXPECT_EQ(0, add6());
    EXPECT_THAT(calls(), ElementsAre(EVENT6, ADD6));
}

TEST_F(SetIpv6, PrefixesUpTo128AreIpv6s)
{
    EXPECT_EQ(0, add6("2001:db8::5", 128));
    EXPECT_EQ(0, add6("2001:db8::5", 0));
    EXPECT_EQ(4U, calls().size());
    for (const unsigned int prefix : {129U, 0x80000000U, 0xFFFFFFFFU}) {
        clear();
        EXPECT_EQ(-1, add6("2001:db8::5", prefix));
        expect_failure("prefix length is wrong");
        clear();
        EXPECT_EQ(-1, add6("bad", prefix)) << "it is looked at before the address";
        expect_failure("prefix length is wrong");
    }
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(SetIpv6, AddressesThatAreNoneAreRefused)
{
    for (const char *address : {"", "2001:db8::g", "2001:db8::5/129", "192.0.2.5", "2001:db8::5 ", "2001:db8::5\n"}) {
        clear();
        EXPECT_EQ(-1, add6(address)) << address;
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, std::string("your v6ip ") + address + " is not valid")) << address;
    }
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(SetIpv6, TheCurrentAddressesMustBeReadable)
{
    unlink("/proc/net/if_inet6");
    for (const char *action : {"add", "del"}) {
        clear();
        EXPECT_EQ(-1, KAVONetSetIP("-6", "eth0", "2001:db8::5", 64, action));
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "get old v6 IP failed"));
        EXPECT_TRUE(support::is_set_in("net_lnx_v6_ip_get.cpp", NET_ERR_OPEN_FAILED));
    }
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(SetIpv6, LongNamesHaveNoAddresses)
{
    EXPECT_EQ(-1, add6("2001:db8::5", 64, support::NAME_OF_16));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "get old v6 IP failed"));
    EXPECT_EQ(NET_ERR_BAD_PARAMETER, static_cast<int>(last_error().code));
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_EQ(0, add6("2001:db8::5", 64, support::NAME_OF_15));
}

TEST_F(SetIpv6, ACommandThatCannotBeRunIsAFailure)
{
    fail_call("KLIBCExecl");
    EXPECT_EQ(-1, add6());
    expect_failure("excute cmd /sbin/ip address add 2001:db8::5/64 dev eth0 failed");
    clear();
    fail_call("KLIBCExecl");
    EXPECT_EQ(-1, KAVONetSetIP("-6", "eth0", "2001:db8::5", 64, "del"));
    expect_failure("excute cmd /sbin/ip address del 2001:db8::5/64 dev eth0 failed");
}

TEST_F(SetIpv6, AFailedEventStopsNothing)
{
    follow("net/ipv6_change", 1);
    EXPECT_EQ(0, add6());
    EXPECT_THAT(calls(), ElementsAre(EVENT6, ADD6));
}

TEST_F(SetIpv6, DeletingSendsNoEvent)
{
    EXPECT_EQ(0, KAVONetSetIP("-6", "eth0", "2001:db8::5", 64, "del"));
    EXPECT_THAT(calls(), ElementsAre("[/sbin/ip] [-6] [address] [del] [2001:db8::5/64] [dev] [eth0]"));
}

} // namespace
