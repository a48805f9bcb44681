#include <gmock/gmock.h>
#include <sys/stat.h>

#include <climits>
#include <cstring>
#include <functional>

#include "http/http.h"
#include "http/https.h"
#include "tests/http/curl_record.h"
#include "tests/http/twins.h"
#include "tests/support/capture_stdout.h"
#include "tests/support/files.h"
#include "tests/support/log_capture.h"

namespace corvenna::test {
namespace {

// ---- The method field ----

class Dispatch : public Twins {};
CORVENNA_BOTH_TWINS(Dispatch);

TEST_P(Dispatch, MethodsAreComparedAsPrefixes) {
    constexpr const char *kCases[][2] = {
        {"POST", "POST"}, {"POSTX", "POST"}, {"GET", "GET"},       {"GETS", "GET"},
        {"PUT", "PUT"},   {"PUTT", "PUT"},   {"DELETE", "DELETE"}, {"DELETED", "DELETE"}};
    ScriptedServer server(client().protocol);
    server.Otherwise(
        [](const Request &request) { return Reply(request.method == "DELETE" ? 204 : 200); });
    for (std::size_t i = 0; i < std::size(kCases); ++i) {
        auto frame = MemoryFrame(server.Url("/"), kCases[i][0], "b");
        EXPECT_EQ(client().upload(&frame), 0) << kCases[i][0];
        EXPECT_EQ(server.WaitForRequests(i + 1)[i].method, kCases[i][1]);
    }
}

TEST_P(Dispatch, OtherMethodsFailWithoutATransfer) {
    ScriptedServer server(client().protocol);
    const LogCapture log;
    for (const char *method : {"post", "PATCH", "", "POS", "DELET", " GET", "HEAD"}) {
        auto frame = MemoryFrame(server.Url("/"), method, "b");
        Outcome outcome;
        EXPECT_EQ(client().upload(&frame), -1) << method;
        EXPECT_EQ(client().exchange(&frame, outcome), -1) << method;
        EXPECT_EQ(outcome.transfer, -1);
    }
    EXPECT_EQ(server.Connections(), 0);
    EXPECT_TRUE(log.Text().empty());
}

TEST(DispatchSignature, TakesTheRequestAlone) {
    // Hosts may keep operations in tables of pointers to members.
    int (CHttp::*http)(ST_FRAME_MEMORY_UPLOAD *) = &CHttp::UploadMemoryData;
    int (CHttps::*https)(ST_FRAME_MEMORY_UPLOAD *) = &CHttps::UploadMemoryData;
    auto frame = MemoryFrame("http://127.0.0.1:1/", "PATCH");
    CHttp plain;
    CHttps secure;
    EXPECT_EQ((plain.*http)(&frame), -1);
    EXPECT_EQ((secure.*https)(&frame), -1);
}

TEST_P(Dispatch, TheOutcomeStandsBesideTheResult) {
    ScriptedServer server(client().protocol);
    server.Next(Reply(500));
    auto frame = MemoryFrame(server.Url("/"), "POST", "b");
    Outcome outcome;
    EXPECT_EQ(client().exchange(&frame, outcome), 0);
    EXPECT_EQ(outcome.transfer, CURLE_OK);
    EXPECT_EQ(outcome.status, 500);
}

TEST_P(Dispatch, TheOutcomeOfABrokenTransferIsLibcurlsResult) {
    ScriptedServer server(client().protocol);
    server.Next(CloseAt(Stage::kRequest));
    auto frame = MemoryFrame(server.Url("/"), "POST", "b");
    Outcome outcome;
    EXPECT_EQ(client().exchange(&frame, outcome), 0);
    EXPECT_EQ(outcome.transfer, CURLE_GOT_NOTHING);
    EXPECT_EQ(outcome.status, 0);
}

// ---- Requests that are not made ----

class Refused : public Twins {};
CORVENNA_BOTH_TWINS(Refused);

TEST_P(Refused, NullFramesFail) {
    int httpCode = 7;
    Outcome outcome;
    EXPECT_EQ(client().upload(nullptr), -1);
    EXPECT_EQ(client().exchange(nullptr, outcome), -1);
    EXPECT_EQ(outcome.transfer, -1);
    EXPECT_EQ(client().get(nullptr), -1);
    EXPECT_EQ(client().post(nullptr), -1);
    EXPECT_EQ(client().put(nullptr), -1);
    EXPECT_EQ(client().remove(nullptr), -1);
    EXPECT_EQ(client().realData(nullptr, &httpCode), -1);
    EXPECT_EQ(client().alarmData(nullptr), -1);
    EXPECT_EQ(client().download(nullptr), -1);
    EXPECT_EQ(httpCode, 7);
}

TEST_P(Refused, ABodyOf20481BytesIsNotSent) {
    ScriptedServer server(client().protocol);
    const LogCapture log;
    auto frame = MemoryFrame(server.Url("/"), "POST");
    frame.bodyLength = 20481;
    EXPECT_EQ(client().post(&frame), -1);
    EXPECT_EQ(client().put(&frame), -1);
    EXPECT_EQ(client().remove(&frame), -1);
    frame.bodyLength = 65535;
    EXPECT_EQ(client().upload(&frame), -1);
    EXPECT_EQ(server.Connections(), 0);
    ASSERT_EQ(log.Text().size(), 4U);
    for (const LogEntry &entry : log.Text()) {
        EXPECT_EQ(entry.level, 5);
    }
}

TEST_P(Refused, ABodyOf20480BytesIsSentWhole) {
    ScriptedServer server(client().protocol);
    std::string body;
    for (std::size_t i = 0; i < kBodyCapacity; ++i) {
        body += static_cast<char>(i * 7);
    }
    auto frame = MemoryFrame(server.Url("/"), "PUT", body);
    EXPECT_EQ(client().put(&frame), 0);
    EXPECT_EQ(server.WaitForRequests(1)[0].body, body);
}

TEST_P(Refused, WithoutAHandleEveryOperationFailsSilently) {
    WriteFile("/tmp/S.json", "{}");
    CurlRecord record;
    record.RefuseHandles();
    const LogCapture log;
    auto memory = MemoryFrame("http://127.0.0.1:1/", "POST", "b");
    auto file = FileFrame("http://127.0.0.1:1/", "/tmp/S.json");
    int httpCode = 7;
    EXPECT_EQ(client().get(&memory), -1);
    EXPECT_EQ(client().post(&memory), -1);
    EXPECT_EQ(client().put(&memory), -1);
    EXPECT_EQ(client().remove(&memory), -1);
    EXPECT_EQ(client().realData(&file, &httpCode), -1);
    EXPECT_EQ(client().alarmData(&file), -1);
    EXPECT_EQ(client().download(&file), -1);
    EXPECT_EQ(httpCode, 7);
    EXPECT_EQ(record.ListsMade(), record.ListsFreed());
    EXPECT_TRUE(log.Text().empty());
}

TEST_P(Refused, WithoutMemoryForAHeaderNothingIsSentAndNothingIsLost) {
    ScriptedServer server(client().protocol);
    const LogCapture log;
    for (const int call : {0, 1}) {
        CurlRecord record;
        record.RefuseHeadersFrom(call);
        auto frame = MemoryFrame(server.Url("/"), "PUT", "b");
        EXPECT_EQ(client().put(&frame), -1);
        EXPECT_EQ(
            log.Text().back(),
            (LogEntry{4, Either("curl_easy_perform() failed when put: Out of memory,httpcode =0",
                                "failed,errdesc:Out of memory httpcode =0")}));
        EXPECT_EQ(record.ListsMade(), call);
        EXPECT_EQ(record.ListsFreed(), call);
        EXPECT_EQ(record.HandlesMade(), 1);
        EXPECT_EQ(record.HandlesFreed(), 1);
    }
    EXPECT_EQ(server.Connections(), 0);
}

/// Every operation once, against a server that is not there unless asked for.
std::vector<std::function<int()>> EveryOperation(const Twin &client, ST_FRAME_MEMORY_UPLOAD &memory,
                                                 ST_FRAME_FILE_UPLOAD &file) {
    return {[&] { return client.get(&memory); },
            [&] { return client.post(&memory); },
            [&] { return client.put(&memory); },
            [&] { return client.remove(&memory); },
            [&] { return client.realData(&file, nullptr); },
            [&] { return client.alarmData(&file); },
            [&] { return client.download(&file); }};
}
constexpr std::size_t kPost = 1;

TEST_P(Refused, AnOptionThatFindsNoMemoryIsARequestNotMade) {
    WriteFile("/tmp/S.json", "{}");
    ScriptedServer server(client().protocol);
    auto memory = MemoryFrame(server.Url("/"), "", "b");
    auto file = FileFrame(server.Url("/"), "/tmp/S.json");
    file.writeCallback = Collect;
    const auto operations = EveryOperation(client(), memory, file);
    for (std::size_t operation = 0; operation < operations.size(); ++operation) {
        for (int call = 0;; ++call) {
            const LogCapture log;
            CurlRecord record;
            record.RefuseOption(call, CURLE_OUT_OF_MEMORY);
            const int connections = server.Connections();
            int result = 1;
            Printed([&] { result = operations[operation](); });  // one of them prints
            if (static_cast<int>(record.Options().size()) <= call) {
                EXPECT_GT(call, 6) << "every operation sets more";
                break;
            }
            EXPECT_EQ(result, operation == kPost ? 0 : -1) << operation << " " << call;
            EXPECT_EQ(server.Connections(), connections) << operation << " " << call;
            EXPECT_THAT(log.Text().back().text, testing::HasSubstr("Out of memory"));
            EXPECT_EQ(log.Text().back().level, 4);
            EXPECT_EQ(record.HandlesMade(), record.HandlesFreed());
            EXPECT_EQ(record.ListsMade(), record.ListsFreed());
        }
    }
}

TEST_P(Refused, AnOptionThatLibcurlIsBuiltWithoutIsPassedOver) {
    ScriptedServer server(client().protocol);
    auto memory = MemoryFrame(server.Url("/"), "", "b");
    for (const CURLcode result : {CURLE_UNKNOWN_OPTION, CURLE_NOT_BUILT_IN}) {
        CurlRecord record;
        record.RefuseOption(IsHttps() ? 8 : 5, result);
        EXPECT_EQ(client().put(&memory), 0);
        EXPECT_THAT(record.Options(), testing::Contains("NOSIGNAL=1"));
    }
    EXPECT_EQ(server.Requests().size(), 2U);
}

// ---- Construction ----

TEST(ResultArea, Holds385ZeroBytesAtFirst) {
    CHttp http;
    CHttps https;
    const std::string zeros(385, '\0');
    EXPECT_EQ(std::string(http.GetRecvResult(), 385), zeros);
    EXPECT_EQ(std::string(https.GetRecvResult(), 385), zeros);
}

TEST(GlobalState, OutlivesTheOtherInstance) {
    ScriptedServer server;
    const auto https = std::make_unique<CHttps>();
    { const CHttp gone; }
    auto http = std::make_unique<CHttp>();
    auto frame = MemoryFrame(server.Url("/"), "GET");
    EXPECT_EQ(http->GET_MemoryData(&frame), 0);
}

// ---- ReadJsonDataFile ----

TEST(ReadJsonDataFile, ReadsTheSmallerOfSizeAndCapacityAndAppendsNothing) {
    WriteFile("/tmp/data.json", "0123456789");
    CHttp http;
    constexpr int kCases[][2] = {{9, 9}, {10, 10}, {11, 10}, {0, 0}, {-1, 0}, {INT_MIN, 0}};
    for (const auto &[capacity, expected] : kCases) {
        char buffer[16];
        std::memset(buffer, '#', sizeof buffer);
        EXPECT_EQ(http.ReadJsonDataFile("/tmp/data.json", buffer, capacity), expected) << capacity;
        const auto count = static_cast<std::size_t>(expected);
        EXPECT_EQ(std::string(buffer, sizeof buffer),
                  std::string("0123456789").substr(0, count) + std::string(16 - count, '#'));
    }
}

TEST(ReadJsonDataFile, NullPathOrBufferFails) {
    WriteFile("/tmp/data.json", "0123456789");
    CHttp http;
    char buffer[4];
    EXPECT_EQ(http.ReadJsonDataFile(nullptr, buffer, 4), -1);
    EXPECT_EQ(http.ReadJsonDataFile("/tmp/data.json", nullptr, 4), -1);
}

TEST(ReadJsonDataFile, AFileThatCannotBeOpenedIsLogged) {
    const LogCapture log;
    CHttp http;
    char buffer[4];
    EXPECT_EQ(http.ReadJsonDataFile("/tmp/none.json", buffer, 4), -1);
    EXPECT_EQ(log.Text(), (std::vector<LogEntry>{{4, "Can not open file /tmp/none.json"}}));
}

TEST(ReadJsonDataFile, WhatHasNoEndGivesNoBytes) {
    ASSERT_EQ(mkfifo("/tmp/pipe", 0600), 0);  // opened for both, it waits for nobody
    CHttp http;
    char buffer[4] = "abc";
    EXPECT_EQ(http.ReadJsonDataFile("/tmp/pipe", buffer, 4), 0);
    EXPECT_STREQ(buffer, "abc");
}

TEST(ReadJsonDataFile, AnEmptyFileGivesNoBytes) {
    WriteFile("/tmp/data.json", "");
    CHttp http;
    char buffer[4];
    EXPECT_EQ(http.ReadJsonDataFile("/tmp/data.json", buffer, 4), 0);
}

}  // namespace
}  // namespace corvenna::test
