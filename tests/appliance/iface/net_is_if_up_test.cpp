#include "iface_test.h"

namespace {

constexpr char FILE_NAME[] = "net_is_if_up.cpp";

class NetIsIfUp : public IfaceTest {};

TEST_F(NetIsIfUp, ReadsTheKernelsFlags)
{
    card("eth0");
    card("eth1", "", false);
    EXPECT_EQ(1, KAVONetIsIFUp("eth0"));
    EXPECT_EQ(0, KAVONetIsIFUp("eth1"));
    set_carrier("eth0", false);
    EXPECT_EQ(1, KAVONetIsIFUp("eth0")) << "up is not the carrier";
    EXPECT_EQ(0, KAVONetIsIFUp("eth7"));
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

TEST_F(NetIsIfUp, LooksAtTheLowestBit)
{
    plain_sys();
    for (const auto &[content, up] : {std::pair{"0x1\n", 1},
                                      {"0x1003\n", 1},
                                      {"0x1002\n", 0},
                                      {"0x0\n", 0},
                                      {"0xffffffff\n", 1},
                                      {"0xfffffffe", 0},
                                      {"0x1043 junk", 1}}) {
        write_file("/sys/class/net/eth0/flags", content);
        EXPECT_EQ(up, KAVONetIsIFUp("eth0")) << content;
    }
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

TEST_F(NetIsIfUp, LogsWhatDoesNotScan)
{
    plain_sys();
    for (const char *content : {"", "\n", "1003", "up", "0x", "0xg", "x1"}) {
        forget();
        write_file("/sys/class/net/eth0/flags", content);
        EXPECT_EQ(0, KAVONetIsIFUp("eth0")) << content;
        ASSERT_EQ(1U, support::log_lines().size()) << content;
        EXPECT_EQ(LOG_ERR, support::log_lines()[0].level);
        EXPECT_THAT(support::log_lines()[0].text,
                    testing::MatchesRegex("net_is_if_up\\.cpp:[0-9]+ fscanf failed\\. .+"));
    }
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetIsIfUp, LogsAFileThatCannotBeRead)
{
    plain_sys();
    write_file("/sys/class/net/eth0/flags/x", "");
    EXPECT_EQ(0, KAVONetIsIFUp("eth0"));
    EXPECT_EQ(LOG_ERR, logged("net_is_if_up", "fscanf failed. Is a directory"));
}

TEST_F(NetIsIfUp, RefusesWhatIsNoName)
{
    plain_sys();
    write_file("/sys/class/net/a/b/flags", "0x1\n");
    write_file("/sys/class/net/flags", "0x1\n");
    write_file("/sys/class/flags", "0x1\n");
    write_file(std::string("/sys/class/net/") + NAME_OF_16 + "/flags", "0x1\n");
    EXPECT_EQ(0, KAVONetIsIFUp(nullptr));
    EXPECT_TRUE(is_bad_parameter_in(FILE_NAME));
    std::vector<const char *> names = HOSTILE_NAMES;
    names.push_back(NAME_OF_16);
    for (const char *name : names) {
        forget();
        EXPECT_EQ(0, KAVONetIsIFUp(name)) << name;
        EXPECT_TRUE(is_bad_parameter_in(FILE_NAME)) << name;
    }
}

TEST_F(NetIsIfUp, TakesANameOf15Characters)
{
    card(NAME_OF_15);
    EXPECT_EQ(1, KAVONetIsIFUp(NAME_OF_15));
}

} // namespace
