// Aliases of two interfaces on two real networks: the store, the kernel's labels, the subscribers and the hosts on the other
// side agree at each step.
#include <algorithm>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "kavonetsdk/kavonetsdk.h"
#include "support/commands.h"
#include "support/read_back.h"

using support::read_file;
using support::shell;
using support::wait_for;
using support::write_file;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

constexpr char STORE[] = "/usr/kavo/etc/net/ip_alias";
constexpr char EVENTS[] = "/run/live-events";
constexpr char NETWORK[] = "/etc/sysconfig/network";
constexpr char INFO[] = "/etc/dhclient/ipv4/dhcpcd-eth0.info";

// The kernel's aliases, "eth0:0 10.77.0.51/24", sorted.
std::vector<std::string> kernel()
{
    return support::lines_of(
        shell("ip -4 -o address show label 'eth*:*' | awk '{ for (i = 1; i <= NF; ++i) if ($i ~ /:/) "
              "label = $i; sub(/\\\\.*/, \"\", label); print label, $4 }' | LC_ALL=C sort"));
}

std::string store()
{
    std::string text = read_file(STORE);
    text.erase(std::remove_if(text.begin(), text.end(), [](char c) { return c == ' ' || c == '\n'; }), text.end());
    return text;
}

std::vector<std::string> listed(const char *interface)
{
    PKLIBSZLIST list = KLIBCSzListAlloc(0);
    EXPECT_EQ(0, KAVONetIpAliasList(interface, &list));
    std::vector<std::string> texts;
    for (int i = 0; i < list->nItem; ++i)
        texts.emplace_back(KLIBCSzListGet(list, i));
    KLIBCSzListFree(list);
    return texts;
}

using Change = int(const char *interface, const KLIBSZLIST *subnets);

int change_in(Change *change, const char *interface, const std::vector<const char *> &subnets)
{
    PKLIBSZLIST list = KLIBCSzListAlloc(0);
    for (const char *subnet : subnets)
        EXPECT_EQ(0, KLIBCSzListPush(&list, subnet));
    const int result = change(interface, list);
    KLIBCSzListFree(list);
    return result;
}

// What the subscribers got since the last look.
std::vector<std::string> events()
{
    const std::vector<std::string> all = support::lines_of(read_file(EVENTS));
    unlink(EVENTS);
    return all;
}

// Whether a host on the network of a card gets an answer for an address. Where one is expected there is time for it.
bool answers(int card, const std::string &address, int seconds = 60)
{
    const std::string command = "lan arping -q -c 1 -w " + std::to_string(seconds) + " -I lan" + std::to_string(card) +
                                " " + address + " >/dev/null 2>&1";
    return system(command.c_str()) == 0;
}

std::string default_route()
{
    return shell("ip -4 route show default");
}

class Alias : public testing::Test {
protected:
    void SetUp() override
    {
        tear_down();
        for (const char *event : {"ip_alias_add", "ip_alias_delete"}) {
            // What the subscriber sees of the kernel tells whether the change has been made.
            write_file(std::string("/usr/kavo/etc/plugins/net/") + event + "/50-live",
                       std::string("#!/bin/sh\nfor name in $KAVO_ARG_IFNAMES; do\n"
                                   "eval \"added=\\$KAVO_ARG_ADDED_IP_ALIAS_$name "
                                   "deleted=\\$KAVO_ARG_DELETED_IP_ALIAS_$name\"\n"
                                   "for alias in $added $deleted; do\n"
                                   "there=$(ip -4 -o address show dev $name | grep -c \" $alias .* $name:\")\n"
                                   "echo \"$KAVO_EVENT $1 $name $alias there=$there\" >>") +
                           EVENTS + "\ndone\ndone\n",
                       0755);
        }
        shell("ip link set eth0 up; ip link set eth1 up; ip address add 10.77.0.10/24 dev eth0; "
              "ip address add 10.78.0.10/24 dev eth1");
    }

