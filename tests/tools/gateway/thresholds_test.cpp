#include "tools/gateway/thresholds.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace corvenna::test {
namespace {

using namespace gateway;

constexpr std::uint32_t kPoint = 0x01030000;
const std::map<std::string, std::uint32_t> kNames = {
    {"Load/Load 1 min", kPoint}, {"Odd/a>b", 0x01040000}, {"Pot/Level", 0xC0FFEE00}};

struct TextCase {
    const char *text;
    std::uint32_t point;
    AlarmType type;
    double limit;
};

class ThresholdTexts : public testing::TestWithParam<TextCase> {};

TEST_P(ThresholdTexts, AreUnderstood) {
    std::string error;
    const auto threshold = ParseThreshold(GetParam().text, kNames, error);
    ASSERT_TRUE(threshold) << error;
    EXPECT_EQ(threshold->point, GetParam().point);
    EXPECT_EQ(threshold->type, GetParam().type);
    EXPECT_EQ(threshold->limit, GetParam().limit);
}

INSTANTIATE_TEST_SUITE_P(All, ThresholdTexts,
                         testing::Values(TextCase{"Load/Load 1 min>4", kPoint, kAboveUpperLimit, 4},
                                         TextCase{" Load/Load 1 min < -2.5 ", kPoint,
                                                  kBelowLowerLimit, -2.5},
                                         TextCase{"01030000>1e3", kPoint, kAboveUpperLimit, 1000},
                                         TextCase{"c0ffee00<0", 0xC0FFEE00, kBelowLowerLimit, 0},
                                         TextCase{"Odd/a>b>7", 0x01040000, kAboveUpperLimit, 7}));

class BadThresholdTexts : public testing::TestWithParam<std::pair<const char *, const char *>> {};

TEST_P(BadThresholdTexts, AreRefusedWithAReason) {
    std::string error;
    EXPECT_FALSE(ParseThreshold(GetParam().first, kNames, error));
    EXPECT_THAT(error, testing::HasSubstr(GetParam().second));
}

INSTANTIATE_TEST_SUITE_P(All, BadThresholdTexts,
                         testing::Values(std::pair("Load/Load 1 min=4", "neither '>' nor '<'"),
                                         std::pair("Load/Load 2 min>4", "names no known point"),
                                         std::pair("0103000>4", "names no known point"),
                                         std::pair("0103000g>4", "names no known point"),
                                         std::pair("01030007>1", "names no known point"),
                                         std::pair("01030000>", "no number"),
                                         std::pair("01030000>4 V", "no number"),
                                         std::pair("01030000>nan", "no number"),
                                         std::pair("", "neither")));

Thresholds Above(double limit) {
    return Thresholds({{kPoint, kAboveUpperLimit, limit}});
}

TEST(Thresholds, RaiseOneAlarmWhenALimitIsCrossedAndOneWhenTheValueIsBack) {
    Thresholds thresholds = Above(10);
    EXPECT_TRUE(thresholds.Evaluate(1, {{kPoint, 10}}).empty());  // on the limit is good
    const auto begins = thresholds.Evaluate(2, {{kPoint, 10.5}});
    ASSERT_EQ(begins.size(), 1U);
    EXPECT_EQ(begins[0].alarmTime, 2);
    EXPECT_EQ(begins[0].dataId, kPoint);
    EXPECT_EQ(begins[0].thresholdValue, 10);
    EXPECT_EQ(begins[0].alarmValue, 10.5);
    EXPECT_EQ(begins[0].alarmType, kAboveUpperLimit);
    EXPECT_EQ(begins[0].alarmFlag, kAlarmBegins);
    EXPECT_EQ(thresholds.Active(), 1U);
    EXPECT_TRUE(thresholds.Evaluate(3, {{kPoint, 11}}).empty());
    const auto ends = thresholds.Evaluate(4, {{kPoint, 10}});
    ASSERT_EQ(ends.size(), 1U);
    EXPECT_EQ(ends[0].alarmFlag, kAlarmEnds);
    EXPECT_EQ(thresholds.Active(), 0U);
}

TEST(Thresholds, OfALowerLimitLookTheOtherWay) {
    Thresholds thresholds({{kPoint, kBelowLowerLimit, 10}});
    EXPECT_TRUE(thresholds.Evaluate(1, {{kPoint, 10}}).empty());
    EXPECT_EQ(thresholds.Evaluate(2, {{kPoint, 9.9}}).size(), 1U);
}

TEST(Thresholds, AreNotChangedByAPointThatWasNotRead) {
    Thresholds thresholds = Above(10);
    thresholds.Evaluate(1, {{kPoint, 11}});
    EXPECT_TRUE(thresholds.Evaluate(2, {}).empty());
    EXPECT_EQ(thresholds.Active(), 1U);
}

TEST(Thresholds, GoOnWhereAnEarlierProcessStopped) {
    History history("/tmp/history.db");
    Thresholds before = Above(10);
    history.AddSample(1, {}, before.Evaluate(1, {{kPoint, 11}}));
    Thresholds after = Above(10);
    after.Resume(history);
    EXPECT_TRUE(after.Evaluate(2, {{kPoint, 12}}).empty());
    history.AddSample(3, {}, after.Evaluate(3, {{kPoint, 9}}));
    after.Resume(history);
    EXPECT_EQ(after.Active(), 0U);
}

}  // namespace
}  // namespace corvenna::test
