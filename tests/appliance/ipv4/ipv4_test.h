// What the tests of the IPv4 functions share.
#pragma once

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <map>
#include <string>
#include <vector>

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include "kavonetsdk/error.h"
#include "kavonetsdk/ipv4.h"
#include "support/tidy_root.h"

using support::entries;
using support::exists;
using support::fail_call;
using support::last_error;
using support::log_lines;
using support::logged_by;
using support::logged_in;
using support::NO_ERROR_SET;
using support::read_file;
using testing::ElementsAre;
using testing::IsEmpty;

class Ipv4Test : public support::TidyRoot {
protected:
    static constexpr char IP[] = "/sbin/ip";
    static constexpr char KAVONETDTOOL[] = "/usr/kavo/sbin/kavonetdtool";
    static constexpr char FOLDER[] = "/etc/sysconfig/network-scripts";

    void SetUp() override
    {
        TidyRoot::SetUp();
        if (IsSkipped())
            return;
        record(IP);
        record(KAVONETDTOOL);
        follow("net/ipv4_change");
        follow("net/ipv6_change");
        answer_ioctl_for_addresses();
    }

    // Gives an interface that the kernel does not know an IPv4 address and mask. An empty text: the question fails.
    void has_address(const std::string &name, const std::string &address, const std::string &mask)
    {
        addresses_[name] = {address, mask};
    }

    // Records the commands of ip and runs them too.
    static void use_real_ip() { script(IP, "record_call \"$0\" \"$@\"\nexec /bin/ip \"$@\""); }

    // A failed file change: the library has set no code of its own.
    static void expect_no_code_of_ours() { EXPECT_STREQ("fault.c", KLIBCErrorGetFile()); }

    static void clear()
    {
        support::clear_log();
        support::clear_error();
        unlink(support::RECORDED_CALLS);
    }

private:
    struct Address {
        std::string address, mask;
    };

    static int answer(const std::string &text, ifreq &request)
    {
        auto &address = reinterpret_cast<sockaddr_in &>(request.ifr_addr);
        if (text.empty()) {
            errno = EADDRNOTAVAIL;
            return -1;
        }
        address.sin_family = AF_INET;
        inet_pton(AF_INET, text.c_str(), &address.sin_addr);
        return 0;
    }

    void answer_ioctl_for_addresses()
    {
        support::answer_ioctl([this](int, unsigned long question, void *argument) {
            auto &request = *static_cast<ifreq *>(argument);
            const auto known = addresses_.find(request.ifr_name);
            if (known == addresses_.end())
                return support::ASK_KERNEL;
            if (question == SIOCGIFADDR)
                return answer(known->second.address, request);
            if (question == SIOCGIFNETMASK)
                return answer(known->second.mask, request);
            if (question != SIOCGIFFLAGS)
                return support::ASK_KERNEL;
            request.ifr_flags = IFF_UP | IFF_RUNNING;
            return 0;
        });
    }

    std::map<std::string, Address> addresses_;
};
