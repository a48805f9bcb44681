#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "base/text.h"
#include "config/sys_set.h"
#include "plugin/instances.h"
#include "plugin/plugin.h"
#include "tests/plugin/gateway.h"
#include "tests/support/files.h"
#include "tests/support/log_capture.h"

namespace corvenna::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

int UploadRealData(const std::string &path) {
    std::string copy = path;
    return UploadRealDataFile(copy.data());
}

/// Blocks until no download thread runs.
void AwaitDownload() {
    ASSERT_EQ(pthread_mutex_lock(&down_file_mutex), 0);
    ASSERT_EQ(pthread_mutex_unlock(&down_file_mutex), 0);
}

int CountText(const LogCapture &log, const std::string &text) {
    int count = 0;
    for (const LogEntry &entry : log.Text()) {
        count += entry.text == text ? 1 : 0;
    }
    return count;
}

constexpr char kThreadStarted[] = "Start thread to get downfile \n";
constexpr char kThreadEnded[] = "downfile thread exit";

class UploadTest : public testing::TestWithParam<Wire> {
protected:
    UploadTest() {
        Configure(server_, GetParam());
        path_ = "/tmp/up/S20240305070809." + GetParam().format;
        alarmPath_ = "/tmp/up/T20240305070809." + GetParam().format;
        WriteFile(path_, "real data");
        WriteFile(alarmPath_, "alarm data");
    }

    ScriptedServer server_{GetParam().protocol};
    const LogCapture log_;
    std::string path_;
    std::string alarmPath_;
};

TEST_P(UploadTest, RealDataIsPostedWithItsTime) {
    EXPECT_EQ(UploadRealData(path_), 0);
    const std::vector<Request> requests = server_.Requests();
    ASSERT_THAT(Lines(requests), ElementsAre("POST /cloud/realdata/GW4567"));
    EXPECT_EQ(requests[0].body, "real data");
    EXPECT_TRUE(requests[0].HasHeader("XVane-Time"));
    EXPECT_EQ(requests[0].Header("Content-Type"),
              "application/" + GetParam().format + ";charset=UTF-8");
}

TEST_P(UploadTest, AlarmDataIsPostedWithoutTime) {
    EXPECT_EQ(UploadAlarmDataFile(alarmPath_.c_str()), 0);
    const std::vector<Request> requests = server_.Requests();
    ASSERT_THAT(Lines(requests), ElementsAre("POST /cloud/alarmdata/GW4567"));
    EXPECT_EQ(requests[0].body, "alarm data");
    EXPECT_FALSE(requests[0].HasHeader("XVane-Time"));
}

TEST_P(UploadTest, RealDataMessages) {
    server_.Next(Reply(200, "thanks"));
    UploadRealData(path_);
    const std::string url = server_.Url("/cloud/realdata/GW4567");
    const std::vector<LogEntry> log = log_.Text();
    EXPECT_EQ(log.front(), (LogEntry{3, "start Send realdata " + path_ + " to " + url + " \n"}));
    EXPECT_THAT(log, Contains(LogEntry{3, "Receive Response:\nthanks"}));
    EXPECT_EQ(log.back(), (LogEntry{3, "Send realdata " + path_ + " to " + url + " finish\n"}));
}

TEST_P(UploadTest, AlarmDataMessages) {
    server_.Next(Reply(500, "no"));
    EXPECT_EQ(UploadAlarmDataFile(alarmPath_.c_str()), -1);
    const std::string url = server_.Url("/cloud/alarmdata/GW4567");
    const std::vector<LogEntry> log = log_.Text();
    EXPECT_EQ(log.front(),
              (LogEntry{3, "start Send alarmdata " + alarmPath_ + " to " + url + " \n"}));
    EXPECT_THAT(log, Contains(LogEntry{3, "Receive Response:\nno"}));
    EXPECT_EQ(log.back(),
              (LogEntry{3, "Send alarmdata " + alarmPath_ + " to " + url + " finish\n"}));
}

TEST_P(UploadTest, RealDataOfTheOtherTypeCountsAsHandled) {
    const std::string other = GetParam().format == "json" ? "/tmp/S.XML" : "/tmp/S.JSON";
    WriteFile(other, "x");
    EXPECT_EQ(UploadRealData(other), 0);
    EXPECT_EQ(server_.Connections(), 0);
    EXPECT_THAT(log_.Text(), IsEmpty());
}

TEST_P(UploadTest, AlarmDataOfTheOtherTypeIsSent) {
    WriteFile("/tmp/T.other", "x");
    EXPECT_EQ(UploadAlarmDataFile("/tmp/T.other"), 0);
    EXPECT_EQ(server_.Requests().size(), 1U);
}

TEST_P(UploadTest, TheTypeIsFoundInAnyCaseAndAnywhereInThePath) {
    const std::string upper = GetParam().format == "json" ? "JSON" : "XML";
    for (const std::string &path : {"/tmp/S." + upper, "/tmp/S." + GetParam().format + "z",
                                    "/tmp/" + upper + "folder/S.bin"}) {
        WriteFile(path, "x");
        EXPECT_EQ(UploadRealData(path), 0) << path;
    }
    EXPECT_EQ(server_.Requests().size(), 3U);
}

