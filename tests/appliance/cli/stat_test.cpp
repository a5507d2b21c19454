// kavonet stat
#include "command.h"

namespace cli_test {

using testing::HasSubstr;

class StatCommand : public Command {
protected:
    // Makes the kernel send a packet out of eth0: it asks who 10.0.0.99 is.
    static void send() { shell("bash -c 'echo >/dev/udp/10.0.0.99/9'"); }
    static long long counter(const std::string &name)
    {
        return std::stoll(support::read_file("/sys/class/net/eth0/statistics/" + name));
    }
};

TEST_F(StatCommand, PrintsTheCountersOfTheKernel)
{
    send();
    const Json all(kavonet({"stat", "--json"}).out);
    ASSERT_EQ(3U, all.size());
    EXPECT_LT(0, all.named("eth0")["tx_packets"].number());
    EXPECT_FALSE(all.named("lo").is_null());
    // The card may send on its own meanwhile, so the counters lie between two looks.
    const long long before = counter("tx_bytes");
    const Json eth0(kavonet({"stat", "eth0", "--json"}).out);
    EXPECT_LE(before, eth0["tx_bytes"].number());
    EXPECT_GE(counter("tx_bytes"), eth0["tx_bytes"].number());
    EXPECT_GE(counter("tx_packets"), eth0["tx_packets"].number());
    EXPECT_LT(0, eth0["tx_packets"].number());
    EXPECT_TRUE(eth0.has("rx_bytes"));
    EXPECT_TRUE(eth0.has("rx_packets"));
    EXPECT_FALSE(eth0.has("rx_bytes_per_second"));
}

TEST_F(StatCommand, TableIsRightAligned)
{
    const auto lines = support::lines_of(kavonet({"stat"}).out);
    ASSERT_EQ(4U, lines.size());
    EXPECT_THAT(lines[0], testing::MatchesRegex("NAME +RX-BYTES +TX-BYTES +RX-PACKETS +TX-PACKETS"));
    for (const std::string &line : lines)
        EXPECT_EQ(lines[0].size(), line.size());
}

TEST_F(StatCommand, OfAnInterfaceThatIsNotThere)
{
    const Result result = kavonet({"stat", "eth9"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, HasSubstr("cannot read the traffic counters of eth9: there is no interface of that name"));
}

TEST_F(StatCommand, WatchPrintsOneJsonTextALineUntilInterrupted)
{
    const Result result = kavonet({"stat", "eth0", "--watch=0.1", "--json"}, {.interrupt_after_lines = 3});
    EXPECT_EQ(0, result.status);
    EXPECT_EQ("", result.err);
    const auto lines = support::lines_of(result.out);
    ASSERT_LE(3U, lines.size());
    for (const std::string &line : lines) {
        const Json look(line);
        EXPECT_EQ("eth0", look["name"].text());
        EXPECT_LE(0, look["rx_bytes_per_second"].number());
        EXPECT_LE(0, look["tx_bytes_per_second"].number());
    }
}

TEST_F(StatCommand, WatchTellsTheRateSinceTheLookBefore)
{
    shell("ip neigh add 10.0.0.99 lladdr 02:00:00:00:00:01 dev eth0");
    shell("bash -c 'while :; do echo hello >/dev/udp/10.0.0.99/9; sleep 0.01; done' >/dev/null 2>&1 & echo $! "
          ">/run/sender");
    const Result result = kavonet({"stat", "eth0", "--watch=0.2", "--json"}, {.interrupt_after_lines = 6});
    shell("kill $(cat /run/sender)");
    const auto lines = support::lines_of(result.out);
    ASSERT_LE(6U, lines.size());
    EXPECT_EQ(0, Json(lines[0])["tx_bytes_per_second"].number());
    long long all = 0;
    for (size_t i = 1; i < lines.size(); ++i) {
        const Json look(lines[i]);
        const long long sent = look["tx_bytes"].number() - Json(lines[i - 1])["tx_bytes"].number();
        const long long rate = look["tx_bytes_per_second"].number();
        EXPECT_EQ(sent > 0, rate > 0) << lines[i];
        // The time between two looks is at least the one asked for.
        EXPECT_GE(sent * 5, rate) << lines[i];
        all += sent;
    }
    EXPECT_LT(0, all);
}

TEST_F(StatCommand, WatchOnAPipeSeparatesTablesByABlankLine)
{
    const Result result = kavonet({"stat", "--watch=0.1"}, {.interrupt_after_lines = 7});
    EXPECT_EQ(0, result.status);
    EXPECT_THAT(result.out, testing::StartsWith("NAME "));
    EXPECT_THAT(result.out, HasSubstr("\n\nNAME "));
    EXPECT_THAT(result.out, testing::Not(HasSubstr("\033")));
}

TEST_F(StatCommand, WatchEndsWithItsInterface)
{
    shell("(sleep 0.5; ip link del eth0) >/dev/null 2>&1 &");
    const Result result = kavonet({"stat", "eth0", "--watch=0.1", "--json"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(Json(result.err)["error"]["reason"].text(), HasSubstr("no interface of that name"));
}

TEST_F(StatCommand, WatchEndsWithItsReader)
{
    const Result result = kavonet({"stat", "--watch=0.1"}, {.unread_output = true});
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("", result.err);
}

TEST_F(StatCommand, WatchAtATerminalDrawsInPlaceAndLeavesItUsable)
{
    const Result result = at_terminal({"stat", "--watch=0.1"}, {.prompt = "eth0p", .typed = "\x03"});
    EXPECT_EQ(0, result.status);
    EXPECT_THAT(result.out, testing::StartsWith("\033[H\033[J"));
    EXPECT_THAT(result.out, testing::EndsWith("\n"));
    for (const char *lasting : {"\033[?25l", "\033[?1049h", "\033[?47h"})
        EXPECT_THAT(result.out, testing::Not(HasSubstr(lasting))) << "what would have to be put back";
}

TEST_F(StatCommand, WatchShowsWhatFitsTheScreen)
{
    for (int i = 1; i < 20; ++i)
        add_card("eth" + std::to_string(i), "", false);
    const Result result = at_terminal({"stat", "--watch=0.1"}, {.prompt = "more)", .typed = "\x03"});
    EXPECT_EQ(0, result.status);
    EXPECT_THAT(result.out, HasSubstr("(20 more)"));
}

} // namespace cli_test
