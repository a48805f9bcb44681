#include <gmock/gmock.h>

#include <chrono>
#include <cstdarg>
#include <thread>

#include "tests/http/curl_record.h"
#include "tests/http/twins.h"
#include "tests/support/files.h"
#include "tests/support/log_capture.h"

// The macro that checks argument types would replace the name that is defined here.
#undef curl_easy_getinfo

static bool gStatusFails = false;

extern "C" {
CURLcode __real_curl_easy_getinfo(CURL *handle, CURLINFO info, ...);
CURLcode __wrap_curl_easy_getinfo(CURL *handle, CURLINFO info, ...);

// An enumeration before the dots is libcurl's own signature; clang warns of it in C++.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wvarargs"
CURLcode __wrap_curl_easy_getinfo(CURL *handle, CURLINFO info, ...) {
    va_list arguments;
    va_start(arguments, info);
    long *const status = va_arg(arguments, long *);
    va_end(arguments);
    const CURLcode result = __real_curl_easy_getinfo(handle, info, status);
    return gStatusFails ? CURLE_UNKNOWN_OPTION : result;
}
#pragma GCC diagnostic pop
}

namespace corvenna::test {
namespace {

// What a server can send, or leave out.
class Answers : public Twins {
protected:
    Answers() : server_(client().protocol) {}

    /// Posts to the server, which plays `answer`. @return how the exchange ended.
    Outcome Exchanged(Answer answer) {
        server_.Next(std::move(answer));
        auto frame = MemoryFrame(server_.Url("/"), "POST", "body");
        Outcome outcome;
        EXPECT_EQ(client().exchange(&frame, outcome), 0);
        return outcome;
    }

    ScriptedServer server_;
};
CORVENNA_BOTH_TWINS(Answers);

TEST_P(Answers, OfAKnownLength) {
    EXPECT_EQ(Exchanged(Reply(200, "whole answer")).status, 200);
    EXPECT_EQ(Received(), "whole answer");
}

TEST_P(Answers, WhoseStatusLibcurlDoesNotTellHaveNone) {
    gStatusFails = true;
    EXPECT_EQ(Exchanged(Reply(200)).status, 0);
    gStatusFails = false;
}

TEST_P(Answers, InChunks) {
    EXPECT_EQ(Exchanged(ReplyChunked(201, {"one", "two", std::string(5000, 'x')})).status, 201);
    EXPECT_EQ(Received(), "onetwo" + std::string(5000, 'x'));
}

TEST_P(Answers, UntilTheConnectionEnds) {
    const Outcome outcome = Exchanged(ReplyUntilClose(200, "until the end"));
    EXPECT_EQ(outcome.transfer, CURLE_OK);
    EXPECT_EQ(Received(), "until the end");
}

TEST_P(Answers, InPiecesReachTheCallbackAsTheyCome) {
    std::thread releaser([this] {
        static_cast<void>(server_.WaitForRequests(1));
        server_.Release();
        while (Received().empty()) {
            std::this_thread::yield();
        }
        EXPECT_EQ(Received(), "first,");
        server_.Release(2);
    });
    EXPECT_EQ(Exchanged(ReplyInPieces(200, {"first,", "second,", "third"})).transfer, CURLE_OK);
    releaser.join();
    EXPECT_EQ(Received(), "first,second,third");
}

TEST_P(Answers, InPiecesSecondsApartArriveWhole) {
    // The pause is the server's behaviour here, and longer than a second's rounding.
    const Outcome outcome = Exchanged({[](Exchange &exchange) {
        exchange.Send("HTTP/1.1 200 O\r\nContent-Length: 12\r\n\r\n");
        for (const char *piece : {"first,", "second"}) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1200));
            exchange.Send(piece);
        }
    }});
    EXPECT_EQ(outcome.transfer, CURLE_OK);
    EXPECT_EQ(Received(), "first,second");
}

TEST_P(Answers, OfABinaryBody) {
    const std::string body("a\0b\xff\r\n\r\n", 8);
    EXPECT_EQ(Exchanged(Reply(200, body)).transfer, CURLE_OK);
    EXPECT_EQ(Received(), body);
}

TEST_P(Answers, AfterAnInterimOne) {
    const Outcome outcome = Exchanged(
        ReplyRaw("HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 201 Made\r\nContent-Length: 0\r\n\r\n"));
    EXPECT_EQ(outcome.status, 201);
}

