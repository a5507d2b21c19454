// Two interfaces on two networks, which get and lose the routes to them.
#include "kavonetsdk/kavonetsdk.h"

#include "lab_side.h"

namespace resolve_test {
namespace {

class LiveRoute : public testing::Test {
protected:
    void TearDown() override { restore(); }

    static void set_static(const char *name, const char *address)
    {
        KAVONETINFO info{};
        info.blStatic = 1;
        snprintf(info.szName, sizeof info.szName, "%s", name);
        snprintf(info.szAddr, sizeof info.szAddr, "%s", address);
        snprintf(info.szMask, sizeof info.szMask, "255.255.255.0");
        ASSERT_EQ(0, run(std::string("ip link set ") + name + " up").status);
        ASSERT_EQ(0, KAVONetSetCard1(&info, nullptr)) << run("journalctl --no-pager -n 40").output;
    }

    static void set_both()
    {
        set_static("eth0", "10.77.0.100");
        set_static("eth1", "10.78.0.101");
        ASSERT_TRUE(reaches("10.77.0.1"));
        ASSERT_TRUE(reaches("10.78.0.1"));
    }

    static std::string routes() { return run("ip -4 route show").output; }

    static constexpr char BOUND0[] = "10.77.0.0/24 dev eth0 scope link src 10.77.0.100 \n";
    static constexpr char BOUND1[] = "10.78.0.0/24 dev eth1 scope link src 10.78.0.101 \n";
    static constexpr char KERNELS0[] = "10.77.0.0/24 dev eth0 proto kernel scope link src 10.77.0.100 \n";
    static constexpr char KERNELS1[] = "10.78.0.0/24 dev eth1 proto kernel scope link src 10.78.0.101 \n";
};

TEST_F(LiveRoute, InterfacesGetAndLoseTheirSubnetRoutes)
{
    set_both();
    EXPECT_EQ(std::string(KERNELS0) + KERNELS1, routes());

    ASSERT_EQ(0, NetRoutetableHandler(1, "eth0"));
    EXPECT_EQ(KERNELS1, routes());
    EXPECT_EQ(ENETUNREACH, answer_of("10.77.0.1"));
    EXPECT_TRUE(reaches("10.78.0.1"));

    ASSERT_EQ(0, NetRoutetableHandler(0, "eth0"));
    EXPECT_EQ(std::string(BOUND0) + KERNELS1, routes());
    EXPECT_TRUE(reaches("10.77.0.1"));

    ASSERT_EQ(0, NetRoutetableHandler(0, "eth1"));
    EXPECT_EQ(std::string(BOUND0) + BOUND1, routes());
    ASSERT_EQ(0, NetRoutetableHandler(0, "eth1")) << "once more, the route is there";
    EXPECT_EQ(std::string(BOUND0) + BOUND1, routes());
    EXPECT_TRUE(reaches("10.78.0.1"));

    ASSERT_EQ(0, NetRoutetableHandler(1, "eth1"));
    EXPECT_EQ(BOUND0, routes());
    EXPECT_EQ(ENETUNREACH, answer_of("10.78.0.1"));
    EXPECT_TRUE(reaches("10.77.0.1"));
}

TEST_F(LiveRoute, ALeaseKeepsItsRouteUntilItIsCleared)
{
    take_lease("eth0");
    const std::string before = routes();
    ASSERT_EQ(0, NetRoutetableHandler(0, "eth0"));
    EXPECT_EQ(before, routes());
    ASSERT_EQ(0, NetRoutetableHandler(1, "eth0"));
    EXPECT_EQ(std::string::npos, routes().find("10.77.0.0/24")) << routes();
}

TEST_F(LiveRoute, TheCheckTakesTheRouteOfAPulledCableAway)
{
    set_both();
    ASSERT_EQ(0, NetRoutetableCheck());
    EXPECT_EQ(std::string(KERNELS0) + KERNELS1, routes()) << "both have a link";
    ASSERT_EQ(0, run("lan ip link set port1 down").status);
    ASSERT_TRUE(wait_for([] { return KAVONetIfIsLink("eth1") == 0; }));
    ASSERT_EQ(0, NetRoutetableCheck());
    EXPECT_EQ(KERNELS0, routes());
    EXPECT_TRUE(reaches("10.77.0.1"));

    ASSERT_EQ(0, run("lan ip link set port1 up").status);
    ASSERT_TRUE(wait_for([] { return KAVONetIfIsLink("eth1") == 1; }));
    ASSERT_EQ(0, NetRoutetableHandler(0, "eth1"));
    EXPECT_EQ(std::string(KERNELS0) + BOUND1, routes());
    EXPECT_TRUE(reaches("10.78.0.1"));
}

TEST_F(LiveRoute, TheCommandSaysWhatHolds)
{
    set_both();
    EXPECT_EQ("eth1: 10.78.0.0/24 from 10.78.0.101 -> no route of its own\n", run("kavonet route unbind eth1").output);
    EXPECT_EQ(KERNELS0, routes());
    EXPECT_EQ("eth1: no route of its own -> 10.78.0.0/24 from 10.78.0.101\n", run("kavonet route bind eth1").output);
    EXPECT_TRUE(reaches("10.78.0.1"));
    ASSERT_EQ(0, run("lan ip link set port1 down").status);
    ASSERT_TRUE(wait_for([] { return KAVONetIfIsLink("eth1") == 0; }));
    EXPECT_EQ("removed 10.78.0.0/24 on eth1\n", run("kavonet route check").output);
}

} // namespace
} // namespace resolve_test
