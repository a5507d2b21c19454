#include "appliance/resolve/resolve_test.h"

namespace {

constexpr char FILE_NAME[] = "net_lnx_set_hostname.cpp";

class SetHostname : public ResolveTest {
protected:
    static constexpr char OLD_NAME[] = "oldbox";
    static constexpr char OLD_HOSTS[] = "127.0.0.1\tlocalhost oldbox\n192.0.2.1\tfriend\n";

    void SetUp() override
    {
        ResolveTest::SetUp();
        if (IsSkipped())
            return;
        ASSERT_EQ(0, sethostname(OLD_NAME, sizeof OLD_NAME - 1));
        unlink(HOSTS);
        unlink(HOSTNAME);
        write_file(HOSTS, OLD_HOSTS);
        write_file(HOSTNAME, "oldbox\n");
        follow("net/hostname_change");
    }

    static std::string hosts_of(const std::string &name)
    {
        return "# Any manual change will be lost if the host name is changed or system upgrades.\n"
               "127.0.0.1\tlocalhost\n::1\t\tlocalhost\n127.0.0.1\t" +
               name + "\n::1\t\t" + name + "\n";
    }

    static std::string kernel_name()
    {
        char name[65] = "";
        EXPECT_EQ(0, gethostname(name, sizeof name));
        return name;
    }

    static void expect_set(const std::string &name)
    {
        EXPECT_EQ(name, kernel_name());
        EXPECT_EQ(name + "\n", read_file(HOSTNAME));
        EXPECT_EQ(hosts_of(name), read_file(HOSTS));
    }

    static void expect_unchanged()
    {
        EXPECT_EQ(OLD_NAME, kernel_name());
        EXPECT_EQ("oldbox\n", read_file(HOSTNAME));
        EXPECT_EQ(OLD_HOSTS, read_file(HOSTS));
        EXPECT_THAT(calls(), IsEmpty());
        EXPECT_TRUE(lock_is_free(0x106));
    }

    // The kernel's name is the new one, the table of hosts still the old one.
    static void expect_old_hosts()
    {
        EXPECT_EQ("box", kernel_name());
        EXPECT_EQ(OLD_HOSTS, read_file(HOSTS));
        EXPECT_THAT(calls(), IsEmpty());
        EXPECT_TRUE(lock_is_free(0x106));
    }

    static void expect_works()
    {
        support::clear_faults();
        EXPECT_EQ(0, KAVOLnxSetHostname("box"));
        expect_set("box");
    }
};

TEST_F(SetHostname, SetsKernelFilesAndLogger)
{
    EXPECT_EQ(0, KAVOLnxSetHostname("box"));
    expect_set("box");
    EXPECT_THAT(calls(), ElementsAre("[unit] [reload] [syslog-ng]", "[event] [net/hostname_change] [post]"));
    EXPECT_THAT(followed(), ElementsAre("net/hostname_change post HOSTNAME=box"));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(SetHostname, MakesMissingFiles)
{
    unlink(HOSTS);
    unlink(HOSTNAME);
    EXPECT_EQ(0, KAVOLnxSetHostname("box"));
    expect_set("box");
}

TEST_F(SetHostname, WritesTheNameInPlaceAndTheHostsAnew)
{
    struct stat name_before {};
    struct stat hosts_before {};
    ASSERT_EQ(0, stat(HOSTNAME, &name_before));
    ASSERT_EQ(0, stat(HOSTS, &hosts_before));
    EXPECT_EQ(0, KAVOLnxSetHostname("b"));
    struct stat name_after {};
    struct stat hosts_after {};
    ASSERT_EQ(0, stat(HOSTNAME, &name_after));
    ASSERT_EQ(0, stat(HOSTS, &hosts_after));
    EXPECT_EQ(name_before.st_ino, name_after.st_ino);
    EXPECT_NE(hosts_before.st_ino, hosts_after.st_ino);
    expect_set("b");
}

TEST_F(SetHostname, TheKernelIsGivenTheTerminatorToo)
{
    // 64 bytes is the most that the kernel takes: the longest name and its terminator.
    const std::string longest(63, 'a');
    EXPECT_EQ(0, KAVOLnxSetHostname(longest.c_str()));
    expect_set(longest);
    EXPECT_EQ(64U, support::last_hostname_size());
    EXPECT_EQ(0, KAVOLnxSetHostname("a"));
    expect_set("a");
    EXPECT_EQ(2U, support::last_hostname_size());
}

TEST_F(SetHostname, OtherCharactersThanANewlineAreTakenAsTheyAre)
{
    for (const std::string name : {"a.b.example", "with blank", " ", "tab\t", "\x01\x7f", "\xff\xfe", "%s%n",
                                   "$(reboot)", "-", "_", "a\r", "#", "..", "/etc/passwd"}) {
        EXPECT_EQ(0, KAVOLnxSetHostname(name.c_str())) << name;
        expect_set(name);
    }
}

TEST_F(SetHostname, NamesOfNoUsableLengthAreRefused)
{
    for (const std::string &name : Texts{"", std::string(64, 'a'), std::string(65, 'a'), std::string(100'000, 'a'),
                                         std::string(63, 'a') + "\n"}) {
        support::clear_error();
        EXPECT_EQ(-1, KAVOLnxSetHostname(name.c_str()));
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_HOSTNAME)) << name;
    }
    support::clear_error();
    EXPECT_EQ(-1, KAVOLnxSetHostname(nullptr));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    expect_unchanged();
}

TEST_F(SetHostname, ANameOfSeveralLinesIsRefused)
{
    for (const char *name : {"\n", "box\n", "\nbox", "box\n6.6.6.6\tbank", "box\nsecond"}) {
        support::clear_error();
        EXPECT_EQ(-1, KAVOLnxSetHostname(name));
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_HOSTNAME)) << name;
    }
    expect_unchanged();
}

