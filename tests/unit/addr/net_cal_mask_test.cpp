#include "addr_test.h"

#include <array>
#include <climits>

namespace {

constexpr char FILE_NAME[] = "net_cal_mask.cpp";
using Parts = std::array<int, 4>;

using NetCalMask = AddrTest;

TEST_F(NetCalMask, CountsEveryContiguousMask)
{
    for (int prefix = 1; prefix <= 32; ++prefix) {
        const uint32_t mask = UINT32_MAX << (32 - prefix);
        const Parts part{static_cast<int>(mask >> 24), static_cast<int>(mask >> 16 & 255),
                         static_cast<int>(mask >> 8 & 255), static_cast<int>(mask & 255)};
        EXPECT_EQ(prefix, cKLIBICalMask(part.data()));
        EXPECT_EQ(NO_ERROR_SET, last_error());
    }
}

TEST_F(NetCalMask, TheZeroMaskSetsNoCode)
{
    const Parts part{0, 0, 0, 0};
    EXPECT_EQ(0, cKLIBICalMask(part.data()));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetCalMask, RefusesHoles)
{
    for (const Parts &part :
         {Parts{255, 255, 0, 255}, Parts{0, 255, 255, 255}, Parts{255, 0, 255, 0}, Parts{0, 0, 0, 1},
          Parts{255, 255, 255, 1}, Parts{127, 255, 255, 255}, Parts{255, 253, 0, 0}}) {
        clear();
        EXPECT_EQ(0, cKLIBICalMask(part.data()));
        EXPECT_EQ(bad_address(FILE_NAME, 37), last_error());
    }
}

TEST_F(NetCalMask, RefusesPartsThatAreNoOctets)
{
    for (const int wrong : {256, -1, 511, INT_MAX, INT_MIN}) {
        for (size_t i = 0; i < 4; ++i) {
            Parts part{255, 255, 255, 255};
            part[i] = wrong;
            clear();
            EXPECT_EQ(0, cKLIBICalMask(part.data()));
            EXPECT_EQ(bad_address(FILE_NAME, 27), last_error());
        }
    }
}

TEST_F(NetCalMask, RefusesNull)
{
    EXPECT_EQ(0, cKLIBICalMask(nullptr));
    EXPECT_TRUE(is_bad_parameter_in(FILE_NAME));
}

} // namespace
