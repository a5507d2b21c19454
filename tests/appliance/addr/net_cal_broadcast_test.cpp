#include "ipcalc_test.h"

namespace {

using support::last_error;
using support::NO_ERROR_SET;
using testing::ElementsAre;

constexpr char FILE_NAME[] = "net_cal_broadcast.cpp";

struct NetCalBroadcast : IpcalcTest {
    NetCalBroadcast() : IpcalcTest(KAVONetCalBroadcast) {}
};

TEST_F(NetCalBroadcast, PassesTheWordAndTakesTheValue)
{
    record("/bin/ipcalc", 0, "BROADCAST=192.168.1.0\nPREFIX=24");
    EXPECT_EQ("192.168.1.0", ask());
    EXPECT_EQ(0, result);
    EXPECT_THAT(calls(), ElementsAre("[/bin/ipcalc] [-b] [192.168.1.5/24]"));
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_TRUE(support::log_lines().empty());
}

TEST_F(NetCalBroadcast, AHostileWordStaysOneWord)
{
    record("/bin/ipcalc", 0, "");
    for (const char *word : {"10.0.0.1/8; reboot", "--help", "$(id) `id`", "*", " "}) {
        EXPECT_EQ("before", ask(64, word));
        EXPECT_EQ(0, result);
    }
    EXPECT_THAT(calls(),
                ElementsAre("[/bin/ipcalc] [-b] [10.0.0.1/8; reboot]", "[/bin/ipcalc] [-b] [--help]",
                            "[/bin/ipcalc] [-b] [$(id) `id`]", "[/bin/ipcalc] [-b] [*]", "[/bin/ipcalc] [-b] [ ]"));
}

TEST_F(NetCalBroadcast, TrimsTheLineAndTakesItsFirstWord)
{
    record("/bin/ipcalc", 0, " \tBROADCAST= 10.0.0.0 and more \t");
    EXPECT_EQ("10.0.0.0", ask());
    EXPECT_EQ(0, result);
}

TEST_F(NetCalBroadcast, AnotherLineLeavesTheBufferAlone)
{
    for (const char *line : {"", "no such address", "XBROADCAST=10.0.0.0", "BROADCAST =10.0.0.0",
                             "BROADCAST=", "BROADCAST=  ", "NETWORK=10.0.0.0"}) {
        record("/bin/ipcalc", 0, line);
        EXPECT_EQ("before", ask()) << line;
        EXPECT_EQ(0, result) << line;
    }
    record("/bin/ipcalc", 0, "other\nBROADCAST=10.0.0.0"); // only the first line counts
    EXPECT_EQ("before", ask());
    EXPECT_EQ(0, result);
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetCalBroadcast, ItsStatusDoesNotMatter)
{
    record("/bin/ipcalc", 1, "BROADCAST=10.0.0.0");
    EXPECT_EQ("10.0.0.0", ask());
    EXPECT_EQ(0, result);
    record("/bin/ipcalc", 1, "");
    EXPECT_EQ("before", ask());
    EXPECT_EQ(0, result);
}

TEST_F(NetCalBroadcast, ReadsNoMoreOfTheLineThanTheBufferHolds)
{
    record("/bin/ipcalc", 0, "BROADCAST=192.168.100.255");
    EXPECT_EQ("192.168.100.255", ask(26));
    EXPECT_EQ("192.168.100.25", ask(25));
    EXPECT_EQ("192.168.1", ask(20));
    EXPECT_EQ("1", ask(12));
    EXPECT_EQ("before", ask(11)); // the key alone has no value
    EXPECT_EQ("b", ask(1));
    EXPECT_EQ(0, result);
    record("/bin/ipcalc", 0, "BROADCAST=" + std::string(5000, '1'));
    EXPECT_EQ(std::string(489, '1'), ask(500));
    EXPECT_EQ(0, result);
}

TEST_F(NetCalBroadcast, LogsAnIpcalcThatCannotBeStarted)
{
    unlink("/bin/ipcalc");
    EXPECT_EQ("before", ask());
    EXPECT_EQ(-1, result);
    EXPECT_EQ(LOG_ERR,
              support::logged("net_cal_broadcast\\.cpp:[0-9]+ excute cmd /bin/ipcalc -b 192\\.168\\.1\\.5/24 failed"));
    EXPECT_NE(FILE_NAME, last_error().file);
}

TEST_F(NetCalBroadcast, RefusesNullEmptyAndNoRoom)
{
    record("/bin/ipcalc", 0, "BROADCAST=10.0.0.0");
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
