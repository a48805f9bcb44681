// Networks and servers that go wrong, met by every entry point: the call ends as its contract says
// with one message of the transport, and the next one works.

#include "tests/plugin/world.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "base/file_descriptor.h"
#include "base/text.h"
#include "config/sys_set.h"
#include "plugin/instances.h"
#include "plugin/plugin.h"
#include "tests/http/curl_record.h"
#include "tests/plugin/gateway.h"
#include "tests/support/capture_stdout.h"
#include "tests/support/files.h"
#include "tests/support/log_capture.h"

namespace corvenna::test {
namespace {

/// Time-outs are that long as long as it lives: short for requests that run into them.
class OtherTimeouts {
public:
    explicit OtherTimeouts(long milliseconds) { record_.ReplaceTimeouts(milliseconds); }

private:
    CurlRecord record_;
};

class World : public testing::TestWithParam<Protocol> {
protected:
    World() : server_(GetParam()) {
        Configure(server_, {"json", GetParam(), false});
        WriteFile(kWorldFile, "content");
    }

    bool Secure() const { return GetParam() == Protocol::kHttps; }

    /// Every entry point fails while the server answers so.
    void ExpectAllFailWith(const std::function<Answer()> &answer, const std::string &text) {
        server_.Otherwise([=](const Request &) { return answer(); });
        ExpectAllFail(text);
        ExpectAllWork();
    }

    /// Every entry point fails once the server has answered so outside of a request.
    void ExpectAllFailAt(const Answer &answer, const std::string &text) {
        for (const EntryPoint &entry : EntryPoints()) {
            server_.Next(answer);
            ExpectFails(entry, text);
        }
        ExpectAllWork();
    }

    /// The next call of each works, and a download runs to its end.
    void ExpectAllWork() { ExpectAllWorkOn(server_); }

    ScriptedServer server_;
};

TEST_P(World, WhereNobodyListens) {
    ST_CLOUDSERVER_CONFIG_ATTR &cloud = *GetCSysSetInstance()->GetCloudConfigAttr();
    const std::uint16_t port = cloud.port;
    cloud.port = 1;
    ExpectAllFail("Couldn't connect to server");
    ExpectDownloadEnds();
    cloud.port = port;
    ExpectAllWork();
}

TEST_P(World, WhereTheNameIsUnknown) {
    ST_CLOUDSERVER_CONFIG_ATTR &cloud = *GetCSysSetInstance()->GetCloudConfigAttr();
    // No name at all, for its empty label: no question about it leaves the machine.
    CopyText<63>(cloud.cloudip, "cloud..invalid");
    ExpectAllFail("Couldn't resolve host name");
    CopyText<63>(cloud.cloudip, "127.0.0.1");
    ExpectAllWork();
}

TEST_P(World, ThatSwallowsEverything) {
    server_.Otherwise([](const Request &) { return Stall(); });
    {
        const OtherTimeouts record(100);
        ExpectAllFail("Timeout was reached");
    }
    ExpectAllWork();
}

TEST_P(World, ThatTricklesAByteAtATime) {
    // The pauses are the server's behaviour here.
    server_.Otherwise([](const Request &) {
        return Answer([](Exchange &exchange) {
            exchange.Send("HTTP/1.1 500 O\r\nX-Slow: ");
            while (exchange.Send("x")) {
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
            }
        });
    });
    {
        const OtherTimeouts record(150);
        ExpectAllFail("Timeout was reached");
    }
    ExpectAllWork();
}

TEST_P(World, ThatTakesAConnectionAndNeverSaysAWord) {
    server_.BeSilent(true);
    {
        const OtherTimeouts record(100);
        ExpectAllFail("Timeout was reached");
    }
    server_.BeSilent(false);
    ExpectAllWork();
}

/// A port whose queue of connections is full and is never emptied: what wants to connect gets no
/// answer at all.
class BlackHole {
public:
    BlackHole() : listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        EXPECT_EQ(bind(listener_.Get(), Generic(), sizeof address_), 0);
        EXPECT_EQ(listen(listener_.Get(), 0), 0);
        socklen_t length = sizeof address_;
        EXPECT_EQ(getsockname(listener_.Get(), Generic(), &length), 0);
        constexpr std::size_t kMany = 64;
        while (waiting_.size() < kMany && IsAnswered()) {
        }
        EXPECT_LT(waiting_.size(), kMany) << "every connection was answered";
    }

