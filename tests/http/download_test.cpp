#include <sys/stat.h>

#include "tests/http/curl_record.h"
#include "tests/http/twins.h"
#include "tests/support/files.h"
#include "tests/support/log_capture.h"

namespace corvenna::test {
namespace {

constexpr char kPath[] = "/tmp/download";

class Downloads : public Twins {
protected:
    Downloads() : server_(client().protocol), frame_(FileFrame(server_.Url("/file"), kPath)) {
        frame_.writeCallback = WriteToFile;
    }
    int Download() { return client().download(&frame_); }

    ScriptedServer server_;
    ST_FRAME_FILE_UPLOAD frame_;
};
CORVENNA_BOTH_TWINS(Downloads);

TEST_P(Downloads, WriteANewFile) {
    const std::string content = std::string("binary") + '\0' + "content" + std::string(100000, 'c');
    server_.Next(ReplyFile(content));
    EXPECT_EQ(Download(), 0);
    EXPECT_EQ(ReadFile(kPath), content);
    EXPECT_FALSE(server_.Requests()[0].HasHeader("Range"));
}

TEST_P(Downloads, ResumeAt1000Bytes) {
    const std::string content = std::string(1000, 'a') + std::string(500, 'b');
    WriteFile(kPath, content.substr(0, 1000));
    server_.Next(ReplyFile(content));
    EXPECT_EQ(Download(), 0);
    EXPECT_EQ(server_.Requests()[0].Header("Range"), "bytes=1000-");
    EXPECT_EQ(ReadFile(kPath), content);
}

TEST_P(Downloads, ResumeAfterABreakUntilTheFileIsWhole) {
    const std::string content = std::string(3000, 'a') + "end";
    server_.Next(ReplyTruncated(200, content.size(), content.substr(0, 1234)));
    server_.Next(ReplyFile(content));
    EXPECT_EQ(Download(), -1);
    EXPECT_EQ(ReadFile(kPath), content.substr(0, 1234));
    EXPECT_EQ(Download(), 0);
    EXPECT_EQ(ReadFile(kPath), content);
}

TEST_P(Downloads, OfAWholeFileLeaveItAlone) {
    WriteFile(kPath, "whole");
    server_.Next(ReplyFile("whole"));
    EXPECT_EQ(Download(), 0);
    EXPECT_EQ(ReadFile(kPath), "whole");
}

TEST_P(Downloads, FromAServerWithoutRangesDoNotAppendTheWholeFile) {
    WriteFile(kPath, "par");
    server_.Next(Reply(200, "partial"));
    EXPECT_EQ(Download(), -1);
    EXPECT_EQ(ReadFile(kPath), "par");
}

TEST_P(Downloads, WithoutAWriteCallbackWriteTheFileAllTheSame) {
    frame_.writeCallback = nullptr;
    server_.Next(ReplyFile("content"));
    EXPECT_EQ(Download(), 0);
    EXPECT_EQ(ReadFile(kPath), "content");
}

TEST_P(Downloads, OfAnErrorPageSucceedAndKeepIt) {
    server_.Next(Reply(404, "not here"));
    EXPECT_EQ(Download(), 0);
    EXPECT_EQ(ReadFile(kPath), "not here");
}

TEST_P(Downloads, AreLoggedFromStartToFinish) {
    server_.Next(ReplyFile("content"));
    const LogCapture log;
    EXPECT_EQ(Download(), 0);
    const std::string url = server_.Url("/file");
    EXPECT_EQ(log.Text(),
              (std::vector<LogEntry>{{3, Either("start down file /tmp/download from " + url,
                                                "start Send file /tmp/download to " + url)},
                                     {3, "Rev file /tmp/download Success"}}));
}

TEST_P(Downloads, ThatBreakAreLogged) {
    server_.Next(CloseAt(Stage::kRequest));
    const LogCapture log;
    EXPECT_EQ(Download(), -1);
    EXPECT_EQ(log.Text().back(),
              (LogEntry{4,
                        "recv file /tmp/download failed: Server returned nothing (no headers, "
                        "no data)"}));
}

TEST_P(Downloads, RefusedByTheWriteCallbackFail) {
    frame_.writeCallback = RefuseWrite;
    server_.Next(ReplyFile("content"));
    EXPECT_EQ(Download(), -1);
}

TEST_P(Downloads, IntoAPathThatCannotBeOpenedFailWithoutATransfer) {
    const LogCapture log;
    for (const char *path : {"/tmp", "/tmp/no/folder/file", ""}) {
        auto frame = FileFrame(server_.Url("/"), path);
        EXPECT_EQ(client().download(&frame), -1) << path;
        EXPECT_EQ(log.Text().back(), (LogEntry{5, "Can not open file " + std::string(path)}));
    }
    EXPECT_EQ(server_.Connections(), 0);
}

TEST_P(Downloads, IntoAPipeFailAtOnce) {
    ASSERT_EQ(mkfifo("/tmp/pipe", 0600), 0);
    const LogCapture log;
    auto frame = FileFrame(server_.Url("/"), "/tmp/pipe");
    EXPECT_EQ(client().download(&frame), -1);
    EXPECT_EQ(log.Text().back(), (LogEntry{5, "Can not open file /tmp/pipe"}));
    EXPECT_EQ(server_.Connections(), 0);
}

TEST_P(Downloads, HaveNoTimeOut) {
    const CurlRecord record;
    server_.Next(ReplyFile("content"));
    EXPECT_EQ(Download(), 0);
    for (const std::string &option : record.Options()) {
        EXPECT_EQ(option.find("TIMEOUT"), std::string::npos) << option;
    }
}

}  // namespace
}  // namespace corvenna::test
