// What the tests of the MTU functions share: interfaces that the kernel does not have.
#pragma once

#include <cerrno>
#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <syslog.h>

#include "kavonetsdk/error.h"
#include "kavonetsdk/mtu.h"
#include "support/tidy_root.h"

using support::fail_call;
using support::last_error;
using support::log_lines;
using support::logged_in;
using support::NO_ERROR_SET;
using support::write_file;
using testing::IsEmpty;

class MtuTest : public support::TidyRoot {
protected:
    void SetUp() override
    {
        TidyRoot::SetUp();
        if (IsSkipped())
            return;
        support::answer_ioctl([this](int, unsigned long question, void *argument) {
            if (question != SIOCGIFMTU && question != SIOCGIFFLAGS)
                return support::ASK_KERNEL;
            auto &request = *static_cast<ifreq *>(argument);
            const auto known = mtus_.find(request.ifr_name);
            if (known == mtus_.end())
                return support::ASK_KERNEL;
            if (question == SIOCGIFFLAGS) {
                request.ifr_flags = IFF_UP | IFF_RUNNING;
                return 0;
            }
            errno = EIO;
            request.ifr_mtu = known->second;
            return known->second == 0 ? -1 : 0;
        });
    }

    // An interface and its MTU; 0: the question fails.
    void has_mtu(const std::string &name, int mtu) { mtus_[name] = mtu; }

    static void clear()
    {
        support::clear_log();
        support::clear_error();
        support::clear_faults();
    }

private:
    std::map<std::string, int> mtus_;
};
