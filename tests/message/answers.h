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
    /// Parses into a result of its own.
    int (*parse)(CParseMemory &parser, const char *format, const char *data, int length);
};

inline void PrintTo(const Answer &answer, std::ostream *stream) {
    *stream << answer.name;
}

inline int ParseGateway(CParseMemory &parser, const char *format, const char *data, int length) {
    ST_GATEWAY_INFO info{};
    return parser.ParseGateWayInfoFromMemory(format, data, length, &info);
}

/// Parses into a list that holds an entry already, and throws where an answer that fails touched
/// it.
template <class Record, auto Operation>
int ParseList(CParseMemory &parser, const char *format, const char *data, int length) {
    std::vector<Record> list(1);
    const auto failed = [&list] {
        if (list.size() != 1) {
            throw std::runtime_error("an answer that failed changed the list");
        }
    };
    try {
        const int result = (parser.*Operation)(format, data, length, &list);
        if (result == -1) {
            failed();
        }
        return result;
    } catch (const std::logic_error &) {
        failed();
        throw;
    }
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
     ParseList<ST_DEVICE_INFO, &CParseMemory::ParseDevicesInfoFromMemory>},
    {"down_file",
     R"({"node":[{"file":"a/b.zip","md5":"0123456789abcdef0123456789abcdef","type":"9",)"
     R"("path":"/opt/x"}]})",
     R"(<data><node file="a/b.zip" md5="0123456789abcdef0123456789abcdef" type="9" )"
     R"(path="/opt/x"/></data>)",
     ParseList<down_file_para, &CParseMemory::ParseDownFileFromMemory>},
    {"recall",
     R"({"node":[{"startdt":"2024-03-05 00:00:00","enddt":"2024-03-05 01:00:00"},)"
     R"({"startdt":"2024-03-06 00:00:00","enddt":"2024-03-06 01:00:00"}]})",
     R"(<data><node startdt="2024-03-05 00:00:00" enddt="2024-03-05 01:00:00"/>)"
     R"(<node startdt="2024-03-06 00:00:00" enddt="2024-03-06 01:00:00"/></data>)",
     ParseList<recall_time_para, &CParseMemory::ParseRecallTimeFromMemory>},
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
