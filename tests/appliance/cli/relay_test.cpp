// kavonet relay
#include "command.h"

#include <sys/stat.h>
#include <unistd.h>

#include "kavo/core.h"

namespace cli_test {

using testing::ElementsAre;
using testing::HasSubstr;

class RelayCommand : public Command {
protected:
    static constexpr char FOLDER[] = "/etc/sysconfig/pppoe-relay";

    // A bridge of the local LAN, and a relay that runs under the real one's words. The name is of no other test's: the
    // machine's processes are shared.
    void SetUp() override
    {
        Command::SetUp();
        if (IsSkipped())
            return;
        shell("rm -rf /etc/sysconfig/pppoe-relay; ip link add lbrcmd0 type bridge; ip link set lbrcmd0 up; "
              "mkfifo /run/never; printf 'exec 3<>/run/never; read word <&3\\n' >/run/lbrcmd0");
        write_ifcfg("lbrcmd0", "DEVICE=lbrcmd0\nTYPE=bridge\nPRIMARY=eth0p\nLOCAL_LAN=yes\n");
        // The shell takes "-C" as an option of its own, and the bridge's name as that of its script.
        script("/usr/sbin/pppoe-relay",
               "record_call \"$0\" \"$@\"\ncd /run\nbash -c 'exec -a \"$0\" bash \"$@\"' \"$0\" \"$@\" "
               "</dev/null >/dev/null 2>&1 &\nuntil tr '\\0' ' ' </proc/$!/cmdline | "
               "grep -q '^/usr/sbin/pppoe-relay -C'; do sleep 0.01; done");
    }

    void TearDown() override
    {
        const bool ended = IsSkipped() || KLIBCKill("/usr/sbin/pppoe-relay -C lbrcmd0", 1) == 0;
        EXPECT_TRUE(ended);
        Command::TearDown();
    }

