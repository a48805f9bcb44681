#include "log/log_txt.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "tests/log/clock.h"
#include "tests/log/day_files.h"
#include "tests/log/terminal.h"
#include "tests/support/capture_stdout.h"
#include "tests/support/failing_fstat.h"
#include "tests/support/files.h"

namespace corvenna::test {
namespace {

constexpr char kFolder[] = "/tmp/CloudLog";

ST_TXT_LOG_NODE Node(const std::string &text, const std::string &type = "INFO") {
    ST_TXT_LOG_NODE node{};
    std::strcpy(node.date, "2024-03-05");
    std::strcpy(node.time, "07:08:09");
    type.copy(node.type, sizeof node.type - 1);
    text.copy(node.text, sizeof node.text - 1);
    return node;
}

int Write(CLogTxt &sink, std::list<ST_TXT_LOG_NODE> queue) {
    return sink.WriteLog(&queue);
}

TEST(LogTxt, AnEntryIsAHeaderLineAndTheTextBehindABlank) {
    CLogTxt sink;
    EXPECT_EQ(0, Write(sink, {Node("hello"), Node("line end\n", "ERROR")}));
    EXPECT_EQ(
        "2024-03-05 07:08:09 logType:INFO\n hello\n"
        "2024-03-05 07:08:09 logType:ERROR\n line end\n\n",
        ReadFile(TodaysFile()));
}

TEST(LogTxt, BatchesAreAppended) {
    CLogTxt sink;
    EXPECT_EQ(0, Write(sink, {Node("a")}));
    EXPECT_EQ(0, Write(sink, {Node("b")}));
    EXPECT_EQ(
        "2024-03-05 07:08:09 logType:INFO\n a\n"
        "2024-03-05 07:08:09 logType:INFO\n b\n",
        ReadFile(TodaysFile()));
}

TEST(LogTxt, TheFileIsNamedAfterTodayWhateverTheEntriesSay) {
    CLogTxt sink;
    EXPECT_EQ(0, Write(sink, {Node("queued long ago")}));
    EXPECT_EQ(std::vector<std::string>{TodaysFile().substr(sizeof kFolder)}, ListFolder(kFolder));
}

std::time_t Local(int year, int month, int day, int hour, int minute, int second) {
    std::tm time{};
    time.tm_year = year - 1900;
    time.tm_mon = month - 1;
    time.tm_mday = day;
    time.tm_hour = hour;
    time.tm_min = minute;
    time.tm_sec = second;
    time.tm_isdst = -1;
    return std::mktime(&time);
}

TEST(LogTxt, AMessageFromBeforeMidnightLandsInTheNewDaysFileWithItsOldDate) {
    ClockAt clock(Local(2024, 3, 4, 23, 59, 59));
    {
        CLogTxt sink;
        sink.InsertLog("INFO", "before");
        clock.Set(Local(2024, 3, 5, 0, 0, 2));
        sink.InsertLog("INFO", "after");
    }
    EXPECT_EQ(std::vector<std::string>{"0305_log.txt"}, ListFolder(kFolder));
    EXPECT_EQ(
        "2024-03-04 23:59:59 logType:INFO\n before\n"
        "2024-03-05 00:00:02 logType:INFO\n after\n",
        ReadFile("/tmp/CloudLog/0305_log.txt"));
}

TEST(LogTxt, TheFileIsForItsOwnersEyesOnly) {
    umask(0);
    CLogTxt sink;
    EXPECT_EQ(0, Write(sink, {Node("a")}));
    struct stat status {};
    ASSERT_EQ(0, stat(TodaysFile().c_str(), &status));
    EXPECT_EQ(0400U, status.st_mode & 07777U);
}

TEST(LogTxt, AMissingDirectoryIsMadeBeforeEachWrite) {
    umask(0);
    CLogTxt sink;
    EXPECT_EQ(0, Write(sink, {Node("a")}));
    ASSERT_EQ(0, unlink(TodaysFile().c_str()));
    ASSERT_EQ(0, rmdir(kFolder));
    EXPECT_EQ(0, Write(sink, {Node("b")}));
    EXPECT_EQ("2024-03-05 07:08:09 logType:INFO\n b\n", ReadFile(TodaysFile()));
    struct stat status {};
    ASSERT_EQ(0, stat(kFolder, &status));
    EXPECT_EQ(0755U, status.st_mode & 07777U);
}

TEST(LogTxt, AnEmptyQueueMakesNothing) {
    CLogTxt sink;
    EXPECT_EQ(-1, Write(sink, {}));
    EXPECT_EQ(-1, sink.WriteLog(nullptr));
    EXPECT_NE(0, access(kFolder, F_OK));
}

TEST(LogTxt, AFileThatCannotBeOpenedIsPrintedAndTheEntriesStay) {
    const std::string name = TodaysFile();
    mkdir(kFolder, 0755);
    mkdir(name.c_str(), 0755);
    CLogTxt sink;
    std::list<ST_TXT_LOG_NODE> queue{Node("a")};
    EXPECT_EQ("Open " + name + " failed\n", Printed([&] { EXPECT_EQ(-1, sink.WriteLog(&queue)); }));
    EXPECT_EQ(1U, queue.size());
    EXPECT_EQ(0, sink.InsertLog("INFO", "the queue is not left locked"));
    rmdir(name.c_str());
}

TEST(LogTxt, APipeIsNoDayFile) {
    const std::string name = TodaysFile();
    mkdir(kFolder, 0755);
    ASSERT_EQ(0, mkfifo(name.c_str(), 0600));
    CLogTxt sink;
    std::list<ST_TXT_LOG_NODE> queue{Node("a")};
    EXPECT_EQ("Open " + name + " failed\n", Printed([&] { EXPECT_EQ(-1, sink.WriteLog(&queue)); }));
    EXPECT_EQ(1U, queue.size());
    unlink(name.c_str());
}

TEST(LogTxt, ATerminalIsNoDayFileAndNotTheHosts) {
    const Terminal terminal;
    if (terminal.Path().empty()) {
        GTEST_SKIP() << "there are no terminals here";
    }
    const std::string name = TodaysFile();
    mkdir(kFolder, 0755);
    ASSERT_EQ(0, symlink(terminal.Path().c_str(), name.c_str()));
    EXPECT_EXIT(
        {
            setsid();
            CLogTxt sink;
            std::list<ST_TXT_LOG_NODE> queue{Node("a")};
            const bool refused = sink.WriteLog(&queue) == -1 && queue.size() == 1;
            _exit(refused && !HasTerminal() ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
    unlink(name.c_str());
}

TEST(LogTxt, AFileThatCannotBeExaminedIsWrittenAllTheSame) {
    CLogTxt sink;
    {
        const FailingFstat failing;
        EXPECT_EQ(0, Write(sink, {Node("a")}));
    }
    EXPECT_EQ("2024-03-05 07:08:09 logType:INFO\n a\n", ReadFile(TodaysFile()));
}

TEST(LogTxt, ALongEntryIsCutAt2047Bytes) {
    CLogTxt sink;
    EXPECT_EQ(0, Write(sink, {Node(std::string(2046, 'x'))}));
    const std::string header = "2024-03-05 07:08:09 logType:INFO\n ";
    EXPECT_EQ(header + std::string(2047 - header.size(), 'x'), ReadFile(TodaysFile()));
}

TEST(LogTxt, TheFileStopsGrowingBeyondOneMebibyte) {
    const struct {
        std::size_t size;
        bool written;
    } kSizes[] = {{1048575, true}, {1048576, true}, {1048577, false}, {2097152, false}};
    for (const auto &size : kSizes) {
        SCOPED_TRACE(size.size);
        const std::string name = TodaysFile();
        WriteFile(name, std::string(size.size, 'o'));
        CLogTxt sink;
        std::list<ST_TXT_LOG_NODE> queue{Node("a"), Node("b")};
        EXPECT_EQ(0, sink.WriteLog(&queue));
        EXPECT_TRUE(queue.empty());
        EXPECT_EQ(size.written, ReadFile(name).size() > size.size);
        unlink(name.c_str());
    }
}

TEST(LogTxt, ABatchMayCarryTheFilePastTheLimit) {
    const std::string name = TodaysFile();
    WriteFile(name, std::string(1048576, 'o'));
    CLogTxt sink;
    EXPECT_EQ(0, Write(sink, std::list<ST_TXT_LOG_NODE>(10, Node("a"))));
    const std::string entry = "2024-03-05 07:08:09 logType:INFO\n a\n";
    EXPECT_EQ(1048576 + 10 * entry.size(), ReadFile(name).size());
    EXPECT_EQ(0, Write(sink, {Node("dropped")}));
    EXPECT_EQ(1048576 + 10 * entry.size(), ReadFile(name).size());
}

std::string DayNumber(int number) {
    char name[32];
    std::snprintf(name, sizeof name, "%04d_log.txt", number);
    return name;
}

void MakeDayFiles(const std::vector<int> &numbers) {
    for (const int number : numbers) {
        WriteFile(std::string(kFolder) + "/" + DayNumber(number), "x");
    }
}

TEST(DayFiles, OfSixTheOneWithTheSmallestNumberGoes) {
    MakeDayFiles({315, 314, 313, 312, 311, 310});
    CLogTxt sink;
    EXPECT_EQ(0, sink.CheckSizeAndClear());
    EXPECT_EQ((std::vector<std::string>{DayNumber(311), DayNumber(312), DayNumber(313),
                                        DayNumber(314), DayNumber(315)}),
              ListFolder(kFolder));
}

TEST(DayFiles, FiveStay) {
    MakeDayFiles({311, 312, 313, 314, 315});
    CLogTxt sink;
    EXPECT_EQ(0, sink.CheckSizeAndClear());
    EXPECT_EQ(5U, ListFolder(kFolder).size());
}

TEST(DayFiles, OneGoesAtATime) {
    MakeDayFiles({101, 102, 103, 104, 105, 106, 107, 108});
    CLogTxt sink;
    EXPECT_EQ(0, sink.CheckSizeAndClear());
    EXPECT_EQ(7U, ListFolder(kFolder).size());
}

TEST(DayFiles, AfterNewYearTheNewYearsFilesGoFirst) {
    MakeDayFiles({1228, 1229, 1230, 1231, 101, 102});
    CLogTxt sink;
    sink.CheckSizeAndClear();
    EXPECT_EQ((std::vector<std::string>{DayNumber(102), DayNumber(1228), DayNumber(1229),
                                        DayNumber(1230), DayNumber(1231)}),
              ListFolder(kFolder));
}

TEST(DayFiles, ClearingFailsWithoutADirectoryAndWhereNothingCanBeDeleted) {
    CLogTxt sink;
    EXPECT_EQ(-1, sink.CheckSizeAndClear());
    MakeDayFiles({2, 3, 4, 5, 6});
    mkdir("/tmp/CloudLog/0001_log.txt", 0755);
    EXPECT_EQ(-1, sink.CheckSizeAndClear());
    EXPECT_EQ(6U, ListFolder(kFolder).size());
}

TEST(DayFiles, AWriteClearsAfterwards) {
    MakeDayFiles({1, 2, 3, 4, 5});
    CLogTxt sink;
    EXPECT_EQ(0, Write(sink, {Node("a")}));
    EXPECT_EQ(5U, ListFolder(kFolder).size());
    EXPECT_NE(0, access("/tmp/CloudLog/0001_log.txt", F_OK));
}

TEST(DayFiles, NamesThatDoNotStartWithANumberDoNotCount) {
    MakeDayFiles({7});
    for (const char *name : {"Cloudlog.db", "notes.txt", "0_log.txt", "0000_log.txt", ".hidden"}) {
        WriteFile(std::string(kFolder) + "/" + name, "x");
    }
    CLogTxt sink;
    char name[128] = "";
    EXPECT_EQ(1, sink.GetFirstLogTxt(name, sizeof name));
    EXPECT_STREQ("/tmp/CloudLog/0007_log.txt", name);
}

TEST(DayFiles, TheNameIsCutToItsRoom) {
    MakeDayFiles({1231});
    CLogTxt sink;
    char name[128] = "";
    EXPECT_EQ(1, sink.GetFirstLogTxt(name, 10));
    EXPECT_STREQ("/tmp/Clou", name);
}

TEST(DayFiles, AreCountedWithoutARoomForTheName) {
    MakeDayFiles({1230, 1231});
    CLogTxt sink;
    EXPECT_EQ(2, sink.GetFirstLogTxt(nullptr, 0));
}

TEST(DayFiles, WithoutAnyTheNameIsLeftAlone) {
    CLogTxt sink;
    char name[128] = "as it was";
    EXPECT_EQ(-1, sink.GetFirstLogTxt(name, sizeof name)) << "there is no directory";
    sink.Init();
    EXPECT_EQ(0, sink.GetFirstLogTxt(name, sizeof name));
    EXPECT_STREQ("as it was", name);
}

TEST(LogDirectory, IsMadeWithAllThatIsMissingAboveIt) {
    umask(0);
    CLogTxt sink;
    EXPECT_EQ(0, sink.CreateDirectory("/tmp/a/b/c"));
    for (const char *folder : {"/tmp/a", "/tmp/a/b", "/tmp/a/b/c"}) {
        struct stat status {};
        ASSERT_EQ(0, stat(folder, &status)) << folder;
        EXPECT_EQ(0755U, status.st_mode & 07777U) << folder;
    }
    EXPECT_EQ(0, sink.CreateDirectory("/tmp/a/b/c/")) << "with a slash, and there already";
}

TEST(LogDirectory, OfAnEmptyPathIsThere) {
    CLogTxt sink;
    EXPECT_EQ(0, sink.CreateDirectory(""));
}

TEST(LogDirectory, FailsWhereItCannotBeMade) {
    CLogTxt sink;
    EXPECT_EQ(-1, sink.CreateDirectory(nullptr));
    WriteFile("/tmp/file", "x");
    EXPECT_EQ(-1, sink.CreateDirectory("/tmp/file/below"));
    EXPECT_EQ(-1, sink.CreateDirectory("/proc/none"));
}

TEST(LogDirectory, KeepsAtMost126CharactersOfAPath) {
    CLogTxt sink;
    const std::string part(60, 'd');
    const std::string path = "/tmp/" + part + "/" + part + "/" + part;
    EXPECT_EQ(0, sink.CreateDirectory(path.c_str()));
    EXPECT_EQ(0, access(path.substr(0, 126).c_str(), F_OK));
    EXPECT_EQ(
        std::vector<std::string>{path.substr(0, 126).substr(path.substr(0, 126).rfind('/') + 1)},
        ListFolder(path.substr(0, path.substr(0, 126).rfind('/'))));
}

TEST(LogTxt, TheSizeOfAFileIsZeroWhenItCannotBeExamined) {
    CLogTxt sink;
    WriteFile("/tmp/file", "12345");
    EXPECT_EQ(5, sink.GetFileSize("/tmp/file"));
    EXPECT_EQ(0, sink.GetFileSize("/tmp/none"));
    EXPECT_EQ(0, sink.GetFileSize(nullptr));
}

TEST(LogTxt, TheDestructorWritesWhatIsQueued) {
    {
        CLogTxt sink;
        EXPECT_EQ(0, sink.InsertLog("WARN", "last words"));
    }
    const std::string content = ReadFile(TodaysFile());
    EXPECT_EQ(" logType:WARN\n last words\n", content.substr(content.find(" logType")));
}

TEST(LogTxt, TheDestructorDropsWhatIsQueuedForAFileBeyondItsLimit) {
    const std::string full(1048577, 'x');
    WriteFile(TodaysFile(), full);
    {
        CLogTxt sink;
        EXPECT_EQ(0, sink.InsertLog("WARN", "too late"));
    }
    EXPECT_EQ(full, ReadFile(TodaysFile()));
}

TEST(LogTxt, InsertKeeps2046Characters) {
    {
        CLogTxt sink;
        sink.InsertLog("T", std::string(5000, 'y').c_str());
    }
    // The line is cut again, at 2047 bytes with its header.
    EXPECT_EQ(2047U, ReadFile(TodaysFile()).size());
}

}  // namespace
}  // namespace corvenna::test
