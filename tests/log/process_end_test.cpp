#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "log/log.h"
#include "tests/log/child.h"
#include "tests/log/rows.h"
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

TEST(ProcessEnd, IsNotDisturbedByThreadsThatGoOnLogging) {
    for (int round = 0; round < 5; ++round) {
        EXPECT_EQ(0, RunAsProcess([] {
                      log_init(0);
                      for (int caller = 0; caller < 4; ++caller) {
                          std::thread([] {
                              for (;;) {
                                  log_DB(kLogInfo, "busy");
                                  log_Text(kLogInfo, "busy");
                                  std::this_thread::yield();
                              }
                          }).detach();
                      }
                      log_Text(kLogInfo, "orderly end");
                      log_DB(kLogInfo, "orderly end");
                  }));
    }
    EXPECT_EQ(5U, LinesWith(" orderly end\n"));
    EXPECT_EQ(std::vector<std::string>{"5"},
              Query("SELECT COUNT(*) FROM log_tbl WHERE log_Desc='orderly end'"));
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
                  log_init(0);
                  log_DB(kLogInfo, "cannot be stored");
              }));
}

}  // namespace
}  // namespace corvenna::test
