// Clocks that jump while requests are under way, both ways: every entry point works before, during
// and after, and what is logged stands in the file of its day.

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iomanip>
#include <ostream>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "base/local_time.h"
#include "log/log_txt.h"
#include "packfile/data_files.h"
#include "tests/plugin/gateway.h"
#include "tests/plugin/world.h"
#include "tests/support/files.h"
#include "tests/support/set_clock.h"

namespace corvenna::test {
namespace {

constexpr char kZone[] = "CET-1CEST,M3.5.0,M10.5.0/3";

/// Two moments of local time; the second may be after or before.
struct Jump {
    const char *name;
    std::tm from;
    std::tm to;
};

void PrintTo(const Jump &jump, std::ostream *stream) {
    *stream << jump.name;
}

std::tm At(int year, int month, int day, int hour, int minute, int second, int summer = -1) {
    std::tm local{};
    local.tm_year = year - 1900;
    local.tm_mon = month - 1;
    local.tm_mday = day;
    local.tm_hour = hour;
    local.tm_min = minute;
    local.tm_sec = second;
    local.tm_isdst = summer;
    return local;
}

std::vector<Jump> Jumps() {
    std::vector<Jump> jumps = {
        {"ADay", At(2024, 3, 5, 7, 8, 9), At(2024, 3, 6, 7, 8, 9)},
        {"TenYears", At(2024, 3, 5, 7, 8, 9), At(2034, 3, 5, 7, 8, 9)},
        {"OverMidnight", At(2024, 3, 5, 23, 59, 59), At(2024, 3, 6, 0, 0, 0)},
        {"OverNewYear", At(2023, 12, 31, 23, 59, 59), At(2024, 1, 1, 0, 0, 0)},
        {"IntoTheLeapDay", At(2024, 2, 28, 23, 59, 59), At(2024, 2, 29, 0, 0, 0)},
        {"IntoSummerTime", At(2024, 3, 31, 1, 59, 59), At(2024, 3, 31, 3, 0, 0)},
        {"OutOfSummerTime", At(2024, 10, 27, 2, 59, 59, 1), At(2024, 10, 27, 2, 0, 0, 0)},
        {"OutOf1970", At(1970, 1, 1, 1, 0, 1), At(2024, 3, 5, 7, 8, 9)},
    };
    if (sizeof(std::time_t) > 4) {
        jumps.push_back({"Beyond2038", At(2024, 3, 5, 7, 8, 9), At(2038, 1, 19, 4, 14, 8)});
        jumps.push_back({"FarBeyond2038", At(2038, 1, 19, 4, 14, 7), At(2099, 12, 31, 23, 59, 59)});
    }
    return jumps;
}

/// The jump, and whether it goes back.
class ClockThatJumps : public testing::TestWithParam<std::tuple<Jump, bool>> {
protected:
    ClockThatJumps() {
        setenv("TZ", kZone, 1);
        tzset();
        std::tm from = std::get<Jump>(GetParam()).from;
        std::tm to = std::get<Jump>(GetParam()).to;
        from_ = std::mktime(&from);
        to_ = std::mktime(&to);
        if (std::get<bool>(GetParam())) {
            std::swap(from_, to_);
        }
    }

    /// Lets it jump in the middle of a request of each entry point.
    void ExpectNoHarm(Protocol protocol) const {
        const SetClock clock(from_);
        ScriptedServer server(protocol);
        Configure(server, {"json", protocol, false});
        WriteFile(kWorldFile, "content");
        ExpectAllWorkOn(server);
        for (const EntryPoint &entry : EntryPoints()) {
            SetClock::To(from_);
            server.Otherwise([this](const Request &request) {
                SetClock::To(to_);
                return WellAnswer(request);
            });
            EXPECT_EQ(entry.call(), 0) << entry.name;
        }
        ExpectAllWorkOn(server);
    }

    std::time_t from_ = 0;
    std::time_t to_ = 0;
};

TEST_P(ClockThatJumps, DuringARequestOverHttpHarmsNone) {
    ExpectNoHarm(Protocol::kHttp);
}

TEST_P(ClockThatJumps, DuringARequestOverHttpsHarmsNone) {
    ExpectNoHarm(Protocol::kHttps);
}

/// In local time and that form.
std::string TextOf(std::time_t time, const char *format) {
    std::ostringstream text;
    const std::tm local = LocalTime(time).value_or(std::tm{});
    text << std::put_time(&local, format);
    return text.str();
}

TEST_P(ClockThatJumps, LeavesTheLogInOrderInTheNewDaysFile) {
    const SetClock clock(from_);
    {
        CLogTxt sink;
        sink.InsertLog("INFO", "before");
        SetClock::To(to_);
        sink.InsertLog("INFO", "after");
    }
    const std::string text = ReadFile(TextOf(to_, "/tmp/CloudLog/%m%d_log.txt"));
    const std::size_t second = text.find(" before\n") + std::strlen(" before\n");
    EXPECT_EQ(text.find(TextOf(from_, "%Y-%m-%d %H:%M:%S")), 0U);
    EXPECT_EQ(text.find(TextOf(to_, "%Y-%m-%d %H:%M:%S"), second), second);
    EXPECT_NE(text.find(" logType:INFO\n after\n", second), std::string::npos);
}

TEST_P(ClockThatJumps, NamesAlarmFilesAfterTheNewTime) {
    ScriptedServer server;
    Configure(server);
    const SetClock clock(from_);
    char dir[] = "/tmp";
    std::vector<Alarm_Data_Para> alarms(1);
    std::vector<std::string> files;
    SetClock::To(to_);
    ASSERT_GE(CreateAlarmDataFile(&alarms, dir, &files), 0);
    ASSERT_EQ(files.size(), 1U);
    EXPECT_EQ(files[0].find(TextOf(to_, "/tmp/T%Y%m%d%H%M%S")), 0U) << files[0];
    EXPECT_NE(ReadFile(files[0]), "");
}

INSTANTIATE_TEST_SUITE_P(Over, ClockThatJumps,
                         testing::Combine(testing::ValuesIn(Jumps()), testing::Bool()),
                         [](const auto &row) {
                             return std::string(std::get<Jump>(row.param).name) +
                                    (std::get<bool>(row.param) ? "Back" : "");
                         });

TEST(ClockIn1970, BeforeAnyCertificateIsValidHarmsNothing) {
    ScriptedServer server(Protocol::kHttps);
    Configure(server, {"json", Protocol::kHttps, false});
    WriteFile(kWorldFile, "content");
    const SetClock clock(5);
    ExpectAllWorkOn(server);
}

}  // namespace
}  // namespace corvenna::test
