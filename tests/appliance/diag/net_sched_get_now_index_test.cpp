// The hour of the week, at times of the test's choice.
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <string>

#include <gtest/gtest.h>

#include "kavonetsdk/diag.h"
#include "support/private_root.h"
#include "support/read_back.h"

namespace {

bool told = false;
time_t now = 0;

} // namespace

extern "C" time_t time(time_t *result) noexcept
{
    timespec real{};
    clock_gettime(CLOCK_REALTIME, &real);
    const time_t answer = told ? now : real.tv_sec;
    if (result != nullptr)
        *result = answer;
    return answer;
}

namespace {

constexpr time_t SATURDAY = 1'700'870'400; // 2023-11-25 00:00:00 UTC
constexpr time_t HOUR = 3600;

class NetSchedGetNowIndex : public support::PrivateRoot {
protected:
    void TearDown() override
    {
        told = false;
        unsetenv("TZ");
        tzset();
        PrivateRoot::TearDown();
    }

    static int index_at(time_t when, const char *zone = "UTC0")
    {
        setenv("TZ", zone, 1);
        told = true;
        now = when;
        const int index = KAVOSchedGetNowIndex();
        told = false;
        return index;
    }
};

TEST_F(NetSchedGetNowIndex, CountsTheHoursFromSundayOn)
{
    for (int hour = 0; hour < 168; ++hour) {
        EXPECT_EQ(hour, index_at(SATURDAY + (24 + hour) * HOUR)) << hour;
        EXPECT_EQ(hour, index_at(SATURDAY + (25 + hour) * HOUR - 1)) << hour;
    }
}

TEST_F(NetSchedGetNowIndex, EndsTheWeekOnSaturdayNight)
{
    EXPECT_EQ(167, index_at(SATURDAY + 23 * HOUR));
    EXPECT_EQ(167, index_at(SATURDAY + 24 * HOUR - 1));
    EXPECT_EQ(0, index_at(SATURDAY + 24 * HOUR));
}

TEST_F(NetSchedGetNowIndex, GoesByTheLocalTime)
{
    EXPECT_EQ(144, index_at(SATURDAY));
    EXPECT_EQ(152, index_at(SATURDAY, "CST-8"));
    EXPECT_EQ(139, index_at(SATURDAY, "EST5"));
    EXPECT_EQ(0, index_at(SATURDAY + 16 * HOUR, "CST-8"));
    EXPECT_EQ(149, index_at(SATURDAY, "IST-5:30")) << "half past five";
}

TEST_F(NetSchedGetNowIndex, HearsOfANewZone)
{
    if (!support::exists("/usr/share/zoneinfo/Etc/GMT-8"))
        GTEST_SKIP() << "no time zones on this machine";
    unsetenv("TZ");
    told = true;
    now = SATURDAY;
    for (const char *hours : {"0", "8", "3"}) {
        shell("rm -f /etc/localtime; ln -s /usr/share/zoneinfo/Etc/GMT-" + std::string(hours) + " /etc/localtime");
        EXPECT_EQ(144 + std::stoi(hours), KAVOSchedGetNowIndex()) << hours;
    }
}

TEST_F(NetSchedGetNowIndex, FailsAtATimeThatHasNoDate)
{
    EXPECT_EQ(-1, index_at(INT64_MAX));
    EXPECT_EQ(-1, index_at(INT64_MIN));
    EXPECT_EQ(96, index_at(0)) << "a Thursday";
    EXPECT_EQ(95, index_at(-1));
}

TEST_F(NetSchedGetNowIndex, TellsTheRealTime)
{
    const time_t before = time(nullptr);
    const int index = KAVOSchedGetNowIndex();
    tm first{};
    tm last{};
    const time_t after = time(nullptr);
    localtime_r(&before, &first);
    localtime_r(&after, &last);
    EXPECT_TRUE(index == first.tm_wday * 24 + first.tm_hour || index == last.tm_wday * 24 + last.tm_hour) << index;
}

} // namespace
