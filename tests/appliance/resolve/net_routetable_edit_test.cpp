#include "appliance/resolve/route_test.h"

namespace {

constexpr char FILE_NAME[] = "net_routetable_edit.cpp";

class RoutetableEdit : public RouteTest {
protected:
    static constexpr char IP_DEL[] = "[/sbin/ip] [route] [del] [192.168.1.0/24] [dev] [eth0] [src] [192.168.1.20]";
    static constexpr char IP_ADD[] = "[/sbin/ip] [route] [add] [192.168.1.0/24] [dev] [eth0] [src] [192.168.1.20]";
    static constexpr char ROUTE_DEL[] =
        "[/sbin/route] [del] [-net] [192.168.1.0] [netmask] [255.255.255.0] [dev] [eth0]";
    static constexpr char ROUTE_ADD[] =
        "[/sbin/route] [add] [-net] [192.168.1.0] [netmask] [255.255.255.0] [dev] [eth0]";
    static constexpr char IP_DEL_FAILED[] = "eth0 ip route del failed, instead of route";
    static constexpr char IP_ADD_FAILED[] = "eth0 ip route add failed, might be the same subnet, instead of route";
    static constexpr char ROUTE_DEL_FAILED[] = "cmd route del -net 192.168.1.0 netmask 255.255.255.0 dev eth0 failded";
    static constexpr char ROUTE_ADD_FAILED[] = "cmd route add -net 192.168.1.0 netmask 255.255.255.0 dev eth0 failded";

    static int edit(unsigned int action)
    {
        clear();
        return NetRoutetableEdit(action, "192.168.1.20", "255.255.255.0", "eth0");
    }

    // The messages in order; each must be at LOG_INFO.
    static std::vector<std::string> messages()
    {
        std::vector<std::string> texts;
        for (const support::LogLine &line : log_lines()) {
            EXPECT_EQ(LOG_INFO, line.level) << line.text;
            texts.push_back(line.text.substr(line.text.find(' ') + 1));
        }
        return texts;
    }

    static void expect_bad_text(const char *address, const char *mask, const char *bad)
    {
        clear();
        EXPECT_EQ(-1, NetRoutetableEdit(NET_ROUTE_ADD, address, mask, "eth0"));
        EXPECT_EQ(1U, log_lines().size());
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, std::string("inet_pton error (") + bad + ")")) << bad;
        EXPECT_EQ(NO_ERROR_SET, last_error());
        EXPECT_THAT(calls(), IsEmpty());
    }
};

