// The heap of a host whose threads make XML files and parse answers side by side for years.

#include <gtest/gtest.h>

#include <array>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <future>
#include <mutex>
#include <string>
#include <vector>

#include "message/parse_memory.h"
#include "packfile/packfile.h"
#include "tests/packfile/packing.h"
#include "tests/support/failing_allocations.h"
#include "tests/support/files.h"

// Nothing is kept of messages and pauses.
extern "C" int __wrap_log_Text(int, const char *, ...) {
    return 1;
}
extern "C" int __wrap_usleep(unsigned) {
    return 0;
}

namespace corvenna::test {
namespace {

constexpr std::size_t kRounds = 50;

class XmlHeap : public testing::Test {
protected:
    XmlHeap() {
        Configure("xml");
        AddPoint(0x02010001, "Ua", "V");
        values_ = {{0x02010001, 229.87}, {0x02010100, 1}};
        alarms_ = {{1, 0x02010001, 2, 1, 3, 4}};
        WriteFile("/tmp/a/empty", "");
        WriteFile("/tmp/b/empty", "");
    }

    void MakeRealData() {
        std::vector<std::string> files;
        char dir[] = "/tmp/a";
        EXPECT_LT(0, GetCPackFileInstance()->CreateRealDataXmlFile(&values_, dir, &files,
                                                                   kSampleTime, 0));
    }

    void MakeAlarmData() {
        std::vector<std::string> files;
        char dir[] = "/tmp/b";
        EXPECT_LT(0, GetCPackFileInstance()->CreateAlarmDataXmlFile(&alarms_, dir, &files));
    }

    static void ParseAnswer() {
        const std::string answer = "<data><device channel='2' id='1'/></data>";
        CParseMemory parser;
        std::vector<ST_DEVICE_INFO> devices;
        EXPECT_EQ(0, parser.ParseDevicesInfoFromMemory("xml", answer.c_str(),
                                                       static_cast<int>(answer.size()), &devices));
    }

    Real_Data_Struct values_;
    Alarm_Data_Struct alarms_;
};

/// A thread of the host that lives through all rounds and does one thing in each.
class Worker {
public:
    explicit Worker(const std::function<void()> &work)
        : thread_(std::async(std::launch::async, [this, work] {
              while (Next()) {
                  work();
                  Done();
              }
          })) {}
    ~Worker() {
        Tell(State::kEnd);
        thread_.wait();
    }

    void Start() { Tell(State::kWork); }
    void Wait() {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [this] { return state_ == State::kIdle; });
    }

private:
    enum class State { kIdle, kWork, kEnd };

    bool Next() {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [this] { return state_ != State::kIdle; });
        return state_ == State::kWork;
    }
    void Done() { Tell(State::kIdle); }
    void Tell(State state) {
        const std::lock_guard<std::mutex> lock(mutex_);
        state_ = state;
        changed_.notify_all();
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    State state_ = State::kIdle;
    std::future<void> thread_;
};

TEST_F(XmlHeap, DoesNotGrowWithTheFilesThatSeveralThreadsMake) {
    Worker realData([this] { MakeRealData(); });
    Worker alarms([this] { MakeAlarmData(); });
    Worker answers(ParseAnswer);
    std::array<std::ptrdiff_t, kRounds> blocks{};
    for (std::ptrdiff_t &now : blocks) {
        for (Worker *worker : {&realData, &alarms, &answers}) {
            worker->Start();
        }
        for (Worker *worker : {&realData, &alarms, &answers}) {
            worker->Wait();
        }
        ParseAnswer();
        now = LiveBlocks();
    }
    EXPECT_EQ(blocks[kRounds / 2], blocks.back());
}

}  // namespace
}  // namespace corvenna::test
