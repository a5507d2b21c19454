#include "iface_test.h"

namespace {

constexpr char FILE_NAME[] = "net_rename_eth.cpp";
constexpr char TOO_LONG[] = "interface name is too long";

class NetRenameEth : public IfaceTest {
protected:
    // The real interfaces, peers left out.
    static std::vector<std::string> names()
    {
        std::vector<std::string> found;
        for (const std::string &name : support::entries("/sys/class/net")) {
            if (name.find("gbr") == std::string::npos && name != "bonding_masters")
                found.push_back(name);
        }
        return found;
    }

    static bool has(const std::string &name) { return support::exists("/sys/class/net/" + name); }
};

TEST_F(NetRenameEth, RenamesACard)
{
    card("eth0", "", false);
    set_mac("eth0", "02:00:00:00:00:aa");
    EXPECT_EQ(0, KAVONetRenameEth("eth0", "lan7"));
    EXPECT_FALSE(has("eth0"));
    EXPECT_EQ("02:00:00:00:00:aa\n", read_file("/sys/class/net/lan7/address"));
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

TEST_F(NetRenameEth, TakesNamesOf15Characters)
{
    card("eth0", "", false);
    EXPECT_EQ(0, KAVONetRenameEth("eth0", NAME_OF_15));
    EXPECT_TRUE(has(NAME_OF_15));
    EXPECT_EQ(0, KAVONetRenameEth(NAME_OF_15, "eth0"));
    EXPECT_TRUE(has("eth0"));
}

TEST_F(NetRenameEth, RefusesLongNames)
{
    card("eth0", "", false);
    use_drivers();
    for (const char *name : {NAME_OF_16, "eth12345678901234", "a-name-that-is-much-longer-than-any"}) {
        for (const auto &[from, to] : {std::pair{"eth0", name}, {name, "eth1"}}) {
            forget();
            EXPECT_EQ(-1, KAVONetRenameEth(from, to)) << from << " " << to;
            EXPECT_EQ(LOG_ERR, logged("net_rename_eth", TOO_LONG));
            EXPECT_EQ(NO_ERROR_SET, last_error());
        }
    }
    EXPECT_THAT(drivers.requests, IsEmpty());
}

TEST_F(NetRenameEth, RefusesANameThatIsTaken)
{
    card("eth0", "", false);
    card("eth1", "", false);
    use_drivers();
    EXPECT_EQ(-1, KAVONetRenameEth("eth0", "eth1"));
    EXPECT_EQ(LOG_ERR, logged("net_rename_eth", "eth1 is already exist, can't rename to it"));
    EXPECT_EQ(-1, KAVONetRenameEth("eth0", "eth0"));
    EXPECT_EQ(LOG_ERR, logged("net_rename_eth", "eth0 is already exist, can't rename to it"));
    EXPECT_THAT(drivers.requests, IsEmpty());
    EXPECT_TRUE(has("eth0"));
}

TEST_F(NetRenameEth, RefusesACardThatIsUp)
{
    card("eth0");
    use_drivers();
    EXPECT_EQ(-1, KAVONetRenameEth("eth0", "lan0"));
    EXPECT_EQ(LOG_ERR, logged("net_rename_eth", "eth0 is up, please down it before rename"));
    EXPECT_THAT(drivers.requests, IsEmpty());
    EXPECT_TRUE(has("eth0"));
}

TEST_F(NetRenameEth, LooksAtTheNewNameBeforeTheOldCard)
{
    card("eth0");
    card("eth1", "", false);
    use_drivers();
    EXPECT_EQ(-1, KAVONetRenameEth("eth0", "eth1"));
    EXPECT_EQ(LOG_ERR, logged("net_rename_eth", "eth1 is already exist, can't rename to it"));
    EXPECT_EQ(-1, logged("net_rename_eth", "eth0 is up, please down it before rename"));
    EXPECT_THAT(drivers.requests, IsEmpty());
    EXPECT_TRUE(has("eth0"));
}

TEST_F(NetRenameEth, FailsWithoutASocket)
{
    card("eth0", "", false);
    fail_call("socket");
    EXPECT_EQ(-1, KAVONetRenameEth("eth0", "lan0"));
    EXPECT_EQ(LOG_ERR, logged("net_rename_eth", "failed to open socket for net\n"));
    EXPECT_TRUE(has("eth0"));
}

TEST_F(NetRenameEth, FailsOnAnUnknownInterface)
{
    use_drivers();
    EXPECT_EQ(-1, KAVONetRenameEth("eth7", "lan0"));
    EXPECT_EQ(LOG_ERR, logged("net_rename_eth", "can't get info of eth7\n"));
    EXPECT_THAT(drivers.requests, ElementsAre(SIOCGIFHWADDR));
}

TEST_F(NetRenameEth, FailsWhenTheKernelRefuses)
{
    card("eth0", "", false);
    card("tap7", "", false); // left out of the table of interfaces, so the kernel has to refuse it
    EXPECT_EQ(-1, KAVONetRenameEth("eth0", "tap7"));
    EXPECT_EQ(LOG_ERR, logged("net_rename_eth", "can't change eth0 to tap7\n"));
    EXPECT_TRUE(has("eth0"));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetRenameEth, FailsWithoutMemory)
{
    card("eth0", "", false);
    fail_call("calloc");
    EXPECT_EQ(-1, KAVONetRenameEth("eth0", "lan0"));
    EXPECT_EQ((Error{NET_ERR_OUT_OF_MEMORY, FILE_NAME, 31}), last_error());
    forget();
    fail_call("calloc");
    EXPECT_EQ(-1, KAVONetRenameEth(NAME_OF_16, "lan0"));
    EXPECT_EQ((Error{NET_ERR_OUT_OF_MEMORY, FILE_NAME, 31}), last_error()) << "the table comes before the length";
    EXPECT_EQ(-1, logged("net_rename_eth", TOO_LONG));
    EXPECT_TRUE(has("eth0"));
}

TEST_F(NetRenameEth, RefusesWhatIsNoName)
{
    card("eth0", "", false);
    for (const auto &[from, to] :
         std::vector<std::pair<const char *, const char *>>{{nullptr, "lan0"}, {"eth0", nullptr}, {nullptr, nullptr}}) {
        forget();
        EXPECT_EQ(-1, KAVONetRenameEth(from, to));
        EXPECT_EQ(bad_parameter(FILE_NAME, 26), last_error());
    }
    for (const char *name : HOSTILE_NAMES) {
        forget();
        EXPECT_EQ(-1, KAVONetRenameEth("eth0", name)) << name;
        EXPECT_EQ(bad_parameter(FILE_NAME, 26), last_error());
        forget();
        EXPECT_EQ(-1, KAVONetRenameEth(name, "lan0")) << name;
        EXPECT_EQ(bad_parameter(FILE_NAME, 26), last_error());
    }
    for (const char *pattern : {"eth%d", "%", "100%"}) {
        forget();
        EXPECT_EQ(-1, KAVONetRenameEth("eth0", pattern));
        EXPECT_EQ(bad_parameter(FILE_NAME, 26), last_error());
    }
    EXPECT_THAT(names(), testing::Contains("eth0"));
}

} // namespace
