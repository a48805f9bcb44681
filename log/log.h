#pragma once

#include "base/export.h"

/// A message's level: any number is good, those outside 0..6 are stored as "UNKNOWN".
using LogLevel = int;

constexpr LogLevel kLogSend = 0;   ///< "SEND", outgoing traffic
constexpr LogLevel kLogRecv = 1;   ///< "RECV", incoming traffic
constexpr LogLevel kLogDebug = 2;  ///< "DEBUG", echoed in debug mode and never stored
constexpr LogLevel kLogInfo = 3;   ///< "INFO", progress
constexpr LogLevel kLogWarn = 4;   ///< "WARN", warnings
constexpr LogLevel kLogError = 5;  ///< "ERROR", failures
constexpr LogLevel kLogFatal = 6;  ///< "FATAL"

// All four may be called from any thread. The two logging calls never touch the disk: they stamp
// the message with the local time and queue it; a writer thread per sink stores it within about
// five seconds.
extern "C" {

/// Starts both sinks with their writer threads and creates the log directory.
/// @param debug non-zero makes every message echo to standard error as well.
/// @return always 1.
CORVENNA_API int log_init(int debug);

/// Queues a message for the database "/tmp/CloudLog/Cloudlog.db". At most 254 characters are kept;
/// a message with a double quote is lost. May be called before log_init.
/// @return always 1.
CORVENNA_API int log_DB(LogLevel level, const char *format, ...)
    __attribute__((format(printf, 2, 3)));

/// Queues a message for the day's text file in "/tmp/CloudLog". At most 2046 characters are kept.
/// May be called before log_init.
/// @return always 1.
CORVENNA_API int log_Text(LogLevel level, const char *format, ...)
    __attribute__((format(printf, 2, 3)));

/// The word that is stored for a level, "UNKNOWN" outside 0..6. A literal, never freed.
CORVENNA_API const char *LogLevelToString(LogLevel level);
}
