#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <ctime>
#include <filesystem>
#include <list>
#include <string>
#include <thread>
#include <vector>

#include "log/log.h"
#include "log/log_database.h"
#include "log/log_txt.h"
#include "log/singleton.h"
#include "tests/log/child.h"
#include "tests/log/rows.h"
#include "tests/log/sleepers.h"
#include "tests/log/waits.h"
#include "tests/support/files.h"

namespace corvenna::test {
namespace {

std::size_t LinesWith(const std::string &word) {
    std::size_t count = 0;
    for (const std::string &name : ListFolder("/tmp/CloudLog")) {
        if (name.find("_log.txt") == std::string::npos) {
            continue;
        }
        const std::string text = ReadFile("/tmp/CloudLog/" + name);
        for (std::size_t at = text.find(word); at != std::string::npos;
             at = text.find(word, at + 1)) {
            ++count;
        }
    }
    return count;
}

TEST(ProcessEnd, WritesEverythingThatWasLogged) {
    EXPECT_EQ(0, RunAsProcess([] {
                  log_init(0);
                  for (int i = 0; i < 1000; ++i) {
                      log_DB(kLogInfo, "message %d", i);
                      log_Text(kLogInfo, "message %d", i);
                  }
              }));
    EXPECT_EQ(std::vector<std::string>{"1000"}, Query("SELECT COUNT(*) FROM log_tbl"));
    EXPECT_EQ(1000U, LinesWith(" message "));
}

TEST(ProcessEnd, LosesNothingOfThreadsThatHaveEnded) {
    EXPECT_EQ(0, RunAsProcess([] {
                  // A writer's second round before log_init, without a row cap, deletes its first.
                  const Sleepers sleepers;
                  std::vector<std::thread> callers;
                  callers.reserve(8);
                  for (int caller = 0; caller < 8; ++caller) {
                      callers.emplace_back([caller] {
                          for (int i = 0; i < 200; ++i) {
                              log_DB(kLogInfo, "caller %d message %d", caller, i);
                              log_Text(kLogInfo, "caller %d message %d", caller, i);
                          }
                      });
                  }
                  log_init(0);
                  for (std::thread &caller : callers) {
                      caller.join();
                  }
              }));
    EXPECT_EQ(std::vector<std::string>{"1600"}, Query("SELECT COUNT(*) FROM log_tbl"));
    EXPECT_EQ(1600U, LinesWith(" caller "));
    // Each caller's messages are in its own order.
    for (int caller = 0; caller < 8; ++caller) {
        const std::vector<std::string> rows =
            Query("SELECT log_Desc FROM log_tbl WHERE log_Desc LIKE 'caller " +
                  std::to_string(caller) + " %' ORDER BY Pid");
        ASSERT_EQ(200U, rows.size());
        for (int i = 0; i < 200; ++i) {
            EXPECT_EQ("caller " + std::to_string(caller) + " message " + std::to_string(i),
                      rows[static_cast<std::size_t>(i)]);
        }
    }
}

/// Logs for ever, but not so fast that it fills queue or files beside a thread that stands still.
void LogForEver() {
    constexpr int kAtOnce = 1000;
    for (int i = 0;; ++i) {
        log_DB(kLogInfo, "busy");
        log_Text(kLogInfo, "busy");
        if (i < kAtOnce) {
            std::this_thread::yield();
        } else {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
}

TEST(ProcessEnd, IsNotDisturbedByThreadsThatGoOnLogging) {
    for (int round = 0; round < 5; ++round) {
        EXPECT_EQ(0, RunAsProcess([] {
                      log_init(0);
                      for (int caller = 0; caller < 4; ++caller) {
                          std::thread(LogForEver).detach();
                      }
                      log_Text(kLogInfo, "orderly end");
                      log_DB(kLogInfo, "orderly end");
                  }));
        EXPECT_EQ(1U, LinesWith(" orderly end\n"));
        EXPECT_EQ(std::vector<std::string>{"1"},
                  Query("SELECT COUNT(*) FROM log_tbl WHERE log_Desc='orderly end'"));
        // Each round's own: a folder that is full takes no more.
        std::filesystem::remove_all("/tmp/CloudLog");
    }
}

TEST(ProcessEnd, LateMessagesOfOtherDestructorsAreHarmless) {
    struct Late {
        ~Late() {
            log_DB(kLogInfo, "late");
            log_Text(kLogInfo, "late");
        }
    };
    EXPECT_EQ(0, RunAsProcess([] {
                  static const Late late;  // destroyed after the sinks, which are made later
                  log_init(0);
                  log_Text(kLogInfo, "in time");
              }));
    EXPECT_EQ(1U, LinesWith(" in time\n"));
}

TEST(ProcessEnd, DoesNotWaitForASinkThatIsLockedForGood) {
    WriteFile("/tmp/CloudLog", "in the way of the directory");
    EXPECT_EQ(0, RunAsProcess([] {
                  auto &sink = Singleton<CLogDatabase>::Instance();
                  std::list<ST_LOG_NODE> batch(1);
                  EXPECT_EQ(-1, sink.WriteLog(&batch));
                  sink.Finish();
                  EXPECT_TRUE(Waits::All().empty());
              }));
}

void FinishBoth() {
    Singleton<CLogDatabase>::Instance().Finish();
    Singleton<CLogTxt>::Instance().Finish();
}

TEST(ProcessEnd, HasOneLimitOfTenSecondsForBothSinksThatNoClockChangeMoves) {
    EXPECT_EQ(0, RunAsProcess([] {
                  Sleepers sleepers;
                  log_init(0);
                  sleepers.WaitFor(2);
                  log_DB(kLogInfo, "m");
                  log_Text(kLogInfo, "m");
                  timespec before{};
                  timespec after{};
                  clock_gettime(CLOCK_MONOTONIC, &before);
                  FinishBoth();
                  clock_gettime(CLOCK_MONOTONIC, &after);
                  const std::vector<Waits::Wait> waits = Waits::All();
                  ASSERT_EQ(4U, waits.size()) << "each sink's queue, and its file";
                  for (const Waits::Wait &wait : waits) {
                      EXPECT_EQ(CLOCK_MONOTONIC, wait.clock);
                      EXPECT_EQ(waits[0].until.tv_sec, wait.until.tv_sec);
                      EXPECT_EQ(waits[0].until.tv_nsec, wait.until.tv_nsec);
                      EXPECT_LE(before.tv_sec + 10, wait.until.tv_sec);
                      EXPECT_GE(after.tv_sec + 10, wait.until.tv_sec);
                  }
              }));
}

TEST(ProcessEnd, GoesOnWhenTheLimitRunsOut) {
    EXPECT_EQ(0, RunAsProcess([] {
                  Sleepers sleepers;
                  log_init(0);
                  sleepers.WaitFor(2);
                  log_DB(kLogInfo, "m");
                  log_Text(kLogInfo, "m");
                  Waits::RunOut();
                  FinishBoth();
                  EXPECT_EQ(2U, Waits::All().size()) << "who holds the queue is not disturbed";
              }));
    EXPECT_EQ(0U, LinesWith(" m\n"));
    EXPECT_NE(0, access(kDatabase, F_OK));
}

TEST(ProcessEnd, WritesNothingToADayFileThatIsHeldUntilTheLimit) {
    EXPECT_EQ(0, RunAsProcess([] {
                  Sleepers sleepers;
                  log_init(0);
                  sleepers.WaitFor(2);
                  log_Text(kLogInfo, "m");
                  Waits::RunOut(1);
                  Singleton<CLogTxt>::Instance().Finish();
                  EXPECT_EQ(2U, Waits::All().size()) << "the queue's, then the file's";
              }));
    EXPECT_EQ(0U, LinesWith(" m\n"));
}

TEST(ProcessEnd, WritesNothingToADatabaseThatIsHeldUntilTheLimit) {
    EXPECT_EQ(0, RunAsProcess([] {
                  Sleepers sleepers;
                  log_init(0);
                  sleepers.WaitFor(2);
                  log_DB(kLogInfo, "m");
                  Waits::RunOut(1);
                  Singleton<CLogDatabase>::Instance().Finish();
                  EXPECT_EQ(2U, Waits::All().size()) << "the queue's, then the database's";
              }));
    EXPECT_TRUE(Query("SELECT log_Desc FROM log_tbl").empty());
}

}  // namespace
}  // namespace corvenna::test