TEST_F(RoutetableEdit, ClearingDeletesTheSubnetRoute)
{
    EXPECT_EQ(0, edit(NET_ROUTE_CLEAR));
    EXPECT_THAT(calls(), ElementsAre(IP_DEL));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(RoutetableEdit, AddingDeletesItFirst)
{
    EXPECT_EQ(0, edit(NET_ROUTE_ADD));
    EXPECT_THAT(calls(), ElementsAre(IP_DEL, IP_ADD));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(RoutetableEdit, TheActionsAreTheNumbersThatCallersPass)
{
    EXPECT_EQ(0, NET_ROUTE_ADD);
    EXPECT_EQ(1, NET_ROUTE_CLEAR);
}

TEST_F(RoutetableEdit, RouteStandsInForAFailedIp)
{
    record(IP, 2);
    EXPECT_EQ(0, edit(NET_ROUTE_ADD));
    EXPECT_THAT(calls(), ElementsAre(IP_DEL, ROUTE_DEL, IP_ADD, ROUTE_ADD));
    EXPECT_THAT(messages(), ElementsAre(IP_DEL_FAILED, IP_ADD_FAILED));
    EXPECT_EQ(LOG_INFO, logged_in(FILE_NAME, IP_DEL_FAILED));
    EXPECT_EQ(LOG_INFO, logged_in(FILE_NAME, IP_ADD_FAILED));
    EXPECT_EQ(0, edit(NET_ROUTE_CLEAR));
    EXPECT_THAT(calls(), ElementsAre(IP_DEL, ROUTE_DEL));
    EXPECT_THAT(messages(), ElementsAre(IP_DEL_FAILED));
}

TEST_F(RoutetableEdit, EachVerbFallsBackByItself)
{
    script(IP, "record_call \"$0\" \"$@\"\n[ \"$2\" = add ]");
    EXPECT_EQ(0, edit(NET_ROUTE_ADD));
    EXPECT_THAT(calls(), ElementsAre(IP_DEL, ROUTE_DEL, IP_ADD));
    EXPECT_THAT(messages(), ElementsAre(IP_DEL_FAILED));
    script(IP, "record_call \"$0\" \"$@\"\n[ \"$2\" = del ]");
    EXPECT_EQ(0, edit(NET_ROUTE_ADD));
    EXPECT_THAT(calls(), ElementsAre(IP_DEL, IP_ADD, ROUTE_ADD));
    EXPECT_THAT(messages(), ElementsAre(IP_ADD_FAILED));
}

TEST_F(RoutetableEdit, FailedCommandsAreOnlyLogged)
{
    record(IP, 2);
    record(ROUTE, 7);
    EXPECT_EQ(0, edit(NET_ROUTE_ADD));
    EXPECT_THAT(calls(), ElementsAre(IP_DEL, ROUTE_DEL, IP_ADD, ROUTE_ADD));
    EXPECT_THAT(messages(), ElementsAre(IP_DEL_FAILED, ROUTE_DEL_FAILED, IP_ADD_FAILED, ROUTE_ADD_FAILED));
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_EQ(0, edit(NET_ROUTE_CLEAR));
    EXPECT_THAT(messages(), ElementsAre(IP_DEL_FAILED, ROUTE_DEL_FAILED));
}

TEST_F(RoutetableEdit, CommandsThatCannotBeRunAreOnlyLogged)
{
    ASSERT_EQ(0, unlink(IP));
    ASSERT_EQ(0, unlink(ROUTE));
    EXPECT_EQ(0, edit(NET_ROUTE_ADD));
    EXPECT_THAT(messages(), ElementsAre(IP_DEL_FAILED, ROUTE_DEL_FAILED, IP_ADD_FAILED, ROUTE_ADD_FAILED));
    record(IP);
    record(ROUTE);
    fail_call("KLIBCExecl", 0);
    EXPECT_EQ(0, edit(NET_ROUTE_CLEAR));
    EXPECT_THAT(messages(), ElementsAre(IP_DEL_FAILED, ROUTE_DEL_FAILED));
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(RoutetableEdit, TheNetworkIsAddressAndMask)
{
    const struct {
        const char *address, *mask, *subnet;
    } all[] = {{"10.1.2.3", "255.0.0.0", "10.0.0.0/8"},
               {"172.16.130.7", "255.255.128.0", "172.16.128.0/17"},
               {"192.0.2.77", "255.255.255.252", "192.0.2.76/30"},
               {"192.0.2.77", "255.255.255.255", "192.0.2.77/32"},
               {"192.0.2.77", "0.0.0.0", "0.0.0.0/0"},
               {"255.255.255.255", "255.255.255.255", "255.255.255.255/32"},
               // The one bits are counted, wherever they stand.
               {"192.168.1.20", "255.0.255.0", "192.0.1.0/16"}};
    for (const auto &one : all) {
        clear();
        EXPECT_EQ(0, NetRoutetableEdit(NET_ROUTE_CLEAR, one.address, one.mask, "bond0"));
        EXPECT_THAT(calls(), ElementsAre(std::string("[/sbin/ip] [route] [del] [") + one.subnet +
                                         "] [dev] [bond0] [src] [" + one.address + "]"));
    }
}

TEST_F(RoutetableEdit, MaskAndAddressMustParse)
{
    for (const char *bad : {"", " ", "255.255.255", "255.255.255.0 ", " 255.255.255.0", "255.255.255.0/24", "256.0.0.0",
                            "0xff.0.0.0", "ffff::", "24", "-4", "--help", "255.255.255.0\n", "1.2.3.4.5", "$(id)"}) {
        expect_bad_text("192.168.1.20", bad, bad);
        expect_bad_text(bad, "255.255.255.0", bad);
    }
    const std::string endless(5000, '1');
    clear();
    EXPECT_EQ(-1, NetRoutetableEdit(NET_ROUTE_ADD, endless.c_str(), "255.0.0.0", "eth0"));
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(RoutetableEdit, TheMaskIsLookedAtFirst)
{
    expect_bad_text("address", "mask", "mask");
}

TEST_F(RoutetableEdit, RefusesOtherActions)
{
    for (const unsigned int action : {2U, 3U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        EXPECT_EQ(-1, edit(action));
        EXPECT_EQ(1U, log_lines().size());
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "error type"));
        EXPECT_EQ(NO_ERROR_SET, last_error());
        EXPECT_THAT(calls(), IsEmpty());
    }
    // It is looked at before the texts.
    clear();
    EXPECT_EQ(-1, NetRoutetableEdit(2, "address", "mask", "eth0"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "error type"));
}

TEST_F(RoutetableEdit, RefusesNullAndHostileDevices)
{
    const auto expect_refused = [](unsigned int action, const char *address, const char *mask, const char *device) {
        clear();
        EXPECT_EQ(-1, NetRoutetableEdit(action, address, mask, device));
        EXPECT_EQ(1U, log_lines().size());
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "bad parameter"));
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
        EXPECT_THAT(calls(), IsEmpty());
    };
    for (const unsigned int action : {0U, 1U, 2U}) { // null is looked at before the action
        expect_refused(action, nullptr, "255.255.255.0", "eth0");
        expect_refused(action, "192.168.1.20", nullptr, "eth0");
        expect_refused(action, "192.168.1.20", "255.255.255.0", nullptr);
        expect_refused(action, nullptr, nullptr, nullptr);
    }
    for (const std::string &name : support::hostile_names())
        expect_refused(0, "192.168.1.20", "255.255.255.0", name.c_str());
    for (const char *name : {support::NAME_OF_16, "-", "-F", "--help", "-net"})
        expect_refused(0, "192.168.1.20", "255.255.255.0", name);
    EXPECT_EQ(0, NetRoutetableEdit(0, "192.168.1.20", "255.255.255.0", support::NAME_OF_15));
}

TEST_F(RoutetableEdit, ChangesTheRealRoutes)
{
    use_real_commands();
    add_card("lan0", "198.51.100.5/24");
    const auto routes = [] { return shell("/bin/ip route show dev lan0"); };
    EXPECT_EQ(0, NetRoutetableEdit(NET_ROUTE_CLEAR, "198.51.100.5", "255.255.255.0", "lan0"));
    EXPECT_EQ("", routes());
    EXPECT_EQ(0, NetRoutetableEdit(NET_ROUTE_ADD, "198.51.100.5", "255.255.255.0", "lan0"));
    EXPECT_THAT(routes(), testing::StartsWith("198.51.100.0/24 scope link src 198.51.100.5"));
    EXPECT_EQ(1U, support::lines_of(routes()).size());
    EXPECT_EQ(0, NetRoutetableEdit(NET_ROUTE_ADD, "198.51.100.5", "255.255.255.0", "lan0"));
    EXPECT_EQ(1U, support::lines_of(routes()).size()) << "it was replaced";
}

TEST_F(RoutetableEdit, TheRealRouteCommandStandsIn)
{
    if (!use_real_commands())
        GTEST_SKIP() << "this machine has no route command";
    record(IP, 1);
    add_card("lan0", "198.51.100.5/24");
    const auto routes = [] { return shell("/bin/ip route show dev lan0"); };
    EXPECT_EQ(0, NetRoutetableEdit(NET_ROUTE_CLEAR, "198.51.100.5", "255.255.255.0", "lan0"));
    EXPECT_EQ("", routes());
    EXPECT_EQ(0, NetRoutetableEdit(NET_ROUTE_ADD, "198.51.100.5", "255.255.255.0", "lan0"));
    EXPECT_THAT(routes(), testing::StartsWith("198.51.100.0/24 scope link"));
}

} // namespace
