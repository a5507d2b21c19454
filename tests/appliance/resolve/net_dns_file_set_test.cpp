#include "appliance/resolve/resolve_test.h"

namespace {

constexpr char FILE_NAME[] = "net_dns_file_set.cpp";

class DnsFileSet : public ResolveTest {
protected:
    void SetUp() override
    {
        ResolveTest::SetUp();
        if (!IsSkipped())
            follow("net/dns_change");
    }
};

TEST_F(DnsFileSet, WritesServersThenOptions)
{
    List servers({"192.0.2.1", "2001:db8::1"});
    List options({"domain\texample.org", "options rotate"});
    EXPECT_EQ(0, KAVONetDNSFileSet(servers.get(), options.get()));
    EXPECT_EQ("nameserver\t192.0.2.1\nnameserver\t2001:db8::1\ndomain\texample.org\noptions rotate\n",
              read_file(RESOLV));
    EXPECT_EQ(0644U, permissions(RESOLV));
    EXPECT_THAT(followed(), ElementsAre("net/dns_change pre NITEMS=2 DNS_1=192.0.2.1 DNS_2=2001:db8::1",
                                        "net/dns_change post NITEMS=2 DNS_1=192.0.2.1 DNS_2=2001:db8::1"));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(DnsFileSet, OptionsMayBeMissingOrNone)
{
    List servers({"192.0.2.1"});
    List none;
    EXPECT_EQ(0, KAVONetDNSFileSet(servers.get(), nullptr));
    EXPECT_EQ("nameserver\t192.0.2.1\n", read_file(RESOLV));
    write_file(RESOLV, OLD_RESOLV);
    EXPECT_EQ(0, KAVONetDNSFileSet(servers.get(), none.get()));
    EXPECT_EQ("nameserver\t192.0.2.1\n", read_file(RESOLV));
}

TEST_F(DnsFileSet, TheModeDependsOnNothing)
{
    List servers({"192.0.2.1"});
    chmod(RESOLV, 0600);
    const mode_t before = umask(077);
    EXPECT_EQ(0, KAVONetDNSFileSet(servers.get(), nullptr));
    EXPECT_EQ(0644U, permissions(RESOLV));
    umask(0);
    EXPECT_EQ(0, KAVONetDNSFileSet(servers.get(), nullptr));
    EXPECT_EQ(0644U, permissions(RESOLV));
    umask(before);
}

TEST_F(DnsFileSet, AMissingFileIsMadeAndALinkIsReplaced)
{
    List servers({"192.0.2.1"});
    unlink(RESOLV);
    EXPECT_EQ(0, KAVONetDNSFileSet(servers.get(), nullptr));
    EXPECT_EQ("nameserver\t192.0.2.1\n", read_file(RESOLV));
    unlink(RESOLV);
    write_file("/etc/elsewhere", "kept");
    ASSERT_EQ(0, symlink("/etc/elsewhere", RESOLV));
    EXPECT_EQ(0, KAVONetDNSFileSet(servers.get(), nullptr));
    EXPECT_EQ("kept", read_file("/etc/elsewhere"));
    EXPECT_EQ("nameserver\t192.0.2.1\n", read_file(RESOLV));
}

TEST_F(DnsFileSet, TheTextsAreWrittenAsTheyAre)
{
    List servers({"", "not an address", "%s%n$(reboot)", std::string(5000, 's')});
    List options({"", std::string(5000, 'o'), "with\rreturn"});
    EXPECT_EQ(0, KAVONetDNSFileSet(servers.get(), options.get()));
    EXPECT_EQ("nameserver\t\nnameserver\tnot an address\nnameserver\t%s%n$(reboot)\nnameserver\t" +
                  std::string(5000, 's') + "\n\n" + std::string(5000, 'o') + "\nwith\rreturn\n",
              read_file(RESOLV));
}

// The first event comes when the new file is whole but not yet in its place, the second when it is.
TEST_F(DnsFileSet, TheEventsStandBeforeAndAfterTheExchange)
{
    Texts seen;
    support::on_call("KLIBPluginAction", [&] {
        seen.push_back("in place: " + read_file(RESOLV));
        for (const std::string &name : temporaries())
            seen.push_back("beside: " + read_file("/etc/" + name));
        seen.push_back(permissions(RESOLV) == 0644 ? "for all" : "for root");
    });
    chmod(RESOLV, 0600);
    List servers({"192.0.2.1"});
    EXPECT_EQ(0, KAVONetDNSFileSet(servers.get(), nullptr));
    EXPECT_THAT(seen, ElementsAre("in place: nameserver\t192.0.2.99\n", "beside: nameserver\t192.0.2.1\n", "for root",
                                  "in place: nameserver\t192.0.2.1\n", "for all"));
}

TEST_F(DnsFileSet, TakesNoLock)
{
    bool free = false;
    support::on_call("KLIBPluginAction", [&] { free = lock_is_free(0x106); });
    List servers({"192.0.2.1"});
    EXPECT_EQ(0, KAVONetDNSFileSet(servers.get(), nullptr));
    EXPECT_TRUE(free);
}

TEST_F(DnsFileSet, NoServersAreRefusedWithoutACode)
{
    List none;
    List options({"domain\texample.org"});
    EXPECT_EQ(-1, KAVONetDNSFileSet(nullptr, nullptr));
    EXPECT_EQ(-1, KAVONetDNSFileSet(none.get(), options.get()));
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_THAT(followed(), IsEmpty());
    EXPECT_EQ(OLD_RESOLV, read_file(RESOLV));
}

TEST_F(DnsFileSet, ATextOfSeveralLinesIsRefused)
{
    List good({"192.0.2.1"});
    for (const char *text : {"\n", "192.0.2.1\n", "192.0.2.1\nnameserver\t192.0.2.66", "\n192.0.2.1"}) {
        List bad({"192.0.2.1", text});
        for (const auto &[servers, options] : {std::pair{&bad, &good}, std::pair{&good, &bad}}) {
            support::clear_error();
            EXPECT_EQ(-1, KAVONetDNSFileSet(servers->get(), options->get()));
            EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
        }
    }
    EXPECT_EQ(OLD_RESOLV, read_file(RESOLV));
    EXPECT_THAT(followed(), IsEmpty());
}

TEST_F(DnsFileSet, ATextThatIsMissingIsRefused)
{
    List servers({"192.0.2.1", "192.0.2.2"});
    List options({"domain\texample.org"});
    for (const int n : {1, 2, 3}) { // a server, the other one, the option
        support::clear_error();
        fail_call("KLIBCSzListGet", n);
        EXPECT_EQ(-1, KAVONetDNSFileSet(servers.get(), options.get())) << n;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << n;
    }
    support::clear_error();
    fail_call("KLIBCSzListGet", 4); // it gets lost between the look at it and the writing
    EXPECT_EQ(-1, KAVONetDNSFileSet(servers.get(), options.get()));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_WRITE_FAILED));
    EXPECT_EQ(OLD_RESOLV, read_file(RESOLV));
    EXPECT_THAT(followed(), IsEmpty());
}

