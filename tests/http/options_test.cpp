#include <gmock/gmock.h>

#include "base/text.h"
#include "tests/http/curl_record.h"
#include "tests/http/twins.h"
#include "tests/support/files.h"
#include "tests/support/log_capture.h"

namespace corvenna::test {
namespace {

// Every option of every operation with its value, in order. Nothing listens: what is asked of
// libcurl is all that matters here.

constexpr char kUrl[] = "http://127.0.0.1:1/x";
constexpr char kFile[] = "/tmp/S.json";

using Lines = std::vector<std::string>;

/// What an operation asks of libcurl.
template <class Call>
Lines OptionsOf(const Call &call) {
    const LogCapture log;
    const CurlRecord record;
    call();
    return record.Options();
}

class MemoryOptions : public Twins {
protected:
    void SetUp() override { SetHttps("/ca.pem", "me", "secret"); }
    ST_FRAME_MEMORY_UPLOAD frame_ = MemoryFrame(kUrl, "", "body");
};
CORVENNA_BOTH_TWINS(MemoryOptions);

/// The beginning that most requests share.
Lines Start(bool https) {
    Lines lines = {"URL=http://127.0.0.1:1/x", "SSL_VERIFYPEER=0", "SSL_VERIFYHOST=0"};
    if (https) {
        lines.emplace_back("CAINFO=/ca.pem");
    }
    return lines;
}

Lines operator+(Lines left, const Lines &right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

const Lines kCookies = {"COOKIEJAR=/tmp/dev-web.cookie", "COOKIEFILE=/tmp/dev-web.cookie"};

TEST_P(MemoryOptions, OfGet) {
    const Lines http = {"HTTPHEADER=set", "TIMEOUT=90", "NOSIGNAL=1", "WRITEFUNCTION=set"};
    const Lines https =
        Lines{"HTTPHEADER=set"} + kCookies +
        Lines{"TIMEOUT=90", "NOSIGNAL=1", "WRITEFUNCTION=set", "READFUNCTION=set", "HTTPAUTH=1"};
    frame_.readCallback = RefuseRead;
    EXPECT_EQ(OptionsOf([&] { client().get(&frame_); }),
              Start(IsHttps()) + (IsHttps() ? https : http));
}

TEST_P(MemoryOptions, OfPost) {
    const Lines http = {"HTTPHEADER=set",   "TIMEOUT=90",     "NOSIGNAL=1",     "WRITEFUNCTION=set",
                        "READFUNCTION=set", "POSTFIELDS=set", "POSTFIELDSIZE=4"};
    const Lines https = Lines{"HTTPHEADER=set"} + kCookies +
                        Lines{"TIMEOUT=90",       "NOSIGNAL=1",     "WRITEFUNCTION=set",
                              "READFUNCTION=set", "POSTFIELDS=set", "POSTFIELDSIZE=4",
                              "POST=1",           "HTTPAUTH=1",     "USERPWD=me:secret"};
    frame_.readCallback = RefuseRead;
    EXPECT_EQ(OptionsOf([&] { client().post(&frame_); }),
              Start(IsHttps()) + (IsHttps() ? https : http));
}

TEST_P(MemoryOptions, OfPut) {
    const Lines http = {"HTTPHEADER=set",    "TIMEOUT=90",        "NOSIGNAL=1",
                        "CUSTOMREQUEST=PUT", "WRITEFUNCTION=set", "POSTFIELDS=set",
                        "POSTFIELDSIZE=4"};
    const Lines https =
        Lines{"HTTPHEADER=set"} + kCookies +
        Lines{"TIMEOUT=90",     "NOSIGNAL=1",      "WRITEFUNCTION=set", "READFUNCTION=set",
              "POSTFIELDS=set", "POSTFIELDSIZE=4", "CUSTOMREQUEST=PUT", "HTTPAUTH=1"};
    frame_.readCallback = RefuseRead;
    EXPECT_EQ(OptionsOf([&] { client().put(&frame_); }),
              Start(IsHttps()) + (IsHttps() ? https : http));
}

TEST_P(MemoryOptions, OfDelete) {
    const Lines http = {"HTTPHEADER=set", "TIMEOUT=90",        "NOSIGNAL=1",
                        "PUT=0",          "WRITEFUNCTION=set", "CUSTOMREQUEST=DELETE",
                        "POSTFIELDS=set", "POSTFIELDSIZE=4"};
    const Lines https = Lines{"HTTPHEADER=set", "TIMEOUT=90", "NOSIGNAL=1"} + kCookies +
                        Lines{"PUT=0",          "WRITEFUNCTION=set", "CUSTOMREQUEST=DELETE",
                              "POSTFIELDS=set", "POSTFIELDSIZE=4",   "HTTPAUTH=1"};
    frame_.readCallback = RefuseRead;
    testing::internal::CaptureStdout();
    EXPECT_EQ(OptionsOf([&] { client().remove(&frame_); }),
              Start(IsHttps()) + (IsHttps() ? https : http));
    testing::internal::GetCapturedStdout();
}

/// The options that name a callback.
Lines CallbacksOf(const Lines &options) {
    Lines found;
    for (const std::string &option : options) {
        if (option.find("FUNCTION=") != std::string::npos) {
            found.push_back(option);
        }
    }
    return found;
}

TEST_P(MemoryOptions, NullCallbacksAreHandedOnByHttpAndLeftOutByHttps) {
    frame_.writeCallback = nullptr;
    frame_.readCallback = nullptr;
    testing::internal::CaptureStdout();
    const Lines get = OptionsOf([&] { client().get(&frame_); });
    const Lines post = OptionsOf([&] { client().post(&frame_); });
    const Lines put = OptionsOf([&] { client().put(&frame_); });
    const Lines remove = OptionsOf([&] { client().remove(&frame_); });
    testing::internal::GetCapturedStdout();
    const Lines write = IsHttps() ? Lines{} : Lines{"WRITEFUNCTION=null"};
    EXPECT_EQ(CallbacksOf(get), write);
    EXPECT_EQ(CallbacksOf(post), IsHttps() ? write : write + Lines{"READFUNCTION=null"});
    EXPECT_EQ(CallbacksOf(put), write);
    EXPECT_EQ(CallbacksOf(remove), write);
}

TEST_P(MemoryOptions, AnUnknownFormatSetsNoHeaderList) {
    frame_ = MemoryFrame(kUrl, "", "body", "yaml");
    testing::internal::CaptureStdout();
    for (const auto call : {client().get, client().post, client().put, client().remove}) {
        const Lines options = OptionsOf([&] { call(&frame_); });
        EXPECT_THAT(options, testing::Contains("HTTPHEADER=null"));
    }
    testing::internal::GetCapturedStdout();
}

TEST_P(MemoryOptions, CredentialsAreWholeAtTheirLongest) {
    if (!IsHttps()) {
        return;  // The plain client has none; OfPost shows it.
    }
    SetHttps("/ca.pem", std::string(62, 'u'), std::string(62, 'p'));
    EXPECT_EQ(OptionsOf([&] { client().post(&frame_); }).back(),
              "USERPWD=" + std::string(62, 'u') + ":" + std::string(62, 'p'));
}

class FileOptions : public Twins {
protected:
    void SetUp() override {
        SetHttps("/ca.pem", "me", "secret");
        WriteFile(kFile, "123456");
        frame_.readCallback = ReadFromFile;
        frame_.writeCallback = Collect;
    }
    Lines Upload() const {
        const Lines size = {"POSTFIELDSIZE=6"};
        return Start(IsHttps()) + Lines{"HTTPHEADER=set"} + (IsHttps() ? kCookies : Lines{}) +
               Lines{"TIMEOUT=90",        "NOSIGNAL=1",       "POST=1",
                     "WRITEFUNCTION=set", "READFUNCTION=set", "READDATA=set"} +
               (IsHttps() ? size + Lines{"HTTPAUTH=1"} : size);
    }
    ST_FRAME_FILE_UPLOAD frame_ = FileFrame(kUrl, kFile);
};
CORVENNA_BOTH_TWINS(FileOptions);

TEST_P(FileOptions, OfARealDataUpload) {
    int httpCode = 0;
    EXPECT_EQ(OptionsOf([&] { client().realData(&frame_, &httpCode); }), Upload());
}

TEST_P(FileOptions, OfAnAlarmDataUpload) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(OptionsOf([&] { client().alarmData(&frame_); }), Upload());
    testing::internal::GetCapturedStdout();
}

TEST_P(FileOptions, OfADownload) {
    const Lines rest = {"NOSIGNAL=1",          "POST=0",
                        "WRITEFUNCTION=set",   "READFUNCTION=set",
                        "RESUME_FROM_LARGE=6", "WRITEDATA=set"};
    EXPECT_EQ(OptionsOf([&] { client().download(&frame_); }), Start(IsHttps()) + rest);
}

TEST_P(FileOptions, NullCallbacksAreLeftOut) {
    frame_.readCallback = nullptr;
    frame_.writeCallback = nullptr;
    int httpCode = 0;
    testing::internal::CaptureStdout();
    EXPECT_EQ(CallbacksOf(OptionsOf([&] { client().realData(&frame_, &httpCode); })), Lines{});
    EXPECT_EQ(CallbacksOf(OptionsOf([&] { client().alarmData(&frame_); })), Lines{});
    EXPECT_EQ(CallbacksOf(OptionsOf([&] { client().download(&frame_); })), Lines{});
    testing::internal::GetCapturedStdout();
}

// ---- What is made is freed ----

class Handles : public Twins {};
CORVENNA_BOTH_TWINS(Handles);

/// Each operation once against a server that answers all with one status, or cuts them off.
void RunAll(const Twin &client, const std::string &url, const std::string &format) {
    auto memory = MemoryFrame(url, "", "body", format);
    auto file = FileFrame(url, kFile, format);
    int httpCode = 0;
    client.get(&memory);
    client.post(&memory);
    client.put(&memory);
    client.remove(&memory);
    client.realData(&file, &httpCode);
    client.alarmData(&file);
    client.download(&file);
}

TEST_P(Handles, AndHeaderListsAreFreedAfterEveryAnswer) {
    const LogCapture log;
    WriteFile(kFile, "123456");
    testing::internal::CaptureStdout();
    for (const int status : {200, 204, 426, 500}) {
        ScriptedServer server(client().protocol);
        server.Otherwise([status](const Request &) { return Reply(status); });
        const CurlRecord record;
        RunAll(client(), server.Url("/"), "json");
        EXPECT_EQ(record.HandlesMade(), 7);
        EXPECT_EQ(record.HandlesFreed(), 7);
        EXPECT_EQ(record.ListsMade(), 6);
        EXPECT_EQ(record.ListsFreed(), 6);
    }
    testing::internal::GetCapturedStdout();
}

TEST_P(Handles, AndHeaderListsAreFreedAfterBrokenTransfers) {
    const LogCapture log;
    WriteFile(kFile, "123456");
    testing::internal::CaptureStdout();
    ScriptedServer server(client().protocol);
    server.Otherwise([](const Request &) { return ResetAt(Stage::kRequest, "HTTP/1.1 200 O"); });
    const CurlRecord record;
    RunAll(client(), server.Url("/"), "xml");
    RunAll(client(), "http://127.0.0.1:1/", "xml");
    RunAll(client(), "nonsense://", "xml");
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(record.HandlesMade(), 21);
    EXPECT_EQ(record.HandlesFreed(), 21);
    EXPECT_EQ(record.ListsMade(), 18);
    EXPECT_EQ(record.ListsFreed(), 18);
}

TEST_P(Handles, AndHeaderListsAreFreedHoweverTheAnswerBreaks) {
    const LogCapture log;
    WriteFile(kFile, "123456");
    testing::internal::CaptureStdout();
    const Answer kBreaks[] = {
        CloseAt(Stage::kAccept),
        CloseAt(Stage::kHead),
        CloseAt(Stage::kRequest),
        ResetAt(Stage::kAccept),
        ResetAt(Stage::kHead),
        ResetAt(Stage::kRequest),
        ReplyTruncated(200, 100, "cut"),
        ReplyRaw("HTTP/1.1 200 O\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n"),
        ReplyRaw("garbage\r\n\r\n")};
    for (const Answer &answer : kBreaks) {
        ScriptedServer server(client().protocol);
        for (int i = 0; i < 7; ++i) {
            server.Next(answer);
        }
        const CurlRecord record;
        RunAll(client(), server.Url("/"), "json");
        EXPECT_EQ(record.HandlesMade(), 7);
        EXPECT_EQ(record.HandlesFreed(), 7);
        EXPECT_EQ(record.ListsMade(), 6);
        EXPECT_EQ(record.ListsFreed(), 6);
    }
    testing::internal::GetCapturedStdout();
}

TEST_P(Handles, AndHeaderListsAreFreedAfterAStall) {
    const LogCapture log;
    auto frame = MemoryFrame("", "", "body");
    auto file = FileFrame("", kFile);
    WriteFile(kFile, "123456");
    ScriptedServer server(client().protocol);
    server.Otherwise([](const Request &) { return Stall("HTTP/1.1 200 O\r\n"); });
    CurlRecord record;
    record.ReplaceTimeouts(200);
    CopyText<127>(frame.url, server.Url("/").c_str());
    CopyText<127>(file.url, server.Url("/").c_str());
    int httpCode = 0;
    client().put(&frame);
    client().realData(&file, &httpCode);
    EXPECT_EQ(record.HandlesFreed(), 2);
    EXPECT_EQ(record.ListsFreed(), 2);
}

TEST_P(Handles, AndHeaderListsAreFreedWhenACallbackAborts) {
    const LogCapture log;
    WriteFile(kFile, "123456");
    ScriptedServer server(client().protocol);
    server.Otherwise([](const Request &) { return Reply(200, "answer"); });
    auto frame = MemoryFrame(server.Url("/"), "", "body");
    auto file = FileFrame(server.Url("/"), kFile);
    frame.writeCallback = RefuseWrite;
    file.writeCallback = RefuseWrite;
    file.readCallback = RefuseRead;
    const CurlRecord record;
    int httpCode = 0;
    client().get(&frame);
    client().post(&frame);
    client().realData(&file, &httpCode);
    client().download(&file);
    EXPECT_EQ(record.HandlesFreed(), 4);
    EXPECT_EQ(record.ListsFreed(), 3);
}

TEST_P(Handles, ARequestThatIsNotTriedMakesNone) {
    const LogCapture log;
    const CurlRecord record;
    auto tooLong = MemoryFrame(kUrl, "POST");
    tooLong.bodyLength = kBodyCapacity + 1;
    auto nameless = MemoryFrame(kUrl, "PATCH");
    auto folder = FileFrame(kUrl, "/tmp");
    client().upload(&tooLong);
    client().upload(&nameless);
    client().download(&folder);
    EXPECT_EQ(record.HandlesMade(), 0);
    EXPECT_EQ(record.ListsMade(), 0);
}

TEST_P(Handles, AnUnknownFormatMakesNoListForMemoryRequests) {
    const LogCapture log;
    SetCompress(true);
    WriteFile(kFile, "123456");
    testing::internal::CaptureStdout();
    ScriptedServer server(client().protocol);
    const CurlRecord record;
    RunAll(client(), server.Url("/"), "yaml");
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(record.HandlesFreed(), 7);
    EXPECT_EQ(record.ListsMade(), 2);
    EXPECT_EQ(record.ListsFreed(), 2);
}

TEST_P(Handles, AMissingFileMakesNone) {
    const LogCapture log;
    const CurlRecord record;
    auto file = FileFrame(kUrl, "/tmp/none");
    int httpCode = 0;
    client().realData(&file, &httpCode);
    client().alarmData(&file);
    EXPECT_EQ(record.HandlesMade(), 0);
    EXPECT_EQ(record.ListsMade(), 0);
}

}  // namespace
}  // namespace corvenna::test
