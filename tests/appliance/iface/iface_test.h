// What the tests of the interface functions share: cards, drivers that the running kernel lacks, and what must hold after
// every call.
#pragma once

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <ostream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <linux/ethtool.h>
#include <linux/if_vlan.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <syslog.h>
#include <unistd.h>

#include "kavo/core.h"
#include "kavonetsdk/error.h"
#include "kavonetsdk/iface.h"
#include "support/fake_ioctl.h"
#include "support/faults.h"
#include "support/log_capture.h"
#include "support/private_root.h"
#include "support/read_back.h"

using support::Error;
using support::fail_call;
using support::last_error;
using support::NO_ERROR_SET;
using support::read_file;
using support::write_file;
using testing::ElementsAre;
using testing::IsEmpty;

inline Error bad_parameter(const char *file, int line)
{
    return {NET_ERR_BAD_PARAMETER, file, line};
}

// Whether the error record holds the code, set in the file at whatever line.
inline testing::AssertionResult is_set_in(const char *file, unsigned code)
{
    const Error error = last_error();
    if (error.code == code && error.file == file && error.line > 0)
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << error;
}

// For refusals whose line is wherever the statement stands.
inline testing::AssertionResult is_bad_parameter_in(const char *file)
{
    return is_set_in(file, NET_ERR_BAD_PARAMETER);
}

// The network configuration lock at a moment: how long a lock was last waited for at most, and who else could have it.
struct LockState {
    int wait;
    bool free_for_writers;
    bool free_for_readers;
    bool operator==(const LockState &) const = default;
};
inline std::ostream &operator<<(std::ostream &out, const LockState &lock)
{
    return out << "waited " << lock.wait << " s, free for writers: " << lock.free_for_writers
               << ", for readers: " << lock.free_for_readers;
}
inline constexpr LockState HELD_FOR_READING{5, false, true};

// The level of the first log line "<file>.cpp:<line> <message>", -1 when there is none. The message is plain text.
inline int logged(const std::string &file, const std::string &message)
{
    const std::string front = file + ".cpp:";
    for (const support::LogLine &line : support::log_lines()) {
        const size_t digits = front.size();
        if (line.text.compare(0, digits, front) != 0)
            continue;
        const size_t blank = line.text.find_first_not_of("0123456789", digits);
        if (blank != std::string::npos && blank > digits && line.text.substr(blank) == " " + message)
            return line.level;
    }
    return -1;
}

// A record between bytes that nobody may write.
template <class Record> class Guarded {
public:
    // The record begins with bytes that no function leaves there.
    Guarded()
    {
        memset(before_, '#', sizeof before_);
        memset(&record_, 0x5a, sizeof record_);
        memset(after_, '#', sizeof after_);
    }
    ~Guarded() { EXPECT_TRUE(intact()); }
    Guarded(const Guarded &) = delete;
    Guarded &operator=(const Guarded &) = delete;

    Record *get() { return &record_; }
    Record *operator->() { return &record_; }

    // Whether it still holds its first bytes.
    [[nodiscard]] bool untouched() const
    {
        const std::vector<char> first(sizeof record_, 0x5a);
        return memcmp(&record_, first.data(), first.size()) == 0;
    }

private:
    [[nodiscard]] bool intact() const
    {
        const std::string guard(sizeof before_, '#');
        return memcmp(before_, guard.data(), guard.size()) == 0 && memcmp(after_, guard.data(), guard.size()) == 0;
    }

    char before_[64];
    Record record_;
    char after_[64];
};

// Names that are refused wherever one is asked for.
inline const std::vector<const char *> HOSTILE_NAMES{"",        ".",      "..",     "a/b",      "/etc", "../eth0",
                                                     "eth0 up", "eth0\n", "\teth0", "eth0\x7f", "\x01"};
inline constexpr char NAME_OF_15[] = "eth123456789012";
inline constexpr char NAME_OF_16[] = "eth1234567890123";

