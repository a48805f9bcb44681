#pragma once

#include <pthread.h>

#include <ctime>
#include <vector>

#include "base/export.h"
#include "message/records.h"

struct ST_GATEWAY_INFO;

/// Parses the server's answers. May be called from several threads; the mutex serialises the JSON
/// parse alone.
///
/// `format` is "json" or "xml" by prefix, anything else gives -1. JSON is read up to its
/// terminating NUL and `length` is not used; XML is read by `length`. XML reports its failures in
/// the log and by -1. JSON gives -1 for a text that does not parse and raises std::logic_error
/// ("rapidjson exception") for a missing member or one of the wrong type. Lists are appended to,
/// never cleared, and get either all entries of an answer or none. A null answer is an empty one;
/// without a result to fill there is only -1.
class CORVENNA_API CParseMemory {
public:
    CParseMemory();
    ~CParseMemory();
    CParseMemory(const CParseMemory &) = delete;
    CParseMemory &operator=(const CParseMemory &) = delete;

    /// Fills all fields but `address`, each with at most 63 characters. @return 0 or -1.
    int ParseGateWayInfoFromMemory(const char *format, const char *data, int length,
                                   ST_GATEWAY_INFO *info);

    /// @return 0 or -1.
    int ParseDevicesInfoFromMemory(const char *format, const char *data, int length,
                                   std::vector<ST_DEVICE_INFO> *devices);

    /// @return 0 or -1.
    int ParseDownFileFromMemory(const char *format, const char *data, int length,
                                std::vector<down_file_para> *files);

    /// @return XML: 0; JSON: the number of entries now in the list; -1.
    int ParseRecallTimeFromMemory(const char *format, const char *data, int length,
                                  std::vector<recall_time_para> *ranges);

    /// Reads "2024-03-05 07:08:09" as local time; the result of the scan is not checked. Null is
    /// read as "".
    static std::time_t TimeString2Timet(const char *text);

private:
    pthread_mutex_t mutex_;
};
