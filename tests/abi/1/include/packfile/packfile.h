#pragma once

/// @file
/// The writer of data files.

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

#include "base/export.h"
#include "packfile/records.h"

/// Writes data files. Keeps nothing between calls; settings and points are read from the
/// configuration instances at each call. May be called from several threads.
///
/// Every writer puts exactly one file into `dir` (an existing, writable directory, without a
/// trailing "/") and appends its path to `files`. The arguments are the caller's and are borrowed
/// for the call.
///
/// A writer returns -1, with neither file nor entry, for a null argument, when the time of the file
/// has no local date, when memory is short, and when the file cannot be written whole or, but for
/// uncompressed JSON, not be opened. All of these are logged. Where uncompressed JSON cannot be
/// opened, the process stops on an assertion.
class CORVENNA_API CPackFile {
public:
    /// Writes a snapshot. Pauses 100 ms for each device and, without a forwarding channel, 500 ms
    /// for each channel.
    /// @param values         data id → value.
    /// @param dir            where the file goes.
    /// @param files          receives its path at the end.
    /// @param sampleTime     the time that the snapshot stands for.
    /// @param forwardChannel the forwarding channel whose points are written; 0, or one that is not
    ///                       configured: all points of the channel set.
    /// @return JSON: 0; XML: bytes written. Both: 0 without a file when a point of the channel set
    ///         is not in `values` (logged); -1 as above.
    std::int32_t CreateRealDataJsonFile(Real_Data_Struct *values, char *dir,
                                        std::vector<std::string> *files, std::time_t sampleTime,
                                        std::uint8_t forwardChannel);
    /// @copydoc CreateRealDataJsonFile
    std::int32_t CreateRealDataXmlFile(Real_Data_Struct *values, char *dir,
                                       std::vector<std::string> *files, std::time_t sampleTime,
                                       std::uint8_t forwardChannel);

    /// Writes alarm events, in the order of the list. Never pauses.
    /// @param alarms the events.
    /// @param dir    where the file goes.
    /// @param files  receives its path at the end.
    /// @return JSON: 0; XML: bytes written. Both: -1 as above.
    std::int32_t CreateAlarmDataJsonFile(Alarm_Data_Struct *alarms, char *dir,
                                         std::vector<std::string> *files);
    /// @copydoc CreateAlarmDataJsonFile
    std::int32_t CreateAlarmDataXmlFile(Alarm_Data_Struct *alarms, char *dir,
                                        std::vector<std::string> *files);

    /// Looks a value up.
    /// @param dataId of the point.
    /// @param values data id → value.
    /// @return the value of a data id; -1.0 when the map does not hold it, and (logged) without a
    ///         map.
    double GetPointValue(unsigned int dataId, Real_Data_Struct *values);
};

/// The writer, made at its first use (safe from several threads) and destroyed when the library is
/// unloaded.
/// @return the single instance; never null, never freed by the caller.
extern "C" CORVENNA_API CPackFile *GetCPackFileInstance();
