#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <cstdio>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "log/log.h"
#include "log/log_database.h"
#include "log/log_txt.h"
#include "log/singleton.h"
#include "tests/log/child.h"
#include "tests/log/day_files.h"
#include "tests/log/held_queue.h"
#include "tests/log/rows.h"
#include "tests/log/sleepers.h"
#include "tests/log/waits.h"
#include "tests/support/files.h"
#include "tests/support/fork_wait.h"

namespace {

/// Called, when set, by whoever makes a writer thread, before it is made.
void (*gWhileAThreadIsMade)() = nullptr;

}  // namespace

extern "C" {

int __real_pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                          void *(*body)(void *), void *argument);

int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                          void *(*body)(void *), void *argument) {
    if (attributes != nullptr && gWhileAThreadIsMade != nullptr) {
        gWhileAThreadIsMade();
    }
    return __real_pthread_create(thread, attributes, body, argument);
}
}

namespace corvenna::test {
namespace {

/// The stored messages of both sinks, which must have got the same.
std::vector<std::string> Stored() {
    std::vector<std::string> rows =
        Query("SELECT log_Desc FROM log_tbl WHERE log_Desc!='' ORDER BY Pid");
    std::string expected;
    for (const std::string &row : rows) {
        expected += "logType:INFO\n " + row + "\n";
    }
    std::string text = ReadFile(TodaysFile());
    const std::size_t kStamp = std::string("2024-03-05 07:08:09 ").size();
    for (std::size_t at = text.find("logType"); at != std::string::npos;
         at = text.find("logType", at)) {
        text.erase(at - kStamp, kStamp);
        at -= kStamp - 1;
    }
    EXPECT_EQ(expected, text);
    return rows;
}

void LogBoth(const char *text) {
    EXPECT_EQ(1, log_DB(kLogInfo, "%s", text));
    EXPECT_EQ(1, log_Text(kLogInfo, "%s", text));
}

/// A host whose writers sleep, so that what it logs is still queued when it forks.
template <class Function>
void RunAsHost(Function function) {
    EXPECT_EQ(0, RunAsProcess([&] {
                  Sleepers sleepers;
                  log_init(0);
                  sleepers.WaitFor(2);
                  function();
              }));
}

TEST(Fork, AChildThatEndsWritesNothingAndWaitsForNothing) {
    RunAsHost([] {
        LogBoth("once");
        EXPECT_EQ(0, RunAsProcess([] { std::atexit([] { EXPECT_TRUE(Waits::All().empty()); }); }));
        EXPECT_EQ(0, RunAsProcess([] {}));
        EXPECT_NE(0, access(TodaysFile().c_str(), F_OK));
    });
    EXPECT_EQ(std::vector<std::string>{"once"}, Stored());
}

TEST(Fork, AChildsMessagesAreRefused) {
    RunAsHost([] {
        LogBoth("before");
        EXPECT_EQ(0, RunAsProcess([] { LogBoth("child"); }));
        LogBoth("after");
    });
    EXPECT_EQ((std::vector<std::string>{"before", "after"}), Stored());
}

TEST(Fork, AChildsMessagesAreEchoedAllTheSame) {
    RunAsHost([] {
        log_init(1);
        EXPECT_EQ(0, RunAsProcess([] {
                      testing::internal::CaptureStderr();
                      LogBoth("child;");
                      EXPECT_EQ("child;child;", testing::internal::GetCapturedStderr());
                  }));
    });
}

TEST(Fork, AChildIsNotCaughtInAQueueThatAnotherThreadHeld) {
    RunAsHost([] {
        auto &sink = Singleton<CLogDatabase>::Instance();
        WhileTheQueueIsHeld(sink, [&sink] {
            EXPECT_EQ(0, RunAsProcess([&sink] {
                          LogBoth("child");
                          std::list<ST_LOG_NODE> none;
                          EXPECT_EQ(-1, sink.WriteLog(&none));
                          EXPECT_EQ(0, sink.LogTableCreate(nullptr));
                      }));
        });
        LogBoth("after");
    });
    EXPECT_EQ(std::vector<std::string>{"after"}, Stored());
}

constexpr char kAside[] = "/tmp/CloudLog/aside.db";

TEST(Fork, AChildIsNotCaughtInADatabaseThatAnotherThreadHeld) {
    RunAsHost([] {
        auto &sink = Singleton<CLogDatabase>::Instance();
        WhileTheQueueIsHeld(sink, [&sink] {
            ASSERT_EQ(0, std::rename(kDatabase, kAside));
            EXPECT_EQ(0, RunAsProcess([&sink] {
                          alarm(kPatienceMilliseconds / 1000);
                          EXPECT_EQ(0, sink.LogTableCreate(nullptr));
                      }));
            EXPECT_EQ(0, access(kDatabase, F_OK));
            ASSERT_EQ(0, std::rename(kAside, kDatabase));
        });
    });
}

TEST(Fork, AChildThatInitialisesTheLogHasOneOfItsOwn) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the thread sanitizer allows no thread in a child of a process with threads";
#endif
#ifdef CORVENNA_EMULATED
    GTEST_SKIP() << "the emulator makes no thread in a child of a process with threads";
#endif
    RunAsHost([] {
        EXPECT_EQ(0, RunAsProcess([] {
                      LogBoth("refused");
                      Sleepers sleepers;
                      log_init(0);
                      sleepers.WaitFor(2);
                      LogBoth("child");
                      EXPECT_EQ(0, RunAsProcess([] { LogBoth("grandchild"); }));
                  }));
        LogBoth("parent");
    });
    EXPECT_EQ((std::vector<std::string>{"child", "parent"}), Stored());
}

TEST(Fork, AChildMayBeTheFirstThatLogs) {
    EXPECT_EQ(0, RunAsProcess([] {
                  EXPECT_EQ(0, RunAsProcess([] {
                                log_init(0);
                                LogBoth("child");
                            }));
                  log_init(0);
                  LogBoth("parent");
              }));
    EXPECT_EQ((std::vector<std::string>{"child", "parent"}), Stored());
}

TEST(Fork, AChildIsNotCaughtInASinkThatAnotherThreadIsMaking) {
    EXPECT_EQ(0, RunAsProcess([] {
                  static ForkWait wait;
                  static std::promise<void> making;
                  gWhileAThreadIsMade = [] {
                      gWhileAThreadIsMade = nullptr;
                      making.set_value();
                      wait.Await();
                  };
                  std::thread first([] {
                      log_Text(kLogInfo, "parent");
                      wait.End();
                  });
                  making.get_future().wait();
                  EXPECT_EQ(0, RunAsProcess([] {
                                alarm(kPatienceMilliseconds / 1000);
                                log_Text(kLogInfo, "child");
                            }));
                  first.join();
              }));
    const std::string text = ReadFile(TodaysFile());
    EXPECT_NE(std::string::npos, text.find("logType:INFO\n parent\n"));
    EXPECT_EQ(std::string::npos, text.find("child"));
}

}  // namespace
}  // namespace corvenna::test
