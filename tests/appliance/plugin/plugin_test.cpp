#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "kavo/plugin.h"
#include "support/faults.h"
#include "support/log_capture.h"
#include "support/private_root.h"
#include "support/read_back.h"

using namespace support;

namespace {

constexpr unsigned BAD_PARAMETER = 0x0D00;
constexpr unsigned EXEC_FAILED = 0x2A00;
constexpr int PRE = 4;
constexpr int POST = 5;
const std::string FOLDER = "/usr/kavo/etc/plugins/net/ipv4_change/";

class PluginTest : public PrivateRoot {
protected:
    void SetUp() override
    {
        PrivateRoot::SetUp();
        if (!IsSkipped()) {
            ASSERT_EQ(0, KLIBPluginSDKInit("net", "net/ipv4_change", &event_));
        }
        descriptors_ = open_descriptors();
    }

    void TearDown() override
    {
        EXPECT_EQ(descriptors_, open_descriptors());
        EXPECT_EQ(0, KLIBPluginExit(event_));
        PrivateRoot::TearDown();
    }

    // A subscriber that writes its name down.
    static void subscriber(const std::string &name, const std::string &body = "", unsigned mode = 0755)
    {
        write_file(FOLDER + name, "#!/bin/sh\necho ${0##*/} \"$@\" >>/tmp/run\n" + body + "\n", mode);
    }

    static std::vector<std::string> run() { return lines_of(read_file("/tmp/run")); }

    // The variables that a subscriber gets, as they are, sorted.
    std::vector<std::string> delivered(int phase = PRE)
    {
        write_file(FOLDER + "10-environment", "#!/bin/sh\ncat /proc/$$/environ >/tmp/environment\n", 0755);
        EXPECT_EQ(0, KLIBPluginAction(phase, event_));
        std::vector<std::string> variables;
        const std::string text = read_file("/tmp/environment");
        for (size_t at = 0; at < text.size(); at += variables.back().size() + 1)
            variables.emplace_back(text.c_str() + at);
        std::sort(variables.begin(), variables.end());
        return variables;
    }

    // The arguments among them.
    std::vector<std::string> arguments()
    {
        std::vector<std::string> variables = delivered();
        std::erase_if(variables, [](const std::string &text) { return text.find("KAVO_ARG_") != 0; });
        return variables;
    }

    KLIBPLUGINHANDLE event_ = 0;
    std::vector<std::string> descriptors_;
};

using Lines = std::vector<std::string>;

} // namespace

// ---- Delivery