// What a test lays over the kernel's answers.
struct Drivers {
    std::map<std::string, std::string> vlan_parents;
    std::map<std::string, int> vlan_ids;
    int no_vlan = EINVAL;                  // the answer for every other interface
    std::map<std::string, int> more_flags; // added to the kernel's
    std::map<std::string, int> less_flags; // taken away
    std::map<std::string, int> flags;      // of interfaces that the kernel does not have
    std::map<std::string, ethtool_cmd> settings;
    std::map<std::string, int> settings_errors;
    std::map<std::string, int> links; // the answers to the link query; others are refused with EOPNOTSUPP
    std::map<std::pair<unsigned long, std::string>, int> refused;
    std::vector<unsigned long> requests; // all that were made
    std::vector<ifreq> records;          // and what they held

    int answer(int fd, unsigned long request, void *argument)
    {
        requests.push_back(request);
        if (request == SIOCGIFVLAN)
            return answer_vlan(*static_cast<vlan_ioctl_args *>(argument));
        auto &record = *static_cast<ifreq *>(argument);
        records.push_back(record);
        const std::string name(record.ifr_name, strnlen(record.ifr_name, IFNAMSIZ));
        if (const auto refusal = refused.find({request, name}); refusal != refused.end())
            return refuse(refusal->second);
        if (request == SIOCETHTOOL)
            return answer_ethtool(name, record.ifr_data);
        if (request == SIOCGIFFLAGS)
            return answer_flags(fd, name, record);
        return support::ASK_KERNEL;
    }

    [[nodiscard]] int count(unsigned long request) const
    {
        return static_cast<int>(std::count(requests.begin(), requests.end(), request));
    }

private:
    static int refuse(int error)
    {
        errno = error;
        return -1;
    }

    int answer_vlan(vlan_ioctl_args &args) const
    {
        if (const auto id = vlan_ids.find(args.device1); args.cmd == GET_VLAN_VID_CMD && id != vlan_ids.end()) {
            args.u.VID = id->second;
            return 0;
        }
        const auto it = vlan_parents.find(args.device1);
        if (it == vlan_parents.end() || args.cmd != GET_VLAN_REALDEV_NAME_CMD)
            return refuse(no_vlan);
        snprintf(args.u.device2, sizeof args.u.device2, "%s", it->second.c_str());
        return 0;
    }

    int answer_ethtool(const std::string &name, void *data) const
    {
        const uint32_t command = *static_cast<uint32_t *>(data);
        if (command == ETHTOOL_GLINK) {
            const auto link = links.find(name);
            if (link == links.end())
                return refuse(EOPNOTSUPP);
            static_cast<ethtool_value *>(data)->data = static_cast<uint32_t>(link->second);
            return 0;
        }
        if (const auto error = settings_errors.find(name); error != settings_errors.end())
            return refuse(error->second);
        const auto it = settings.find(name);
        if (command != ETHTOOL_GSET || it == settings.end())
            return refuse(EOPNOTSUPP);
        *static_cast<ethtool_cmd *>(data) = it->second;
        return 0;
    }

    int answer_flags(int fd, const std::string &name, ifreq &record) const
    {
        if (const auto made_up = flags.find(name); made_up != flags.end()) {
            record.ifr_flags = static_cast<short>(made_up->second);
            return 0;
        }
        if (syscall(SYS_ioctl, fd, SIOCGIFFLAGS, &record) != 0)
            return -1;
        const auto more = more_flags.find(name);
        const auto less = less_flags.find(name);
        const int plus = more != more_flags.end() ? more->second : 0;
        const int minus = less != less_flags.end() ? less->second : 0;
        record.ifr_flags = static_cast<short>((record.ifr_flags | plus) & ~minus);
        return 0;
    }
};

class IfaceTest : public support::PrivateRoot {
protected:
    void SetUp() override
    {
        PrivateRoot::SetUp();
        if (IsSkipped() || HasFatalFailure())
            return;
        descriptors_ = support::open_descriptors();
    }

