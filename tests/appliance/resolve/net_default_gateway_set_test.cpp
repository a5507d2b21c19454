#include "appliance/resolve/route_test.h"

namespace {

constexpr char FILE_NAME[] = "net_default_gateway_set.cpp";
constexpr char DELETE[] = "[/sbin/route] [delete] [default]";

class DefaultGatewaySet : public RouteTest {
protected:
    void expect_failure(const std::string &message)
    {
        EXPECT_EQ(1U, log_lines().size());
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, message));
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_EXEC_FAILED));
    }
};

TEST_F(DefaultGatewaySet, DeletesTheOldRouteAndAddsTheNewOne)
{
    EXPECT_EQ(0, KAVONetDefaultGatewaySet("192.168.1.1"));
    EXPECT_THAT(calls(), ElementsAre(DELETE, "[/sbin/route] [add] [default] [gw] [192.168.1.1]"));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(DefaultGatewaySet, NoGatewayOnlyDeletes)
{
    for (const char *none : {static_cast<const char *>(nullptr), ""}) {
        clear();
        EXPECT_EQ(0, KAVONetDefaultGatewaySet(none));
        EXPECT_THAT(calls(), ElementsAre(DELETE));
        EXPECT_THAT(log_lines(), IsEmpty());
        EXPECT_EQ(NO_ERROR_SET, last_error());
    }
}

TEST_F(DefaultGatewaySet, AFailedDeletionStopsNothing)
{
    script(ROUTE, "record_call \"$0\" \"$@\"\n[ \"$1\" != delete ] || exit 7");
    EXPECT_EQ(0, KAVONetDefaultGatewaySet("192.168.1.1"));
    EXPECT_THAT(calls(), ElementsAre(DELETE, "[/sbin/route] [add] [default] [gw] [192.168.1.1]"));
    EXPECT_EQ(0, KAVONetDefaultGatewaySet(""));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(DefaultGatewaySet, AFailedAdditionIsAFailure)
{
    script(ROUTE, "record_call \"$0\" \"$@\"\n[ \"$1\" != add ] || exit 7");
    EXPECT_EQ(-1, KAVONetDefaultGatewaySet("192.168.1.1"));
    EXPECT_THAT(calls(), ElementsAre(DELETE, "[/sbin/route] [add] [default] [gw] [192.168.1.1]"));
    expect_failure("failed to set default gateway 192.168.1.1 (7).");
    clear();
    script(ROUTE, "[ \"$1\" != add ] || kill -KILL $$");
    EXPECT_EQ(-1, KAVONetDefaultGatewaySet("gateway.example"));
    expect_failure("failed to set default gateway gateway.example (137).");
}

TEST_F(DefaultGatewaySet, ACommandThatCannotBeRunIsAFailure)
{
    ASSERT_EQ(0, unlink(ROUTE));
    EXPECT_EQ(-1, KAVONetDefaultGatewaySet("192.168.1.1"));
    expect_failure("failed to set default gateway 192.168.1.1 (-1).");
    clear();
    write_file(ROUTE, "no program", 0644);
    EXPECT_EQ(-1, KAVONetDefaultGatewaySet("192.168.1.1"));
    expect_failure("failed to set default gateway 192.168.1.1 (-1).");
    record(ROUTE);
    EXPECT_EQ(0, KAVONetDefaultGatewaySet("192.168.1.1")) << "the next call works";
}

TEST_F(DefaultGatewaySet, HostileGatewaysTouchNothing)
{
    for (const std::string &gateway : hostile_gateways()) {
        clear();
        EXPECT_EQ(-1, KAVONetDefaultGatewaySet(gateway.c_str())) << gateway;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << gateway;
        EXPECT_THAT(calls(), IsEmpty()) << gateway;
    }
}

TEST_F(DefaultGatewaySet, AnyOtherTextIsOneArgument)
{
    for (const std::string &gateway :
         {std::string("gateway.example"), std::string("$(id>/tmp/x)"), std::string("`id`;id"), std::string("%s%n*"),
          std::string("a\"b'c"), std::string("default"), std::string(4000, 'x')}) {
        clear();
        EXPECT_EQ(0, KAVONetDefaultGatewaySet(gateway.c_str()));
        EXPECT_THAT(calls(), ElementsAre(DELETE, "[/sbin/route] [add] [default] [gw] [" + gateway + "]"));
    }
    EXPECT_FALSE(exists("/tmp/x"));
}

TEST_F(DefaultGatewaySet, ChangesTheRealRoute)
{
    if (!use_real_commands())
        GTEST_SKIP() << "this machine has no route command";
    add_card("lan0", "198.51.100.5/24");
    char text[16] = "";
    EXPECT_EQ(0, KAVONetDefaultGatewaySet("198.51.100.1"));
    EXPECT_EQ(0, KAVONetDefaultGatewayGet(text, sizeof text));
    EXPECT_STREQ("198.51.100.1", text);
    EXPECT_EQ(0, KAVONetDefaultGatewaySet("198.51.100.2"));
    EXPECT_EQ(0, KAVONetDefaultGatewayGet(text, sizeof text));
    EXPECT_STREQ("198.51.100.2", text);
    EXPECT_EQ(0, KAVONetDefaultGatewayInterfaceGet(text, sizeof text));
    EXPECT_STREQ("lan0", text);
    EXPECT_EQ(1U, support::lines_of(shell("/bin/ip route show default")).size());
    // A gateway that is not on any subnet: the old route is gone then.
    EXPECT_EQ(-1, KAVONetDefaultGatewaySet("203.0.113.1"));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_EXEC_FAILED));
    EXPECT_EQ("", shell("/bin/ip route show default"));
    EXPECT_EQ(0, KAVONetDefaultGatewaySet("198.51.100.1"));
    EXPECT_EQ(0, KAVONetDefaultGatewaySet(nullptr));
    EXPECT_EQ("", shell("/bin/ip route show default"));
}

} // namespace
