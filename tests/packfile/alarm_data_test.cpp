#include <gtest/gtest.h>

#include <ctime>
#include <limits>
#include <string>
#include <vector>

#include "base/local_time.h"
#include "tests/packfile/packing.h"
#include "tests/support/files.h"

namespace corvenna::test {
namespace {

constexpr std::int32_t kAlarmTime = 1709622489;  // 2024-03-05 07:08:09 UTC

class AlarmData : public EveryFormat {
protected:
    AlarmData() {
        Configure(GetParam());
        AddPoint(0x02010001, "Ua", "V");
    }

    void AddAlarm(std::uint32_t id, double value = 253.1, double threshold = 250,
                  std::int32_t type = 1, std::int32_t flag = 1, std::int32_t time = kAlarmTime) {
        alarms_.push_back({time, id, threshold, value, type, flag});
    }

    bool Shows(const std::string &json, const std::string &xml) {
        return AlarmDataText().find(IsJson() ? json : xml) != std::string::npos;
    }
};

INSTANTIATE_TEST_SUITE_P(Formats, AlarmData, testing::Values("json", "xml"), FormatName);

TEST_P(AlarmData, ShowsOneEvent) {
    AddAlarm(0x02010001);
    EXPECT_EQ(AlarmDataText(),
              ByFormat(R"({"node":[{"logdt":"2024-03-05 07:08:09","channel":2,"device":1,)"
                       R"("dblink":"02010001","name":"Ua","value":"253.100",)"
                       R"("threshold_value":"250.000","unit":"V","type":1,"flag":1}]})",
                       R"(<?xml version="1.0" encoding="UTF-8"?>
<data>
  <node logdt="2024-03-05 07:08:09" channel="2" device="1" dblink="02010001" name="Ua" value="253.100" unit="V" thredhold_value="250.000" type="1" flag="1"/>
</data>
)"));
}

TEST_P(AlarmData, WithoutEventsIsAnEmptyDocument) {
    EXPECT_EQ(AlarmDataText(),
              ByFormat("{\"node\":[]}", "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<data/>\n"));
}

TEST_P(AlarmData, KeepsTheHostsOrderAndRepetitions) {
    AddAlarm(0x02010001, 2);
    AddAlarm(0x02010001, 1);
    AddAlarm(0x02010001, 2);
    EXPECT_EQ(AlarmDataText(),
              ByFormat(R"({"node":[{"logdt":"2024-03-05 07:08:09","channel":2,"device":1,)"
                       R"("dblink":"02010001","name":"Ua","value":"2.000",)"
                       R"("threshold_value":"250.000","unit":"V","type":1,"flag":1},)"
                       R"({"logdt":"2024-03-05 07:08:09","channel":2,"device":1,)"
                       R"("dblink":"02010001","name":"Ua","value":"1.000",)"
                       R"("threshold_value":"250.000","unit":"V","type":1,"flag":1},)"
                       R"({"logdt":"2024-03-05 07:08:09","channel":2,"device":1,)"
                       R"("dblink":"02010001","name":"Ua","value":"2.000",)"
                       R"("threshold_value":"250.000","unit":"V","type":1,"flag":1}]})",
                       R"(<?xml version="1.0" encoding="UTF-8"?>
<data>
  <node logdt="2024-03-05 07:08:09" channel="2" device="1" dblink="02010001" name="Ua" value="2.000" unit="V" thredhold_value="250.000" type="1" flag="1"/>
  <node logdt="2024-03-05 07:08:09" channel="2" device="1" dblink="02010001" name="Ua" value="1.000" unit="V" thredhold_value="250.000" type="1" flag="1"/>
  <node logdt="2024-03-05 07:08:09" channel="2" device="1" dblink="02010001" name="Ua" value="2.000" unit="V" thredhold_value="250.000" type="1" flag="1"/>
</data>
)"));
}

TEST_P(AlarmData, TypeAndFlagAreSigned) {
    AddAlarm(0x02010001, 0, 0, -1, std::numeric_limits<std::int32_t>::min());
    EXPECT_TRUE(Shows(R"("type":-1,"flag":-2147483648)", R"(type="-1" flag="-2147483648")"));
}

TEST_P(AlarmData, EveryChannelIsShown) {
    for (const std::uint32_t channel : {0U, 192U, 193U, 255U}) {
        const std::uint32_t id = channel << 24 | 0xFE0100;
        AddPoint(id, "Link", "-");
        alarms_.clear();
        AddAlarm(id);
        const std::string number = std::to_string(channel);
        EXPECT_TRUE(Shows("\"channel\":" + number + ",\"device\":254,",
                          "channel=\"" + number + "\" device=\"254\""));
        EXPECT_TRUE(Shows("\"name\":\"Link\"", "name=\"Link\""));
    }
}

TEST_P(AlarmData, UnknownPointHasNeitherNameNorUnit) {
    AddAlarm(0x02010001);
    AddAlarm(0x03010001);
    EXPECT_TRUE(Shows(R"("dblink":"03010001","name":"","value":"253.100",)"
                      R"("threshold_value":"250.000","unit":"","type")",
                      R"(dblink="03010001" name="" value="253.100" unit="" thredhold)"));
}

TEST_P(AlarmData, UnknownPointIsPrintedOnce) {
    AddAlarm(0x03010001);
    testing::internal::CaptureStdout();
    CreateAlarmData();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Can not find DataId 03010001's Attr \n");
}

TEST_P(AlarmData, NumbersAreCutAt46Characters) {
    AddAlarm(0x02010001, 1e41, -1e300);
    const std::string value = "100000000000000000620008645040778319495168.000";
    const std::string threshold = "-100000000000000005250476025520442024870446858";
    ASSERT_EQ(value.size(), 46U);
    ASSERT_EQ(threshold.size(), 46U);
    EXPECT_TRUE(Shows("\"value\":\"" + value + '"', "value=\"" + value + '"'));
    EXPECT_TRUE(
        Shows("\"threshold_value\":\"" + threshold + '"', "thredhold_value=\"" + threshold + '"'));
}

TEST_P(AlarmData, NamesAndUnitsAreEscaped) {
    AddPoint(0x02010002, "a\"b<c>&\xc3\xa9\xff\\", "\n\"");
    AddAlarm(0x02010002);
    EXPECT_TRUE(Shows("\"name\":\"a\\\"b<c>&\xc3\xa9\xff\\\\\"",
                      "name=\"a&quot;b&lt;c&gt;&amp;\xc3\xa9\xff\\\""));
    EXPECT_TRUE(Shows("\"unit\":\"\\n\\\"\"", "unit=\"&#10;&quot;\""));
}

struct ZoneRow {
    const char *zone;
    std::int32_t time;
    const char *logdt;
};

TEST_P(AlarmData, EventTimeIsLocalTime) {
    constexpr char kBerlin[] = "CET-1CEST,M3.5.0,M10.5.0/3";
    const ZoneRow rows[] = {
        {"UTC0", 0, "1970-01-01 00:00:00"},
        {"UTC0", std::numeric_limits<std::int32_t>::min(), "1901-12-13 20:45:52"},
        {"UTC0", std::numeric_limits<std::int32_t>::max(), "2038-01-19 03:14:07"},
        {kBerlin, 1711846799, "2024-03-31 01:59:59"},
        {kBerlin, 1711846800, "2024-03-31 03:00:00"},
        {kBerlin, 1729990799, "2024-10-27 02:59:59"},
        {kBerlin, 1729990800, "2024-10-27 02:00:00"}};
    for (const ZoneRow &row : rows) {
        SetZone(row.zone);
        alarms_.clear();
        AddAlarm(0x02010001, 1, 1, 1, 1, row.time);
        EXPECT_TRUE(Shows("\"logdt\":\"" + std::string(row.logdt) + '"',
                          "logdt=\"" + std::string(row.logdt) + '"'))
            << row.logdt;
    }
}

std::string Stamp(std::time_t time) {
    char text[32];
    const std::tm broken = LocalTime(time).value();
    std::strftime(text, sizeof text, "%Y%m%d%H%M%S", &broken);
    return text;
}

TEST_P(AlarmData, FileIsNamedAfterTheMomentOfWritingInLocalTime) {
    SetZone("XXX-5:45");
    AddAlarm(0x02010001);
    const std::time_t before = std::time(nullptr);
    CreateAlarmData();
    const std::time_t after = std::time(nullptr);
    ASSERT_EQ(files_.size(), 1U);
    const std::string extension = std::string(".") + GetParam();
    EXPECT_GE(files_[0], "/tmp/up/T" + Stamp(before) + extension);
    EXPECT_LE(files_[0], "/tmp/up/T" + Stamp(after) + extension);
    EXPECT_EQ(files_[0].size(), std::string("/tmp/up/T20240305070809").size() + extension.size());
}

TEST_P(AlarmData, RealDataOfTheSameSecondHasAnotherName) {
    sampleTime_ = std::time(nullptr);
    CreateRealData();
    CreateAlarmData();
    ASSERT_EQ(files_.size(), 2U);
    EXPECT_EQ(files_[0].substr(0, 9), "/tmp/up/S");
    EXPECT_EQ(files_[1].substr(0, 9), "/tmp/up/T");
}

TEST_P(AlarmData, SuccessIsLoggedWithThePath) {
    const std::int32_t result = CreateAlarmData();
    ASSERT_EQ(files_.size(), 1U);
    const std::string json = "CreateAlarmDataJsonFile " + files_[0] + " Success";
    const std::string xml =
        "CreateAlarmDataXmlFile " + files_[0] + " Success,fileSize:" + std::to_string(result);
    EXPECT_EQ(log_.Text(), (std::vector<LogEntry>{{3, IsJson() ? json : xml}}));
}

TEST_P(AlarmData, ResultIsZeroInJsonAndTheBytesWrittenInXml) {
    AddAlarm(0x02010001);
    const std::int32_t result = CreateAlarmData();
    ASSERT_EQ(files_.size(), 1U);
    EXPECT_EQ(result, IsJson() ? 0 : static_cast<std::int32_t>(ReadFile(files_[0]).size()));
}

TEST_P(AlarmData, NeverPauses) {
    AddAlarm(0x02010001);
    AddAlarm(0xC0010001);
    CreateAlarmData();
    EXPECT_EQ(pauses_.Microseconds(), std::vector<unsigned>{});
}

TEST_P(AlarmData, ForwardingChannelChangesNothing) {
    Configure(GetParam(), false, 7);
    ForwardTables()[7][2][1] = {{"forwarded", 0x02010001}};
    AddAlarm(0x02010001);
    EXPECT_TRUE(Shows("\"name\":\"Ua\"", "name=\"Ua\""));
}

}  // namespace
}  // namespace corvenna::test
