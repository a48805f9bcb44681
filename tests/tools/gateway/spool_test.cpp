#include "tools/gateway/spool.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/files.h"

namespace corvenna::test {
namespace {

using namespace gateway;
using std::chrono::milliseconds;

constexpr const char *kFolder = "/tmp/spool";
constexpr Clock::time_point kNow{std::chrono::hours(1)};

Spool::Limits Wide() {
    return {1000000, milliseconds(100), milliseconds(1600)};
}

void Put(Spool &spool, std::time_t time, Kind kind = Kind::kRealData,
         const std::string &content = "0123456789") {
    const std::string path =
        spool.WorkFolder("test") + (kind == Kind::kRealData ? "/S20240305070809.json" : "/T1.json");
    WriteFile(path, content);
    spool.Put(kind, time, path);
}

std::vector<std::time_t> ClaimAllDue(Spool &spool, Clock::time_point now) {
    std::vector<std::time_t> times;
    while (const auto file = spool.ClaimDue(now)) {
        times.push_back(file->time);
    }
    return times;
}

TEST(Spool, MovesAProducedFileInUnderItsTime) {
    Spool spool(kFolder, Wide());
    Put(spool, 1700000000);
    EXPECT_EQ(ReadFile("/tmp/spool/1700000000-S20240305070809.json"), "0123456789");
    EXPECT_TRUE(ListFolder(spool.WorkFolder("test")).empty());
    EXPECT_TRUE(spool.Has(Kind::kRealData, 1700000000));
    EXPECT_FALSE(spool.Has(Kind::kAlarm, 1700000000));
    EXPECT_EQ(spool.Count(), 1U);
    EXPECT_EQ(spool.Bytes(), 10U);
}

TEST(Spool, GivesTheOldestFileFirst) {
    Spool spool(kFolder, Wide());
    Put(spool, 300);
    Put(spool, 100);
    Put(spool, 200, Kind::kAlarm);
    EXPECT_EQ(ClaimAllDue(spool, kNow), (std::vector<std::time_t>{100, 200, 300}));
}

TEST(Spool, GivesAClaimedFileToNobodyElse) {
    Spool spool(kFolder, Wide());
    Put(spool, 100);
    const auto file = spool.ClaimDue(kNow);
    ASSERT_TRUE(file);
    EXPECT_FALSE(spool.ClaimDue(kNow));
    EXPECT_FALSE(spool.Claim(Kind::kRealData, 100));
    spool.Release(*file);
    EXPECT_TRUE(spool.Claim(Kind::kRealData, 100));
}

TEST(Spool, DeletesAFileThatArrived) {
    Spool spool(kFolder, Wide());
    Put(spool, 100);
    spool.Remove(*spool.ClaimDue(kNow));
    EXPECT_EQ(spool.Count(), 0U);
    EXPECT_EQ(spool.Bytes(), 0U);
    EXPECT_FALSE(std::filesystem::exists("/tmp/spool/100-S20240305070809.json"));
}

TEST(Spool, GivesTheNewestFileFirstWhenItIsAskedTo) {
    Spool::Limits limits = Wide();
    limits.newestFirst = true;
    Spool spool(kFolder, limits);
    Put(spool, 100);
    Put(spool, 300);
    Put(spool, 200);
    EXPECT_EQ(ClaimAllDue(spool, kNow), (std::vector<std::time_t>{300, 200, 100}));
}

TEST(Spool, WaitsTwiceAsLongAfterEachFailureUpToALimit) {
    Spool spool(kFolder, Wide());
    Put(spool, 100);
    Clock::time_point now = kNow;
    int failures = 0;
    for (const int wait : {100, 200, 400, 800, 1600, 1600}) {
        const auto file = spool.ClaimDue(now);
        ASSERT_TRUE(file) << wait;
        const Spool::Retry retry = spool.Failed(*file, now);
        EXPECT_EQ(retry.failures, ++failures);
        EXPECT_EQ(retry.wait, milliseconds(wait));
        EXPECT_FALSE(spool.ClaimDue(now + milliseconds(wait - 1))) << wait;
        now += milliseconds(wait);
    }
    EXPECT_TRUE(spool.ClaimDue(now));
}

TEST(Spool, OneBadFileDoesNotHoldUpTheOthers) {
    Spool spool(kFolder, Wide());
    Put(spool, 100);
    Put(spool, 200);
    Put(spool, 300);
    spool.Failed(*spool.ClaimDue(kNow), kNow);
    EXPECT_EQ(ClaimAllDue(spool, kNow), (std::vector<std::time_t>{200, 300}));
}

TEST(Spool, EndsAllWaitsWhenTheServerIsBack) {
    Spool spool(kFolder, Wide());
    Put(spool, 100);
    spool.Failed(*spool.ClaimDue(kNow), kNow);
    ASSERT_FALSE(spool.ClaimDue(kNow));
    spool.EndWaits();
    EXPECT_TRUE(spool.ClaimDue(kNow));
}

TEST(Spool, ReplacesAFileThatIsMadeAnewAndKeepsItsWait) {
    Spool spool(kFolder, Wide());
    Put(spool, 100);
    spool.Failed(*spool.ClaimDue(kNow), kNow);
    Put(spool, 100, Kind::kRealData, "new");
    EXPECT_EQ(spool.Count(), 1U);
    EXPECT_EQ(spool.Bytes(), 3U);
    EXPECT_FALSE(spool.ClaimDue(kNow));
    EXPECT_EQ(ReadFile(spool.ClaimDue(kNow + milliseconds(1000))->path), "new");
}

TEST(Spool, ReplacesAFileOfAnotherFormat) {
    Spool spool(kFolder, Wide());
    Put(spool, 100);
    const std::string path = spool.WorkFolder("test") + "/S20240305070809.xmlz";
    WriteFile(path, "x");
    spool.Put(Kind::kRealData, 100, path);
    EXPECT_EQ(ListFolder(kFolder),
              (std::vector<std::string>{".work-test", "100-S20240305070809.xmlz"}));
}

TEST(Spool, FindsItsFilesAgainAfterAKill) {
    {
        Spool spool(kFolder, Wide());
        Put(spool, 200);
        Put(spool, 100, Kind::kAlarm);
        spool.Failed(*spool.ClaimDue(kNow), kNow);
    }
    Spool spool(kFolder, Wide());
    EXPECT_EQ(spool.Bytes(), 20U);
    const auto first = spool.ClaimDue(kNow);
    ASSERT_TRUE(first);
    EXPECT_EQ(first->kind, Kind::kAlarm);
    EXPECT_EQ(first->time, 100);
    EXPECT_EQ(spool.ClaimDue(kNow)->time, 200);
}

TEST(Spool, RemovesUnfinishedFilesOfAKilledProcess) {
    WriteFile("/tmp/spool/.work-sample/S20240305070809.json", "{\"logdt\":");
    const Spool spool(kFolder, Wide());
    EXPECT_TRUE(ListFolder(kFolder).empty());
}

TEST(Spool, LeavesFilesOfOthersAlone) {
    for (const char *name :
         {"notes.txt", "S20240305070809.json", "100-X.json", "100S.json", "-S"}) {
        WriteFile(std::string(kFolder) + "/" + name, "x");
    }
    Spool spool(kFolder, {0, milliseconds(1), milliseconds(1)});
    EXPECT_EQ(spool.Count(), 0U);
    EXPECT_TRUE(spool.DropExcess().empty());
    EXPECT_EQ(ListFolder(kFolder).size(), 5U);
}

TEST(SpoolLimits, ByBytesDropTheOldestFirst) {
    Spool spool(kFolder, {20, milliseconds(1), milliseconds(1)});
    Put(spool, 100);
    Put(spool, 200);
    EXPECT_TRUE(spool.DropExcess().empty());  // exactly at the limit
    Put(spool, 300);
    const auto dropped = spool.DropExcess();
    ASSERT_EQ(dropped.size(), 1U);
    EXPECT_EQ(dropped[0].time, 100);
    EXPECT_EQ(spool.Bytes(), 20U);
    EXPECT_FALSE(std::filesystem::exists(dropped[0].path));
}

TEST(Spool, DropsACertainFileUnlessItIsBeingSent) {
    Spool spool(kFolder, Wide());
    Put(spool, 100);
    Put(spool, 200);
    const auto sending = spool.Claim(Kind::kRealData, 100);
    EXPECT_FALSE(spool.Drop(Kind::kRealData, 100));
    EXPECT_EQ(spool.Drop(Kind::kRealData, 200)->time, 200);
    EXPECT_FALSE(spool.Drop(Kind::kRealData, 200));
    EXPECT_EQ(spool.Count(), 1U);
    EXPECT_EQ(spool.Bytes(), 10U);
}

TEST(SpoolLimits, DoNotTouchAFileThatIsBeingSent) {
    Spool spool(kFolder, {5, milliseconds(1), milliseconds(1)});
    Put(spool, 100);
    Put(spool, 200);
    const auto sending = spool.ClaimDue(kNow);
    const auto dropped = spool.DropExcess();
    ASSERT_EQ(dropped.size(), 1U);
    EXPECT_EQ(dropped[0].time, 200);
    EXPECT_TRUE(std::filesystem::exists(sending->path));
}

TEST(Spool, TakesTheSameArrivalTwiceCalmly) {
    Spool spool(kFolder, Wide());
    Put(spool, 100);
    const auto file = spool.ClaimDue(kNow);
    spool.Remove(*file);
    spool.Remove(*file);
    EXPECT_EQ(spool.Failed(*file, kNow).failures, 0);
    EXPECT_EQ(spool.Bytes(), 0U);
}

}  // namespace
}  // namespace corvenna::test
