#include "appliance/resolve/resolve_test.h"

namespace {

constexpr char FILE_NAME[] = "net_dns_update.cpp";

class DnsUpdate : public ResolveTest {
protected:
    void SetUp() override
    {
        ResolveTest::SetUp();
        if (IsSkipped())
            return;
        follow("net/dns_change");
        mode_is("static");
    }

    // What a source's content becomes in /etc/resolv.conf.
    static Texts servers_of(const std::string &source)
    {
        write_file(RESOLV, OLD_RESOLV);
        write_file(STATIC, source);
        EXPECT_EQ(0, KAVONetDNSUpdate());
        return support::lines_of(read_file(RESOLV));
    }

    // Counts the times that the lock is given back.
    static int unlocks(const std::function<void()> &call)
    {
        int count = 0;
        support::on_call("KLIBCFileUnlock", [&] { ++count; });
        call();
        support::on_call("KLIBCFileUnlock", [] {});
        return count;
    }
};

// ---- Where the servers come from

TEST_F(DnsUpdate, StaticServersAreTheAdministrators)
{
    write_file(STATIC, "nameserver\t192.0.2.1\nnameserver\t2001:db8::1\n");
    write_file(AUTO_4, "nameserver 192.0.2.7\n");
    EXPECT_EQ(0, KAVONetDNSUpdate());
    EXPECT_EQ("nameserver\t192.0.2.1\nnameserver\t2001:db8::1\n", read_file(RESOLV));
    EXPECT_EQ(0644U, permissions(RESOLV));
    EXPECT_THAT(followed(), ElementsAre("net/dns_change pre NITEMS=2 DNS_1=192.0.2.1 DNS_2=2001:db8::1",
                                        "net/dns_change post NITEMS=2 DNS_1=192.0.2.1 DNS_2=2001:db8::1"));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(DnsUpdate, AutomaticServersAreBothFamiliesIPv4First)
{
    write_file(STATIC, "nameserver\t192.0.2.1\n");
    write_file(AUTO_6, "nameserver 2001:db8::1\nnameserver 2001:db8::2\n");
    write_file(AUTO_4, "nameserver 192.0.2.7\nnameserver\t192.0.2.8\n");
    // Every setting but "static", and none at all, is automatic.
    for (const char *settings : {"dns_mode=\"auto\"\n", "", "dns_mode=\"Static\"\n", "dns_mode=\n",
                                 "dns_mode_=static\n", "dns_mode=\"static2\"\n"}) {
        write_file(SETTINGS, settings);
        write_file(RESOLV, OLD_RESOLV);
        EXPECT_EQ(0, KAVONetDNSUpdate()) << settings;
        EXPECT_EQ("nameserver\t192.0.2.7\nnameserver\t192.0.2.8\nnameserver\t2001:db8::1\nnameserver\t2001:db8::2\n",
                  read_file(RESOLV));
    }
    unlink(SETTINGS);
    write_file(RESOLV, OLD_RESOLV);
    EXPECT_EQ(0, KAVONetDNSUpdate());
    EXPECT_NE(OLD_RESOLV, read_file(RESOLV));
}

TEST_F(DnsUpdate, OneFamilyAloneWillDo)
{
    mode_is("auto");
    write_file(AUTO_6, "nameserver 2001:db8::1\n");
    EXPECT_EQ(0, KAVONetDNSUpdate());
    EXPECT_EQ("nameserver\t2001:db8::1\n", read_file(RESOLV));
    unlink(AUTO_6);
    write_file(AUTO_4, "nameserver 192.0.2.7\n");
    EXPECT_EQ(0, KAVONetDNSUpdate());
    EXPECT_EQ("nameserver\t192.0.2.7\n", read_file(RESOLV));
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(DnsUpdate, WithoutServersTheFileStaysAndNothingIsReloaded)
{
    support::answer_unit("active", 1);
    for (const char *mode : {"auto", "static"}) {
        mode_is(mode);
        EXPECT_EQ(0, KAVONetDNSUpdate());
    }
    write_file(STATIC, "");
    write_file(AUTO_4, "");
    write_file(AUTO_6, "");
    write_file(OPTION, "domain\texample.org\n");
    for (const char *mode : {"auto", "static"}) {
        mode_is(mode);
        EXPECT_EQ(0, KAVONetDNSUpdate());
    }
    EXPECT_EQ(OLD_RESOLV, read_file(RESOLV));
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_THAT(followed(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

// ---- How their lines are read

TEST_F(DnsUpdate, BlanksAroundAndBetweenDoNotCount)
{
    EXPECT_THAT(servers_of("  nameserver   192.0.2.1  \n\tnameserver\t \t192.0.2.2\r\nnameserver192.0.2.3\n"
                           "nameserver 192.0.2.4 # the last"),
                ElementsAre("nameserver\t192.0.2.1", "nameserver\t192.0.2.2", "nameserver\t192.0.2.3",
                            "nameserver\t192.0.2.4"));
}

TEST_F(DnsUpdate, ALineThatNamesNoServerRepeatsTheOneBefore)
{
    EXPECT_THAT(servers_of("nameserver 192.0.2.1\n# comment\nnameserver 192.0.2.2\n\nnameserver\nName 192.0.2.9\n"),
                ElementsAre("nameserver\t192.0.2.1", "nameserver\t192.0.2.1", "nameserver\t192.0.2.2",
                            "nameserver\t192.0.2.2", "nameserver\t192.0.2.2", "nameserver\t192.0.2.2"));
    EXPECT_THAT(servers_of("# comment\nnameserver 192.0.2.1\n"),
                ElementsAre("nameserver\t", "nameserver\t192.0.2.1")); // nothing is before the first
    EXPECT_THAT(servers_of("\n"), ElementsAre("nameserver\t"));
}

TEST_F(DnsUpdate, TheLastIPv4ServerIsBeforeTheFirstIPv6One)
{
    mode_is("auto");
    write_file(AUTO_4, "nameserver 192.0.2.7\n");
    write_file(AUTO_6, "# comment\nnameserver 2001:db8::1\n");
    EXPECT_EQ(0, KAVONetDNSUpdate());
    EXPECT_EQ("nameserver\t192.0.2.7\nnameserver\t192.0.2.7\nnameserver\t2001:db8::1\n", read_file(RESOLV));
}

TEST_F(DnsUpdate, OverLongLinesAreCut)
{
    // 1023 bytes of a line are looked at, its keyword and blank among them.
    EXPECT_THAT(servers_of("nameserver " + std::string(1012, 'a') + "\n"),
                ElementsAre("nameserver\t" + std::string(1012, 'a')));
    EXPECT_THAT(servers_of("nameserver " + std::string(100'000, 'a') + "\nnameserver 192.0.2.1\n"),
                ElementsAre("nameserver\t" + std::string(1012, 'a'), "nameserver\t192.0.2.1"));
    EXPECT_THAT(servers_of("nameserver" + std::string(1013, ' ') + "192.0.2.66\nnameserver 192.0.2.1\n"),
                ElementsAre("nameserver\t", "nameserver\t192.0.2.1"));
    EXPECT_THAT(servers_of("nameserver 192.0.2.1\n" + std::string(1023, 'x') + "nameserver 192.0.2.66\n"),
                ElementsAre("nameserver\t192.0.2.1", "nameserver\t192.0.2.1"));
}

TEST_F(DnsUpdate, BinaryLinesAreRead)
{
    const std::string source = bytes("nameserver 192.0\0.2.1\n\0nameserver 192.0.2.66\nnameserver \xff\xfe\x01\n\x80");
    EXPECT_THAT(servers_of(source), ElementsAre("nameserver\t192.0", "nameserver\t192.0", "nameserver\t\xff\xfe\x01",
                                                "nameserver\t\xff\xfe\x01"));
}

TEST_F(DnsUpdate, ATruncatedLastLineCounts)
{
    EXPECT_THAT(servers_of("nameserver 192.0.2.1\nnameserver 192.0.2"),
                ElementsAre("nameserver\t192.0.2.1", "nameserver\t192.0.2"));
    EXPECT_THAT(servers_of("nameserver 192.0.2.1\nnames"),
                ElementsAre("nameserver\t192.0.2.1", "nameserver\t192.0.2.1"));
}

// ---- Options

TEST_F(DnsUpdate, TheDomainLineIsTheOneOption)
{
    write_file(STATIC, "nameserver\t192.0.2.1\n");
    const auto resolv_with = [](const std::string &options) {
        write_file(OPTION, options);
        EXPECT_EQ(0, KAVONetDNSUpdate());
        return read_file(RESOLV);
    };
    const std::string server = "nameserver\t192.0.2.1\n";
    EXPECT_EQ(server + "domain\texample.org\n", resolv_with("domain\texample.org\n"));
    EXPECT_EQ(server + "domain\texample.org\n",
              resolv_with("search x\ndomain\texample.org\ndomain\tother\noptions y\n"));
    EXPECT_EQ(server + "domain\ta  b \n", resolv_with("domain\ta  b "));
    EXPECT_EQ(server + "domain\t\n", resolv_with("domain\t"));
    EXPECT_EQ(server + "domain\texample.org\r\n", resolv_with("domain\texample.org\r\n"));
    for (const char *none :
         {"", "domain example.org\n", " domain\texample.org\n", "search\tx\n", "domain", "#domain\tx"})
        EXPECT_EQ(server, resolv_with(none)) << none;
    EXPECT_EQ(server + "domain\t" + std::string(1016, 'x') + "\n", resolv_with("domain\t" + std::string(5000, 'x')));
    EXPECT_EQ(server + "domain\tex\n", resolv_with(bytes("domain\tex\0ample\n")));
}

TEST_F(DnsUpdate, OptionsThatCannotBeReadAreNone)
{
    write_file(STATIC, "nameserver\t192.0.2.1\n");
    write_file("/etc/resolv.conf.option/inside", "");
    EXPECT_EQ(0, KAVONetDNSUpdate());
    EXPECT_EQ("nameserver\t192.0.2.1\n", read_file(RESOLV));
}

// ---- The services

TEST_F(DnsUpdate, ActiveServicesAreReloadedAfterTheChange)
{
    write_file(STATIC, "nameserver\t192.0.2.1\n");
    support::answer_unit("active", 1);
    EXPECT_EQ(0, KAVONetDNSUpdate());
    EXPECT_THAT(calls(), ElementsAre("[event] [net/dns_change] [pre]", "[event] [net/dns_change] [post]",
                                     "[unit] [active] [ddnsd]", "[unit] [reload] [ddnsd]",
                                     "[unit] [active] [kavorelayd]", "[unit] [reload] [kavorelayd]"));
}

TEST_F(DnsUpdate, OnlyActiveServicesAreReloaded)
{
    write_file(STATIC, "nameserver\t192.0.2.1\n");
    for (const int answer : {0, -1, 2}) {
        clear();
        support::answer_unit("active", answer);
        EXPECT_EQ(0, KAVONetDNSUpdate());
        EXPECT_THAT(calls(), testing::IsSupersetOf({"[unit] [active] [ddnsd]", "[unit] [active] [kavorelayd]"}));
        EXPECT_THAT(calls(), SizeIs(4)) << answer;
    }
    support::on_unit([](const std::string &verb, const std::string &unit) {
        if (verb == "active")
            support::answer_unit("active", unit == "kavorelayd" ? 1 : 0);
    });
    clear();
    EXPECT_EQ(0, KAVONetDNSUpdate());
    EXPECT_EQ("[unit] [reload] [kavorelayd]", calls().back());
    EXPECT_THAT(calls(), SizeIs(5));
}

TEST_F(DnsUpdate, AFailedReloadIsNoFailure)
{
    write_file(STATIC, "nameserver\t192.0.2.1\n");
    support::answer_unit("active", 1);
    support::answer_unit("reload", 0);
    EXPECT_EQ(0, KAVONetDNSUpdate());
    EXPECT_THAT(calls(), testing::Contains("[unit] [reload] [kavorelayd]"));
    EXPECT_EQ("nameserver\t192.0.2.1\n", read_file(RESOLV));
}

TEST_F(DnsUpdate, AFailingSubscriberIsNoFailure)
{
    write_file(STATIC, "nameserver\t192.0.2.1\n");
    follow("net/dns_change", 1);
    EXPECT_EQ(0, KAVONetDNSUpdate());
    EXPECT_EQ("nameserver\t192.0.2.1\n", read_file(RESOLV));
}

// ---- The lock

TEST_F(DnsUpdate, WaitsFiveSecondsForTheLock)
{
    EXPECT_EQ(0, KAVONetDNSUpdate());
    EXPECT_EQ(5, support::last_lock_wait());
}

TEST_F(DnsUpdate, HoldsTheLockThroughout)
{
    write_file(STATIC, "nameserver\t192.0.2.1\n");
    support::answer_unit("active", 1);
    std::vector<bool> free;
    const auto look = [&] { free.push_back(lock_is_free(0x105)); };
    support::on_unit([&](const std::string &, const std::string &) { look(); });
    for (const char *call : {"KLIBCFileReadLines", "KLIBPluginAction", "rename"})
        support::on_call(call, look);
    EXPECT_EQ(0, KAVONetDNSUpdate());
    EXPECT_EQ(std::vector<bool>(8, false), free);
    EXPECT_TRUE(lock_is_free(0x106));
}

TEST_F(DnsUpdate, WithoutTheLockNothingIsTouched)
{
    write_file(STATIC, "nameserver\t192.0.2.1\n");
    fail_call("KLIBCFileLock");
    EXPECT_EQ(-1, KAVONetDNSUpdate());
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_LOCK_FAILED));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "KLIBCFileLock failed.[0x5151 fault.c:51]"));
    EXPECT_THAT(log_lines(), SizeIs(1));
    EXPECT_EQ(OLD_RESOLV, read_file(RESOLV));
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_EQ(0, KAVONetDNSUpdate());
    EXPECT_EQ("nameserver\t192.0.2.1\n", read_file(RESOLV));
}

// Also where it was not taken: a caller that holds the lock itself counts on it.
TEST_F(DnsUpdate, GivesTheLockBackOnceOnEveryPath)
{
    write_file(STATIC, "nameserver\t192.0.2.1\n");
    EXPECT_EQ(1, unlocks([] { EXPECT_EQ(0, KAVONetDNSUpdate()); }));
    const std::pair<const char *, int> failures[] = {
        {"KLIBCSzListAlloc", 1},   {"KLIBCSzListAlloc", 2}, {"KLIBCSzListAlloc", 3},      {"KLIBCFileLock", 1},
        {"KLIBCFileReadLines", 1}, {"KLIBCSzListPush", 1},  {"KLIBCFileTempFileOpen", 1}, {"rename", 1}};
    for (const auto &[function, n] : failures) {
        EXPECT_EQ(1, unlocks([&, call = function, number = n] {
                      fail_call(call, number);
                      EXPECT_EQ(-1, KAVONetDNSUpdate());
                  }))
            << function << n;
        EXPECT_TRUE(lock_is_free(0x106)) << function;
    }
    unlink(STATIC);
    EXPECT_EQ(1, unlocks([] { EXPECT_EQ(0, KAVONetDNSUpdate()); }));
}

TEST_F(DnsUpdate, ACallersOwnHoldIsGivenBackWhenTheLockWasNotTaken)
{
    ASSERT_EQ(0, KLIBCFileLock(0x106, 0));
    write_file(STATIC, "nameserver\t192.0.2.1\n");
    EXPECT_EQ(0, KAVONetDNSUpdate());
    EXPECT_FALSE(lock_is_free(0x106)); // taken once more and given back
    fail_call("KLIBCFileLock");
    EXPECT_EQ(-1, KAVONetDNSUpdate());
    EXPECT_TRUE(lock_is_free(0x106));
}

// ---- Failures

TEST_F(DnsUpdate, WithoutMemoryNothingIsTouched)
{
    write_file(STATIC, "nameserver\t192.0.2.1\n");
    for (const int n : {1, 2, 3}) {
        clear();
        fail_call("KLIBCSzListAlloc", n);
        EXPECT_EQ(-1, KAVONetDNSUpdate());
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_OUT_OF_MEMORY));
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to alloc memory."));
        EXPECT_THAT(log_lines(), SizeIs(1));
    }
    EXPECT_EQ(OLD_RESOLV, read_file(RESOLV));
    EXPECT_EQ(0, KAVONetDNSUpdate());
}

TEST_F(DnsUpdate, AListThatCannotGrowEndsTheCall)
{
    write_file(STATIC, "nameserver\t192.0.2.1\nnameserver\t192.0.2.2\n");
    write_file(OPTION, "domain\texample.org\n");
    for (const int n : {1, 2, 3}) { // two servers and the option
        clear();
        fail_call("KLIBCSzListPush", n);
        EXPECT_EQ(-1, KAVONetDNSUpdate());
        expect_no_code_of_ours();
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Cannot push the list"));
        EXPECT_THAT(log_lines(), SizeIs(1));
    }
    EXPECT_EQ(OLD_RESOLV, read_file(RESOLV));
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(DnsUpdate, ASourceThatCannotBeReadTakesNoServerAway)
{
    mode_is("auto");
    write_file(AUTO_6, "nameserver 2001:db8::1\n");
    write_file(std::string(AUTO_4) + "/inside", "");
    EXPECT_EQ(-1, KAVONetDNSUpdate());
    EXPECT_THAT(log_lines(), SizeIs(1));
    EXPECT_NE(-1, support::logged("net_dns_update\\.cpp:[0-9]+ Failed to read "
                                  "/etc/iproute2/config/resolv4\\.conf\\.\\[0x0A00 .*\\.cpp:[0-9]+\\]"));
    EXPECT_EQ(OLD_RESOLV, read_file(RESOLV));
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(DnsUpdate, AFailedRewriteReloadsNothing)
{
    write_file(STATIC, "nameserver\t192.0.2.1\n");
    support::answer_unit("active", 1);
    for (const auto &[function, code] :
         {std::pair<const char *, unsigned>{"KLIBCFileTempFileOpen", NET_ERR_OPEN_FAILED},
          {"fflush", NET_ERR_WRITE_FAILED},
          {"rename", NET_ERR_RENAME_FAILED}}) {
        clear();
        fail_call(function);
        EXPECT_EQ(-1, KAVONetDNSUpdate());
        EXPECT_TRUE(support::is_set_in("net_dns_file_set.cpp", code)) << function;
        EXPECT_THAT(calls(), testing::Not(testing::Contains(testing::HasSubstr("[unit]"))));
        EXPECT_EQ(OLD_RESOLV, read_file(RESOLV));
    }
    EXPECT_EQ(0, KAVONetDNSUpdate());
}

TEST_F(DnsUpdate, AFullDiskAndAReadOnlyFolderLeaveTheOldFile)
{
    write_file(STATIC, "nameserver\t192.0.2.1\n");
    make_etc_small({RESOLV, STATIC, SETTINGS});
    fill_etc(0);
    EXPECT_EQ(-1, KAVONetDNSUpdate());
    EXPECT_TRUE(support::is_set_in("net_dns_file_set.cpp", NET_ERR_WRITE_FAILED));
    EXPECT_EQ(OLD_RESOLV, read_file(RESOLV));
    empty_etc();
    make_etc_read_only();
    EXPECT_EQ(-1, KAVONetDNSUpdate());
    EXPECT_TRUE(support::is_set_in("net_dns_file_set.cpp", NET_ERR_OPEN_FAILED));
    EXPECT_EQ(OLD_RESOLV, read_file(RESOLV));
    make_etc_writable();
    EXPECT_EQ(0, KAVONetDNSUpdate());
    EXPECT_EQ("nameserver\t192.0.2.1\n", read_file(RESOLV));
}

} // namespace
