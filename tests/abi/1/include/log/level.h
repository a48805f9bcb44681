#pragma once

/// @file
/// The levels of messages.

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

/// Names a level.
/// @param level of a message.
/// @return the word that is stored for it, "UNKNOWN" outside 0..6. A literal, never freed.
extern "C" CORVENNA_API const char *LogLevelToString(LogLevel level);
