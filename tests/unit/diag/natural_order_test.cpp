#include "diag/natural_order.h"

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

using kavonet::natural_order;
using kavonet::sort_naturally;

namespace {

int sign(int value)
{
    return (value > 0) - (value < 0);
}

std::vector<std::string> sorted(const std::vector<std::string> &names)
{
    std::vector<NetStat> records(names.size());
    for (size_t i = 0; i < names.size(); ++i) {
        snprintf(records[i].szName, sizeof records[i].szName, "%s", names[i].c_str());
        records[i].llRxBytes = static_cast<int64_t>(i);
    }
    sort_naturally(records.data(), static_cast<int>(records.size()));
    std::vector<std::string> result;
    for (const NetStat &record : records) {
        EXPECT_EQ(names[static_cast<size_t>(record.llRxBytes)], record.szName) << "the record moves as a whole";
        result.emplace_back(record.szName);
    }
    return result;
}

struct Pair {
    const char *first;
    const char *second;
    int order;
};

// The names of the tests are made of it.
std::ostream &operator<<(std::ostream &out, const Pair &pair)
{
    return out << pair.first << " and " << pair.second;
}

class NaturalOrder : public testing::TestWithParam<Pair> {};

TEST_P(NaturalOrder, Compares)
{
    const auto &[first, second, order] = GetParam();
    EXPECT_EQ(order, sign(natural_order(first, second))) << first << " " << second;
    EXPECT_EQ(-order, sign(natural_order(second, first))) << second << " " << first;
}

INSTANTIATE_TEST_SUITE_P(Names, NaturalOrder,
                         testing::Values(Pair{"eth0", "eth0", 0}, Pair{"", "", 0}, Pair{"lo", "lo", 0},
                                         Pair{"eth2", "eth10", -1}, Pair{"eth1", "eth12", -1},
                                         Pair{"eth9", "eth10", -1}, Pair{"eth12", "eth13", -1},
                                         Pair{"bond0", "eth0", -1}, Pair{"eth0", "lo", -1}, Pair{"eth", "eth0", -1},
                                         Pair{"", "a", -1}, Pair{"eth", "ethx", -1},
                                         // A digit against something else compares as text.
                                         Pair{"eth1", "ethx", -1}, Pair{"eth-", "eth1", -1},
                                         // The first number decides, whatever follows it.
                                         Pair{"eth0", "eth0.10", 0}, Pair{"eth0.10", "eth0.9", 0},
                                         Pair{"eth1.5", "eth0.9", 1}, Pair{"eth0a", "eth0b", 0},
                                         Pair{"eth01", "eth1", 0}, Pair{"eth02", "eth1", 1}, Pair{"1a", "2", -1},
                                         Pair{"10", "9", 1},
                                         // Letters compare as bytes.
                                         Pair{"Eth9", "eth0", -1}, Pair{"a\xc3", "az", 1},
                                         // Numbers that no name of an interface holds.
                                         Pair{"a9999999999999", "a1", 1}));

TEST(NaturalOrderEnd, StopsAfter16Positions)
{
    EXPECT_EQ(0, natural_order("abcdefghijklmnopA", "abcdefghijklmnopB"));
    EXPECT_NE(0, natural_order("abcdefghijklmnoA", "abcdefghijklmnoB"));
}

TEST(NaturalSort, SortsAsPeopleCount)
{
    EXPECT_EQ((std::vector<std::string>{"bond0", "eth0", "eth1", "eth2", "eth10", "lo"}),
              sorted({"lo", "eth10", "eth2", "bond0", "eth1", "eth0"}));
}

TEST(NaturalSort, KeepsTheOrderOfEquals)
{
    EXPECT_EQ((std::vector<std::string>{"eth0.20", "eth0", "eth0.3", "eth1.9", "eth1"}),
              sorted({"eth1.9", "eth0.20", "eth0", "eth1", "eth0.3"}));
}

TEST(NaturalSort, TakesShortLists)
{
    EXPECT_EQ(std::vector<std::string>{}, sorted({}));
    EXPECT_EQ(std::vector<std::string>{"eth0"}, sorted({"eth0"}));
}

TEST(NaturalSort, IsAStableSortForEveryOrderOfAList)
{
    std::vector<std::string> names{"a1", "b", "eth0", "eth0.5", "eth10", "eth2", "lo"};
    ASSERT_TRUE(std::is_sorted(names.begin(), names.end())) << "where the permutations begin";
    int orders = 0;
    do {
        std::vector<std::string> expected = names;
        std::stable_sort(expected.begin(), expected.end(), [](const std::string &a, const std::string &b) {
            return natural_order(a.c_str(), b.c_str()) < 0;
        });
        ASSERT_EQ(expected, sorted(names));
        ++orders;
    } while (std::next_permutation(names.begin(), names.end()));
    EXPECT_EQ(5040, orders);
}

} // namespace
