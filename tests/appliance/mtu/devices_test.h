// Interfaces that only the test has: their flags, MTUs, link speeds and VLAN relations, and what was done to them in order.
#pragma once

#include <linux/ethtool.h>
#include <linux/if_vlan.h>
#include <linux/sockios.h>

#include "appliance/mtu/mtu_test.h"

using testing::ElementsAre;

class DevicesTest : public MtuTest {
protected:
    void SetUp() override
    {
        MtuTest::SetUp();
        if (IsSkipped())
            return;
        plain_sys();
        write_file(SETTINGS, "name=\"value\"\n");
        support::answer_ioctl(
            [this](int, unsigned long question, void *argument) { return answer(question, argument); });
        support::clear_waits();
    }

    struct Device {
        int mtu = 1500;
        int speed = 10000; // -1: a driver without this question; -2: the question fails
        std::string parent = {};
        bool up = true;
        bool refuses = false; // every MTU
    };

    void device(const std::string &name, const Device &device) { devices_[name] = device; }
    [[nodiscard]] const Device &device(const std::string &name) { return devices_.at(name); }

    // "down eth0", "mtu eth0 9000", "up eth0".
    [[nodiscard]] std::vector<std::string> done() const { return done_; }
    void forget() { done_.clear(); }

    static void ovs_interface(const std::string &name)
    {
        write_file("/sys/devices/virtual/net/" + name + "/ifindex", "1\n");
    }

    static void ovs_bond(const std::string &members)
    {
        ovs_interface("ovs_bond0");
        write_ifcfg("ovs_bond0", "SLAVE_LIST=" + members + "\nBOND_MODE=balance-slb\n");
    }

    static std::string settings() { return support::read_file(SETTINGS); }

    static constexpr char SETTINGS[] = "/etc/kavoinfo.conf";
    static constexpr char UP_DOWN[] = "we temporarily do the eth up/down in sdk when setting MTU";

private:
    int answer(unsigned long question, void *argument)
    {
        if (question == SIOCGIFVLAN)
            return answer_vlan(*static_cast<vlan_ioctl_args *>(argument));
        if (question != SIOCGIFMTU && question != SIOCSIFMTU && question != SIOCGIFFLAGS && question != SIOCSIFFLAGS &&
            question != SIOCETHTOOL)
            return support::ASK_KERNEL;
        auto &request = *static_cast<ifreq *>(argument);
        const auto known = devices_.find(request.ifr_name);
        if (known == devices_.end()) {
            errno = ENODEV;
            return -1;
        }
        return answer_device(question, request, known->second);
    }

    int answer_device(unsigned long question, ifreq &request, Device &device)
    {
        const std::string name = request.ifr_name;
        switch (question) {
        case SIOCGIFMTU:
            request.ifr_mtu = device.mtu;
            return 0;
        case SIOCSIFMTU:
            done_.push_back("mtu " + name + " " + std::to_string(request.ifr_mtu));
            errno = EINVAL;
            if (device.refuses || request.ifr_mtu <= 0)
                return -1;
            device.mtu = request.ifr_mtu;
            return 0;
        case SIOCGIFFLAGS:
            request.ifr_flags = static_cast<short>(device.up ? IFF_UP | IFF_RUNNING : 0);
            return 0;
        case SIOCSIFFLAGS:
            device.up = (request.ifr_flags & IFF_UP) != 0;
            done_.push_back((device.up ? "up " : "down ") + name);
            return 0;
        default:
            return answer_ethtool(request, device);
        }
    }

    static int answer_ethtool(ifreq &request, const Device &device)
    {
        errno = device.speed == -1 ? EOPNOTSUPP : EIO;
        if (device.speed < 0)
            return -1;
        if (*reinterpret_cast<uint32_t *>(request.ifr_data) == ETHTOOL_GLINK)
            reinterpret_cast<ethtool_value *>(request.ifr_data)->data = 1;
        else
            ethtool_cmd_speed_set(reinterpret_cast<ethtool_cmd *>(request.ifr_data),
                                  static_cast<uint32_t>(device.speed));
        return 0;
    }

    int answer_vlan(vlan_ioctl_args &request)
    {
        const auto known = devices_.find(request.device1);
        errno = EINVAL;
        if (known == devices_.end() || known->second.parent.empty())
            return -1;
        if (request.cmd == GET_VLAN_VID_CMD)
            request.u.VID = 10;
        else
            snprintf(request.u.device2, sizeof request.u.device2, "%s", known->second.parent.c_str());
        return 0;
    }

    std::map<std::string, Device> devices_;
    std::vector<std::string> done_;
};

// Texts that are no value of one line.
inline const std::vector<std::string> &hostile_values()
{
    static const std::vector<std::string> values = {"9000\nname=x", "9000\r", "90\"00", "\n"};
    return values;
}
