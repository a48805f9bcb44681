#pragma once

#include <string>

#include "base/wire_format.h"

namespace corvenna::conform {

/// What a gateway of three devices says, in one format; see golden/.
struct Golden {
    const char *gateway;
    const char *devices;
    const char *realData;
    const char *alarmData;
};

const Golden &GoldenOf(Format format);

/// The gateway's description, with another serial number.
std::string GatewayDocument(Format format, const std::string &serial);

/// The same with letters beyond ASCII, quotes and tags for a name.
std::string LetteredGatewayDocument(Format format, const std::string &serial);

/// The longest list of devices that a gateway sends whole.
std::string LongestDevicesDocument(Format format);

/// A list of no device, and one of no alarm.
std::string NoDevicesDocument(Format format);
std::string NoAlarmsDocument(Format format);

/// The values with one that the host did not have.
std::string ValuelessDocument(Format format);

/// Values of 300,000 bytes and a few more.
std::string LongRealDataDocument(Format format);

/// What is left of a document when a connection breaks half way.
std::string Half(const std::string &document);

/// As gateways compress: a zlib stream of the text and its NUL.
std::string DeflatedDocument(const std::string &text);

}  // namespace corvenna::conform
