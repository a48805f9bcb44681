#include <gtest/gtest.h>

#include <cmath>
#include <ctime>
#include <limits>
#include <string>
#include <vector>

#include "config/channel_set.h"
#include "plugin/instances.h"
#include "tests/packfile/packing.h"
#include "tests/support/files.h"

namespace corvenna::test {
namespace {

using Pauses = std::vector<unsigned>;
using Entries = std::vector<LogEntry>;

constexpr char kJsonHead[] = R"({"logdt":"2024-03-05 07:08:09","device":[)";
constexpr char kXmlHead[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<data logdt=\"2024-03-05 07:08:09\">\n";

std::string Json(const std::string &devices) {
    return kJsonHead + devices + "]}";
}

std::string Xml(const std::string &devices) {
    return kXmlHead + devices + "</data>\n";
}

class RealData : public EveryFormat {
protected:
    RealData() { Configure(GetParam()); }

    /// Device 1 of channel 2 with a value and its status.
    void AddAnsweringDevice() {
        AddPoint(0x02010001, "Ua", "V");
        AddPoint(0x02010100, "Link", "-");
        values_[0x02010001] = 229.87;
        values_[0x02010100] = 1;
    }

    void ExpectDocument(const std::string &jsonDevices, const std::string &xmlDevices) {
        EXPECT_EQ(RealDataText(), IsJson() ? Json(jsonDevices) : Xml(xmlDevices));
    }

    void ExpectAbandoned(const std::string &id) {
        EXPECT_EQ(CreateRealData(), 0);
        EXPECT_TRUE(files_.empty());
        EXPECT_TRUE(ListFolder(dir_).empty());
        const std::string json = "CreateRealDataJsonFile /tmp/up/S20240305070809.json";
        const std::string xml = "CreateRealDataXmlFile /tmp/up/S20240305070809.xml";
        EXPECT_EQ(log_.Text(),
                  (Entries{{3, (IsJson() ? json : xml) + " Error, can't find id: " + id}}));
    }
};

INSTANTIATE_TEST_SUITE_P(Formats, RealData, testing::Values("json", "xml"), FormatName);

TEST_P(RealData, ShowsDevicesThatAnswerAndDevicesThatDoNot) {
    AddAnsweringDevice();
    AddPoint(0x02020001, "Ub", "V");
    AddPoint(0x02020100, "Link", "-");
    values_[0x02020001] = 230;
    values_[0x02020100] = 0;
    EXPECT_EQ(RealDataText(),
              ByFormat(R"({"logdt":"2024-03-05 07:08:09","device":[{"id":1,"channel":2,"node":[)"
                       R"({"dblink":"02010001","name":"Ua","unit":"V","value":"229.870"},)"
                       R"({"dblink":"02010100","name":"Comm_Status","unit":"","value":"1"}]},)"
                       R"({"id":2,"channel":2,"node":[)"
                       R"({"dblink":"02020100","name":"Comm_Status","unit":"","value":"0"}]}]})",
                       R"(<?xml version="1.0" encoding="UTF-8"?>
<data logdt="2024-03-05 07:08:09">
  <device id="1" channel="2">
    <node dblink="02010001" name="Ua" value="229.870" unit="V"/>
    <node dblink="02010100" name="Comm_Status" value="1.000" unit="-"/>
  </device>
  <device id="2" channel="2">
    <node dblink="02020100" name="Comm_Status" value="0" unit=""/>
  </device>
</data>
)"));
}

TEST_P(RealData, WithoutChannelsIsAnEmptyDocument) {
    EXPECT_EQ(RealDataText(), ByFormat(R"({"logdt":"2024-03-05 07:08:09","device":[]})",
                                       "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                       "<data logdt=\"2024-03-05 07:08:09\"/>\n"));
    EXPECT_EQ(pauses_.Microseconds(), Pauses{});
}

TEST_P(RealData, ResultIsZeroInJsonAndTheBytesWrittenInXml) {
    AddAnsweringDevice();
    const std::int32_t result = CreateRealData();
    ASSERT_EQ(files_.size(), 1U);
    EXPECT_EQ(result, IsJson() ? 0 : static_cast<std::int32_t>(ReadFile(files_[0]).size()));
}

TEST_P(RealData, SuccessIsLoggedWithThePath) {
    const std::int32_t result = CreateRealData();
    const std::string json = "CreateRealDataJsonFile /tmp/up/S20240305070809.json Success";
    const std::string xml = "CreateRealDataXmlFile /tmp/up/S20240305070809.xml Success,fileSize:";
    EXPECT_EQ(log_.Text(), (Entries{{3, IsJson() ? json : xml + std::to_string(result)}}));
    EXPECT_EQ(log_.Database(), Entries{});
}

TEST_P(RealData, SameSampleTimeReplacesTheFileAndListsItTwice) {
    values_[0x02010001] = 1;
    values_[0x02010100] = 1;
    AddPoint(0x02010001, "A point with a long name", "unit");
    CreateRealData();
    values_[0x02010100] = 0;
    CreateRealData();
    ASSERT_EQ(files_.size(), 2U);
    EXPECT_EQ(files_[0], files_[1]);
    EXPECT_EQ(ReadFile(files_[0]),
              ByFormat(Json(R"({"id":1,"channel":2,"node":[{"dblink":"02010100",)"
                            R"("name":"Comm_Status","unit":"","value":"0"}]})"),
                       Xml("  <device id=\"1\" channel=\"2\">\n"
                           "    <node dblink=\"02010100\" name=\"Comm_Status\" value=\"0\" "
                           "unit=\"\"/>\n  </device>\n")));
}

struct StatusRow {
    double value;
    bool up;
};

TEST_P(RealData, StatusIsDownBelowATenth) {
    AddPoint(0x02010001, "Ua", "V");
    values_[0x02010001] = 5;
    const StatusRow rows[] = {{0.0, false},
                              {-1.0, false},
                              {std::nextafter(0.1, 0.0), false},
                              {0.1, true},
                              {std::nextafter(0.1, 1.0), true},
                              {1.0, true},
                              {std::numeric_limits<double>::quiet_NaN(), true},
                              {-std::numeric_limits<double>::infinity(), false}};
    for (const StatusRow &row : rows) {
        values_[0x02010100] = row.value;
        const std::string text = RealDataText();
        EXPECT_EQ(text.find("Ua") != std::string::npos, row.up) << row.value;
        EXPECT_EQ(text.find("Comm_Status") != std::string::npos, !row.up) << row.value;
    }
}

TEST_P(RealData, MissingStatusIsDown) {
    AddPoint(0x02010001, "Ua", "V");
    values_[0x02010001] = 5;
    ExpectDocument(R"({"id":1,"channel":2,"node":[)"
                   R"({"dblink":"02010100","name":"Comm_Status","unit":"","value":"0"}]})",
                   "  <device id=\"1\" channel=\"2\">\n"
                   "    <node dblink=\"02010100\" name=\"Comm_Status\" value=\"0\" unit=\"\"/>\n"
                   "  </device>\n");
}

TEST_P(RealData, DeviceThatDoesNotAnswerLeavesTheCursorWhereItIs) {
    AddPoint(0x02010001, "absent", "");
    AddPoint(0x02020001, "present", "");
    values_[0x02010100] = 0;
    values_[0x02020001] = 7;
    values_[0x02020100] = 1;
    EXPECT_NE(RealDataText().find("present"), std::string::npos);
}

TEST_P(RealData, MeasuredStatusShowsInXmlOnly) {
    AddPoint(0x02010100, "Link", "state");
    values_[0x02010100] = 0.25;
    ExpectDocument(
        R"({"id":1,"channel":2,"node":[)"
        R"({"dblink":"02010100","name":"Comm_Status","unit":"","value":"1"}]})",
        "  <device id=\"1\" channel=\"2\">\n"
        "    <node dblink=\"02010100\" name=\"Comm_Status\" value=\"0.250\" unit=\"state\"/>\n"
        "  </device>\n");
}

TEST_P(RealData, AnsweringDeviceWithoutStatusPointListsItsPointsOnly) {
    AddPoint(0x02010001, "Ua", "V");
    values_[0x02010001] = 5;
    values_[0x02010100] = 1;
    ExpectDocument(R"({"id":1,"channel":2,"node":[)"
                   R"({"dblink":"02010001","name":"Ua","unit":"V","value":"5.000"}]})",
                   "  <device id=\"1\" channel=\"2\">\n"
                   "    <node dblink=\"02010001\" name=\"Ua\" value=\"5.000\" unit=\"V\"/>\n"
                   "  </device>\n");
}

TEST_P(RealData, DeviceWithoutPointsIsAnEmptyEntry) {
    MAP_CHANNEL_POINT *points = nullptr;
    GetCChannelSetInstance()->GetAttr(&points);
    (*points)[2][1];
    values_[0x02010100] = 1;
    ExpectDocument(R"({"id":1,"channel":2,"node":[]})", "  <device id=\"1\" channel=\"2\"/>\n");
}

TEST_P(RealData, Channel192HasNoStatusAndItsOwnOrderInXml) {
    AddPoint(0xC0010001, "Load", "kW");
    AddPoint(0xC0010100, "Link", "-");
    values_[0xC0010001] = 1.5;
    values_[0xC0010100] = 0;
    ExpectDocument(R"({"id":1,"channel":192,"node":[)"
                   R"({"dblink":"c0010001","name":"Load","unit":"kW","value":"1.500"},)"
                   R"({"dblink":"c0010100","name":"Link","unit":"-","value":"0.000"}]})",
                   "  <device id=\"1\" channel=\"192\">\n"
                   "    <node name=\"Load\" dblink=\"c0010001\" value=\"1.500\" unit=\"kW\"/>\n"
                   "    <node name=\"Link\" dblink=\"c0010100\" value=\"0.000\" unit=\"-\"/>\n"
                   "  </device>\n");
}

TEST_P(RealData, Channel193IsNeverWrittenAndNeedsNoValues) {
    AddPoint(0xC1010001, "Hidden", "V");
    AddPoint(0xC2010001, "Shown", "V");
    values_[0xC2010001] = 1;
    values_[0xC2010100] = 1;
    ExpectDocument(R"({"id":1,"channel":194,"node":[)"
                   R"({"dblink":"c2010001","name":"Shown","unit":"V","value":"1.000"}]})",
                   "  <device id=\"1\" channel=\"194\">\n"
                   "    <node dblink=\"c2010001\" name=\"Shown\" value=\"1.000\" unit=\"V\"/>\n"
                   "  </device>\n");
    EXPECT_EQ(pauses_.Microseconds(), (Pauses{500000, 100000, 500000}));
}

TEST_P(RealData, ChannelsDevicesAndPointsAscend) {
    for (const std::uint32_t id :
         {0xFF020001U, 0xFF010002U, 0xFF010001U, 0x00FF0FFFU, 0x00000000U}) {
        AddPoint(id, "p", "u");
        values_[id] = 1;
        values_[(id & 0xFFFF0000U) | 0x0100U] = 1;
    }
    const std::string text = RealDataText();
    std::size_t position = 0;
    for (const char *id : {"00000000", "00ff0fff", "ff010001", "ff010002", "ff020001"}) {
        const std::size_t next = text.find(id);
        ASSERT_NE(next, std::string::npos) << id;
        EXPECT_GT(next, position);
        position = next;
    }
}

TEST_P(RealData, PausesAfterEveryDeviceAndEveryChannel) {
    AddAnsweringDevice();
    AddPoint(0x02020001, "down", "");
    AddPoint(0xC0010001, "Load", "kW");
    values_[0xC0010001] = 1;
    AddPoint(0xC1010001, "Hidden", "V");
    RealDataText();
    EXPECT_EQ(pauses_.Microseconds(), (Pauses{100000, 100000, 500000, 100000, 500000, 500000}));
}

TEST_P(RealData, ValuesThatNoPointWantsArePassedOver) {
    AddAnsweringDevice();
    values_[0] = 1;
    values_[0x02010000] = 1;
    values_[0x02010050] = 1;
    values_[0xFFFFFFFF] = 1;
    EXPECT_NE(RealDataText().find("229.870"), std::string::npos);
}

TEST_P(RealData, MissingValueAbandonsTheDocument) {
    AddAnsweringDevice();
    AddPoint(0x02010002, "Ub", "V");
    ExpectAbandoned("02010002");
    EXPECT_EQ(pauses_.Microseconds(), Pauses{});
}

TEST_P(RealData, MissingLastValueAbandonsTheDocumentAfterItsPauses) {
    AddAnsweringDevice();
    AddPoint(0xC0FF0001, "Load", "kW");
    ExpectAbandoned("c0ff0001");
    EXPECT_EQ(pauses_.Microseconds(), (Pauses{100000, 500000}));
}

TEST_P(RealData, EmptySnapshotAbandonsTheDocumentOfChannel192) {
    AddPoint(0xC0010001, "Load", "kW");
    ExpectAbandoned("c0010001");
}

TEST_P(RealData, EmptySnapshotShowsOrdinaryDevicesDown) {
    AddPoint(0x02010001, "Ua", "V");
    EXPECT_NE(RealDataText().find("Comm_Status"), std::string::npos);
}

// A "Node" element without an id is stored under data id 0, wherever it stands.
void AddMisplacedPoint(std::uint8_t channel, std::uint8_t device, std::uint32_t id) {
    ST_POINTID_ATTR point{};
    point.GroupNo = channel;
    point.DevId = device;
    point.db_link = id;
    GetCChannelSetInstance()->AddSamplePoint(point);
}

TEST_P(RealData, CursorStaysForAnEntryThatIsWantedTwice) {
    AddMisplacedPoint(192, 1, 0);
    AddMisplacedPoint(192, 2, 0);
    values_[0] = 4;
    ExpectDocument(R"({"id":1,"channel":192,"node":[)"
                   R"({"dblink":"00000000","name":"","unit":"","value":"4.000"}]},)"
                   R"({"id":2,"channel":192,"node":[)"
                   R"({"dblink":"00000000","name":"","unit":"","value":"4.000"}]})",
                   "  <device id=\"1\" channel=\"192\">\n"
                   "    <node name=\"\" dblink=\"00000000\" value=\"4.000\" unit=\"\"/>\n"
                   "  </device>\n"
                   "  <device id=\"2\" channel=\"192\">\n"
                   "    <node name=\"\" dblink=\"00000000\" value=\"4.000\" unit=\"\"/>\n"
                   "  </device>\n");
}

TEST_P(RealData, CursorNeverGoesBack) {
    AddMisplacedPoint(192, 1, 0xC0050001);
    AddMisplacedPoint(192, 2, 0xC0020001);
    values_[0xC0020001] = 1;
    values_[0xC0050001] = 1;
    ExpectAbandoned("c0020001");
}

TEST_P(RealData, StatusBehindTheCursorAbandonsXmlOnly) {
    AddMisplacedPoint(1, 1, 0x05000000);
    AddMisplacedPoint(2, 1, 0x02010100);
    values_[0x01010100] = 1;
    values_[0x02010100] = 1;
    values_[0x05000000] = 1;
    if (!IsJson()) {
        ExpectAbandoned("02010100");
        return;
    }
    EXPECT_EQ(RealDataText(),
              Json(R"({"id":1,"channel":1,"node":[)"
                   R"({"dblink":"05000000","name":"","unit":"","value":"1.000"}]},)"
                   R"({"id":1,"channel":2,"node":[)"
                   R"({"dblink":"02010100","name":"Comm_Status","unit":"","value":"1"}]})"));
}

TEST_P(RealData, ValueIsCutAt14Characters) {
    AddPoint(0xC0010001, "Energy", "Wh");
    values_[0xC0010001] = 12345678901.5;
    const std::string text = RealDataText();
    EXPECT_NE(text.find(ByFormat("\"value\":\"12345678901.50\"", "value=\"12345678901.50\"")),
              std::string::npos)
        << text;
}

TEST_P(RealData, NumbersBeyondMeasureAreWrittenAsTheyPrint) {
    AddPoint(0xC0010001, "a", "");
    AddPoint(0xC0010002, "b", "");
    AddPoint(0xC0010003, "c", "");
    values_[0xC0010001] = -std::numeric_limits<double>::infinity();
    values_[0xC0010002] = std::copysign(std::numeric_limits<double>::quiet_NaN(), -1.0);
    values_[0xC0010003] = -0.0;
    const std::string text = RealDataText();
    for (const char *value : {"\"-inf\"", "\"-nan\"", "\"-0.000\""}) {
        EXPECT_NE(text.find(value), std::string::npos) << value;
    }
}

TEST_P(RealData, NamesAndUnitsAreEscaped) {
    AddPoint(0xC0010001, "a\"b\\c<d>&'e\n\t\x01/\xc3\xa9", "m\xc2\xb3/h & <x>");
    values_[0xC0010001] = 1;
    ExpectDocument(
        "{\"id\":1,\"channel\":192,\"node\":[{\"dblink\":\"c0010001\","
        "\"name\":\"a\\\"b\\\\c<d>&'e\\n\\t\\u0001/\xc3\xa9\",\"unit\":\"m\xc2\xb3/h & <x>\","
        "\"value\":\"1.000\"}]}",
        "  <device id=\"1\" channel=\"192\">\n"
        "    <node name=\"a&quot;b\\c&lt;d&gt;&amp;'e&#10;&#9;\x01/\xc3\xa9\" dblink=\"c0010001\" "
        "value=\"1.000\" unit=\"m\xc2\xb3/h &amp; &lt;x&gt;\"/>\n"
        "  </device>\n");
}

TEST_P(RealData, EntitiesInNamesAreOrdinaryText) {
    AddPoint(0xC0010001, "&amp; &#65; &nothing;", "");
    values_[0xC0010001] = 1;
    EXPECT_NE(RealDataText().find(
                  ByFormat("\"&amp; &#65; &nothing;\"", "\"&amp;amp; &amp;#65; &amp;nothing;\"")),
              std::string::npos);
}

TEST_P(RealData, InvalidUtf8IsCopiedByteForByte) {
    AddPoint(0xC0010001, "cut \xe4\xb8", "\xff");
    values_[0xC0010001] = 1;
    ExpectDocument(
        "{\"id\":1,\"channel\":192,\"node\":[{\"dblink\":\"c0010001\",\"name\":\"cut \xe4\xb8\","
        "\"unit\":\"\xff\",\"value\":\"1.000\"}]}",
        "  <device id=\"1\" channel=\"192\">\n"
        "    <node name=\"cut \xe4\xb8\" dblink=\"c0010001\" value=\"1.000\" unit=\"\xff\"/>\n"
        "  </device>\n");
}

TEST_P(RealData, LongestNamesAndUnitsAreWhole) {
    const std::string name(126, 'N');
    const std::string unit(126, 'U');
    AddPoint(0xC0010001, name, unit);
    values_[0xC0010001] = 1;
    const std::string text = RealDataText();
    EXPECT_NE(text.find('"' + name + '"'), std::string::npos);
    EXPECT_NE(text.find('"' + unit + '"'), std::string::npos);
}

class Forwarding : public RealData {
protected:
    Forwarding() { Configure(GetParam(), false, 7); }
};

INSTANTIATE_TEST_SUITE_P(Formats, Forwarding, testing::Values("json", "xml"), FormatName);

TEST_P(Forwarding, ShowsTheTablesOfItsChannelInTheOrderOfNames) {
    AddPoint(0x02010001, "not shown", "V");
    ForwardTables()[7][2][1] = {{"b", 0x02010001}, {"a", 0x02010002}, {"B", 0x02010100}};
    ForwardTables()[8][2][1] = {{"of another channel", 0x02010003}};
    values_ = {{0x02010001, 1}, {0x02010002, 2}, {0x02010100, 0.5}};
    ExpectDocument(
        R"({"id":1,"channel":2,"node":[)"
        R"({"dblink":"02010100","name":"Comm_Status","unit":"","value":"1"},)"
        R"({"dblink":"02010002","name":"a","unit":"","value":"2.000"},)"
        R"({"dblink":"02010001","name":"b","unit":"","value":"1.000"}]})",
        "  <device id=\"1\" channel=\"2\">\n"
        "    <node dblink=\"02010100\" name=\"Comm_Status\" value=\"0.500\" unit=\"\"/>\n"
        "    <node dblink=\"02010002\" name=\"a\" value=\"2.000\" unit=\"\"/>\n"
        "    <node dblink=\"02010001\" name=\"b\" value=\"1.000\" unit=\"\"/>\n"
        "  </device>\n");
}

TEST_P(Forwarding, MissingValueIsMinusOne) {
    ForwardTables()[7][2][1] = {{"a", 0x02010001}};
    values_ = {{0x02010100, 1}};
    ExpectDocument(R"({"id":1,"channel":2,"node":[)"
                   R"({"dblink":"02010001","name":"a","unit":"","value":"-1.000"}]})",
                   "  <device id=\"1\" channel=\"2\">\n"
                   "    <node dblink=\"02010001\" name=\"a\" value=\"-1.000\" unit=\"\"/>\n"
                   "  </device>\n");
}

TEST_P(Forwarding, DeviceThatDoesNotAnswerShowsItsStatusOnly) {
    ForwardTables()[7][2][1] = {{"a", 0x02010001}};
    values_ = {{0x02010001, 1}, {0x02010100, 0.05}};
    ExpectDocument(R"({"id":1,"channel":2,"node":[)"
                   R"({"dblink":"02010100","name":"Comm_Status","unit":"","value":"0"}]})",
                   "  <device id=\"1\" channel=\"2\">\n"
                   "    <node dblink=\"02010100\" name=\"Comm_Status\" value=\"0\" unit=\"\"/>\n"
                   "  </device>\n");
}

TEST_P(Forwarding, Channel192HasABlankUnitInXml) {
    ForwardTables()[7][192][3] = {{"Load", 0xC0030001}, {"Link", 0xC0030100}};
    values_ = {{0xC0030001, 2.5}};
    ExpectDocument(R"({"id":3,"channel":192,"node":[)"
                   R"({"dblink":"c0030100","name":"Link","unit":"","value":"-1.000"},)"
                   R"({"dblink":"c0030001","name":"Load","unit":"","value":"2.500"}]})",
                   "  <device id=\"3\" channel=\"192\">\n"
                   "    <node name=\"Link\" dblink=\"c0030100\" value=\"-1.000\" unit=\" \"/>\n"
                   "    <node name=\"Load\" dblink=\"c0030001\" value=\"2.500\" unit=\" \"/>\n"
                   "  </device>\n");
}

TEST_P(Forwarding, Channel193IsNotWritten) {
    ForwardTables()[7][193][1] = {{"Hidden", 0xC1010001}};
    EXPECT_EQ(RealDataText().find("Hidden"), std::string::npos);
    EXPECT_EQ(pauses_.Microseconds(), Pauses{});
}

TEST_P(Forwarding, PausesAfterDevicesButNotAfterChannels) {
    ForwardTables()[7][2][1] = {{"a", 0x02010001}};
    ForwardTables()[7][2][2] = {{"a", 0x02020001}};
    ForwardTables()[7][192][1] = {{"a", 0xC0010001}};
    RealDataText();
    EXPECT_EQ(pauses_.Microseconds(), (Pauses{100000, 100000, 100000}));
}

TEST_P(Forwarding, ConfiguredChannelWithoutTablesIsAnEmptyDocument) {
    AddAnsweringDevice();
    ForwardTables()[7];
    EXPECT_EQ(RealDataText().find("Ua"), std::string::npos);
}

TEST_P(Forwarding, UnknownChannelFallsBackToTheChannelSet) {
    AddAnsweringDevice();
    ForwardTables()[8][2][1] = {{"forwarded", 0x02010001}};
    EXPECT_NE(RealDataText().find("Ua"), std::string::npos);
    EXPECT_EQ(pauses_.Microseconds(), (Pauses{100000, 500000}));
}

TEST_P(Forwarding, ChannelZeroMeansNoneEvenWhereOneIsConfigured) {
    Configure(GetParam(), false, 0);
    AddAnsweringDevice();
    ForwardTables()[0][2][1] = {{"forwarded", 0x02010001}};
    EXPECT_NE(RealDataText().find("Ua"), std::string::npos);
}

TEST_P(Forwarding, Channel255IsAChannelLikeAnyOther) {
    Configure(GetParam(), false, 255);
    ForwardTables()[255][2][1] = {{"forwarded", 0x02010001}};
    values_[0x02010100] = 1;
    EXPECT_NE(RealDataText().find("forwarded"), std::string::npos);
}

TEST_P(Forwarding, NamesOfAnyLengthAreWhole) {
    const std::string name = std::string(5000, 'n') + "\"";
    ForwardTables()[7][192][1] = {{name, 0xC0010001}};
    EXPECT_NE(RealDataText().find(std::string(5000, 'n') + ByFormat("\\\"", "&quot;")),
              std::string::npos);
}

struct ZoneRow {
    const char *zone;
    std::time_t time;
    const char *logdt;
    const char *file;
};

// Central European rules: forward on 2024-03-31 and back on 2024-10-27, both at 01:00 UTC.
constexpr char kBerlin[] = "CET-1CEST,M3.5.0,M10.5.0/3";

const ZoneRow kZones[] = {
    {"UTC0", kSampleTime, "2024-03-05 07:08:09", "S20240305070809"},
    {"CST-8", kSampleTime, "2024-03-05 15:08:09", "S20240305150809"},
    {"XXX3:30", kSampleTime, "2024-03-05 03:38:09", "S20240305033809"},
    {kBerlin, 1711846799, "2024-03-31 01:59:59", "S20240331015959"},
    {kBerlin, 1711846800, "2024-03-31 03:00:00", "S20240331030000"},
    {kBerlin, 1729990799, "2024-10-27 02:59:59", "S20241027025959"},
    {kBerlin, 1729990800, "2024-10-27 02:00:00", "S20241027020000"},
    {"UTC0", 0, "1970-01-01 00:00:00", "S19700101000000"},
    {"UTC0", -1, "1969-12-31 23:59:59", "S19691231235959"},
    {"UTC0", 2147483647, "2038-01-19 03:14:07", "S20380119031407"},
};

TEST_P(RealData, SampleTimeIsLocalTime) {
    for (const ZoneRow &row : kZones) {
        SetZone(row.zone);
        sampleTime_ = row.time;
        const std::string text = RealDataText();
        EXPECT_NE(text.find('"' + std::string(row.logdt) + '"'), std::string::npos) << text;
        EXPECT_EQ(files_.at(0), "/tmp/up/" + std::string(row.file) + '.' + GetParam());
    }
}

constexpr bool kTimeIsWide = sizeof(std::time_t) > sizeof(std::int32_t);

TEST_P(RealData, SampleTimeBeyondTheCalendarIsAnError) {
    if (!kTimeIsWide) {
        GTEST_SKIP() << "every 32-bit time has a date";
    }
    sampleTime_ = std::numeric_limits<std::time_t>::max();
    EXPECT_EQ(CreateRealData(), -1);
    EXPECT_TRUE(files_.empty());
    EXPECT_TRUE(ListFolder(dir_).empty());
    ASSERT_EQ(log_.Text().size(), 1U);
    EXPECT_EQ(log_.Text()[0].level, 5);
}

TEST_P(RealData, TimeTextIsCutAt22Characters) {
    if (!kTimeIsWide) {
        GTEST_SKIP() << "32-bit times end in 2038";
    }
    std::tm date{};
    date.tm_year = 12345678 - 1900;
    date.tm_mday = 1;
    sampleTime_ = timegm(&date);
    EXPECT_NE(RealDataText().find("\"12345678-01-01 00:00:0\""), std::string::npos);
    EXPECT_EQ(files_.at(0), "/tmp/up/S123456780101000000." + std::string(GetParam()));
}

TEST_P(RealData, LastTimeOfTheCalendarDoesNotOverflow) {
    if (!kTimeIsWide) {
        GTEST_SKIP() << "32-bit times end in 2038";
    }
    std::tm date{};
    date.tm_year = std::numeric_limits<int>::max();
    date.tm_mday = 1;
    sampleTime_ = timegm(&date);
    EXPECT_NE(RealDataText().find("\"-2147481749-01-01 00:0\""), std::string::npos);
}

}  // namespace
}  // namespace corvenna::test
