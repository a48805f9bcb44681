// The typical cycle of a gateway, driven through the built library and checked at the server.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <ctime>
#include <string>

#include "tests/plugin/configuration.h"
#include "tests/plugin/gateway.h"
#include "tests/plugin/host.h"
#include "tests/support/files.h"

namespace corvenna::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr std::time_t kSampleTime = 1709622489;  // 2024-03-05 07:08:09 UTC
constexpr unsigned kVoltage = 0x02010001;
constexpr unsigned kStatus = 0x02010100;

struct Documents {
    std::string gateway, devices, realData, alarms, recalls, recallDone;
};

const Documents kJson = {
    R"({"sn":"GW4567","name":"Gateway 7","ver":"1.2.3\n",)"
    R"("site":{"name":"North","longitude":"9.1","latitude":"48.7"},)"
    R"("owner":{"name":"Owner","desc":"desc"},)"
    R"("room":{"name":"Room 1","desc":"first","camera":"reserve"}})",
    R"({"device":[{"channel":2,"id":1,"desc":"a meter","name":"Meter1"}]})",
    R"({"logdt":"2024-03-05 07:08:09","device":[{"id":1,"channel":2,"node":[)"
    R"({"dblink":"02010001","name":"Ua","unit":"V","value":"229.870"},)"
    R"({"dblink":"02010100","name":"Comm_Status","unit":"","value":"1"}]}]})",
    R"({"node":[{"logdt":"2024-03-05 07:08:09","channel":2,"device":1,"dblink":"02010001",)"
    R"("name":"Ua","value":"253.100","threshold_value":"250.000","unit":"V","type":1,"flag":-1}]})",
    R"({"node":[{"startdt":"1970-01-01 00:00:00","enddt":"1970-01-01 01:00:00"}]})",
    R"({"node":{"startdt":"1970-01-01 00:00:00","enddt":"1970-01-01 01:00:00"}})"};

const Documents kXml = {
    R"(<?xml version="1.0" encoding="UTF-8"?>
<data>
  <gw sn="GW4567" name="Gateway 7" ver="1.2.3&#10;">
    <site name="North" longitude="9.1" latitude="48.7"/>
    <owner name="Owner" desc="desc"/>
    <room name="Room 1" desc="first" camera="reserve"/>
  </gw>
</data>
)",
    R"(<?xml version="1.0" encoding="UTF-8"?>
<data>
  <device channel="2" id="1" desc="a meter" name="Meter1"/>
</data>
)",
    R"(<?xml version="1.0" encoding="UTF-8"?>
<data logdt="2024-03-05 07:08:09">
  <device id="1" channel="2">
    <node dblink="02010001" name="Ua" value="229.870" unit="V"/>
    <node dblink="02010100" name="Comm_Status" value="1.000" unit=""/>
  </device>
</data>
)",
    R"(<?xml version="1.0" encoding="UTF-8"?>
<data>
  <node logdt="2024-03-05 07:08:09" channel="2" device="1" dblink="02010001" name="Ua" )"
    R"(value="253.100" unit="V" thredhold_value="250.000" type="1" flag="-1"/>
</data>
)",
    R"(<data><node startdt="1970-01-01 00:00:00" enddt="1970-01-01 01:00:00"/></data>)",
    R"(<?xml version="1.0" encoding="UTF-8"?>
<data>
  <node startdt="1970-01-01 00:00:00" enddt="1970-01-01 01:00:00"/>
</data>
)"};

class HostTest : public testing::TestWithParam<Wire> {
protected:
    void SetUp() override {
        setenv("TZ", "UTC0", 1);
        tzset();
        ASSERT_EQ(mkdir("/tmp/data", 0755), 0);
        ASSERT_EQ(mkdir("/tmp/uploads", 0755), 0);
        const Wire &wire = GetParam();
        GatewayOn(server_.Port(), wire.format, wire.compressed, wire.protocol != Protocol::kHttp)
            .Write();
        WriteFile("/quorvane/ca.pem", server_.Certificate());
    }

