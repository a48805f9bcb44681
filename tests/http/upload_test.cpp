#include <gmock/gmock.h>
#include <sys/stat.h>

#include <atomic>
#include <csignal>
#include <filesystem>

#include "tests/http/curl_record.h"
#include "tests/http/twins.h"
#include "tests/support/failing_fstat.h"
#include "tests/support/files.h"
#include "tests/support/log_capture.h"

namespace corvenna::test {
namespace {

class Uploads : public Twins {
protected:
    Uploads() : server_(client().protocol) {}
    int RealData(ST_FRAME_FILE_UPLOAD &frame) { return client().realData(&frame, &httpCode_); }

    ScriptedServer server_;
    int httpCode_ = 7;
};
CORVENNA_BOTH_TWINS(Uploads);

TEST_P(Uploads, AreLoggedFromStartToFinish) {
    WriteFile("/tmp/S.json", "{}");
    auto frame = FileFrame(server_.Url("/r"), "/tmp/S.json");
    const LogCapture log;
    EXPECT_EQ(RealData(frame), 0);
    EXPECT_EQ(client().alarmData(&frame), 0);
    const LogEntry start{3, "start Send file /tmp/S.json to " + server_.Url("/r")};
    const LogEntry end{3, "Send file /tmp/S.json Success"};
    EXPECT_EQ(log.Text(), (std::vector<LogEntry>{start, end, start, end}));
    EXPECT_TRUE(log.Database().empty());
}

TEST_P(Uploads, OfAMissingFileFailWithoutATransfer) {
    auto frame = FileFrame(server_.Url("/"), "/tmp/none.json");
    const LogCapture log;
    EXPECT_EQ(RealData(frame), -1);
    EXPECT_EQ(client().alarmData(&frame), -1);
    const LogEntry missing{4, Either("Can not find File /tmp/none.json when send files\n",
                                     "Can not find FIle /tmp/none.json when send files\n")};
    EXPECT_EQ(log.Text(), (std::vector<LogEntry>{missing, missing}));
    EXPECT_EQ(httpCode_, 7);
    EXPECT_EQ(server_.Connections(), 0);
}

TEST_P(Uploads, OfAFileThatCannotBeOpenedFailWithoutATransfer) {
    // A socket is there, but cannot be opened as a file.
    ASSERT_EQ(mknod("/tmp/S.json", S_IFSOCK | 0600, 0), 0);
    auto frame = FileFrame(server_.Url("/"), "/tmp/S.json");
    const LogCapture log;
    EXPECT_EQ(RealData(frame), -1);
    EXPECT_EQ(client().alarmData(&frame), -1);
    EXPECT_EQ(client().download(&frame), -1);
    EXPECT_EQ(httpCode_, 7);
    EXPECT_EQ(server_.Connections(), 0);
    EXPECT_THAT(log.Text(), testing::Each(LogEntry{5, "Can not open file /tmp/S.json"}));
}

TEST_P(Uploads, OfAPipeFailAtOnce) {
    ASSERT_EQ(mkfifo("/tmp/S.json", 0600), 0);
    auto frame = FileFrame(server_.Url("/"), "/tmp/S.json");
    const LogCapture log;
    EXPECT_EQ(RealData(frame), -1);
    EXPECT_EQ(server_.Connections(), 0);
    EXPECT_THAT(log.Text(), testing::ElementsAre(LogEntry{5, "Can not open file /tmp/S.json"}));
}

TEST_P(Uploads, OfAFileWithoutASizeFailWithoutATransfer) {
    WriteFile("/tmp/S.json", "{}");
    auto frame = FileFrame(server_.Url("/"), "/tmp/S.json");
    const LogCapture log;
    {
        const FailingFstat failing;
        EXPECT_EQ(RealData(frame), -1);
        EXPECT_EQ(client().alarmData(&frame), -1);
    }
    EXPECT_EQ(httpCode_, 7);
    EXPECT_EQ(server_.Connections(), 0);
    EXPECT_EQ(log.Text(), (std::vector<LogEntry>(2, {5, "Can not open file /tmp/S.json"})));
}

TEST_P(Uploads, OfAFolderFailWithoutATransfer) {
    auto frame = FileFrame(server_.Url("/"), "/tmp");
    const LogCapture log;
    EXPECT_EQ(RealData(frame), -1);
    EXPECT_EQ(client().alarmData(&frame), -1);
    EXPECT_EQ(server_.Connections(), 0);
    EXPECT_THAT(log.Text(), testing::Each(LogEntry{5, "Can not open file /tmp"}));
    EXPECT_EQ(log.Text().size(), 2U);
}

TEST_P(Uploads, StoreStatus0WhenNoAnswerCame) {
    WriteFile("/tmp/S.json", "{}");
    server_.Next(CloseAt(Stage::kRequest));
    auto frame = FileFrame(server_.Url("/"), "/tmp/S.json");
    EXPECT_EQ(RealData(frame), -1);
    EXPECT_EQ(httpCode_, 0);
}

TEST_P(Uploads, DoWithoutAPlaceForTheStatus) {
    WriteFile("/tmp/S.json", "{}");
    auto frame = FileFrame(server_.Url("/"), "/tmp/S.json");
    EXPECT_EQ(client().realData(&frame, nullptr), 0);
}

TEST_P(Uploads, SendFilesOfEverySizeWhole) {
    for (const std::size_t size : {0U, 1U, 16383U, 16384U, 16385U, 65536U, 300000U}) {
        std::string content;
        for (std::size_t i = 0; i < size; ++i) {
            content += static_cast<char>(i * 13 + i / 251);
        }
        WriteFile("/tmp/S.jsonz", content);
        auto frame = FileFrame(server_.Url("/"), "/tmp/S.jsonz");
        frame.readCallback = ReadFromFile;
        EXPECT_EQ(RealData(frame), 0) << size;
        const Request request = server_.Requests().back();
        EXPECT_EQ(request.Header("Content-Length"), std::to_string(size));
        EXPECT_EQ(request.body, content) << size;
    }
}

TEST_P(Uploads, WithoutAReadCallbackReadTheFileAllTheSame) {
    WriteFile("/tmp/S.json", "plain");
    auto frame = FileFrame(server_.Url("/"), "/tmp/S.json");
    EXPECT_EQ(client().alarmData(&frame), 0);
    EXPECT_EQ(server_.Requests().back().body, "plain");
}

TEST_P(Uploads, HandTheAnswerToTheWriteCallback) {
    WriteFile("/tmp/S.json", "{}");
    server_.Next(Reply(200, "thanks"));
    auto frame = FileFrame(server_.Url("/"), "/tmp/S.json");
    frame.writeCallback = Collect;
    EXPECT_EQ(RealData(frame), 0);
    EXPECT_EQ(Received(), "thanks");
}

// ---- The result area ----

TEST_P(Uploads, KeepAtMost63CharactersOfThePathFromIndex1) {
    for (const std::size_t length : {5U, 62U, 63U, 64U, 126U}) {
        const std::string path = "/tmp/" + std::string(length - 5, 'p');
        auto frame = FileFrame(server_.Url("/"), path);
        EXPECT_EQ(client().alarmData(&frame), -1);
        std::string expected = std::string(1, '\0') + path.substr(0, 63);
        expected.resize(385);
        EXPECT_EQ(std::string(client().area(), 385), expected) << length;
    }
}

TEST_P(Uploads, ClearTheResultAreaFirst) {
    auto longer = FileFrame(server_.Url("/"), "/tmp/a-long-file-name");
    auto shorter = FileFrame(server_.Url("/"), "/tmp/b");
    EXPECT_EQ(RealData(longer), -1);
    EXPECT_EQ(RealData(shorter), -1);
    std::string expected = std::string(1, '\0') + "/tmp/b";
    expected.resize(385);
    EXPECT_EQ(std::string(client().area(), 385), expected);
}

TEST_P(Uploads, AloneTouchTheResultArea) {
    auto file = FileFrame(server_.Url("/"), "/tmp/new");
    auto memory = MemoryFrame(server_.Url("/"), "POST", "b");
    EXPECT_EQ(client().download(&file), 0);
    EXPECT_EQ(client().post(&memory), 0);
    EXPECT_EQ(std::string(client().area(), 385), std::string(385, '\0'));
}

// ---- Transfers that break ----

TEST_P(Uploads, AbortedByTheReadCallbackFail) {
    WriteFile("/tmp/S.json", "{}");
    auto frame = FileFrame(server_.Url("/"), "/tmp/S.json");
    frame.readCallback = RefuseRead;
    const LogCapture log;
    EXPECT_EQ(RealData(frame), -1);
    EXPECT_EQ(client().alarmData(&frame), -1);
    EXPECT_THAT(log.Text(),
                testing::Contains(
                    LogEntry{4, Either("send file /tmp/S.json failed: Operation was aborted by an "
                                       "application callback,httpcode =0",
                                       "send file /tmp/S.json failed: Operation was aborted by an "
                                       "application callback,httpcode = 0")}));
}

std::atomic<bool> gAnswered{false};

std::size_t NoteTheAnswer(char * /*data*/, std::size_t size, std::size_t count, void * /*user*/) {
    gAnswered = true;
    return size * count;
}

std::size_t ReadUntilAnswered(char *data, std::size_t /*size*/, std::size_t /*count*/,
                              void * /*user*/) {
    *data = 'x';
    return gAnswered ? CURL_READFUNC_ABORT : 1;
}

TEST_P(Uploads, AbortedByTheReadCallbackFailAlthoughTheStatusWas200) {
    WriteFile("/tmp/S.json", "");
    std::filesystem::resize_file("/tmp/S.json", 1U << 30U);  // never sent whole before the answer
    server_.Next({[](Exchange &exchange) {
                      exchange.Send("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf");
                      exchange.AwaitClientClose();
                  },
                  Stage::kHead});
    auto frame = FileFrame(server_.Url("/"), "/tmp/S.json");
    frame.writeCallback = NoteTheAnswer;
    frame.readCallback = ReadUntilAnswered;
    EXPECT_EQ(RealData(frame), -1);
    EXPECT_EQ(httpCode_, 200);
}

TEST_P(Uploads, AbortedByTheWriteCallbackFailAlthoughTheStatusWas200) {
    WriteFile("/tmp/S.json", "{}");
    server_.Otherwise([](const Request &) { return Reply(200, "answer"); });
    auto frame = FileFrame(server_.Url("/"), "/tmp/S.json");
    frame.writeCallback = RefuseWrite;
    EXPECT_EQ(RealData(frame), -1);
    EXPECT_EQ(httpCode_, 200);
    EXPECT_EQ(client().alarmData(&frame), -1);
}

TEST_P(Uploads, WithAGoodStatusAndABrokenAnswerCountOverHttpsOnly) {
    WriteFile("/tmp/S.json", "{}");
    server_.Otherwise([](const Request &) { return ReplyTruncated(200, 100, "cut"); });
    auto frame = FileFrame(server_.Url("/"), "/tmp/S.json");
    frame.writeCallback = Collect;
    EXPECT_EQ(RealData(frame), IsHttps() ? 0 : -1);
    EXPECT_EQ(httpCode_, 200);
    EXPECT_EQ(client().alarmData(&frame), IsHttps() ? 0 : -1);
}

TEST_P(Uploads, CutByAResetDoNotKillTheHost) {
    // A peer that is gone raises SIGPIPE in whoever writes to it, unless that is prevented.
    std::signal(SIGPIPE, SIG_DFL);
    WriteFile("/tmp/S.json", std::string(8U << 20U, 'x'));
    WriteFile("/tmp/T.json", "sent whole");
    auto large = FileFrame(server_.Url("/"), "/tmp/S.json");
    auto small = FileFrame(server_.Url("/"), "/tmp/T.json");
    large.readCallback = ReadFromFile;
    small.readCallback = ReadFromFile;
    for (int i = 0; i < 5; ++i) {
        server_.Next(ResetAt(Stage::kHead));
        EXPECT_EQ(RealData(large), -1);
        server_.Next(CloseAt(Stage::kRequest));
        EXPECT_EQ(client().alarmData(&small), -1);
        server_.Next(ResetAt(Stage::kRequest, "HTTP/1.1 500 O\r\nContent-Length: 9\r\n\r\nhalf"));
        EXPECT_EQ(client().alarmData(&small), -1);
    }
}

TEST_P(Uploads, AnsweredBeforeTheyAreSentEnd) {
    WriteFile("/tmp/S.json", std::string(4U << 20U, 'x'));
    server_.Next({[](Exchange &exchange) {
                      exchange.Send(
                          "HTTP/1.1 413 Too Large\r\nContent-Length: 0\r\n"
                          "Connection: close\r\n\r\n");
                  },
                  Stage::kHead});
    auto frame = FileFrame(server_.Url("/"), "/tmp/S.json");
    EXPECT_EQ(RealData(frame), -1);
    EXPECT_EQ(httpCode_, 413);
}

}  // namespace
}  // namespace corvenna::test