// ---- Failures, step by step

TEST_F(SetHostname, WithoutTheLockNothingIsTouched)
{
    fail_call("KLIBCFileLock");
    EXPECT_EQ(-1, KAVOLnxSetHostname("box"));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_LOCK_FAILED));
    expect_unchanged();
    expect_works();
}

TEST_F(SetHostname, ANameThatTheKernelRefusesIsNotWritten)
{
    fail_call("sethostname");
    EXPECT_EQ(-1, KAVOLnxSetHostname("box"));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_SYSTEM));
    expect_unchanged();
    expect_works();
}

TEST_F(SetHostname, ANameFileThatCannotBeOpened)
{
    unlink(HOSTNAME);
    mkdir(HOSTNAME, 0755);
    EXPECT_EQ(-1, KAVOLnxSetHostname("box"));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_OPEN_FAILED));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "fopen failed: Is a directory"));
    EXPECT_THAT(log_lines(), SizeIs(1));
    expect_old_hosts();
    rmdir(HOSTNAME);
    expect_works();
}

TEST_F(SetHostname, ANameFileThatCannotBeClosedIsNotWritten)
{
    fail_call("fclose");
    EXPECT_EQ(-1, KAVOLnxSetHostname("box"));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_WRITE_FAILED));
    expect_old_hosts();
    expect_works();
}

TEST_F(SetHostname, WithoutATemporaryNameTheHostsStay)
{
    fail_call("KLIBCFileITmpName");
    EXPECT_EQ(-1, KAVOLnxSetHostname("box"));
    expect_no_code_of_ours();
    expect_old_hosts();
    expect_works();
}

TEST_F(SetHostname, HostsThatCannotBeWrittenStay)
{
    for (const auto &[function, n] : {std::pair{"fflush", 1}, {"fsync", 1}, {"fclose", 2}}) {
        clear();
        fail_call(function, n);
        EXPECT_EQ(-1, KAVOLnxSetHostname("box")) << function;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_WRITE_FAILED)) << function;
        EXPECT_THAT(log_lines(), IsEmpty());
        EXPECT_EQ("box\n", read_file(HOSTNAME));
        EXPECT_THAT(temporaries(), IsEmpty());
        expect_old_hosts();
    }
    expect_works();
}

TEST_F(SetHostname, HostsThatCannotBeReplacedStay)
{
    fail_call("rename");
    EXPECT_EQ(-1, KAVOLnxSetHostname("box"));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_RENAME_FAILED));
    EXPECT_THAT(temporaries(), IsEmpty());
    expect_old_hosts();
    unlink(HOSTS);
    write_file("/etc/hosts/inside", "kept");
    EXPECT_EQ(-1, KAVOLnxSetHostname("box"));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_RENAME_FAILED));
    EXPECT_EQ("kept", read_file("/etc/hosts/inside"));
    EXPECT_THAT(temporaries(), IsEmpty());
    shell("rm -r /etc/hosts");
    expect_works();
}

