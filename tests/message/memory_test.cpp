// What the parsers do when memory is short, at each of their allocations: they give all that an
// answer holds, or nothing.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "log/log.h"
#include "tests/message/answers.h"
#include "tests/support/failing_allocations.h"

namespace {

int gErrors = 0;

}  // namespace

// Without memory, unlike those of tests/support.
extern "C" {
int __wrap_log_Text(int level, const char *format, ...);
int __wrap_log_DB(int level, const char *format, ...);

int __wrap_log_Text(int level, const char *, ...) {
    gErrors += level == kLogError ? 1 : 0;
    return 1;
}
int __wrap_log_DB(int, const char *, ...) {
    return 1;
}
}

namespace corvenna::test {
namespace {

class ParseWithoutMemory : public testing::TestWithParam<Failing> {
protected:
    /// parse() gives what was parsed into an empty result, or -1 and leaves it so.
    template <class Result, class Parse, class IsWhole, class IsEmpty>
    static void ExpectAllOrNothing(Parse parse, IsWhole isWhole, IsEmpty isEmpty) {
        CParseMemory parser;
        int result = 0;
        bool good = false;
        const auto attempt = [&] {
            gErrors = 0;
            Result parsed{};
            result = parse(parser, parsed);
            good = result >= 0 ? isWhole(parsed) && gErrors == 0 : isEmpty(parsed) && gErrors == 1;
        };
        attempt();
        ASSERT_TRUE(result >= 0 && good);
        ThrowOnce();
        const std::ptrdiff_t before = LiveBlocks();
        int failures = 0;
        int wrong = 0;
        int leaks = 0;
        int wrongAfterwards = 0;
        const std::size_t allocations = FailEachAllocation(
            GetParam(), [] {}, attempt,
            [&] {
                failures += result >= 0 ? 0 : 1;
                wrong += good ? 0 : 1;
                leaks += LiveBlocks() > before ? 1 : 0;
                attempt();
                wrongAfterwards += result >= 0 && good ? 0 : 1;
            });
        EXPECT_EQ(0, wrong);
        EXPECT_EQ(0, leaks);
        EXPECT_EQ(0, wrongAfterwards);
        EXPECT_GT(allocations, 5U);
        EXPECT_GT(failures, 5);
    }

    /// The first exception of a process makes what all later ones use.
    static void ThrowOnce() {
        try {
            throw std::bad_alloc();
        } catch (const std::bad_alloc &) {
        }
    }

    template <auto Operation, class Record>
    static void ExpectWholeListOrNothing(const char *format, const std::string &answer,
                                         std::size_t entries) {
        ExpectAllOrNothing<std::vector<Record>>(
            [&](CParseMemory &parser, std::vector<Record> &list) {
                return (parser.*Operation)(format, answer.c_str(), static_cast<int>(answer.size()),
                                           &list);
            },
            [entries](const std::vector<Record> &list) { return list.size() == entries; },
            [](const std::vector<Record> &list) { return list.empty(); });
    }
};

TEST_P(ParseWithoutMemory, DescribesTheWholeGatewayOrNothing) {
    const std::string answer =
        "<!DOCTYPE data [<!ENTITY n 'a name that is longer than what a string holds itself'>]>"
        "<data><gw name='G' ver='&n;'><site name='S'/><room name='&n;'/></gw></data>";
    ExpectAllOrNothing<ST_GATEWAY_INFO>(
        [&](CParseMemory &parser, ST_GATEWAY_INFO &info) {
            return parser.ParseGateWayInfoFromMemory("xml", answer.c_str(),
                                                     static_cast<int>(answer.size()), &info);
        },
        [](const ST_GATEWAY_INFO &info) {
            return info.gateWayName[0] != '\0' && info.version[0] != '\0' &&
                   info.stationName[0] != '\0' && info.roomName[0] != '\0';
        },
        [](const ST_GATEWAY_INFO &info) {
            const ST_GATEWAY_INFO empty{};
            return std::memcmp(&info, &empty, sizeof empty) == 0;
        });
}

TEST_P(ParseWithoutMemory, ListsAllDevicesOrNone) {
    const char *const kXml =
        "<data><device channel='1' id='2' name='n' desc='d'/><device channel='2' id='3'/></data>";
    ExpectWholeListOrNothing<&CParseMemory::ParseDevicesInfoFromMemory, ST_DEVICE_INFO>("xml", kXml,
                                                                                        2);
    const char *const kJson = R"({"device":[{"channel":1,"id":2,"name":"n","desc":"d"},)"
                              R"({"channel":2,"id":3,"name":"n","desc":"d"}]})";
    ExpectWholeListOrNothing<&CParseMemory::ParseDevicesInfoFromMemory, ST_DEVICE_INFO>("json",
                                                                                        kJson, 2);
}

TEST_P(ParseWithoutMemory, ListsAllOffersOrNone) {
    const char *const kXml =
        "<data><node file='f' md5='m' type='1' path='p'/><node file='g' md5='n'/></data>";
    ExpectWholeListOrNothing<&CParseMemory::ParseDownFileFromMemory, down_file_para>("xml", kXml,
                                                                                     2);
}

TEST_P(ParseWithoutMemory, ListsAllRangesOrNone) {
    const char *const kXml =
        "<data><node startdt='2024-03-05 00:00:00' enddt='2024-03-05 01:00:00'/><node/></data>";
    ExpectWholeListOrNothing<&CParseMemory::ParseRecallTimeFromMemory, recall_time_para>("xml",
                                                                                         kXml, 2);
}

INSTANTIATE_TEST_SUITE_P(Allocations, ParseWithoutMemory,
                         testing::Values(Failing::kOne, Failing::kFromThereOn),
                         [](const auto &failing) {
                             return failing.param == Failing::kOne ? "One" : "FromThereOn";
                         });

}  // namespace
}  // namespace corvenna::test
