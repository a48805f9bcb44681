#pragma once

/// @file
/// What data files are made of, as the host hands it over.

#include <cstdint>
#include <map>
#include <vector>

/// One alarm event, as the host hands it over. Natural alignment: the vector crosses the plug-in's
/// boundary, so host and plug-in must agree on every byte of it.
struct Alarm_Data_Para {
    std::int32_t alarmTime;            ///< seconds of the Unix epoch
    std::uint32_t dataId;              ///< data id of the point in alarm
    alignas(8) double thresholdValue;  ///< the limit that was crossed
    double alarmValue;                 ///< the point's value at the alarm
    std::int32_t alarmType;            ///< the host's type code
    std::int32_t alarmFlag;            ///< the host's flag
};
static_assert(sizeof(Alarm_Data_Para) == 32);

using Real_Data_Struct = std::map<unsigned int, double>;  ///< data id → current value
using Alarm_Data_Struct = std::vector<Alarm_Data_Para>;   ///< in the host's order