TEST_F(SetHostname, AFullDiskLeavesTheHostsWhole)
{
    make_etc_small({HOSTS});
    size_t pages = 0;
    for (;; ++pages) {
        SCOPED_TRACE(pages);
        unlink(HOSTNAME);
        fill_etc(pages);
        clear();
        const int result = KAVOLnxSetHostname("box");
        empty_etc();
        if (result == 0)
            break;
        ASSERT_LT(pages, 20U);
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_WRITE_FAILED));
        EXPECT_EQ(pages == 0 ? "" : "box\n", read_file(HOSTNAME));
        EXPECT_THAT(temporaries(), IsEmpty());
        expect_old_hosts();
    }
    EXPECT_EQ(2U, pages); // one for each file
    expect_set("box");
}

TEST_F(SetHostname, AReadOnlyFolderIsAnOpenFailure)
{
    make_etc_read_only();
    EXPECT_EQ(-1, KAVOLnxSetHostname("box"));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_OPEN_FAILED));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "fopen failed: Read-only file system"));
    EXPECT_EQ("oldbox\n", read_file(HOSTNAME));
    expect_old_hosts();
    // The name can be written alone, the hosts not even begun.
    write_file("/run/hostname", "oldbox\n");
    ASSERT_EQ(0, mount("/run/hostname", HOSTNAME, nullptr, MS_BIND, nullptr));
    clear();
    EXPECT_EQ(-1, KAVOLnxSetHostname("box"));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_OPEN_FAILED));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ("box\n", read_file(HOSTNAME));
    expect_old_hosts();
    ASSERT_EQ(0, umount2(HOSTNAME, MNT_DETACH));
    make_etc_writable();
    expect_works();
}

TEST_F(SetHostname, AFailedReloadSendsNoEvent)
{
    support::answer_unit("reload", 0);
    EXPECT_EQ(-1, KAVOLnxSetHostname("box"));
    EXPECT_EQ(NO_ERROR_SET, last_error()); // the stand-in leaves none, the library has none of its own
    EXPECT_THAT(log_lines(), IsEmpty());
    expect_set("box");
    EXPECT_THAT(calls(), ElementsAre("[unit] [reload] [syslog-ng]"));
    support::answer_unit("reload", 1);
    expect_works();
}

TEST_F(SetHostname, AFailedEventIsAFailureAlthoughAllIsDone)
{
    follow("net/hostname_change", 1);
    EXPECT_EQ(-1, KAVOLnxSetHostname("box"));
    expect_set("box");
    EXPECT_THAT(calls(), ElementsAre("[unit] [reload] [syslog-ng]", "[event] [net/hostname_change] [post]"));
    EXPECT_TRUE(lock_is_free(0x106));
    follow("net/hostname_change");
    fail_call("KLIBPluginSDKInit");
    EXPECT_EQ(-1, KAVOLnxSetHostname("other"));
    expect_set("other");
    expect_works();
}

TEST_F(SetHostname, WaitsFiveSecondsForTheLock)
{
    EXPECT_EQ(0, KAVOLnxSetHostname("box"));
    EXPECT_EQ(5, support::last_lock_wait());
}

TEST_F(SetHostname, HoldsTheLockThroughTheEvent)
{
    std::vector<bool> free;
    const auto look = [&] { free.push_back(lock_is_free(0x105)); };
    for (const char *call : {"sethostname", "rename", "KLIBPluginAction"})
        support::on_call(call, look);
    support::on_unit([&](const std::string &, const std::string &) { look(); });
    EXPECT_EQ(0, KAVOLnxSetHostname("box"));
    EXPECT_THAT(free, ElementsAre(false, false, false, false));
    EXPECT_TRUE(lock_is_free(0x106));
}

// The whole new table is on the disk before it is put in place.
TEST_F(SetHostname, TheHostsAreWholeBeforeTheyArePutInPlace)
{
    Texts steps;
    support::on_call("fsync", [&] { steps.emplace_back("sync"); });
    support::on_call("rename", [&] {
        steps.emplace_back("rename");
        EXPECT_EQ(OLD_HOSTS, read_file(HOSTS));
        ASSERT_THAT(temporaries(), SizeIs(1));
        EXPECT_EQ(hosts_of("box"), read_file("/etc/" + temporaries()[0]));
    });
    EXPECT_EQ(0, KAVOLnxSetHostname("box"));
    EXPECT_THAT(steps, ElementsAre("sync", "rename"));
}

} // namespace
