#include "appliance/resolve/resolve_test.h"

namespace {

constexpr char FILE_NAME[] = "net_dns_list_set.cpp";

class DnsListSet : public ResolveTest {
protected:
    void SetUp() override
    {
        ResolveTest::SetUp();
        if (IsSkipped())
            return;
        write_file(STATIC, OLD_STATIC);
        mode_is("auto");
        follow("net/dns_config_change");
        follow("net/dns_change");
    }

    static constexpr char OLD_STATIC[] = "nameserver\t192.0.2.98\n";
    static constexpr char NEW[] = "nameserver\t192.0.2.1\nnameserver\t2001:db8::1\n";
    static constexpr char TOLD[] = " NITEMS=2 DNS_1=192.0.2.1 DNS_2=2001:db8::1";
    static constexpr char CONFIG_PRE[] =
        "net/dns_config_change pre INTERFACE= NITEMS=2 DNS_1=192.0.2.1 DNS_2=2001:db8::1";

    static void expect_nothing_changed()
    {
        EXPECT_EQ(OLD_STATIC, read_file(STATIC));
        EXPECT_EQ(OLD_RESOLV, read_file(RESOLV));
        EXPECT_EQ("dns_mode=\"auto\"\n", read_file(SETTINGS));
        EXPECT_THAT(temporaries(), IsEmpty());
    }

    // Whether the next call works.
    void expect_works()
    {
        EXPECT_EQ(0, KAVONetDNSListSet(servers.get()));
        EXPECT_EQ(NEW, read_file(STATIC));
        EXPECT_EQ(NEW, read_file(RESOLV));
    }

    List servers{{"192.0.2.1", "2001:db8::1"}};
};

TEST_F(DnsListSet, MakesTheListTheServersInUse)
{
    write_file(OPTION, "domain\texample.org\n");
    EXPECT_EQ(0, KAVONetDNSListSet(servers.get()));
    EXPECT_EQ(NEW, read_file(STATIC));
    EXPECT_EQ(std::string(NEW) + "domain\texample.org\n", read_file(RESOLV));
    EXPECT_EQ("dns_mode=\"static\"\n", read_file(SETTINGS));
    EXPECT_THAT(followed(),
                ElementsAre(CONFIG_PRE, std::string("net/dns_change pre") + TOLD,
                            std::string("net/dns_change post") + TOLD,
                            "net/dns_config_change post INTERFACE= NITEMS=2 DNS_1=192.0.2.1 DNS_2=2001:db8::1"));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(DnsListSet, TheAdministratorsFileIsForRootAlone)
{
    const mode_t before = umask(0);
    EXPECT_EQ(0, KAVONetDNSListSet(servers.get()));
    umask(before);
    EXPECT_EQ(0600U, permissions(STATIC));
    EXPECT_EQ(0644U, permissions(RESOLV));
}

TEST_F(DnsListSet, MakesTheFileWhenThereIsNone)
{
    unlink(STATIC);
    unlink(RESOLV);
    expect_works();
}

TEST_F(DnsListSet, ListsOfAnyLengthAreWritten)
{
    Texts many;
    for (int i = 0; i < 1000; ++i)
        many.push_back("10.0." + std::to_string(i / 256) + "." + std::to_string(i % 256));
    List list(many);
    EXPECT_EQ(0, KAVONetDNSListSet(list.get()));
    List back;
    EXPECT_EQ(0, KAVONetDNSListGet(back.handle()));
    EXPECT_EQ(many, back.texts());
}

// The event is told before anything is written.
TEST_F(DnsListSet, TheFirstEventStandsBeforeEveryChange)
{
    Texts seen;
    support::on_call("KLIBPluginAction", [&] {
        seen.push_back(read_file(STATIC) + read_file(SETTINGS));
        EXPECT_EQ(seen.size() == 1, temporaries().empty() && read_file(STATIC) == OLD_STATIC);
    });
    EXPECT_EQ(0, KAVONetDNSListSet(servers.get()));
    const std::string after = std::string(NEW) + "dns_mode=\"static\"\n";
    ASSERT_EQ(4U, seen.size());
    EXPECT_EQ(std::string(OLD_STATIC) + "dns_mode=\"auto\"\n", seen[0]);
    EXPECT_EQ(after, seen[1]);
    EXPECT_EQ(after, seen[3]);
}

TEST_F(DnsListSet, WhatIsNoListOfAddressesIsRefused)
{
    List empty;
    support::clear_error();
    EXPECT_EQ(-1, KAVONetDNSListSet(nullptr));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    support::clear_error();
    EXPECT_EQ(-1, KAVONetDNSListSet(empty.get()));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    for (const std::string &text :
         Texts{"", " ", "box", "192.0.2", "192.0.2.256", "192.0.2.1\n", "\n192.0.2.1", "192.0.2.1 ", " 192.0.2.1",
               "192.0.2.1\t", "192.0.2.1\r", "192.0.2.1\nnameserver\t192.0.2.66", "192.0.2.1/24", "2001:db8::1%eth0",
               "2001:db8::1\n", "[2001:db8::1]", ":::", std::string(64, '1'), std::string(5000, 'a')}) {
        for (const Texts &texts : {Texts{text}, Texts{"192.0.2.1", text}, Texts{text, "192.0.2.1"}}) {
            List list(texts);
            support::clear_error();
            EXPECT_EQ(-1, KAVONetDNSListSet(list.get())) << text;
            EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << text;
        }
    }
    expect_nothing_changed();
    EXPECT_THAT(followed(), IsEmpty());
}

TEST_F(DnsListSet, AServerThatIsMissingIsRefused)
{
    for (const int n : {1, 2}) {
        support::clear_error();
        fail_call("KLIBCSzListGet", n);
        EXPECT_EQ(-1, KAVONetDNSListSet(servers.get())) << n;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << n;
    }
    expect_nothing_changed();
    EXPECT_THAT(followed(), IsEmpty());
}

TEST_F(DnsListSet, ATemporaryFileThatCannotBeMadeIsAnOpenFailure)
{
    fail_call("KLIBCFileTempFileOpen");
    EXPECT_EQ(-1, KAVONetDNSListSet(servers.get()));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_OPEN_FAILED));
    expect_nothing_changed();
    EXPECT_THAT(followed(), ElementsAre(CONFIG_PRE)); // without its second phase
    expect_works();
}

