#include "message/parse_memory.h"

#include <new>

#include "base/wire_format.h"
#include "log/log.h"
#include "message/parse_json.h"
#include "message/parse_xml.h"
#include "message/time_string.h"

using namespace corvenna;

namespace {

/// Picks the parser; JSON ignores the length, XML the mutex.
template <class ParseJson, class ParseXml>
int Parse(const char *format, const void *result, ParseJson json, ParseXml xml) {
    // Ours: there is nowhere to put a result.
    if (result == nullptr) {
        return -1;
    }
    switch (FormatOf(format)) {
        case Format::kJson:
            return json();
        case Format::kXml:
            return xml();
        case Format::kUnknown:
            break;
    }
    return -1;
}

/// Runs an operation that shall not throw for want of memory.
template <class Operation>
int ParseOrFail(Operation operation) {
    try {
        return operation();
    } catch (const std::bad_alloc &) {
        log_Text(kLogError, "an answer is not parsed: out of memory");
        return -1;
    }
}

}  // namespace

CParseMemory::CParseMemory() {
    pthread_mutex_init(&mutex_, nullptr);
}

CParseMemory::~CParseMemory() {
    pthread_mutex_destroy(&mutex_);
}

int CParseMemory::ParseGateWayInfoFromMemory(const char *format, const char *data, int length,
                                             ST_GATEWAY_INFO *info) {
    return ParseOrFail([&] {
        return Parse(
            format, info, [&] { return ParseGatewayJson(data, mutex_, *info); },
            [&] { return ParseGatewayXml(data, length, *info); });
    });
}

int CParseMemory::ParseDevicesInfoFromMemory(const char *format, const char *data, int length,
                                             std::vector<ST_DEVICE_INFO> *devices) {
    bool cut = false;
    return ParseOrFail([&] {
        return Parse(
            format, devices, [&] { return ParseDevicesJson(data, mutex_, *devices, cut); },
            [&] { return ParseDevicesXml(data, length, *devices, cut); });
    });
}

int CParseMemory::ParseDownFileFromMemory(const char *format, const char *data, int length,
                                          std::vector<down_file_para> *files) {
    bool cut = false;
    return ParseOrFail([&] { return ReadDownFileFromMemory(format, data, length, files, cut); });
}

int CParseMemory::ReadDownFileFromMemory(const char *format, const char *data, int length,
                                         std::vector<down_file_para> *files, bool &cut) {
    return Parse(
        format, files, [&] { return ParseDownFilesJson(data, mutex_, *files, cut); },
        [&] { return ParseDownFilesXml(data, length, *files, cut); });
}

int CParseMemory::ParseRecallTimeFromMemory(const char *format, const char *data, int length,
                                            std::vector<recall_time_para> *ranges) {
    bool cut = false;
    return ParseOrFail([&] { return ReadRecallTimeFromMemory(format, data, length, ranges, cut); });
}

int CParseMemory::ReadRecallTimeFromMemory(const char *format, const char *data, int length,
                                           std::vector<recall_time_para> *ranges, bool &cut) {
    return Parse(
        format, ranges, [&] { return ParseRecallsJson(data, mutex_, *ranges, cut); },
        [&] { return ParseRecallsXml(data, length, *ranges, cut); });
}

std::time_t CParseMemory::TimeString2Timet(const char *text) {
    return ReadTime(text);
}
