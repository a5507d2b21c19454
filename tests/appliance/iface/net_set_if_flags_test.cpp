#include "flags_test.h"

namespace {

class NetSetIfFlags : public FlagsTest {};

int add_up(const char *name)
{
    return KLIBNetISetIfFlags(name, IFF_UP);
}

TEST_F(NetSetIfFlags, AddsBits)
{
    card("eth0", "", false);
    EXPECT_EQ(1, KLIBNetISetIfFlags("eth0", IFF_UP | IFF_PROMISC));
    EXPECT_EQ(IFF_UP | IFF_PROMISC, flags_of("eth0") & (IFF_UP | IFF_PROMISC));
    EXPECT_EQ(1, KLIBNetISetIfFlags("eth0", IFF_ALLMULTI));
    EXPECT_EQ(IFF_UP | IFF_PROMISC | IFF_ALLMULTI, flags_of("eth0") & (IFF_UP | IFF_PROMISC | IFF_ALLMULTI));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetSetIfFlags, TakesBitsAway)
{
    card("eth0");
    EXPECT_EQ(1, KLIBNetISetIfFlags("eth0", IFF_PROMISC | IFF_ALLMULTI));
    EXPECT_EQ(1, KLIBNetISetIfFlags("eth0", -(IFF_UP | IFF_PROMISC)));
    EXPECT_EQ(IFF_ALLMULTI, flags_of("eth0") & (IFF_UP | IFF_PROMISC | IFF_ALLMULTI));
}

TEST_F(NetSetIfFlags, WritesExactlyTheOtherBitsBack)
{
    drivers.flags["eth0"] = 0x1043;
    drivers.refused[{SIOCSIFFLAGS, "eth0"}] = EPERM;
    use_drivers();
    for (const int value : {0, 1, 0x100, -1, -0x40, -0x1043, -3})
        EXPECT_EQ(0, KLIBNetISetIfFlags("eth0", value));
    EXPECT_THAT(written(), ElementsAre(0x1043, 0x1043, 0x1143, 0x1042, 0x1003, 0, 0x1040));
}

TEST_F(NetSetIfFlags, HoldsOutWithTheLargestValues)
{
    drivers.flags["eth0"] = 0x1043;
    drivers.refused[{SIOCSIFFLAGS, "eth0"}] = EPERM;
    use_drivers();
    EXPECT_EQ(0, KLIBNetISetIfFlags("eth0", INT32_MAX));
    EXPECT_EQ(0, KLIBNetISetIfFlags("eth0", INT32_MIN));
    EXPECT_THAT(written(), ElementsAre(-1, 0x1043));
}

TEST_F(NetSetIfFlags, CutsNamesTo15Characters)
{
    card(NAME_OF_15, "", false);
    EXPECT_EQ(1, KLIBNetISetIfFlags(NAME_OF_16, IFF_UP));
    EXPECT_TRUE(is_up(NAME_OF_15));
}

TEST_F(NetSetIfFlags, FailsWithoutSocketOrKernel)
{
    fails_without_socket_or_kernel(add_up, SIOCSIFFLAGS);
}

TEST_F(NetSetIfFlags, RefusesWhatIsNoName)
{
    refuses_what_is_no_name(add_up, "net_set_if_flags.cpp");
}

} // namespace
