#include "tools/common/stop_signals.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace corvenna::test {
namespace {

using std::chrono::milliseconds;

TEST(StopSignals, WaitUntilTheyAreAskedFor) {
    const StopSignals signals;
    kill(getpid(), SIGTERM);
    EXPECT_TRUE(signals.Wait(milliseconds(0)));
    kill(getpid(), SIGINT);
    EXPECT_TRUE(signals.Wait(milliseconds(0)));
    EXPECT_FALSE(signals.Wait(milliseconds(0)));
}

TEST(StopSignals, ABrokenConnectionIsNoReasonToEnd) {
    const StopSignals signals;
    EXPECT_EQ(raise(SIGPIPE), 0);
}

}  // namespace
}  // namespace corvenna::test
