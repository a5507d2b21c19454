// The host name for real: in the kernel, in both files, in the system log, and as a name that resolves.
#include "kavonetsdk/kavonetsdk.h"

#include "lab_side.h"

namespace resolve_test {
namespace {

using support::read_file;

class LiveHostname : public testing::Test {
protected:
    void TearDown() override
    {
        run("systemctl start syslog-ng");
        restore();
        KAVOLnxSetHostname("kavo-lab");
    }

    static void expect_name(const std::string &name)
    {
        EXPECT_EQ(name + "\n", read_file("/proc/sys/kernel/hostname"));
        EXPECT_EQ(name + "\n", read_file("/etc/hostname"));
        EXPECT_EQ("# Any manual change will be lost if the host name is changed or system upgrades.\n"
                  "127.0.0.1\tlocalhost\n::1\t\tlocalhost\n127.0.0.1\t" +
                      name + "\n::1\t\t" + name + "\n",
                  read_file("/etc/hosts"));
        char text[64] = "";
        EXPECT_EQ(1, KAVOLnxGetHostname(text));
        EXPECT_EQ(name.substr(0, name.find('.')), text);
    }

    static bool is_logged(const std::string &name)
    {
        return wait_for([&] {
            return run("journalctl --no-pager -t syslog-ng -o cat").output.find("logging as " + name + "\n") !=
                   std::string::npos;
        });
    }
};

TEST_F(LiveHostname, IsInTheKernelInBothFilesAndInTheLog)
{
    subscribe("net/hostname_change");
    ASSERT_EQ(0, KAVOLnxSetHostname("nas-live")) << run("journalctl --no-pager -n 40").output;
    expect_name("nas-live");
    EXPECT_EQ("::1 nas-live\n", run("getent hosts nas-live | tr -s ' '").output);
    EXPECT_EQ("net/hostname_change post nas-live\n", read_file(EVENTS));
    EXPECT_TRUE(is_logged("nas-live"));

    ASSERT_EQ(0, KAVOLnxSetHostname("nas-two.lab.test"));
    expect_name("nas-two.lab.test");
    ASSERT_EQ(0, KAVOLnxSetHostname(std::string(63, 'n').c_str()));
    expect_name(std::string(63, 'n'));
}

TEST_F(LiveHostname, AnInactiveLoggerFailsTheCallAfterTheFiles)
{
    subscribe("net/hostname_change");
    ASSERT_EQ(0, run("systemctl stop syslog-ng").status);
    EXPECT_EQ(-1, KAVOLnxSetHostname("nas-quiet"));
    expect_name("nas-quiet");
    EXPECT_EQ("", read_file(EVENTS)) << "the event comes last";
    ASSERT_EQ(0, run("systemctl start syslog-ng").status);
    EXPECT_EQ(0, KAVOLnxSetHostname("nas-loud"));
    expect_name("nas-loud");
    EXPECT_EQ("net/hostname_change post nas-loud\n", read_file(EVENTS));
}

TEST_F(LiveHostname, ASubscriberThatFailsFailsTheCallAfterEverything)
{
    subscribe("net/hostname_change", 1);
    EXPECT_EQ(-1, KAVOLnxSetHostname("nas-told"));
    expect_name("nas-told");
    EXPECT_TRUE(is_logged("nas-told"));
}

TEST_F(LiveHostname, TheCommandSaysWhatHolds)
{
    EXPECT_EQ("host name: kavo-lab -> nas-cli\n", run("kavonet hostname set nas-cli").output);
    expect_name("nas-cli");
    EXPECT_EQ("nas-cli\n", run("kavonet hostname show").output);
    EXPECT_EQ(0U, run("kavonet status").output.find("nas-cli: "));
}

} // namespace
} // namespace resolve_test
