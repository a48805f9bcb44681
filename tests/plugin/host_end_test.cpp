// Hosts that end while threads of theirs are inside the plug-in.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/plugin/configuration.h"
#include "tests/plugin/gateway.h"
#include "tests/plugin/host.h"
#include "tests/plugin/life.h"
#include "tests/support/files.h"

namespace corvenna::test {
namespace {

using testing::ElementsAre;

constexpr char kFile[] = "/tmp/S.jsonxml";  // of either type

std::string Recalls(const std::string &format) {
    return format == "xml"
               ? R"(<data><node startdt="1970-01-01 00:00:00" enddt="1970-01-01 01:00:00"/></data>)"
               : R"({"node":[{"startdt":"1970-01-01 00:00:00","enddt":"1970-01-01 01:00:00"}]})";
}

Answer WellAnswer(const Request &request, const std::string &format) {
    if (request.method == "DELETE") {
        return Reply(204);
    }
    return Reply(200, request.method == "GET" ? Recalls(format) : "");
}

using Call = void (*)(const Plugin &plugin);

void Ask(const Plugin &plugin) {
    std::vector<Range> ranges;
    plugin.CheckRecall(&ranges);
}

void Acknowledge(const Plugin &plugin) {
    Range range{0, 3600};
    plugin.DeleteRecall(&range);
}

void UploadRealData(const Plugin &plugin) {
    std::string path = kFile;
    plugin.UploadRealDataFile(path.data());
}

void UploadAlarmData(const Plugin &plugin) {
    plugin.UploadAlarmDataFile(kFile);
}

void Register(const Plugin &plugin) {
    plugin.PrePost();
}

void Produce(const Plugin &plugin) {
    std::vector<Alarm> alarms(30, Alarm{0, 0x02010001, 1, 2, 0, 1});
    std::vector<std::string> files;
    std::string folder = "/tmp";
    plugin.CreateAlarmDataFile(&alarms, folder.data(), &files);
}

/// Ends while a thread makes each of the calls over and over.
int EndInTheMidstOf(const std::vector<Call> &calls) {
    const Plugin plugin;
    Intervals intervals{};
    if (plugin.Init(&intervals) != 0) {
        return 1;
    }
    WriteFile(kFile, "x");
    static std::atomic<std::size_t> begun{0};
    for (const Call call : calls) {
        std::thread([plugin, call] {
            call(plugin);
            ++begun;
            for (;;) {
                call(plugin);
            }
        }).detach();
    }
    while (begun < calls.size()) {
        std::this_thread::yield();
    }
    return 0;
}

class HostEnd : public testing::TestWithParam<Wire> {
protected:
    void ExpectOrderlyEnds(const std::vector<Call> &calls) {
        constexpr int kLives = 3;
        std::vector<std::unique_ptr<Life>> all;
        for (int i = 0; i < kLives; ++i) {
            all.push_back(std::make_unique<Life>([&calls] { return EndInTheMidstOf(calls); }));
        }
        const Wire &wire = GetParam();
        ScriptedServer server(wire.protocol);
        server.KeepNoRequests();
        server.Otherwise([&](const Request &request) { return WellAnswer(request, wire.format); });
        GatewayOn(server.Port(), wire.format, false, wire.protocol == Protocol::kHttps).Write();
        for (const std::unique_ptr<Life> &life : all) {
            EXPECT_EQ(life->Run(), 0);
        }
    }
};

TEST_P(HostEnd, InTheMidstOfExchangesIsOrderly) {
    ExpectOrderlyEnds({Ask, Acknowledge, UploadRealData, UploadAlarmData, Register});
}

class HostEndAtWork : public HostEnd {};

TEST_P(HostEndAtWork, OnDataFilesIsOrderly) {
    ExpectOrderlyEnds({Produce, Produce, Produce, Produce});
}

// ---- A host that still has something to say when everything else is over ----

constexpr char kAsked[] = "/tmp/asked";

const Plugin *gPlugin = nullptr;
std::atomic<bool> gAnswered{false};
int gAcknowledged = -1;

/// The last handler of the host's: what the plug-in does at the end lies behind it.
void SayGoodbye() {
    Range range{0, 3600};
    gAcknowledged = gPlugin->DeleteRecall(&range);
    while (!gAnswered) {
        std::this_thread::yield();
    }
    if (gAcknowledged != 0) {
        _exit(3);
    }
}

/// Ends while a thread waits for an answer, which comes when the host says goodbye.
int EndBeforeTheAnswer() {
    std::atexit(SayGoodbye);
    static const Plugin plugin;
    gPlugin = &plugin;
    Intervals intervals{};
    if (plugin.Init(&intervals) != 0) {
        return 1;
    }
    std::thread([] {
        Ask(plugin);
        gAnswered = true;
        Ask(plugin);  // refused, or it would wait for an answer again
        for (;;) {
            pause();
        }
    }).detach();
    while (access(kAsked, F_OK) != 0) {
        std::this_thread::yield();
    }
    return 0;
}

TEST_P(HostEnd, LeavesAnExchangeThatLastsAndTheHostsLastWordsUnharmed) {
    unlink(kAsked);
    Life life(EndBeforeTheAnswer);
    const Wire &wire = GetParam();
    ScriptedServer server(wire.protocol);
    server.Otherwise([&](const Request &request) -> Answer {
        if (request.method == "DELETE") {
            server.Release();
            return Reply(204);
        }
        WriteFile(kAsked, "");
        return ReplyInPieces(200, {Recalls(wire.format)});
    });
    GatewayOn(server.Port(), wire.format, false, wire.protocol == Protocol::kHttps).Write();
    EXPECT_EQ(life.Run(), 0);
    EXPECT_THAT(Lines(server.Requests()),
                ElementsAre("GET /cloud/calldata/GW4567", "DELETE /cloud/calldata/GW4567"));
}

INSTANTIATE_TEST_SUITE_P(Formats, HostEndAtWork, testing::Values(Wire{"json"}, Wire{"xml"}),
                         [](const auto &wire) { return NameOf(wire.param); });

INSTANTIATE_TEST_SUITE_P(Wires, HostEnd, testing::ValuesIn(AllWires()),
                         [](const auto &wire) { return NameOf(wire.param); });

}  // namespace
}  // namespace corvenna::test