    void TearDown() override { tear_down(); }

private:
    static void tear_down()
    {
        shell("systemctl stop dhclient@eth0; ip -4 address flush dev eth0; ip -4 address flush dev eth1; rm -f "
              "/usr/kavo/etc/net/*; : >/etc/sysconfig/network");
        unlink(EVENTS);
    }
};

TEST_F(Alias, AreAddedListedAndDeletedOnTwoInterfaces)
{
    ASSERT_EQ(0, KAVONetIpAliasAdd("eth0", "10.77.0.51", 24));
    ASSERT_EQ(0, KAVONetIpAliasAdd("eth1", "10.78.0.51", 24));
    ASSERT_EQ(0, KAVONetIpAliasAdd("eth0", "10.77.5.1", 16));
    EXPECT_THAT(kernel(), ElementsAre("eth0:0 10.77.0.51/24", "eth0:1 10.77.5.1/16", "eth1:0 10.78.0.51/24"));
    EXPECT_EQ(R"({"eth0":{"ip_alias":[{"label":0,"IP":"10.77.0.51","prefixlen":24},)"
              R"({"label":1,"IP":"10.77.5.1","prefixlen":16}]},)"
              R"("eth1":{"ip_alias":[{"label":0,"IP":"10.78.0.51","prefixlen":24}]}})",
              store());
    EXPECT_THAT(listed("eth0"), ElementsAre("10.77.0.51/24", "10.77.5.1/16"));
    EXPECT_THAT(listed("eth1"), ElementsAre("10.78.0.51/24"));
    EXPECT_THAT(events(), ElementsAre("net/ip_alias_add pre eth0 10.77.0.51/24 there=0",
                                      "net/ip_alias_add post eth0 10.77.0.51/24 there=1",
                                      "net/ip_alias_add pre eth1 10.78.0.51/24 there=0",
                                      "net/ip_alias_add post eth1 10.78.0.51/24 there=1",
                                      "net/ip_alias_add pre eth0 10.77.5.1/16 there=0",
                                      "net/ip_alias_add post eth0 10.77.5.1/16 there=1"));
    EXPECT_TRUE(answers(0, "10.77.0.51"));
    EXPECT_TRUE(answers(1, "10.78.0.51"));

    EXPECT_EQ(-1, KAVONetIpAliasAdd("eth1", "10.77.0.51", 16)) << "it is the other one's";
    EXPECT_THAT(events(), IsEmpty());

    ASSERT_EQ(0, KAVONetIpAliasDelete("10.77.0.51"));
    EXPECT_THAT(kernel(), ElementsAre("eth0:1 10.77.5.1/16", "eth1:0 10.78.0.51/24"));
    EXPECT_THAT(listed("eth0"), ElementsAre("10.77.5.1/16"));
    EXPECT_THAT(events(), ElementsAre("net/ip_alias_delete pre eth0 10.77.0.51/24 there=1",
                                      "net/ip_alias_delete post eth0 10.77.0.51/24 there=0"));
    EXPECT_FALSE(answers(0, "10.77.0.51", 5));
    EXPECT_TRUE(answers(0, "10.77.0.10")) << "the main address stays";

    // Its label is free again.
    ASSERT_EQ(0, KAVONetIpAliasAdd("eth0", "10.77.0.52", 24));
    EXPECT_THAT(kernel(), ElementsAre("eth0:0 10.77.0.52/24", "eth0:1 10.77.5.1/16", "eth1:0 10.78.0.51/24"));
}

TEST_F(Alias, TheKernelsRefusalLeavesTheStore)
{
    ASSERT_EQ(0, KAVONetIpAliasAdd("eth0", "10.77.0.51", 24));
    const std::string before = store();
    events();
    EXPECT_EQ(-1, KAVONetIpAliasAdd("eth7", "10.79.0.1", 24)) << "there is no such card";
    EXPECT_EQ(-1, KAVONetIpAliasAdd("eth0", "10.77.0.10", 24)) << "it is the main address";
    EXPECT_EQ(before, store());
    EXPECT_THAT(events(), ElementsAre("net/ip_alias_add pre eth7 10.79.0.1/24 there=0",
                                      "net/ip_alias_add pre eth0 10.77.0.10/24 there=0"));
}

