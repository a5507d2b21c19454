#include "iface_test.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace {

constexpr char FILE_NAME[] = "net_set_if_block.cpp";

class NetSetIfBlock : public IfaceTest {
protected:
    void TearDown() override
    {
        if (!IsSkipped()) {
            EXPECT_TRUE(file_is_free(ifcfg("eth0")));
        }
        IfaceTest::TearDown();
    }

    static std::string content() { return read_file(ifcfg("eth0")); }
};

TEST_F(NetSetIfBlock, SetsAndCountsAKey)
{
    write_ifcfg("eth0", "# by hand\nDEVICE=eth0\n");
    EXPECT_EQ(0, KAVONetSetIfBlock("eth0", NET_IF_BLOCK_HA, 1));
    EXPECT_EQ("# by hand\nDEVICE=eth0\nBLOCK_HA=\"yes\"\nBLOCK_CNT=\"1\"\n", content());
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

TEST_F(NetSetIfBlock, SetsKeysInTheirOrder)
{
    write_ifcfg("eth0", "");
    EXPECT_EQ(0, KAVONetSetIfBlock("eth0", 0xF, 1));
    EXPECT_EQ("BLOCK_HA=\"yes\"\nBLOCK_CNT=\"4\"\nBLOCK_AHA=\"yes\"\nBLOCK_VIRTUAL=\"yes\"\nBLOCK_QUENTRA=\"yes\"\n",
              content());
    EXPECT_EQ(0, KAVONetSetIfBlock("eth0", NET_IF_BLOCK_AHA | NET_IF_BLOCK_QUENTRA, 0));
    EXPECT_EQ("BLOCK_HA=\"yes\"\nBLOCK_CNT=\"2\"\nBLOCK_AHA=\"no\"\nBLOCK_VIRTUAL=\"yes\"\nBLOCK_QUENTRA=\"no\"\n",
              content());
}

TEST_F(NetSetIfBlock, LeavesAKeyThatSaysSoAlready)
{
    const std::string before = "BLOCK_HA=yes\nBLOCK_AHA=no\nBLOCK_CNT=5\n";
    write_ifcfg("eth0", before);
    EXPECT_EQ(0, KAVONetSetIfBlock("eth0", NET_IF_BLOCK_HA, 1));
    EXPECT_EQ(0, KAVONetSetIfBlock("eth0", NET_IF_BLOCK_HA, 2));
    EXPECT_EQ(0, KAVONetSetIfBlock("eth0", NET_IF_BLOCK_HA, -1));
    EXPECT_EQ(0, KAVONetSetIfBlock("eth0", NET_IF_BLOCK_AHA, 0));
    EXPECT_EQ(0, KAVONetSetIfBlock("eth0", NET_IF_BLOCK_VIRTUAL, 0)) << "an absent key says no";
    EXPECT_EQ(before, content());
}

TEST_F(NetSetIfBlock, CountsOnlyWhatIsNew)
{
    write_ifcfg("eth0", "BLOCK_CNT=1\nBLOCK_HA=yes\n");
    EXPECT_EQ(0, KAVONetSetIfBlock("eth0", NET_IF_BLOCK_HA | NET_IF_BLOCK_AHA | NET_IF_BLOCK_VIRTUAL, 1));
    EXPECT_EQ("BLOCK_CNT=\"3\"\nBLOCK_HA=yes\nBLOCK_AHA=\"yes\"\nBLOCK_VIRTUAL=\"yes\"\n", content());
}

TEST_F(NetSetIfBlock, CountsUpButWritesNoForAnyOtherEnabling)
{
    write_ifcfg("eth0", "BLOCK_CNT=1\n");
    EXPECT_EQ(0, KAVONetSetIfBlock("eth0", NET_IF_BLOCK_HA, 2));
    EXPECT_EQ("BLOCK_CNT=\"2\"\nBLOCK_HA=\"no\"\n", content());
    EXPECT_EQ(0, KAVONetSetIfBlock("eth0", NET_IF_BLOCK_HA, -1));
    EXPECT_EQ("BLOCK_CNT=\"3\"\nBLOCK_HA=\"no\"\n", content());
}

TEST_F(NetSetIfBlock, MayCountBelowZero)
{
    write_ifcfg("eth0", "BLOCK_HA=yes\nBLOCK_AHA=yesterday\n");
    EXPECT_EQ(0, KAVONetSetIfBlock("eth0", NET_IF_BLOCK_HA | NET_IF_BLOCK_AHA, 0));
    EXPECT_EQ("BLOCK_HA=\"no\"\nBLOCK_AHA=\"no\"\nBLOCK_CNT=\"-2\"\n", content());
}

TEST_F(NetSetIfBlock, HoldsOutWithCountsThatAreNone)
{
    for (const auto &[count, after] : {std::pair{"junk", "1"},
                                       {"", "1"},
                                       {"7 of 9", "8"},
                                       {"2147483647", "2147483647"},
                                       {"99999999999999999999", "2147483647"},
                                       {"-99999999999999999999", "-2147483646"}}) {
        write_ifcfg("eth0", std::string("BLOCK_CNT=") + count + "\n");
        EXPECT_EQ(0, KAVONetSetIfBlock("eth0", NET_IF_BLOCK_HA, 1)) << count;
        EXPECT_EQ(std::string("BLOCK_CNT=\"") + after + "\"\nBLOCK_HA=\"yes\"\n", content());
    }
    write_ifcfg("eth0", "BLOCK_HA=yes\nBLOCK_CNT=-99999999999999999999\n");
    EXPECT_EQ(0, KAVONetSetIfBlock("eth0", NET_IF_BLOCK_HA, 0));
    EXPECT_EQ("BLOCK_HA=\"no\"\nBLOCK_CNT=\"-2147483648\"\n", content());
}

TEST_F(NetSetIfBlock, LeavesTheFileWhenNothingIsAsked)
{
    write_ifcfg("eth0", "BLOCK_HA=yes\n");
    EXPECT_EQ(0, KAVONetSetIfBlock("eth0", 0, 1));
    EXPECT_EQ(0, KAVONetSetIfBlock("eth0", 0xFFFFFFF0, 1));
    EXPECT_EQ("BLOCK_HA=yes\n", content());
    EXPECT_EQ(0, KAVONetSetIfBlock("eth9", 0, 1)) << "not even the file is looked at";
    EXPECT_FALSE(support::exists(ifcfg("eth9")));
}

TEST_F(NetSetIfBlock, KeepsTheFilesMode)
{
    write_ifcfg("eth0", "DEVICE=eth0\n");
    ASSERT_EQ(0, chmod(ifcfg("eth0").c_str(), 0640));
    EXPECT_EQ(0, KAVONetSetIfBlock("eth0", NET_IF_BLOCK_HA, 1));
    struct stat status {};
    ASSERT_EQ(0, stat(ifcfg("eth0").c_str(), &status));
    EXPECT_EQ(0640U, status.st_mode & 07777U);
    EXPECT_THAT(support::entries("/etc/sysconfig/network-scripts"), testing::Contains("ifcfg-eth0"));
}

TEST_F(NetSetIfBlock, HoldsTheFilesOwnLockAloneWhileItWrites)
{
    write_ifcfg("eth0", "BLOCK_CNT=1\n");
    int writes = 0;
    int wait = 0;
    bool free_for_writers = false;
    bool free_for_readers = false;
    bool network_is_free = true;
    support::on_call("KLIBCFileSetKeyValue", [&] {
        if (writes++ == 0)
            wait = support::last_lock_wait(); // before the looks at the locks, which are noted too
        free_for_writers |= file_is_free(ifcfg("eth0"));
        free_for_readers |= file_is_free(ifcfg("eth0"), 0);
        network_is_free &= is_free(0x106);
    });
    EXPECT_EQ(0, KAVONetSetIfBlock("eth0", NET_IF_BLOCK_HA | NET_IF_BLOCK_VIRTUAL, 1));
    support::clear_faults();
    EXPECT_EQ(4, writes);
    EXPECT_EQ(30, wait);
    EXPECT_FALSE(free_for_writers);
    EXPECT_FALSE(free_for_readers);
    EXPECT_TRUE(network_is_free) << "no other lock is taken";
    EXPECT_EQ("BLOCK_CNT=\"3\"\nBLOCK_HA=\"yes\"\nBLOCK_VIRTUAL=\"yes\"\n", content());
}

// ---- Failures

TEST_F(NetSetIfBlock, FailsWithoutTheLock)
{
    write_ifcfg("eth0", "DEVICE=eth0\n");
    fail_call("KLIBCFileLockTimeByFile");
    EXPECT_EQ(-1, KAVONetSetIfBlock("eth0", NET_IF_BLOCK_HA, 1));
    EXPECT_EQ(LOG_ERR, logged("net_set_if_block", "KLIBCFileLockTimeByFile failed!"));
    EXPECT_EQ(LOG_ERR, logged("net_set_if_block", "Failed to get lock"));
    EXPECT_EQ(2U, support::log_lines().size());
    EXPECT_EQ("DEVICE=eth0\n", content());
}

TEST_F(NetSetIfBlock, FailsWithoutTheFile)
{
    EXPECT_EQ(-1, KAVONetSetIfBlock("eth0", NET_IF_BLOCK_AHA, 1));
    EXPECT_EQ(LOG_ERR, logged("net_set_if_block", "Failed to get key [BLOCK_AHA]"));
    EXPECT_EQ(LOG_ERR, logged("net_set_if_block", "Failed to set mode [BLOCK_AHA] of [eth0]"));
    EXPECT_FALSE(support::exists(ifcfg("eth0")));
}

TEST_F(NetSetIfBlock, StopsAtTheFirstFailure)
{
    write_ifcfg("eth0", "DEVICE=eth0\n");
    fail_call("KLIBCFileSetKeyValue", 3);
    EXPECT_EQ(-1, KAVONetSetIfBlock("eth0", 0xF, 1));
    EXPECT_EQ(LOG_ERR, logged("net_set_if_block", "Failed to set key [BLOCK_AHA] with value [yes]"));
    EXPECT_EQ(LOG_ERR, logged("net_set_if_block", "Failed to set mode [BLOCK_AHA] of [eth0]"));
    EXPECT_EQ(2U, support::log_lines().size());
    EXPECT_EQ("DEVICE=eth0\nBLOCK_HA=\"yes\"\nBLOCK_CNT=\"1\"\n", content());
    EXPECT_TRUE(file_is_free(ifcfg("eth0")));
}

TEST_F(NetSetIfBlock, FailsWhenTheCountCannotBeWritten)
{
    write_ifcfg("eth0", "BLOCK_CNT=3\n");
    fail_call("KLIBCFileSetKeyValue", 2);
    EXPECT_EQ(-1, KAVONetSetIfBlock("eth0", NET_IF_BLOCK_HA, 1));
    EXPECT_EQ(LOG_ERR, logged("net_set_if_block", "Failed to set key [BLOCK_CNT] with value [4]"));
    EXPECT_EQ(LOG_ERR, logged("net_set_if_block", "Failed to set mode [BLOCK_HA] of [eth0]"));
    EXPECT_EQ("BLOCK_CNT=3\nBLOCK_HA=\"yes\"\n", content());
}

TEST_F(NetSetIfBlock, FailsWhenTheCountCannotBeRead)
{
    write_ifcfg("eth0", "BLOCK_CNT=3\n");
    fail_call("KLIBCFileGetKeyValue", 2);
    EXPECT_EQ(-1, KAVONetSetIfBlock("eth0", NET_IF_BLOCK_HA | NET_IF_BLOCK_AHA, 1));
    EXPECT_EQ(LOG_ERR, logged("net_set_if_block", "Failed to get key [BLOCK_CNT]"));
    EXPECT_EQ(LOG_ERR, logged("net_set_if_block", "Failed to set mode [BLOCK_HA] of [eth0]"));
    EXPECT_EQ("BLOCK_CNT=3\nBLOCK_HA=\"yes\"\n", content());
}

TEST_F(NetSetIfBlock, SucceedsWhenTheLockCannotBeReleased)
{
    write_ifcfg("eth0", "BLOCK_CNT=3\n");
    const std::vector<std::string> before = support::open_descriptors();
    fail_call("KLIBCFileUnlockByFile");
    EXPECT_EQ(0, KAVONetSetIfBlock("eth0", NET_IF_BLOCK_HA, 1));
    EXPECT_EQ(LOG_ERR, logged("net_set_if_block", "Failed to release file lock of [" + ifcfg("eth0") + "]"));
    EXPECT_EQ("BLOCK_CNT=\"4\"\nBLOCK_HA=\"yes\"\n", content());
    for (const std::string &descriptor : support::open_descriptors()) {
        if (std::find(before.begin(), before.end(), descriptor) == before.end()) {
            EXPECT_EQ(1, KLIBCFileUnlockByFile(std::stoi(descriptor)));
        }
    }
}

TEST_F(NetSetIfBlock, RefusesBadNames)
{
    write_file("/etc/sysconfig/network-scripts/ifcfg-a/b", "BLOCK_CNT=1\n");
    EXPECT_EQ(-1, KAVONetSetIfBlock(nullptr, 1, 1));
    EXPECT_EQ(bad_parameter(FILE_NAME, 87), last_error());
    std::vector<const char *> names = HOSTILE_NAMES;
    names.push_back(NAME_OF_16);
    for (const char *name : names) {
        forget();
        EXPECT_EQ(-1, KAVONetSetIfBlock(name, 1, 1)) << name;
        EXPECT_EQ(bad_parameter(FILE_NAME, 87), last_error());
    }
    EXPECT_EQ("BLOCK_CNT=1\n", read_file("/etc/sysconfig/network-scripts/ifcfg-a/b"));
}

TEST_F(NetSetIfBlock, TakesANameOf15Characters)
{
    write_ifcfg(NAME_OF_15, "");
    EXPECT_EQ(0, KAVONetSetIfBlock(NAME_OF_15, 8, 1));
    EXPECT_EQ("BLOCK_QUENTRA=\"yes\"\nBLOCK_CNT=\"1\"\n", read_file(ifcfg(NAME_OF_15)));
}

} // namespace