    std::uint16_t Port() const { return ntohs(address_.sin_port); }

private:
    sockaddr *Generic() { return reinterpret_cast<sockaddr *>(&address_); }

    bool IsAnswered() {
        constexpr int kMilliseconds = 200;
        waiting_.emplace_back(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        const int one = waiting_.back().Get();
        static_cast<void>(connect(one, Generic(), sizeof address_));  // goes on meanwhile
        pollfd connected{one, POLLOUT, 0};
        return poll(&connected, 1, kMilliseconds) == 1;
    }

    sockaddr_in address_{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
    FileDescriptor listener_;
    std::vector<FileDescriptor> waiting_;
};

TEST_P(World, WhereNobodyAnswersAtAll) {
    const BlackHole hole;
    ST_CLOUDSERVER_CONFIG_ATTR &cloud = *GetCSysSetInstance()->GetCloudConfigAttr();
    const std::uint16_t port = cloud.port;
    cloud.port = hole.Port();
    {
        const OtherTimeouts record(100);
        ExpectAllFail("Timeout was reached");
        ExpectDownloadEnds();
    }
    cloud.port = port;
    ExpectAllWork();
}

TEST_P(World, ThatResetsAtOnce) {
    ExpectAllFailAt(ResetAt(Stage::kAccept), "");
}

TEST_P(World, ThatResetsBehindTheHeadOfARequest) {
    ExpectAllFailAt(ResetAt(Stage::kHead), "");
}

TEST_P(World, ThatResetsInItsBody) {
    ExpectAllFailWith(
        [] { return ResetAt(Stage::kRequest, "HTTP/1.1 500 O\r\nContent-Length: 9\r\n\r\nbod"); },
        "");
}

TEST_P(World, ThatResetsWithoutAnAnswer) {
    ExpectAllFailWith([] { return ResetAt(Stage::kRequest); }, "");
}

TEST_P(World, ThatResetsInItsHead) {
    // A good status would do for an HTTPS upload, if it came through.
    ExpectAllFailWith([] { return ResetAt(Stage::kRequest, "HTTP/1.1 500 O\r\nContent-Le"); }, "");
}

TEST_P(World, ThatClosesWithoutAnAnswer) {
    ExpectAllFailWith([] { return CloseAt(Stage::kRequest); }, "Server returned nothing");
}

TEST_P(World, OfGarbage) {
    ExpectAllFailWith([] { return ReplyRaw("\x16\x03\x01 garbage\r\n\r\n"); }, "");
}

TEST_P(World, OfANegativeLength) {
    ExpectAllFailWith([] { return ReplyRaw("HTTP/1.1 500 O\r\nContent-Length: -5\r\n\r\nx"); }, "");
}

TEST_P(World, OfEndlessHeaders) {
    ExpectAllFailWith(
        [] {
            return Answer([](Exchange &exchange) {
                exchange.Send("HTTP/1.1 500 O\r\n");
                while (exchange.Send("X-More: " + std::string(8000, 'x') + "\r\n")) {
                }
            });
        },
        "");
}

TEST_P(World, OfInterimAnswersWithoutEnd) {
    server_.Otherwise([](const Request &) {
        return Answer([](Exchange &exchange) {
            std::string flood;
            for (int i = 0; i < 1000; ++i) {
                flood += "HTTP/1.1 100 Continue\r\n\r\n";
            }
            while (exchange.Send(flood)) {
            }
        });
    });
    {
        const OtherTimeouts record(200);
        ExpectAllFail("");
    }
    ExpectAllWork();
}

TEST_P(World, OfAnAnswerInChunksOfAByte) {
    std::vector<std::string> pieces;
    for (const char byte : std::string(kWorldRecalls)) {
        pieces.emplace_back(1, byte);
    }
    server_.Next(ReplyChunked(200, pieces));
    const LogCapture log;
    EXPECT_EQ(CheckRecalls(), 0);
    EXPECT_EQ(Recalled(), 0U);
    const std::vector<LogEntry> logged = log.Text();
    EXPECT_EQ(std::count_if(
                  logged.begin(), logged.end(),
                  [](const LogEntry &entry) { return entry.text.find("Receive Response:") == 0; }),
              static_cast<std::ptrdiff_t>(pieces.size()));
    ExpectAllWork();
}

TEST_P(World, OfALengthTooShortForItsBody) {
    server_.Next(ReplyRaw(
        "HTTP/1.1 200 O\r\nContent-Length: " + std::to_string(std::string(kWorldRecalls).size()) +
        "\r\n\r\n" + kWorldRecalls + "and more"));
    EXPECT_EQ(CheckRecalls(), 0);
    EXPECT_EQ(Recalled(), 1U);
    ExpectAllWork();
}

TEST_P(World, OfNoLengthAtAll) {
    server_.Next(ReplyUntilClose(200, kWorldRecalls));
    EXPECT_EQ(CheckRecalls(), 0);
    EXPECT_EQ(Recalled(), 1U);
    ExpectAllWork();
}

/// Resident memory in bytes.
std::size_t Resident() {
    const std::string status = ReadFile("/proc/self/statm");
    const std::size_t pages = std::strtoul(status.c_str() + status.find(' '), nullptr, 10);
    return pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::size_t kMostGrowth = 1UL << 30;  // a sanitizer keeps what was freed
#else
constexpr std::size_t kMostGrowth = 16UL * 1024 * 1024;
#endif

TEST_P(World, OfABodyOf100MB) {
    constexpr std::size_t kMost = 100UL * 1000 * 1000;
    constexpr long kBusyEmulatorMilliseconds = 500000;
    ExpectAllWork();
    const std::size_t before = Resident();
    server_.Next([](Exchange &exchange) {
        const std::string piece(std::size_t{1} << 20, ' ');
        exchange.Send("HTTP/1.1 200 O\r\n\r\n");
        for (std::size_t sent = 0; sent < kMost && exchange.Send(piece); sent += piece.size()) {
        }
        exchange.Close();
    });
    {
        const OtherTimeouts patient(kBusyEmulatorMilliseconds);
        EXPECT_EQ(CheckRecalls(), 0);
    }
    EXPECT_LT(Resident(), before + kMostGrowth);
    ExpectAllWork();
}

// What each entry point makes of each status.
TEST_P(World, OfEveryStatus) {
    for (const int status : {201, 204, 301, 302, 401, 403, 404, 408, 413, 426, 429, 500, 503}) {
        const bool accepted[] = {status == 201, status == 201 && !Secure(), status == 204,
                                 status == 201 || status == 426, status == 201};
        for (std::size_t i = 0; i < EntryPoints().size(); ++i) {
            SCOPED_TRACE(std::string(EntryPoints()[i].name) + " " + std::to_string(status));
            server_.Otherwise([&](const Request &request) {
                return request.path == "/cloud/downfile/GW4567" ? Reply(200) : Reply(status);
            });
            const LogCapture log;
            Printed([&] { EXPECT_EQ(EntryPoints()[i].call(), accepted[i] ? 0 : -1); });
            EXPECT_EQ(Refusals(log).size(), accepted[i] ? 0U : 1U);
            pthread_mutex_lock(&down_file_mutex);  // until a download of a 426 has ended
            pthread_mutex_unlock(&down_file_mutex);
        }
    }
    ExpectAllWork();
}

TEST_P(World, WithoutADescriptorToSpare) {
    ExpectAllWork();
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlimit none{0, limit.rlim_max};
    for (const EntryPoint &entry : EntryPoints()) {
        SCOPED_TRACE(entry.name);
        const LogCapture log;
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
        const int result = entry.call();
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
        EXPECT_EQ(result, -1);
        int complaints = 0;
        for (const LogEntry &message : log.Text()) {
            complaints += message.level >= 4 ? 1 : 0;
        }
        EXPECT_GE(complaints, entry.name == std::string("PrePost") ? 1 : 0);
    }
    ExpectAllWork();
}

INSTANTIATE_TEST_SUITE_P(Over, World, testing::Values(Protocol::kHttp, Protocol::kHttps),
                         [](const auto &row) {
                             return row.param == Protocol::kHttp ? "Http" : "Https";
                         });

}  // namespace
}  // namespace corvenna::test
