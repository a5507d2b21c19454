#include <climits>
#include <cstring>

#include <gtest/gtest.h>

#include "kavonetsdk/error.h"
#include "kavonetsdk/virtual.h"
#include "support/read_back.h"

namespace {

struct Entry {
    int32_t topology;
    const char *name;
    int32_t role;
    const char *peer;
};

constexpr Entry ENTRIES[] = {
    {1, "eth0", 1, ""},    {1, "wlan0", 1, ""}, {2, "eth0", 4, "br0"},   {2, "wlan0", 4, "br0"},
    {2, "br0", 2, "eth0"}, {3, "eth0", 1, ""},  {3, "wlan0", 4, "lbr0"}, {3, "lbr0", 3, "wlan0"},
};

KLIBNETBRIDGEINFO dirty()
{
    KLIBNETBRIDGEINFO info;
    memset(&info, 'x', sizeof info);
    return info;
}

bool same(const KLIBNETBRIDGEINFO &a, const KLIBNETBRIDGEINFO &b)
{
    return memcmp(&a, &b, sizeof a) == 0;
}

TEST(GetBridgeInfoByTopology, EachEntryIsGivenWhole)
{
    for (const Entry &entry : ENTRIES) {
        support::clear_error();
        KLIBNETBRIDGEINFO expected{};
        expected.type = entry.role;
        strcpy(expected.szIfname, entry.name);
        strcpy(expected.szPeer, entry.peer);
        KLIBNETBRIDGEINFO info = dirty();
        EXPECT_EQ(entry.role, KLIBNETGetBridgeInfoByTopology(entry.name, &info, entry.topology));
        EXPECT_TRUE(same(expected, info)) << entry.topology << " " << entry.name;
        EXPECT_EQ(entry.role, KLIBNETGetBridgeInfoByTopology(entry.name, nullptr, entry.topology));
        EXPECT_EQ(support::NO_ERROR_SET, support::last_error());
    }
}

TEST(GetBridgeInfoByTopology, EveryOtherNameHasNoRole)
{
    KLIBNETBRIDGEINFO info = dirty();
    for (int32_t topology = 1; topology <= 3; ++topology) {
        for (const char *name :
             {"eth0", "wlan0", "br0", "lbr0", "eth1", "eth", "eth00", "ETH0", "lo", "abcdefghijklmno"}) {
            bool known = false;
            for (const Entry &entry : ENTRIES)
                known |= entry.topology == topology && strcmp(entry.name, name) == 0;
            if (known)
                continue;
            EXPECT_EQ(0, KLIBNETGetBridgeInfoByTopology(name, &info, topology)) << topology << " " << name;
            EXPECT_EQ(0, KLIBNETGetBridgeInfoByTopology(name, nullptr, topology)) << topology << " " << name;
        }
    }
    EXPECT_TRUE(same(dirty(), info));
}

TEST(GetBridgeInfoByTopology, ThereAreThreeTopologies)
{
    KLIBNETBRIDGEINFO info = dirty();
    support::clear_error();
    for (const int32_t topology : {INT_MIN, -1, 0, 4, 5, 1000000, INT_MAX})
        EXPECT_EQ(0, KLIBNETGetBridgeInfoByTopology("eth0", &info, topology)) << topology;
    EXPECT_TRUE(same(dirty(), info));
    EXPECT_EQ(support::NO_ERROR_SET, support::last_error());
}

TEST(GetBridgeInfoByTopology, RefusesNullAndHostileNames)
{
    KLIBNETBRIDGEINFO info = dirty();
    for (const char *name : {static_cast<const char *>(nullptr), "", ".", "..", "/", "eth0/x", "eth 0", "eth0\n",
                             "eth0\x7f", "abcdefghijklmnop"}) {
        support::clear_error();
        EXPECT_EQ(-1, KLIBNETGetBridgeInfoByTopology(name, &info, 1));
        EXPECT_EQ(unsigned{NET_ERR_BAD_PARAMETER}, support::last_error().code);
        EXPECT_EQ("net_get_bridge_info_by_topology.cpp", support::last_error().file);
    }
    EXPECT_TRUE(same(dirty(), info));
}

} // namespace
