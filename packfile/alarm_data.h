#pragma once

#include <vector>

#include "base/json_text.h"
#include "config/channel_set.h"
#include "packfile/records.h"
#include "packfile/xml_lines.h"

namespace corvenna {

/// An alarm event and its point in the channel set.
struct KnownAlarm {
    const Alarm_Data_Para *alarm;
    const char *name;  ///< "" for an unknown data id, like the unit
    const char *unit;
};

/// Looks up each alarm's point, in the host's order. An unknown data id is printed by the channel
/// set. The result points into both arguments.
std::vector<KnownAlarm> FindAlarmPoints(const Alarm_Data_Struct &alarms, CChannelSet &channels);

void SpellAlarmDataJson(const std::vector<KnownAlarm> &alarms, JsonText &text);

/// The caller holds no XmlGuard.
void SpellAlarmDataXml(const std::vector<KnownAlarm> &alarms, XmlLines &lines);

}  // namespace corvenna
