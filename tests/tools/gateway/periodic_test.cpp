#include "tools/gateway/periodic.h"

#include <gtest/gtest.h>

#include <atomic>

namespace corvenna::test {
namespace {

using namespace gateway;
using std::chrono::milliseconds;

constexpr Clock::time_point kStart{std::chrono::hours(1)};

struct RhythmCase {
    int now, next;
};

class Rhythm : public testing::TestWithParam<RhythmCase> {};

TEST_P(Rhythm, OfTenGoesOnWithoutMakingUpForWhatWasMissed) {
    EXPECT_EQ(NextDue(kStart, milliseconds(10), kStart + milliseconds(GetParam().now)),
              kStart + milliseconds(GetParam().next));
}

INSTANTIATE_TEST_SUITE_P(FromZero, Rhythm,
                         testing::Values(RhythmCase{0, 10}, RhythmCase{9, 10}, RhythmCase{10, 20},
                                         RhythmCase{11, 20}, RhythmCase{19, 20}, RhythmCase{20, 30},
                                         RhythmCase{1005, 1010}));

TEST(Periodic, CallsItsTaskUntilItIsStopped) {
    StopSignal stop;
    std::atomic<int> calls{0};
    {
        const Periodic periodic(stop, Clock::now(), milliseconds(1), [&] {
            if (++calls == 5) {
                stop.Stop();
            }
        });
    }
    EXPECT_EQ(calls, 5);
}

TEST(Periodic, EndsAtOnceFromALongWait) {
    StopSignal stop;
    std::atomic<int> calls{0};
    {
        const Periodic periodic(stop, Clock::now() + std::chrono::hours(1), milliseconds(1),
                                [&] { ++calls; });
        stop.Stop();
    }
    EXPECT_EQ(calls, 0);
}

TEST(StopSignal, TellsWhetherTheTimeCameOrTheStop) {
    StopSignal stop;
    EXPECT_TRUE(stop.WaitUntil(Clock::now()));
    EXPECT_FALSE(stop.IsStopped());
    stop.Stop();
    EXPECT_TRUE(stop.IsStopped());
    EXPECT_FALSE(stop.WaitUntil(Clock::now() + std::chrono::hours(1)));
}

}  // namespace
}  // namespace corvenna::test
