#pragma once

#include <string>

#include "packfile/records.h"
#include "tests/support/scripted_server.h"

namespace corvenna::test {

// What the proofs' gateways have to say, and the cloud that they say it to.

constexpr char kOffered[] = "what the server offers";
constexpr int kRecalls = 3;

/// A cloud that takes everything, asks for kRecalls ranges, and offers one file: a plain one for
/// /tmp/installed/file.bin.
Answer CloudAnswer(const Request &request, const std::string &format);

/// The values of the two points of tests/plugin/configuration.h, and three alarms.
Real_Data_Struct &Snapshot();
Alarm_Data_Struct &Alarms();

/// Of a file; "" when it cannot be read.
std::string ContentOf(const std::string &path);

}  // namespace corvenna::test
