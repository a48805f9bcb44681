#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <numeric>

#include "base/text.h"
#include "tests/tools/gateway/fake_plugin.h"
#include "tools/gateway/gateway.h"

namespace corvenna::test {
namespace {

using namespace gateway;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr const char *kFolder = "/tmp/data";
constexpr std::uint32_t kPoint = 0x01010000;

/// One device with one point, whose value the test sets.
class OnePoint : public Source {
public:
    std::atomic<double> value{1};

    const Catalogue &Devices() const override { return devices_; }
    Values Read(std::time_t) override { return {{kPoint, value}}; }

private:
    Catalogue devices_ = {{1, 1, "Meter", "", "", {{PointType::kAnalogueInput, 0, "Ua", "V"}}}};
};

class GatewayTest : public testing::Test {
protected:
    GatewayTest() {
        plugin.points = ToPointTree(source.Devices());
        CopyText<127>(plugin.devices[0x0101].DeviceName, "Meter");
    }
    ~GatewayTest() override { close(output); }

    std::unique_ptr<Gateway> Make(double speed = 1) {
        Gateway::Options options;
        options.folder = kFolder;
        options.speed = speed;
        options.spoolBytes = spoolBytes;
        options.spoolAge = spoolAge;
        options.newestFirst = newestFirst;
        return MakeWith(options);
    }
    std::unique_ptr<Gateway> MakeWith(const Gateway::Options &options) {
        Loaded loaded = Load(plugin);
        matched = std::make_unique<MatchedSource>(source, loaded.catalogue);
        return std::make_unique<Gateway>(plugin, loaded, *matched, thresholds, options, report);
    }

    /// What an earlier process has sampled and not sent.
    void WriteHistory(const std::vector<std::time_t> &times) {
        std::filesystem::create_directories(kFolder);
        History history(std::string(kFolder) + "/history.db");
        for (const std::time_t time : times) {
            history.AddSample(time, {{kPoint, 1}}, {});
        }
    }

    static std::vector<std::string> Spooled() { return ListFolder("/tmp/data/spool"); }
    static History Stored() { return History(std::string(kFolder) + "/history.db"); }
    static std::string Said() { return ReadFile("/tmp/said"); }
    static int Count(const std::string &text, const std::string &part) {
        int count = 0;
        for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
            ++count;
        }
        return count;
    }

