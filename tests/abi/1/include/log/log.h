#pragma once

/// @file
/// The log. All three calls may come from any thread. The two logging calls never touch the disk:
/// they stamp the message with the local time and queue it; a writer thread per sink stores it
/// within about five seconds. None throws. What finds no room in its sink's 16 MiB, or no memory,
/// is dropped and counted; a WARN entry tells the number.
///
/// In a child that fork() made, messages are refused until it calls log_init: it has no writers.

#include "base/export.h"
#include "log/level.h"

extern "C" {

/// Starts both sinks with their writer threads and creates the log directory.
/// @param debug non-zero makes every message echo to standard error as well.
/// @return always 1.
CORVENNA_API int log_init(int debug);

/// Queues a message for the database "/tmp/CloudLog/Cloudlog.db". At most 254 characters are kept;
/// a message with a double quote is lost. May be called before log_init. Waits for ever where the
/// database can be neither made nor opened.
/// @param level  of the message; any number is good.
/// @param format of printf, with its arguments behind it.
/// @return always 1.
CORVENNA_API int log_DB(LogLevel level, const char *format, ...)
    __attribute__((format(printf, 2, 3)));

/// Queues a message for the day's text file in "/tmp/CloudLog". At most 2046 characters are kept.
/// May be called before log_init.
/// @param level  of the message; any number is good.
/// @param format of printf, with its arguments behind it.
/// @return always 1.
CORVENNA_API int log_Text(LogLevel level, const char *format, ...)
    __attribute__((format(printf, 2, 3)));
}