    const Documents &Expected() const { return GetParam().format == "json" ? kJson : kXml; }

    /// A request body's or file's text.
    std::string Text(const Request &request) const {
        EXPECT_EQ(request.Header("Content-Encoding"), GetParam().compressed ? "deflate" : "");
        EXPECT_EQ(request.Header("Content-Type"),
                  "application/" + GetParam().format + ";charset=UTF-8");
        return GetParam().compressed ? Inflated(request.body) : request.body;
    }

    /// Produces a file of the example's one device. @return its path.
    std::string CreateRealData() {
        std::map<unsigned int, double> values = {{kVoltage, 229.87}, {kStatus, 1.0}};
        std::vector<std::string> files;
        EXPECT_GE(plugin_.CreateRealDataFile(&values, folder_, &files, kSampleTime), 0);
        return files.empty() ? "" : files.back();
    }
    std::string CreateAlarms() {
        std::vector<Alarm> alarms = {{kSampleTime, kVoltage, 250.0, 253.1, 1, -1}};
        std::vector<std::string> files;
        EXPECT_GE(plugin_.CreateAlarmDataFile(&alarms, folder_, &files), 0);
        return files.empty() ? "" : files.back();
    }
    int Upload(std::string path) { return plugin_.UploadRealDataFile(path.data()); }

    ScriptedServer server_{GetParam().protocol};
    Plugin plugin_;
    char folder_[16] = "/tmp/data";
};

using HostCycle = HostTest;

TEST_P(HostCycle, TheWholeCycleArrivesAtTheServer) {
    const bool gatewayShell = UseGatewayShell();
    const std::string content = "plain file";
    const std::string conf = "key = value\n";
    const std::string &format = GetParam().format;
    server_.Otherwise([&](const Request &request) {
        const std::string &path = request.path;
        if (request.method == "GET" && path == "/cloud/downfile/GW4567") {
            return Reply(200, OfferList({{"f/plain.bin", Md5Of(content), 9, "/tmp"},
                                         {"new.conf", Md5Of(conf), 1, ""}},
                                        format));
        }
        if (path == "/cloud/calldata/GW4567") {
            return request.method == "GET" ? Reply(200, Expected().recalls) : Reply(204);
        }
        if (request.method == "GET") {
            return ReplyFile(path == "/cloud/new.conf" ? conf : content);
        }
        return Reply(path == "/cloud/realdata/GW4567" ? 426 : 200);
    });

    Intervals intervals{};
    ASSERT_EQ(plugin_.Init(&intervals), 0);
    EXPECT_THAT((std::vector<int>{intervals.realData, intervals.alarmData, intervals.heartBeat,
                                  intervals.checkFail, intervals.recall}),
                ElementsAre(60, 61, 62, 63, 64));
    EXPECT_EQ(plugin_.PrePost(), 0);
    EXPECT_EQ(plugin_.SyncHeartBeat(), 0);
    const std::string realData = CreateRealData();
    EXPECT_EQ(realData, "/tmp/data/S20240305070809." + format + (GetParam().compressed ? "z" : ""));
    EXPECT_EQ(Upload(realData), 0);
    plugin_.AwaitDownload();
    EXPECT_EQ(plugin_.UploadAlarmDataFile(CreateAlarms().c_str()), 0);
    std::vector<Range> ranges;
    EXPECT_EQ(plugin_.CheckRecall(&ranges), 0);
    ASSERT_EQ(ranges.size(), 1U);
    EXPECT_EQ(ranges[0].start, 0);
    EXPECT_EQ(ranges[0].end, 3600);
    EXPECT_EQ(plugin_.DeleteRecall(ranges.data()), 0);

    const std::vector<Request> requests = server_.Requests();
    ASSERT_THAT(
        Lines(requests),
        ElementsAre("POST /cloud/gateway", "POST /cloud/device/GW4567",
                    "POST /cloud/realdata/GW4567", "GET /cloud/downfile/GW4567",
                    "PUT /cloud/downfile/GW4567", "PUT /cloud/downfile/GW4567",
                    "GET /cloud/f/plain.bin", "PUT /cloud/downfile/GW4567", "GET /cloud/new.conf",
                    "PUT /cloud/downfile/GW4567", "POST /cloud/alarmdata/GW4567",
                    "GET /cloud/calldata/GW4567", "DELETE /cloud/calldata/GW4567"));
    EXPECT_EQ(Text(requests[0]), Expected().gateway);
    EXPECT_EQ(Text(requests[1]), Expected().devices);
    EXPECT_EQ(Text(requests[2]), Expected().realData);
    EXPECT_EQ(Text(requests[4]), StatusBody(Md5Of(content), 1, format));
    EXPECT_EQ(Text(requests[5]), StatusBody(Md5Of(conf), 1, format));
    EXPECT_EQ(Text(requests[7]), StatusBody(Md5Of(content), 2, format));
    EXPECT_EQ(Text(requests[9]), StatusBody(Md5Of(conf), 2, format));
    EXPECT_EQ(Text(requests[10]), Expected().alarms);
    EXPECT_EQ(requests[11].Header("Accept"), "application/" + format + ";");
    EXPECT_EQ(Text(requests[12]), Expected().recallDone);
    EXPECT_EQ(ReadFile("/tmp/plain.bin"), content);
    if (gatewayShell) {
        EXPECT_THAT(ListFolder("/tmp/uploads"), ElementsAre("update.vpk", "update.xml"));
    }
}

