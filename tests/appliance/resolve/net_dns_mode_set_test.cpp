#include "appliance/resolve/resolve_test.h"

namespace {

constexpr char FILE_NAME[] = "net_dns_mode_set.cpp";

class DnsModeSet : public ResolveTest {
protected:
    void SetUp() override
    {
        ResolveTest::SetUp();
        if (IsSkipped())
            return;
        write_file(STATIC, "nameserver\t192.0.2.1\n");
        write_file(AUTO_4, "nameserver 192.0.2.2\n");
    }
};

TEST_F(DnsModeSet, StoresTheModeAndTakesItsServers)
{
    write_file(SETTINGS, "# kept\nother=\"1\"\n");
    EXPECT_EQ(0, KAVONetDNSModeSet("static"));
    EXPECT_EQ("# kept\nother=\"1\"\ndns_mode=\"static\"\n", read_file(SETTINGS));
    EXPECT_EQ("nameserver\t192.0.2.1\n", read_file(RESOLV));
    EXPECT_EQ(0, KAVONetDNSModeSet("auto"));
    EXPECT_EQ("# kept\nother=\"1\"\ndns_mode=\"auto\"\n", read_file(SETTINGS));
    EXPECT_EQ("nameserver\t192.0.2.2\n", read_file(RESOLV));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(DnsModeSet, TheServersAreTakenAgainInTheSameMode)
{
    EXPECT_EQ(0, KAVONetDNSModeSet("auto"));
    write_file(AUTO_4, "nameserver 192.0.2.3\n");
    EXPECT_EQ(0, KAVONetDNSModeSet("auto"));
    EXPECT_EQ("nameserver\t192.0.2.3\n", read_file(RESOLV));
}

TEST_F(DnsModeSet, NoModeNamesTheConditionInTheLog)
{
    EXPECT_EQ(-1, KAVONetDNSModeSet(nullptr));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Invaild Argument (((void *)0) != szMode)=[0]\n"));
    EXPECT_THAT(log_lines(), SizeIs(1));
}

TEST_F(DnsModeSet, OtherModesAreRefused)
{
    for (const std::string &mode : Texts{"", "Static", "AUTO", "static ", " auto", "auto\n", "static\n", "dhcp",
                                         "static\"", "manual", std::string(100'000, 'a')}) {
        support::clear_error();
        EXPECT_EQ(-1, KAVONetDNSModeSet(mode.c_str())) << mode;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << mode;
    }
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ("", read_file(SETTINGS));
    EXPECT_EQ(OLD_RESOLV, read_file(RESOLV));
}

TEST_F(DnsModeSet, AModeThatCannotBeStoredChangesNothing)
{
    fail_call("KLIBCINFOSetKeyValue");
    EXPECT_EQ(-1, KAVONetDNSModeSet("static"));
    expect_no_code_of_ours();
    EXPECT_EQ("", read_file(SETTINGS));
    EXPECT_EQ(OLD_RESOLV, read_file(RESOLV));
    EXPECT_EQ(0, KAVONetDNSModeSet("static"));
}

TEST_F(DnsModeSet, AFailedUpdateIsTheCallsButTheModeIsStored)
{
    fail_call("KLIBCFileLock");
    EXPECT_EQ(-1, KAVONetDNSModeSet("static"));
    EXPECT_TRUE(support::is_set_in("net_dns_update.cpp", NET_ERR_LOCK_FAILED));
    EXPECT_EQ("dns_mode=\"static\"\n", read_file(SETTINGS));
    EXPECT_EQ(OLD_RESOLV, read_file(RESOLV));
}

TEST_F(DnsModeSet, AModeWithoutServersLeavesThoseInUse)
{
    unlink(STATIC);
    EXPECT_EQ(0, KAVONetDNSModeSet("static"));
    EXPECT_EQ("dns_mode=\"static\"\n", read_file(SETTINGS));
    EXPECT_EQ(OLD_RESOLV, read_file(RESOLV));
}

} // namespace
