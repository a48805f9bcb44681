#include "base/local_time.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <climits>
#include <cstdlib>
#include <functional>
#include <future>
#include <limits>
#include <thread>
#include <utility>

#include "tests/support/fork_wait.h"

namespace {

/// Done, when set, by the next thread that asks the C library for its time zone.
std::function<void()> gInTheZone;

void BeInTheZone() {
    if (gInTheZone) {
        std::exchange(gInTheZone, nullptr)();
    }
}

}  // namespace

extern "C" {

std::tm *__real_localtime_r(const std::time_t *time, std::tm *result);
std::tm *__wrap_localtime_r(const std::time_t *time, std::tm *result);
std::time_t __real_mktime(std::tm *time);
std::time_t __wrap_mktime(std::tm *time);

std::tm *__wrap_localtime_r(const std::time_t *time, std::tm *result) {
    BeInTheZone();
    return __real_localtime_r(time, result);
}

std::time_t __wrap_mktime(std::tm *time) {
    BeInTheZone();
    return __real_mktime(time);
}
}

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

TEST(LocalTime, IsTakenBackToItsTime) {
    UseZone("XXX-8");
    EXPECT_EQ(1709622489, FromLocalTime(*LocalTime(1709622489)));
}

constexpr unsigned kPatienceSeconds = 300;

/// The C library's lock of its time zone stays in a child as another thread holds it.
void ExpectAForkAwaits(const std::function<void()> &conversion) {
    ForkWait wait;
    std::promise<void> begun;
    std::atomic<bool> leaves{false};
    gInTheZone = [&] {
        begun.set_value();
        wait.Await();
        leaves = true;
    };
    std::thread other([&] {
        conversion();
        wait.End();
    });
    begun.get_future().wait();
    const pid_t child = fork();
    if (child == 0) {
        alarm(kPatienceSeconds);
        _exit(leaves ? 1 : 0);
    }
    other.join();
    int status = -1;
    EXPECT_EQ(child, waitpid(child, &status, 0));
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(1, WEXITSTATUS(status)) << "it was forked while another thread was in the zone";
}

TEST(LocalTime, IsAwaitedByAFork) {
    ExpectAForkAwaits([] { LocalTime(1709622489); });
}

TEST(LocalTime, IsAwaitedByAForkOnItsWayBackToo) {
    ExpectAForkAwaits([] { FromLocalTime({}); });
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
