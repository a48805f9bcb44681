#pragma once

#include "base/export.h"
#include "message/records.h"

/// Builds request bodies. Holds no state; may be called from several threads.
///
/// Every operation writes a document into the caller's buffer: JSON when `format` begins with
/// "json", XML when it begins with "xml"; deflated when the settings say so. It returns the number
/// of bytes written, -1 for any other format (the buffer is not touched) and without a buffer or a
/// range. A document that does not fit is cut to capacity - 2 characters (or is what zlib made of
/// it) and logged at ERROR. A null string that would become JSON raises std::logic_error
/// ("rapidjson exception"); in XML it becomes an empty attribute.
class CORVENNA_API CPackMemory {
public:
    /// The gateway's description, from identity and settings.
    int CreateGateWayInfoMemory(const char *format, char *out, int capacity);

    /// The device list, from the channel set.
    int CreateDevicesMemory(const char *format, char *out, int capacity);

    /// The status of an offered file: 1 begun, 0 digest mismatch, 2 done.
    int CreatePutDownStatusMemory(const char *format, char *out, int capacity, const char *md5,
                                  int status);

    /// The acknowledgement of a served recall range.
    int CreateDelReCallMemory(const char *format, char *out, int capacity,
                              const recall_time_para *range);
};
