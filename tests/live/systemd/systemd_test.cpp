// Service units against a real service manager. Runs as root inside the lab.
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "kavo/systemd.h"
#include "support/commands.h"
#include "support/log_capture.h"
#include "support/read_back.h"

using namespace support;

namespace {

constexpr unsigned EXEC_FAILED = 0x2A00;
const std::string UNITS = "/run/systemd/system/";

void unit(const std::string &name, const std::string &service)
{
    write_file(UNITS + name, "[Service]\n" + service);
}

class LiveSystemd : public testing::Test {
protected:
    static void SetUpTestSuite()
    {
        unit("kavo-plain.service",
             "ExecStart=/bin/sleep 1000\nExecReload=/bin/sh -c 'sleep 0.3; echo reloaded >>/run/kavo-reloads'\n");
        unit("kavo-slow.service",
             "Type=oneshot\nRemainAfterExit=yes\nExecStart=/bin/sh -c 'sleep 1; echo started >/run/kavo-slow'\n"
             "ExecStop=/bin/sh -c 'sleep 1; rm /run/kavo-slow'\n");
        unit("kavo-fails.service", "Type=oneshot\nExecStart=/bin/false\n");
        unit("kavo-missing.service", "Type=oneshot\nExecStart=/nowhere/at-all\n");
        unit("kavo-late.service", "Type=oneshot\nTimeoutStartSec=1\nExecStart=/bin/sleep 1000\n");
        unit("kavo-bad-reload.service", "ExecStart=/bin/sleep 1000\nExecReload=/bin/false\n");
        unit("kavo-no-reload.service", "ExecStart=/bin/sleep 1000\n");
        unit("kavo-each@.service", "ExecStart=/bin/sleep 1000\n");
        ASSERT_TRUE(succeeds("systemctl daemon-reload"));
    }

    static void TearDownTestSuite()
    {
        run("systemctl stop 'kavo-*'; systemctl reset-failed; rm -f " + UNITS + "kavo-*; systemctl daemon-reload");
    }

    void SetUp() override
    {
        run("systemctl stop 'kavo-*'; systemctl reset-failed; rm -f /run/kavo-*");
        clear_log();
        clear_error();
        // The first call opens libsystemd, which may keep descriptors of its own.
        KAVOCSystemdActiveStatusGet("kavo-plain");
        descriptors_ = open_descriptors();
    }

    void TearDown() override { EXPECT_EQ(descriptors_, open_descriptors()); }

    static bool is_active(const std::string &name) { return succeeds("systemctl is-active --quiet " + name); }

    // A call failed, with one line that tells why.
    static void expect_failure(const std::string &line)
    {
        EXPECT_EQ(EXEC_FAILED, last_error().code);
        EXPECT_EQ("systemd.cpp", last_error().file);
        EXPECT_EQ(LOG_WARNING, logged("systemd.cpp:[0-9]+ " + line))
            << (log_lines().empty() ? "" : log_lines()[0].text);
        EXPECT_EQ(1U, log_lines().size());
    }

    static void expect_silence()
    {
        EXPECT_TRUE(log_lines().empty()) << log_lines()[0].text;
        EXPECT_EQ(NO_ERROR_SET, last_error());
    }

private:
    std::vector<std::string> descriptors_;
};

} // namespace

TEST_F(LiveSystemd, StartsAndStops)
{
    EXPECT_EQ(0, KAVOCSystemdActiveStatusGet("kavo-plain.service"));
    EXPECT_EQ(1, KAVOCSystemdStart("kavo-plain.service"));
    EXPECT_TRUE(is_active("kavo-plain.service"));
    EXPECT_EQ(1, KAVOCSystemdActiveStatusGet("kavo-plain.service"));
    EXPECT_EQ(1, KAVOCSystemdStart("kavo-plain.service")) << "it runs already";
    EXPECT_EQ(1, KAVOCSystemdStop("kavo-plain.service"));
    EXPECT_FALSE(is_active("kavo-plain.service"));
    EXPECT_EQ(0, KAVOCSystemdActiveStatusGet("kavo-plain.service"));
    EXPECT_EQ(1, KAVOCSystemdStop("kavo-plain.service")) << "it is down already";
    expect_silence();
}

TEST_F(LiveSystemd, ANameWithoutATypeIsAService)
{
    EXPECT_EQ(1, KAVOCSystemdStart("kavo-plain"));
    EXPECT_TRUE(is_active("kavo-plain.service"));
    EXPECT_EQ(1, KAVOCSystemdActiveStatusGet("kavo-plain"));
    EXPECT_EQ(1, KAVOCSystemdStop("kavo-plain"));
    EXPECT_EQ(1, KAVOCSystemdStart("kavo-each@eth0.10"));
    EXPECT_TRUE(is_active("kavo-each@eth0.10.service"));
    EXPECT_EQ(1, KAVOCSystemdStop("kavo-each@eth0.10.service"));
    EXPECT_EQ(1, KAVOCSystemdActiveStatusGet("basic.target"));
    expect_silence();
}

TEST_F(LiveSystemd, WaitsForTheEndOfTheJob)
{
    EXPECT_EQ(1, KAVOCSystemdStart("kavo-slow"));
    EXPECT_EQ("started\n", read_file("/run/kavo-slow"));
    EXPECT_EQ(1, KAVOCSystemdStop("kavo-slow"));
    EXPECT_FALSE(exists("/run/kavo-slow"));
    expect_silence();
}

