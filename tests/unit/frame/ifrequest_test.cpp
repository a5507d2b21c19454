#include "frame/ifrequest.h"

#include <cerrno>
#include <string>

#include <gtest/gtest.h>

#include "support/fake_ioctl.h"

using namespace kavonet;

namespace {

class Requests : public testing::Test {
protected:
    void TearDown() override { support::answer_ioctl({}); }

    const Socket socket;
};

TEST_F(Requests, NameTheInterface)
{
    std::string name;
    support::answer_ioctl([&](int fd, unsigned long request, void *argument) {
        EXPECT_EQ(socket.get(), fd);
        EXPECT_EQ(static_cast<unsigned long>(SIOCGIFFLAGS), request);
        name = static_cast<ifreq *>(argument)->ifr_name;
        static_cast<ifreq *>(argument)->ifr_flags = static_cast<short>(0x8001);
        return 0;
    });
    InterfaceRequest request(socket, "eth0");
    EXPECT_TRUE(request.ask(SIOCGIFFLAGS));
    EXPECT_EQ("eth0", name);
    EXPECT_EQ(static_cast<int>(0xFFFF8001), request.flags());
}

TEST_F(Requests, CutNamesToWhatTheKernelHolds)
{
    InterfaceRequest request(socket, "eth1234567890123456");
    EXPECT_STREQ("eth123456789012", request.raw().ifr_name);
}

TEST_F(Requests, ReachTheKernel)
{
    InterfaceRequest request(socket, "lo");
    ASSERT_TRUE(request.ask(SIOCGIFFLAGS));
    EXPECT_NE(0, request.flags() & IFF_LOOPBACK);
    ASSERT_TRUE(request.ask(SIOCGIFMTU));
    EXPECT_GT(request.mtu(), 0);
    InterfaceRequest unknown(socket, "nowhere0");
    EXPECT_FALSE(unknown.ask(SIOCGIFFLAGS));
    EXPECT_EQ(ENODEV, errno);
}

TEST_F(Requests, TakeAnyAnswerThatIsNotNegative)
{
    int answer = 5;
    support::answer_ioctl([&](int, unsigned long, void *) { return answer; });
    InterfaceRequest request(socket, "eth0");
    EXPECT_TRUE(request.ask(SIOCGIFFLAGS));
    answer = -1;
    EXPECT_FALSE(request.ask(SIOCGIFFLAGS));
}

TEST_F(Requests, ShowAddresses)
{
    InterfaceRequest request(socket, "eth0");
    EXPECT_EQ(0U, request.address());
    char text[20];
    request.address_text(text);
    EXPECT_STREQ("0.0.0.0", text);
    reinterpret_cast<sockaddr_in *>(&request.raw().ifr_addr)->sin_addr.s_addr = htonl(0xC0000207);
    EXPECT_EQ(htonl(0xC0000207), request.address());
    request.address_text(text);
    EXPECT_STREQ("192.0.2.7", text);
}

TEST_F(Requests, AskAboutVlans)
{
    support::answer_ioctl([](int, unsigned long request, void *argument) {
        EXPECT_EQ(static_cast<unsigned long>(SIOCGIFVLAN), request);
        auto *args = static_cast<vlan_ioctl_args *>(argument);
        if (std::string(args->device1) != "eth0.7") {
            errno = EINVAL;
            return -1;
        }
        if (args->cmd == GET_VLAN_REALDEV_NAME_CMD)
            copy_text(args->u.device2, "eth0");
        if (args->cmd == GET_VLAN_VID_CMD)
            args->u.VID = 7;
        return 0;
    });
    VlanRequest vlan(socket, "eth0.7");
    EXPECT_TRUE(vlan.ask_parent());
    EXPECT_STREQ("eth0", vlan.parent());
    EXPECT_TRUE(vlan.ask_id());
    EXPECT_EQ(7, vlan.id());
    VlanRequest card(socket, "eth0");
    EXPECT_FALSE(card.ask_parent());
}

} // namespace
