#include <string>

#include <gtest/gtest.h>

#include "kavo/core.h"
#include "support/read_back.h"

namespace {

class StringListTest : public testing::Test {
protected:
    void SetUp() override
    {
        support::clear_error();
        list = KLIBCSzListAlloc(0);
        ASSERT_NE(nullptr, list);
    }
    void TearDown() override { KLIBCSzListFree(list); }

    PKLIBSZLIST list = nullptr;
};

} // namespace

TEST_F(StringListTest, BeginsEmpty)
{
    EXPECT_EQ(0, list->nItem);
    EXPECT_EQ(nullptr, KLIBCSzListGet(list, 0));
    EXPECT_EQ(nullptr, KLIBCSzListGet(list, -1));
    EXPECT_EQ(support::NO_ERROR_SET, support::last_error()) << "an index without a string is no failure";
}

TEST_F(StringListTest, HoldsCopiesInOrder)
{
    char text[] = "eth0";
    EXPECT_EQ(0, KLIBCSzListPush(&list, text));
    text[3] = '1';
    EXPECT_EQ(0, KLIBCSzListPush(&list, text));
    EXPECT_EQ(0, KLIBCSzListPush(&list, ""));
    ASSERT_EQ(3, list->nItem);
    EXPECT_STREQ("eth0", KLIBCSzListGet(list, 0));
    EXPECT_STREQ("eth1", KLIBCSzListGet(list, 1));
    EXPECT_STREQ("", KLIBCSzListGet(list, 2));
    EXPECT_EQ(nullptr, KLIBCSzListGet(list, 3));
}

TEST_F(StringListTest, GrowsAsFarAsNeeded)
{
    for (int i = 0; i < 20000; ++i)
        ASSERT_EQ(0, KLIBCSzListPush(&list, std::to_string(i).c_str()));
    ASSERT_EQ(20000, list->nItem);
    for (int i = 0; i < 20000; ++i)
        ASSERT_EQ(std::to_string(i), KLIBCSzListGet(list, i));
}

TEST_F(StringListTest, TakesOneOfItsOwnStrings)
{
    KLIBCSzListPush(&list, "again");
    for (int i = 0; i < 100; ++i)
        ASSERT_EQ(0, KLIBCSzListPush(&list, KLIBCSzListGet(list, i)));
    EXPECT_STREQ("again", KLIBCSzListGet(list, 100));
}

TEST_F(StringListTest, IsEmptiedAndFilledAgain)
{
    KLIBCSzListPush(&list, "a");
    KLIBCSzListPush(&list, "b");
    KLIBCSzListRemoveAll(list);
    EXPECT_EQ(0, list->nItem);
    EXPECT_EQ(nullptr, KLIBCSzListGet(list, 0));
    EXPECT_EQ(0, KLIBCSzListPush(&list, "c"));
    EXPECT_STREQ("c", KLIBCSzListGet(list, 0));
}

TEST_F(StringListTest, RefusesNothing)
{
    EXPECT_EQ(-1, KLIBCSzListPush(nullptr, "x"));
    EXPECT_EQ(0x0D00U, KLIBCErrGet());
    PKLIBSZLIST none = nullptr;
    EXPECT_EQ(-1, KLIBCSzListPush(&none, "x"));
    support::clear_error();
    EXPECT_EQ(-1, KLIBCSzListPush(&list, nullptr));
    EXPECT_EQ(0x0D00U, KLIBCErrGet());
    EXPECT_EQ(0, list->nItem);
    KLIBCSzListRemoveAll(nullptr);
    KLIBCSzListFree(nullptr);
    EXPECT_EQ(nullptr, KLIBCSzListGet(nullptr, 0));
}

TEST_F(StringListTest, TakesAnyNumberAsItsFirstRoom)
{
    for (const int room : {0, 1, 512, 1024}) {
        PKLIBSZLIST other = KLIBCSzListAlloc(room);
        ASSERT_NE(nullptr, other);
        EXPECT_EQ(0, other->nItem);
        for (int i = 0; i <= room; ++i)
            ASSERT_EQ(0, KLIBCSzListPush(&other, "x"));
        EXPECT_EQ(room + 1, other->nItem);
        KLIBCSzListFree(other);
    }
    EXPECT_EQ(nullptr, KLIBCSzListAlloc(-1));
    EXPECT_EQ(0x0D00U, KLIBCErrGet());
}