TEST_F(Alias, AreUnappliedAndAppliedAloneAndBySubnet)
{
    for (const char *address : {"10.77.0.51", "10.77.0.52", "10.77.1.51"})
        ASSERT_EQ(0, KAVONetIpAliasAdd("eth0", address, 24));
    for (const char *address : {"10.78.0.51", "10.78.1.51"})
        ASSERT_EQ(0, KAVONetIpAliasAdd("eth1", address, 24));
    const std::vector<std::string> all = kernel();
    const std::string stored = store();
    events();

    // One interface.
    EXPECT_EQ(0, IpAliasUnapply("eth0", nullptr));
    EXPECT_THAT(kernel(), ElementsAre("eth1:0 10.78.0.51/24", "eth1:1 10.78.1.51/24"));
    EXPECT_THAT(events(), ElementsAre("net/ip_alias_delete pre eth0 10.77.0.51/24 there=1",
                                      "net/ip_alias_delete pre eth0 10.77.0.52/24 there=1",
                                      "net/ip_alias_delete pre eth0 10.77.1.51/24 there=1",
                                      "net/ip_alias_delete post eth0 10.77.0.51/24 there=0",
                                      "net/ip_alias_delete post eth0 10.77.0.52/24 there=0",
                                      "net/ip_alias_delete post eth0 10.77.1.51/24 there=0"));
    EXPECT_FALSE(answers(0, "10.77.0.51", 5));
    EXPECT_TRUE(answers(1, "10.78.0.51"));

    // A subnet of each.
    EXPECT_EQ(0, change_in(IpAliasApply, "eth0", {"10.99.0.0/24", "10.77.1.0/24"}));
    EXPECT_EQ(0, change_in(IpAliasUnapply, "eth1", {"10.78.0.0/24"}));
    EXPECT_THAT(kernel(), ElementsAre("eth0:2 10.77.1.51/24", "eth1:1 10.78.1.51/24"));
    EXPECT_THAT(events(), ElementsAre("net/ip_alias_add pre eth0 10.77.1.51/24 there=0",
                                      "net/ip_alias_add post eth0 10.77.1.51/24 there=1",
                                      "net/ip_alias_delete pre eth1 10.78.0.51/24 there=1",
                                      "net/ip_alias_delete post eth1 10.78.0.51/24 there=0"));

    // A subnet that is none: nothing happens, and it is no failure.
    EXPECT_EQ(0, change_in(IpAliasApply, "eth0", {"no subnet", "10.77.0.0/24"}));
    EXPECT_THAT(events(), IsEmpty());

    // All of both.
    EXPECT_EQ(0, IpAliasApply(nullptr, nullptr));
    EXPECT_EQ(all, kernel());
    EXPECT_THAT(events(), ElementsAre("net/ip_alias_add pre eth0 10.77.0.51/24 there=0",
                                      "net/ip_alias_add pre eth0 10.77.0.52/24 there=0",
                                      "net/ip_alias_add pre eth1 10.78.0.51/24 there=0",
                                      "net/ip_alias_add post eth0 10.77.0.51/24 there=1",
                                      "net/ip_alias_add post eth0 10.77.0.52/24 there=1",
                                      "net/ip_alias_add post eth1 10.78.0.51/24 there=1"));
    EXPECT_EQ(0, IpAliasApply(nullptr, nullptr));
    EXPECT_THAT(events(), IsEmpty()) << "nothing has changed";
    EXPECT_TRUE(answers(0, "10.77.0.51"));
    EXPECT_EQ(stored, store());
}

TEST_F(Alias, SurviveADownAndUpThroughApply)
{
    for (const char *address : {"10.77.0.51", "10.77.0.52"})
        ASSERT_EQ(0, KAVONetIpAliasAdd("eth0", address, 24));
    const std::vector<std::string> before = kernel();
    ASSERT_EQ(1, KLIBNetIfDown("eth0"));
    shell("ip -4 address flush dev eth0");
    ASSERT_EQ(1, KLIBNetIfUp("eth0"));
    ASSERT_EQ(0, KAVONetSetIP("-4", "eth0", "10.77.0.10", 24, "add"));
    EXPECT_THAT(kernel(), IsEmpty());
    EXPECT_EQ(0, IpAliasApply("eth0", nullptr));
    EXPECT_EQ(before, kernel());
    EXPECT_TRUE(wait_for([] { return answers(0, "10.77.0.52"); }));
}

