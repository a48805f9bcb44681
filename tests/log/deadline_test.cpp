#include "log/deadline.h"

#include <gtest/gtest.h>

#include <chrono>

namespace corvenna::test {
namespace {

using std::chrono::microseconds;
using std::chrono::steady_clock;

TEST(Deadline, LeavesWhatItWasGivenLessWhatHasPassed) {
    constexpr long long kGiven = 10000000;
    const auto before = steady_clock::now();
    const Deadline end(10);
    for (int i = 0; i < 1000; ++i) {
        const long long left = end.Left();
        const auto passed = std::chrono::duration_cast<microseconds>(steady_clock::now() - before);
        ASSERT_LE(left, kGiven);
        ASSERT_GE(left, kGiven - passed.count() - 1) << "the last microsecond may have begun";
    }
}

TEST(Deadline, LeavesNothingWhenItHasPassed) {
    EXPECT_EQ(0, Deadline(0).Left());
    EXPECT_EQ(0, Deadline(-3).Left());
}

}  // namespace
}  // namespace corvenna::test
