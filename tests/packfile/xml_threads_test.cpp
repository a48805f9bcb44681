// XML files made on several threads, each of which ends in libxml2's global clean-up, while others
// load configuration and parse responses.

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "base/xml.h"
#include "config/channel_set.h"
#include "config/sys_set.h"
#include "message/parse_memory.h"
#include "plugin/instances.h"
#include "tests/packfile/packing.h"
#include "tests/support/files.h"

namespace corvenna::test {
namespace {

constexpr int kRounds = 60;
constexpr char kSettings[] = "/quorvane/Config/sys.xml";
constexpr char kTemplate[] = "/quorvane/Config/Channel-template.xml";
constexpr char kMeter[] = "/quorvane/Config/meter.xml";

constexpr char kAlarmDocument[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<data>
  <node logdt="1970-01-01 00:00:01" channel="2" device="1" dblink="02010001" name="Ua &lt;1&gt;" value="1.000" unit="V" thredhold_value="2.000" type="3" flag="4"/>
</data>
)";

constexpr char kRealDocument[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<data logdt="2024-03-05 07:08:09">
  <device id="1" channel="2">
    <node dblink="02010001" name="Ua &lt;1&gt;" value="229.870" unit="V"/>
  </device>
</data>
)";

constexpr char kResponse[] =
    "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>"
    "<data><device channel=\"2\" id=\"1\" name=\"a\xe9\" desc=\"&lt;2&amp;\"/></data>";

class XmlThreads : public PackingTest {
protected:
    XmlThreads() {
        WriteFile(kSettings,
                  "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<sysConfig><cloud FileType=\"xml\" "
                  "cloudip=\"10.0.0.1\"/></sysConfig>\n");
        WriteFile(kTemplate, "<ChannelConfig><Channel No=\"2\"><Dev SlaveId=\"1\" Name=\"" +
                                 std::string(kMeter) + "\"/></Channel></ChannelConfig>");
        WriteFile(kMeter,
                  "<?xml version=\"1.0\" encoding=\"UTF-8\"?><DevConfig><NodeProperty><AI>"
                  "<Node Id=\"1\" Name=\"\xc3\xa9\"/></AI></NodeProperty></DevConfig>");
        AddPoint(0x02010001, "Ua <1>", "V");
        values_ = {{0x02010001, 229.87}, {0x02010100, 1}};
        alarms_ = {{1, 0x02010001, 2, 1, 3, 4}};
    }

    static void Require(bool condition) {
        if (!condition) {
            ++failures_;
        }
    }

    void MakeRealData(std::string dir) {
        WriteFile(dir + "/empty", "");
        for (int i = 0; i < kRounds; ++i) {
            std::vector<std::string> files;
            GetCPackFileInstance()->CreateRealDataXmlFile(&values_, dir.data(), &files, kSampleTime,
                                                          0);
            Require(files.size() == 1 && ReadFile(files[0]) == kRealDocument);
        }
    }

    void MakeAlarmData(std::string dir) {
        WriteFile(dir + "/empty", "");
        for (int i = 0; i < kRounds; ++i) {
            std::vector<std::string> files;
            GetCPackFileInstance()->CreateAlarmDataXmlFile(&alarms_, dir.data(), &files);
            Require(files.size() == 1 && ReadFile(files[0]) == kAlarmDocument);
        }
    }

    static void LoadSettings() {
        CSysSet settings;
        for (int i = 0; i < kRounds; ++i) {
            Require(settings.Open(kSettings) == 0 && settings.Close() == 0);
            Require(std::string(settings.GetCloudConfigAttr()->cloudip) == "10.0.0.1");
        }
    }

    static void LoadPoints() {
        for (int i = 0; i < kRounds; ++i) {
            CChannelSet channels;
            Require(channels.Open(kTemplate) == 0 && channels.Close() == 0);
            ST_POINTID_ATTR *point = nullptr;
            Require(channels.GetAttr(0x02010001U, &point) == 0 &&
                    std::string(point->Name) == "\xc3\xa9");
        }
    }

    static void ParseResponse() {
        CParseMemory parser;
        for (int i = 0; i < kRounds; ++i) {
            std::vector<ST_DEVICE_INFO> devices;
            Require(parser.ParseDevicesInfoFromMemory(
                        "xml", kResponse, static_cast<int>(sizeof kResponse - 1), &devices) == 0);
            Require(devices.size() == 1 && std::string(devices[0].name) == "a\xc3\xa9" &&
                    std::string(devices[0].desc) == "<2&");
        }
    }

    static std::atomic<int> failures_;
};

std::atomic<int> XmlThreads::failures_{0};

TEST_F(XmlThreads, CleanUpSparesWhatOtherThreadsAreDoing) {
    std::vector<std::thread> threads;
    threads.emplace_back([this] { MakeRealData("/tmp/a"); });
    threads.emplace_back([this] { MakeAlarmData("/tmp/b"); });
    threads.emplace_back([this] { MakeRealData("/tmp/c"); });
    threads.emplace_back(LoadSettings);
    threads.emplace_back(LoadPoints);
    threads.emplace_back(ParseResponse);
    threads.emplace_back(ParseResponse);
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(failures_, 0);
}

TEST_F(XmlThreads, GuardIsNotHeldDuringAPause) {
    // A clean-up from inside a pause would block for ever if the pausing thread held a guard.
    Configure("xml");
    static std::atomic<int> cleanUps{0};
    pauses_.OnPause([] {
        std::thread(CleanUpXml).join();
        ++cleanUps;
    });
    EXPECT_EQ(RealDataText(), kRealDocument);
    EXPECT_EQ(cleanUps, 2);
}

}  // namespace
}  // namespace corvenna::test