    // Whatever a test did, nothing of it is left over: no descriptor and no lock.
    void TearDown() override
    {
        if (!IsSkipped() && !HasFatalFailure()) {
            support::clear_faults();
            support::answer_ioctl({});
            EXPECT_EQ(descriptors_, support::open_descriptors());
            EXPECT_TRUE(is_free(0x106));
            EXPECT_TRUE(is_free(0x806));
        }
        PrivateRoot::TearDown();
    }

    // Whether another thread gets the lock at once.
    static bool is_free(int word)
    {
        int result = -1;
        std::thread([&] {
            result = KLIBCFileLock(word, 0);
            if (result == 0)
                KLIBCFileUnlock(word & 0xF00);
        }).join();
        return result == 0;
    }

    // The wait is read first, because a look at the lock is noted too.
    static LockState network_lock()
    {
        const int wait = support::last_lock_wait();
        const bool free_for_writers = is_free(0x106);
        return {wait, free_for_writers, is_free(0x105)};
    }

    // Whether a file's own lock is to be had at once: alone (mode 1) or beside other readers (0).
    static bool file_is_free(const std::string &path, int mode = 1)
    {
        int fd = -1;
        return KLIBCFileLockTimeByFile(path.c_str(), mode, 0, &fd) == 1 && KLIBCFileUnlockByFile(fd) == 1;
    }

    // A card whose peer is never listed, so that a listing holds just what the test made.
    static void card(const std::string &name, const std::string &address = "", bool up = true)
    {
        const std::string peer = "gbr" + name.substr(0, 12);
        std::string command = "ip link add " + name + " type veth peer name " + peer + "; ip link set " + peer + " up";
        if (!address.empty())
            command += "; ip address add " + address + " dev " + name;
        if (up)
            command += "; ip link set " + name + " up";
        shell(command);
        if (up)
            await_running(name, true);
    }

    // Takes the carrier of a card away, or gives it back.
    static void set_carrier(const std::string &name, bool on)
    {
        shell("ip link set gbr" + name.substr(0, 12) + (on ? " up" : " down"));
        await_running(name, on);
    }

    // The kernel tells of a carrier a moment after it changed.
    static void await_running(const std::string &name, bool on)
    {
        const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        ifreq request{};
        strncpy(request.ifr_name, name.c_str(), IFNAMSIZ - 1);
        bool running = !on;
        for (int tries = 0; tries < 1000 && running != on; ++tries) {
            if (tries > 0)
                poll(nullptr, 0, 10);
            ASSERT_EQ(0, syscall(SYS_ioctl, fd, SIOCGIFFLAGS, &request)) << name << ": " << strerror(errno);
            running = (request.ifr_flags & IFF_RUNNING) != 0;
        }
        close(fd);
        ASSERT_EQ(on, running) << name;
    }

    static void set_mac(const std::string &name, const std::string &mac)
    {
        shell("ip link set " + name + " address " + mac);
    }

    // One folder of /sys as a plain folder, with the rest as it is.
    static void plain_folder(const char *folder)
    {
        ASSERT_EQ(0, mount("tmpfs", folder, "tmpfs", 0, "mode=755")) << folder << ": " << strerror(errno);
    }

    static void load_8021q()
    {
        plain_folder("/sys/module");
        support::write_file("/sys/module/8021q/refcnt", "0\n");
        ASSERT_EQ(1, KLIBCModuleIsLoad("8021q"));
    }

    static void ha(const std::string &keys) { write_file("/run/kavo/ha.conf", keys); }

    // From now on the drivers answer.
    void use_drivers()
    {
        support::answer_ioctl(
            [this](int fd, unsigned long request, void *argument) { return drivers.answer(fd, request, argument); });
    }

    static void forget()
    {
        support::clear_error();
        support::clear_log();
    }

    Drivers drivers;

private:
    std::vector<std::string> descriptors_;
};