// ---- Answers that break off ----

TEST_P(Answers, TruncatedBelowTheirLengthFailWithTheirStatus) {
    const Outcome outcome = Exchanged(ReplyTruncated(200, 100, "only this"));
    EXPECT_EQ(outcome.transfer, CURLE_PARTIAL_FILE);
    EXPECT_EQ(outcome.status, 200);
}

TEST_P(Answers, TruncatedInsideAChunkFail) {
    const Outcome outcome =
        Exchanged(ReplyRaw("HTTP/1.1 200 O\r\nTransfer-Encoding: chunked\r\n\r\nff\r\nshort"));
    EXPECT_NE(outcome.transfer, CURLE_OK);
    EXPECT_EQ(outcome.status, 200);
}

TEST_P(Answers, WithABrokenChunkSizeFail) {
    const Outcome outcome =
        Exchanged(ReplyRaw("HTTP/1.1 200 O\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\nabc\r\n"));
    EXPECT_NE(outcome.transfer, CURLE_OK);
}

TEST_P(Answers, OfNothingFail) {
    const Outcome outcome = Exchanged(CloseAt(Stage::kRequest));
    EXPECT_EQ(outcome.transfer, CURLE_GOT_NOTHING);
    EXPECT_EQ(outcome.status, 0);
}

TEST_P(Answers, InGarbageFail) {
    std::string noise;
    for (int i = 0; i < 4096; ++i) {
        noise += static_cast<char>(i * 31 + i / 7);
    }
    for (const std::string &garbage : {std::string("garbage\r\n\r\n"), std::string("\0\0\0\0", 4),
                                       std::string("HTTP/9.9 banana\r\n\r\n"), noise}) {
        const Outcome outcome = Exchanged(ReplyRaw(garbage));
        EXPECT_NE(outcome.status, 200);
    }
}

TEST_P(Answers, WithEndlessHeadersFail) {
    const Outcome outcome = Exchanged({[](Exchange &exchange) {
        exchange.Send("HTTP/1.1 200 O\r\n");
        while (exchange.Send("X-More: " + std::string(8000, 'x') + "\r\n")) {
        }
    }});
    EXPECT_NE(outcome.transfer, CURLE_OK);
}

TEST_P(Answers, CutByAResetFailAtEveryStage) {
    const LogCapture log;
    const struct {
        Stage stage;
        const char *sent;
    } kResets[] = {{Stage::kAccept, ""},
                   {Stage::kHead, ""},
                   {Stage::kRequest, ""},
                   {Stage::kRequest, "HTT"},
                   {Stage::kRequest, "HTTP/1.1 200 O\r\nContent-Le"},
                   {Stage::kRequest, "HTTP/1.1 200 O\r\nContent-Length: 9\r\n\r\n"},
                   {Stage::kRequest, "HTTP/1.1 200 O\r\nContent-Length: 9\r\n\r\nhalf"}};
    for (const auto &[stage, sent] : kResets) {
        EXPECT_NE(Exchanged(ResetAt(stage, sent)).transfer, CURLE_OK) << sent;
    }
    EXPECT_EQ(log.Text().size(), std::size(kResets));
}

TEST_P(Answers, ThatStallEndAtTheTimeOutOf90Seconds) {
    for (const char *sent :
         {"", "HTTP/1.1 200 O\r\n", "HTTP/1.1 200 O\r\nContent-Length: 9\r\n\r\nhalf"}) {
        CurlRecord record;
        record.ReplaceTimeouts(200);
        EXPECT_EQ(Exchanged(Stall(sent)).transfer, CURLE_OPERATION_TIMEDOUT);
        EXPECT_THAT(record.Options(), testing::Contains("TIMEOUT=90"));
    }
}

TEST_P(Answers, ThatStallEndUploadsTooAndNeverReportSuccess) {
    WriteFile("/tmp/S.json", "{}");
    const LogCapture log;
    CurlRecord record;
    record.ReplaceTimeouts(200);
    server_.Otherwise([](const Request &) { return Stall(); });
    auto file = FileFrame(server_.Url("/"), "/tmp/S.json");
    int httpCode = 7;
    EXPECT_EQ(client().realData(&file, &httpCode), -1);
    EXPECT_EQ(httpCode, 0);
    EXPECT_EQ(
        log.Text().back(),
        (LogEntry{4, Either("send file /tmp/S.json failed: Timeout was reached,httpcode =0",
                            "send file /tmp/S.json failed: Timeout was reached,httpcode = 0")}));
}

