#include "appliance/virtual/vlan_test.h"

namespace {

using VlanExist = VlanTest;

TEST_F(VlanExist, AsLongAsTheKernelHasItsList)
{
    EXPECT_EQ(0, KLIBNetVlanExist());
    write_file(VLAN_LIST, "");
    EXPECT_EQ(1, KLIBNetVlanExist());
    unlink(VLAN_LIST);
    EXPECT_EQ(0, KLIBNetVlanExist());
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(log_lines(), IsEmpty());
}

} // namespace
