#include <atomic>
#include <thread>

#include "tests/http/curl_record.h"
#include "tests/http/twins.h"
#include "tests/support/files.h"

namespace corvenna::test {
namespace {

class Threads : public Twins {};
CORVENNA_BOTH_TWINS(Threads);

constexpr int kThreads = 8;
constexpr int kRounds = 3;
constexpr int kOperations = 7;

/// All operations once. @return how many succeeded.
int RunMixed(const Twin &client, const ScriptedServer &server, const std::string &own) {
    auto memory = MemoryFrame(server.Url("/" + own), "", "body of " + own);
    auto upload = FileFrame(server.Url("/" + own), "/tmp/up-" + own);
    auto download = FileFrame(server.Url("/" + own), "/tmp/down-" + own);
    upload.readCallback = ReadFromFile;
    download.writeCallback = WriteToFile;
    int httpCode = 0;
    int good = 0;
    for (const int result : {client.get(&memory), client.post(&memory), client.put(&memory),
                             client.remove(&memory), client.realData(&upload, &httpCode),
                             client.alarmData(&upload), client.download(&download)}) {
        good += result == 0 ? 1 : 0;
    }
    return good;
}

TEST_P(Threads, EightMixOperationsOnOneInstance) {
    ScriptedServer server(client().protocol);
    server.Otherwise([](const Request &request) {
        return request.method == "DELETE" ? Reply(204) : Reply(200, "", {"Set-Cookie: a=b"});
    });
    for (int i = 0; i < kThreads; ++i) {
        WriteFile("/tmp/up-" + std::to_string(i), std::string(20000, static_cast<char>('a' + i)));
    }
    const CurlRecord record;
    std::atomic<int> good{0};
    std::vector<std::thread> threads;
    testing::internal::CaptureStdout();
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            for (int round = 0; round < kRounds; ++round) {
                good += RunMixed(client(), server, std::to_string(i));
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(good, kThreads * kRounds * kOperations);
    EXPECT_EQ(record.HandlesMade(), kThreads * kRounds * kOperations);
    EXPECT_EQ(record.HandlesFreed(), record.HandlesMade());
    EXPECT_EQ(record.ListsFreed(), record.ListsMade());
    for (const Request &request : server.Requests()) {
        const std::string own = request.path.substr(1);
        if (request.body.size() == 20000) {
            EXPECT_EQ(request.body, std::string(20000, static_cast<char>('a' + own[0] - '0')));
        } else if (!request.body.empty()) {
            EXPECT_EQ(request.body, "body of " + own);
        }
    }
}

}  // namespace
}  // namespace corvenna::test
