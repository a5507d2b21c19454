// kavonet mtu
#include "command.h"

namespace cli_test {

using testing::HasSubstr;

class MtuCommand : public Command {
protected:
    void SetUp() override
    {
        Command::SetUp();
        if (!IsSkipped())
            support::write_file(SETTINGS, "eth0_mtu=\"1400\"\n");
    }

    static constexpr char SETTINGS[] = "/etc/kavoinfo.conf";
};

TEST_F(MtuCommand, ShowTellsConfiguredAndLive)
{
    const Json eth0(kavonet({"mtu", "show", "eth0", "--json"}).out);
    EXPECT_EQ("eth0", eth0["name"].text());
    EXPECT_EQ(1400, eth0["configured"].number());
    EXPECT_EQ(1500, eth0["live"].number());
    EXPECT_THAT(kavonet({"mtu", "show", "eth0"}).out,
                testing::ContainsRegex("\neth0 +1400 +1500 +10000 Mbit/s full\n"));
}

TEST_F(MtuCommand, ShowOfAllIsAnArrayOfThoseInUse)
{
    const Json all(kavonet({"mtu", "show", "--json"}).out);
    ASSERT_EQ(2U, all.size());
    EXPECT_EQ(1400, all.named("eth0")["configured"].number());
    EXPECT_EQ(1500, all.named("eth0p")["configured"].number());
}

TEST_F(MtuCommand, ShowOfAKeptTextThatIsNoNumber)
{
    support::write_file(SETTINGS, "eth0_mtu=\"many\x1b[2J\"\n");
    EXPECT_TRUE(Json(kavonet({"mtu", "show", "eth0", "--json"}).out)["configured"].is_null());
    EXPECT_THAT(kavonet({"mtu", "show", "eth0"}).out, HasSubstr("many\\x1b[2J"));
}

TEST_F(MtuCommand, ShowOfWhatIsNotThere)
{
    const Result result = kavonet({"mtu", "show", "eth7"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, HasSubstr("cannot show the MTU of eth7"));
    unlink(SETTINGS);
    EXPECT_EQ(1, kavonet({"mtu", "show", "eth0"}).status);
}

TEST_F(MtuCommand, SetChangesSettingsAndKernel)
{
    subscribe("net/mtu_change");
    const Result result = kavonet({"mtu", "set", "eth0", "9000"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("eth0: MTU 1400 (1500 in force) -> 9000\n", result.out);
    EXPECT_EQ("eth0_mtu=\"9000\"\n", support::read_file(SETTINGS));
    EXPECT_THAT(shell("ip link show eth0"), HasSubstr("mtu 9000"));
    EXPECT_THAT(events(), testing::ElementsAre("net/mtu_change pre IFACE=eth0 MTU_VALUE=9000",
                                               "net/mtu_change post IFACE=eth0 MTU_VALUE=9000"));
}

TEST_F(MtuCommand, SetOfASlowLinkSaysThatTheKernelKeepsIts)
{
    shell("ip tuntap add mode tap name tap0 && ip link set tap0 up"); // 10 Mbit/s
    const Result result = kavonet({"mtu", "set", "tap0", "9000"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("tap0: MTU 1500 -> 9000 (1500 in force)\n"
              "  the link is slower than 1000 Mbit/s, so the kernel keeps its MTU\n",
              result.out);
    const Json change(kavonet({"mtu", "set", "tap0", "8000", "--json"}).out);
    EXPECT_EQ("set", change["action"].text());
    EXPECT_EQ(9000, change["before"]["configured"].number());
    EXPECT_EQ(8000, change["after"]["configured"].number());
    EXPECT_EQ(1500, change["after"]["live"].number());
}

TEST_F(MtuCommand, SetRefusesWhatIsNoMtu)
{
    for (const char *mtu :
         {"", "0", "67", "65536", "-1500", "+1500", "1500 ", "0x5dc", "abc", "99999999999999999999"}) {
        const Result result = kavonet({"mtu", "set", "eth0", "--", mtu});
        EXPECT_EQ(2, result.status) << mtu;
    }
    EXPECT_EQ("eth0_mtu=\"1400\"\n", support::read_file(SETTINGS));
}

TEST_F(MtuCommand, SetOfWhatIsNotThereTouchesNothing)
{
    EXPECT_EQ(1, kavonet({"mtu", "set", "eth7", "9000"}).status);
    EXPECT_EQ(1, kavonet({"mtu", "set", "../eth0", "9000"}).status);
    EXPECT_EQ("eth0_mtu=\"1400\"\n", support::read_file(SETTINGS));
}

TEST_F(MtuCommand, SetShowsWhatItWaitsFor)
{
    const Result result = at_terminal({"mtu", "set", "eth0", "1450"});
    EXPECT_EQ(0, result.status);
    EXPECT_THAT(result.out, HasSubstr("setting the MTU of eth0 to 1450"));
}

} // namespace cli_test