    static std::string file() { return support::read_file(std::string(FOLDER) + "/lbrcmd0"); }
};

TEST_F(RelayCommand, SetStoresAndApplyStarts)
{
    Result result = kavonet({"relay", "set", "lbrcmd0", "eth0"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("lbrcmd0: relay off, no server -> on, server eth0\n  kavonet relay apply lbrcmd0 puts it in force\n",
              result.out);
    EXPECT_EQ("enable=yes\nserver=eth0\n", file());
    EXPECT_THAT(calls(), testing::IsEmpty());
    result = kavonet({"relay", "apply", "lbrcmd0"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("lbrcmd0: relay runs, server eth0\n", result.out);
    EXPECT_THAT(calls(), ElementsAre("[/usr/sbin/pppoe-relay] [-C] [lbrcmd0] [-S] [eth0]"));
    EXPECT_EQ(0, kavonet({"relay", "apply"}).status);
    EXPECT_EQ(1U, calls().size()) << "the same server: left alone";
    EXPECT_EQ("lbrcmd0: relay on, server eth0, as before\n", kavonet({"relay", "set", "lbrcmd0", "eth0"}).out);
    EXPECT_EQ(0, kavonet({"relay", "set", "lbrcmd0", "eth0p"}).status);
    EXPECT_EQ("lbrcmd0: relay runs, server eth0p\n", kavonet({"relay", "apply"}).out);
    EXPECT_EQ(2U, calls().size());
}

TEST_F(RelayCommand, OffKeepsTheServerAndApplyStops)
{
    kavonet({"relay", "set", "lbrcmd0", "eth0"});
    kavonet({"relay", "apply"});
    EXPECT_EQ("lbrcmd0: relay on, server eth0 -> off, server eth0\n  kavonet relay apply lbrcmd0 puts it in force\n",
              kavonet({"relay", "set", "lbrcmd0", "--off"}).out);
    EXPECT_EQ("enable=no\nserver=eth0\n", file());
    EXPECT_EQ("lbrcmd0: no relay runs\n", kavonet({"relay", "apply", "lbrcmd0"}).out);
    EXPECT_EQ(0, KLIBCIsProcAlive("/usr/sbin/pppoe-relay -C lbrcmd0"));
}

TEST_F(RelayCommand, SetTellsItsChangeInJson)
{
    const Json change(kavonet({"relay", "set", "lbrcmd0", "eth0", "--json"}).out);
    EXPECT_EQ("lbrcmd0", change["name"].text());
    EXPECT_EQ("set", change["action"].text());
    EXPECT_FALSE(change["before"]["enabled"].yes());
    EXPECT_TRUE(change["before"]["server"].is_null());
    EXPECT_TRUE(change["after"]["enabled"].yes());
    EXPECT_EQ("eth0", change["after"]["server"].text());
}

TEST_F(RelayCommand, ShowTellsSettingsAndState)
{
    kavonet({"relay", "set", "lbrcmd0", "eth0"});
    support::write_file(std::string(FOLDER) + "/br1", "enable=no\nserver=\x1b[2J\n");
    EXPECT_THAT(kavonet({"relay", "show"}).out,
                testing::ContainsRegex("\nbr1 +off +.x1b\\[2J +not running\nlbrcmd0 +on +eth0 +not running\n"));
    kavonet({"relay", "apply", "lbrcmd0"});
    const Json relay(kavonet({"relay", "show", "lbrcmd0", "--json"}).out);
    EXPECT_EQ("lbrcmd0", relay["name"].text());
    EXPECT_TRUE(relay["enabled"].yes());
    EXPECT_EQ("eth0", relay["server"].text());
    EXPECT_TRUE(relay["running"].yes());
    const Json all(kavonet({"relay", "show", "--json"}).out);
    EXPECT_EQ(2U, all.size());
    EXPECT_FALSE(all.named("br1")["running"].yes());
}

TEST_F(RelayCommand, ShowMakesNoSettings)
{
    EXPECT_EQ("", kavonet({"relay", "show"}).out);
    EXPECT_EQ("[]\n", kavonet({"relay", "show", "--json"}).out);
    const Json relay(kavonet({"relay", "show", "eth0", "--json"}).out);
    EXPECT_FALSE(relay["enabled"].yes());
    EXPECT_TRUE(relay["server"].is_null());
    EXPECT_FALSE(support::exists(FOLDER));
    const Result result = kavonet({"relay", "show", "lbr"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, HasSubstr("there is no interface of that name"));
    EXPECT_EQ(1, kavonet({"relay", "show", "../network-scripts/ifcfg-eth0"}).status);
}

TEST_F(RelayCommand, SetNeedsAServerOrOff)
{
    EXPECT_EQ(2, kavonet({"relay", "set", "lbrcmd0"}).status);
    EXPECT_EQ(2, kavonet({"relay", "set", "lbrcmd0", "eth0", "--off"}).status);
    EXPECT_EQ(2, kavonet({"relay", "set", "lbrcmd0", "abcdefghijklmnop"}).status);
    Result result = kavonet({"relay", "set", "lbrcmd0", "../x"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, HasSubstr("0x0D00"));
    result = kavonet({"relay", "set", "lbr", "eth0"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, HasSubstr("there is no interface of that name"));
    EXPECT_FALSE(support::exists(FOLDER));
}

TEST_F(RelayCommand, ApplyThatFailsSaysWhose)
{
    kavonet({"relay", "set", "lbrcmd0", "eth0"});
    record("/usr/sbin/pppoe-relay", 1);
    Result result = kavonet({"relay", "apply", "lbrcmd0"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, HasSubstr("cannot apply the settings of the PPPoE relay of lbrcmd0"));
    result = kavonet({"relay", "apply"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, HasSubstr("cannot apply the settings of the PPPoE relays"));
}

TEST_F(RelayCommand, ClearDeletesTheSettingsAndLeavesRelaysRunning)
{
    kavonet({"relay", "set", "lbrcmd0", "eth0"});
    kavonet({"relay", "apply"});
    const Result result = kavonet({"relay", "clear"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("the settings of all PPPoE relays are deleted; relays that run go on\n", result.out);
    EXPECT_THAT(support::entries(FOLDER), testing::IsEmpty());
    EXPECT_EQ(1, KLIBCIsProcAlive("/usr/sbin/pppoe-relay -C lbrcmd0"));
    EXPECT_EQ("clear", Json(kavonet({"relay", "clear", "--json"}).out)["action"].text());
    ASSERT_EQ(0, mkdir((std::string(FOLDER) + "/stuck").c_str(), 0755));
    EXPECT_EQ(1, kavonet({"relay", "clear"}).status);
}

} // namespace cli_test
