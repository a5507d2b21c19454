#include "appliance/resolve/route_test.h"

namespace {

constexpr char FILE_NAME[] = "net_default_gateway_set_conf.cpp";

class DefaultGatewaySetConf : public RouteTest {
protected:
    static constexpr char CONTENT[] = "# the network\nNETWORKING=yes\nGATEWAY=192.168.1.1\nHOSTNAME=box\n";

    void SetUp() override
    {
        RouteTest::SetUp();
        if (!IsSkipped())
            write_file(NETWORK, CONTENT);
    }

    // The file is as it was and nothing lies beside it.
    static void expect_untouched()
    {
        EXPECT_EQ(CONTENT, read_file(NETWORK));
        EXPECT_THAT(support::entries("/etc/sysconfig"), ElementsAre("network", "network-scripts"));
    }
};

TEST_F(DefaultGatewaySetConf, WritesTheKeyInItsPlace)
{
    EXPECT_EQ(0, KAVONetDefaultGatewaySetConf("192.168.1.254"));
    EXPECT_EQ("# the network\nNETWORKING=yes\nGATEWAY=192.168.1.254\nHOSTNAME=box\n", read_file(NETWORK));
    write_file(NETWORK, "NETWORKING=yes\n");
    EXPECT_EQ(0, KAVONetDefaultGatewaySetConf("10.0.0.1"));
    EXPECT_EQ("NETWORKING=yes\nGATEWAY=10.0.0.1\n", read_file(NETWORK));
    write_file(NETWORK, "GATEWAY=1.1.1.1\nA=b\nGATEWAY=2.2.2.2\n");
    EXPECT_EQ(0, KAVONetDefaultGatewaySetConf("10.0.0.1"));
    EXPECT_EQ("GATEWAY=10.0.0.1\nA=b\n", read_file(NETWORK));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(calls(), IsEmpty()) << "the kernel is left alone";
}

TEST_F(DefaultGatewaySetConf, NoGatewayRemovesTheKey)
{
    for (const char *none : {static_cast<const char *>(nullptr), ""}) {
        write_file(NETWORK, CONTENT);
        EXPECT_EQ(0, KAVONetDefaultGatewaySetConf(none));
        EXPECT_EQ("# the network\nNETWORKING=yes\nHOSTNAME=box\n", read_file(NETWORK));
        EXPECT_EQ(0, KAVONetDefaultGatewaySetConf(none)) << "it is gone already";
    }
    ASSERT_EQ(0, unlink(NETWORK));
    EXPECT_EQ(0, KAVONetDefaultGatewaySetConf(""));
    EXPECT_FALSE(exists(NETWORK));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(DefaultGatewaySetConf, WhatIsWrittenIsReadBack)
{
    for (const std::string &gateway : {std::string("192.0.2.1"), std::string("gateway.example"), std::string("%s%n"),
                                       std::string("#1"), std::string("a=b"), std::string(200, 'x')}) {
        char text[256] = "before";
        EXPECT_EQ(0, KAVONetDefaultGatewaySetConf(gateway.c_str()));
        EXPECT_EQ(0, KAVONetDefaultGatewayGetConf(text, sizeof text));
        EXPECT_EQ(gateway, text);
        EXPECT_EQ(4U, support::lines_of(read_file(NETWORK)).size());
    }
}

TEST_F(DefaultGatewaySetConf, HostileGatewaysTouchNothing)
{
    for (const std::string &gateway : hostile_gateways()) {
        clear();
        EXPECT_EQ(-1, KAVONetDefaultGatewaySetConf(gateway.c_str())) << gateway;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << gateway;
    }
    expect_untouched();
}

TEST_F(DefaultGatewaySetConf, AMissingFileIsNotCreated)
{
    ASSERT_EQ(0, unlink(NETWORK));
    EXPECT_EQ(-1, KAVONetDefaultGatewaySetConf("192.168.1.254"));
    EXPECT_FALSE(exists(NETWORK));
    EXPECT_NE(NO_ERROR_SET, last_error());
    EXPECT_STRNE(FILE_NAME, KLIBCErrorGetFile()) << "the platform's record stays";
}

TEST_F(DefaultGatewaySetConf, APlatformFailureIsAFailure)
{
    fail_call("KLIBCFileSetKeyValue");
    EXPECT_EQ(-1, KAVONetDefaultGatewaySetConf("192.168.1.254"));
    EXPECT_STREQ("fault.c", KLIBCErrorGetFile());
    fail_call("KLIBCFileRemoveKey");
    EXPECT_EQ(-1, KAVONetDefaultGatewaySetConf(""));
    EXPECT_STREQ("fault.c", KLIBCErrorGetFile());
    EXPECT_THAT(log_lines(), IsEmpty());
    expect_untouched();
    EXPECT_EQ(0, KAVONetDefaultGatewaySetConf("")) << "the next call works";
}

TEST_F(DefaultGatewaySetConf, AReadOnlyFolderKeepsTheOldFile)
{
    make_read_only("/etc");
    EXPECT_EQ(-1, KAVONetDefaultGatewaySetConf("192.168.1.254"));
    EXPECT_EQ(-1, KAVONetDefaultGatewaySetConf(""));
    expect_untouched();
    ASSERT_EQ(0, umount("/etc"));
    EXPECT_EQ(0, KAVONetDefaultGatewaySetConf("192.168.1.254")) << "the next call works";
}

TEST_F(DefaultGatewaySetConf, AFullDiskKeepsTheOldFile)
{
    ASSERT_EQ(0, mount("tmpfs", "/etc/sysconfig", "tmpfs", 0, "size=64k,mode=755"));
    mkdir("/etc/sysconfig/network-scripts", 0755);
    const std::string content = CONTENT + std::string(20'000, '#') + "\n";
    write_file(NETWORK, content);
    shell("dd if=/dev/zero of=/etc/sysconfig/network-scripts/ifcfg-fill bs=1k 2>/dev/null || true");
    EXPECT_EQ(-1, KAVONetDefaultGatewaySetConf("192.168.1.254"));
    EXPECT_EQ(-1, KAVONetDefaultGatewaySetConf(""));
    EXPECT_EQ(content, read_file(NETWORK));
    EXPECT_THAT(support::entries("/etc/sysconfig"), ElementsAre("network", "network-scripts"));
    ASSERT_EQ(0, unlink("/etc/sysconfig/network-scripts/ifcfg-fill"));
    EXPECT_EQ(0, KAVONetDefaultGatewaySetConf("")) << "the next call works";
    EXPECT_EQ(std::string::npos, read_file(NETWORK).find("GATEWAY"));
}

TEST_F(DefaultGatewaySetConf, ALinkIsFollowedAndModeAndOwnerStay)
{
    write_file("/etc/real-network", CONTENT, 0640);
    ASSERT_EQ(0, unlink(NETWORK));
    ASSERT_EQ(0, symlink("/etc/real-network", NETWORK));
    EXPECT_EQ(0, KAVONetDefaultGatewaySetConf("192.168.1.254"));
    EXPECT_NE(std::string::npos, read_file("/etc/real-network").find("GATEWAY=192.168.1.254\n"));
    struct stat status {};
    ASSERT_EQ(0, lstat(NETWORK, &status));
    EXPECT_TRUE(S_ISLNK(status.st_mode));
    ASSERT_EQ(0, stat(NETWORK, &status));
    EXPECT_EQ(0640U, status.st_mode & 07777);
}

} // namespace
