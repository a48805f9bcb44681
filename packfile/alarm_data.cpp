#include "packfile/alarm_data.h"

#include <cstddef>
#include <cstdint>

#include "base/local_time.h"
#include "base/text.h"
#include "base/xml.h"
#include "packfile/json_values.h"
#include "packfile/value_text.h"

// The twins of alarm data differ on purpose; receivers match these names and orders.
//
//                                       JSON                 XML
// channel, device, type, flag           numbers              texts
// name of the threshold                 threshold_value      thredhold_value
// unit                                  after the threshold  before it

namespace corvenna {
namespace {

/// Each number of an event is cut at 46 characters.
constexpr std::size_t kValueCapacity = 47;
using AlarmValueText = ValueText<kValueCapacity>;

struct AlarmTimeText {
    char text[47];
};

/// Empty where the time cannot be broken down.
AlarmTimeText PrintAlarmTime(std::int32_t time) {
    AlarmTimeText result{};
    if (const auto broken = LocalTime(time)) {
        CopyText<sizeof result.text>(result.text, PrintTime(*broken).text);
    }
    return result;
}

unsigned ChannelOf(std::uint32_t id) {
    return id >> 24;
}

unsigned DeviceOf(std::uint32_t id) {
    return (id >> 16) & 0xFF;
}

void SpellAlarm(const KnownAlarm &known, JsonText &text) {
    const Alarm_Data_Para &alarm = *known.alarm;
    text.StartObject();
    text.Key("logdt");
    text.String(PrintAlarmTime(alarm.alarmTime).text);
    text.Key("channel");
    text.Uint(ChannelOf(alarm.dataId));
    text.Key("device");
    text.Uint(DeviceOf(alarm.dataId));
    text.Key("dblink");
    SpellId(alarm.dataId, text);
    text.Key("name");
    text.String(known.name);
    text.Key("value");
    SpellValue<kValueCapacity>(alarm.alarmValue, text);
    text.Key("threshold_value");
    SpellValue<kValueCapacity>(alarm.thresholdValue, text);
    text.Key("unit");
    text.String(known.unit);
    text.Key("type");
    text.Int(alarm.alarmType);
    text.Key("flag");
    text.Int(alarm.alarmFlag);
    text.EndObject();
}

void SpellAlarm(const KnownAlarm &known, XmlEntry &node, XmlLines &lines) {
    const Alarm_Data_Para &alarm = *known.alarm;
    lines.Entry(node,
                {PrintAlarmTime(alarm.alarmTime).text,
                 DecimalText(static_cast<int>(ChannelOf(alarm.dataId))).Get(),
                 DecimalText(static_cast<int>(DeviceOf(alarm.dataId))).Get(),
                 DataIdText(alarm.dataId).Get(), known.name, AlarmValueText(alarm.alarmValue).Get(),
                 known.unit, AlarmValueText(alarm.thresholdValue).Get(),
                 DecimalText(alarm.alarmType).Get(), DecimalText(alarm.alarmFlag).Get()});
}

}  // namespace

std::vector<KnownAlarm> FindAlarmPoints(const Alarm_Data_Struct &alarms, CChannelSet &channels) {
    std::vector<KnownAlarm> known;
    known.reserve(alarms.size());
    for (const Alarm_Data_Para &alarm : alarms) {
        ST_POINTID_ATTR *point = nullptr;
        const bool found = channels.GetAttr(alarm.dataId, &point) == 0;
        known.push_back({&alarm, found ? point->Name : "", found ? point->EUUnits : ""});
    }
    return known;
}

void SpellAlarmDataJson(const std::vector<KnownAlarm> &alarms, JsonText &text) {
    text.StartObject();
    text.Key("node");
    text.StartArray();
    for (const KnownAlarm &alarm : alarms) {
        SpellAlarm(alarm, text);
    }
    text.EndArray();
    text.EndObject();
}

void SpellAlarmDataXml(const std::vector<KnownAlarm> &alarms, XmlLines &lines) {
    // On purpose: receivers of XML know the threshold by this misspelt name.
    XmlEntry node("node", {"logdt", "channel", "device", "dblink", "name", "value", "unit",
                           "thredhold_value", "type", "flag"});
    const XmlGuard guard;
    lines.Begin("data", {});
    for (const KnownAlarm &alarm : alarms) {
        SpellAlarm(alarm, node, lines);
    }
    lines.End("data");
}

}  // namespace corvenna
