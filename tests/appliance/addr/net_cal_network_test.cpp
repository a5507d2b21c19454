#include "ipcalc_test.h"

namespace {

using support::last_error;
using support::NO_ERROR_SET;
using testing::ElementsAre;

constexpr char FILE_NAME[] = "net_cal_network.cpp";

struct NetCalNetwork : IpcalcTest {
    NetCalNetwork() : IpcalcTest(KAVONetCalNetwork) {}
};

TEST_F(NetCalNetwork, PassesTheWordAndTakesTheValue)
{
    record("/bin/ipcalc", 0, "NETWORK=192.168.1.0\nPREFIX=24");
    EXPECT_EQ("192.168.1.0", ask());
    EXPECT_EQ(0, result);
    EXPECT_THAT(calls(), ElementsAre("[/bin/ipcalc] [-n] [192.168.1.5/24]"));
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_TRUE(support::log_lines().empty());
}

TEST_F(NetCalNetwork, AHostileWordStaysOneWord)
{
    record("/bin/ipcalc", 0, "");
    for (const char *word : {"10.0.0.1/8; reboot", "--help", "$(id) `id`", "*", " "}) {
        EXPECT_EQ("before", ask(64, word));
        EXPECT_EQ(0, result);
    }
    EXPECT_THAT(calls(),
                ElementsAre("[/bin/ipcalc] [-n] [10.0.0.1/8; reboot]", "[/bin/ipcalc] [-n] [--help]",
                            "[/bin/ipcalc] [-n] [$(id) `id`]", "[/bin/ipcalc] [-n] [*]", "[/bin/ipcalc] [-n] [ ]"));
}

TEST_F(NetCalNetwork, TrimsTheLineAndTakesItsFirstWord)
{
    record("/bin/ipcalc", 0, " \tNETWORK= 10.0.0.0 and more \t");
    EXPECT_EQ("10.0.0.0", ask());
    EXPECT_EQ(0, result);
}

TEST_F(NetCalNetwork, AnotherLineLeavesTheBufferAlone)
{
    for (const char *line : {"", "no such address", "XNETWORK=10.0.0.0", "NETWORK =10.0.0.0",
                             "NETWORK=", "NETWORK=  ", "BROADCAST=10.0.0.0"}) {
        record("/bin/ipcalc", 0, line);
        EXPECT_EQ("before", ask()) << line;
        EXPECT_EQ(0, result) << line;
    }
    record("/bin/ipcalc", 0, "other\nNETWORK=10.0.0.0"); // only the first line counts
    EXPECT_EQ("before", ask());
    EXPECT_EQ(0, result);
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetCalNetwork, ItsStatusDoesNotMatter)
{
    record("/bin/ipcalc", 1, "NETWORK=10.0.0.0");
    EXPECT_EQ("10.0.0.0", ask());
    EXPECT_EQ(0, result);
    record("/bin/ipcalc", 1, "");
    EXPECT_EQ("before", ask());
    EXPECT_EQ(0, result);
}

TEST_F(NetCalNetwork, CutsTheValueToTheBuffer)
{
    record("/bin/ipcalc", 0, "NETWORK=192.168.100.128");
    EXPECT_EQ("192.168.100.128", ask(16));
    EXPECT_EQ("192.168.100.12", ask(15));
    EXPECT_EQ("1", ask(2));
    EXPECT_EQ("", ask(1));
    EXPECT_EQ(0, result);
    // 1023 characters of the line are read.
    record("/bin/ipcalc", 0, "NETWORK=" + std::string(5000, '1'));
    EXPECT_EQ(std::string(1023 - strlen("NETWORK="), '1'), ask(8000));
    EXPECT_EQ(0, result);
}

TEST_F(NetCalNetwork, LogsAnIpcalcThatCannotBeStarted)
{
    unlink("/bin/ipcalc");
    EXPECT_EQ("before", ask());
    EXPECT_EQ(-1, result);
    EXPECT_EQ(LOG_ERR,
              support::logged("net_cal_network\\.cpp:[0-9]+ excute cmd /bin/ipcalc -b 192\\.168\\.1\\.5/24 failed"));
    EXPECT_NE(FILE_NAME, last_error().file);
}

TEST_F(NetCalNetwork, RefusesNullEmptyAndNoRoom)
{
    record("/bin/ipcalc", 0, "NETWORK=10.0.0.0");
    char out[8] = "before";
    refuses(nullptr, out, sizeof out, FILE_NAME);
    refuses("", out, sizeof out, FILE_NAME);
    refuses("10.0.0.1/8", nullptr, sizeof out, FILE_NAME);
    refuses("10.0.0.1/8", out, 0, FILE_NAME);
    EXPECT_STREQ("before", out);
    EXPECT_THAT(calls(), ElementsAre());
    EXPECT_TRUE(support::log_lines().empty());
}

} // namespace
