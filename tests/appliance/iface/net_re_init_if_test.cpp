#include "flags_test.h"

namespace {

class NetReInitIf : public FlagsTest {};

TEST_F(NetReInitIf, TakesAnInterfaceDownAndUp)
{
    card("eth0", "192.0.2.7/24");
    shell("ip route add 198.51.100.0/24 via 192.0.2.1");
    use_drivers();
    EXPECT_EQ(1, KLIBNetReInitIf("eth0"));
    EXPECT_TRUE(is_up("eth0"));
    ASSERT_EQ(2U, written().size());
    EXPECT_EQ(0, written()[0] & IFF_UP);
    EXPECT_EQ(written()[0] | IFF_UP, written()[1]);
    EXPECT_EQ("", shell("ip route show 198.51.100.0/24")) << "it was really down";
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetReInitIf, JustBringsUpWhatIsDown)
{
    card("eth0", "", false);
    use_drivers();
    EXPECT_EQ(1, KLIBNetReInitIf("eth0"));
    EXPECT_TRUE(is_up("eth0"));
    EXPECT_EQ(1, drivers.count(SIOCSIFFLAGS));
}

TEST_F(NetReInitIf, KeepsTheOtherFlags)
{
    drivers.flags["eth0"] = 0x1143;
    int answers = 0;
    support::answer_ioctl([&](int fd, unsigned long request, void *argument) {
        const int answer = drivers.answer(fd, request, argument);
        answers += request == SIOCSIFFLAGS ? 1 : 0;
        return request == SIOCSIFFLAGS ? 0 : answer;
    });
    EXPECT_EQ(1, KLIBNetReInitIf("eth0"));
    EXPECT_EQ(2, answers);
    EXPECT_THAT(written(), ElementsAre(0x1142, 0x1143));
}

TEST_F(NetReInitIf, EndsAtTheFirstFailure)
{
    card("eth0");
    drivers.refused[{SIOCSIFFLAGS, "eth0"}] = EPERM;
    use_drivers();
    EXPECT_EQ(0, KLIBNetReInitIf("eth0"));
    EXPECT_EQ(1, drivers.count(SIOCSIFFLAGS));
    EXPECT_TRUE(is_up("eth0"));
}

TEST_F(NetReInitIf, FailsWhenItCannotBringTheInterfaceUp)
{
    card("eth0");
    int writes = 0;
    support::answer_ioctl([&writes](int, unsigned long request, void *) {
        if (request != SIOCSIFFLAGS || ++writes < 2)
            return support::ASK_KERNEL;
        errno = EPERM;
        return -1;
    });
    EXPECT_EQ(0, KLIBNetReInitIf("eth0"));
    EXPECT_EQ(2, writes);
    EXPECT_FALSE(is_up("eth0"));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetReInitIf, CutsNamesTo15Characters)
{
    card(NAME_OF_15, "", false);
    EXPECT_EQ(1, KLIBNetReInitIf(NAME_OF_16));
    EXPECT_TRUE(is_up(NAME_OF_15));
}

TEST_F(NetReInitIf, FailsWithoutSocketOrKernel)
{
    fails_without_socket_or_kernel(KLIBNetReInitIf, SIOCSIFFLAGS);
}

TEST_F(NetReInitIf, RefusesWhatIsNoName)
{
    refuses_what_is_no_name(KLIBNetReInitIf, "net_re_init_if.cpp");
}

} // namespace
