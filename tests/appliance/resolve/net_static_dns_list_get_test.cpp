#include "appliance/resolve/resolve_test.h"

namespace {

constexpr char FILE_NAME[] = "net_static_dns_list_get.cpp";

class StaticDnsListGet : public ResolveTest {};

TEST_F(StaticDnsListGet, GivesTheAdministratorsServers)
{
    write_file(STATIC, "nameserver\t192.0.2.1\n# x\nnameserver 2001:db8::1\nnameserver  192.0.2.2\n");
    List list({"before"});
    EXPECT_EQ(0, KAVONetStaticDNSListGet(list.handle()));
    EXPECT_THAT(list.texts(), ElementsAre("before", "192.0.2.1", "2001:db8::1", ""));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(StaticDnsListGet, ReadsBackWhatWasSet)
{
    List set({"192.0.2.1", "2001:db8::1"});
    ASSERT_EQ(0, KAVONetDNSListSet(set.get()));
    ASSERT_EQ(0, KAVONetDNSModeSet("auto"));
    List list;
    EXPECT_EQ(0, KAVONetStaticDNSListGet(list.handle()));
    EXPECT_EQ(set.texts(), list.texts());
}

TEST_F(StaticDnsListGet, AMissingFileHasNoServers)
{
    List list;
    EXPECT_EQ(0, KAVONetStaticDNSListGet(list.handle()));
    EXPECT_THAT(list.texts(), IsEmpty());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to open /etc/resolv.conf.static. (No such file or directory)"));
    EXPECT_THAT(log_lines(), SizeIs(1));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(StaticDnsListGet, AsksForNoLock)
{
    int locks = 0;
    support::on_call("KLIBCFileLock", [&] { ++locks; });
    write_file(STATIC, "nameserver\t192.0.2.1\n");
    List list;
    EXPECT_EQ(0, KAVONetStaticDNSListGet(list.handle()));
    EXPECT_EQ(0, locks);
}

TEST_F(StaticDnsListGet, AListThatCannotGrowKeepsWhatItHas)
{
    write_file(STATIC, "nameserver 192.0.2.1\nnameserver 192.0.2.2\n");
    List list;
    fail_call("KLIBCSzListPush", 2);
    EXPECT_EQ(-1, KAVONetStaticDNSListGet(list.handle()));
    expect_no_code_of_ours();
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Cannot push the list"));
    EXPECT_THAT(list.texts(), ElementsAre("192.0.2.1"));
}

TEST_F(StaticDnsListGet, RefusesWhatIsNoList)
{
    PKLIBSZLIST none = nullptr;
    for (PKLIBSZLIST *handle : {static_cast<PKLIBSZLIST *>(nullptr), &none}) {
        support::clear_error();
        EXPECT_EQ(-1, KAVONetStaticDNSListGet(handle));
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    }
}

} // namespace
