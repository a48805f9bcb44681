#include "plugin/cloud.h"

#include <gtest/gtest.h>

#include <vector>

#include "base/text.h"
#include "log/log.h"
#include "tests/support/log_capture.h"

namespace corvenna::test {
namespace {

TEST(BodyLength, FromNoneUpwardsIsTheRequests) {
    const LogCapture log;
    ST_FRAME_MEMORY_UPLOAD request{};
    for (const int length : {1, 0, static_cast<int>(kBodyCapacity)}) {
        EXPECT_TRUE(SetBodyLength(request, length));
        const unsigned set = request.bodyLength;
        EXPECT_EQ(static_cast<unsigned>(length), set);
    }
    EXPECT_TRUE(log.Text().empty());
}

TEST(BodyLength, BelowZeroIsNoBodyAndAnError) {
    const LogCapture log;
    ST_FRAME_MEMORY_UPLOAD request{};
    CopyText<5>(request.format, "none");
    EXPECT_FALSE(SetBodyLength(request, -1));
    EXPECT_EQ((std::vector<LogEntry>{{kLogError, "no body for a request of format 'none'"}}),
              log.Text());
}

}  // namespace
}  // namespace corvenna::test
