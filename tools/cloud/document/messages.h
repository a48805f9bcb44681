#pragma once

#include <deque>
#include <string>
#include <vector>

#include "tools/cloud/document/document.h"

namespace corvenna::cloud {

// What gateways send. Times are the gateway's local time as "YYYY-MM-DD hh:mm:ss"; a data id is
// eight lower-case hexadecimal digits; values are decimal text, kept as sent.

struct GatewayMessage {
    std::string sn, name, version;
    std::string site, longitude, latitude;
    std::string owner, ownerDescription;
    std::string room, roomDescription, camera;
};

struct DeviceMessage {
    int channel;
    int id;
    std::string description, name;
};

struct Sample {
    int channel;
    int device;
    std::string dblink, name, unit, value;
};

// Where there may be many, they stand in a deque: a vector that grows leaves as much memory behind.

struct RealDataMessage {
    std::string time;
    std::deque<Sample> samples;
};

struct AlarmMessage {
    std::string time;
    int channel;
    int device;
    std::string dblink, name, value, threshold, unit;
    int type;
    int flag;
};
using AlarmMessages = std::deque<AlarmMessage>;

struct TimeRange {
    std::string start, end;
};

struct FileStatusMessage {
    std::string md5;
    int status;
};

// Each reads a whole document, whose text it uses up, and throws BadDocument on the first thing
// that is wrong in it.

GatewayMessage ReadGateway(Format format, std::string text);
std::vector<DeviceMessage> ReadDevices(Format format, std::string text);
RealDataMessage ReadRealData(Format format, std::string text);
AlarmMessages ReadAlarms(Format format, std::string text);
TimeRange ReadRecallDone(Format format, std::string text);
FileStatusMessage ReadFileStatus(Format format, std::string text);

}  // namespace corvenna::cloud
