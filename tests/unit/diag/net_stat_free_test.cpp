#include "kavonetsdk/diag.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include "support/read_back.h"

namespace {

TEST(NetStatFree, AcceptsNull)
{
    support::clear_error();
    KLIBNetStatFree(nullptr);
    EXPECT_EQ(support::NO_ERROR_SET, support::last_error());
}

TEST(NetStatFree, GivesTheMemoryBack)
{
    // Some sanitizers count nothing; then the array shows nowhere.
    const size_t before = mallinfo2().uordblks + mallinfo2().hblkhd;
    NetStat *records = KLIBNetStatInit(1000);
    ASSERT_NE(nullptr, records);
    const size_t held = mallinfo2().uordblks + mallinfo2().hblkhd;
    KLIBNetStatFree(records);
    if (held == before)
        GTEST_SKIP() << "the allocator of this build counts nothing";
    EXPECT_GE(held, before + 1000 * sizeof(NetStat));
    EXPECT_EQ(before, mallinfo2().uordblks + mallinfo2().hblkhd);
}

} // namespace
