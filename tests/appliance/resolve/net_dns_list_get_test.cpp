#include "appliance/resolve/resolve_test.h"

namespace {

constexpr char FILE_NAME[] = "net_dns_list_get.cpp";

class DnsListGet : public ResolveTest {
protected:
    static Texts servers_of(const std::string &content)
    {
        write_file(RESOLV, content);
        List list;
        EXPECT_EQ(0, KAVONetDNSListGet(list.handle()));
        return list.texts();
    }
};

TEST_F(DnsListGet, GivesTheServersInTheirOrder)
{
    EXPECT_THAT(servers_of("# by hand\nnameserver\t192.0.2.1\nsearch example.org\nnameserver 2001:db8::1\n"
                           "nameserver\t192.0.2.1\noptions rotate\n"),
                ElementsAre("192.0.2.1", "2001:db8::1", "192.0.2.1"));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(DnsListGet, AddsToWhatTheListHolds)
{
    write_file(RESOLV, "nameserver\t192.0.2.2\n");
    List list({"192.0.2.1"});
    EXPECT_EQ(0, KAVONetDNSListGet(list.handle()));
    EXPECT_THAT(list.texts(), ElementsAre("192.0.2.1", "192.0.2.2"));
}

TEST_F(DnsListGet, AMissingFileHasNoServers)
{
    unlink(RESOLV);
    List list({"kept"});
    EXPECT_EQ(0, KAVONetDNSListGet(list.handle()));
    EXPECT_THAT(list.texts(), ElementsAre("kept"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to open /etc/resolv.conf. (No such file or directory)"));
    EXPECT_THAT(log_lines(), SizeIs(1));
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_TRUE(lock_is_free(0x106));
    unopenable(RESOLV);
    EXPECT_EQ(0, KAVONetDNSListGet(list.handle()));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to open /etc/resolv.conf. (No such device or address)"));
}

TEST_F(DnsListGet, AFolderInItsPlaceHasNoServers)
{
    unlink(RESOLV);
    mkdir(RESOLV, 0755);
    List list;
    EXPECT_EQ(0, KAVONetDNSListGet(list.handle()));
    EXPECT_THAT(list.texts(), IsEmpty());
}

// The fields of lines are told apart in tests/unit/resolve.
TEST_F(DnsListGet, TwoBlanksGiveAnEmptyServer)
{
    EXPECT_THAT(servers_of("nameserver  192.0.2.1\nnameserver\nnameserver\t\t192.0.2.2\nnameserver 192.0.2.3"),
                ElementsAre("", "", "", "192.0.2.3"));
}

TEST_F(DnsListGet, OverLongAndBinaryLinesAreRead)
{
    EXPECT_THAT(servers_of(""), IsEmpty());
    EXPECT_THAT(
        servers_of("nameserver " + std::string(100'000, 'a') + " nameserver 192.0.2.66\nnameserver 192.0.2.1\n"),
        ElementsAre(std::string(500, 'a'), "192.0.2.1"));
    EXPECT_THAT(servers_of(bytes("\0nameserver 192.0.2.66\nnameserver 192.0\0.2.1\nnameserver 192.0.2.2\n")),
                ElementsAre("192.0", "192.0.2.2"));
    EXPECT_THAT(servers_of("nameserver \xff\xfe\nnameserver 192.0.2.1\n\x80"), ElementsAre("\xff\xfe", "192.0.2.1"));
}

TEST_F(DnsListGet, ReadsBackWhatWasWritten)
{
    Texts many;
    for (int i = 0; i < 600; ++i)
        many.push_back("2001:db8::" + std::to_string(i));
    List written(many);
    ASSERT_EQ(0, KAVONetDNSFileSet(written.get(), nullptr));
    List list;
    EXPECT_EQ(0, KAVONetDNSListGet(list.handle()));
    EXPECT_EQ(many, list.texts());
}

TEST_F(DnsListGet, WaitsFiveSecondsForTheLock)
{
    List list;
    EXPECT_EQ(0, KAVONetDNSListGet(list.handle()));
    EXPECT_EQ(5, support::last_lock_wait());
}

TEST_F(DnsListGet, HoldsTheLockForReading)
{
    bool others_read = false;
    bool others_write = true;
    support::on_call("KLIBCSzListPush", [&] {
        others_read = lock_is_free(0x105);
        others_write = lock_is_free(0x106);
    });
    List list;
    EXPECT_EQ(0, KAVONetDNSListGet(list.handle()));
    EXPECT_TRUE(others_read);
    EXPECT_FALSE(others_write);
    EXPECT_TRUE(lock_is_free(0x106));
}

TEST_F(DnsListGet, WithoutTheLockNothingIsRead)
{
    fail_call("KLIBCFileLock");
    List list;
    EXPECT_EQ(-1, KAVONetDNSListGet(list.handle()));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_LOCK_FAILED));
    EXPECT_THAT(list.texts(), IsEmpty());
    EXPECT_EQ(0, KAVONetDNSListGet(list.handle()));
    EXPECT_THAT(list.texts(), ElementsAre("192.0.2.99"));
}

TEST_F(DnsListGet, AListThatCannotGrowKeepsWhatItHas)
{
    write_file(RESOLV, "nameserver 192.0.2.1\nnameserver 192.0.2.2\n");
    List list;
    fail_call("KLIBCSzListPush", 2);
    EXPECT_EQ(-1, KAVONetDNSListGet(list.handle()));
    expect_no_code_of_ours();
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Cannot push the list"));
    EXPECT_THAT(list.texts(), ElementsAre("192.0.2.1"));
    EXPECT_TRUE(lock_is_free(0x106));
}

TEST_F(DnsListGet, RefusesWhatIsNoList)
{
    PKLIBSZLIST none = nullptr;
    for (PKLIBSZLIST *handle : {static_cast<PKLIBSZLIST *>(nullptr), &none}) {
        support::clear_error();
        EXPECT_EQ(-1, KAVONetDNSListGet(handle));
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    }
}

} // namespace
