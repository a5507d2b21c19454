// Bridge ports and Open vSwitch ports as the list of usable interfaces finds them: by one look at the kernel's folder of
// virtual interfaces.
#include <filesystem>
#include <set>
#include <string>

#include "kavonetsdk/iface.h"
#include "support/faults.h"
#include "support/private_root.h"
#include "support/read_back.h"

namespace {

using Names = std::set<std::string>;

Names usable()
{
    KAVONETIFENTRY entries[16];
    const int count = KLIBNetGetInterfaceInfo(entries, 16, NET_IF_SEL_USABLE);
    Names names;
    for (int i = 0; i < count; ++i)
        names.insert(entries[i].szName);
    return names;
}

void make_folder(const std::string &path)
{
    std::filesystem::create_directories(path);
}

class VirtualDevices : public support::PrivateRoot {
protected:
    // Three cards, whose other ends are down and so never listed.
    void SetUp() override
    {
        PrivateRoot::SetUp();
        if (IsSkipped())
            return;
        for (const char *name : {"eth0", "eth1", "eth2"})
            shell(std::string("ip link add ") + name + " type veth peer name " + name + "p; ip link set " + name +
                  " up");
    }
};

TEST_F(VirtualDevices, PortsOfOpenVSwitchAreLeftOut)
{
    plain_sys();
    make_folder("/sys/devices/virtual/net/ovs_eth0");
    make_folder("/sys/devices/virtual/net/eth2");
    EXPECT_EQ((Names{"eth1", "eth2"}), usable());
}

TEST_F(VirtualDevices, TheyAreFoundOneByOneWhenTheListCannotBeKept)
{
    plain_sys();
    make_folder("/sys/devices/virtual/net/ovs_eth0");
    for (const char *call : {"KLIBCSzListAlloc", "KLIBCSzListPush"}) {
        support::fail_call(call);
        EXPECT_EQ((Names{"eth1", "eth2"}), usable()) << call;
        support::clear_faults();
    }
}

TEST_F(VirtualDevices, BridgePortsAreFoundAmongVirtualAndPhysicalInterfaces)
{
    plain_sys();
    make_folder("/sys/devices/virtual/net/eth0/brport");
    make_folder("/sys/devices/virtual/net/eth1");
    make_folder("/sys/class/net/eth2/brport"); // a physical port: it stands elsewhere among the devices
    EXPECT_EQ((Names{"eth1"}), usable());
}

TEST_F(VirtualDevices, TheyAgreeWithTheKernelOnARealBridge)
{
    shell("ip link add br0 type bridge; ip link set eth0 master br0; ip link set br0 up");
    EXPECT_EQ((Names{"br0", "eth1", "eth2"}), usable());
}

TEST_F(VirtualDevices, NothingIsMissedWithoutTheFolder)
{
    plain_sys();
    make_folder("/sys/class/net/eth0/brport");
    const auto before = support::open_descriptors();
    EXPECT_EQ((Names{"eth1", "eth2"}), usable());
    EXPECT_EQ(before, support::open_descriptors());
}

} // namespace
