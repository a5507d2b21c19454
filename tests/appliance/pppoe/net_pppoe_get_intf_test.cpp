#include "appliance/pppoe/pppoe_test.h"

#include <cstring>
#include <fcntl.h>

namespace {

constexpr char FILE_NAME[] = "net_pppoe_get_intf.cpp";
const std::string HEADINGS = "Inter-|   Receive\n face |bytes\n";
const std::string DEVICES = HEADINGS + "    lo: 1 2\n  eth0: 1 2\n  ppp0: 1 2\n";
constexpr char STATUS[] = "pppoe-status: Link is up and running on interface ppp7\n"
                          "ppp7      Link encap:Point-to-Point Protocol\n          inet addr:10.0.0.2";

class PppoeGetIntf : public PppoeTest {
protected:
    void SetUp() override
    {
        PppoeTest::SetUp();
        if (IsSkipped())
            return;
        plain_proc_net();
        devices(DEVICES);
        record("/usr/sbin/pppoe-status", 0, STATUS);
    }

    static void devices(const std::string &content) { write_file("/proc/net/dev", content); }

    static std::string get(int expected = 0, size_t size = 32)
    {
        char name[64] = "untouched";
        EXPECT_EQ(expected, KAVOPPPoeIntfGet(name, size));
        return name;
    }

