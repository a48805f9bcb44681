#pragma once

#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "config/sys_set.h"
#include "message/parse_memory.h"

namespace corvenna::test {

// The four kinds of answer, each with a good document in either format that carries everything the
// parsers read.

struct Answer {
    const char *name;
    const char *json;
    const char *xml;
    /// Parses into an empty result, or into one that holds something already.
    int (*parse)(CParseMemory &parser, const char *format, const char *data, int length);
};

inline void PrintTo(const Answer &answer, std::ostream *stream) {
    *stream << answer.name;
}

inline int ParseGateway(CParseMemory &parser, const char *format, const char *data, int length) {
    ST_GATEWAY_INFO info{};
    return parser.ParseGateWayInfoFromMemory(format, data, length, &info);
}

inline int ParseDevices(CParseMemory &parser, const char *format, const char *data, int length) {
    std::vector<ST_DEVICE_INFO> devices;
    return parser.ParseDevicesInfoFromMemory(format, data, length, &devices);
}

inline int ParseDownFiles(CParseMemory &parser, const char *format, const char *data, int length) {
    std::vector<down_file_para> files;
    return parser.ParseDownFileFromMemory(format, data, length, &files);
}

inline int ParseRecalls(CParseMemory &parser, const char *format, const char *data, int length) {
    std::vector<recall_time_para> ranges;
    return parser.ParseRecallTimeFromMemory(format, data, length, &ranges);
}

inline constexpr Answer kAnswers[] = {
    {"gateway",
     R"({"name":"G1","ver":"1.2","room":{"name":"R","desc":"RD"},"owner":{"name":"O","desc":"OD"},)"
     R"("site":{"longitude":"1.5","latitude":"2.5"}})",
     R"(<data><gw name="G1" ver="1.2"><site name="S" longtitude="1.5" latitude="2.5"/>)"
     R"(<owner name="O" desc="OD"/><room name="R" desc="RD"/></gw></data>)",
     ParseGateway},
    {"devices",
     R"({"device":[{"channel":2,"id":1,"name":"Meter","desc":"D"},)"
     R"({"channel":2,"id":2,"name":"Pump","desc":""}]})",
     R"(<data><device channel="2" id="1" name="Meter" desc="D"/>)"
     R"(<device channel="2" id="2" name="Pump" desc=""/></data>)",
     ParseDevices},
    {"down_file",
     R"({"node":[{"file":"a/b.zip","md5":"0123456789abcdef0123456789abcdef","type":"9",)"
     R"("path":"/opt/x"}]})",
     R"(<data><node file="a/b.zip" md5="0123456789abcdef0123456789abcdef" type="9" )"
     R"(path="/opt/x"/></data>)",
     ParseDownFiles},
    {"recall",
     R"({"node":[{"startdt":"2024-03-05 00:00:00","enddt":"2024-03-05 01:00:00"},)"
     R"({"startdt":"2024-03-06 00:00:00","enddt":"2024-03-06 01:00:00"}]})",
     R"(<data><node startdt="2024-03-05 00:00:00" enddt="2024-03-05 01:00:00"/>)"
     R"(<node startdt="2024-03-06 00:00:00" enddt="2024-03-06 01:00:00"/></data>)",
     ParseRecalls},
};

/// Parses whatever it is. Only the one exception may come out, and of JSON alone.
inline void ParseAnything(const Answer &answer, const char *format, const std::string &data) {
    CParseMemory parser;
    try {
        answer.parse(parser, format, data.c_str(), static_cast<int>(data.size()));
    } catch (const std::logic_error &error) {
        if (std::string(format) != "json" || std::string(error.what()) != "rapidjson exception") {
            throw;
        }
    }
}

}  // namespace corvenna::test
