#include "log/stamp.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <thread>
#include <vector>

#include "tests/log/clock.h"

namespace corvenna::test {
namespace {

std::string Expected(std::time_t time) {
    std::tm broken{};
    localtime_r(&time, &broken);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &broken);
    return text;
}

/// The stamp, and what it must be, of one and the same second.
void ExpectStampOfNow() {
    for (;;) {
        const std::time_t before = std::time(nullptr);
        const LogStamp stamp = CurrentLogStamp();
        if (std::time(nullptr) == before) {
            EXPECT_EQ(Expected(before), std::string(stamp.date) + " " + stamp.time);
            return;
        }
    }
}

TEST(Stamp, IsTheLocalTimeOfNow) {
    ExpectStampOfNow();
}

TEST(Stamp, FollowsTheSeconds) {
    const std::time_t start = std::time(nullptr);
    while (std::time(nullptr) < start + 2) {
        ExpectStampOfNow();
    }
}

TEST(Stamp, FollowsTheTimeZoneWithinOneSecond) {
    for (const char *zone : {"UTC0", "CET-1CEST", "NST3:30NDT", "ABC-1DEF"}) {
        setenv("TZ", zone, 1);
        tzset();
        ExpectStampOfNow();
    }
}

std::string StampAt(const char *zone) {
    setenv("TZ", zone, 1);
    tzset();
    const LogStamp stamp = CurrentLogStamp();
    return std::string(stamp.date) + " " + stamp.time;
}

TEST(Stamp, FollowsTheTimeZoneWithinTheSecondWhateverOfItChanges) {
    const ClockAt summer(1720000000);  // 2024-07-03 09:46:40 UTC
    EXPECT_EQ("2024-07-03 09:46:40", StampAt("AAA0"));
    EXPECT_EQ("2024-07-03 12:46:40", StampAt("AAA-3")) << "the offset";
    EXPECT_EQ("2024-07-03 13:46:40", StampAt("AAA-3BBB,M3.1.0,M11.1.0")) << "the second name";
    EXPECT_EQ("2024-07-03 12:46:40", StampAt("CCC-3BBB,M11.1.0,M3.1.0")) << "the first name";
    EXPECT_EQ("2024-07-03 09:46:40", StampAt("AAA0"));
}

TEST(Stamp, FollowsAClockThatIsSetBack) {
    ClockAt clock(1720000000);
    StampAt("UTC0");
    clock.Set(1719999999);
    EXPECT_EQ("2024-07-03 09:46:39", StampAt("UTC0"));
}

TEST(Stamp, AYearBeyondFourDigitsIsCutToItsField) {
    if (sizeof(std::time_t) < 8) {
        GTEST_SKIP() << "this time_t ends in 2038";
    }
    ClockAt clock(static_cast<std::time_t>(67768036191676799));  // the last one of localtime_r
    EXPECT_EQ("-2147481749 23:59:59", StampAt("UTC0"));
    clock.Set(static_cast<std::time_t>(67768036191676800));
    EXPECT_EQ("1900-01-00 00:00:00", StampAt("UTC0")) << "a time that cannot be broken down";
}

TEST(Stamp, IsWholeForManyThreadsAtOnce) {
    setenv("TZ", "UTC0", 1);
    tzset();
    ClockAt clock(0);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&clock, i] {
            for (int j = 0; j < 20000; ++j) {
                if (i == 0) {
                    clock.Set(j % 2 == 0 ? 0 : 951868799);
                }
                const LogStamp stamp = CurrentLogStamp();
                const std::string text = std::string(stamp.date) + ' ' + stamp.time;
                EXPECT_TRUE(text == "1970-01-01 00:00:00" || text == "2000-02-29 23:59:59") << text;
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
}

}  // namespace
}  // namespace corvenna::test