using Host426 = HostTest;

TEST_P(Host426, OneDownloadAtATimeAndTheNextAfterItsEnd) {
    Intervals intervals{};
    ASSERT_EQ(plugin_.Init(&intervals), 0);
    WriteFile("/tmp/data/S." + GetParam().format, "x");
    const std::string path = "/tmp/data/S." + GetParam().format;
    server_.Otherwise([](const Request &request) {
        return request.method == "POST" ? Reply(426) : ReplyInPieces(200, {" "});
    });
    EXPECT_EQ(Upload(path), 0);
    server_.WaitForRequests(2);
    EXPECT_EQ(Upload(path), 0) << "no second thread while the first runs";
    server_.Release();
    plugin_.AwaitDownload();
    server_.Release();
    EXPECT_EQ(Upload(path), 0);
    plugin_.AwaitDownload();
    EXPECT_EQ(plugin_.UploadAlarmDataFile(path.c_str()), -1) << "an alarm starts nothing";
    plugin_.AwaitDownload();
    EXPECT_THAT(Lines(server_.Requests()),
                ElementsAre("POST /cloud/realdata/GW4567", "GET /cloud/downfile/GW4567",
                            "POST /cloud/realdata/GW4567", "POST /cloud/realdata/GW4567",
                            "GET /cloud/downfile/GW4567", "POST /cloud/alarmdata/GW4567"));
}

/// A package whose description is a whole XML document.
struct Package {
    std::string vpk = std::string(2000, 'v');
    std::string archive;

    Package() {
        WriteFile("/tmp/make/update.vpk", vpk);
        WriteFile("/tmp/make/update.xml",
                  "<updateConfig>\n<filesize size=\"\"/>\n</updateConfig>\n");
        RunCommand("cd /tmp/make && zip -q package.zip update.vpk update.xml");
        archive = ReadFile("/tmp/make/package.zip");
    }
};

using HostDownload = HostTest;

