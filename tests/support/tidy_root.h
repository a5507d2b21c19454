// A private root whose tests fail when a call leaves something behind: an open descriptor, event or lock, a backup or a
// temporary file beside the configuration. Service units are recorded, and events can be followed in order.
#pragma once

#include <string>
#include <thread>
#include <vector>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "kavo/core.h"
#include "kavo/plugin.h"
#include "support/fake_clock.h"
#include "support/fake_ioctl.h"
#include "support/faults.h"
#include "support/log_capture.h"
#include "support/private_root.h"
#include "support/read_back.h"
#include "support/recorded_units.h"

namespace support {

// The level of the first log line that begins with `front` (a file's or a function's name), then says a line number
// between `open` and `close`, then exactly `message`; -1 when there is none.
inline int level_of(const std::string &front, const std::string &open, const std::string &close,
                    const std::string &message)
{
    for (const LogLine &line : log_lines()) {
        const std::string start = front + open;
        if (line.text.compare(0, start.size(), start) != 0)
            continue;
        const size_t end = line.text.find_first_not_of("0123456789", start.size());
        if (end != std::string::npos && end > start.size() && line.text.substr(end) == close + message)
            return line.level;
    }
    return -1;
}

// The level of the line "file:number message", -1 when there is none.
inline int logged_in(const std::string &file, const std::string &message)
{
    return level_of(file, ":", " ", message);
}

// The same for "function(number) message".
inline int logged_by(const std::string &function, const std::string &message)
{
    return level_of(function, "(", ") ", message);
}

// The same for a line that does not say where it comes from.
inline int logged_bare(const std::string &message)
{
    for (const LogLine &line : log_lines()) {
        if (line.text == message)
            return line.level;
    }
    return -1;
}

// Whether the error record holds the code, set in the file at whatever line.
inline testing::AssertionResult is_set_in(const char *file, unsigned code)
{
    const Error error = last_error();
    if (error.code == code && error.file == file && error.line > 0)
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << error;
}

// Names that would leave their directory, break a line or an argument, or that are too long for the kernel.
inline const std::vector<std::string> &hostile_names()
{
    static const std::vector<std::string> names = {"",         ".",        "..",     "/",      "../eth0",
                                                   "eth0/x",   "eth 0",    "eth0\n", "eth0\r", "eth0\t",
                                                   "eth0\x01", "eth0\x7f", "eth0\v", " eth0"};
    return names;
}

inline constexpr char NAME_OF_15[] = "abcdefghijklmno";
inline constexpr char NAME_OF_16[] = "abcdefghijklmnop";
inline constexpr char NAME_OF_17[] = "abcdefghijklmnopq";

class TidyRoot : public PrivateRoot {
protected:
    void SetUp() override
    {
        PrivateRoot::SetUp();
        if (IsSkipped())
            return;
        record_units();
        descriptors_ = open_descriptors();
    }

    void TearDown() override
    {
        clear_faults();
        real_units();
        if (!IsSkipped())
            expect_tidy();
        PrivateRoot::TearDown();
    }

    // Whether another thread can have a configuration lock (0x106, 0x806) right now.
    static bool lock_is_free(int word)
    {
        bool free = false;
        std::thread([&] {
            free = KLIBCFileLock(word, 0) != -1;
            if (free)
                KLIBCFileUnlock(word & 0xF00);
        }).join();
        return free;
    }

    // Whether the lock that bringing an interface up and down takes is free.
    static bool up_down_lock_is_free(const std::string &name)
    {
        int fd = -1;
        if (KLIBCFileLockTimeByFile(("/tmp/interface_up_down_" + name + ".lock").c_str(), 1, 0, &fd) == 0)
            return false;
        KLIBCFileUnlockByFile(fd);
        return true;
    }

    // Subscribes to an event; its deliveries stand among the recorded calls too, as "[event] [net/...] [pre]".
    static void follow(const std::string &event, int status = 0)
    {
        write_file("/usr/kavo/etc/plugins/" + event + "/50-follower",
                   std::string("#!/bin/sh\nprintf '[event] [%s] [%s]\\n' \"$KAVO_EVENT\" \"$1\" >>") + RECORDED_CALLS +
                       "\n{ printf '%s %s' \"$KAVO_EVENT\" \"$1\"\n" +
                       "tr '\\0' '\\n' </proc/$$/environ | sed -n 's/^KAVO_ARG_/ /p' | tr -d '\\n'\necho\n} >>" +
                       FOLLOWED + "\nexit " + std::to_string(status) + "\n",
                   0755);
    }

    // The deliveries: "net/ipv4_change pre KEY=value KEY=value", the keys in the order in which they were attached.
    static std::vector<std::string> followed() { return lines_of(read_file(FOLLOWED)); }

    // A file that exists but cannot be opened, not even by root.
    static void unopenable(const std::string &path)
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        ASSERT_LT(path.size(), sizeof address.sun_path);
        path.copy(address.sun_path, path.size());
        const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        ASSERT_EQ(0, bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address));
        close(fd);
    }

private:
    static constexpr char FOLLOWED[] = "/run/followed-events";
    static constexpr char CONFIGURATION[] = "/etc/sysconfig/network-scripts";

    void expect_tidy()
    {
        EXPECT_EQ(descriptors_, open_descriptors());
        EXPECT_TRUE(lock_is_free(0x106)) << "the network configuration lock is still held";
        EXPECT_TRUE(lock_is_free(0x806)) << "the settings lock is still held";
        for (const std::string &name : entries(CONFIGURATION))
            EXPECT_EQ(0U, name.rfind("ifcfg-", 0)) << name;
        for (const std::string &name : entries(CONFIGURATION))
            EXPECT_EQ(std::string::npos, name.find(".tmp")) << name;
        expect_events_closed();
    }

    // Handles are counted, so all that were given out lie below the next one.
    static void expect_events_closed()
    {
        KLIBPLUGINHANDLE next = 0;
        ASSERT_EQ(0, KLIBPluginSDKInit("net", "net/none", &next));
        EXPECT_EQ(1, KLIBPluginHasInit(next));
        for (KLIBPLUGINHANDLE handle = 1; handle < next; ++handle)
            EXPECT_EQ(0, KLIBPluginHasInit(handle)) << "event " << handle << " is still open";
        KLIBPluginExit(next);
    }

    std::vector<std::string> descriptors_;
};

} // namespace support
