#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include <gtest/gtest.h>

#include "kavo/core.h"
#include "support/read_back.h"

namespace {

class StringHashTest : public testing::Test {
protected:
    void SetUp() override
    {
        support::clear_error();
        hash = KLIBCSzHashAlloc(1024);
        ASSERT_NE(nullptr, hash);
    }
    void TearDown() override { KLIBCSzHashFree(hash); }

    std::vector<std::string> keys()
    {
        PKLIBSZLIST list = KLIBCSzListAlloc(0);
        const int count = KLIBCSzHashEnumKey(hash, &list);
        EXPECT_EQ(count, list->nItem);
        std::vector<std::string> result;
        for (int i = 0; i < list->nItem; ++i)
            result.emplace_back(KLIBCSzListGet(list, i));
        KLIBCSzListFree(list);
        return result;
    }

    PKLIBSZHASH hash = nullptr;
};

} // namespace

TEST_F(StringHashTest, BeginsEmpty)
{
    EXPECT_EQ(nullptr, KLIBCSzHashGetValue(hash, "KEY"));
    EXPECT_TRUE(keys().empty());
    EXPECT_EQ(support::NO_ERROR_SET, support::last_error());
}

TEST_F(StringHashTest, HoldsCopies)
{
    char key[] = "KEY";
    char value[] = "value";
    EXPECT_EQ(0, KLIBCSzHashSetValue(&hash, key, value));
    key[0] = value[0] = 'X';
    EXPECT_STREQ("value", KLIBCSzHashGetValue(hash, "KEY"));
    EXPECT_EQ(nullptr, KLIBCSzHashGetValue(hash, "XEY"));
    EXPECT_EQ(nullptr, KLIBCSzHashGetValue(hash, "KE"));
    EXPECT_EQ(nullptr, KLIBCSzHashGetValue(hash, "KEYS"));
}

TEST_F(StringHashTest, GivesKeysInTheOrderInWhichTheyWereFirstSet)
{
    for (const char *key : {"z", "a", "m", "", "z", "a"})
        EXPECT_EQ(0, KLIBCSzHashSetValue(&hash, key, key));
    EXPECT_EQ((std::vector<std::string>{"z", "a", "m", ""}), keys());
}

TEST_F(StringHashTest, AppendsItsKeysToTheList)
{
    KLIBCSzHashSetValue(&hash, "b", "1");
    PKLIBSZLIST list = KLIBCSzListAlloc(0);
    KLIBCSzListPush(&list, "before");
    EXPECT_EQ(1, KLIBCSzHashEnumKey(hash, &list));
    ASSERT_EQ(2, list->nItem);
    EXPECT_STREQ("before", KLIBCSzListGet(list, 0));
    EXPECT_STREQ("b", KLIBCSzListGet(list, 1));
    KLIBCSzListFree(list);
}

TEST_F(StringHashTest, TakesItsOwnValues)
{
    KLIBCSzHashSetValue(&hash, "a", "first");
    EXPECT_EQ(0, KLIBCSzHashSetValue(&hash, "a", KLIBCSzHashGetValue(hash, "a")));
    EXPECT_STREQ("first", KLIBCSzHashGetValue(hash, "a"));
    EXPECT_EQ(0, KLIBCSzHashSetValue(&hash, "b", KLIBCSzHashGetValue(hash, "a")));
    EXPECT_STREQ("first", KLIBCSzHashGetValue(hash, "b"));
}

TEST_F(StringHashTest, AgreesWithAnotherMapOverRandomWork)
{
    std::mt19937 random(7);
    std::unordered_map<std::string, std::string> model;
    for (int i = 0; i < 40000; ++i) {
        const std::string key = std::to_string(random() % 9000);
        const std::string value = std::to_string(i);
        ASSERT_EQ(0, KLIBCSzHashSetValue(&hash, key.c_str(), value.c_str()));
        model[key] = value;
    }
    EXPECT_EQ(model.size(), keys().size());
    for (const auto &[key, value] : model)
        ASSERT_EQ(value, KLIBCSzHashGetValue(hash, key.c_str()));
    EXPECT_EQ(nullptr, KLIBCSzHashGetValue(hash, "9000"));
}

TEST_F(StringHashTest, IsEmptiedAndFilledAgain)
{
    KLIBCSzHashSetValue(&hash, "a", "1");
    KLIBCSzHashSetValue(&hash, "b", "2");
    KLIBCHashRemoveAll(hash);
    EXPECT_TRUE(keys().empty());
    EXPECT_EQ(nullptr, KLIBCSzHashGetValue(hash, "a"));
    EXPECT_EQ(0, KLIBCSzHashSetValue(&hash, "b", "3"));
    EXPECT_EQ(std::vector<std::string>{"b"}, keys());
    EXPECT_STREQ("3", KLIBCSzHashGetValue(hash, "b"));
}

TEST_F(StringHashTest, RefusesNothing)
{
    PKLIBSZHASH none = nullptr;
    PKLIBSZLIST list = nullptr;
    EXPECT_EQ(-1, KLIBCSzHashSetValue(nullptr, "a", "b"));
    EXPECT_EQ(-1, KLIBCSzHashSetValue(&none, "a", "b"));
    EXPECT_EQ(-1, KLIBCSzHashSetValue(&hash, nullptr, "b"));
    EXPECT_EQ(-1, KLIBCSzHashSetValue(&hash, "a", nullptr));
    EXPECT_EQ(0x0D00U, KLIBCErrGet());
    EXPECT_EQ(nullptr, KLIBCSzHashGetValue(nullptr, "a"));
    EXPECT_EQ(nullptr, KLIBCSzHashGetValue(hash, nullptr));
    EXPECT_EQ(-1, KLIBCSzHashEnumKey(hash, &list));
    EXPECT_EQ(-1, KLIBCSzHashEnumKey(nullptr, &list));
    EXPECT_EQ(nullptr, KLIBCSzHashAlloc(-1));
    KLIBCHashRemoveAll(nullptr);
    KLIBCSzHashFree(nullptr);
    EXPECT_TRUE(keys().empty());
}

TEST_F(StringHashTest, TakesAnyNumberOfBucketsAsAHint)
{
    for (const int buckets : {0, 1, 3, 1024, 0x7FFFFFFF}) {
        PKLIBSZHASH other = KLIBCSzHashAlloc(buckets);
        ASSERT_NE(nullptr, other) << buckets;
        for (int i = 0; i < 100; ++i)
            ASSERT_EQ(0, KLIBCSzHashSetValue(&other, std::to_string(i).c_str(), "x"));
        EXPECT_STREQ("x", KLIBCSzHashGetValue(other, "99"));
        KLIBCSzHashFree(other);
    }
}
