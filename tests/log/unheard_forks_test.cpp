// A process in which the system had no memory for handlers of forks: the sinks know a child by its
// number.

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "log/log.h"
#include "log/log_database.h"
#include "log/singleton.h"
#include "tests/log/child.h"
#include "tests/log/day_files.h"
#include "tests/log/held_queue.h"
#include "tests/log/sleepers.h"
#include "tests/support/failing_allocations.h"
#include "tests/support/files.h"

namespace corvenna::test {
namespace {

TEST(UnheardForks, AChildsMessagesAreRefusedAllTheSame) {
    EXPECT_EQ(0, RunAsProcess([] {
                  Sleepers sleepers;
                  log_init(0);
                  sleepers.WaitFor(2);
                  log_Text(kLogInfo, "before");
                  EXPECT_EQ(0, RunAsProcess([] { log_Text(kLogInfo, "child"); }));
                  log_Text(kLogInfo, "after");
              }));
    const std::string text = ReadFile(TodaysFile());
    const std::string stamp = text.substr(0, 20);
    EXPECT_EQ(stamp + "logType:INFO\n before\n", text.substr(0, text.find(" before\n") + 8));
    EXPECT_NE(std::string::npos, text.find(" after\n"));
    EXPECT_EQ(std::string::npos, text.find("child"));
}

TEST(UnheardForks, AChildsMessageThatFindsNoMemoryWaitsForNothing) {
    EXPECT_EQ(0, RunAsProcess([] {
                  Sleepers sleepers;
                  auto &sink = Singleton<CLogDatabase>::Instance();
                  sleepers.WaitFor(1);
                  WhileTheQueueIsHeld(sink, [] {
                      EXPECT_EQ(0, RunAsProcess([] {
                                    alarm(kPatienceMilliseconds / 1000);
                                    const FailingAllocations failure(1, Failing::kFromThereOn);
                                    EXPECT_EQ(1, log_DB(kLogInfo, "%.90000f", 1.5));
                                    EXPECT_TRUE(failure.Happened());
                                }));
                  });
              }));
}

}  // namespace
}  // namespace corvenna::test
