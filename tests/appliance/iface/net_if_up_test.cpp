#include "flags_test.h"

namespace {

class NetIfUp : public FlagsTest {};

TEST_F(NetIfUp, BringsAnInterfaceUp)
{
    card("eth0", "", false);
    EXPECT_EQ(1, KLIBNetIfUp("eth0"));
    EXPECT_TRUE(is_up("eth0"));
    const int flags = flags_of("eth0");
    EXPECT_EQ(1, KLIBNetIfUp("eth0"));
    EXPECT_EQ(flags, flags_of("eth0"));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetIfUp, WritesOneBit)
{
    drivers.flags["eth0"] = 0x1002;
    drivers.refused[{SIOCSIFFLAGS, "eth0"}] = EPERM;
    use_drivers();
    EXPECT_EQ(0, KLIBNetIfUp("eth0"));
    EXPECT_THAT(written(), ElementsAre(0x1003));
}

TEST_F(NetIfUp, FailsWithoutSocketOrKernel)
{
    fails_without_socket_or_kernel(KLIBNetIfUp, SIOCSIFFLAGS);
}

TEST_F(NetIfUp, RefusesWhatIsNoName)
{
    refuses_what_is_no_name(KLIBNetIfUp, "net_set_if_flags.cpp");
}

} // namespace