TEST_F(DnsListSet, AFailedFlushOrSyncIsAWriteFailure)
{
    for (const char *function : {"fflush", "fsync"}) {
        support::clear_error();
        fail_call(function);
        EXPECT_EQ(-1, KAVONetDNSListSet(servers.get())) << function;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_WRITE_FAILED)) << function;
        expect_nothing_changed();
    }
    EXPECT_THAT(followed(), ElementsAre(CONFIG_PRE, CONFIG_PRE));
    expect_works();
}

// The list, then the mode (its file and its folder), then the servers in use: each is on the disk before the next begins.
TEST_F(DnsListSet, EachFileIsFlushedAndSyncedBeforeItIsPutInPlace)
{
    Texts steps;
    support::on_call("fflush", [&] { steps.emplace_back("flush"); });
    support::on_call("fsync", [&] { steps.emplace_back("sync"); });
    support::on_call("rename", [&] { steps.emplace_back("rename"); });
    EXPECT_EQ(0, KAVONetDNSListSet(servers.get()));
    EXPECT_THAT(steps, ElementsAre("flush", "sync", "rename", "sync", "sync", "flush", "sync", "rename"));
}

TEST_F(DnsListSet, AFailedRenameLeavesTheOldList)
{
    fail_call("rename");
    EXPECT_EQ(-1, KAVONetDNSListSet(servers.get()));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_RENAME_FAILED));
    expect_nothing_changed();
    EXPECT_THAT(followed(), ElementsAre(CONFIG_PRE));
    expect_works();
}

TEST_F(DnsListSet, AFolderInThePlaceOfTheListStays)
{
    unlink(STATIC);
    write_file("/etc/resolv.conf.static/inside", "kept");
    EXPECT_EQ(-1, KAVONetDNSListSet(servers.get()));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_RENAME_FAILED));
    EXPECT_EQ("kept", read_file("/etc/resolv.conf.static/inside"));
    EXPECT_EQ(OLD_RESOLV, read_file(RESOLV));
    EXPECT_THAT(temporaries(), IsEmpty());
    shell("rm -r /etc/resolv.conf.static");
    expect_works();
}

