#include "config/channel_set.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <string>
#include <vector>

#include "log/log.h"
#include "tests/support/capture_stdout.h"
#include "tests/support/files.h"
#include "tests/support/log_capture.h"
#include "tests/support/pauses.h"

namespace corvenna::test {
namespace {

constexpr char kPath[] = "/quorvane/Config/Channel-template.xml";

int Load(CChannelSet &set, const std::string &xml) {
    WriteFile(kPath, xml);
    return set.Open(kPath);
}

MAP_DEV_ATTR Devices(const std::string &channels) {
    const PauseRecorder pauses;
    const LogCapture log;
    CChannelSet set;
    EXPECT_EQ(0, Load(set, "<ChannelConfig>" + channels + "</ChannelConfig>"));
    MAP_DEV_ATTR *devices = nullptr;
    set.GetAttr(&devices);
    return *devices;
}

TEST(ChannelSet, EveryAttributeOfADeviceReachesItsField) {
    const MAP_DEV_ATTR devices =
        Devices(R"(<Channel No="2"><Dev DeviceName="Meter" Name="/none.xml" Protocol="P" Desc="D" )"
                R"(SlaveId="5" Group="3" Other="x"/></Channel>)");
    ASSERT_EQ(1U, devices.count(0x0205));
    const ST_DEV_ATTR &dev = devices.at(0x0205);
    EXPECT_STREQ("Meter", dev.DeviceName);
    EXPECT_STREQ("/none.xml", dev.Name);
    EXPECT_STREQ("P", dev.Protocol);
    EXPECT_STREQ("D", dev.Desc);
    EXPECT_EQ(5, dev.SlaveId);
    EXPECT_EQ(3, dev.GroupNo);
    EXPECT_EQ(2, dev.ChannelNo);
}

TEST(ChannelSet, TheLaterOfTwoDevicesWithOneNumberReplacesTheEarlier) {
    const MAP_DEV_ATTR devices = Devices(
        R"(<Channel No="1"><Dev SlaveId="5" Desc="a"/><Dev SlaveId="5" Desc="b"/></Channel>)");
    ASSERT_EQ(1U, devices.size());
    EXPECT_STREQ("b", devices.at(0x0105).Desc);
}

TEST(ChannelSet, OneAddressOnTwoChannelsIsTwoDevices) {
    const MAP_DEV_ATTR devices = Devices(
        R"(<Channel No="1"><Dev SlaveId="5"/></Channel><Channel No="2"><Dev SlaveId="5"/></Channel>)");
    EXPECT_EQ(2U, devices.size());
    EXPECT_EQ(1U, devices.count(0x0105));
    EXPECT_EQ(1U, devices.count(0x0205));
}

TEST(ChannelSet, ADeviceInheritsWhatItOmitsButItsDisplayName) {
    const MAP_DEV_ATTR devices =
        Devices(R"(<Channel No="1"><Dev DeviceName="A" Name="n" Protocol="P" Desc="D" SlaveId="1" )"
                R"(Group="4"/></Channel><Channel No="2"><Dev/></Channel>)");
    ASSERT_EQ(1U, devices.count(0x0201));
    const ST_DEV_ATTR &heir = devices.at(0x0201);
    EXPECT_STREQ("", heir.DeviceName);
    EXPECT_STREQ("n", heir.Name);
    EXPECT_STREQ("P", heir.Protocol);
    EXPECT_STREQ("D", heir.Desc);
    EXPECT_EQ(4, heir.GroupNo);
}

TEST(ChannelSet, AChannelWithoutANumberKeepsTheOneBefore) {
    const MAP_DEV_ATTR devices = Devices(
        R"(<Channel No="3"><Dev SlaveId="1"/></Channel><Channel><Dev SlaveId="2"/></Channel>)");
    EXPECT_EQ(1U, devices.count(0x0302));
}

TEST(ChannelSet, OtherChildrenOfAChannelAreNoDevices) {
    const MAP_DEV_ATTR devices = Devices(
        R"(<Channel No="1"><Other SlaveId="7" Desc="other"/>text<!--Dev--><Dev SlaveId="2"/>)"
        R"(<dev SlaveId="8"/></Channel><Dev SlaveId="9"/>)");
    ASSERT_EQ(1U, devices.size());
    ASSERT_EQ(1U, devices.count(0x0102));
    EXPECT_STREQ("", devices.at(0x0102).Desc) << "nor inherited from";
}

TEST(ChannelSet, TheFirstDeviceStartsFromAnEmptyRecord) {
    const MAP_DEV_ATTR devices = Devices("<Channel><Dev/></Channel>");
    ASSERT_EQ(1U, devices.count(0));
    const ST_DEV_ATTR empty{};
    EXPECT_EQ(0, std::memcmp(&empty, &devices.at(0), sizeof empty));
}

TEST(ChannelSet, NumbersKeepTheirLowEightBits) {
    const MAP_DEV_ATTR devices =
        Devices(R"(<Channel No="257"><Dev SlaveId="258" Group="259"/></Channel>)");
    ASSERT_EQ(1U, devices.count(0x0102));
    EXPECT_EQ(3, devices.at(0x0102).GroupNo);
}

TEST(ChannelSet, TextsKeep126Characters) {
    for (const std::size_t length : {125U, 126U, 127U, 128U, 1000U}) {
        const std::string text(length, 't');
        const MAP_DEV_ATTR devices =
            Devices("<Channel><Dev DeviceName=\"" + text + "\" Name=\"" + text + "\" Protocol=\"" +
                    text + "\" Desc=\"" + text + "\"/></Channel>");
        const std::string kept = text.substr(0, 126);
        EXPECT_EQ(kept, devices.at(0).DeviceName);
        EXPECT_EQ(kept, devices.at(0).Name);
        EXPECT_EQ(kept, devices.at(0).Protocol);
        EXPECT_EQ(kept, devices.at(0).Desc);
    }
}

TEST(ChannelSet, ADeviceWhosePointFileIsMissingStaysADevice) {
    const PauseRecorder pauses;
    const LogCapture log;
    CChannelSet set;
    EXPECT_EQ(0, Load(set, R"(<ChannelConfig><Channel No="1"><Dev Name="/none.xml" SlaveId="1"/>)"
                           R"(</Channel></ChannelConfig>)"));
    EXPECT_EQ((std::vector<LogEntry>{{kLogError, "[LoadDevPointAttr]: parsed Parse failed"}}),
              log.Text());
    ST_DEV_ATTR *dev = nullptr;
    EXPECT_EQ(0, set.GetAttr(static_cast<unsigned short>(0x0101), &dev));
    MAP_CHANNEL_POINT *points = nullptr;
    set.GetAttr(&points);
    EXPECT_TRUE(points->empty());
}

TEST(ChannelSet, LoadingPausesAfterEachDeviceAndEachChildOfTheRoot) {
    const PauseRecorder pauses;
    const LogCapture log;
    CChannelSet set;
    Load(set, R"(<ChannelConfig><Channel No="1"><Dev SlaveId="1"/><Dev SlaveId="2"/></Channel>)"
              R"(<Other/><Channel No="2"><Dev SlaveId="1"/></Channel></ChannelConfig>)");
    EXPECT_EQ(std::vector<unsigned>(6, 100000U), pauses.Microseconds());
}

TEST(ChannelSet, ThreeChannelsOfTwoDevicesTakeNineTenthsOfASecond) {
    const LogCapture log;
    std::string channels;
    for (const char *number : {"1", "2", "3"}) {
        channels += "<Channel No=\"" + std::string(number) +
                    "\"><Dev SlaveId=\"1\"/><Dev SlaveId=\"2\"/></Channel>";
    }
    CChannelSet set;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(0, Load(set, "<ChannelConfig>" + channels + "</ChannelConfig>"));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(900));
}

TEST(ChannelSet, DocumentsThatCannotBeUsedFailOpen) {
    const LogCapture log;
    CChannelSet set;
    EXPECT_EQ(-1, Load(set, ""));
    EXPECT_EQ(-1, set.Open("/none"));
    EXPECT_EQ(-1, set.Open(nullptr));
    EXPECT_EQ(-1, Load(set, "<channelConfig/>"));
    EXPECT_EQ(-1, set.IsOpen());
    EXPECT_EQ(-1, set.LoadNodeFromXml());
    EXPECT_EQ((std::vector<LogEntry>{
                  {kLogError, "Document /quorvane/Config/Channel-template.xml parsed failed."},
                  {kLogError, "Document /none parsed failed."},
                  {kLogError, "Document  parsed failed."},
                  {kLogError, "[LoadChannelParamFromXml]: Root node is not 'ChannelConfig'"},
                  {kLogError, "[LoadChannelParamFromXml]: Xml document is null"}}),
              log.Text());
}

TEST(ChannelSet, CloseFreesTheTemplateAndKeepsTheMaps) {
    const PauseRecorder pauses;
    const LogCapture log;
    CChannelSet set;
    EXPECT_EQ(-1, set.Close());
    Load(set, R"(<ChannelConfig><Channel No="1"><Dev SlaveId="1"/></Channel></ChannelConfig>)");
    EXPECT_EQ(0, set.IsOpen());
    EXPECT_EQ(0, set.Close());
    EXPECT_EQ(-1, set.IsOpen());
    ST_DEV_ATTR *dev = nullptr;
    EXPECT_EQ(0, set.GetAttr(static_cast<unsigned short>(0x0101), &dev));
}

TEST(ChannelSet, ASecondLoadAddsAndOverwritesAndRemovesNothing) {
    const PauseRecorder pauses;
    const LogCapture log;
    CChannelSet set;
    Load(
        set,
        R"(<ChannelConfig><Channel No="1"><Dev SlaveId="1" Desc="a"/><Dev SlaveId="2"/></Channel></ChannelConfig>)");
    Load(
        set,
        R"(<ChannelConfig><Channel No="1"><Dev SlaveId="1" Desc="b"/><Dev SlaveId="3"/></Channel></ChannelConfig>)");
    MAP_DEV_ATTR *devices = nullptr;
    set.GetAttr(&devices);
    EXPECT_EQ(3U, devices->size());
    EXPECT_STREQ("b", devices->at(0x0101).Desc);
}

TEST(ChannelSetLookup, HandsOutPointersIntoTheObject) {
    CChannelSet set;
    ST_DEV_ATTR dev{};
    dev.ChannelNo = 1;
    dev.SlaveId = 2;
    EXPECT_EQ(0, set.AddDev(dev));
    ST_POINTID_ATTR point{};
    point.GroupNo = 1;
    point.DevId = 2;
    point.db_link = 0x01020003;
    EXPECT_EQ(0, set.AddSamplePoint(point));

    MAP_DEV_ATTR *devices = nullptr;
    MAP_POINTID_ATTR *points = nullptr;
    MAP_CHANNEL_POINT *tree = nullptr;
    set.GetAttr(&devices);
    set.GetAttr(&points);
    set.GetAttr(&tree);
    ST_DEV_ATTR *foundDev = nullptr;
    ST_POINTID_ATTR *foundPoint = nullptr;
    EXPECT_EQ(0, set.GetAttr(static_cast<unsigned short>(0x0102), &foundDev));
    EXPECT_EQ(0, set.GetAttr(0x01020003U, &foundPoint));
    EXPECT_EQ(&devices->at(0x0102), foundDev);
    EXPECT_EQ(&points->at(0x01020003), foundPoint);
    EXPECT_EQ(1U, tree->at(1).at(2).count(0x01020003));
}

TEST(ChannelSetLookup, UnknownKeysArePrintedAndFail) {
    const LogCapture log;
    CChannelSet set;
    ST_DEV_ATTR *dev = nullptr;
    ST_POINTID_ATTR *point = nullptr;
    EXPECT_EQ("Can not find Device 00ff's Attr\n", Printed([&] {
                  EXPECT_EQ(-1, set.GetAttr(static_cast<unsigned short>(0xFF), &dev));
              }));
    EXPECT_EQ("Can not find DataId 0000abcd's Attr \n",
              Printed([&] { EXPECT_EQ(-1, set.GetAttr(0xABCDU, &point)); }));
    EXPECT_EQ(nullptr, dev);
    EXPECT_EQ(nullptr, point);
    EXPECT_TRUE(log.Text().empty());
}

TEST(ChannelSetLookup, ANullTargetFailsWithoutAPrint) {
    CChannelSet set;
    EXPECT_EQ("", Printed([&] {
                  EXPECT_EQ(-1, set.GetAttr(static_cast<unsigned short>(1),
                                            static_cast<ST_DEV_ATTR **>(nullptr)));
                  EXPECT_EQ(-1, set.GetAttr(1U, static_cast<ST_POINTID_ATTR **>(nullptr)));
                  set.GetAttr(static_cast<MAP_CHANNEL_POINT **>(nullptr));
                  set.GetAttr(static_cast<MAP_DEV_ATTR **>(nullptr));
                  set.GetAttr(static_cast<MAP_POINTID_ATTR **>(nullptr));
              }));
}

ST_DEV_ATTR SomeDevice() {
    ST_DEV_ATTR dev{};
    std::strcpy(dev.DeviceName, "hidden");
    std::strcpy(dev.Name, "n");
    std::strcpy(dev.Protocol, "p");
    std::strcpy(dev.Desc, "d");
    dev.SlaveId = 1;
    dev.GroupNo = 2;
    dev.ChannelNo = 3;
    return dev;
}

constexpr char kDeviceLines[] =
    "       Name=n\n"
    "       Protocol=p\n"
    "       Desc=d\n"
    "       SlaveId=1\n"
    "       GroupNo=2\n"
    "       ChannelNo=3\n";

TEST(ShowDevInfo, PrintsADeviceWithoutItsDisplayName) {
    CChannelSet set;
    const ST_DEV_ATTR dev = SomeDevice();
    EXPECT_EQ(kDeviceLines, Printed([&] { EXPECT_EQ(0, set.ShowDevInfo(&dev)); }));
}

TEST(ShowDevInfo, PrintsAMapInTheOrderOfItsKeys) {
    CChannelSet set;
    const MAP_DEV_ATTR devices{{0x0301, SomeDevice()}, {0x000A, SomeDevice()}};
    EXPECT_EQ(std::string("DevNo = 000a\n") + kDeviceLines + "DevNo = 0301\n" + kDeviceLines,
              Printed([&] { EXPECT_EQ(0, set.ShowDevInfo(&devices)); }));
}

TEST(ShowDevInfo, SaysWhenThereIsNothingToShow) {
    CChannelSet set;
    EXPECT_EQ("ShowDevInfo(ST_DEV_ATTR *p),err,pointer is null\n", Printed([&] {
                  EXPECT_EQ(-1, set.ShowDevInfo(static_cast<ST_DEV_ATTR *>(nullptr)));
              }));
    EXPECT_EQ("ShowDevInfo(MAP_DEV_ATTR *p),err,pointer is null\n", Printed([&] {
                  EXPECT_EQ(-1, set.ShowDevInfo(static_cast<MAP_DEV_ATTR *>(nullptr)));
              }));
}

ST_POINTID_ATTR SomePoint() {
    ST_POINTID_ATTR point{};
    std::strcpy(point.Name, "Ua");
    point.GroupNo = 1;
    point.DevId = 2;
    point.type = 1;
    point.NodeId = 291;
    point.db_link = 0x01021123;
    std::strcpy(point.EUUnits, "V");
    return point;
}

constexpr char kPointLine[] =
    "Name = Ua,GroupNo = 1,DevId = 2,type = 1,NodeId = 291,db_link = 01021123,EUUnits = V\n";

TEST(ShowSamplePointInfo, PrintsAPointOnOneLine) {
    CChannelSet set;
    const ST_POINTID_ATTR point = SomePoint();
    EXPECT_EQ(kPointLine, Printed([&] { EXPECT_EQ(0, set.ShowSamplePointInfo(&point)); }));
    EXPECT_EQ("ShowSamplePointInfo(ST_POINTID_ATTR *p) err,pointer is NULL\n", Printed([&] {
                  EXPECT_EQ(-1, set.ShowSamplePointInfo(static_cast<ST_POINTID_ATTR *>(nullptr)));
              }));
}

TEST(ShowSamplePointInfo, PrintsTheCatalogueAsATree) {
    CChannelSet set;
    const MAP_CHANNEL_POINT points{{1, {{2, {{0x01021123, SomePoint()}}}, {3, {}}}}, {9, {}}};
    EXPECT_EQ(std::string("Group Number = 1\n    |Dev Number = 2\n        |") + kPointLine +
                  "    |Dev Number = 3\nGroup Number = 9\n",
              Printed([&] { EXPECT_EQ(0, set.ShowSamplePointInfo(&points)); }));
}

TEST(ShowSamplePointInfo, AnEmptyCataloguePrintsNothing) {
    CChannelSet set;
    const MAP_CHANNEL_POINT points;
    EXPECT_EQ("", Printed([&] { EXPECT_EQ(0, set.ShowSamplePointInfo(&points)); }));
    EXPECT_EQ("", Printed([&] {
                  EXPECT_EQ(-1, set.ShowSamplePointInfo(static_cast<MAP_CHANNEL_POINT *>(nullptr)));
              }));
}

}  // namespace
}  // namespace corvenna::test