TEST_F(DnsFileSet, ATemporaryFileThatCannotBeMadeIsAnOpenFailure)
{
    fail_call("KLIBCFileTempFileOpen");
    List servers({"192.0.2.1"});
    EXPECT_EQ(-1, KAVONetDNSFileSet(servers.get(), nullptr));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_OPEN_FAILED));
    EXPECT_EQ(OLD_RESOLV, read_file(RESOLV));
    EXPECT_THAT(followed(), IsEmpty());
    EXPECT_EQ(0, KAVONetDNSFileSet(servers.get(), nullptr));
}

TEST_F(DnsFileSet, AFailedFlushOrSyncIsAWriteFailure)
{
    List servers({"192.0.2.1"});
    for (const char *function : {"fflush", "fsync"}) {
        support::clear_error();
        fail_call(function);
        EXPECT_EQ(-1, KAVONetDNSFileSet(servers.get(), nullptr)) << function;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_WRITE_FAILED)) << function;
        EXPECT_EQ(OLD_RESOLV, read_file(RESOLV));
        EXPECT_THAT(temporaries(), IsEmpty());
        EXPECT_THAT(followed(), IsEmpty());
    }
    EXPECT_EQ(0, KAVONetDNSFileSet(servers.get(), nullptr));
}

// The new file is whole on the disk before it is put in its place.
TEST_F(DnsFileSet, IsFlushedAndSyncedBeforeItIsPutInPlace)
{
    Texts steps;
    support::on_call("fflush", [&] { steps.emplace_back("flush"); });
    support::on_call("fsync", [&] {
        ASSERT_THAT(temporaries(), SizeIs(1));
        steps.push_back("sync " + read_file("/etc/" + temporaries()[0]));
    });
    support::on_call("KLIBPluginAction", [&] { steps.emplace_back("event"); });
    support::on_call("rename", [&] { steps.push_back("rename over " + read_file(RESOLV)); });
    List servers({"192.0.2.1"});
    EXPECT_EQ(0, KAVONetDNSFileSet(servers.get(), nullptr));
    EXPECT_THAT(steps, ElementsAre("flush", "sync nameserver\t192.0.2.1\n", "event",
                                   std::string("rename over ") + OLD_RESOLV, "event"));
}