    // What the status command's output makes of the answer; the cache is gone before.
    static std::string asked(const std::string &output, int expected = 0)
    {
        clear();
        unlink(CACHE);
        record("/usr/sbin/pppoe-status", 0, output);
        return get(expected);
    }
};

TEST_F(PppoeGetIntf, AsksTheStatusCommandAndRemembers)
{
    EXPECT_EQ("ppp7", get());
    EXPECT_THAT(calls(), ElementsAre("[/usr/sbin/pppoe-status]"));
    EXPECT_EQ("ppp7", read_file(CACHE));
    EXPECT_EQ(0644U, mode_of(CACHE));
    EXPECT_EQ("ppp7", get());
    EXPECT_THAT(calls(), ElementsAre("[/usr/sbin/pppoe-status]"));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(PppoeGetIntf, WhatIsRememberedWins)
{
    for (const char *content : {"ppp3", "ppp3\n", "ppp3\nppp4\n"}) {
        write_file(CACHE, content);
        EXPECT_EQ("ppp3", get()) << content;
        EXPECT_EQ(content, read_file(CACHE));
    }
    write_file(CACHE, " ppp3 x\n");
    EXPECT_EQ(" ppp3 x", get()); // the whole line, as it stands
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(PppoeGetIntf, AnEmptyMemoryIsNone)
{
    write_file(CACHE, "");
    EXPECT_EQ("ppp7", get());
    EXPECT_EQ("ppp7", read_file(CACHE));
}

TEST_F(PppoeGetIntf, AnEmptyLineIsAnAnswer)
{
    write_file(CACHE, "\n");
    EXPECT_EQ("", get());
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(PppoeGetIntf, WithoutAPppInterfaceThereIsNoAnswer)
{
    write_file(CACHE, "ppp0");
    for (const std::string &content :
         {std::string(), std::string("one\n"), HEADINGS, HEADINGS + "  eth0: 1\n",
          HEADINGS + "  pp0: 1\n  PPP0: 1\n xppp0: 1\n", HEADINGS + "  pppmon.0: 1\n  mon.ppp0: 1\n"}) {
        devices(content);
        EXPECT_EQ("untouched", get(-1)) << content;
    }
    EXPECT_EQ("ppp0", read_file(CACHE));
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(PppoeGetIntf, TheHeadingsAreNotLookedAt)
{
    devices("ppp0: 1\nppp1: 1\n eth0: 1\n");
    EXPECT_EQ("untouched", get(-1));
}

TEST_F(PppoeGetIntf, AnyPppNameWillDo)
{
    for (const char *line : {"ppp0:1\n", " \t ppp12: 1\n", "pppoe: 1\n", "ppp:\n", "pppmon.1: 1\nppp0: 1\n"}) {
        unlink(CACHE);
        devices(HEADINGS + line);
        EXPECT_EQ("ppp7", get()) << line;
    }
}

TEST_F(PppoeGetIntf, ALineWithoutAColonEndsTheSearch)
{
    devices(HEADINGS + "  eth0: 1\n  what is this\n  ppp0: 1\n");
    EXPECT_EQ("untouched", get(-1));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "input string:   what is this\n don't contain charactor :"));
    clear();
    devices(HEADINGS + "  ppp0: 1\n  what is this\n");
    EXPECT_EQ("ppp7", get());
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(PppoeGetIntf, ALongLineIsReadInPieces)
{
    devices(HEADINGS + "  eth0: " + std::string(511 - 8, '1') + "ppp0:\n");
    EXPECT_EQ("ppp7", get());
    devices(HEADINGS + "  eth0: " + std::string(600, '1') + "\n  ppp0:\n");
    EXPECT_EQ("untouched", get(-1));
    EXPECT_EQ(LOG_ERR,
              logged_in(FILE_NAME, "input string: " + std::string(600 - 503, '1') + "\n don't contain charactor :"));
}

TEST_F(PppoeGetIntf, TheKernelsListMustBeReadable)
{
    unlink("/proc/net/dev");
    EXPECT_EQ("untouched", get(-1));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_OPEN_FAILED));
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(PppoeGetIntf, TheFirstWordOfTheFirstMatchingLineIsTheAnswer)
{
    EXPECT_EQ("ppp1", asked("  ppp1   Link encap:Point-to-Point Protocol\nppp2 Point-to-Point\n"));
    EXPECT_EQ("ppp1", asked("ppp0 point-to-point\nppp1 xPoint-to-Pointx"));
    EXPECT_EQ("Point-to-Point", asked("Point-to-Point"));
    EXPECT_EQ("Point-to-Point", read_file(CACHE));
    EXPECT_EQ("ppp1\tLink", asked("ppp1\tLink Point-to-Point")); // only blanks part words
    EXPECT_EQ("ppp1\tLink", read_file(CACHE));
}

TEST_F(PppoeGetIntf, TheEndOfTheStatusCommandDoesNotMatter)
{
    record("/usr/sbin/pppoe-status", 1, STATUS);
    EXPECT_EQ("ppp7", get());
}

TEST_F(PppoeGetIntf, AStatusWithoutAMatchingLineIsNoAnswer)
{
    for (const char *output : {"", "pppoe-status: Link is down", "ppp0: <POINTOPOINT,MULTICAST>"}) {
        EXPECT_EQ("", asked(output, -1)) << output;
        EXPECT_EQ(LOG_DEBUG, logged_in(FILE_NAME, "Failed to get real pppoe interface")) << output;
        EXPECT_FALSE(exists(CACHE));
    }
}

TEST_F(PppoeGetIntf, ALineOfTheStatusIsReadInPieces)
{
    EXPECT_EQ("ppp4", asked("x " + std::string(1021, 'x') + "ppp4 Point-to-Point"));
    EXPECT_EQ("x", asked("x " + std::string(1021 - 14, 'x') + "Point-to-Point"));
}

TEST_F(PppoeGetIntf, AStatusCommandThatCannotBeRunIsAFailure)
{
    unlink("/usr/sbin/pppoe-status");
    EXPECT_EQ("", get(-1));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "failed to excute cmd/usr/sbin/pppoe-status"));
    EXPECT_FALSE(exists(CACHE));
    clear();
    record("/usr/sbin/pppoe-status", 0, STATUS);
    fail_call("KLIBCPopen");
    EXPECT_EQ("", get(-1));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "failed to excute cmd/usr/sbin/pppoe-status"));
}

TEST_F(PppoeGetIntf, WithoutMemoryThereIsNoAnswer)
{
    fail_call("KLIBCSzListAlloc");
    EXPECT_EQ("untouched", get(-1));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to alloc memory."));
    clear();
    fail_call("KLIBCStrSep");
    EXPECT_EQ("", get(-1));
    EXPECT_EQ(LOG_DEBUG, logged_in(FILE_NAME, "Failed to get real pppoe interface"));
    EXPECT_FALSE(exists(CACHE));
}

TEST_F(PppoeGetIntf, MemoryIsAskedForBeforeTheKernelsListIsOpened)
{
    unlink("/proc/net/dev");
    fail_call("KLIBCSzListAlloc");
    EXPECT_EQ("untouched", get(-1));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to alloc memory."));
    EXPECT_EQ("fault.c", last_error().file);
}

TEST_F(PppoeGetIntf, TheWholeBufferIsCleared)
{
    char name[8];
    memset(name, 'x', sizeof name);
    EXPECT_EQ(0, KAVOPPPoeIntfGet(name, sizeof name));
    EXPECT_EQ(0, memcmp("ppp7\0\0\0", name, sizeof name));
}

