#pragma once

#include <cstdint>
#include <ctime>
#include <map>
#include <string>
#include <vector>

#include "base/export.h"

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

/// Writes data files. Keeps nothing between calls; settings and points are read from the
/// configuration instances at each call. May be called from several threads.
///
/// Every writer puts exactly one file into `dir` (an existing, writable directory, without a
/// trailing "/") and appends its path to `files`. The arguments are the caller's and are borrowed
/// for the call. Where an uncompressed JSON file cannot be opened, the process stops on an
/// assertion.
class CORVENNA_API CPackFile {
public:
    /// Writes a snapshot. Pauses 100 ms for each device and, without a forwarding channel, 500 ms
    /// for each channel.
    /// @param sampleTime     the time that the snapshot stands for.
    /// @param forwardChannel the forwarding channel whose points are written; 0, or one that is not
    ///                       configured: all points of the channel set.
    /// @return JSON: 0; XML: bytes written, or -1 when saving failed. Both: 0 without a file when a
    ///         point of the channel set is not in `values`, -1 when the time cannot be broken down
    ///         or compressed output cannot be written (all logged).
    std::int32_t CreateRealDataJsonFile(Real_Data_Struct *values, char *dir,
                                        std::vector<std::string> *files, std::time_t sampleTime,
                                        std::uint8_t forwardChannel);
    std::int32_t CreateRealDataXmlFile(Real_Data_Struct *values, char *dir,
                                       std::vector<std::string> *files, std::time_t sampleTime,
                                       std::uint8_t forwardChannel);

    /// Writes alarm events, in the order of the list. Never pauses.
    /// @return JSON: 0; XML: bytes written, or -1 when saving failed. Both: -1 when compressed
    ///         output cannot be written (all logged).
    std::int32_t CreateAlarmDataJsonFile(Alarm_Data_Struct *alarms, char *dir,
                                         std::vector<std::string> *files);
    std::int32_t CreateAlarmDataXmlFile(Alarm_Data_Struct *alarms, char *dir,
                                        std::vector<std::string> *files);

    /// @return the value of a data id, -1.0 when the map does not hold it.
    double GetPointValue(unsigned int dataId, Real_Data_Struct *values);
};