TEST_F(DnsListSet, AFolderInThePlaceOfResolvConfLeavesTheListInPlace)
{
    unlink(RESOLV);
    write_file("/etc/resolv.conf/inside", "kept");
    EXPECT_EQ(-1, KAVONetDNSListSet(servers.get()));
    EXPECT_TRUE(support::is_set_in("net_dns_file_set.cpp", NET_ERR_RENAME_FAILED));
    EXPECT_EQ(NEW, read_file(STATIC));
    EXPECT_THAT(followed(), ElementsAre(CONFIG_PRE, std::string("net/dns_change pre") + TOLD));
    EXPECT_THAT(temporaries(), IsEmpty());
    shell("rm -r /etc/resolv.conf");
    expect_works();
}

TEST_F(DnsListSet, AFullDiskLeavesEachFileOldOrNew)
{
    make_etc_small({RESOLV, STATIC, SETTINGS});
    chmod(SETTINGS, 0644);
    size_t pages = 0;
    for (;; ++pages) {
        SCOPED_TRACE(pages);
        const auto before = entries("/etc");
        fill_etc(pages);
        support::clear_error();
        const int result = KAVONetDNSListSet(servers.get());
        empty_etc();
        EXPECT_EQ(before, entries("/etc"));
        if (result == 0)
            break;
        ASSERT_LT(pages, 20U);
        EXPECT_EQ(unsigned{NET_ERR_WRITE_FAILED}, last_error().code) << last_error();
        const std::string list = read_file(STATIC);
        EXPECT_TRUE(list == OLD_STATIC || list == NEW) << list;
        const std::string settings = read_file(SETTINGS);
        EXPECT_TRUE(settings == "dns_mode=\"auto\"\n" || settings == "dns_mode=\"static\"\n") << settings;
        EXPECT_EQ(OLD_RESOLV, read_file(RESOLV));
        write_file(STATIC, OLD_STATIC);
        mode_is("auto");
    }
    EXPECT_GE(pages, 1U);
    EXPECT_EQ(NEW, read_file(STATIC));
    EXPECT_EQ(NEW, read_file(RESOLV));
}

// The disk is full at a line in the middle: what follows must not hide it.
TEST_F(DnsListSet, ALongListOnAFullDiskIsAWriteFailure)
{
    make_etc_small({RESOLV, STATIC, SETTINGS});
    List many(Texts(300, "2001:db8:1234:5678:9abc:def0:1234:5678"));
    for (size_t pages = 0; pages < 3; ++pages) { // it needs four
        SCOPED_TRACE(pages);
        fill_etc(pages);
        support::clear_error();
        EXPECT_EQ(-1, KAVONetDNSListSet(many.get()));
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_WRITE_FAILED));
        expect_nothing_changed();
    }
    empty_etc();
    EXPECT_EQ(0, KAVONetDNSListSet(many.get()));
    EXPECT_EQ(300U, support::lines_of(read_file(STATIC)).size());
}

TEST_F(DnsListSet, AReadOnlyFolderIsAnOpenFailure)
{
    make_etc_read_only();
    EXPECT_EQ(-1, KAVONetDNSListSet(servers.get()));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_OPEN_FAILED));
    expect_nothing_changed();
    make_etc_writable();
    expect_works();
}

TEST_F(DnsListSet, AModeThatCannotBeStoredEndsTheCall)
{
    fail_call("KLIBCINFOSetKeyValue");
    EXPECT_EQ(-1, KAVONetDNSListSet(servers.get()));
    expect_no_code_of_ours();
    EXPECT_EQ(NEW, read_file(STATIC));
    EXPECT_EQ(OLD_RESOLV, read_file(RESOLV));
    EXPECT_THAT(followed(), ElementsAre(CONFIG_PRE));
    expect_works();
}

TEST_F(DnsListSet, WithoutTheLockTheListIsStoredAndTheServersInUseStay)
{
    // The file is written before the lock is asked for.
    fail_call("KLIBCFileLock");
    EXPECT_EQ(-1, KAVONetDNSListSet(servers.get()));
    EXPECT_TRUE(support::is_set_in("net_dns_update.cpp", NET_ERR_LOCK_FAILED));
    EXPECT_EQ(NEW, read_file(STATIC));
    EXPECT_EQ(OLD_RESOLV, read_file(RESOLV));
    EXPECT_EQ("dns_mode=\"static\"\n", read_file(SETTINGS));
    expect_works();
}

TEST_F(DnsListSet, FailingSubscribersStopNothing)
{
    follow("net/dns_config_change", 3);
    follow("net/dns_change", 3);
    expect_works();
    EXPECT_THAT(followed(), SizeIs(4));
    fail_call("KLIBPluginSDKInit", 0);
    write_file(STATIC, OLD_STATIC);
    expect_works();
}

} // namespace