TEST_F(PppoeGetIntf, AnAnswerIsCutToTheBuffer)
{
    char name[8];
    memset(name, 'x', sizeof name);
    EXPECT_EQ(0, KAVOPPPoeIntfGet(name, 4));
    EXPECT_STREQ("ppp", name);
    EXPECT_EQ('x', name[4]);
    EXPECT_EQ("ppp7", read_file(CACHE)); // for callers with more room
    EXPECT_EQ(-1, KAVOPPPoeIntfGet(name, 1));
    EXPECT_STREQ("", name);
    EXPECT_EQ(LOG_DEBUG, logged_in(FILE_NAME, "Failed to get real pppoe interface"));
}

TEST_F(PppoeGetIntf, RefusesNoBuffer)
{
    char name[4] = "abc";
    EXPECT_EQ(-1, KAVOPPPoeIntfGet(nullptr, 32));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    support::clear_error();
    EXPECT_EQ(-1, KAVOPPPoeIntfGet(name, 0));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    EXPECT_STREQ("abc", name);
}

// ---- What lies in the place of the memory

TEST_F(PppoeGetIntf, APlantedLinkIsNeitherReadNorWrittenThrough)
{
    write_file("/etc/victim", "ppp9\n");
    ASSERT_EQ(0, symlink("/etc/victim", CACHE));
    EXPECT_EQ("ppp7", get());
    EXPECT_EQ("ppp9\n", read_file("/etc/victim"));
    struct stat status {};
    ASSERT_EQ(0, lstat(CACHE, &status));
    EXPECT_TRUE(S_ISREG(status.st_mode));
    EXPECT_EQ("ppp7", read_file(CACHE));
    unlink(CACHE);
    ASSERT_EQ(0, symlink("/etc/nowhere", CACHE));
    EXPECT_EQ("ppp7", get());
    EXPECT_FALSE(exists("/etc/nowhere"));
}

TEST_F(PppoeGetIntf, APlantedFifoIsNotWaitedFor)
{
    ASSERT_EQ(0, mkfifo(CACHE, 0666));
    alarm(20);
    EXPECT_EQ("ppp7", get());
    alarm(0);
    EXPECT_EQ("ppp7", read_file(CACHE));
}

TEST_F(PppoeGetIntf, APlantedFolderStaysAndNothingIsRemembered)
{
    ASSERT_EQ(0, mkdir(CACHE, 0777));
    EXPECT_EQ("ppp7", get());
    EXPECT_EQ("ppp7", get());
    EXPECT_EQ(2U, calls().size());
    EXPECT_THAT(support::entries(CACHE), IsEmpty());
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(PppoeGetIntf, AnotherUsersFileIsNotBelieved)
{
    write_file(CACHE, "ppp9\n");
    if (chown(CACHE, 1000, 1000) != 0)
        GTEST_SKIP() << "this user cannot give files away";
    EXPECT_EQ("ppp7", get());
    EXPECT_EQ("ppp7", read_file(CACHE));
    struct stat status {};
    ASSERT_EQ(0, stat(CACHE, &status));
    EXPECT_EQ(0U, status.st_uid);
}

TEST_F(PppoeGetIntf, AFileThatOthersMayWriteOrThatHasTwoNamesIsNotBelieved)
{
    for (const unsigned mode : {0664U, 0646U, 0666U}) {
        write_file(CACHE, "ppp9\n");
        ASSERT_EQ(0, chmod(CACHE, mode));
        EXPECT_EQ("ppp7", get());
        EXPECT_EQ(0644U, mode_of(CACHE));
    }
    write_file("/tmp/root-file", "ppp9\n");
    unlink(CACHE);
    ASSERT_EQ(0, link("/tmp/root-file", CACHE));
    EXPECT_EQ("ppp7", get());
    EXPECT_EQ("ppp9\n", read_file("/tmp/root-file"));
}

TEST_F(PppoeGetIntf, AnIncompleteMemoryIsDeleted)
{
    fail_call("write"); // writes one byte
    EXPECT_EQ("ppp7", get());
    EXPECT_FALSE(exists(CACHE));
    EXPECT_EQ("ppp7", get());
    EXPECT_EQ("ppp7", read_file(CACHE));
}

} // namespace
