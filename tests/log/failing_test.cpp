#include <gtest/gtest.h>

#include <list>
#include <string>

#include "log/log.h"
#include "log/log_database.h"
#include "log/log_txt.h"
#include "tests/log/day_files.h"
#include "tests/log/rows.h"
#include "tests/support/capture_stdout.h"
#include "tests/support/failing_allocations.h"
#include "tests/support/files.h"

namespace corvenna::test {
namespace {

class FailingLog : public testing::TestWithParam<Failing> {};

INSTANTIATE_TEST_SUITE_P(Each, FailingLog, testing::Values(Failing::kOne, Failing::kFromThereOn));

void Nothing() {}

TEST_P(FailingLog, TheFirstCallsOfAProcessReturnOne) {
    // One attempt a process: the sinks are made once.
    const FailingAllocations failure(1, GetParam());
    EXPECT_EQ(1, log_Text(kLogInfo, "%s", "text"));
    EXPECT_EQ(1, log_DB(kLogInfo, "%s", "database"));
    EXPECT_EQ(1, log_init(0));
    EXPECT_EQ(1, log_Text(kLogInfo, "%s", "text"));
    EXPECT_EQ(1, log_DB(kLogInfo, "%s", "database"));
}

TEST_P(FailingLog, EveryCallReturnsOneWhateverIsFormatted) {
    log_init(0);
    const std::size_t failed = FailEachAllocation(
        GetParam(), Nothing,
        [] {
            EXPECT_EQ(1, log_Text(kLogInfo, "%.90000f", 1.5));
            EXPECT_EQ(1, log_DB(kLogInfo, "%90000d", 7));
            EXPECT_EQ(1, log_Text(kLogWarn, "%s", "short"));
        },
        Nothing);
    EXPECT_LT(0U, failed);
}

TEST_P(FailingLog, WhatCouldNotBeFormattedIsToldByTheNextMessage) {
    {
        CLogTxt sink;
        const auto insert = [&sink](const char *format, ...) __attribute__((format(printf, 2, 3))) {
            va_list arguments;
            va_start(arguments, format);
            sink.InsertFormatted("INFO", format, arguments, false);
            va_end(arguments);
        };
        {
            const FailingAllocations failure(1, GetParam());
            insert("%.90000f", 1.5);
            EXPECT_TRUE(failure.Happened());
        }
        insert("next");
    }
    const std::string text = ReadFile(TodaysFile());
    const std::string stamp = text.substr(0, 20);
    EXPECT_EQ(
        stamp + "logType:WARN\n 1 log messages were dropped\n" + stamp + "logType:INFO\n next\n",
        text);
}

TEST_P(FailingLog, ATextBatchIsWrittenWhole) {
    CLogTxt sink;
    std::string expected;
    FailEachAllocation(
        GetParam(), Nothing,
        [&] {
            std::list<ST_TXT_LOG_NODE> none;
            EXPECT_EQ(-1, sink.WriteLog(&none));
            EXPECT_EQ(0, sink.InsertLog("INFO", "queued"));
        },
        Nothing);
    std::size_t attempts = 0;
    for (bool happened = true; happened; ++attempts) {
        std::list<ST_TXT_LOG_NODE> queue(2);
        expected += "  logType:\n \n  logType:\n \n";
        const FailingAllocations failure(attempts + 1, GetParam());
        EXPECT_EQ(0, sink.WriteLog(&queue));
        happened = failure.Happened();
    }
    EXPECT_EQ(expected, ReadFile(TodaysFile()));
}

TEST_P(FailingLog, ADatabaseBatchThatIsReportedAsWrittenHarmsNoLaterOne) {
    ASSERT_EQ(0, CLogDatabase().LogTableCreate(nullptr));
    ST_LOG_NODE entry{};
    std::strcpy(entry.log_Desc, "tried");
    std::size_t failed = 0;
    Printed([&] {
        for (bool happened = true; happened;) {
            auto *sink = new CLogDatabase;  // one whose queue is left locked is not finished
            sink->Init();
            std::list<ST_LOG_NODE> queue(3, entry);
            const std::ptrdiff_t before = LiveBlocks();
            int result = 0;
            {
                const FailingAllocations failure(failed + 1, GetParam());
                result = sink->WriteLog(&queue);
                happened = failure.Happened();
            }
            if (result == 0) {
                EXPECT_TRUE(queue.empty());
                EXPECT_EQ(before - 3, LiveBlocks()) << failed;
                std::list<ST_LOG_NODE> next(1, entry);
                EXPECT_EQ(0, sink->WriteLog(&next)) << "no lock is kept";
            } else {
                EXPECT_EQ(3U, queue.size()) << "nothing is lost where nothing could be opened";
                EXPECT_EQ(before, LiveBlocks()) << failed;
            }
            failed += happened ? 1 : 0;
        }
    });
    EXPECT_LT(20U, failed);
    EXPECT_EQ(std::vector<std::string>{"ok"}, Query("PRAGMA integrity_check"));
}

TEST_P(FailingLog, ATableIsMadeOrNot) {
    CLogDatabase sink;
    FailEachAllocation(
        GetParam(), [] { unlink(kDatabase); },
        [&] {
            const std::ptrdiff_t before = LiveBlocks();
            sink.LogTableCreate(nullptr);
            EXPECT_EQ(before, LiveBlocks());
        },
        [&] {
            unlink(kDatabase);
            EXPECT_EQ(0, sink.LogTableCreate(nullptr)) << "no lock is kept";
        });
}

TEST_P(FailingLog, TheOtherOperationsFailOrSucceedAndKeepNothing) {
    CLogDatabase database;
    CLogTxt text;
    ASSERT_EQ(0, database.LogTableCreate(nullptr));
    const Database connection = OpenDatabase();
    FailEachAllocation(
        GetParam(), Nothing,
        [&] {
            char name[128];
            const std::ptrdiff_t before = LiveBlocks();
            EXPECT_GE(0, text.GetFirstLogTxt(name, sizeof name));
            EXPECT_GE(0, text.CheckSizeAndClear());
            EXPECT_EQ(0, text.CreateDirectory("/tmp/made/for/this"));
            EXPECT_EQ(before, LiveBlocks());
            EXPECT_EQ(0, text.GetFileSize("/tmp/none"));
        },
        Nothing);
    Printed([&] {
        FailEachAllocation(
            GetParam(), Nothing,
            [&] {
                EXPECT_GE(0, database.GetTableSize(connection.get(), "log_tbl"));
                database.CheckSizeAndClear(connection.get(), "log_tbl", 0, 5);
            },
            Nothing);
    });
    EXPECT_EQ(0, database.GetTableSize(connection.get(), "log_tbl"));
}

}  // namespace
}  // namespace corvenna::test
