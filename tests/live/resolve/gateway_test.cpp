// The default route for real: which router a packet takes.
#include "kavonetsdk/kavonetsdk.h"

#include "lab_side.h"

namespace resolve_test {
namespace {

using support::last_error;
using support::read_file;

constexpr char LEASED_ROUTER[] = "10.77.0.1";
constexpr char OTHER_ROUTER[] = "10.77.0.2";
constexpr char BEHIND_LEASED[] = "203.0.113.1";
constexpr char BEHIND_OTHER[] = "203.0.113.2";

class LiveGateway : public testing::Test {
protected:
    static void SetUpTestSuite() { TwoRouters::build(); }
    static void TearDownTestSuite() { TwoRouters::remove(); }
    void TearDown() override { restore(); }

    static std::string gateway()
    {
        char address[20] = "";
        char interface[16] = "";
        EXPECT_EQ(0, KAVONetDefaultGatewayGet(address, sizeof address));
        EXPECT_EQ(0, KAVONetDefaultGatewayInterfaceGet(interface, sizeof interface));
        return std::string(address) + " " + interface;
    }
};

TEST_F(LiveGateway, PacketsTakeTheRouteThatIsSet)
{
    EXPECT_EQ(" ", gateway());
    take_lease("eth0");
    EXPECT_EQ("10.77.0.1 eth0", gateway());
    EXPECT_TRUE(reaches(BEHIND_LEASED));
    EXPECT_TRUE(is_out_of_reach(BEHIND_OTHER));

    ASSERT_EQ(0, KAVONetDefaultGatewaySet(OTHER_ROUTER));
    EXPECT_EQ("10.77.0.2 eth0", gateway());
    EXPECT_EQ(1U, support::lines_of(run("ip -4 route show default").output).size());
    EXPECT_TRUE(reaches(BEHIND_OTHER));
    EXPECT_TRUE(is_out_of_reach(BEHIND_LEASED));

    ASSERT_EQ(0, KAVONetDefaultGatewaySet(LEASED_ROUTER));
    EXPECT_TRUE(reaches(BEHIND_LEASED));
    EXPECT_TRUE(is_out_of_reach(BEHIND_OTHER));

    ASSERT_EQ(0, KAVONetDefaultGatewaySet(""));
    EXPECT_EQ(" ", gateway());
    EXPECT_EQ(ENETUNREACH, answer_of(BEHIND_LEASED));
}

TEST_F(LiveGateway, ARouterOutOfReachLeavesNoRoute)
{
    take_lease("eth0");
    EXPECT_EQ(-1, KAVONetDefaultGatewaySet("198.51.100.1"));
    EXPECT_EQ(0x2A00U, last_error().code);
    EXPECT_EQ(" ", gateway());
    EXPECT_EQ(0, KAVONetDefaultGatewaySet(OTHER_ROUTER));
    EXPECT_TRUE(reaches(BEHIND_OTHER));
}

TEST_F(LiveGateway, TheConfiguredOneWinsOverTheLease)
{
    take_lease("eth0");
    ASSERT_EQ(0, KAVONetDefaultGatewaySetConf(OTHER_ROUTER));
    EXPECT_EQ("GATEWAY=10.77.0.2\n", read_file("/etc/sysconfig/network"));
    EXPECT_EQ("10.77.0.1 eth0", gateway()) << "the file alone changes no route";
    ASSERT_EQ(0, run("/usr/kavo/sbin/kavonetdtool --refresh-gateway -4").status);
    EXPECT_EQ("10.77.0.2 eth0", gateway());
    EXPECT_TRUE(reaches(BEHIND_OTHER));
    ASSERT_EQ(0, KAVONetDefaultGatewaySetConf(nullptr));
    EXPECT_EQ("", read_file("/etc/sysconfig/network"));
}

TEST_F(LiveGateway, TheCommandSaysWhatHolds)
{
    take_lease("eth0");
    EXPECT_EQ("gateway: 10.77.0.1 on eth0 -> 10.77.0.2 on eth0\n", run("kavonet gateway set 10.77.0.2").output);
    EXPECT_TRUE(reaches(BEHIND_OTHER));
    EXPECT_NE(std::string::npos, run("kavonet status").output.find("\ngateway: 10.77.0.2 on eth0\n"));
    EXPECT_EQ("gateway: 10.77.0.2 on eth0 -> none\n", run("kavonet gateway clear").output);
}

} // namespace
} // namespace resolve_test