TEST_F(PluginTest, NobodyNeedsToSubscribe)
{
    EXPECT_EQ(0, KLIBPluginAction(PRE, event_));
    shell("mkdir -p " + FOLDER);
    EXPECT_EQ(0, KLIBPluginAction(PRE, event_));
    shell("rm -r /usr/kavo/etc/plugins");
    EXPECT_EQ(0, KLIBPluginAction(PRE, event_));
    EXPECT_TRUE(log_lines().empty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(PluginTest, SubscribersRunInTheOrderOfTheirNames)
{
    for (const char *name : {"90-last", "10-first", "9", "B", "a", "10-First"})
        subscriber(name);
    EXPECT_EQ(0, KLIBPluginAction(PRE, event_));
    EXPECT_EQ((Lines{"10-First pre", "10-first pre", "9 pre", "90-last pre", "B pre", "a pre"}), run());
}

TEST_F(PluginTest, OneRunsAfterTheOther)
{
    subscriber("10-slow", "sleep 0.2; echo slow >>/tmp/run");
    subscriber("20-quick");
    EXPECT_EQ(0, KLIBPluginAction(POST, event_));
    EXPECT_EQ((Lines{"10-slow post", "slow", "20-quick post"}), run());
}

TEST_F(PluginTest, TheEnvironmentIsTheEventsAlone)
{
    setenv("KAVO_SECRET", "leaks", 1);
    ASSERT_EQ(0, KLIBPluginSetArg(event_, "IFNAME", "eth0"));
    Lines expected = {"KAVO_ARG_IFNAME=eth0", "KAVO_EVENT=net/ipv4_change", "KAVO_PHASE=pre", "LANG=C",
                      "PATH=/sbin:/bin:/usr/sbin:/usr/bin"};
    EXPECT_EQ(expected, delivered(PRE));
    expected[2] = "KAVO_PHASE=post";
    EXPECT_EQ(expected, delivered(POST));
    unsetenv("KAVO_SECRET");
}

TEST_F(PluginTest, EveryByteOfAValueArrives)
{
    std::string bytes;
    for (int byte = 1; byte < 256; ++byte)
        bytes.push_back(static_cast<char>(byte));
    const std::string large(100000, 'x');
    ASSERT_EQ(0, KLIBPluginSetArg(event_, "BYTES", bytes.c_str()));
    ASSERT_EQ(0, KLIBPluginSetArg(event_, "LARGE", large.c_str()));
    ASSERT_EQ(0, KLIBPluginSetArg(event_, "EMPTY", ""));
    EXPECT_EQ((Lines{"KAVO_ARG_BYTES=" + bytes, "KAVO_ARG_EMPTY=", "KAVO_ARG_LARGE=" + large}), arguments());
}

TEST_F(PluginTest, KeysArriveAsTheyAre)
{
    for (const char *key : {"eth0.10", "lower", "with blank", "\xc3\xa4", "a-b/c"})
        ASSERT_EQ(0, KLIBPluginSetArg(event_, key, "v"));
    EXPECT_EQ((Lines{"KAVO_ARG_a-b/c=v", "KAVO_ARG_eth0.10=v", "KAVO_ARG_lower=v", "KAVO_ARG_with blank=v",
                     "KAVO_ARG_\xc3\xa4=v"}),
              arguments());
}

TEST_F(PluginTest, KeyAndValueAreCopied)
{
    char key[] = "KEY1";
    char value[] = "one";
    ASSERT_EQ(0, KLIBPluginSetArg(event_, key, value));
    key[3] = '2';
    value[0] = 'O';
    ASSERT_EQ(0, KLIBPluginSetArg(event_, key, value));
    EXPECT_EQ((Lines{"KAVO_ARG_KEY1=one", "KAVO_ARG_KEY2=One"}), arguments());
}

TEST_F(PluginTest, NumbersAreDecimal)
{
    ASSERT_EQ(0, KLIBPluginSetArgByInt(event_, "A", -1));
    ASSERT_EQ(0, KLIBPluginSetArgByInt(event_, "B", 2147483647));
    ASSERT_EQ(0, KLIBPluginSetArgByInt(event_, "C", -2147483647 - 1));
    EXPECT_EQ((Lines{"KAVO_ARG_A=-1", "KAVO_ARG_B=2147483647", "KAVO_ARG_C=-2147483648"}), arguments());
}

TEST_F(PluginTest, ArraysAreNumberedAndCounted)
{
    const char *const names[] = {"eth0", "two words", ""};
    ASSERT_EQ(0, KLIBPluginSetArgByArray(event_, "IFNAME", names, 3));
    ASSERT_EQ(0, KLIBPluginSetArgByArray(event_, "NONE", nullptr, 0));
    EXPECT_EQ((Lines{"KAVO_ARG_IFNAME_0=eth0", "KAVO_ARG_IFNAME_1=two words",
                     "KAVO_ARG_IFNAME_2=", "KAVO_ARG_IFNAME_COUNT=3", "KAVO_ARG_NONE_COUNT=0"}),
              arguments());
}

TEST_F(PluginTest, AKeyThatIsSetAgainIsReplaced)
{
    const char *const three[] = {"a", "b", "c"};
    const char *const one[] = {"d"};
    ASSERT_EQ(0, KLIBPluginSetArg(event_, "X", "old"));
    ASSERT_EQ(0, KLIBPluginSetArg(event_, "X", "new"));
    EXPECT_EQ(Lines{"KAVO_ARG_X=new"}, arguments());
    ASSERT_EQ(0, KLIBPluginSetArgByArray(event_, "X", three, 3));
    EXPECT_EQ((Lines{"KAVO_ARG_X_0=a", "KAVO_ARG_X_1=b", "KAVO_ARG_X_2=c", "KAVO_ARG_X_COUNT=3"}), arguments());
    ASSERT_EQ(0, KLIBPluginSetArgByArray(event_, "X", one, 1));
    EXPECT_EQ((Lines{"KAVO_ARG_X_0=d", "KAVO_ARG_X_COUNT=1"}), arguments());
    ASSERT_EQ(0, KLIBPluginSetArg(event_, "X_0", "own"));
    EXPECT_EQ((Lines{"KAVO_ARG_X_0=own", "KAVO_ARG_X_COUNT=1"}), arguments());
    ASSERT_EQ(0, KLIBPluginSetArg(event_, "X", "text"));
    EXPECT_EQ((Lines{"KAVO_ARG_X=text", "KAVO_ARG_X_0=own"}), arguments());
    ASSERT_EQ(0, KLIBPluginSetArg(event_, "", "") == -1 ? 0 : 1);
    ASSERT_EQ(0, KLIBPluginSetArg(event_, "Y", "last"));
    EXPECT_EQ((Lines{"KAVO_ARG_X=text", "KAVO_ARG_X_0=own", "KAVO_ARG_Y=last"}), arguments());
}

// ---- Failures

TEST_F(PluginTest, AFailedSubscriberDoesNotKeepTheOthers)
{
    subscriber("10-fails", "exit 3");
    subscriber("20-dies", "kill -KILL $$");
    subscriber("30-works");
    EXPECT_EQ(-1, KLIBPluginAction(PRE, event_));
    EXPECT_EQ((Lines{"10-fails pre", "20-dies pre", "30-works pre"}), run());
    EXPECT_EQ(EXEC_FAILED, last_error().code);
    EXPECT_EQ("deliver.cpp", last_error().file);
    EXPECT_EQ(LOG_ERR, logged("deliver.cpp:[0-9]+ Subscriber " + FOLDER + "10-fails failed. \\(3\\)"));
    EXPECT_EQ(LOG_ERR, logged("deliver.cpp:[0-9]+ Subscriber " + FOLDER + "20-dies failed. \\(137\\)"));
    EXPECT_EQ(2U, log_lines().size());
}

TEST_F(PluginTest, ASubscriberThatCannotRunHasFailed)
{
    write_file(FOLDER + "10-broken", "#!/nowhere/sh\n", 0755);
    subscriber("20-works");
    EXPECT_EQ(-1, KLIBPluginAction(PRE, event_));
    EXPECT_EQ(Lines{"20-works pre"}, run());
    EXPECT_EQ(LOG_ERR, logged("deliver.cpp:[0-9]+ Failed to run subscriber " + FOLDER +
                              "10-broken. \\(No such file or directory\\)"));
}

TEST_F(PluginTest, MemoryRunsOut)
{
    const char *const names[] = {"a", "b"};
    ASSERT_EQ(0, KLIBPluginSetArgByArray(event_, "X", names, 1));
    const auto ran_out = [](int result) {
        const bool right = result == -1 && last_error().code == 0x0200;
        clear_error();
        clear_faults();
        return right;
    };
    KLIBPLUGINHANDLE other = 99;
    fail_call("calloc");
    EXPECT_TRUE(ran_out(KLIBPluginSDKInit("net", "net/other", &other)));
    EXPECT_EQ(99U, other);
    fail_call("calloc");
    EXPECT_TRUE(ran_out(KLIBPluginSetArg(event_, "X", "new")));
    for (const int n : {1, 2, 3}) {
        fail_call("calloc", n);
        EXPECT_TRUE(ran_out(KLIBPluginSetArgByArray(event_, "X", names, 2))) << n;
    }
    subscriber("10-works");
    fail_call("calloc");
    EXPECT_TRUE(ran_out(KLIBPluginAction(PRE, event_)));
    EXPECT_FALSE(exists("/tmp/run"));
    EXPECT_EQ((Lines{"KAVO_ARG_X_0=a", "KAVO_ARG_X_COUNT=1"}), arguments()) << "the event is what it was";
}

// ---- Whom to trust

TEST_F(PluginTest, OnlyRootsFilesAreRun)
{
    subscriber("10-foreign");
    subscriber("20-others", "", 0757);
    subscriber("30-group", "", 0775);
    subscriber("40-own", "", 0700);
    shell("echo 'echo linked >>/tmp/run' >/tmp/linked; chmod 755 /tmp/linked; ln -s /tmp/linked " + FOLDER +
          "50-linked; mkfifo -m 755 " + FOLDER + "60-pipe");
    if (chown((FOLDER + "10-foreign").c_str(), 1000, 1000) != 0)
        unlink((FOLDER + "10-foreign").c_str()); // where root is mapped there is nobody else
    else {
        EXPECT_EQ(0, KLIBPluginAction(PRE, event_));
        EXPECT_EQ(LOG_WARNING,
                  logged("deliver.cpp:[0-9]+ Skipped subscriber " + FOLDER + "10-foreign: it is not owned by root."));
        EXPECT_EQ(Lines{"40-own pre"}, run());
        unlink("/tmp/run");
    }
    clear_log();
    EXPECT_EQ(0, KLIBPluginAction(PRE, event_));
    EXPECT_EQ(Lines{"40-own pre"}, run());
    const std::string skipped = "deliver.cpp:[0-9]+ Skipped subscriber " + FOLDER;
    EXPECT_EQ(LOG_WARNING, logged(skipped + "20-others: it is writable by others."));
    EXPECT_EQ(LOG_WARNING, logged(skipped + "30-group: it is writable by others."));
    EXPECT_EQ(LOG_WARNING, logged(skipped + "50-linked: it is not a plain file."));
    EXPECT_EQ(LOG_WARNING, logged(skipped + "60-pipe: it is not a plain file."));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(PluginTest, WhatIsNoSubscriberIsPassedOver)
{
    subscriber(".hidden");
    subscriber("10-copy~");
    subscriber("20-switched-off", "", 0644);
    shell("mkdir " + FOLDER + "30-folder");
    subscriber("40-works");
    EXPECT_EQ(0, KLIBPluginAction(PRE, event_));
    EXPECT_EQ(Lines{"40-works pre"}, run());
    EXPECT_TRUE(log_lines().empty());
}

TEST_F(PluginTest, FoldersMustBeRootsToo)
{
    subscriber("10-works");
    for (const char *folder :
         {"/usr/kavo/etc/plugins", "/usr/kavo/etc/plugins/net", "/usr/kavo/etc/plugins/net/ipv4_change"}) {
        for (const unsigned mode : {0775U, 0757U, 01777U}) {
            clear_log();
            ASSERT_EQ(0, chmod(folder, mode));
            EXPECT_EQ(0, KLIBPluginAction(PRE, event_));
            EXPECT_EQ(LOG_WARNING,
                      logged("deliver.cpp:[0-9]+ Skipped subscriber net/ipv4_change: it is writable by others."))
                << folder;
            ASSERT_EQ(0, chmod(folder, 0755));
        }
    }
    EXPECT_FALSE(exists("/tmp/run"));
    EXPECT_EQ(0, KLIBPluginAction(PRE, event_));
    EXPECT_EQ(Lines{"10-works pre"}, run());
}

TEST_F(PluginTest, AFolderIsNoLink)
{
    subscriber("10-works");
    shell("mv /usr/kavo/etc/plugins/net/ipv4_change /tmp/elsewhere; ln -s /tmp/elsewhere "
          "/usr/kavo/etc/plugins/net/ipv4_change");
    EXPECT_EQ(0, KLIBPluginAction(PRE, event_));
    EXPECT_FALSE(exists("/tmp/run"));
    EXPECT_EQ(LOG_WARNING, logged("deliver.cpp:[0-9]+ Skipped subscriber net/ipv4_change: its folder is none."));
}

// ---- Arguments

TEST_F(PluginTest, NamesStayBelowTheirFolder)
{
    const std::string longest = "net/" + std::string(251, 'x');
    for (const std::string &name :
         {std::string(), std::string("/net/x"), std::string("net/../x"), std::string(".."), std::string("net//x"),
          std::string("net/"), std::string("net/./x"), std::string("net/.x"), std::string("net/x y"),
          std::string("net/x\n"), std::string("net/x;y"), std::string("net/$x"), std::string("net/\xc3\xa4"),
          longest + "x"}) {
        KLIBPLUGINHANDLE event = 99;
        clear_error();
        EXPECT_EQ(-1, KLIBPluginSDKInit("net", name.c_str(), &event)) << name;
        EXPECT_EQ(99U, event);
        EXPECT_EQ(BAD_PARAMETER, last_error().code) << name;
    }
    KLIBPLUGINHANDLE event = 0;
    EXPECT_EQ(0, KLIBPluginSDKInit("net", longest.c_str(), &event));
    EXPECT_EQ(0, KLIBPluginExit(event));
    EXPECT_EQ(0, KLIBPluginSDKInit("net", "net/v1.2-x_y", &event));
    EXPECT_EQ(0, KLIBPluginExit(event));
}

TEST_F(PluginTest, RefusesBadArguments)
{
    const char *const hole[] = {"a", nullptr};
    const auto refused = [](int result) {
        const bool right = result == -1 && last_error().code == BAD_PARAMETER && last_error().file == "plugin.cpp";
        clear_error();
        return right;
    };
    KLIBPLUGINHANDLE event = 0;
    EXPECT_TRUE(refused(KLIBPluginSDKInit(nullptr, "net/x", &event)));
    EXPECT_TRUE(refused(KLIBPluginSDKInit("", "net/x", &event)));
    EXPECT_TRUE(refused(KLIBPluginSDKInit("../net", "net/x", &event)));
    EXPECT_TRUE(refused(KLIBPluginSDKInit("net", nullptr, &event)));
    EXPECT_TRUE(refused(KLIBPluginSDKInit("net", "net/x", nullptr)));
    for (const char *key : {static_cast<const char *>(nullptr), "", "a=b", "=", "a\nb", "a\x7f", "\x01"}) {
        EXPECT_TRUE(refused(KLIBPluginSetArg(event_, key, "v")));
        EXPECT_TRUE(refused(KLIBPluginSetArgByInt(event_, key, 1)));
        EXPECT_TRUE(refused(KLIBPluginSetArgByArray(event_, key, hole, 1)));
    }
    EXPECT_TRUE(refused(KLIBPluginSetArg(event_, "K", nullptr)));
    EXPECT_TRUE(refused(KLIBPluginSetArgByArray(event_, "K", nullptr, 1)));
    EXPECT_TRUE(refused(KLIBPluginSetArgByArray(event_, "K", hole, 2)));
    EXPECT_TRUE(refused(KLIBPluginSetArgByArray(event_, "K", hole, -1)));
    EXPECT_TRUE(refused(KLIBPluginAction(0, event_)));
    EXPECT_TRUE(refused(KLIBPluginAction(3, event_)));
    EXPECT_TRUE(refused(KLIBPluginAction(6, event_)));
    EXPECT_EQ(Lines{}, arguments());
}

TEST_F(PluginTest, OnlyAnOpenEventIsAnEvent)
{
    EXPECT_EQ(1, KLIBPluginHasInit(event_));
    EXPECT_EQ(0, KLIBPluginHasInit(0));
    EXPECT_EQ(0, KLIBPluginExit(0));
    EXPECT_EQ(0, KLIBPluginExit(event_));
    KLIBPLUGINHANDLE other = 0;
    ASSERT_EQ(0, KLIBPluginSDKInit("net", "net/other", &other));
    EXPECT_NE(event_, other);
    EXPECT_EQ(0, KLIBPluginHasInit(event_));
    EXPECT_EQ(0, KLIBPluginExit(event_));
    for (const KLIBPLUGINHANDLE wrong : {event_, KLIBPLUGINHANDLE{0}, ~KLIBPLUGINHANDLE{0}}) {
        EXPECT_EQ(-1, KLIBPluginSetArg(wrong, "K", "v"));
        EXPECT_EQ(-1, KLIBPluginSetArgByInt(wrong, "K", 1));
        EXPECT_EQ(-1, KLIBPluginSetArgByArray(wrong, "K", nullptr, 0));
        EXPECT_EQ(-1, KLIBPluginAction(PRE, wrong));
        EXPECT_EQ(BAD_PARAMETER, last_error().code);
    }
    EXPECT_EQ(1, KLIBPluginHasInit(other));
    EXPECT_EQ(0, KLIBPluginExit(other));
}

TEST_F(PluginTest, ThreadsHaveEventsOfTheirOwn)
{
    subscriber("10-works", "[ \"$KAVO_ARG_A\" = \"$KAVO_ARG_B\" ]");
    std::vector<std::thread> threads;
    std::atomic<int> wrong = 0;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&wrong, i] {
            for (int round = 0; round < 10; ++round) {
                KLIBPLUGINHANDLE event = 0;
                if (KLIBPluginSDKInit("net", "net/ipv4_change", &event) != 0 ||
                    KLIBPluginSetArgByInt(event, "A", i) != 0 || KLIBPluginSetArgByInt(event, "B", i) != 0 ||
                    KLIBPluginAction(POST, event) != 0 || KLIBPluginExit(event) != 0)
                    ++wrong;
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(0, wrong);
    EXPECT_EQ(40U, run().size());
}
