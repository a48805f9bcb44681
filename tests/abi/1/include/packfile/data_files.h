#pragma once

/// @file
/// The entry points that produce data files in the configured format. A host includes
/// plugin/plugin.h, which has them all. Pointers are the host's and are borrowed for the call.

#include <cstdint>
#include <ctime>
#include <map>
#include <string>
#include <vector>

#include "base/export.h"
#include "packfile/records.h"

extern "C" {

/// Writes one snapshot of current values into a file. Pauses 100 ms a device and, unless a
/// forwarding channel is configured, 500 ms a channel. The process stops on an assertion when an
/// uncompressed JSON file cannot be opened.
/// @param values     data id → value; only read, on the calling thread alone meanwhile.
/// @param dir        an existing, writable directory, without a trailing "/".
/// @param files      receives the file's path at its end; on the calling thread alone meanwhile.
/// @param sampleTime what the snapshot stands for, in seconds of the Unix epoch; names the file.
/// @return JSON: 0; XML: bytes written. -1 when nothing was written; 0 without an entry in `files`
///         when a configured point is not in `values`. (logged)
CORVENNA_API std::int32_t CreateRealDataFile(std::map<unsigned int, double> *values, char *dir,
                                             std::vector<std::string> *files,
                                             std::time_t sampleTime);

/// Writes one file with all alarm events, in their order, named after the moment of writing. Never
/// pauses. The process stops likewise.
/// @param alarms the events; only read, on the calling thread alone meanwhile.
/// @param dir    an existing, writable directory, without a trailing "/".
/// @param files  receives the file's path at its end; on the calling thread alone meanwhile.
/// @return JSON: 0; XML: bytes written. -1 when nothing was written (logged).
CORVENNA_API std::int32_t CreateAlarmDataFile(std::vector<Alarm_Data_Para> *alarms, char *dir,
                                              std::vector<std::string> *files);
}
