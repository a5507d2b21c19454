#include "appliance/resolve/route_test.h"

namespace {

constexpr char FILE_NAME[] = "net_default_gateway_get_conf.cpp";
constexpr char FUNCTION[] = "KAVONetDefaultGatewayGetConf";

class DefaultGatewayGetConf : public RouteTest {
protected:
    void expect_read(const std::string &expected)
    {
        char text[32] = "before";
        clear();
        EXPECT_EQ(0, KAVONetDefaultGatewayGetConf(text, sizeof text));
        EXPECT_EQ(expected, text);
        EXPECT_THAT(log_lines(), IsEmpty());
        EXPECT_EQ(NO_ERROR_SET, last_error());
    }

    void expect_unreadable()
    {
        char text[32] = "before";
        clear();
        EXPECT_EQ(-1, KAVONetDefaultGatewayGetConf(text, sizeof text));
        EXPECT_STREQ("", text);
        EXPECT_EQ(1U, log_lines().size());
        EXPECT_EQ(LOG_ERR, logged_by(FUNCTION, "Failed to get default gateway."));
        EXPECT_STRNE(FILE_NAME, KLIBCErrorGetFile()) << "the platform's record stays";
    }
};

TEST_F(DefaultGatewayGetConf, ReadsTheKey)
{
    write_file(NETWORK, "NETWORKING=yes\nGATEWAY=192.168.1.1\nHOSTNAME=box\n");
    expect_read("192.168.1.1");
    write_file(NETWORK, "GATEWAY=\"192.168.1.2\"\n");
    expect_read("192.168.1.2");
    write_file(NETWORK, "GATEWAY=192.168.1.1\nGATEWAY=192.168.1.3");
    expect_read("192.168.1.3");
}

TEST_F(DefaultGatewayGetConf, AMissingKeyReadsAsEmpty)
{
    for (const char *content : {"", "NETWORKING=yes\n", "#GATEWAY=192.168.1.1\n", "GATEWAYDEV=eth0\n", "XGATEWAY=1\n",
                                "GATEWAY=\n", "GATEWAY\n"}) {
        write_file(NETWORK, content);
        expect_read("");
    }
}

TEST_F(DefaultGatewayGetConf, CutsTheTextToTheBuffer)
{
    write_file(NETWORK, "GATEWAY=192.168.1.1\n");
    for (const int size : {1, 2, 4, 11, 12}) {
        char text[] = "xxxxxxxxxxxxxxxx";
        EXPECT_EQ(0, KAVONetDefaultGatewayGetConf(text, size));
        EXPECT_EQ(std::string("192.168.1.1").substr(0, static_cast<size_t>(size) - 1), text);
        EXPECT_EQ('x', text[size]);
    }
}

TEST_F(DefaultGatewayGetConf, AFileThatCannotBeReadIsAFailure)
{
    expect_unreadable(); // it is missing
    ASSERT_EQ(0, mkdir(NETWORK, 0755));
    expect_unreadable();
    ASSERT_EQ(0, rmdir(NETWORK));
    unopenable(NETWORK);
    expect_unreadable();
    ASSERT_EQ(0, unlink(NETWORK));
    write_file(NETWORK, "GATEWAY=192.168.1.1\n");
    fail_call("KLIBCFileGetKeyValue");
    char text[32] = "before";
    EXPECT_EQ(-1, KAVONetDefaultGatewayGetConf(text, sizeof text));
    EXPECT_STREQ("", text);
    expect_read("192.168.1.1");
}

TEST_F(DefaultGatewayGetConf, RefusesBuffersThatAreNone)
{
    char text[16] = "before";
    write_file(NETWORK, "GATEWAY=192.168.1.1\n");
    const auto expect_refused = [](char *buffer, int size) {
        clear();
        EXPECT_EQ(-1, KAVONetDefaultGatewayGetConf(buffer, size));
        EXPECT_EQ(1U, log_lines().size());
        EXPECT_EQ(LOG_ERR, logged_in_file(FILE_NAME, "Bad parameter."));
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    };
    expect_refused(nullptr, sizeof text);
    expect_refused(nullptr, 0);
    expect_refused(text, 0);
    expect_refused(text, -1);
    EXPECT_STREQ("before", text);
}

} // namespace
