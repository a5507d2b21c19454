#include "iface_test.h"

namespace {

constexpr char FILE_NAME[] = "net_get_if_block.cpp";

class NetGetIfBlock : public IfaceTest {};

TEST_F(NetGetIfBlock, OrsTheFlagsIn)
{
    write_ifcfg("eth0", "BLOCK_CNT=2\nBLOCK_HA=yes\nBLOCK_VIRTUAL=\"yes\"\nBLOCK_AHA=no\n");
    unsigned int flags = 0x80000008;
    EXPECT_EQ(0, KAVONetGetIfBlock("eth0", &flags));
    EXPECT_EQ(0x80000000U | NET_IF_BLOCK_QUENTRA | NET_IF_BLOCK_HA | NET_IF_BLOCK_VIRTUAL, flags);
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

TEST_F(NetGetIfBlock, KnowsFourKeys)
{
    for (const auto &[key, bit] :
         {std::pair{"BLOCK_HA", 1U}, {"BLOCK_AHA", 2U}, {"BLOCK_VIRTUAL", 4U}, {"BLOCK_QUENTRA", 8U}}) {
        write_ifcfg("eth0", std::string("BLOCK_CNT=1\n") + key + "=yes\n");
        unsigned int flags = 0;
        EXPECT_EQ(0, KAVONetGetIfBlock("eth0", &flags));
        EXPECT_EQ(bit, flags) << key;
    }
}

TEST_F(NetGetIfBlock, LooksAtTheBeginningOfAValue)
{
    for (const auto &[value, flag] :
         {std::pair{"yes", 1U}, {"yesterday", 1U}, {"ye", 0U}, {"Yes", 0U}, {" yes", 0U}, {"", 0U}}) {
        write_ifcfg("eth0", std::string("BLOCK_CNT=1\nBLOCK_HA=") + value + "\n");
        unsigned int flags = 0;
        EXPECT_EQ(0, KAVONetGetIfBlock("eth0", &flags));
        EXPECT_EQ(flag, flags) << value;
    }
}

TEST_F(NetGetIfBlock, LooksAtNoKeyWhenNothingIsCounted)
{
    for (const char *count : {"BLOCK_CNT=0\n", "BLOCK_CNT=\"0\"\n", "", "BLOCK_CNT=\n", "BLOCK_CNT=none\n"}) {
        write_ifcfg("eth0", std::string(count) + "BLOCK_HA=yes\n");
        unsigned int flags = 0x40;
        EXPECT_EQ(0, KAVONetGetIfBlock("eth0", &flags)) << count;
        EXPECT_EQ(0x40U, flags);
    }
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

TEST_F(NetGetIfBlock, LooksAtTheKeysWhateverElseIsCounted)
{
    for (const char *count : {"-1", "17", "99999999999999999999", "4294967296", "1 or so"}) {
        write_ifcfg("eth0", std::string("BLOCK_CNT=") + count + "\nBLOCK_AHA=yes\n");
        unsigned int flags = 0;
        EXPECT_EQ(0, KAVONetGetIfBlock("eth0", &flags)) << count;
        EXPECT_EQ(2U, flags) << count;
    }
}

TEST_F(NetGetIfBlock, FailsWithoutTheFile)
{
    unsigned int flags = 0x40;
    EXPECT_EQ(-1, KAVONetGetIfBlock("eth0", &flags));
    EXPECT_EQ(LOG_ERR, logged("net_get_if_block", "Failed to get key [BLOCK_CNT]"));
    EXPECT_EQ(0x40U, flags);
    EXPECT_FALSE(support::exists(ifcfg("eth0")));
}

TEST_F(NetGetIfBlock, TakesAKeyThatCannotBeReadForNotSet)
{
    write_ifcfg("eth0", "BLOCK_CNT=2\nBLOCK_HA=yes\nBLOCK_AHA=yes\n");
    fail_call("KLIBCFileGetKeyValue", 2);
    unsigned int flags = 0;
    EXPECT_EQ(0, KAVONetGetIfBlock("eth0", &flags));
    EXPECT_EQ(2U, flags);
}

TEST_F(NetGetIfBlock, RefusesBadArguments)
{
    write_file("/etc/sysconfig/network-scripts/ifcfg-a/b", "BLOCK_CNT=1\nBLOCK_HA=yes\n");
    write_ifcfg("eth0", "BLOCK_CNT=1\n");
    unsigned int flags = 0x40;
    EXPECT_EQ(-1, KAVONetGetIfBlock(nullptr, &flags));
    EXPECT_EQ(bad_parameter(FILE_NAME, 23), last_error());
    forget();
    EXPECT_EQ(-1, KAVONetGetIfBlock("eth0", nullptr));
    EXPECT_EQ(bad_parameter(FILE_NAME, 23), last_error());
    std::vector<const char *> names = HOSTILE_NAMES;
    names.push_back(NAME_OF_16);
    for (const char *name : names) {
        forget();
        EXPECT_EQ(-1, KAVONetGetIfBlock(name, &flags)) << name;
        EXPECT_EQ(bad_parameter(FILE_NAME, 23), last_error());
    }
    EXPECT_EQ(0x40U, flags);
}

TEST_F(NetGetIfBlock, TakesANameOf15Characters)
{
    write_ifcfg(NAME_OF_15, "BLOCK_CNT=1\nBLOCK_HA=yes\n");
    unsigned int flags = 0;
    EXPECT_EQ(0, KAVONetGetIfBlock(NAME_OF_15, &flags));
    EXPECT_EQ(1U, flags);
}

} // namespace