TEST_F(DnsFileSet, AFullDiskLeavesTheOldFile)
{
    make_etc_small({RESOLV});
    // 300 servers fill three pages: the disk is full at the first, at a later one and at the flush, in servers and options.
    List servers(Texts(300, "2001:db8:1234:5678:9abc:def0:1234:5678"));
    List options(Texts(300, "options that are longer than a few letters"));
    for (size_t pages = 0;; ++pages) {
        SCOPED_TRACE(pages);
        fill_etc(pages);
        support::clear_error();
        const int result = KAVONetDNSFileSet(servers.get(), options.get());
        if (result == 0) {
            EXPECT_EQ(600U, support::lines_of(read_file(RESOLV)).size());
            EXPECT_EQ(7U, pages);
            EXPECT_THAT(followed(), SizeIs(2));
            break;
        }
        ASSERT_LT(pages, 20U);
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_WRITE_FAILED));
        EXPECT_EQ(OLD_RESOLV, read_file(RESOLV));
        EXPECT_THAT(temporaries(), IsEmpty());
        EXPECT_THAT(followed(), IsEmpty());
    }
    empty_etc();
    EXPECT_EQ(0, KAVONetDNSFileSet(servers.get(), options.get()));
}

TEST_F(DnsFileSet, AReadOnlyFolderIsAnOpenFailure)
{
    make_etc_read_only();
    List servers({"192.0.2.1"});
    EXPECT_EQ(-1, KAVONetDNSFileSet(servers.get(), nullptr));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_OPEN_FAILED));
    EXPECT_EQ(OLD_RESOLV, read_file(RESOLV));
    EXPECT_THAT(followed(), IsEmpty());
    make_etc_writable();
    EXPECT_EQ(0, KAVONetDNSFileSet(servers.get(), nullptr));
}

TEST_F(DnsFileSet, ATargetThatCannotBeReplacedHasNoSecondEvent)
{
    unlink(RESOLV);
    write_file("/etc/resolv.conf/inside", "kept");
    List servers({"192.0.2.1"});
    EXPECT_EQ(-1, KAVONetDNSFileSet(servers.get(), nullptr));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_RENAME_FAILED));
    EXPECT_THAT(followed(), ElementsAre("net/dns_change pre NITEMS=1 DNS_1=192.0.2.1"));
    EXPECT_EQ("kept", read_file("/etc/resolv.conf/inside"));
    EXPECT_THAT(temporaries(), IsEmpty());
    shell("rm -r /etc/resolv.conf");
    EXPECT_EQ(0, KAVONetDNSFileSet(servers.get(), nullptr));
    EXPECT_EQ("nameserver\t192.0.2.1\n", read_file(RESOLV));
}

TEST_F(DnsFileSet, AFailedRenameLeavesTheOldFile)
{
    fail_call("rename");
    List servers({"192.0.2.1"});
    EXPECT_EQ(-1, KAVONetDNSFileSet(servers.get(), nullptr));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_RENAME_FAILED));
    EXPECT_EQ(OLD_RESOLV, read_file(RESOLV));
    EXPECT_THAT(followed(), SizeIs(1));
}

TEST_F(DnsFileSet, AFailedChangeOfTheModeIsOnlyLogged)
{
    fail_call("chmod");
    List servers({"192.0.2.1"});
    EXPECT_EQ(0, KAVONetDNSFileSet(servers.get(), nullptr));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "chmod /etc/resolv.conf failed: Input/output error"));
    EXPECT_THAT(log_lines(), SizeIs(1));
    EXPECT_EQ("nameserver\t192.0.2.1\n", read_file(RESOLV));
    EXPECT_EQ(0600U, permissions(RESOLV));
    EXPECT_THAT(followed(), SizeIs(2));
}

TEST_F(DnsFileSet, AFailingSubscriberStopsNothing)
{
    follow("net/dns_change", 1);
    List servers({"192.0.2.1"});
    EXPECT_EQ(0, KAVONetDNSFileSet(servers.get(), nullptr));
    EXPECT_EQ("nameserver\t192.0.2.1\n", read_file(RESOLV));
    EXPECT_THAT(followed(), SizeIs(2));
    fail_call("KLIBPluginSDKInit", 0);
    List other({"192.0.2.2"});
    EXPECT_EQ(0, KAVONetDNSFileSet(other.get(), nullptr));
    EXPECT_EQ("nameserver\t192.0.2.2\n", read_file(RESOLV));
}

} // namespace
