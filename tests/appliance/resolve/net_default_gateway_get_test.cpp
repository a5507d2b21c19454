#include "appliance/resolve/route_test.h"

namespace {

constexpr char FILE_NAME[] = "net_default_gateway_get.cpp";

class DefaultGatewayGet : public RouteTest {};

TEST_F(DefaultGatewayGet, WritesTheGatewayInDottedForm)
{
    char text[16] = "";
    table(std::string(HEADER) + SUBNET + DEFAULT);
    EXPECT_EQ(0, KAVONetDefaultGatewayGet(text, sizeof text));
    EXPECT_STREQ("192.168.1.1", text);
    table(std::string(HEADER) + "eth0\t00000000\tFFFFFFDF\t0003\t0\t0\t0\t00000000\t0\t0\t0\n");
    EXPECT_EQ(0, KAVONetDefaultGatewayGet(text, sizeof text));
    EXPECT_STREQ("223.255.255.255", text);
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(DefaultGatewayGet, CutsItToTheBuffer)
{
    table(std::string(HEADER) + DEFAULT);
    for (const int size : {1, 2, 5, 11, 12}) {
        char text[] = "xxxxxxxxxxxxxxxx";
        EXPECT_EQ(0, KAVONetDefaultGatewayGet(text, size));
        EXPECT_EQ(std::string("192.168.1.1").substr(0, static_cast<size_t>(size) - 1), text);
        EXPECT_EQ('x', text[size]);
    }
}

TEST_F(DefaultGatewayGet, LeavesTheBufferAloneWithoutADefaultRoute)
{
    char text[16] = "before";
    table(HEADER);
    EXPECT_EQ(0, KAVONetDefaultGatewayGet(text, sizeof text));
    EXPECT_STREQ("before", text);
}

TEST_F(DefaultGatewayGet, RefusesBuffersThatAreNone)
{
    char text[16] = "before";
    table(std::string(HEADER) + DEFAULT);
    const auto expect_refused = [](char *buffer, int size) {
        clear();
        EXPECT_EQ(-1, KAVONetDefaultGatewayGet(buffer, size));
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
        EXPECT_THAT(log_lines(), IsEmpty());
    };
    expect_refused(nullptr, sizeof text);
    expect_refused(nullptr, 0);
    expect_refused(text, 0);
    expect_refused(text, -1);
    EXPECT_STREQ("before", text);
}

} // namespace
