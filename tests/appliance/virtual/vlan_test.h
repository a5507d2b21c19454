// What the tests of VLANs share: a driver that knows some VLANs, devices, and an appliance whose script and tools are
// written down.
#pragma once

#include "appliance/virtual/virtual_test.h"

#include <regex>

#include <sys/mount.h>
#include <unistd.h>

#include "appliance/pppoe/stand_ins.h"

using support::exists;
using support::read_file;

class VlanTest : public support::TidyRoot {
protected:
    static constexpr char FOLDER[] = "/etc/sysconfig/network-scripts";
    static constexpr char SETTINGS[] = "/etc/kavoinfo.conf";
    static constexpr char VLAN_LIST[] = "/proc/net/vlan/config";
    static constexpr char EVENT[] = "net/ifname_change";
    static constexpr char SCRIPT[] = "/etc/rc.network";
    static constexpr char FIREWALL[] = "/usr/kavo/bin/kavofirewall";
    static constexpr char TRAFFIC[] = "/usr/kavo/bin/tctool";

    void SetUp() override
    {
        TidyRoot::SetUp();
        if (IsSkipped())
            return;
        stand_ins::clear();
        plain_proc_net();
        has_device("eth0");
        for (const char *program : {SCRIPT, FIREWALL, TRAFFIC})
            record(program);
        support::answer_ioctl([this](int, unsigned long question, void *argument) {
            if (question == SIOCGIFFLAGS)
                return answer_flags(*static_cast<ifreq *>(argument));
            if (question == SIOCGIFVLAN)
                return answer_vlan(*static_cast<vlan_ioctl_args *>(argument));
            return support::ASK_KERNEL;
        });
    }

    void TearDown() override
    {
        stand_ins::clear();
        TidyRoot::TearDown();
    }

    void has_device(const std::string &name, int flags = IFF_UP | IFF_RUNNING) { flags_[name] = flags; }

    // A VLAN that the kernel has, and lists.
    void has_vlan(const std::string &name, const std::string &device, int id)
    {
        has_device(name);
        vlans_[name] = {device, id};
        std::string list = "VLAN Dev name\t | VLAN ID\nName-Type: VLAN_NAME_TYPE_RAW_PLUS_VID_NO_PAD\n";
        for (const auto &[vlan, what] : vlans_)
            list += vlan + "\t| " + std::to_string(what.id) + "  | " + what.device + "\n";
        write_file(VLAN_LIST, list);
    }

    static void clear()
    {
        support::clear_log();
        support::clear_error();
        support::clear_faults();
        support::clear_waits();
        unlink(support::RECORDED_CALLS);
        unlink("/run/followed-events");
    }

    static std::string settings() { return read_file(SETTINGS); }
    static std::string file_of(const std::string &name) { return read_file(ifcfg(name)); }
    static std::vector<std::string> files() { return support::entries(FOLDER); }
    static unsigned mode_of(const std::string &name)
    {
        struct stat status {};
        EXPECT_EQ(0, stat(ifcfg(name).c_str(), &status)) << name;
        return status.st_mode & 07777U;
    }

    // The whole log: "level file message" of each line, with N for the numbers of lines.
    static std::vector<std::string> said()
    {
        static const std::regex place("^([a-z_0-9]+\\.(?:cpp|h)):[0-9]+ ");
        static const std::regex record("(\\[0x[0-9A-F]{4} [a-z_0-9]+\\.[a-z]+):[0-9]+\\]$");
        std::vector<std::string> lines;
        for (const support::LogLine &line : log_lines())
            lines.push_back(std::to_string(line.level) + " " +
                            std::regex_replace(std::regex_replace(line.text, place, "$1 "), record, "$1:N]"));
        return lines;
    }

    // What the recorded calls look like.
    static std::string event(const std::string &phase)
    {
        return std::string("[event] [") + EVENT + "] [" + phase + "]";
    }
    static std::string told(const std::string &phase, const std::string &from, const std::string &to, int result)
    {
        return std::string(EVENT) + " " + phase + " ORIGIN_IFNAME_0=" + from + " ORIGIN_IFNAME_COUNT=1 IFNAME_0=" + to +
               " IFNAME_COUNT=1 RESULT=" + std::to_string(result);
    }
    static std::string call(const std::vector<std::string> &words)
    {
        std::string line;
        for (const std::string &word : words)
            line += (line.empty() ? "[" : " [") + word + "]";
        return line;
    }
    static std::vector<std::string> tools(const std::string &from, const std::string &to)
    {
        return {call({FIREWALL, "--change-adapter", from, to}), call({FIREWALL, "--change-security-adapter", from, to}),
                call({TRAFFIC, "-change_interface", from, to})};
    }
    template <class... Lists> static std::vector<std::string> joined(const Lists &...lists)
    {
        std::vector<std::string> all;
        (all.insert(all.end(), lists.begin(), lists.end()), ...);
        return all;
    }

    // Makes the folder of the configuration so small that `blocks` more files of a few bytes fit.
    static void leave_room_for(int blocks)
    {
        std::map<std::string, std::string> kept;
        for (const std::string &name : files())
            kept[name] = read_file(std::string(FOLDER) + "/" + name);
        const size_t pages = kept.size() + static_cast<size_t>(blocks);
        ASSERT_EQ(
            0, mount("tmpfs", FOLDER, "tmpfs", 0,
                     ("mode=755,size=" + std::to_string(pages * static_cast<size_t>(sysconf(_SC_PAGESIZE)))).c_str()));
        for (const auto &[name, content] : kept)
            write_file(std::string(FOLDER) + "/" + name, content);
    }

private:
    struct Vlan {
        std::string device;
        int id;
    };

    int answer_flags(ifreq &request) const
    {
        const auto known = flags_.find(request.ifr_name);
        if (known == flags_.end()) {
            errno = ENODEV;
            return -1;
        }
        request.ifr_flags = static_cast<short>(known->second);
        return 0;
    }

    int answer_vlan(vlan_ioctl_args &request) const
    {
        const auto known = vlans_.find(request.device1);
        if (known == vlans_.end()) {
            errno = EINVAL;
            return -1;
        }
        if (request.cmd == GET_VLAN_REALDEV_NAME_CMD)
            snprintf(request.u.device2, sizeof request.u.device2, "%s", known->second.device.c_str());
        else if (request.cmd == GET_VLAN_VID_CMD)
            request.u.VID = known->second.id;
        return 0;
    }

    std::map<std::string, int> flags_;
    std::map<std::string, Vlan> vlans_;
};
