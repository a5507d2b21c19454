#include "appliance/resolve/resolve_test.h"

namespace {

constexpr char FILE_NAME[] = "net_dns_get.cpp";

class DnsGet : public ResolveTest {};

TEST_F(DnsGet, GivesTheFirstServer)
{
    write_file(RESOLV, "search x\nnameserver\t192.0.2.1\nnameserver\t192.0.2.2\n");
    char text[64] = "before";
    EXPECT_EQ(0, KAVONetDNSGet(text, sizeof text));
    EXPECT_STREQ("192.0.2.1", text);
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(DnsGet, CutsToTheBuffer)
{
    write_file(RESOLV, "nameserver\t192.0.2.1\n");
    for (int size = 1; size <= 12; ++size) {
        char text[16];
        memset(text, '#', sizeof text);
        EXPECT_EQ(0, KAVONetDNSGet(text, size));
        EXPECT_EQ(std::string("192.0.2.1").substr(0, static_cast<size_t>(size) - 1), text);
        EXPECT_EQ('#', text[size]);
    }
}

TEST_F(DnsGet, TheTextIsNoFormat)
{
    write_file(RESOLV, "nameserver\t%s%n%d\n");
    char text[64];
    EXPECT_EQ(0, KAVONetDNSGet(text, sizeof text));
    EXPECT_STREQ("%s%n%d", text);
}

TEST_F(DnsGet, NoServerIsAnEmptyText)
{
    for (const char *content : {"", "search x\n", "nameserver  192.0.2.1\nnameserver 192.0.2.2\n"}) {
        write_file(RESOLV, content);
        char text[64] = "before";
        EXPECT_EQ(0, KAVONetDNSGet(text, sizeof text));
        EXPECT_STREQ("", text);
    }
    unlink(RESOLV);
    char text[64] = "before";
    EXPECT_EQ(0, KAVONetDNSGet(text, sizeof text));
    EXPECT_STREQ("", text);
    EXPECT_EQ(LOG_ERR,
              logged_in("net_dns_list_get.cpp", "Failed to open /etc/resolv.conf. (No such file or directory)"));
}

TEST_F(DnsGet, RefusesWhatIsNoBuffer)
{
    char text[8] = "before";
    for (const auto &[buffer, size] : {std::pair<char *, int>{nullptr, 8}, {text, 0}, {text, -1}, {text, INT32_MIN}}) {
        support::clear_error();
        EXPECT_EQ(-1, KAVONetDNSGet(buffer, size));
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    }
    EXPECT_STREQ("before", text);
}

TEST_F(DnsGet, WithoutMemoryOrLockThereIsNone)
{
    char text[64] = "before";
    fail_call("KLIBCSzListAlloc");
    EXPECT_EQ(-1, KAVONetDNSGet(text, sizeof text));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_OUT_OF_MEMORY));
    EXPECT_STREQ("before", text);
    fail_call("KLIBCFileLock");
    EXPECT_EQ(-1, KAVONetDNSGet(text, sizeof text));
    EXPECT_TRUE(support::is_set_in("net_dns_list_get.cpp", NET_ERR_LOCK_FAILED));
    EXPECT_STREQ("", text);
    fail_call("KLIBCSzListPush");
    EXPECT_EQ(-1, KAVONetDNSGet(text, sizeof text));
    expect_no_code_of_ours();
    EXPECT_EQ(0, KAVONetDNSGet(text, sizeof text));
    EXPECT_STREQ("192.0.2.99", text);
}

} // namespace
