// The delivery's own source with a shorter time for each subscriber; everything else as in the library.
#include "../../../platform/plugin/deliver.cpp"
#include "../../../platform/plugin/event.cpp"
#include "../../../platform/spawn/spawn.cpp"

#include <string>
#include <vector>

#include <sys/wait.h>

#include <gtest/gtest.h>

#include "support/log_capture.h"
#include "support/private_root.h"
#include "support/read_back.h"

using namespace support;

namespace {

constexpr int SECONDS = 3;
const std::string FOLDER = "/usr/kavo/etc/plugins/net/x/";

struct DeliverTest : PrivateRoot {
    static int deliver_event()
    {
        alignas(kavo::OpenEvent) char room[sizeof(kavo::OpenEvent) + 8] = {};
        auto *event = new (room) kavo::OpenEvent{};
        memcpy(event->name, "net/x", 6);
        const int result = kavo::deliver(*event, "pre", SECONDS);
        event->~OpenEvent();
        return result;
    }

    static bool is_alive(const std::string &pid_file) { return kill(atoi(read_file(pid_file).c_str()), 0) == 0; }
};

} // namespace

TEST_F(DeliverTest, ASubscriberThatHangsIsKilledAndHasFailed)
{
    write_file(FOLDER + "10-hangs", "#!/bin/sh\necho $$ >/tmp/pid\ntrap '' TERM INT HUP\nwhile :; do sleep 0.1; done\n",
               0755);
    write_file(FOLDER + "20-works", "#!/bin/sh\necho works >/tmp/run\n", 0755);
    EXPECT_EQ(-1, deliver_event());
    EXPECT_FALSE(is_alive("/tmp/pid"));
    EXPECT_EQ("works\n", read_file("/tmp/run"));
    EXPECT_EQ(0x2A00U, last_error().code);
    EXPECT_EQ(LOG_ERR, logged("deliver.cpp:[0-9]+ Killed subscriber " + FOLDER + "10-hangs after 3 seconds."));
    EXPECT_EQ(1U, log_lines().size());
    EXPECT_EQ(-1, waitpid(-1, nullptr, WNOHANG | __WALL));
}

TEST_F(DeliverTest, EachHasATimeOfItsOwn)
{
    for (const char *name : {"10-a", "20-b", "30-c"})
        write_file(FOLDER + name, "#!/bin/sh\nsleep 1.2\necho done >>/tmp/run\n", 0755);
    EXPECT_EQ(0, deliver_event());
    EXPECT_EQ("done\ndone\ndone\n", read_file("/tmp/run"));
    EXPECT_TRUE(log_lines().empty());
}

TEST_F(DeliverTest, AStoppedSubscriberIsKilledToo)
{
    write_file(FOLDER + "10-stops", "#!/bin/sh\necho $$ >/tmp/pid\nkill -STOP $$\n", 0755);
    EXPECT_EQ(-1, deliver_event());
    EXPECT_FALSE(is_alive("/tmp/pid"));
}

// What a subscriber leaves in the background does not hold the delivery up.
TEST_F(DeliverTest, BackgroundWorkIsNotWaitedFor)
{
    write_file(FOLDER + "10-leaves", "#!/bin/sh\nsleep 1000 & echo $! >/tmp/pid\n", 0755);
    EXPECT_EQ(0, deliver_event());
    EXPECT_TRUE(is_alive("/tmp/pid"));
    kill(atoi(read_file("/tmp/pid").c_str()), SIGKILL);
}

TEST_F(DeliverTest, IgnoredChildSignalMakesNoDifference)
{
    signal(SIGCHLD, SIG_IGN);
    write_file(FOLDER + "10-fails", "#!/bin/sh\nexit 3\n", 0755);
    EXPECT_EQ(-1, deliver_event());
    EXPECT_EQ(LOG_ERR, logged("deliver.cpp:[0-9]+ Subscriber " + FOLDER + "10-fails failed. \\(3\\)"));
    write_file(FOLDER + "10-fails", "#!/bin/sh\nsleep 9\n", 0755);
    EXPECT_EQ(-1, deliver_event());
    EXPECT_EQ(LOG_ERR, logged("deliver.cpp:[0-9]+ Killed subscriber " + FOLDER + "10-fails after 3 seconds."));
    signal(SIGCHLD, SIG_DFL);
}
