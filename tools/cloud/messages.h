#pragma once

#include <string>
#include <vector>

#include "tools/cloud/document.h"

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

struct RealDataMessage {
    std::string time;
    std::vector<Sample> samples;
};

struct AlarmMessage {
    std::string time;
    int channel;
    int device;
    std::string dblink, name, value, threshold, unit;
    int type;
    int flag;
};

struct TimeRange {
    std::string start, end;
};

struct FileStatusMessage {
    std::string md5;
    int status;
};

// Each reads a whole document and throws BadDocument on the first thing that is wrong in it.

GatewayMessage ReadGateway(Format format, const Element &document);
std::vector<DeviceMessage> ReadDevices(const Element &document);
RealDataMessage ReadRealData(const Element &document);
std::vector<AlarmMessage> ReadAlarms(Format format, const Element &document);
TimeRange ReadRecallDone(const Element &document);
FileStatusMessage ReadFileStatus(const Element &document);

}  // namespace corvenna::cloud
