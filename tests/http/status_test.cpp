#include <gmock/gmock.h>

#include "tests/http/twins.h"
#include "tests/support/files.h"
#include "tests/support/log_capture.h"

namespace corvenna::test {
namespace {

using testing::Contains;

// The statuses that matter, and neighbours; which of them count is each operation's own.
constexpr int kStatuses[] = {200, 201, 202, 204, 205, 206, 301, 302, 400, 401, 403,
                             404, 408, 413, 417, 425, 426, 427, 429, 500, 503};

struct Expected {
    std::vector<int> accepted;
    std::string message;  ///< of a refusal; STATUS stands for the status
    int refusal;
};

std::string WithStatus(std::string message, int status) {
    const std::string word = "STATUS";
    return message.replace(message.find(word), word.size(), std::to_string(status));
}

/// Calls an operation once a status and compares result and messages.
template <class Call>
void CheckStatuses(const Twin &client, const Expected &expected, const Call &call) {
    ScriptedServer server(client.protocol);
    for (const int status : kStatuses) {
        SCOPED_TRACE(status);
        server.Next(Reply(status));
        const LogCapture log;
        const int result = call(server.Url("/x"));
        const std::vector<LogEntry> logged = log.Text();
        const LogEntry refusal{4, WithStatus(expected.message, status)};
        if (testing::Matches(Contains(status))(expected.accepted)) {
            EXPECT_EQ(result, 0);
            EXPECT_THAT(logged, testing::Each(testing::Field(&LogEntry::level, 3)));
        } else {
            EXPECT_EQ(result, expected.refusal);
            ASSERT_FALSE(logged.empty());
            EXPECT_EQ(logged.back(), refusal);
        }
    }
}

class Statuses : public Twins {
protected:
    template <class Operation>
    void CheckMemory(Operation operation, const Expected &http, const Expected &https) {
        CheckStatuses(client(), IsHttps() ? https : http, [&](const std::string &url) {
            auto frame = MemoryFrame(url, "", "b");
            return operation(&frame);
        });
    }
};
CORVENNA_BOTH_TWINS(Statuses);

TEST_P(Statuses, OfGet) {
    constexpr char kText[] = "curl_easy_perform() failed: No error when get info,httpcode = STATUS";
    CheckMemory(client().get, {{200, 201}, kText, -1}, {{200}, kText, -1});
}

TEST_P(Statuses, OfPostWhichReportsSuccessForAllOfThem) {
    CheckMemory(client().post,
                {{200, 201}, "curl_easy_perform() failed when post: No error,httpcode =STATUS", 0},
                {{200, 201}, "curl_easy_perform() failed:No error httpcode =STATUS", 0});
}

TEST_P(Statuses, OfPut) {
    CheckMemory(client().put,
                {{200, 201}, "curl_easy_perform() failed when put: No error,httpcode =STATUS", -1},
                {{200, 201}, "failed,errdesc:No error httpcode =STATUS", -1});
}

TEST_P(Statuses, OfDelete) {
    testing::internal::CaptureStdout();
    CheckMemory(client().remove,
                {{204}, "curl_easy_perform() failed when delete: No error,httpcode =STATUS", -1},
                {{204}, "failed when delete: No error,httpcode =STATUS", -1});
    testing::internal::GetCapturedStdout();
}

TEST_P(Statuses, OfARealDataUploadWhichStoresThem) {
    WriteFile("/tmp/S.json", "{}");
    const Expected expected = {{200, 201, 426},
                               Either("send file /tmp/S.json failed: No error,httpcode =STATUS",
                                      "send file /tmp/S.json failed: No error,httpcode = STATUS"),
                               -1};
    std::vector<int> stored;
    CheckStatuses(client(), expected, [&](const std::string &url) {
        auto frame = FileFrame(url, "/tmp/S.json");
        int httpCode = -5;
        const int result = client().realData(&frame, &httpCode);
        stored.push_back(httpCode);
        return result;
    });
    EXPECT_THAT(stored, testing::ElementsAreArray(kStatuses));
}

TEST_P(Statuses, OfAnAlarmDataUploadFor426IsAFailure) {
    WriteFile("/tmp/T.json", "{}");
    const Expected expected = {{200, 201},
                               Either("send file /tmp/T.json failed: No error,httpcode =STATUS",
                                      "send file /tmp/T.json failed: No error,httpcode = STATUS"),
                               -1};
    testing::internal::CaptureStdout();
    CheckStatuses(client(), expected, [&](const std::string &url) {
        auto frame = FileFrame(url, "/tmp/T.json");
        return client().alarmData(&frame);
    });
    testing::internal::GetCapturedStdout();
}

TEST_P(Statuses, OfADownloadAreNotLookedAt) {
    const Expected expected = {{std::begin(kStatuses), std::end(kStatuses)}, "STATUS", -1};
    CheckStatuses(client(), expected, [&](const std::string &url) {
        auto frame = FileFrame(url, "/tmp/download");
        return client().download(&frame);
    });
}

// ---- Standard output ----

class Console : public Twins {};
CORVENNA_BOTH_TWINS(Console);

TEST_P(Console, ARefusedDeleteIsPrintedByHttpOnlyAndWithoutALineEnd) {
    ScriptedServer server(client().protocol);
    server.Next(Reply(200));
    auto frame = MemoryFrame(server.Url("/"), "DELETE", "b");
    testing::internal::CaptureStdout();
    EXPECT_EQ(client().remove(&frame), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              Either("curl_easy_perform() failed when delete: No error,httpcode =200", ""));
}

TEST_P(Console, AnAlarmUploadIsPrintedByHttpOnly) {
    WriteFile("/tmp/T.json", "{}");
    ScriptedServer server(client().protocol);
    auto frame = FileFrame(server.Url("/a"), "/tmp/T.json");
    testing::internal::CaptureStdout();
    EXPECT_EQ(client().alarmData(&frame), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              Either("start Send file /tmp/T.json to " + server.Url("/a") + "\n", ""));
}

TEST_P(Console, TheOtherOperationsPrintNothing) {
    WriteFile("/tmp/S.json", "{}");
    ScriptedServer server(client().protocol);
    server.Otherwise([](const Request &) { return Reply(500); });
    auto memory = MemoryFrame(server.Url("/"), "", "b");
    auto file = FileFrame(server.Url("/"), "/tmp/S.json");
    int httpCode = 0;
    testing::internal::CaptureStdout();
    client().get(&memory);
    client().post(&memory);
    client().put(&memory);
    client().realData(&file, &httpCode);
    client().download(&file);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST_P(Console, ABodyForWhichThereIsNoCallbackIsPrinted) {
    ScriptedServer server(client().protocol);
    server.Next(Reply(200, "answer"));
    auto frame = MemoryFrame(server.Url("/"), "GET");
    frame.writeCallback = nullptr;
    testing::internal::CaptureStdout();
    EXPECT_EQ(client().get(&frame), 0);
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "answer");
}

}  // namespace
}  // namespace corvenna::test
