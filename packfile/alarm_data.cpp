#include "packfile/alarm_data.h"

#include <cstddef>
#include <cstdint>

#include "base/local_time.h"
#include "base/text.h"
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

template <class Out>
void SpellAlarm(const KnownAlarm &known, Out &out) {
    const Alarm_Data_Para &alarm = *known.alarm;
    out.StartObject();
    out.Key("logdt");
    out.String(PrintAlarmTime(alarm.alarmTime).text);
    out.Key("channel");
    out.Uint(ChannelOf(alarm.dataId));
    out.Key("device");
    out.Uint(DeviceOf(alarm.dataId));
    out.Key("dblink");
    SpellId(alarm.dataId, out);
    out.Key("name");
    out.String(known.name);
    out.Key("value");
    SpellValue<kValueCapacity>(alarm.alarmValue, out);
    out.Key("threshold_value");
    SpellValue<kValueCapacity>(alarm.thresholdValue, out);
    out.Key("unit");
    out.String(known.unit);
    out.Key("type");
    out.Int(alarm.alarmType);
    out.Key("flag");
    out.Int(alarm.alarmFlag);
    out.EndObject();
}

void AddAlarm(const KnownAlarm &known, xmlNodePtr root) {
    const Alarm_Data_Para &alarm = *known.alarm;
    xmlNodePtr node = AddElement(root, "node");
    AddAttribute(node, "logdt", PrintAlarmTime(alarm.alarmTime).text);
    AddAttribute(node, "channel", DecimalText(static_cast<int>(ChannelOf(alarm.dataId))).Get());
    AddAttribute(node, "device", DecimalText(static_cast<int>(DeviceOf(alarm.dataId))).Get());
    AddAttribute(node, "dblink", DataIdText(alarm.dataId).Get());
    AddAttribute(node, "name", known.name);
    AddAttribute(node, "value", AlarmValueText(alarm.alarmValue).Get());
    AddAttribute(node, "unit", known.unit);
    // On purpose: receivers of XML know the attribute by this misspelt name.
    AddAttribute(node, "thredhold_value", AlarmValueText(alarm.thresholdValue).Get());
    AddAttribute(node, "type", DecimalText(alarm.alarmType).Get());
    AddAttribute(node, "flag", DecimalText(alarm.alarmFlag).Get());
}

template <class Out>
void Spell(const std::vector<KnownAlarm> &alarms, Out &out) {
    out.StartObject();
    out.Key("node");
    out.StartArray();
    for (const KnownAlarm &alarm : alarms) {
        SpellAlarm(alarm, out);
    }
    out.EndArray();
    out.EndObject();
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

JsonSize MeasureAlarmDataJson(const std::vector<KnownAlarm> &alarms) {
    JsonSize size;
    Spell(alarms, size);
    return size;
}

void SpellAlarmDataJson(const std::vector<KnownAlarm> &alarms, JsonText &text) {
    Spell(alarms, text);
}

void BuildAlarmDataXml(const std::vector<KnownAlarm> &alarms, XmlTree &tree) {
    const XmlGuard guard;
    for (const KnownAlarm &alarm : alarms) {
        AddAlarm(alarm, tree.Root());
    }
}

}  // namespace corvenna
