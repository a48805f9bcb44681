// A host that cancels threads of its own which are in the plug-in.

#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "tests/plugin/configuration.h"
#include "tests/plugin/gateway.h"
#include "tests/plugin/host.h"
#include "tests/support/files.h"

namespace corvenna::test {
namespace {

constexpr char kFile[] = "/tmp/S.json";

Answer WellAnswer(const Request &request) {
    const char *const recalls =
        R"({"node":[{"startdt":"1970-01-01 00:00:00","enddt":"1970-01-01 01:00:00"}]})";
    return request.method == "DELETE" ? Reply(204)
                                      : Reply(200, request.method == "GET" ? recalls : "");
}

int Produce(const Plugin &plugin) {
    std::map<unsigned int, double> values = {{0x02010001, 229.87}, {0x02010100, 1.0}};
    std::vector<std::string> files;
    std::string folder = "/tmp";
    return plugin.CreateRealDataFile(&values, folder.data(), &files, 1709622489) == 0 &&
                   files.size() == 1
               ? 0
               : -1;
}

int ProduceAlarms(const Plugin &plugin) {
    std::vector<Alarm> alarms(1, Alarm{0, 0x02010001, 1, 2, 0, 1});
    std::vector<std::string> files;
    std::string folder = "/tmp";
    return plugin.CreateAlarmDataFile(&alarms, folder.data(), &files);
}

int Initialise(const Plugin &plugin) {
    Intervals intervals{};
    return plugin.Init(&intervals);
}

int Ask(const Plugin &plugin) {
    std::vector<Range> ranges;
    return plugin.CheckRecall(&ranges);
}

int Acknowledge(const Plugin &plugin) {
    Range range{0, 3600};
    return plugin.DeleteRecall(&range);
}

int Upload(const Plugin &plugin) {
    std::string path = kFile;
    return plugin.UploadRealDataFile(path.data());
}

struct Call {
    const char *name;
    int (*call)(const Plugin &plugin);
};

void PrintTo(const Call &call, std::ostream *stream) {
    *stream << call.name;
}

constexpr Call kCalls[] = {
    {"Init", Initialise},
    {"PrePost", [](const Plugin &plugin) { return plugin.PrePost(); }},
    {"CreateRealDataFile", Produce},
    {"CreateAlarmDataFile", ProduceAlarms},
    {"UploadRealDataFile", Upload},
    {"UploadAlarmDataFile", [](const Plugin &plugin) { return plugin.UploadAlarmDataFile(kFile); }},
    {"CheckRecall", Ask},
    {"DeleteRecall", Acknowledge},
};

struct CancelledThread {
    const Plugin &plugin;
    const Call &call;
    int result;
};

/// Is cancelled before the call, at whose first wait it would end.
void *CallCancelled(void *self) {
    auto &thread = *static_cast<CancelledThread *>(self);
    pthread_cancel(pthread_self());
    thread.result = thread.call.call(thread.plugin);
    pthread_testcancel();
    return nullptr;
}

class CancelledIn : public testing::TestWithParam<Call> {};

TEST_P(CancelledIn, ACallAThreadEndsBehindIt) {
    ScriptedServer server;
    server.Otherwise(WellAnswer);
    GatewayOn(server.Port()).Write();
    WriteFile(kFile, "x");
    const Plugin plugin;
    ASSERT_EQ(Initialise(plugin), 0);
    CancelledThread cancelled{plugin, GetParam(), -2};
    pthread_t thread{};
    ASSERT_EQ(pthread_create(&thread, nullptr, CallCancelled, &cancelled), 0);
    void *end = nullptr;
    ASSERT_EQ(pthread_join(thread, &end), 0);
    EXPECT_EQ(cancelled.result, 0);
    EXPECT_EQ(end, PTHREAD_CANCELED);
}

INSTANTIATE_TEST_SUITE_P(EachCall, CancelledIn, testing::ValuesIn(kCalls),
                         [](const auto &call) { return std::string(call.param.name); });

#ifndef __SANITIZE_ADDRESS__  // the sanitizer is not told of the frames that such a thread drops
struct ImpatientThread {
    const Plugin &plugin;
    std::vector<Range> ranges;
    std::atomic<pthread_t> self{};
    bool wentOn = false;
};

void *AskImpatiently(void *self) {
    auto &thread = *static_cast<ImpatientThread *>(self);
    thread.self = pthread_self();
    pthread_setcanceltype(PTHREAD_CANCEL_ASYNCHRONOUS, nullptr);
    thread.plugin.CheckRecall(&thread.ranges);
    thread.wentOn = true;
    return nullptr;
}

TEST(Cancelled, AThreadThatMayEndAnywhereEndsBehindTheCall) {
    ScriptedServer server;
    GatewayOn(server.Port()).Write();
    const Plugin plugin;
    ASSERT_EQ(Initialise(plugin), 0);
    ImpatientThread impatient{plugin, {}};
    server.Otherwise([&impatient](const Request &request) {
        pthread_cancel(impatient.self);
        return WellAnswer(request);
    });
    pthread_t thread{};
    ASSERT_EQ(pthread_create(&thread, nullptr, AskImpatiently, &impatient), 0);
    ASSERT_EQ(pthread_join(thread, nullptr), 0);
    EXPECT_FALSE(impatient.wentOn);
    EXPECT_EQ(server.Requests().size(), 1U);
    server.Otherwise(WellAnswer);
    EXPECT_EQ(Ask(plugin), 0);
}
#endif

}  // namespace
}  // namespace corvenna::test
