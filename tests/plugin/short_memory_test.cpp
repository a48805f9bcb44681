// Every allocation of every entry point fails once, ours and those that libraries make on our
// behalf: alone, and with all that follow. Each call then ends as its contract says, sends what it
// always sends or fails, and the next one works.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/stat.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <tuple>
#include <vector>

#include "plugin/download.h"
#include "plugin/plugin.h"
#include "tests/plugin/gateway.h"
#include "tests/plugin/silent_log.h"
#include "tests/support/failing_allocations.h"
#include "tests/support/files.h"

namespace corvenna::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kContent[] = "content of a file";

/// What of a request must never differ: not the time, not the cookies.
std::string Essence(const Request &request) {
    std::string essence = request.line + "\n";
    for (const char *name :
         {"Accept", "Content-Type", "Content-Encoding", "Expect", "Authorization", "Range"}) {
        essence += std::string(name) + ":" + request.Header(name) + "\n";
    }
    const bool deflated = request.Header("Content-Encoding") == "deflate";
    return essence + (deflated ? Inflated(request.body) : request.body);
}

/// A cloud that takes everything, and notes it.
class Cloud {
public:
    explicit Cloud(const Wire &wire) : server_(wire.protocol) {
        Configure(server_, wire);
        recalls_ = wire.format == "json"
                       ? R"({"node":[{"startdt":"1970-01-01 00:00:00","enddt":""}]})"
                       : R"(<data><node startdt="1970-01-01 00:00:00" enddt=""/></data>)";
        offers_ = OfferList({{"a/b", Md5Of(kContent), 9, "/tmp/x"}}, wire.format);
        server_.Otherwise([this](const Request &request) {
            const std::lock_guard<std::mutex> lock(mutex_);
            seen_.push_back(Essence(request));
            return AnswerTo(request);
        });
    }

    /// The requests since the last call, those included whose sender did not wait for the answer.
    std::vector<std::string> TakeSeen() {
        server_.AwaitRest();
        const std::lock_guard<std::mutex> lock(mutex_);
        return std::exchange(seen_, {});
    }

private:
    Answer AnswerTo(const Request &request) const {
        if (request.path == "/cloud/calldata/GW4567") {
            return request.method == "GET" ? Reply(200, recalls_) : Reply(204);
        }
        if (request.method != "GET") {
            return Reply(200, "taken");
        }
        return request.path == "/cloud/downfile/GW4567" ? Reply(200, offers_) : ReplyFile(kContent);
    }

    std::string recalls_;
    std::string offers_;
    std::mutex mutex_;
    std::vector<std::string> seen_;
    ScriptedServer server_;
};

int Download() {
    EXPECT_EQ(pthread_mutex_trylock(&down_file_mutex), 0) << "the mutex must be free again";
    DownFile(nullptr);
    return 0;
}

int CheckOneRecall() {
    static std::vector<recall_time_para> ranges;
    ranges.clear();
    ranges.shrink_to_fit();
    const int result = CheckRecall(&ranges);
    return result == 0 && ranges.size() != 1 ? 1 : result;
}

/// And those requests that report a digest mismatch, for a file that was not fetched whole.
std::vector<std::string> WithMismatches(std::vector<std::string> requests) {
    for (std::string request : std::vector<std::string>(requests)) {
        for (const char *done : {R"("status":"2")", R"(status="2")"}) {
            const std::size_t at = request.find(done);
            if (at != std::string::npos) {
                requests.push_back(request.replace(request.find('2', at), 1, "0"));
            }
        }
    }
    return requests;
}

struct EntryPoint {
    const char *name;
    int (*call)();
    bool checked;  ///< 0 means that everything was sent
};

const EntryPoint kEntryPoints[] = {
    {"PrePost", PrePost, true},
    {"CheckRecall", CheckOneRecall, true},
    {"DeleteRecall",
     [] {
         recall_time_para range{0, 3600};
         return DeleteRecall(&range);
     },
     true},
    {"UploadRealDataFile",
     [] {
         char path[] = "/tmp/S.jsonxml";
         return UploadRealDataFile(path);
     },
     true},
    {"UploadAlarmDataFile", [] { return UploadAlarmDataFile("/tmp/S.jsonxml"); }, true},
    {"DownFile", Download, false},
};

/// How many allocations of a call fail, one after the other. Over HTTPS, those until the connection
/// stands: the thousands that follow are of the TLS library's own making, and what it does without
/// them may only end at the time-out.
std::size_t MostFailures(Protocol protocol) {
    return protocol == Protocol::kHttp ? 5000 : 100;
}

class ShortMemory : public testing::TestWithParam<std::tuple<Wire, EntryPoint>> {
protected:
    void SetUp() override {
        WriteFile("/tmp/S.jsonxml", kContent);
        ASSERT_EQ(mkdir("/tmp/x", 0755), 0);
    }

    /// Fails one allocation after the other. @return how many were tried.
    static std::size_t Sweep(Cloud &cloud, const EntryPoint &entry, Failing failing,
                             std::size_t most) {
        static_cast<void>(cloud.TakeSeen());
        EXPECT_EQ(entry.call(), 0);
        const std::vector<std::string> whole = cloud.TakeSeen();
        const std::vector<std::string> allowed = WithMismatches(whole);
        for (std::size_t number = 1; number <= most; ++number) {
            int result = 1;
            bool happened = false;
            gComplaints = 0;
            {
                const FailingAllocations failure(number, failing);
                result = entry.call();
                happened = failure.Happened();
            }
            const std::vector<std::string> seen = cloud.TakeSeen();
            EXPECT_TRUE(result == 0 || result == -1) << number << " gave " << result;
            if (entry.checked && result == 0) {
                EXPECT_EQ(seen, whole) << number;
            }
            for (const std::string &request : seen) {
                EXPECT_THAT(allowed, testing::Contains(request)) << number;
            }
            EXPECT_THAT(ListFolder("/media/mmcblk0p1"), IsEmpty()) << number;
            if (!happened) {
                EXPECT_EQ(result, 0);
                return number - 1;
            }
        }
        return most;
    }
};

TEST_P(ShortMemory, IsAFailedCallOrAWholeOne) {
    const auto &[wire, entry] = GetParam();
    const std::size_t most = MostFailures(wire.protocol);
    std::size_t tried = 0;
    {
        Cloud cloud(wire);
        EXPECT_EQ(entry.call(), 0);
        tried += Sweep(cloud, entry, Failing::kOne, most);
    }
    const std::ptrdiff_t before = LiveBlocks();
    {
        Cloud cloud(wire);
        tried += Sweep(cloud, entry, Failing::kFromThereOn, most);
    }
    std::printf("%zu failed allocations, %td blocks kept\n", tried, LiveBlocks() - before);
}

std::vector<Wire> Wires() {
    std::vector<Wire> wires = AllWires();
    wires.push_back({"json", Protocol::kHttp, true});
    wires.push_back({"xml", Protocol::kHttp, true});
    return wires;
}

INSTANTIATE_TEST_SUITE_P(
    Of, ShortMemory, testing::Combine(testing::ValuesIn(Wires()), testing::ValuesIn(kEntryPoints)),
    [](const auto &row) { return NameOf(std::get<0>(row.param)) + std::get<1>(row.param).name; });

}  // namespace
}  // namespace corvenna::test
