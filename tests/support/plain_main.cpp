// The beginning of a program that CTest takes for one test: it has not passed when it has skipped something.
#include <cstdio>

#include <gtest/gtest.h>

namespace {

constexpr int SKIPPED = 77;

void print_reason(const testing::TestInfo &test)
{
    for (int i = 0; i < test.result()->total_part_count(); ++i) {
        const testing::TestPartResult &part = test.result()->GetTestPartResult(i);
        if (part.skipped())
            printf("skipped: %s.%s: %s\n", test.test_suite_name(), test.name(), part.summary());
    }
}

// Prints why tests were skipped; false when none was.
bool print_reasons()
{
    const testing::UnitTest &all = *testing::UnitTest::GetInstance();
    bool some = false;
    for (int i = 0; i < all.total_test_suite_count(); ++i) {
        const testing::TestSuite &suite = *all.GetTestSuite(i);
        for (int j = 0; j < suite.total_test_count(); ++j) {
            const testing::TestInfo &test = *suite.GetTestInfo(j);
            if (!test.result()->Skipped())
                continue;
            print_reason(test);
            some = true;
        }
    }
    return some;
}

} // namespace

int main(int argc, char **argv)
{
    testing::InitGoogleTest(&argc, argv);
    const int status = RUN_ALL_TESTS();
    const bool skipped = print_reasons();
    return status == 0 && skipped ? SKIPPED : status;
}