    FakePlugin plugin;
    OnePoint source;
    std::unique_ptr<MatchedSource> matched;
    std::vector<Threshold> thresholds;
    std::uint64_t spoolBytes = 1000000;
    std::chrono::seconds spoolAge = std::chrono::hours(1);
    bool newestFirst = false;
    const int output = open("/tmp/said", O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    Report report{output, Report::Form::kLines};
};

TEST_F(GatewayTest, OneCycleRegistersSamplesSendsAndLeavesNothing) {
    EXPECT_TRUE(Make()->RunOnce());
    const auto saw = plugin.Saw();
    EXPECT_EQ(saw.registrations, 1);
    EXPECT_EQ(saw.realData.size(), 1U);
    EXPECT_EQ(saw.heartbeats, 1);
    EXPECT_EQ(Stored().Count(Kind::kRealData, State::kArrived), 1);
    EXPECT_THAT(Spooled(), ElementsAre(".work-sample"));
}

TEST_F(GatewayTest, SendsWhatAKilledProcessHadSampledOldestFirst) {
    WriteHistory({100, 300, 200});
    EXPECT_TRUE(Make()->RunOnce());
    const auto arrived = plugin.Saw().realData;
    ASSERT_EQ(arrived.size(), 4U);
    EXPECT_EQ(arrived[0], "100 2");
    EXPECT_EQ(arrived[1], "200 2");
    EXPECT_EQ(arrived[2], "300 2");
}

TEST_F(GatewayTest, KeepsFilesWhileTheServerIsAwayAndSendsThemWhenItIsBack) {
    plugin.serverIsThere = false;
    EXPECT_FALSE(Make()->RunOnce());
    EXPECT_EQ(plugin.Saw().realData.size(), 0U);
    EXPECT_EQ(Spooled().size(), 2U);
    EXPECT_THAT(Said(), HasSubstr("ERROR  the server did not take the registration"));
    plugin.serverIsThere = true;
    Make()->RunOnce();
    EXPECT_EQ(plugin.Saw().realData.size(), 2U);
    EXPECT_THAT(Spooled(), ElementsAre(".work-sample"));
}

TEST_F(GatewayTest, AsksOnlyOnceForAServerThatIsAway) {
    plugin.serverIsThere = false;
    WriteHistory({100, 200, 300});
    Make()->RunOnce();
    EXPECT_EQ(plugin.Saw().uploads, 1);
}

TEST_F(GatewayTest, SendsTheOthersAlthoughOneFileIsRefused) {
    WriteHistory({100, 200, 300});
    plugin.refuses = [](const std::string &content) { return content.rfind("100 ", 0) == 0; };
    EXPECT_FALSE(Make()->RunOnce());
    EXPECT_EQ(plugin.Saw().realData.size(), 3U);
    EXPECT_EQ(Stored().Waiting(Kind::kRealData), std::vector<std::time_t>{100});
}

TEST_F(GatewayTest, MakesAFileAnewThatFailsAgainAndAgain) {
    WriteHistory({100});
    WriteFile("/tmp/data/spool/100-S1.json", "damaged");
    plugin.refuses = [](const std::string &content) { return content == "damaged"; };
    {
        const auto gateway = Make(1000);
        gateway->Start();
        const auto hasArrived = [](const std::vector<std::string> &arrived) {
            return std::find(arrived.begin(), arrived.end(), "100 2") != arrived.end();
        };
        while (!hasArrived(plugin.Saw().realData)) {
            usleep(10000);
        }
    }
    EXPECT_FALSE(Stored().IsWaiting(Kind::kRealData, 100));
}

TEST_F(GatewayTest, TellsWhyAFileDidNotArriveAndWhatIsDoneNext) {
    WriteHistory({1700000000});
    plugin.failure = {false, "http://127.0.0.1:1/realdata/GW1", 404, "", ""};
    plugin.refuses = [](const std::string &content) { return content == "1700000000 2"; };
    Make()->RunOnce();
    EXPECT_THAT(Said(),
                HasSubstr("ERROR  sample 2023-11-14 22:13:20 did not arrive (1): refused "
                          "with 404 for http://127.0.0.1:1/realdata/GW1; is the path prefix "
                          "right?; tried again in 30 s"));
}

TEST_F(GatewayTest, TellsWhyTheRegistrationWasNotTakenOnceForEachCause) {
    plugin.serverIsThere = false;
    const auto gateway = Make();
    gateway->RunOnce();
    gateway->RunOnce();
    EXPECT_EQ(Count(Said(), "did not take the registration"), 1);
    EXPECT_THAT(Said(),
                HasSubstr("the server did not take the registration: no answer from "
                          "http://127.0.0.1:1/x: Couldn't connect to server; tried again in "
                          "30 s"));
    plugin.failure.status = 503;
    plugin.failure.reason = "";
    gateway->RunOnce();
    EXPECT_EQ(Count(Said(), "did not take the registration"), 2);
}

TEST_F(GatewayTest, TellsOnceForEachCauseWhyRecallsAreUnknown) {
    plugin.serverIsThere = false;
    const auto gateway = Make();
    gateway->RunOnce();
    gateway->RunOnce();
    EXPECT_EQ(Count(Said(), "did not tell what it wants again: no answer from"), 1);
    plugin.failure.status = 503;
    plugin.failure.reason = "";
    gateway->RunOnce();
    EXPECT_EQ(Count(Said(), "did not tell what it wants again"), 2);
}

TEST_F(GatewayTest, SaysWhenTheListOfDevicesIsCutAndHowManyThereAre) {
    plugin.serverIsThere = false;
    plugin.failure = {false, "http://127.0.0.1:1/device/GW1", 400, "",
                      "request body of 21000 characters does not fit the buffer of 20480 bytes"};
    for (std::uint8_t address = 1; address <= 200; ++address) {
        plugin.points[2][address] = {};
    }
    Make()->RunOnce();
    EXPECT_THAT(Said(),
                HasSubstr("201 devices are too many: the list of them is cut, and no server "
                          "can read it (request body of 21000 characters does not fit"));
}

TEST_F(GatewayTest, GivesAFileUpThatTheServerFindsTooLargeFourTimes) {
    WriteHistory({1700000000});
    plugin.failure = {false, "http://127.0.0.1:1/realdata/GW1", 413, "", ""};
    plugin.refuses = [](const std::string &content) { return content == "1700000000 2"; };
    {
        const auto gateway = Make(1000);
        gateway->Start();
        while (Stored().Count(Kind::kRealData, State::kDropped) == 0) {
            usleep(10000);
        }
    }
    EXPECT_THAT(Said(),
                HasSubstr("sample 2023-11-14 22:13:20 of 12 bytes given up: refused with 413 "
                          "for http://127.0.0.1:1/realdata/GW1; it is too large for the "
                          "server; the history keeps it"));
    EXPECT_TRUE(Stored().HasSample(1700000000));
    EXPECT_EQ(Count(Said(), "22:13:20 did not arrive"), 3);
}

TEST_F(GatewayTest, GivesARecalledSampleUpThatTheServerFindsTooLarge) {
    WriteHistory({100, 200});
    Make()->RunOnce();
    plugin.recalls = {{100, 200}};
    plugin.failure.status = 413;
    plugin.failure.reason = "";
    plugin.refuses = [](const std::string &content) { return content == "100 2"; };
    Make()->RunOnce();
    EXPECT_EQ(plugin.Saw().served.size(), 1U);
    EXPECT_THAT(Said(),
                HasSubstr("recalled sample 1970-01-01 00:01:40 given up: refused with 413"));
}

TEST_F(GatewayTest, SaysWhichFolderTakesNoFile) {
    const auto gateway = Make();
    WriteFile("/tmp/data/spool/.work-sample", "in the place of the folder");
    EXPECT_FALSE(gateway->RunOnce());
    EXPECT_THAT(Said(), testing::ContainsRegex("ERROR  sample .*/tmp/data/spool/.work-sample"));
    EXPECT_EQ(Stored().Count(Kind::kRealData, State::kWaiting), 1);
}

TEST_F(GatewayTest, MakesAFileAnewThatIsOfAnotherFormatThanTheSettingsSay) {
    // The plug-in would report such a file as sent without sending it.
    WriteHistory({100});
    WriteFile("/tmp/data/spool/100-S1.xml", "<data/>");
    Make()->RunOnce();
    {
        const auto gateway = Make();
        gateway->RunOnce();
    }
    const auto arrived = plugin.Saw().realData;
    EXPECT_THAT(arrived, testing::Contains("100 2"));
    EXPECT_THAT(arrived, testing::Not(testing::Contains("<data/>")));
    EXPECT_THAT(Said(), HasSubstr("of another format: made anew"));
}

TEST_F(GatewayTest, RemovesAFileOfAnotherFormatOfWhichNothingIsWaiting) {
    WriteFile("/tmp/data/spool/100-S1.xml", "<data/>");
    Make()->RunOnce();
    EXPECT_THAT(Spooled(), ElementsAre(".work-sample"));
    EXPECT_THAT(Said(), HasSubstr("cannot be sent and is not needed: removed"));
}

TEST_F(GatewayTest, SendsAFileOfWhichTheHistoryKnowsNothing) {
    WriteFile("/tmp/data/spool/100-S1.json", "older than the history");
    Make()->RunOnce();
    EXPECT_THAT(plugin.Saw().realData, testing::Contains("older than the history"));
}

TEST_F(GatewayTest, MakesAFileAnewThatSomebodyDeleted) {
    WriteHistory({100});
    WriteFile("/tmp/data/spool/100-S1.json", "x");
    const auto gateway = Make();
    std::filesystem::remove("/tmp/data/spool/100-S1.json");
    gateway->RunOnce();
    EXPECT_TRUE(std::filesystem::exists("/tmp/data/spool/100-S1.json"));
}

TEST_F(GatewayTest, KeepsASampleOfWhichNoFileWasProduced) {
    plugin.produces = false;
    EXPECT_FALSE(Make()->RunOnce());
    EXPECT_THAT(Said(), testing::ContainsRegex(
                            "no file was produced of sample .*: can't find id: 01010000"));
    EXPECT_EQ(Stored().Count(Kind::kRealData, State::kWaiting), 1);
    plugin.produces = true;
    Make()->RunOnce();
    EXPECT_EQ(Stored().Count(Kind::kRealData, State::kWaiting), 0);
}

TEST_F(GatewayTest, GivesAValueToPointsThatTheConfigurationGotSince) {
    WriteHistory({100});
    plugin.points[1][1][0x01010001] = {};
    Make()->RunOnce();
    EXPECT_EQ(plugin.Saw().realData[0], "100 3");
}

TEST_F(GatewayTest, DropsTheOldestFilesWhenTheSpoolIsFullAndSaysSo) {
    plugin.serverIsThere = false;
    spoolBytes = 10;
    WriteHistory({1700000000, 1700000100});
    Make()->RunOnce();
    EXPECT_THAT(Said(), HasSubstr("dropped sample 2023-11-14 22:13:20, which had not arrived"));
    EXPECT_EQ(Stored().Count(Kind::kRealData, State::kDropped), 3);  // each is over 10 bytes
    EXPECT_EQ(report.counters.dropped, 3U);
    EXPECT_TRUE(Stored().HasSample(1700000000));
}

TEST_F(GatewayTest, DropsWhatHasWaitedTooLongAndSaysSo) {
    plugin.serverIsThere = false;
    spoolAge = std::chrono::seconds(-1);  // older than that is everything
    WriteHistory({1700000000});
    Make()->RunOnce();
    EXPECT_THAT(Said(),
                HasSubstr("the spool is holding files for too long: dropped sample 2023-11-14 "
                          "22:13:20, which had not arrived"));
    EXPECT_TRUE(Stored().HasSample(1700000000));
}

TEST_F(GatewayTest, DropsNothingWhenTheClockHasJumped) {
    plugin.serverIsThere = false;
    WriteHistory({1700000000});  // years before the sample that is taken now
    Make()->RunOnce();
    EXPECT_EQ(Stored().Count(Kind::kRealData, State::kWaiting), 2);
    EXPECT_EQ(report.counters.dropped, 0U);
}

TEST_F(GatewayTest, SendsAlarmsOfCrossedThresholds) {
    thresholds = {{kPoint, kAboveUpperLimit, 0.5}};
    EXPECT_TRUE(Make()->RunOnce());
    EXPECT_THAT(plugin.Saw().alarms, ElementsAre("1 alarms"));
    EXPECT_THAT(Said(), HasSubstr("alarm begins: 01010000 is 1.000, limit 0.500"));
    EXPECT_TRUE(Stored().Waiting(Kind::kAlarm).empty());
}

TEST_F(GatewayTest, KeepsAlarmsWhileTheServerIsAway) {
    thresholds = {{kPoint, kAboveUpperLimit, 0.5}};
    plugin.serverIsThere = false;
    EXPECT_FALSE(Make()->RunOnce());
    plugin.serverIsThere = true;
    Make()->RunOnce();
    EXPECT_THAT(plugin.Saw().alarms, ElementsAre("1 alarms"));
}

TEST_F(GatewayTest, ServesARecallFromTheHistoryAndAcknowledgesIt) {
    WriteHistory({100, 200, 300});
    Make()->RunOnce();
    const std::size_t before = plugin.Saw().realData.size();
    plugin.recalls = {{150, 300}};
    Make()->RunOnce();
    auto arrived = plugin.Saw().realData;
    arrived.erase(arrived.begin(), arrived.begin() + static_cast<std::ptrdiff_t>(before) + 1);
    EXPECT_THAT(arrived, ElementsAre("200 2", "300 2"));
    ASSERT_EQ(plugin.Saw().served.size(), 1U);
    EXPECT_EQ(plugin.Saw().served[0].start, 150);
    EXPECT_EQ(plugin.Saw().served[0].end, 300);
}

TEST_F(GatewayTest, AcknowledgesARecallOfATimeWithoutSamples) {
    plugin.recalls = {{100, 200}, {300, 200}};
    EXPECT_TRUE(Make()->RunOnce());
    EXPECT_EQ(plugin.Saw().served.size(), 2U);
}

TEST_F(GatewayTest, ServesARangeOnceThatIsListedTwice) {
    WriteHistory({100});
    plugin.recalls = {{100, 100}, {100, 100}};
    Make()->RunOnce();
    EXPECT_EQ(plugin.Saw().served.size(), 1U);
}

TEST_F(GatewayTest, GoesOnWithARecallWhereItFailed) {
    WriteHistory({100, 200});
    Make()->RunOnce();
    plugin.recalls = {{100, 200}};
    plugin.refuses = [](const std::string &content) { return content == "200 2"; };
    EXPECT_FALSE(Make()->RunOnce());
    EXPECT_TRUE(plugin.Saw().served.empty());
    const auto before = plugin.Saw().realData;
    plugin.refuses = [](const std::string &) { return false; };
    Make()->RunOnce();
    EXPECT_EQ(plugin.Saw().served.size(), 1U);
    const auto arrived = plugin.Saw().realData;
    EXPECT_EQ(std::count(arrived.begin(), arrived.end(), "100 2"), 2);  // not a third time
    EXPECT_EQ(arrived.back(), "200 2");
}

TEST_F(GatewayTest, SendsTheRestOfARecallAlthoughOneSampleIsRefused) {
    WriteHistory({100, 200, 300});
    Make()->RunOnce();
    plugin.recalls = {{100, 300}};
    plugin.refuses = [](const std::string &content) { return content == "200 2"; };
    EXPECT_FALSE(Make()->RunOnce());
    const auto count = [this](const char *content) {
        const auto arrived = plugin.Saw().realData;
        return std::count(arrived.begin(), arrived.end(), content);
    };
    EXPECT_EQ(count("300 2"), 2);
    EXPECT_TRUE(plugin.Saw().served.empty());
    plugin.refuses = [](const std::string &) { return false; };
    Make()->RunOnce();
    EXPECT_EQ(plugin.Saw().served.size(), 1U);
    EXPECT_EQ(count("200 2"), 2);
    EXPECT_EQ(count("300 2"), 2);  // not a third time
}

TEST_F(GatewayTest, RestsWithARecallOfWhichNothingIsTaken) {
    WriteHistory({100, 200, 300, 400, 500});
    Make()->RunOnce();
    const int before = plugin.Saw().uploads;
    plugin.recalls = {{100, 500}};
    plugin.refuses = [](const std::string &content) { return content.substr(1) == "00 2"; };
    Make()->RunOnce();
    EXPECT_EQ(plugin.Saw().uploads, before + 1 + 3);  // the new sample, three of the recall
    plugin.refuses = [](const std::string &) { return false; };
    Make()->RunOnce();
    EXPECT_EQ(plugin.Saw().served.size(), 1U);
}

TEST_F(GatewayTest, TellsHowFarALongRecallIs) {
    std::vector<std::time_t> times(250);
    std::iota(times.begin(), times.end(), 1000);
    WriteHistory(times);
    plugin.recalls = {{1000, 1249}};
    Make()->RunOnce();
    EXPECT_THAT(Said(), HasSubstr("again: 250 samples, about 150 s"));  // 0.1 s and 0.5 s each
    EXPECT_THAT(Said(), HasSubstr("recall: 100 of 250 samples done, the rest takes about "));
    EXPECT_THAT(Said(), HasSubstr("recall: 200 of 250 samples done, the rest takes about "));
    EXPECT_EQ(report.counters.recallLeft, 0U);
}

TEST_F(GatewayTest, SaysAtOnceThatProductionCannotKeepUp) {
    for (std::uint8_t channel = 1; channel <= 5; ++channel) {
        for (std::uint8_t address = 1; address <= 100; ++address) {
            plugin.points[channel][address] = {};
        }
    }
    WriteHistory({100, 200});
    plugin.intervals = {52, -1, -1, -1, -1};
    Make()->Start();
    EXPECT_THAT(Said(),
                HasSubstr("ERROR  production cannot keep up: 500 devices x 0.1 s + 5 channels "
                          "x 0.5 s = 52 s a sample, and one is taken every 52 s"));
    EXPECT_THAT(Said(),
                HasSubstr("2 samples of before wait to be produced, oldest first: about 105 "
                          "s"));
}

TEST_F(GatewayTest, TellsHowManySamplesWaitWhenTheyHaveDoubled) {
    plugin.produces = false;
    WriteHistory({100, 200, 300, 400});
    const auto gateway = Make();
    gateway->RunOnce();
    EXPECT_EQ(Count(Said(), "wait to be produced"), 0);  // five
    gateway->RunOnce();
    EXPECT_THAT(Said(), HasSubstr("6 samples wait to be produced, which takes about 0.6 s each"));
    gateway->RunOnce();
    EXPECT_EQ(Count(Said(), "wait to be produced"), 1);
}

TEST_F(GatewayTest, SendsTheNewestFirstWhenItIsAskedTo) {
    WriteHistory({100, 300, 200});
    newestFirst = true;
    EXPECT_TRUE(Make()->RunOnce());
    const auto arrived = plugin.Saw().realData;
    ASSERT_EQ(arrived.size(), 4U);
    EXPECT_EQ(arrived[1], "300 2");
    EXPECT_EQ(arrived[2], "200 2");
    EXPECT_EQ(arrived[3], "100 2");
}

TEST(Pace, OfAForwardingTableHasNoPauseForChannels) {
    using std::chrono::milliseconds;
    EXPECT_EQ(Pace(3, 0).OfASample(), milliseconds(300));
    EXPECT_EQ(Pace(3, 2).OfASample(), milliseconds(1300));
    EXPECT_EQ(Pace(3, 2).Complaint(milliseconds(1300)), "");
    EXPECT_NE(Pace(3, 2).Complaint(milliseconds(1299)), "");
}

TEST(Pace, OfLoadingIsToldWhenItTakesLong) {
    EXPECT_EQ(Pace::OfLoading(29), "");
    EXPECT_EQ(Pace::OfLoading(400),
              "the plug-in loads its configuration: 400 devices x 0.1 s = 40 s");
}

TEST_F(GatewayTest, KnowsThatAForwardingTableIsSentWithoutPausesForChannels) {
    EXPECT_EQ(Load(plugin).settings.pausedChannels, 1U);
    plugin.settings.forwardChannel = 1;
    EXPECT_EQ(Load(plugin).settings.pausedChannels, 0U);
}

TEST_F(GatewayTest, WaitsForADownloadBeforeItEnds) {
    auto gateway = Make();
    gateway->RunOnce();
    plugin.downloading = 3;
    gateway.reset();
    EXPECT_EQ(plugin.downloading, 0);
}

TEST_F(GatewayTest, AcknowledgesAgainWithoutSendingAgain) {
    WriteHistory({100});
    Make()->RunOnce();
    plugin.recalls = {{100, 100}};
    plugin.takesAcknowledgements = false;
    Make()->RunOnce();
    plugin.takesAcknowledgements = true;
    Make()->RunOnce();
    const auto arrived = plugin.Saw().realData;
    EXPECT_EQ(std::count(arrived.begin(), arrived.end(), "100 2"), 2);
    EXPECT_EQ(plugin.Saw().served.size(), 1U);
}

TEST_F(GatewayTest, ServesARangeAgainThatWasDoneWhenItIsAskedForAnew) {
    WriteHistory({100});
    plugin.recalls = {{100, 100}};
    plugin.takesAcknowledgements = false;
    Make()->RunOnce();
    plugin.takesAcknowledgements = true;
    plugin.recalls = {};  // the acknowledgement had arrived, its answer had not
    Make()->RunOnce();
    plugin.recalls = {{100, 100}};
    Make()->RunOnce();
    const auto arrived = plugin.Saw().realData;
    EXPECT_EQ(std::count(arrived.begin(), arrived.end(), "100 2"), 3);
}

TEST_F(GatewayTest, ARecallBringsInWhatIsStillWaiting) {
    WriteHistory({100});
    plugin.refuses = [uploads = 0](const std::string &) mutable { return ++uploads <= 3; };
    Make()->RunOnce();
    ASSERT_FALSE(Stored().Waiting(Kind::kRealData).empty());
    plugin.recalls = {{100, 100}};
    Make()->RunOnce();
    EXPECT_FALSE(Stored().IsWaiting(Kind::kRealData, 100));
}

TEST_F(GatewayTest, RunsAllFiveIntervalsOnItsThreads) {
    {
        const auto gateway = Make(1000);
        gateway->Start();
        while (plugin.Saw().realData.empty() || plugin.Saw().heartbeats < 2) {
            usleep(10000);
        }
        const StatusFacts facts = gateway->Status();
        EXPECT_EQ(facts.serial, "GW1");
        EXPECT_EQ(facts.server, "http://127.0.0.1:1");
    }
    EXPECT_GE(report.counters.sampled, 1U);
    EXPECT_TRUE(report.counters.registered);
}

TEST_F(GatewayTest, SamplesAtDistinctSeconds) {
    {
        const auto gateway = Make(1000);  // every tenth of a second, were it not for the seconds
        gateway->Start();
        while (plugin.Saw().realData.size() < 2) {
            usleep(10000);
        }
    }
    const auto arrived = plugin.Saw().realData;
    EXPECT_NE(arrived[0], arrived[1]);
}

TEST_F(GatewayTest, NeverCallsWhatIsNeverDue) {
    plugin.intervals = {60, 0, -1, -1, -1};
    {
        const auto gateway = Make(1000);
        gateway->Start();
        while (plugin.Saw().realData.empty()) {
            usleep(10000);
        }
    }
    EXPECT_EQ(plugin.Saw().heartbeats, 0);
}

TEST_F(GatewayTest, HasNothingToDoWhenTheCloudServiceIsSwitchedOff) {
    plugin.intervals = {-1, -1, -1, -1, -1};
    plugin.settings.format = "";
    EXPECT_TRUE(Load(plugin).IsSwitchedOff());
}

TEST_F(GatewayTest, RefusesAPlugInThatCannotBeUsed) {
    plugin.configurationIsGood = false;
    EXPECT_THROW(Make(), std::runtime_error);
}

TEST_F(GatewayTest, RefusesAFormatOfWhichNothingWouldBeSent) {
    plugin.settings.format = "jsonx";
    EXPECT_THROW(Make(), std::runtime_error);
}

class BadFolder : public GatewayTest, public testing::WithParamInterface<std::string> {};

TEST_P(BadFolder, IsRefused) {
    Gateway::Options options;
    options.folder = GetParam();
    EXPECT_THROW(MakeWith(options), std::runtime_error);
}

INSTANTIATE_TEST_SUITE_P(All, BadFolder,
                         testing::Values("/tmp/jsonz", "/tmp/a.xmlz",
                                         "/tmp/" + std::string(71, 'x')));

TEST_F(GatewayTest, MakesTheFolderThatUpdatesAreMovedTo) {
    Make();
    EXPECT_TRUE(std::filesystem::is_directory("/tmp/uploads"));
}

TEST(Report, EscapesWhatCouldSteerATerminal) {
    EXPECT_EQ(Printable("a\x1b[31mb\tc\n"), "a\\x1b[31mb\\x09c\\n");
    EXPECT_EQ(Printable("\x7f\xc2\x9b"), "\\x7f\xc2\\x9b");
    EXPECT_EQ(Printable("Zähler 1 °C"), "Zähler 1 °C");
}

TEST(Report, TellsTimesAsPeopleDo) {
    using std::chrono::milliseconds;
    EXPECT_EQ(DurationText(milliseconds(500)), "0.5 s");
    EXPECT_EQ(DurationText(milliseconds(30000)), "30 s");
    EXPECT_EQ(DurationText(milliseconds(599000)), "599 s");
    EXPECT_EQ(DurationText(milliseconds(600000)), "10 min");
    EXPECT_EQ(DurationText(milliseconds(36000000)), "10 h");
}

TEST(Report, ShowsATableOnATerminal) {
    const int output = open("/tmp/screen", O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    Report report(output, Report::Form::kTable);
    report.Say("something happened");
    report.Complain("something failed");
    report.counters.sampled = 12;
    StatusFacts facts{};
    facts.serial = "GW000001";
    facts.server = "http://127.0.0.1:8080";
    facts.source = "wave";
    facts.speed = 10;
    facts.waitingFiles = 3;
    facts.waitingBytes = 2049;
    report.Draw(facts);
    close(output);
    const std::string screen = ReadFile("/tmp/screen");
    EXPECT_THAT(screen, HasSubstr("corvenna-gateway GW000001"));
    EXPECT_THAT(screen, HasSubstr("samples          12 taken"));
    EXPECT_THAT(screen, HasSubstr("       3 files           3 KiB"));
    EXPECT_THAT(screen, HasSubstr("something happened"));
    EXPECT_THAT(screen, HasSubstr("ERROR  something failed"));
    EXPECT_THAT(screen, HasSubstr("not registered"));
}

}  // namespace
}  // namespace corvenna::test