TEST_P(UploadTest, TheTransportsResultIsHandedOn) {
    server_.Next(Reply(201));
    EXPECT_EQ(UploadRealData(path_), 0);
    server_.Next(Reply(500));
    EXPECT_EQ(UploadRealData(path_), -1);
    server_.Next(CloseAt(Stage::kRequest));
    EXPECT_EQ(UploadRealData(path_), -1);
    EXPECT_EQ(UploadRealData("/tmp/missing." + GetParam().format), -1);
    EXPECT_EQ(UploadAlarmDataFile("/tmp/missing"), -1);
}

TEST_P(UploadTest, TheFileStaysWhereItIs) {
    UploadRealData(path_);
    EXPECT_EQ(ReadFile(path_), "real data");
}

TEST_P(UploadTest, Status426IsASuccessAndStartsOneDownload) {
    server_.Next(Reply(426));
    EXPECT_EQ(UploadRealData(path_), 0);
    AwaitDownload();
    EXPECT_THAT(Lines(server_.Requests()),
                ElementsAre("POST /cloud/realdata/GW4567", "GET /cloud/downfile/GW4567"));
    EXPECT_EQ(CountText(log_, kThreadStarted), 1);
}

TEST_P(UploadTest, NoOtherStatusStartsADownload) {
    for (const int status : {200, 201, 204, 400, 425, 427, 500}) {
        server_.Next(Reply(status));
        UploadRealData(path_);
    }
    EXPECT_EQ(CountText(log_, kThreadStarted), 0);
    EXPECT_EQ(pthread_mutex_trylock(&down_file_mutex), 0);
}

TEST_P(UploadTest, WhileADownloadRunsNoSecondOneStarts) {
    server_.Otherwise([](const Request &request) {
        return request.method == "POST" ? Reply(426) : ReplyInPieces(200, {"held"});
    });
    EXPECT_EQ(UploadRealData(path_), 0);
    server_.WaitForRequests(2);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(UploadRealData(path_), 0);
    }
    EXPECT_EQ(CountText(log_, kThreadStarted), 1);
    server_.Release();
    AwaitDownload();
    EXPECT_THAT(Lines(server_.Requests()),
                ElementsAre("POST /cloud/realdata/GW4567", "GET /cloud/downfile/GW4567",
                            "POST /cloud/realdata/GW4567", "POST /cloud/realdata/GW4567",
                            "POST /cloud/realdata/GW4567"));
}

TEST_P(UploadTest, AfterADownloadHasEndedTheNext426StartsAnother) {
    for (int i = 0; i < 3; ++i) {
        server_.Next(Reply(426));
        EXPECT_EQ(UploadRealData(path_), 0);
        AwaitDownload();
    }
    EXPECT_EQ(CountText(log_, kThreadStarted), 3);
    EXPECT_EQ(server_.Requests().size(), 6U);
}

TEST_P(UploadTest, AnAlarmAnsweredWith426FailsAndStartsNothing) {
    server_.Next(Reply(426));
    EXPECT_EQ(UploadAlarmDataFile(alarmPath_.c_str()), -1);
    EXPECT_EQ(CountText(log_, kThreadStarted), 0);
    EXPECT_EQ(pthread_mutex_trylock(&down_file_mutex), 0);
}

INSTANTIATE_TEST_SUITE_P(Wires, UploadTest, testing::ValuesIn(AllWires()),
                         [](const auto &row) { return NameOf(row.param); });

TEST(Upload, NullPathsFailWithAMessage) {
    ScriptedServer server;
    Configure(server);
    const LogCapture log;
    EXPECT_EQ(UploadRealDataFile(nullptr), -1);
    EXPECT_EQ(UploadAlarmDataFile(nullptr), -1);
    EXPECT_THAT(log.Text(), ElementsAre(LogEntry{5, "UploadRealDataFile: path is null"},
                                        LogEntry{5, "UploadAlarmDataFile: path is null"}));
    EXPECT_EQ(server.Connections(), 0);
}

TEST(Upload, ACompressedFileIsAnnouncedAsDeflated) {
    ScriptedServer server;
    Configure(server);
    WriteFile("/tmp/S.jsonz", "z");
    EXPECT_EQ(UploadRealData("/tmp/S.jsonz"), 0);
    EXPECT_EQ(server.Requests()[0].Header("Content-Encoding"), "deflate");
}

TEST(Upload, PathsOver126CharactersAreCutForTheTransport) {
    ScriptedServer server;
    Configure(server);
    const std::string folder = "/tmp/json/";
    const std::string whole = folder + std::string(126 - folder.size(), 'f');
    WriteFile(whole, "cut");
    WriteFile(whole + "more", "long");
    EXPECT_EQ(UploadRealData(whole), 0);
    EXPECT_EQ(UploadRealData(whole + "more"), 0);
    EXPECT_EQ(server.Requests()[0].body, "cut");
    EXPECT_EQ(server.Requests()[1].body, "cut");
}

TEST(Upload, AMessageOfTheThreadsEndFollowsTheRelease) {
    ScriptedServer server;
    Configure(server);
    WriteFile("/tmp/S.json", "x");
    const LogCapture log;
    server.Next(Reply(426));
    UploadRealData("/tmp/S.json");
    AwaitDownload();
    while (CountText(log, kThreadEnded) == 0) {  // written after the mutex is free
        sched_yield();
    }
    EXPECT_EQ(log.Text().back(), (LogEntry{3, kThreadEnded}));
}

}  // namespace
}  // namespace corvenna::test
