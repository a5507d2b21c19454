#include "appliance/virtual/vlan_test.h"

namespace {

TEST(VlanValidId, OneToFourThousandNinetyFour)
{
    for (const int32_t id : {1, 2, 100, 4093, 4094})
        EXPECT_EQ(0, KLIBNetVlanValidId(id)) << id;
    support::clear_error();
    for (const int32_t id : {INT32_MIN, -4094, -1, 0, 4095, 4096, 65536, 65537, INT32_MAX})
        EXPECT_EQ(-1, KLIBNetVlanValidId(id)) << id;
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

} // namespace