TEST_P(Answers, ThatRedirectAreNotFollowed) {
    EXPECT_EQ(Exchanged(Reply(302, "", {"Location: " + server_.Url("/other")})).status, 302);
    EXPECT_EQ(server_.Requests().size(), 1U);
}

TEST_P(Answers, ThatChallengeAreNotAnsweredAgain) {
    SetHttps("", "me", "secret");
    EXPECT_EQ(Exchanged(Reply(401, "", {"WWW-Authenticate: Basic realm=\"x\""})).status, 401);
    EXPECT_EQ(server_.Requests().size(), 1U);
}

TEST_P(Answers, RefusedByTheWriteCallbackFail) {
    server_.Next(Reply(200, "answer"));
    auto frame = MemoryFrame(server_.Url("/"), "PUT", "b");
    frame.writeCallback = RefuseWrite;
    const LogCapture log;
    EXPECT_EQ(client().put(&frame), -1);
    EXPECT_EQ(log.Text().size(), 1U);
}

TEST_P(Answers, FromNobodyFail) {
    const std::string url = Either("http://127.0.0.1:1/", "https://127.0.0.1:1/");
    auto frame = MemoryFrame(url, "GET");
    const LogCapture log;
    EXPECT_EQ(client().get(&frame), -1);
    EXPECT_EQ(log.Text(),
              (std::vector<LogEntry>{{4,
                                      "curl_easy_perform() failed: Couldn't connect to server "
                                      "when get info,httpcode = 0"}}));
}

TEST_P(Answers, FromAUrlWithoutMeaningFail) {
    for (const char *url : {"", "http://", "nonsense://x", "http://[", "\x01"}) {
        auto frame = MemoryFrame(url, "GET");
        EXPECT_EQ(client().get(&frame), -1) << url;
    }
}

// ---- TLS ----

/// A GET's outcome.
Outcome HttpsGet(const std::string &url) {
    auto frame = MemoryFrame(url, "GET");
    Outcome outcome;
    kHttpsTwin.exchange(&frame, outcome);
    return outcome;
}

TEST(Tls, ASelfSignedCertificateIsTakenWhateverTheCaFile) {
    const ScriptedServer server(Protocol::kHttps);
    WriteFile("/tmp/own.pem", server.Certificate());
    WriteFile("/tmp/nonsense.pem", "no certificate");
    for (const char *caFile : {"", "/nowhere/ca.pem", "/tmp/nonsense.pem", "/tmp/own.pem"}) {
        SetHttps(caFile, "", "");
        EXPECT_EQ(HttpsGet(server.Url("/")).status, 200) << caFile;
    }
}

TEST(Tls, AServerThatClosesDuringTheHandshakeFails) {
    const ScriptedServer server(Protocol::kTlsClosedInHandshake);
    EXPECT_EQ(HttpsGet(server.Url("/")).transfer, CURLE_SSL_CONNECT_ERROR);
}

TEST(Tls, AServerWithTooOldAProtocolFails) {
    const ScriptedServer server(Protocol::kTlsTooOld);
    EXPECT_EQ(HttpsGet(server.Url("/")).transfer, CURLE_SSL_CONNECT_ERROR);
}

TEST(Tls, AServerWithoutTlsFails) {
    ScriptedServer server;
    server.Next({[](Exchange &exchange) {
                     exchange.Send("HTTP/1.1 400 Bad\r\n\r\n");
                     exchange.Close();
                 },
                 Stage::kAccept});
    const std::string port = std::to_string(server.Port());
    EXPECT_EQ(HttpsGet("https://127.0.0.1:" + port + "/").transfer, CURLE_SSL_CONNECT_ERROR);
}

TEST(Tls, AStallBeforeTheHandshakeEndsAtTheTimeOut) {
    ScriptedServer server(Protocol::kHttps);
    server.Next({[](Exchange &exchange) { exchange.AwaitClientClose(); }, Stage::kAccept});
    CurlRecord record;
    record.ReplaceTimeouts(200);
    EXPECT_EQ(HttpsGet(server.Url("/")).transfer, CURLE_OPERATION_TIMEDOUT);
}

}  // namespace
}  // namespace corvenna::test
