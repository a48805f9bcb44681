#include "log/log_database.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <climits>
#include <cstring>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/log/clock.h"
#include "tests/log/rows.h"
#include "tests/log/terminal.h"
#include "tests/support/capture_stdout.h"
#include "tests/support/failing_unlink.h"
#include "tests/support/files.h"
#include "tests/support/pauses.h"

namespace corvenna::test {
namespace {

ST_LOG_NODE Node(const std::string &text, const std::string &type = "INFO") {
    ST_LOG_NODE node{};
    std::strcpy(node.RecordDate, "2024-03-05");
    std::strcpy(node.RecordTime, "07:08:09");
    type.copy(node.log_Type, sizeof node.log_Type - 1);
    text.copy(node.log_Desc, sizeof node.log_Desc - 1);
    return node;
}

int Write(CLogDatabase &sink, std::list<ST_LOG_NODE> queue) {
    const int result = sink.WriteLog(&queue);
    if (result == 0) {
        EXPECT_TRUE(queue.empty());
    }
    return result;
}

std::vector<std::string> Texts() {
    return Query("SELECT log_Desc FROM log_tbl ORDER BY Pid");
}

/// Fills the table with rows whose texts count from one.
void FillTable(int rows) {
    CLogDatabase sink;
    sink.LogTableCreate(nullptr);
    const Database database = OpenDatabase();
    Execute(database.get(), "BEGIN");
    for (int i = 1; i <= rows; ++i) {
        Execute(database.get(),
                "INSERT INTO log_tbl(log_Desc) VALUES('" + std::to_string(i) + "')");
    }
    Execute(database.get(), "COMMIT");
}

TEST(LogDatabase, StoresEntriesInTheirOrder) {
    CLogDatabase sink;
    sink.Init();
    EXPECT_EQ(0, Write(sink, {Node("first"), Node("second", "ERROR")}));
    EXPECT_EQ((std::vector<std::string>{"first", "second"}), Texts());
    EXPECT_EQ((std::vector<std::string>{"2024-03-05|07:08:09|INFO", "2024-03-05|07:08:09|ERROR"}),
              Query("SELECT RecordDate||'|'||RecordTime||'|'||log_Type FROM log_tbl ORDER BY Pid"));
}

TEST(LogDatabase, TheTableIsMadeAsItsReadersKnowIt) {
    CLogDatabase sink;
    EXPECT_EQ(0, sink.LogTableCreate(nullptr));
    EXPECT_EQ((std::vector<std::string>{
                  "CREATE TABLE log_tbl(Pid INTEGER PRIMARY KEY, RecordDate DATE, RecordTime TIME, "
                  "log_Type TEXT, log_Desc TEXT)"}),
              Query("SELECT sql FROM sqlite_master"));
}

TEST(LogDatabase, TheDirectoryIsMadeForPassingThroughOnly) {
    umask(0);
    CLogDatabase sink;
    EXPECT_EQ(0, sink.LogTableCreate(nullptr));
    struct stat status {};
    ASSERT_EQ(0, stat("/tmp/CloudLog", &status));
    EXPECT_EQ(0100U, status.st_mode & 07777U);
}

TEST(LogDatabase, ATableThatCannotBeMadeCanBeMadeLater) {
    WriteFile("/tmp/CloudLog", "a file where the directory should be");
    CLogDatabase sink;
    EXPECT_EQ(-1, sink.LogTableCreate(nullptr));
    EXPECT_EQ(-1, sink.LogTableCreate(nullptr)) << "no mutex is left locked";
    ASSERT_EQ(0, unlink("/tmp/CloudLog"));
    EXPECT_EQ(0, sink.LogTableCreate(nullptr));
    EXPECT_EQ(std::vector<std::string>{"log_tbl"}, Query("SELECT name FROM sqlite_master"));
}

TEST(LogDatabase, AnExistingFileIsLeftAlone) {
    WriteFile(kDatabase, "something else");
    CLogDatabase sink;
    EXPECT_EQ(0, sink.LogTableCreate(nullptr));
    EXPECT_EQ("something else", ReadFile(kDatabase));
}

TEST(LogDatabase, AnEmptyQueueLeavesTheDatabaseUntouched) {
    CLogDatabase sink;
    EXPECT_EQ(-1, Write(sink, {}));
    EXPECT_EQ(-1, sink.WriteLog(nullptr));
    EXPECT_TRUE(ListFolder("/tmp/CloudLog").empty());
}

TEST(LogDatabase, AnEmptyQueueDoesNotEvenOpenTheDatabase) {
    mkdir("/tmp/CloudLog", 0755);
    mkdir(kDatabase, 0755);  // could not be opened
    CLogDatabase sink;
    EXPECT_EQ("", Printed([&] { EXPECT_EQ(-1, Write(sink, {})); }));
    EXPECT_EQ(0, sink.InsertLog("INFO", "the queue is not left locked"));
    rmdir(kDatabase);
}

TEST(LogDatabase, AMessageWithADoubleQuoteIsNotStored) {
    CLogDatabase sink;
    sink.Init();
    EXPECT_EQ(
        0, Write(sink, {Node("before"), Node("say \"hi\""), Node("x\"); DELETE FROM log_tbl; --"),
                        Node("t", "a\"b"), Node("after")}));
    EXPECT_EQ((std::vector<std::string>{"before", "after"}), Texts());
}

TEST(LogDatabase, AnEntryWithADoubleQuoteInAnyOfItsTextsIsNotStored) {
    constexpr char kPartOfAStatement[] = R"(a"||"b)";  // SQLite would store "ab"
    std::list<ST_LOG_NODE> queue(5, Node("text"));
    auto entry = queue.begin();
    std::strcpy((entry++)->RecordDate, kPartOfAStatement);
    std::strcpy((entry++)->RecordTime, kPartOfAStatement);
    std::strcpy((entry++)->log_Type, kPartOfAStatement);
    std::strcpy((entry++)->log_Desc, kPartOfAStatement);
    CLogDatabase sink;
    sink.Init();
    EXPECT_EQ(0, Write(sink, queue));
    EXPECT_EQ(std::vector<std::string>{"text"}, Texts());
}

TEST(LogDatabase, OtherCharactersAreStoredAsTheyAre) {
    const std::vector<std::string> texts = {
        "it's", "100%", "a;b", "line\nend\n", "\xC3\xA4", "Pid", "back\\slash", "--", ""};
    CLogDatabase sink;
    sink.Init();
    std::list<ST_LOG_NODE> queue;
    for (const std::string &text : texts) {
        queue.push_back(Node(text));
    }
    EXPECT_EQ(0, Write(sink, queue));
    EXPECT_EQ(texts, Texts());
}

TEST(LogDatabase, TheLongestMessageIsStoredWhole) {
    CLogDatabase sink;
    sink.Init();
    EXPECT_EQ(0, Write(sink, {Node(std::string(255, 'm'))}));
    EXPECT_EQ(std::vector<std::string>{std::string(255, 'm')}, Texts());
}

TEST(LogDatabase, TheOldestRowsMakeRoomUnderTheCap) {
    FillTable(9995);
    CLogDatabase sink;
    sink.Init();
    EXPECT_EQ(0, Write(sink, std::list<ST_LOG_NODE>(10, Node("new"))));
    EXPECT_EQ(std::vector<std::string>{"10000"}, Query("SELECT COUNT(*) FROM log_tbl"));
    EXPECT_EQ(std::vector<std::string>{"6"},
              Query("SELECT log_Desc FROM log_tbl ORDER BY Pid LIMIT 1"));
}

TEST(LogDatabase, NothingIsDeletedUpToTheCap) {
    FillTable(9990);
    CLogDatabase sink;
    sink.Init();
    EXPECT_EQ(0, Write(sink, std::list<ST_LOG_NODE>(10, Node("new"))));
    EXPECT_EQ(std::vector<std::string>{"1"},
              Query("SELECT log_Desc FROM log_tbl ORDER BY Pid LIMIT 1"));
    EXPECT_EQ(std::vector<std::string>{"10000"}, Query("SELECT COUNT(*) FROM log_tbl"));
}

TEST(LogDatabase, WithoutACapABatchReplacesWhatWasThere) {
    FillTable(20);
    CLogDatabase sink;  // a cap of 0, as before Init
    EXPECT_EQ(0, Write(sink, {Node("a"), Node("b")}));
    EXPECT_EQ((std::vector<std::string>{"a", "b"}), Texts());
}

TEST(LogDatabase, TheCapCanBeSet) {
    FillTable(5);
    CLogDatabase sink;
    sink.LogMaxItemSet(4);
    EXPECT_EQ(0, Write(sink, {Node("a"), Node("b")}));
    EXPECT_EQ((std::vector<std::string>{"4", "5", "a", "b"}), Texts());
}

TEST(LogDatabase, TheTableSizeIsCounted) {
    FillTable(7);
    const Database database = OpenDatabase();
    CLogDatabase sink;
    EXPECT_EQ(7, sink.GetTableSize(database.get(), "log_tbl"));
}

TEST(LogDatabase, AMissingTableIsPrintedAndCountsAsMinusOne) {
    FillTable(1);
    const Database database = OpenDatabase();
    CLogDatabase sink;
    EXPECT_EQ("SQL error: no such table: other\n",
              Printed([&] { EXPECT_EQ(-1, sink.GetTableSize(database.get(), "other")); }));
}

TEST(LogDatabase, ClearingDeletesTheExcessAlone) {
    FillTable(10);
    const Database database = OpenDatabase();
    CLogDatabase sink;
    sink.CheckSizeAndClear(database.get(), "log_tbl", 10, 0);
    EXPECT_EQ(10, sink.GetTableSize(database.get(), "log_tbl"));
    sink.CheckSizeAndClear(database.get(), "log_tbl", 10, 3);
    EXPECT_EQ((std::vector<std::string>{"4", "5", "6", "7", "8", "9", "10"}), Texts());
}

TEST(LogDatabase, AnyCapAndAnyNumberOfEntriesMakeAStatement) {
    FillTable(3);
    const Database database = OpenDatabase();
    CLogDatabase sink;
    sink.CheckSizeAndClear(database.get(), "log_tbl", INT_MAX, INT_MIN);
    EXPECT_EQ(3, sink.GetTableSize(database.get(), "log_tbl"));
    sink.CheckSizeAndClear(database.get(), "log_tbl", INT_MIN, INT_MAX);
    EXPECT_EQ(0, sink.GetTableSize(database.get(), "log_tbl"));
}

TEST(LogDatabase, ADeletedFileIsMadeAgain) {
    CLogDatabase sink;
    sink.Init();
    EXPECT_EQ(0, Write(sink, {Node("a")}));
    ASSERT_EQ(0, unlink(kDatabase));
    EXPECT_EQ(0, Write(sink, {Node("b")}));
    EXPECT_EQ(std::vector<std::string>{"b"}, Texts());
}

TEST(LogDatabase, ALockedDatabaseIsTriedTwentyTimesPerEntry) {
    FillTable(1);
    const Database reader = OpenDatabase();
    Execute(reader.get(), "BEGIN EXCLUSIVE");
    CLogDatabase sink;
    sink.LogMaxItemSet(100);
    std::list<ST_LOG_NODE> queue{Node("lost"), Node("lost too")};
    {
        const PauseRecorder pauses;
        Printed([&] { EXPECT_EQ(0, sink.WriteLog(&queue)); });
        EXPECT_EQ(std::vector<unsigned>(2 * 19, 200000U), pauses.Microseconds());
    }
    EXPECT_TRUE(queue.empty());
    Execute(reader.get(), "COMMIT");
    EXPECT_EQ(std::vector<std::string>{"1"}, Texts());
}

TEST(LogDatabase, ACommitThatMeetsAReaderIsRetriedToo) {
    FillTable(1);
    const Database reader = OpenDatabase();
    Execute(reader.get(), "BEGIN");
    sqlite3_stmt *statement = nullptr;
    ASSERT_EQ(SQLITE_OK,
              sqlite3_prepare_v2(reader.get(), "SELECT * FROM log_tbl", -1, &statement, nullptr));
    ASSERT_EQ(SQLITE_ROW, sqlite3_step(statement));
    CLogDatabase sink;
    sink.LogMaxItemSet(100);
    {
        const PauseRecorder pauses;
        EXPECT_EQ(0, Write(sink, {Node("a")}));
        EXPECT_EQ(std::vector<unsigned>(19, 200000U), pauses.Microseconds());
    }
    sqlite3_finalize(statement);
}

TEST(LogDatabase, ABatchSurvivesAReaderThatGoesAway) {
    FillTable(1);
    const Database reader = OpenDatabase();
    Execute(reader.get(), "BEGIN EXCLUSIVE");
    CLogDatabase sink;
    sink.LogMaxItemSet(100);
    PauseRecorder pauses;
    pauses.OnPause([&] {
        if (pauses.Microseconds().size() == 2) {
            Execute(reader.get(), "COMMIT");
        }
    });
    EXPECT_EQ(0, Write(sink, {Node("kept")}));
    EXPECT_EQ(std::vector<unsigned>(2, 200000U), pauses.Microseconds());
    EXPECT_EQ((std::vector<std::string>{"1", "kept"}), Texts());
}

TEST(LogDatabase, AFileThatIsNoDatabaseLosesTheBatchAndGoesOn) {
    WriteFile(kDatabase, std::string(8192, 'x'));
    CLogDatabase sink;
    sink.Init();
    const PauseRecorder pauses;
    Printed([&] { EXPECT_EQ(0, Write(sink, {Node("a")})); });
    EXPECT_TRUE(pauses.Microseconds().empty()) << "only a locked database is waited for";
}

TEST(LogDatabase, APipeInTheJournalsPlaceIsTakenAway) {
    CLogDatabase sink;
    sink.Init();
    EXPECT_EQ(0, Write(sink, {Node("before")}));
    const std::string journal = std::string(kDatabase) + "-journal";
    ASSERT_EQ(0, mkfifo(journal.c_str(), 0600));
    EXPECT_EQ(0, Write(sink, {Node("after")}));
    EXPECT_EQ((std::vector<std::string>{"before", "after"}), Texts());
    EXPECT_NE(0, access(journal.c_str(), F_OK));
}

TEST(LogDatabase, APipeInTheJournalsPlaceThatStaysLosesTheBatchAndGoesOn) {
    CLogDatabase sink;
    sink.Init();
    EXPECT_EQ(0, Write(sink, {Node("before")}));
    const std::string journal = std::string(kDatabase) + "-journal";
    ASSERT_EQ(0, mkfifo(journal.c_str(), 0600));
    {
        const FailingUnlink failing;
        EXPECT_EQ(0, Write(sink, {Node("lost")}));
    }
    EXPECT_EQ(0, Write(sink, {Node("after")}));
    EXPECT_EQ((std::vector<std::string>{"before", "after"}), Texts());
}

TEST(LogDatabase, ATerminalInItsOrItsJournalsPlaceIsNotTheHosts) {
    const Terminal terminal;
    if (terminal.Path().empty()) {
        GTEST_SKIP() << "there are no terminals here";
    }
    FillTable(1);
    const std::string journal = std::string(kDatabase) + "-journal";
    ASSERT_EQ(0, symlink(terminal.Path().c_str(), journal.c_str()));
    const auto loseBatch = [] {
        setsid();
        CLogDatabase sink;
        sink.Init();
        _exit(Write(sink, {Node("a")}) == 0 && !HasTerminal() ? 0 : 1);
    };
    EXPECT_EXIT(loseBatch(), testing::ExitedWithCode(0), "");
    EXPECT_EQ((std::vector<std::string>{"1", "a"}), Texts());
    ASSERT_EQ(0, unlink(kDatabase));
    ASSERT_EQ(0, symlink(terminal.Path().c_str(), kDatabase));
    EXPECT_EXIT(loseBatch(), testing::ExitedWithCode(0), "");
}

TEST(LogDatabase, WhatAForeignDatabaseBringsAlongIsNotRun) {
    FillTable(1);
    Execute(OpenDatabase().get(),
            "CREATE TRIGGER t AFTER INSERT ON log_tbl BEGIN "
            "UPDATE log_tbl SET log_Desc = 'changed'; END");
    CLogDatabase sink;
    sink.Init();
    EXPECT_EQ(0, Write(sink, {Node("a")}));
    EXPECT_EQ((std::vector<std::string>{"1", "a"}), Texts());
}

TEST(LogDatabase, AForeignViewWithoutEndIsNotCounted) {
    mkdir("/tmp/CloudLog", 0755);
    Execute(OpenDatabase().get(),
            "CREATE VIEW log_tbl AS WITH RECURSIVE n(log_Desc) AS "
            "(SELECT 1 UNION ALL SELECT log_Desc + 1 FROM n) SELECT * FROM n");
    CLogDatabase sink;
    sink.Init();
    EXPECT_EQ(0, Write(sink, {Node("lost")}));
}

TEST(LogDatabase, AForeignColumnIsMadeOfAMebibyteAtMost) {
    mkdir("/tmp/CloudLog", 0755);
    for (const auto &[bytes, rows] : {std::pair(1048576, 1U), std::pair(1048577, 0U)}) {
        unlink(kDatabase);
        Execute(OpenDatabase().get(),
                "CREATE TABLE log_tbl(RecordDate, RecordTime, log_Type, log_Desc, "
                "large AS (length(zeroblob(" +
                    std::to_string(bytes) + "))) CHECK (large > 0))");
        CLogDatabase sink;
        sink.Init();
        EXPECT_EQ(0, Write(sink, {Node("a")}));
        EXPECT_EQ(rows, Query("SELECT log_Desc FROM log_tbl").size());
    }
}

/// Whether an insert comes back within a moment; it does not while the queue is locked for good.
bool InsertReturns(CLogDatabase &sink) {
    auto done = std::make_shared<std::promise<void>>();
    std::future<void> returned = done->get_future();
    std::thread([&sink, done] {
        sink.InsertLog("INFO", "x");
        done->set_value();
    }).detach();
    return returned.wait_for(std::chrono::milliseconds(300)) == std::future_status::ready;
}

/// Ends the test's process at once: the detached caller of InsertReturns never comes back, and what
/// it waits in must not be torn down.
[[noreturn]] void LeaveTheCallerWaiting() {
    std::fflush(nullptr);
    _exit(testing::Test::HasFailure() ? 1 : 0);
}

TEST(LogDatabase, ATableThatCannotBeMadeLeavesTheQueueLocked) {
    WriteFile("/tmp/CloudLog", "a file where the directory should be");
    auto *sink = new CLogDatabase;  // never destroyed: a caller is left waiting in it
    EXPECT_EQ(0, sink->InsertLog("INFO", "x")) << "the queue is free at first";
    std::list<ST_LOG_NODE> queue{Node("a")};
    EXPECT_EQ(-1, sink->WriteLog(&queue));
    EXPECT_EQ(1U, queue.size());
    EXPECT_FALSE(InsertReturns(*sink));
    LeaveTheCallerWaiting();
}

TEST(LogDatabase, AFileThatCannotBeOpenedIsPrintedAndLeavesTheQueueLocked) {
    mkdir("/tmp/CloudLog", 0755);
    mkdir(kDatabase, 0755);
    auto *sink = new CLogDatabase;
    std::list<ST_LOG_NODE> queue{Node("a")};
    EXPECT_EQ("Open database(/tmp/CloudLog/Cloudlog.db) failed: unable to open database file\n",
              Printed([&] { EXPECT_EQ(-1, sink->WriteLog(&queue)); }));
    EXPECT_FALSE(InsertReturns(*sink));
    ASSERT_EQ(0, rmdir(kDatabase));
    EXPECT_EQ(0, sink->LogTableCreate(nullptr)) << "the database's own mutex is free";
    LeaveTheCallerWaiting();
}

TEST(LogDatabase, TheDestructorDoesNotWaitForAQueueThatIsLockedForGood) {
    WriteFile("/tmp/CloudLog", "in the way");
    CLogDatabase sink;
    std::list<ST_LOG_NODE> queue{Node("a")};
    EXPECT_EQ(-1, sink.WriteLog(&queue));
}

TEST(LogDatabase, TheDestructorWritesWhatIsQueued) {
    {
        CLogDatabase sink;
        sink.Init();
        EXPECT_EQ(0, sink.InsertLog("INFO", "last words"));
    }
    EXPECT_EQ(std::vector<std::string>{"last words"}, Texts());
}

TEST(LogDatabase, TheDestructorWaitsTenSecondsAtMostForALockedDatabase) {
    FillTable(1);
    const Database reader = OpenDatabase();
    Execute(reader.get(), "BEGIN EXCLUSIVE");
    const TimeStandsStill still;
    const PauseRecorder pauses;
    Printed([] {
        CLogDatabase sink;
        sink.LogMaxItemSet(100);
        for (int i = 0; i < 10; ++i) {
            sink.InsertLog("INFO", "lost");
        }
    });
    EXPECT_EQ(std::vector<unsigned>(50, 200000U), pauses.Microseconds());
}

TEST(LogDatabase, TheDestructorWaitsNoLongerWhenItsPausesTakeLongerThanAsked) {
    FillTable(1);
    const Database reader = OpenDatabase();
    Execute(reader.get(), "BEGIN EXCLUSIVE");
    const TimeStandsStill still;
    PauseRecorder pauses;
    pauses.OnPause([] { LetPass(4); });
    Printed([] {
        CLogDatabase sink;
        sink.LogMaxItemSet(100);
        for (int i = 0; i < 10; ++i) {
            sink.InsertLog("INFO", "lost");
        }
    });
    EXPECT_EQ(std::vector<unsigned>(3, 200000U), pauses.Microseconds());
}

TEST(LogDatabase, NullTextsAreEmpty) {
    {
        CLogDatabase sink;
        sink.Init();
        sink.InsertLog(nullptr, nullptr);
    }
    EXPECT_EQ(std::vector<std::string>{""}, Texts());
}

TEST(LogDatabase, InsertKeeps254CharactersAndElevenOfTheType) {
    {
        CLogDatabase sink;
        sink.Init();
        for (const std::size_t length : {253U, 254U, 255U, 4000U}) {
            sink.InsertLog("LEVELOFTWELVE", std::string(length, 'x').c_str());
        }
    }
    EXPECT_EQ((std::vector<std::string>{"253", "254", "254", "254"}),
              Query("SELECT length(log_Desc) FROM log_tbl ORDER BY Pid"));
    EXPECT_EQ(std::vector<std::string>{"LEVELOFTWEL"},
              Query("SELECT DISTINCT log_Type FROM log_tbl"));
}

}  // namespace
}  // namespace corvenna::test
