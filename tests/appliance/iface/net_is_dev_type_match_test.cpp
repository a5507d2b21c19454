#include "iface_test.h"

namespace {

constexpr char FILE_NAME[] = "net_is_dev_type_match.cpp";

class NetIsDevTypeMatch : public IfaceTest {};

TEST_F(NetIsDevTypeMatch, FindsTheNameAmongThoseOfTheSelector)
{
    card("eth0");
    card("bond0");
    drivers.more_flags["bond0"] = IFF_MASTER;
    use_drivers();
    EXPECT_EQ(1, KAVONetIsDevTypeMatch("eth0", NET_IF_SEL_PHYSICAL));
    EXPECT_EQ(1, KAVONetIsDevTypeMatch("bond0", NET_IF_SEL_USABLE));
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_EQ(0, KAVONetIsDevTypeMatch("bond0", NET_IF_SEL_PHYSICAL));
    EXPECT_EQ((Error{NET_ERR_NO_SUCH_DEVICE, FILE_NAME, 55}), last_error());
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

TEST_F(NetIsDevTypeMatch, ComparesWholeNames)
{
    card("eth0");
    for (const char *name : {"eth", "eth00", "ETH0", "eth0."}) {
        forget();
        EXPECT_EQ(0, KAVONetIsDevTypeMatch(name, NET_IF_SEL_USABLE)) << name;
        EXPECT_EQ((Error{NET_ERR_NO_SUCH_DEVICE, FILE_NAME, 55}), last_error());
    }
}

TEST_F(NetIsDevTypeMatch, TellsAnEmptyListByItsLine)
{
    card("eth0", "", false);
    EXPECT_EQ(0, KAVONetIsDevTypeMatch("eth0", NET_IF_SEL_USABLE));
    EXPECT_EQ((Error{NET_ERR_NO_SUCH_DEVICE, FILE_NAME, 44}), last_error());
}

TEST_F(NetIsDevTypeMatch, LooksAtTheFirst32)
{
    std::string commands;
    for (int i = 0; i < 33; ++i) {
        const std::string n = std::to_string(i);
        commands += "ip link add eth" + n + " type veth peer name gbr" + n + "; ip link set eth" + n + " up; ";
    }
    shell(commands);
    EXPECT_EQ(1, KAVONetIsDevTypeMatch("eth31", NET_IF_SEL_USABLE));
    EXPECT_EQ(0, KAVONetIsDevTypeMatch("eth32", NET_IF_SEL_USABLE));
    EXPECT_EQ((Error{NET_ERR_NO_SUCH_DEVICE, FILE_NAME, 55}), last_error());
}

TEST_F(NetIsDevTypeMatch, LogsAFailedListing)
{
    card("eth0");
    EXPECT_EQ(0, KAVONetIsDevTypeMatch("eth0", 0x14));
    EXPECT_EQ(bad_parameter("net_get_interface_info.cpp", 173), last_error());
    EXPECT_EQ(LOG_ERR,
              logged("net_is_dev_type_match", "Failed to KLIBNetGetInterfaceInfo(0x14)=[-1], kavoerr=[0x0D00]"));
    forget();
    fail_call("calloc");
    EXPECT_EQ(0, KAVONetIsDevTypeMatch("eth0", 0x1A));
    EXPECT_EQ((Error{NET_ERR_OUT_OF_MEMORY, "net_get_interface_info.cpp", 181}), last_error());
    EXPECT_EQ(LOG_ERR,
              logged("net_is_dev_type_match", "Failed to KLIBNetGetInterfaceInfo(0x1A)=[-1], kavoerr=[0x0200]"));
}

TEST_F(NetIsDevTypeMatch, RefusesWhatIsNoName)
{
    EXPECT_EQ(0, KAVONetIsDevTypeMatch(nullptr, NET_IF_SEL_USABLE));
    EXPECT_EQ(bad_parameter(FILE_NAME, 34), last_error());
    std::vector<const char *> names = HOSTILE_NAMES;
    names.push_back(NAME_OF_16);
    for (const char *name : names) {
        forget();
        EXPECT_EQ(0, KAVONetIsDevTypeMatch(name, NET_IF_SEL_USABLE)) << name;
        EXPECT_EQ(bad_parameter(FILE_NAME, 34), last_error());
    }
}

TEST_F(NetIsDevTypeMatch, TakesANameOf15Characters)
{
    card(NAME_OF_15);
    EXPECT_EQ(1, KAVONetIsDevTypeMatch(NAME_OF_15, NET_IF_SEL_PHYSICAL));
}

} // namespace