TEST_P(HostDownload, EveryTypeIsHandedOnItsWay) {
    if (!UseGatewayShell()) {
        GTEST_SKIP() << "no mount namespace of its own";
    }
    const Package package;
    const std::string other = "type 5";
    const std::string plain = "type 9";
    server_.Otherwise([&](const Request &request) {
        if (request.method != "GET") {
            return Reply(request.path == "/cloud/realdata/GW4567" ? 426 : 200);
        }
        if (request.path == "/cloud/downfile/GW4567") {
            return Reply(200, OfferList({{"p.zip", Md5Of(package.archive), 0, ""},
                                         {"o.bin", Md5Of(other), 5, "/tmp"},
                                         {"a/b/c.bin", Md5Of(plain), 9, "/tmp/data"}},
                                        GetParam().format));
        }
        return ReplyFile(request.path == "/cloud/p.zip"   ? package.archive
                         : request.path == "/cloud/o.bin" ? other
                                                          : plain);
    });
    Intervals intervals{};
    ASSERT_EQ(plugin_.Init(&intervals), 0);
    WriteFile("/tmp/data/S." + GetParam().format, "x");
    EXPECT_EQ(Upload("/tmp/data/S." + GetParam().format), 0);
    plugin_.AwaitDownload();
    EXPECT_EQ(ReadFile("/tmp/uploads/update.vpk"), package.vpk);
    EXPECT_EQ(ReadFile("/tmp/uploads/update.xml"),
              "<updateConfig>\n<filesize size=\"2000\"/>\n</updateConfig>\n");
    EXPECT_EQ(ReadFile("/tmp/data/c.bin"), plain);
    EXPECT_THAT(ListFolder("/media/mmcblk0p1"), IsEmpty());
    EXPECT_EQ(server_.Requests().size(), 1U + 1 + 3 + 3 * 2);
}

std::vector<Wire> PlainAndDeflated() {
    std::vector<Wire> wires = AllWires();
    for (Wire wire : AllWires()) {
        wire.compressed = true;
        wires.push_back(wire);
    }
    return wires;
}

std::string RowName(const testing::TestParamInfo<Wire> &row) {
    return NameOf(row.param);
}

INSTANTIATE_TEST_SUITE_P(Wires, HostCycle, testing::ValuesIn(PlainAndDeflated()), RowName);
INSTANTIATE_TEST_SUITE_P(Wires, Host426, testing::ValuesIn(AllWires()), RowName);
INSTANTIATE_TEST_SUITE_P(Wires, HostDownload, testing::ValuesIn(AllWires()), RowName);

TEST(HostInit, FailsWithoutConfigurationAndWithoutARecord) {
    const Plugin plugin;
    Intervals intervals{7, 7, 7, 7, 7};
    EXPECT_EQ(plugin.Init(nullptr), -1);
    EXPECT_EQ(plugin.Init(&intervals), -1);
    EXPECT_EQ(intervals.realData, 7);
    EXPECT_EQ(plugin.SyncHeartBeat(), 0);
}

TEST(HostInit, ARecordAtAnOddAddressIsFilled) {
    GatewayOn(1).Write();
    const Plugin plugin;
    char bytes[sizeof(Intervals) + 1];
    ASSERT_EQ(plugin.Init(bytes + 1), 0);
    Intervals intervals{};
    memcpy(&intervals, bytes + 1, sizeof intervals);
    EXPECT_EQ(intervals.realData, 60);
    EXPECT_EQ(intervals.recall, 64);
}

TEST(HostDriver, PrintsTheRecallsOfTheServer) {
    setenv("TZ", "UTC0", 1);
    ScriptedServer server;
    GatewayOn(server.Port()).Write();
    server.Next(Reply(200,
                      R"({"node":[{"startdt":"1970-01-01 00:00:01","enddt":"1970-01-01 01:00:00"},)"
                      R"({"startdt":"1970-01-02 00:00:00","enddt":"1970-01-02 00:00:09"}]})"));
    const Plugin plugin;
    testing::internal::CaptureStdout();
    EXPECT_EQ(plugin.Main(), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "mrecalltime size =2\n1------3600\n86400------86409\n");
}

TEST(HostDriver, PrintsAnEmptyListWhenNothingIsConfigured) {
    const Plugin plugin;
    testing::internal::CaptureStdout();
    EXPECT_EQ(plugin.Main(), 0);
    EXPECT_THAT(testing::internal::GetCapturedStdout(), HasSubstr("mrecalltime size =0\n"));
}

}  // namespace
}  // namespace corvenna::test
