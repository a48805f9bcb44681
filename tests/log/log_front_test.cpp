#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#include "log/log.h"
#include "log/log_database.h"
#include "log/log_txt.h"
#include "log/singleton.h"
#include "tests/log/child.h"
#include "tests/log/rows.h"
#include "tests/log/sleepers.h"
#include "tests/support/files.h"

namespace {

std::vector<std::size_t> gStacks;
std::vector<int> gDetachStates;
bool gRefuseThreads = false;

}  // namespace

extern "C" {

int __real_pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                          void *(*body)(void *), void *argument);

/// Notes how the sinks ask for their threads, and refuses them when told to.
int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                          void *(*body)(void *), void *argument) {
    if (attributes != nullptr) {
        std::size_t stack = 0;
        int state = 0;
        pthread_attr_getstacksize(attributes, &stack);
        pthread_attr_getdetachstate(attributes, &state);
        gStacks.push_back(stack);
        gDetachStates.push_back(state);
    }
    return gRefuseThreads ? EAGAIN : __real_pthread_create(thread, attributes, body, argument);
}
}

namespace corvenna::test {
namespace {

std::string AllText() {
    std::string text;
    for (const std::string &name : ListFolder("/tmp/CloudLog")) {
        if (name.find("_log.txt") != std::string::npos) {
            text += ReadFile("/tmp/CloudLog/" + name);
        }
    }
    return text;
}

std::string StandardErrorOf(void (*function)()) {
    testing::internal::CaptureStderr();
    function();
    return testing::internal::GetCapturedStderr();
}

TEST(LogLevel, HasItsWord) {
    const char *const kWords[] = {"SEND", "RECV", "DEBUG", "INFO", "WARN", "ERROR", "FATAL"};
    for (int level = 0; level < 7; ++level) {
        EXPECT_STREQ(kWords[level], LogLevelToString(level));
    }
    for (const int level : {-1, 7, 9, 1000, -2147483647}) {
        EXPECT_STREQ("UNKNOWN", LogLevelToString(level));
    }
}

TEST(LogInit, MakesTheDirectoryAndAlwaysSucceeds) {
    EXPECT_EQ(1, log_init(0));
    EXPECT_EQ(1, log_init(0));
    EXPECT_EQ(0, access("/tmp/CloudLog", F_OK));
}

TEST(LogInit, StartsOneDetachedThreadOfTwoMebibytesForEachSink) {
    log_init(0);
    log_init(0);
    EXPECT_EQ(std::vector<std::size_t>(2, 2097152U), gStacks);
    EXPECT_EQ(std::vector<int>(2, PTHREAD_CREATE_DETACHED), gDetachStates);
}

TEST(LogInit, KeepsSinksWhoseThreadsCannotBeMade) {
    EXPECT_EQ(0, RunAsProcess([] {
                  gRefuseThreads = true;
                  EXPECT_EQ(1, log_init(0));
                  EXPECT_EQ(1, log_DB(kLogInfo, "in the database"));
                  EXPECT_EQ(1, log_Text(kLogInfo, "in the file"));
              }));
    EXPECT_EQ(std::vector<std::string>{"in the database"}, Query("SELECT log_Desc FROM log_tbl"));
    EXPECT_NE(std::string::npos, AllText().find(" in the file\n"));
}

TEST(LogInit, TheWritersSleepFiveSecondsBetweenTheirRounds) {
    Sleepers sleepers;
    log_init(0);
    EXPECT_EQ(std::vector<unsigned>(2, 5U), sleepers.WaitFor(2));
}

TEST(LogInit, SetsTheRowCap) {
    EXPECT_EQ(0, RunAsProcess([] {
                  log_init(0);
                  for (int i = 0; i < 3; ++i) {
                      log_DB(kLogInfo, "%d", i);
                  }
              }));
    EXPECT_EQ(0, RunAsProcess([] {
                  log_init(0);
                  log_DB(kLogInfo, "more");
              }));
    EXPECT_EQ((std::vector<std::string>{"0", "1", "2", "more"}),
              Query("SELECT log_Desc FROM log_tbl ORDER BY Pid"));
}

TEST(Log, BeforeInitTheSinkIsMadeWithoutARowCap) {
    EXPECT_EQ(0, RunAsProcess([] { log_DB(kLogInfo, "first process"); }));
    EXPECT_EQ(0, RunAsProcess([] { log_DB(kLogInfo, "second process"); }));
    EXPECT_EQ(std::vector<std::string>{"second process"}, Query("SELECT log_Desc FROM log_tbl"))
        << "a cap of 0 leaves no older rows";
}

TEST(Log, FormatsItsMessage) {
    EXPECT_EQ(0, RunAsProcess([] {
                  log_init(0);
                  EXPECT_EQ(1, log_DB(kLogWarn, "%s %d %05.1f", "text", -7, 2.5));
                  EXPECT_EQ(1, log_Text(kLogFatal, "%s\n%c", "two", 'x'));
              }));
    EXPECT_EQ(std::vector<std::string>{"WARN text -7 002.5"},
              Query("SELECT log_Type||' '||log_Desc FROM log_tbl"));
    EXPECT_NE(std::string::npos, AllText().find(" logType:FATAL\n two\nx\n"));
}

TEST(Log, OtherLevelsAreStoredAsUnknown) {
    EXPECT_EQ(0, RunAsProcess([] {
                  log_init(0);
                  log_DB(9, "nine");
                  log_Text(-1, "minus one");
              }));
    EXPECT_EQ(std::vector<std::string>{"UNKNOWN nine"},
              Query("SELECT log_Type||' '||log_Desc FROM log_tbl"));
    EXPECT_NE(std::string::npos, AllText().find(" logType:UNKNOWN\n minus one\n"));
}

TEST(Log, EveryLevelButDebugIsStored) {
    EXPECT_EQ(0, RunAsProcess([] {
                  log_init(0);
                  for (int level = 0; level <= 7; ++level) {
                      log_DB(level, "m");
                  }
              }));
    EXPECT_EQ(
        (std::vector<std::string>{"SEND", "RECV", "INFO", "WARN", "ERROR", "FATAL", "UNKNOWN"}),
        Query("SELECT log_Type FROM log_tbl ORDER BY Pid"));
}

TEST(Log, MessagesAreCutAtTheirLimits) {
    EXPECT_EQ(0, RunAsProcess([] {
                  log_init(0);
                  for (const std::size_t length : {253U, 254U, 255U, 300U, 5000U}) {
                      log_DB(kLogInfo, "%s", std::string(length, 'd').c_str());
                  }
              }));
    EXPECT_EQ((std::vector<std::string>{"253", "254", "254", "254", "254"}),
              Query("SELECT length(log_Desc) FROM log_tbl ORDER BY Pid"));
}

TEST(Log, ADatabaseMessageOf300CharactersKeepsItsFirst254) {
    std::string text;
    while (text.size() < 300) {
        text += std::to_string(text.size()) + ' ';
    }
    text.resize(300);
    EXPECT_EQ(0, RunAsProcess([&text] {
                  log_init(0);
                  log_DB(kLogInfo, "%s", text.c_str());
              }));
    EXPECT_EQ(std::vector<std::string>{text.substr(0, 254)}, Query("SELECT log_Desc FROM log_tbl"));
}

TEST(Log, AStoredTextKeeps2046CharactersBeforeItsLineIsCut) {
    // The front of a stored text decides; its line with the header ends at 2047 bytes.
    for (const std::size_t length : {2012U, 2013U, 2046U, 2047U, 9000U}) {
        EXPECT_EQ(0, RunAsProcess([length] {
                      log_init(0);
                      log_Text(kLogInfo, "%s", std::string(length, 't').c_str());
                  }));
        const std::string line = AllText();
        const std::size_t header = line.find(" t") + 1;
        EXPECT_EQ(std::min<std::size_t>(header + length + 1, 2047), line.size()) << length;
        for (const std::string &name : ListFolder("/tmp/CloudLog")) {
            unlink(("/tmp/CloudLog/" + name).c_str());
        }
    }
}

TEST(LogDebug, OffDropsDebugMessagesAndEchoesNothing) {
    EXPECT_EQ(0, RunAsProcess([] {
                  EXPECT_EQ("", StandardErrorOf([] {
                                log_init(0);
                                EXPECT_EQ(1, log_Text(kLogDebug, "debug"));
                                EXPECT_EQ(1, log_DB(kLogDebug, "debug"));
                                log_Text(kLogInfo, "info");
                            }));
              }));
    EXPECT_EQ(std::string::npos, AllText().find("debug"));
    EXPECT_NE(std::string::npos, AllText().find(" info\n"));
    EXPECT_NE(0, access(kDatabase, F_OK));
}

TEST(LogDebug, OffDoesNotEvenFormatDebugMessages) {
    int characters = -1;
    log_init(0);
    log_Text(kLogDebug, "abc%n", &characters);
    log_DB(kLogDebug, "abc%n", &characters);
    EXPECT_EQ(-1, characters);
    log_Text(kLogInfo, "abc%n", &characters);
    EXPECT_EQ(3, characters) << "other messages are formatted at once";
}

TEST(LogDebug, OnEchoesEveryMessageAsItIs) {
    EXPECT_EQ("debug text;debug db;info text;info db;", StandardErrorOf([] {
                  log_init(1);
                  log_Text(kLogDebug, "debug %s;", "text");
                  log_DB(kLogDebug, "debug %s;", "db");
                  log_Text(kLogInfo, "info %s;", "text");
                  log_DB(kLogInfo, "info %s;", "db");
              }));
}

TEST(LogDebug, OnStoresNoDebugMessageEither) {
    EXPECT_EQ(0, RunAsProcess([] {
                  log_init(1);
                  log_Text(kLogDebug, "debug");
                  log_DB(kLogDebug, "debug");
              }));
    EXPECT_EQ("", AllText());
    EXPECT_NE(0, access(kDatabase, F_OK));
}

TEST(LogDebug, EchoesAreCutWhereFormattingStops) {
    const std::string echo = StandardErrorOf([] {
        log_init(1);
        const std::string text(3000, 'e');
        log_Text(kLogInfo, "%s", text.c_str());
        log_Text(kLogDebug, "%s", text.c_str());
    });
    EXPECT_EQ(std::string(2 * 2047, 'e'), echo);
    EXPECT_EQ(std::string(2 * 254, 'e'), StandardErrorOf([] {
                  const std::string text(3000, 'e');
                  log_DB(kLogInfo, "%s", text.c_str());
                  log_DB(kLogDebug, "%s", text.c_str());
              }));
}

TEST(LogDebug, CanBeSwitchedOffAgain) {
    EXPECT_EQ("", StandardErrorOf([] {
                  log_init(1);
                  log_init(0);
                  log_Text(kLogInfo, "quiet");
              }));
}

TEST(Singleton, IsOneObjectOfItsType) {
    struct Counted {
        int value = 7;
    };
    EXPECT_EQ(&Singleton<Counted>::Instance(), &Singleton<Counted>::Instance());
    EXPECT_EQ(7, Singleton<Counted>::Instance().value);
    EXPECT_EQ(&Singleton<CLogTxt>::Instance(), &Singleton<CLogTxt>::Instance());
}

TEST(Log, ReachesTheDiskInTheNextRoundOfItsWriter) {
    Sleepers sleepers;
    log_init(0);
    std::size_t rounds = 2;  // each writer's first, which has nothing to write
    sleepers.WaitFor(rounds);
    log_DB(kLogInfo, "seen while running");
    log_Text(kLogInfo, "seen while running");
    // Which of the two wakes is not known; one that has had its turn finds nothing new.
    while (AllText().empty() || access(kDatabase, F_OK) != 0) {
        sleepers.Wake();
        sleepers.WaitFor(++rounds);
    }
    EXPECT_NE(std::string::npos, AllText().find(" seen while running\n"));
    EXPECT_EQ(std::vector<std::string>{"seen while running"},
              Query("SELECT log_Desc FROM log_tbl"));
}

}  // namespace
}  // namespace corvenna::test
