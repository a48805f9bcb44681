// Hosts at work: many calls at once, and many lives of one process after the other.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>

#include "base/handle.h"
#include "tests/plugin/configuration.h"
#include "tests/plugin/gateway.h"
#include "tests/plugin/host.h"
#include "tests/plugin/life.h"
#include "tests/support/files.h"

namespace corvenna::test {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

constexpr char kRecalls[] =
    R"({"node":[{"startdt":"1970-01-01 00:00:00","enddt":"1970-01-01 01:00:00"}]})";

/// Two files: a good one, and one whose digest never matches.
std::string BusyOffers(const std::string &content) {
    std::vector<Offer> offers(2);
    offers[0].file = "a";
    offers[0].md5 = Md5Of(content);
    offers[0].type = 9;
    offers[0].path = "/tmp/x";
    offers[1].file = "b";
    offers[1].md5.assign(32, '0');
    return OfferList(offers);
}

/// A cloud that has everything: files, recalls, and a 426 for every third upload.
Answer BusyCloud(const Request &request, std::atomic<int> &uploads) {
    static const std::string content(20000, 'f');
    static const std::string offers = BusyOffers(content);
    if (request.path == "/cloud/realdata/GW4567") {
        return Reply(++uploads % 3 == 0 ? 426 : 200);
    }
    if (request.path == "/cloud/calldata/GW4567") {
        return request.method == "GET" ? Reply(200, kRecalls) : Reply(204);
    }
    if (request.method != "GET") {
        return Reply(200);
    }
    return request.path == "/cloud/downfile/GW4567" ? Reply(200, offers) : ReplyFile(content);
}

std::chrono::seconds StressTime() {
    const char *seconds = std::getenv("CORVENNA_STRESS_SECONDS");
    return std::chrono::seconds(seconds != nullptr ? std::strtol(seconds, nullptr, 10) : 6);
}

/// Calls everything, in an order of its own, until the time is over, at least once. @return rounds.
int CallEverything(const Plugin &plugin, int host, std::chrono::steady_clock::time_point end) {
    std::string folder = "/tmp/host" + std::to_string(host);
    mkdir(folder.c_str(), 0755);
    int rounds = 0;
    do {
        std::map<unsigned int, double> values = {{0x02010001, 1.0 * rounds}, {0x02010100, 1.0}};
        std::vector<Alarm> alarms(3);
        std::vector<std::string> files;
        EXPECT_EQ(plugin.PrePost(), 0);
        EXPECT_EQ(plugin.CreateRealDataFile(&values, folder.data(), &files, 1000000 + rounds), 0);
        EXPECT_EQ(plugin.CreateAlarmDataFile(&alarms, folder.data(), &files), 0);
        EXPECT_THAT(files, SizeIs(2));
        for (int i = 0; i < 5 && files.size() == 2; ++i) {
            EXPECT_EQ(plugin.UploadRealDataFile(files[0].data()), 0);
            EXPECT_EQ(plugin.UploadAlarmDataFile(files[1].c_str()), 0);
            std::vector<Range> ranges;
            EXPECT_EQ(plugin.CheckRecall(&ranges), 0);
            EXPECT_THAT(ranges, SizeIs(1));
            Range range{0, 3600};
            EXPECT_EQ(plugin.DeleteRecall(&range), 0);
            EXPECT_EQ(plugin.SyncHeartBeat(), 0);
        }
        ++rounds;
    } while (std::chrono::steady_clock::now() < end);
    return rounds;
}

TEST(HostThreads, TwoHostsMayCallEverythingAtOnce) {
    std::atomic<int> uploads{0};
    ScriptedServer server;
    server.Otherwise([&](const Request &request) { return BusyCloud(request, uploads); });
    GatewayOn(server.Port()).Write();
    ASSERT_EQ(mkdir("/tmp/x", 0755), 0);
    const Plugin plugin;
    Intervals intervals{};
    ASSERT_EQ(plugin.Init(&intervals), 0);
    const auto end = std::chrono::steady_clock::now() + StressTime();
    int rounds[2] = {0, 0};
    std::thread other([&] { rounds[1] = CallEverything(plugin, 1, end); });
    rounds[0] = CallEverything(plugin, 0, end);
    other.join();
    plugin.AwaitDownload();
    EXPECT_GT(rounds[0], 0);
    EXPECT_GT(rounds[1], 0);
    EXPECT_THAT(ListFolder("/media/mmcblk0p1"), ElementsAre());
}

// ---- Lives of a process ----

constexpr int kLives = 20;
constexpr int kMessagesEach = 100;

std::vector<std::unique_ptr<Life>> Lives(int count, int (*body)()) {
    std::vector<std::unique_ptr<Life>> lives;
    lives.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        lives.push_back(std::make_unique<Life>(body));
    }
    return lives;
}

std::size_t Threads() {
    return ListFolder("/proc/self/task").size();
}

/// Loads, works, logs and ends. @return 0 when all went well.
int WorkOnce() {
    const Plugin plugin;
    Intervals intervals{};
    if (plugin.Init(&intervals) != 0 || plugin.PrePost() != 0) {
        return 1;
    }
    std::vector<Range> ranges;
    if (plugin.CheckRecall(&ranges) != 0 || ranges.size() != 1 ||
        plugin.DeleteRecall(ranges.data()) != 0) {
        return 2;
    }
    WriteFile("/tmp/S.json", "x");
    char path[] = "/tmp/S.json";
    const std::size_t threads = Threads();
    if (plugin.UploadRealDataFile(path) != 0) {
        return 3;
    }
    plugin.AwaitDownload();
    while (Threads() > threads) {  // until it has logged its end, too
        std::this_thread::yield();
    }
    for (int i = 0; i < kMessagesEach; ++i) {
        plugin.log_Text(3, "message %d of a life", i);
    }
    return 0;
}

