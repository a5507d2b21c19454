#include "appliance/resolve/route_test.h"

namespace {

constexpr char FILE_NAME[] = "net_default_gateway_interface_get.cpp";

class DefaultGatewayInterfaceGet : public RouteTest {};

TEST_F(DefaultGatewayInterfaceGet, WritesTheNameOfTheInterface)
{
    char text[16] = "";
    table(std::string(HEADER) + SUBNET + DEFAULT);
    EXPECT_EQ(0, KAVONetDefaultGatewayInterfaceGet(text, sizeof text));
    EXPECT_STREQ("eth0", text);
    table(std::string(HEADER) + support::NAME_OF_15 + "\t00000000\t0101A8C0\t0003\t0\t0\t0\t00000000\t0\t0\t0\n");
    EXPECT_EQ(0, KAVONetDefaultGatewayInterfaceGet(text, sizeof text));
    EXPECT_STREQ(support::NAME_OF_15, text);
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(DefaultGatewayInterfaceGet, CutsItToTheBuffer)
{
    table(std::string(HEADER) + DEFAULT);
    for (const int size : {1, 2, 4, 5, 6}) {
        char text[] = "xxxxxxxxxxxxxxxx";
        EXPECT_EQ(0, KAVONetDefaultGatewayInterfaceGet(text, size));
        EXPECT_EQ(std::string("eth0").substr(0, static_cast<size_t>(size) - 1), text);
        EXPECT_EQ('x', text[size]);
    }
}

TEST_F(DefaultGatewayInterfaceGet, LeavesTheBufferAloneWithoutADefaultRoute)
{
    char text[16] = "before";
    table(HEADER);
    EXPECT_EQ(0, KAVONetDefaultGatewayInterfaceGet(text, sizeof text));
    EXPECT_STREQ("before", text);
}

TEST_F(DefaultGatewayInterfaceGet, RefusesBuffersThatAreNone)
{
    char text[16] = "before";
    table(std::string(HEADER) + DEFAULT);
    const auto expect_refused = [](char *buffer, int size) {
        clear();
        EXPECT_EQ(-1, KAVONetDefaultGatewayInterfaceGet(buffer, size));
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
