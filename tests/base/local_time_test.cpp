#include "base/local_time.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <limits>

namespace corvenna::test {
namespace {

void UseZone(const char *zone) {
    setenv("TZ", zone, 1);
    tzset();
}

TEST(LocalTime, IsInTheProcessesZone) {
    UseZone("UTC0");
    ASSERT_TRUE(LocalTime(1709622489));
    EXPECT_STREQ("2024-03-05 07:08:09", PrintTime(*LocalTime(1709622489)).text);
    UseZone("XXX-8");
    EXPECT_STREQ("2024-03-05 15:08:09", PrintTime(*LocalTime(1709622489)).text);
}

TEST(LocalTime, CoversTheEndsOfThirtyTwoBits) {
    UseZone("UTC0");
    EXPECT_STREQ("1970-01-01 00:00:00", PrintTime(*LocalTime(0)).text);
    EXPECT_STREQ("2038-01-19 03:14:07", PrintTime(*LocalTime(INT32_MAX)).text);
    EXPECT_STREQ("1901-12-13 20:45:52", PrintTime(*LocalTime(INT32_MIN)).text);
}

TEST(LocalTime, IsNothingForATimeWithoutAYear) {
    if (sizeof(std::time_t) == 4) {
        GTEST_SKIP() << "every time of 32 bits has a year";
    }
    EXPECT_FALSE(LocalTime(std::numeric_limits<std::time_t>::max()));
    EXPECT_FALSE(LocalTime(std::numeric_limits<std::time_t>::min()));
}

TEST(PrintTime, FillsUpWithZeroes) {
    std::tm time{};
    time.tm_year = 5 - 1900;
    time.tm_mday = 1;
    EXPECT_STREQ("0005-01-01 00:00:00", PrintTime(time).text);
}

TEST(PrintTime, HoldsTheWidestYear) {
    std::tm time{};
    time.tm_year = INT_MIN;
    time.tm_mon = 11;
    time.tm_mday = 31;
    time.tm_hour = 23;
    time.tm_min = 59;
    time.tm_sec = 60;
    EXPECT_STREQ("-2147481748-12-31 23:59:60", PrintTime(time).text);
}

TEST(CalendarYear, WrapsAroundBehindTheLast) {
    std::tm time{};
    time.tm_year = 124;
    EXPECT_EQ(2024, CalendarYear(time));
    time.tm_year = INT_MAX;
    EXPECT_EQ(INT_MIN + 1899, CalendarYear(time));
}

}  // namespace
}  // namespace corvenna::test