TEST_F(LiveSystemd, Reloads)
{
    ASSERT_EQ(1, KAVOCSystemdStart("kavo-plain"));
    EXPECT_EQ(1, KAVOCSystemdReload("kavo-plain"));
    EXPECT_EQ("reloaded\n", read_file("/run/kavo-reloads"));
    expect_silence();
}

TEST_F(LiveSystemd, AUnitThatReloadsIsActive)
{
    ASSERT_EQ(1, KAVOCSystemdStart("kavo-plain"));
    ASSERT_TRUE(succeeds("systemctl reload --no-block kavo-plain"));
    EXPECT_EQ(1, KAVOCSystemdActiveStatusGet("kavo-plain"));
    EXPECT_EQ(1, KAVOCSystemdStop("kavo-plain"));
}

TEST_F(LiveSystemd, AFailedStartIsAFailure)
{
    EXPECT_EQ(0, KAVOCSystemdStart("kavo-fails"));
    expect_failure("Failed to start kavo-fails.service. \\(its job ended with \"failed\"\\)");
    EXPECT_EQ(0, KAVOCSystemdActiveStatusGet("kavo-fails"));
    EXPECT_EQ(0, KAVOCSystemdStart("kavo-missing"));
    EXPECT_EQ(0, KAVOCSystemdStart("kavo-late"));
    EXPECT_EQ(3U, log_lines().size());
}

TEST_F(LiveSystemd, AFailedReloadIsAFailure)
{
    ASSERT_EQ(1, KAVOCSystemdStart("kavo-bad-reload"));
    EXPECT_EQ(0, KAVOCSystemdReload("kavo-bad-reload"));
    expect_failure("Failed to reload kavo-bad-reload.service. \\(its job ended with \"failed\"\\)");
}

TEST_F(LiveSystemd, ReloadNeedsAUnitThatCan)
{
    ASSERT_EQ(1, KAVOCSystemdStart("kavo-no-reload"));
    EXPECT_EQ(0, KAVOCSystemdReload("kavo-no-reload"));
    expect_failure("Failed to reload kavo-no-reload.service. \\(.*not applicable.*\\)");
    clear_log();
    EXPECT_EQ(0, KAVOCSystemdReload("kavo-plain")) << "it does not run";
    EXPECT_EQ(1U, log_lines().size());
}

TEST_F(LiveSystemd, AnUnknownUnitIsNotActiveAndNothingElse)
{
    EXPECT_EQ(0, KAVOCSystemdActiveStatusGet("kavo-unknown"));
    EXPECT_EQ(0, KAVOCSystemdActiveStatusGet("kavo-unknown@eth0.service"));
    expect_silence();
    EXPECT_EQ(0, KAVOCSystemdStart("kavo-unknown"));
    expect_failure("Failed to start kavo-unknown.service. \\(Unit kavo-unknown.service not found.\\)");
    clear_log();
    EXPECT_EQ(0, KAVOCSystemdStop("kavo-unknown"));
    expect_failure("Failed to stop kavo-unknown.service. \\(Unit kavo-unknown.service not loaded.\\)");
    clear_log();
    EXPECT_EQ(0, KAVOCSystemdReload("kavo-unknown"));
    EXPECT_EQ(1U, log_lines().size());
}

TEST_F(LiveSystemd, TheEnvironmentsBusDoesNotMatter)
{
    setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nowhere/bus", 1);
    EXPECT_EQ(1, KAVOCSystemdStart("kavo-plain"));
    EXPECT_EQ(1, KAVOCSystemdActiveStatusGet("kavo-plain"));
    unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
    expect_silence();
}

TEST_F(LiveSystemd, NoBusIsAFailure)
{
    const pid_t pid = fork();
    if (pid == 0) {
        if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount("tmpfs", "/run/dbus", "tmpfs", 0, nullptr) != 0 ||
            mount("tmpfs", "/run/systemd", "tmpfs", 0, nullptr) != 0)
            _exit(10);
        if (KAVOCSystemdStart("kavo-plain") != 0 || last_error().code != EXEC_FAILED)
            _exit(11);
        if (KAVOCSystemdStop("kavo-plain") != 0 || KAVOCSystemdReload("kavo-plain") != 0)
            _exit(12);
        if (KAVOCSystemdActiveStatusGet("kavo-plain") != -1)
            _exit(13);
        _exit(log_lines().size() == 4 ? 0 : 14);
    }
    int status = 0;
    ASSERT_EQ(pid, waitpid(pid, &status, 0));
    EXPECT_EQ(0, WEXITSTATUS(status));
    EXPECT_FALSE(is_active("kavo-plain"));
}

TEST_F(LiveSystemd, ThreadsAskAtTheSameTime)
{
    std::vector<std::thread> threads;
    std::vector<int> results(8, -5);
    for (size_t i = 0; i < results.size(); ++i)
        threads.emplace_back(
            [&results, i] { results[i] = KAVOCSystemdStart(("kavo-each@" + std::to_string(i)).c_str()); });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(std::vector<int>(8, 1), results);
    for (size_t i = 0; i < results.size(); ++i)
        EXPECT_TRUE(is_active("kavo-each@" + std::to_string(i)));
}
