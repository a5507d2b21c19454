#include "appliance/pppoe/relay_test.h"

#include <cstring>

namespace {

constexpr char FILE_NAME[] = "net_is_same_pppoe_relay_config.cpp";

class IsSameRelay : public RelayTest {
protected:
    static int same(const PPPoERelayConf &a, const PPPoERelayConf &b)
    {
        EXPECT_EQ(KAVONetIsSamePPPoERelayConfig(&b, &a), KAVONetIsSamePPPoERelayConfig(&a, &b));
        return KAVONetIsSamePPPoERelayConfig(&a, &b);
    }
};

TEST_F(IsSameRelay, ComparesBothFields)
{
    EXPECT_EQ(1, same(relay(1, "wan0"), relay(1, "wan0")));
    EXPECT_EQ(1, same(relay(0, ""), relay(0, "")));
    EXPECT_EQ(0, same(relay(1, "wan0"), relay(0, "wan0")));
    EXPECT_EQ(0, same(relay(1, "wan0"), relay(2, "wan0")));
    EXPECT_EQ(0, same(relay(1, "wan0"), relay(1, "wan1")));
    EXPECT_EQ(0, same(relay(1, "wan0"), relay(1, "wan")));
    EXPECT_EQ(0, same(relay(1, "wan0"), relay(1, "WAN0")));
    EXPECT_EQ(0, same(relay(0, ""), relay(0, "wan0"))); // also while neither is enabled
}

TEST_F(IsSameRelay, WhatStandsBehindTheNameDoesNotCount)
{
    PPPoERelayConf a = relay(1, "wan0");
    a.szServer[6] = 'x';
    EXPECT_EQ(1, same(a, relay(1, "wan0")));
}

TEST_F(IsSameRelay, NamesWithoutATerminatorAreReadWithinTheirBytes)
{
    PPPoERelayConf a = relay(1, "");
    memset(a.szServer, 'w', sizeof a.szServer);
    PPPoERelayConf b = a;
    EXPECT_EQ(1, same(a, b));
    b.szServer[15] = 'x';
    EXPECT_EQ(0, same(a, b));
}

TEST_F(IsSameRelay, NullIsDifferent)
{
    const PPPoERelayConf conf = relay(1, "wan0");
    for (const auto &[a, b] :
         {std::pair(&conf, static_cast<const PPPoERelayConf *>(nullptr)),
          std::pair(static_cast<const PPPoERelayConf *>(nullptr), &conf),
          std::pair(static_cast<const PPPoERelayConf *>(nullptr), static_cast<const PPPoERelayConf *>(nullptr))}) {
        clear();
        EXPECT_EQ(0, KAVONetIsSamePPPoERelayConfig(a, b));
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Bad parameters"));
    }
}

} // namespace
