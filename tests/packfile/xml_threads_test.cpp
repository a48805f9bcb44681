// XML files made on several threads, each of which ends in libxml2's global clean-up, while others
// load configuration and parse responses.

#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "base/xml.h"
#include "config/sys_set.h"
#include "plugin/instances.h"
#include "tests/packfile/packing.h"
#include "tests/support/files.h"

namespace corvenna::test {
namespace {

constexpr int kRounds = 60;
constexpr char kSettings[] = "/quorvane/Config/sys.xml";

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
    "<recall><item start=\"a\xe9\" end=\"&lt;2&amp;\"/></recall>";

class XmlThreads : public PackingTest {
protected:
    XmlThreads() {
        WriteFile(kSettings,
                  "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<sysConfig><cloud FileType=\"xml\" "
                  "cloudip=\"10.0.0.1\"/></sysConfig>\n");
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

    static void ParseResponse() {
        for (int i = 0; i < kRounds; ++i) {
            const XmlGuard guard;
            const XmlDocument document(
                xmlParseMemory(kResponse, static_cast<int>(sizeof kResponse - 1)));
            Require(document != nullptr);
            xmlNodePtr item = xmlDocGetRootElement(document.get())->children;
            const XmlText start(xmlGetProp(item, ToXml("start")));
            Require(std::string(FromXml(start.get())) == "a\xc3\xa9");
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
