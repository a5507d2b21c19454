#include "iface_test.h"

namespace {

constexpr char COUNT_FILE[] = "/proc/sys/kernel/kavo_internal_netif_num";

class NetInternalLanNumGet : public IfaceTest {
protected:
    static void count(const std::string &content)
    {
        if (!support::exists("/proc/sys/kernel/made-by-the-test")) {
            plain_folder("/proc/sys/kernel");
            write_file("/proc/sys/kernel/made-by-the-test", "");
        }
        write_file(COUNT_FILE, content);
    }

    static void ports(const std::string &content) { write_file("/etc.defaults/kavoinfo.conf", content); }
};

TEST_F(NetInternalLanNumGet, ReadsTheKernelsNumber)
{
    ports("maxlanport=\"9\"\n");
    for (const auto &[content, number] :
         {std::pair{"4\n", 4}, {"1", 1}, {" 12 \n", 12}, {"2 3\n", 2}, {"5x", 5}, {"2147483647\n", INT32_MAX}}) {
        count(content);
        EXPECT_EQ(number, KAVONetInternalLanNumGet()) << content;
    }
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

TEST_F(NetInternalLanNumGet, TakesTheFactorysNumberWhenTheKernelHasNone)
{
    ports("maxlanport=\"6\"\n");
    for (const char *content : {"0\n", "-2\n", "", "none\n"}) {
        count(content);
        EXPECT_EQ(6, KAVONetInternalLanNumGet()) << content;
    }
}

// None of these becomes another number by being cut to an int.
TEST_F(NetInternalLanNumGet, TakesANumberThatFitsNoIntForNone)
{
    for (const char *number : {"2147483648", "4294967298", "-4294967294", "99999999999999999999"}) {
        ports("maxlanport=\"6\"\n");
        count(std::string(number) + "\n");
        EXPECT_EQ(6, KAVONetInternalLanNumGet()) << number;
        ports(std::string("maxlanport=\"") + number + "\"\n");
        EXPECT_EQ(0, KAVONetInternalLanNumGet()) << number;
    }
    ports("maxlanport=\"2147483647\"\n");
    EXPECT_EQ(INT32_MAX, KAVONetInternalLanNumGet());
}

TEST_F(NetInternalLanNumGet, TheFactorysNumberIsTakenAsItIs)
{
    count("0\n");
    for (const auto &[text, number] : {std::pair{"0", 0}, {"-2", -2}, {"none", 0}}) {
        ports(std::string("maxlanport=\"") + text + "\"\n");
        EXPECT_EQ(number, KAVONetInternalLanNumGet()) << text;
    }
}

TEST_F(NetInternalLanNumGet, IsOneWhenNobodyKnows)
{
    count("0\n");
    EXPECT_EQ(1, KAVONetInternalLanNumGet());
    ports("#maxlanport=\"6\"\nother=\"7\"\n");
    EXPECT_EQ(1, KAVONetInternalLanNumGet());
    ASSERT_EQ(0, unlink("/etc.defaults/kavoinfo.conf"));
    EXPECT_EQ(1, KAVONetInternalLanNumGet());
}

TEST_F(NetInternalLanNumGet, FailsWithoutTheKernelsFile)
{
    ports("maxlanport=\"6\"\n");
    count("4\n");
    ASSERT_EQ(0, unlink(COUNT_FILE));
    EXPECT_EQ(-1, KAVONetInternalLanNumGet());
    EXPECT_EQ(LOG_ERR, logged("net_internal_lan_num_get", std::string("open file ") + COUNT_FILE + " failed"));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

} // namespace
