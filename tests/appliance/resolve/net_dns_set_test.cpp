#include "appliance/resolve/resolve_test.h"

namespace {

constexpr char FILE_NAME[] = "net_dns_set.cpp";

class DnsSet : public ResolveTest {};

TEST_F(DnsSet, MakesOneServerTheList)
{
    follow("net/dns_config_change");
    for (const std::string server : {"192.0.2.1", "2001:db8::1", "::ffff:192.0.2.1", "255.255.255.255", "::"}) {
        support::clear_error();
        EXPECT_EQ(0, KAVONetDNSSet(server.c_str()));
        EXPECT_EQ("nameserver\t" + server + "\n", read_file(STATIC));
        EXPECT_EQ("nameserver\t" + server + "\n", read_file(RESOLV));
        EXPECT_EQ(NO_ERROR_SET, last_error());
    }
    EXPECT_EQ("net/dns_config_change pre INTERFACE= NITEMS=1 DNS_1=192.0.2.1", followed().at(0));
    EXPECT_EQ("dns_mode=\"static\"\n", read_file(SETTINGS));
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(DnsSet, WhatIsNoAddressIsRefused)
{
    follow("net/dns_config_change");
    for (const char *text : {static_cast<const char *>(nullptr), "", " ", "box", "192.0.2.1\n", "192.0.2.1 192.0.2.2",
                             "192.0.2.1\nnameserver\t192.0.2.66", "192.0.2.01x", "1.2.3", "2001:db8::1::", "%s"}) {
        support::clear_error();
        EXPECT_EQ(-1, KAVONetDNSSet(text));
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    }
    EXPECT_EQ(-1, KAVONetDNSSet(std::string(100'000, '1').c_str()));
    EXPECT_FALSE(exists(STATIC));
    EXPECT_EQ(OLD_RESOLV, read_file(RESOLV));
    EXPECT_EQ("", read_file(SETTINGS));
    EXPECT_THAT(followed(), IsEmpty());
}

TEST_F(DnsSet, WithoutMemoryNothingIsTouched)
{
    fail_call("KLIBCSzListAlloc");
    EXPECT_EQ(-1, KAVONetDNSSet("192.0.2.1"));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_OUT_OF_MEMORY));
    fail_call("KLIBCSzListPush");
    EXPECT_EQ(-1, KAVONetDNSSet("192.0.2.1"));
    expect_no_code_of_ours();
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Cannot push the list"));
    EXPECT_FALSE(exists(STATIC));
    EXPECT_EQ(0, KAVONetDNSSet("192.0.2.1"));
}

TEST_F(DnsSet, HandsOnWhyTheListCouldNotBeSet)
{
    fail_call("rename");
    EXPECT_EQ(-1, KAVONetDNSSet("192.0.2.1"));
    EXPECT_TRUE(support::is_set_in("net_dns_list_set.cpp", NET_ERR_RENAME_FAILED));
}

} // namespace
