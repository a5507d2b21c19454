// What the tests of bonds, VLANs, bridges and Open vSwitch share: drivers that the running kernel lacks.
#pragma once

#include <cerrno>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <linux/if_vlan.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <syslog.h>

#include "kavonetsdk/error.h"
#include "kavonetsdk/virtual.h"
#include "support/tidy_root.h"

using support::Error;
using support::fail_call;
using support::last_error;
using support::log_lines;
using support::logged_in;
using support::NO_ERROR_SET;
using support::write_file;
using testing::ElementsAre;
using testing::IsEmpty;

class VirtualTest : public support::TidyRoot {
protected:
    static constexpr char OVS_BONDS[] = "/sys/class/net/kavo_ovs_bonds";

    void SetUp() override
    {
        TidyRoot::SetUp();
        if (IsSkipped())
            return;
        plain_sys();
        write_file("/sys/class/net/.keep", "");
        support::answer_ioctl([this](int, unsigned long question, void *argument) {
            if (question != SIOCGIFFLAGS)
                return support::ASK_KERNEL;
            auto &request = *static_cast<ifreq *>(argument);
            const auto known = flags_.find(request.ifr_name);
            if (known == flags_.end()) {
                errno = ENODEV;
                return -1;
            }
            request.ifr_flags = static_cast<short>(known->second);
            return 0;
        });
    }

    // Interfaces that exist, with their flags.
    void has_interface(const std::string &name, int flags = IFF_UP | IFF_RUNNING) { flags_[name] = flags; }

    static void kernel_bond(const std::string &name, const std::string &members, const std::string &mode)
    {
        write_file("/sys/class/net/" + name + "/bonding/slaves", members);
        write_file("/sys/class/net/" + name + "/bonding/mode", mode);
    }

    static void ovs_interface(const std::string &name)
    {
        write_file("/sys/devices/virtual/net/" + name + "/ifindex", "1\n");
    }

    static void clear()
    {
        support::clear_log();
        support::clear_error();
        support::clear_faults();
    }

    struct FreeList {
        void operator()(PKLIBSZLIST list) const { KLIBCSzListFree(list); }
    };
    using List = std::unique_ptr<KLIBSZLIST, FreeList>;

    static std::vector<std::string> items(const KLIBSZLIST *list)
    {
        std::vector<std::string> names;
        for (int i = 0; i < list->nItem; ++i)
            names.emplace_back(KLIBCSzListGet(list, i));
        return names;
    }

    static std::vector<std::string> members(const KAVOLINKAGGROPT &bond)
    {
        std::vector<std::string> names;
        for (int i = 0; i < bond.nSlave; ++i)
            names.emplace_back(bond.szSlave[i]);
        return names;
    }

private:
    std::map<std::string, int> flags_;
};
