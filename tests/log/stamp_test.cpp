#include "log/stamp.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

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
        const LogStamp &stamp = CurrentLogStamp();
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

}  // namespace
}  // namespace corvenna::test