TEST_F(Alias, ADeletedOneThatCarriedTheDefaultRouteLeavesItStanding)
{
    write_file(NETWORK, "GATEWAY=10.77.0.1\n");
    ASSERT_EQ(0, KAVONetIpAliasAdd("eth0", "10.77.0.51", 24));
    shell("ip route replace default via 10.77.0.1 src 10.77.0.51");
    EXPECT_THAT(default_route(), HasSubstr("via 10.77.0.1 dev eth0 src 10.77.0.51"));
    ASSERT_EQ(0, KAVONetIpAliasDelete("10.77.0.51"));
    EXPECT_EQ("default via 10.77.0.1 dev eth0 \n", default_route()) << "the kernel had dropped it with its address";

    // The same without a configured gateway: there is nothing to put back.
    write_file(NETWORK, "");
    ASSERT_EQ(0, KAVONetIpAliasAdd("eth0", "10.77.0.51", 24));
    shell("ip route replace default via 10.77.0.1 src 10.77.0.51");
    ASSERT_EQ(0, KAVONetIpAliasDelete("10.77.0.51"));
    EXPECT_EQ("", default_route());
}

TEST_F(Alias, RefreshingTheGatewayTakesTheConfiguredOneOrThatOfALease)
{
    write_file(NETWORK, "GATEWAY=10.78.0.1\n");
    EXPECT_EQ(0, RefreshGateway());
    EXPECT_EQ("default via 10.78.0.1 dev eth1 \n", default_route());
    write_file(NETWORK, "GATEWAY=10.77.0.1\n");
    EXPECT_EQ(0, RefreshGateway());
    EXPECT_EQ("default via 10.77.0.1 dev eth0 \n", default_route());
    write_file(NETWORK, "GATEWAY=192.0.2.1\n");
    EXPECT_EQ(-1, RefreshGateway()) << "no network leads there";
    EXPECT_EQ("default via 10.77.0.1 dev eth0 \n", default_route());

    write_file(NETWORK, "");
    shell("ip route del default; systemctl start dhclient@eth0");
    // The client's script goes on after the route; it must be done, lest it puts back what is taken away here.
    ASSERT_TRUE(wait_for([] { return support::exists(INFO); }));
    shell("flock /run/kavo-dhclient.lock true");
    ASSERT_THAT(default_route(), HasSubstr("via 10.77.0.1 dev eth0 metric"));
    shell("ip route del default");
    EXPECT_EQ(0, RefreshGateway());
    EXPECT_THAT(default_route(), HasSubstr("default via 10.77.0.1 dev eth0 metric 1"));
}

TEST_F(Alias, AreChangedFromTheShellToo)
{
    EXPECT_EQ("eth0: 10.77.0.51/24 is in force as eth0:0\n", shell("kavonet alias add eth0 10.77.0.51/24"));
    EXPECT_EQ("eth1: 10.78.0.51/24 is in force as eth1:0\n", shell("kavonet alias add eth1 10.78.0.51/24"));
    EXPECT_EQ("eth0: 10.77.0.51/24 is not in force any more\n", shell("kavonet alias unapply eth0"));
    EXPECT_THAT(kernel(), ElementsAre("eth1:0 10.78.0.51/24"));
    EXPECT_EQ("eth0: 10.77.0.51/24 is in force as eth0:0\n", shell("kavonet alias apply"));
    EXPECT_EQ("eth1: 10.78.0.51/24 is deleted\n", shell("kavonet alias delete 10.78.0.51"));
    EXPECT_EQ("[{\"name\":\"eth0\",\"address\":\"10.77.0.51\",\"prefix\":24,\"label\":\"eth0:0\"}]\n",
              shell("kavonet alias list --json"));
}

} // namespace
