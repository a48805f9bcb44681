#include "tools/gateway/history.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "tests/support/files.h"
#include "tools/gateway/thresholds.h"

namespace corvenna::test {
namespace {

using namespace gateway;
using std::chrono::seconds;

constexpr const char *kPath = "/tmp/history.db";

Alarm AlarmAt(std::time_t time, std::int32_t flag = kAlarmBegins) {
    Alarm alarm{};
    alarm.alarmTime = static_cast<std::int32_t>(time);
    alarm.dataId = 0x01020000;
    alarm.thresholdValue = 250;
    alarm.alarmValue = 253.125;
    alarm.alarmType = kAboveUpperLimit;
    alarm.alarmFlag = flag;
    return alarm;
}

using Times = std::vector<std::time_t>;

TEST(History, KeepsASampleAcrossAKill) {
    const Values values = {{0x01020000, 229.87}, {0xFFFFF0FF, -1}};
    // No orderly end: the object is never destroyed.
    auto *killed = new History(kPath);
    EXPECT_TRUE(killed->AddSample(100, values, {}));
    std::filesystem::copy("/tmp", "/tmp/copy");
    delete killed;
    const History history("/tmp/copy/history.db");
    EXPECT_EQ(history.Sample(100), values);
    EXPECT_EQ(history.Waiting(Kind::kRealData), Times{100});
}

TEST(History, HasOneSampleASecond) {
    History history(kPath);
    EXPECT_TRUE(history.AddSample(100, {{1, 1}}, {AlarmAt(100)}));
    EXPECT_FALSE(history.AddSample(100, {{1, 2}}, {AlarmAt(100)}));
    EXPECT_EQ(history.Sample(100), (Values{{1, 1}}));
    history.MakeAlarmBatch(5);
    EXPECT_EQ(history.AlarmBatch(5).size(), 1U);
}

TEST(History, KnowsNothingOfASampleThatIsNotThere) {
    const History history(kPath);
    EXPECT_FALSE(history.Sample(100));
    EXPECT_FALSE(history.HasSample(100));
}

TEST(History, GivesAValueThatIsNoNumberAsNotRead) {
    History history(kPath);
    history.AddSample(100, {{1, std::nan("")}}, {});
    EXPECT_EQ(history.Sample(100), (Values{{1, -1}}));
}

TEST(History, ListsWaitingSamplesOldestFirstUntilTheyArrive) {
    History history(kPath);
    for (const std::time_t time : {300, 100, 200}) {
        history.AddSample(time, {}, {});
    }
    EXPECT_EQ(history.Waiting(Kind::kRealData), (Times{100, 200, 300}));
    history.SetState(Kind::kRealData, 200, State::kArrived);
    history.SetState(Kind::kRealData, 100, State::kDropped);
    EXPECT_EQ(history.Waiting(Kind::kRealData), Times{300});
    EXPECT_TRUE(history.IsWaiting(Kind::kRealData, 300));
    EXPECT_FALSE(history.IsWaiting(Kind::kRealData, 200));
    EXPECT_EQ(history.CountWaiting(Kind::kRealData), 1);
    EXPECT_EQ(history.CountWaiting(Kind::kAlarm), 0);
    EXPECT_EQ(history.Count(Kind::kRealData, State::kArrived), 1);
    EXPECT_EQ(history.Count(Kind::kRealData, State::kDropped), 1);
}

TEST(History, FindsSamplesOfARangeBothEndsIncluded) {
    History history(kPath);
    for (const std::time_t time : {99, 100, 150, 200, 201}) {
        history.AddSample(time, {}, {});
    }
    EXPECT_EQ(history.SamplesBetween(100, 200, 10), (Times{100, 150, 200}));
    EXPECT_EQ(history.SamplesBetween(100, 200, 2), (Times{100, 150}));
    EXPECT_EQ(history.SamplesBetween(200, 100, 10), Times{});
}

TEST(HistoryAlarms, AreBatchedOnceInTheirOrder) {
    History history(kPath);
    EXPECT_FALSE(history.MakeAlarmBatch(50));
    history.AddSample(100, {}, {AlarmAt(100), AlarmAt(100, kAlarmEnds)});
    EXPECT_EQ(history.MakeAlarmBatch(50), 50);
    EXPECT_FALSE(history.MakeAlarmBatch(51));
    EXPECT_EQ(history.Waiting(Kind::kAlarm), Times{50});
    const auto alarms = history.AlarmBatch(50);
    ASSERT_EQ(alarms.size(), 2U);
    EXPECT_EQ(alarms[0].alarmTime, 100);
    EXPECT_EQ(alarms[0].dataId, 0x01020000U);
    EXPECT_EQ(alarms[0].thresholdValue, 250);
    EXPECT_EQ(alarms[0].alarmValue, 253.125);
    EXPECT_EQ(alarms[0].alarmType, kAboveUpperLimit);
    EXPECT_EQ(alarms[0].alarmFlag, kAlarmBegins);
    EXPECT_EQ(alarms[1].alarmFlag, kAlarmEnds);
}

TEST(HistoryAlarms, GetALaterNameWhenTheSecondIsTaken) {
    History history(kPath);
    history.AddSample(100, {}, {AlarmAt(100)});
    EXPECT_EQ(history.MakeAlarmBatch(50), 50);
    history.AddSample(101, {}, {AlarmAt(101)});
    EXPECT_EQ(history.MakeAlarmBatch(50), 51);
}

TEST(HistoryAlarms, TellTheLastFlagOfAPointAndType) {
    History history(kPath);
    EXPECT_FALSE(history.LastAlarmFlag(0x01020000, kAboveUpperLimit));
    history.AddSample(100, {}, {AlarmAt(100)});
    EXPECT_EQ(history.LastAlarmFlag(0x01020000, kAboveUpperLimit), kAlarmBegins);
    EXPECT_FALSE(history.LastAlarmFlag(0x01020000, kBelowLowerLimit));
    history.AddSample(101, {}, {AlarmAt(101, kAlarmEnds)});
    EXPECT_EQ(history.LastAlarmFlag(0x01020000, kAboveUpperLimit), kAlarmEnds);
}

TEST(HistoryRecalls, RememberHowFarARangeWasServed) {
    const Range range{100, 200};
    {
        History history(kPath);
        EXPECT_FALSE(history.Served(range));
        history.SetServed(range, 150);
    }
    History history(kPath);
    EXPECT_EQ(history.Served(range), 150);
    EXPECT_FALSE(history.Served({100, 201}));
    ASSERT_EQ(history.RangesBegun().size(), 1U);
    EXPECT_EQ(history.RangesBegun()[0].end, 200);
    history.ForgetServed(range);
    EXPECT_FALSE(history.Served(range));
}

TEST(HistoryRecalls, RememberWhatWasMissedOfARange) {
    History history("/tmp/history.db");
    const Range range{100, 300};
    history.SetServed(range, 301);
    history.SetMissed(range, 200);
    history.SetMissed(range, 100);
    history.SetMissed(range, 200);
    history.SetMissed({100, 400}, 150);
    EXPECT_EQ(history.Missed(range), (std::vector<std::time_t>{100, 200}));
    history.ForgetMissed(range, 100);
    EXPECT_EQ(history.Missed(range), (std::vector<std::time_t>{200}));
    history.ForgetServed(range);
    EXPECT_TRUE(history.Missed(range).empty());
    EXPECT_EQ(history.Missed({100, 400}), (std::vector<std::time_t>{150}));
}

/// A history whose clock is in the test's hands.
class HistoryAge : public testing::Test {
protected:
    History Open() {
        return History(kPath, [this] { return now; });
    }
    Clock::time_point now{};
};

TEST_F(HistoryAge, PruningRemovesOldSamplesExceptThoseThatWait) {
    History history = Open();
    for (const std::time_t time : {100, 101, 102}) {
        history.AddSample(time, {{1, 1}}, {AlarmAt(time)}, {{"Meter/Uc", 1}});
        now += seconds(1);
    }
    history.MakeAlarmBatch(100);
    history.SetState(Kind::kRealData, 101, State::kArrived);
    history.SetState(Kind::kRealData, 102, State::kArrived);
    EXPECT_EQ(history.Prune(seconds(1)), 1);
    EXPECT_TRUE(history.HasSample(100));  // still waiting
    EXPECT_FALSE(history.HasSample(101));
    EXPECT_TRUE(history.HasSample(102));  // not older
    EXPECT_EQ(history.AlarmBatch(100).size(), 3U);
    history.SetState(Kind::kAlarm, 100, State::kArrived);
    now += seconds(2);
    history.Prune(seconds(1));
    EXPECT_TRUE(history.AlarmBatch(100).empty());
}

TEST_F(HistoryAge, IsNotTheTimeOfDay) {
    History history = Open();
    history.AddSample(1700000000, {}, {});
    history.AddSample(1700000000 + 100 * 86400, {}, {});  // the clock has jumped
    history.AddSample(1700000060, {}, {});                // and come back
    now += seconds(60);
    EXPECT_TRUE(history.Expired(Kind::kRealData, seconds(60)).empty());
    EXPECT_EQ(history.Expired(Kind::kRealData, seconds(59)).size(), 3U);
    history.SetState(Kind::kRealData, 1700000000, State::kDropped);
    EXPECT_EQ(history.Prune(seconds(60)), 0);
}

TEST_F(HistoryAge, GoesOnInTheNextProcess) {
    {
        History history = Open();
        history.AddSample(100, {}, {});
        now += seconds(50);
        history.AddSample(150, {}, {});
    }
    now = Clock::time_point(seconds(7));  // of a machine that was started anew
    History history = Open();
    EXPECT_TRUE(history.Expired(Kind::kRealData, seconds(50)).empty());
    now += seconds(1);
    EXPECT_EQ(history.Expired(Kind::kRealData, seconds(50)), std::vector<std::time_t>{100});
}

TEST_F(HistoryAge, BeginsForSamplesOfAnEarlierVersionWhenItIsOpened) {
    {
        SQLite::Database database(kPath, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
        database.exec("CREATE TABLE sample (time INTEGER PRIMARY KEY, state INTEGER NOT NULL)");
        database.exec("CREATE TABLE batch (time INTEGER PRIMARY KEY, state INTEGER NOT NULL)");
        database.exec("INSERT INTO sample VALUES (100, 0)");
    }
    History history = Open();
    EXPECT_TRUE(history.IsWaiting(Kind::kRealData, 100));
    now += seconds(11);
    EXPECT_TRUE(history.Expired(Kind::kRealData, seconds(11)).empty());
    EXPECT_EQ(history.Expired(Kind::kRealData, seconds(10)).size(), 1U);
}

TEST(History, ThrowsWhenItsFileIsNoDatabase) {
    WriteFile(kPath, std::string(4096, 'x'));
    EXPECT_THAT([] { History history(kPath); },
                testing::ThrowsMessage<std::runtime_error>(testing::AllOf(
                    testing::HasSubstr(std::string(kPath) + " is damaged (file is not "
                                                            "a database)"),
                    testing::HasSubstr("move " + std::string(kPath) + "* aside"))));
}

TEST(History, ThrowsWhenItsFolderIsMissing) {
    EXPECT_THROW(History history("/tmp/nowhere/history.db"), std::runtime_error);
}

}  // namespace
}  // namespace corvenna::test
