#pragma once

/// @file
/// The parser of the server's answers.

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
/// never cleared, and get either all entries of an answer or none; what would make more than 4,096
/// files or 65,536 ranges of a list is left out (logged at ERROR). Without memory for an answer the
/// result is -1 (logged at ERROR); the two operations named Read raise std::bad_alloc instead. A
/// null answer is an empty one; without a result to fill there is only -1.
class CORVENNA_API CParseMemory {
public:
    CParseMemory();
    ~CParseMemory();
    CParseMemory(const CParseMemory &) = delete;
    CParseMemory &operator=(const CParseMemory &) = delete;

    /// Fills all fields but `address`, each with at most 63 characters.
    /// @param format "json..." or "xml...".
    /// @param data   the answer.
    /// @param length its bytes, for XML.
    /// @param info   receives the fields.
    /// @return 0 or -1.
    int ParseGateWayInfoFromMemory(const char *format, const char *data, int length,
                                   ST_GATEWAY_INFO *info);

    /// Reads a list of devices.
    /// @param format  "json..." or "xml...".
    /// @param data    the answer.
    /// @param length  its bytes, for XML.
    /// @param devices receives them at its end.
    /// @return 0 or -1.
    int ParseDevicesInfoFromMemory(const char *format, const char *data, int length,
                                   std::vector<ST_DEVICE_INFO> *devices);

    /// Reads a list of offered files.
    /// @param format "json..." or "xml...".
    /// @param data   the answer.
    /// @param length its bytes, for XML.
    /// @param files  receives them at its end.
    /// @return 0 or -1.
    int ParseDownFileFromMemory(const char *format, const char *data, int length,
                                std::vector<down_file_para> *files);

    /// The same for callers that stop at a full list.
    /// @param format "json..." or "xml...".
    /// @param data   the answer.
    /// @param length its bytes, for XML.
    /// @param files  receives them at its end.
    /// @param cut    set when the list had no room for all, otherwise left alone.
    /// @return 0 or -1.
    int ReadDownFileFromMemory(const char *format, const char *data, int length,
                               std::vector<down_file_para> *files, bool &cut);

    /// Reads a list of recalled ranges.
    /// @param format "json..." or "xml...".
    /// @param data   the answer.
    /// @param length its bytes, for XML.
    /// @param ranges receives them at its end.
    /// @return XML: 0; JSON: the number of entries now in the list; -1.
    int ParseRecallTimeFromMemory(const char *format, const char *data, int length,
                                  std::vector<recall_time_para> *ranges);
    /// The same for callers that stop at a full list.
    /// @param format "json..." or "xml...".
    /// @param data   the answer.
    /// @param length its bytes, for XML.
    /// @param ranges receives them at its end.
    /// @param cut    set when the list had no room for all, otherwise left alone.
    /// @return as ParseRecallTimeFromMemory.
    int ReadRecallTimeFromMemory(const char *format, const char *data, int length,
                                 std::vector<recall_time_para> *ranges, bool &cut);

    /// Reads "2024-03-05 07:08:09" as local time.
    /// @param text is not checked: what is no such time is some time. Null is read as "".
    /// @return seconds of the Unix epoch.
    static std::time_t TimeString2Timet(const char *text);

private:
    pthread_mutex_t mutex_;
};
