#include "iface/link_modes.h"

#include <bit>
#include <set>
#include <string>

#include <gtest/gtest.h>
#include <linux/ethtool.h>

using namespace kavonet;

namespace {

struct Mode {
    uint32_t bit;
    int speed;
    int duplex;
    std::string suffix;
};

// From the worst to the best.
const Mode MODES[] = {
    {SUPPORTED_10baseT_Half, 10, 0, "baseT"},           {SUPPORTED_10baseT_Full, 10, 1, "baseT"},
    {SUPPORTED_100baseT_Half, 100, 0, "baseT"},         {SUPPORTED_100baseT_Full, 100, 1, "baseT"},
    {SUPPORTED_1000baseT_Half, 1000, 0, "baseT"},       {SUPPORTED_1000baseT_Full, 1000, 1, "baseT"},
    {SUPPORTED_1000baseKX_Full, 1000, 1, "baseKX"},     {SUPPORTED_2500baseX_Full, 2500, 1, "baseX"},
    {SUPPORTED_10000baseT_Full, 10000, 1, "baseT"},     {SUPPORTED_10000baseKX4_Full, 10000, 1, "baseKX4"},
    {SUPPORTED_10000baseKR_Full, 10000, 1, "baseKR"},   {SUPPORTED_20000baseMLD2_Full, 20000, 1, "baseMLD2"},
    {SUPPORTED_20000baseKR2_Full, 20000, 1, "baseKR2"}, {SUPPORTED_40000baseKR4_Full, 40000, 1, "baseKR4"},
    {SUPPORTED_40000baseCR4_Full, 40000, 1, "baseCR4"}, {SUPPORTED_40000baseSR4_Full, 40000, 1, "baseSR4"},
    {SUPPORTED_40000baseLR4_Full, 40000, 1, "baseLR4"},
};

void expect_best(uint32_t supported, const Mode &mode)
{
    const LinkMode &best = best_link_mode(supported);
    EXPECT_EQ(mode.bit, best.bit) << std::hex << supported;
    EXPECT_EQ(mode.speed, best.speed) << std::hex << supported;
    EXPECT_EQ(mode.duplex, best.duplex) << std::hex << supported;
    EXPECT_EQ(mode.suffix, best.suffix) << std::hex << supported;
}

TEST(LinkModes, KnowsEachMode)
{
    for (const Mode &mode : MODES)
        expect_best(mode.bit, mode);
}

TEST(LinkModes, PrefersTheLaterOfTwo)
{
    constexpr size_t COUNT = sizeof MODES / sizeof MODES[0];
    for (size_t i = 0; i < COUNT; ++i) {
        for (size_t j = i; j < COUNT; ++j)
            expect_best(MODES[i].bit | MODES[j].bit, MODES[j]);
    }
    expect_best(0xffffffff, MODES[COUNT - 1]);
}

TEST(LinkModes, LooksAtNoOtherBit)
{
    uint32_t known = 0;
    for (const Mode &mode : MODES)
        known |= mode.bit;
    EXPECT_EQ(17, std::popcount(known));
    expect_best(~known, {0, -1, -1, ""});
    expect_best(0, {0, -1, -1, ""});
    expect_best(~known | SUPPORTED_10baseT_Half, MODES[0]);
}

TEST(LinkModes, FitIntoTheRecord)
{
    for (const LinkMode &mode : LINK_MODES)
        EXPECT_LT(std::string(mode.suffix).size(), 16U);
}

} // namespace
