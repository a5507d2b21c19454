#include "appliance/virtual/virtual_test.h"

namespace {

constexpr char FILE_NAME[] = "net_vlan_get.cpp";

class VlanGet : public VirtualTest {
protected:
    void SetUp() override
    {
        VirtualTest::SetUp();
        memset(&info, 0x5a, sizeof info);
        support::answer_ioctl([this](int, unsigned long question, void *argument) {
            if (question != SIOCGIFVLAN)
                return support::ASK_KERNEL;
            return answer(*static_cast<vlan_ioctl_args *>(argument));
        });
    }

    // The driver: eth0.100 on eth0.
    int answer(vlan_ioctl_args &request) const
    {
        errno = EINVAL;
        if (strcmp(request.device1, "eth0.100") != 0)
            return -1;
        if (request.cmd == GET_VLAN_REALDEV_NAME_CMD && knows_parent) {
            snprintf(request.u.device2, sizeof request.u.device2, "%s", parent.c_str());
            return 0;
        }
        if (request.cmd == GET_VLAN_VID_CMD && knows_id) {
            request.u.VID = 100;
            return 0;
        }
        return -1;
    }

    KLIBNETVLANINFO info;
    bool knows_parent = true;
    bool knows_id = true;
    std::string parent = "eth0";
};

TEST_F(VlanGet, DescribesAVlanInterface)
{
    EXPECT_EQ(1, KLIBNetVlanGet("eth0.100", &info));
    EXPECT_STREQ("eth0.100", info.szIfname);
    EXPECT_STREQ("eth0", info.szRowDev);
    EXPECT_EQ(100, info.vlanId);
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(VlanGet, OtherInterfacesAreNone)
{
    EXPECT_EQ(0, KLIBNetVlanGet("eth1", &info));
    KLIBNETVLANINFO expected{};
    strcpy(expected.szIfname, "eth1");
    EXPECT_EQ(0, memcmp(&expected, &info, sizeof info));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(VlanGet, TheKernelItselfSaysSo)
{
    support::answer_ioctl({});
    add_card("lan0");
    EXPECT_EQ(0, KLIBNetVlanGet("lan0", &info));
    EXPECT_EQ(0, KLIBNetVlanGet("none0", &info));
}

TEST_F(VlanGet, WithoutAnIdItIsNone)
{
    knows_id = false;
    EXPECT_EQ(0, KLIBNetVlanGet("eth0.100", &info));
    EXPECT_STREQ("eth0", info.szRowDev);
    EXPECT_EQ(0, info.vlanId);
    knows_parent = false;
    knows_id = true;
    EXPECT_EQ(0, KLIBNetVlanGet("eth0.100", &info));
    EXPECT_STREQ("", info.szRowDev);
    EXPECT_EQ(0, info.vlanId);
}

TEST_F(VlanGet, ALongParentIsCut)
{
    parent = "abcdefghijklmnopqrs";
    EXPECT_EQ(1, KLIBNetVlanGet("eth0.100", &info));
    EXPECT_STREQ(support::NAME_OF_15, info.szRowDev);
}

TEST_F(VlanGet, AFailedSocketIsAFailure)
{
    fail_call("socket");
    EXPECT_EQ(-1, KLIBNetVlanGet("eth0.100", &info));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_SOCKET_FAILED));
    EXPECT_STREQ("eth0.100", info.szIfname);
    EXPECT_STREQ("", info.szRowDev);
}

TEST_F(VlanGet, RefusesNullAndHostileArguments)
{
    EXPECT_EQ(-1, KLIBNetVlanGet(nullptr, &info));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    support::clear_error();
    EXPECT_EQ(-1, KLIBNetVlanGet("eth0.100", nullptr));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    std::vector<std::string> names = support::hostile_names();
    names.emplace_back(support::NAME_OF_16);
    for (const std::string &name : names) {
        support::clear_error();
        EXPECT_EQ(-1, KLIBNetVlanGet(name.c_str(), &info)) << name;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << name;
    }
    EXPECT_EQ(0x5a, info.szIfname[0]);
    EXPECT_EQ(0, support::ioctl_calls());
}

} // namespace
