#include "flags_test.h"

namespace {

class NetIfDown : public FlagsTest {};

TEST_F(NetIfDown, TakesAnInterfaceDown)
{
    card("eth0", "192.0.2.7/24");
    EXPECT_EQ(1, KLIBNetIfDown("eth0"));
    EXPECT_FALSE(is_up("eth0"));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetIfDown, LeavesAnInterfaceThatIsDownAsItIs)
{
    card("eth0", "", false);
    const int flags = flags_of("eth0");
    EXPECT_EQ(1, KLIBNetIfDown("eth0"));
    EXPECT_EQ(flags, flags_of("eth0"));
}

TEST_F(NetIfDown, WritesOneBit)
{
    drivers.flags["eth0"] = 0x1043;
    drivers.refused[{SIOCSIFFLAGS, "eth0"}] = EPERM;
    use_drivers();
    EXPECT_EQ(0, KLIBNetIfDown("eth0"));
    EXPECT_THAT(written(), ElementsAre(0x1042));
}

TEST_F(NetIfDown, FailsWithoutSocketOrKernel)
{
    fails_without_socket_or_kernel(KLIBNetIfDown, SIOCSIFFLAGS);
}

TEST_F(NetIfDown, RefusesWhatIsNoName)
{
    refuses_what_is_no_name(KLIBNetIfDown, "net_set_if_flags.cpp");
}

} // namespace