int Count(const std::string &text, const std::string &part) {
    int count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

int DatabaseRows(const std::string &message) {
    sqlite3 *opened = nullptr;
    EXPECT_EQ(sqlite3_open("/tmp/CloudLog/Cloudlog.db", &opened), SQLITE_OK);
    const std::unique_ptr<sqlite3, FreedBy<sqlite3_close>> database(opened);
    sqlite3_stmt *prepared = nullptr;
    EXPECT_EQ(sqlite3_prepare_v2(opened, "SELECT COUNT(*) FROM log_tbl WHERE log_Desc = ?", -1,
                                 &prepared, nullptr),
              SQLITE_OK);
    const std::unique_ptr<sqlite3_stmt, FreedBy<sqlite3_finalize>> statement(prepared);
    sqlite3_bind_text(prepared, 1, message.c_str(), -1, SQLITE_STATIC);
    EXPECT_EQ(sqlite3_step(prepared), SQLITE_ROW);
    return sqlite3_column_int(prepared, 0);
}

TEST(HostLives, TwentyLivesInARowEndWellAndLoseNoMessage) {
    const auto lives = Lives(kLives, WorkOnce);
    std::atomic<int> uploads{0};
    ScriptedServer server;
    server.Otherwise([&](const Request &request) { return BusyCloud(request, uploads); });
    GatewayOn(server.Port()).Write();
    ASSERT_EQ(mkdir("/tmp/x", 0755), 0);
    for (int i = 0; i < kLives; ++i) {
        EXPECT_EQ(lives[static_cast<std::size_t>(i)]->Run(), 0) << "life " << i;
    }
    EXPECT_EQ(DatabaseRows("Corvenna Start running"), kLives);
    const std::string log = TextLog();
    EXPECT_EQ(Count(log, "Corvenna is Set on"), kLives);
    EXPECT_EQ(Count(log, " of a life"), kLives * kMessagesEach);
    EXPECT_EQ(Count(log, "message 99 of a life"), kLives);
    EXPECT_EQ(Count(log, "downfile thread exit"), kLives / 3);
}

/// Ends while a download thread waits for the server.
int EndDuringADownload() {
    const Plugin plugin;
    Intervals intervals{};
    if (plugin.Init(&intervals) != 0) {
        return 1;
    }
    WriteFile("/tmp/S.json", "x");
    char path[] = "/tmp/S.json";
    return plugin.UploadRealDataFile(path) == 0 ? 0 : 2;
}

TEST(HostLives, AProcessMayEndWhileADownloadRuns) {
    constexpr int kTries = 6;
    const std::string offers = BusyOffers("content");
    const auto lives = Lives(kTries, EndDuringADownload);
    auto next = lives.begin();
    for (const Protocol protocol : {Protocol::kHttp, Protocol::kHttps}) {
        ScriptedServer server(protocol);
        server.Otherwise([&](const Request &request) {
            return request.method == "POST" ? Reply(426) : Reply(200, offers);
        });
        GatewayOn(server.Port(), "json", false, protocol == Protocol::kHttps).Write();
        for (int i = 0; i < kTries / 2; ++i) {
            EXPECT_EQ((*next)->Run(), 0) << (next - lives.begin());
            ++next;
        }
    }
}

/// Ends while the download thread waits for a shell command.
int EndDuringACommand() {
    setenv("PATH", "/tmp/bin:/usr/bin:/bin", 1);
    const int result = EndDuringADownload();
    if (result != 0) {
        return result;
    }
    const File begun(std::fopen("/tmp/begun", "r"));  // opens when the command has begun
    return begun != nullptr ? 0 : 3;
}

TEST(HostLives, AProcessMayEndWhileACommandRuns) {
    const auto lives = Lives(1, EndDuringACommand);
    ScriptedServer server;
    server.Otherwise([](const Request &request) {
        return request.method == "POST" ? Reply(426) : Reply(200, BusyOffers("content"));
    });
    GatewayOn(server.Port()).Write();
    ASSERT_EQ(mkfifo("/tmp/begun", 0600), 0);
    ASSERT_EQ(mkfifo("/tmp/held", 0600), 0);
    const int held = open("/tmp/held", O_RDWR | O_CLOEXEC);
    ASSERT_GE(held, 0);
    WriteFile("/tmp/bin/md5sum",
              "#!/bin/sh\nexec 3< /tmp/held\n: > /tmp/begun\nread -r line <&3\n");
    ASSERT_EQ(chmod("/tmp/bin/md5sum", 0755), 0);
    EXPECT_EQ(lives[0]->Run(), 0);
    close(held);  // lets the command go
}

TEST(HostLives, AProcessMayEndWithoutAnyWork) {
    const auto lives = Lives(1, [] {
        const Plugin plugin;
        return plugin.SyncHeartBeat();
    });
    EXPECT_EQ(lives[0]->Run(), 0);
}

}  // namespace
}  // namespace corvenna::test
