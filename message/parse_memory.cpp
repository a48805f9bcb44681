#include "message/parse_memory.h"

#include <cstdio>
#include <ctime>

#include "base/format.h"
#include "message/parse_json.h"
#include "message/parse_xml.h"

namespace {

using corvenna::Format;

/// Picks the parser; JSON ignores the length, XML the mutex.
template <class Result>
int Parse(const char *format, const char *data, int length, Result *result, pthread_mutex_t &mutex,
          int (*json)(const char *, pthread_mutex_t &, Result &),
          int (*xml)(const char *, int, Result &)) {
    // Ours: there is nowhere to put a result.
    if (result == nullptr) {
        return -1;
    }
    switch (corvenna::FormatOf(format)) {
        case Format::kJson:
            return json(data, mutex, *result);
        case Format::kXml:
            return xml(data, length, *result);
        case Format::kUnknown:
            break;
    }
    return -1;
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
    return Parse(format, data, length, info, mutex_, corvenna::ParseGatewayJson,
                 corvenna::ParseGatewayXml);
}

int CParseMemory::ParseDevicesInfoFromMemory(const char *format, const char *data, int length,
                                             std::vector<ST_DEVICE_INFO> *devices) {
    return Parse(format, data, length, devices, mutex_, corvenna::ParseDevicesJson,
                 corvenna::ParseDevicesXml);
}

int CParseMemory::ParseDownFileFromMemory(const char *format, const char *data, int length,
                                          std::vector<down_file_para> *files) {
    return Parse(format, data, length, files, mutex_, corvenna::ParseDownFilesJson,
                 corvenna::ParseDownFilesXml);
}

int CParseMemory::ParseRecallTimeFromMemory(const char *format, const char *data, int length,
                                            std::vector<recall_time_para> *ranges) {
    return Parse(format, data, length, ranges, mutex_, corvenna::ParseRecallsJson,
                 corvenna::ParseRecallsXml);
}

std::time_t CParseMemory::TimeString2Timet(const char *text) {
    std::tm broken{};
    // What the scan does not find stays zero; its result is not looked at.
    // NOLINTNEXTLINE(cert-err34-c): a number that is none is such a part
    static_cast<void>(std::sscanf(text != nullptr ? text : "", "%04d-%02d-%02d %02d:%02d:%02d",
                                  &broken.tm_year, &broken.tm_mon, &broken.tm_mday, &broken.tm_hour,
                                  &broken.tm_min, &broken.tm_sec));
    broken.tm_year -= 1900;
    broken.tm_mon -= 1;
    broken.tm_isdst = -1;
    return std::mktime(&broken);
}
