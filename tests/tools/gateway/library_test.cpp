#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/files.h"
#include "tools/gateway/configuration.h"
#include "tools/gateway/plugin_echo.h"
#include "tools/gateway/plugin_library.h"
#include "tools/gateway/wave_source.h"

namespace corvenna::test {
namespace {

using namespace gateway;

constexpr const char *kNobody = "127.0.0.1";
constexpr int kClosedPort = 1;

/// The built plug-in with a configuration of one wave device, whose server is not there.
class PluginLibraryTest : public testing::Test {
protected:
    void Load(ConfigurationOptions options = {}) {
        options.server = kNobody;
        options.port = kClosedPort;
        WriteConfiguration("", options, source.Devices());
        ASSERT_TRUE(plugin.Init(intervals));
    }

    WaveSource source{{1, 1, 2}};
    Interval_info intervals{};
    const PluginEcho echo{[](const std::string &) {}, false};
    PluginLibrary plugin{CORVENNA_PLUGIN};
};

TEST_F(PluginLibraryTest, LoadsAndTellsItsIntervals) {
    Load();
    EXPECT_EQ(intervals.RealDataInv, 60);
    EXPECT_EQ(intervals.AlarmDataInv, 30);
    EXPECT_EQ(intervals.HeartBeatInv, 60);
    EXPECT_EQ(intervals.CheckFailInv, 30);
    EXPECT_EQ(intervals.RecallInv, 60);
}

TEST_F(PluginLibraryTest, TellsSerialServerAndFormat) {
    ConfigurationOptions options;
    options.format = "xml";
    options.https = true;
    options.prefix = "/plant";
    Load(options);
    const Plugin::Settings settings = plugin.GetSettings();
    EXPECT_EQ(settings.serial, "GW000001");
    EXPECT_EQ(settings.address, "https://127.0.0.1:1/plant");
    EXPECT_EQ(settings.format, "xml");
}

TEST_F(PluginLibraryTest, TellsItsPointsByTheirExportedTree) {
    Load();
    const MAP_CHANNEL_POINT points = plugin.ConfiguredPoints();
    ASSERT_EQ(points.size(), 1U);
    EXPECT_EQ(points.at(1).at(1).size(), source.Devices()[0].points.size());
}

TEST_F(PluginLibraryTest, ProducesAFileOfACompleteSampleAndNoneOfAnIncompleteOne) {
    Load();
    std::filesystem::create_directories("/tmp/files");
    Values values = CompleteSample(source.Read(0), plugin.ConfiguredPoints());
    EXPECT_FALSE(plugin.CreateRealDataFile(values, "/tmp/files", 1700000000).path.empty());
    EXPECT_EQ(ListFolder("/tmp/files").size(), 1U);
    values.erase(0x01010001);
    const Production made = plugin.CreateRealDataFile(values, "/tmp/files", 1700000001);
    EXPECT_EQ(made.path, "");
    EXPECT_THAT(made.note, testing::HasSubstr("can't find id: 01010001"));
}

TEST_F(PluginLibraryTest, ProducesAlarmFiles) {
    Load();
    std::filesystem::create_directories("/tmp/files");
    std::vector<Alarm_Data_Para> alarms(2);
    EXPECT_FALSE(plugin.CreateAlarmDataFile(alarms, "/tmp/files").path.empty());
}

TEST_F(PluginLibraryTest, FailsWithoutAServer) {
    Load();
    WriteFile("/tmp/S1.json", "{}");
    std::vector<recall_time_para> ranges;
    EXPECT_FALSE(plugin.PrePost().succeeded);
    EXPECT_FALSE(plugin.UploadRealDataFile("/tmp/S1.json").succeeded);
    EXPECT_FALSE(plugin.UploadAlarmDataFile("/tmp/S1.json").succeeded);
    EXPECT_FALSE(plugin.CheckRecall(ranges).succeeded);
    EXPECT_FALSE(plugin.DeleteRecall({0, 1}).succeeded);
    EXPECT_FALSE(plugin.IsDownloading());
}

TEST_F(PluginLibraryTest, TellsWhyAnExchangeFailed) {
    for (const bool https : {false, true}) {
        ConfigurationOptions options;
        options.https = https;
        Load(options);
        WriteFile("/tmp/S1.json", "{}");
        std::vector<recall_time_para> ranges;
        const std::string server = https ? "https://127.0.0.1:1" : "http://127.0.0.1:1";
        const std::string end = ": Couldn't connect to server";
        EXPECT_EQ(Cause(plugin.PrePost()), "no answer from " + server + "/gateway" + end);
        EXPECT_EQ(Cause(plugin.UploadRealDataFile("/tmp/S1.json")),
                  "no answer from " + server + "/realdata/GW000001" + end);
        EXPECT_EQ(Cause(plugin.UploadAlarmDataFile("/tmp/S1.json")),
                  "no answer from " + server + "/alarmdata/GW000001" + end);
        EXPECT_EQ(Cause(plugin.CheckRecall(ranges)),
                  "no answer from " + server + "/calldata/GW000001" + end);
        EXPECT_EQ(Cause(plugin.DeleteRecall({0, 1})),
                  "no answer from " + server + "/calldata/GW000001" + end);
    }
}

TEST_F(PluginLibraryTest, CannotBeUsedWithoutAConfiguration) {
    EXPECT_FALSE(plugin.Init(intervals));
}

TEST(PluginLibrary, ThrowsWhenThereIsNoLibrary) {
    EXPECT_THROW(PluginLibrary("/tmp/libnone.so"), std::runtime_error);
}

TEST(PluginLibrary, ThrowsWhenALibraryIsNoPlugIn) {
    EXPECT_THROW(PluginLibrary("libz.so.1"), std::runtime_error);
}

}  // namespace
}  // namespace corvenna::test
