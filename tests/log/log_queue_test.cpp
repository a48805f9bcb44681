#include "log/log_queue.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdarg>
#include <future>
#include <mutex>
#include <thread>

#include "log/log_database.h"
#include "tests/log/clock.h"

namespace corvenna::test {
namespace {

using Queue = LogQueue<ST_LOG_NODE, DatabaseFields>;

__attribute__((format(printf, 2, 3))) void AppendEchoed(Queue &queue, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    queue.AppendFormatted("INFO", format, arguments, true);
    va_end(arguments);
}

TEST(LogQueue, AMessageIsEchoedAndStampedBeforeItWaitsForAWriter) {
    Queue queue;
    testing::internal::CaptureStderr();
    std::unique_lock<Mutex> writer(queue.Lock());
    const std::future<void> stamped = NextTimeAsked();
    std::thread caller([&] { AppendEchoed(queue, "message %d", 7); });
    EXPECT_EQ(std::future_status::ready, stamped.wait_for(std::chrono::seconds(10)));
    EXPECT_EQ("message 7", testing::internal::GetCapturedStderr());
    EXPECT_TRUE(queue.All().empty());
    writer.unlock();
    caller.join();
    ASSERT_EQ(1U, queue.All().size());
    EXPECT_STREQ("message 7", queue.All().front().log_Desc);
}

TEST(LogQueue, AWrittenNodeIsTakenAgain) {
    Queue queue;
    queue.Append("INFO", "first");
    const ST_LOG_NODE *node = &queue.All().front();
    {
        const std::lock_guard<Mutex> writer(queue.Lock());
        queue.Retire(queue.All());
    }
    queue.Append("WARN", "second");
    EXPECT_EQ(node, &queue.All().front());
    EXPECT_STREQ("second", node->log_Desc);
    EXPECT_STREQ("WARN", node->log_Type);
}

}  // namespace
}  // namespace corvenna::test
