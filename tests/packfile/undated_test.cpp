// Times that the C library cannot break down. Where a time has 32 bits there are none, so the test
// decides which ones they are.

#include <gtest/gtest.h>

#include <ctime>
#include <functional>
#include <string>
#include <vector>

#include "tests/packfile/packing.h"
#include "tests/support/files.h"

namespace {

std::function<bool(std::time_t)> gHasNoDate;

}  // namespace

extern "C" {

std::tm *__real_localtime_r(const std::time_t *time, std::tm *result);

std::tm *__wrap_localtime_r(const std::time_t *time, std::tm *result) {
    return gHasNoDate && gHasNoDate(*time) ? nullptr : __real_localtime_r(time, result);
}
}

namespace corvenna::test {
namespace {

constexpr std::int32_t kUndated = 5;

class Undated : public EveryFormat {
protected:
    Undated() { Configure(GetParam()); }
    ~Undated() override { gHasNoDate = nullptr; }

    static std::string Between(const std::string &text, const std::string &start, char end) {
        const std::size_t from = text.find(start) + start.size();
        return text.substr(from, text.find(end, from) - from);
    }

    void ExpectNothingButAnError(std::int32_t result) {
        EXPECT_EQ(result, -1);
        EXPECT_TRUE(files_.empty());
        EXPECT_TRUE(ListFolder(dir_).empty());
        ASSERT_EQ(log_.Text().size(), 1U);
        EXPECT_EQ(log_.Text()[0].level, 5);
    }
};

INSTANTIATE_TEST_SUITE_P(Formats, Undated, testing::Values("json", "xml"), FormatName);

TEST_P(Undated, SampleTimeIsAnErrorWithoutAFile) {
    gHasNoDate = [](std::time_t time) { return time == kSampleTime; };
    ExpectNothingButAnError(CreateRealData());
    EXPECT_TRUE(pauses_.Microseconds().empty());
}

TEST_P(Undated, AlarmTimeIsEmptyNotThatOfTheEventBefore) {
    gHasNoDate = [](std::time_t time) { return time == kUndated; };
    alarms_ = {{0, 1, 0, 0, 11, 0}, {kUndated, 2, 0, 0, 22, 0}, {1, 3, 0, 0, 33, 0}};
    const std::string text = AlarmDataText();
    const std::string logdt = ByFormat("\"logdt\":\"", "logdt=\"");
    std::vector<std::string> times;
    for (auto at = text.find(logdt); at != std::string::npos; at = text.find(logdt, at + 1)) {
        times.push_back(Between(text.substr(at), logdt, '"'));
    }
    EXPECT_EQ(times, (std::vector<std::string>{"1970-01-01 00:00:00", "", "1970-01-01 00:00:01"}));
}

TEST_P(Undated, MomentOfWritingIsAnErrorWithoutAFile) {
    alarms_ = {{0, 1, 0, 0, 11, 0}};
    gHasNoDate = [](std::time_t time) { return time != 0; };
    ExpectNothingButAnError(CreateAlarmData());
}

}  // namespace
}  // namespace corvenna::test
