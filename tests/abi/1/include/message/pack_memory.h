#pragma once

/// @file
/// The builder of request bodies.

#include "base/export.h"
#include "message/records.h"

/// Builds request bodies. Holds no state; may be called from several threads.
///
/// Every operation writes a document into the caller's buffer: JSON when `format` begins with
/// "json", XML when it begins with "xml"; deflated when the settings say so. It returns the number
/// of bytes written, -1 for any other format (the buffer is not touched), without a buffer or a
/// range, and (logged at ERROR) when memory is short. A document that does not fit is cut to
/// capacity - 2 characters (or is what zlib made of it) and logged at ERROR. A null string that
/// would become JSON raises std::logic_error
/// ("rapidjson exception"); in XML it becomes an empty attribute.
class CORVENNA_API CPackMemory {
public:
    /// The gateway's description, from identity and settings.
    /// @param format   "json..." or "xml...".
    /// @param out      receives the body.
    /// @param capacity bytes of `out`.
    /// @return bytes written, or -1.
    int CreateGateWayInfoMemory(const char *format, char *out, int capacity);

    /// The device list, from the channel set.
    /// @param format   "json..." or "xml...".
    /// @param out      receives the body.
    /// @param capacity bytes of `out`.
    /// @return bytes written, or -1.
    int CreateDevicesMemory(const char *format, char *out, int capacity);

    /// The status of an offered file.
    /// @param format   "json..." or "xml...".
    /// @param out      receives the body.
    /// @param capacity bytes of `out`.
    /// @param md5      the offer's digest, by which the server knows it.
    /// @param status   1 begun, 0 digest mismatch, 2 done.
    /// @return bytes written, or -1.
    int CreatePutDownStatusMemory(const char *format, char *out, int capacity, const char *md5,
                                  int status);

    /// The acknowledgement of a served recall range.
    /// @param format   "json..." or "xml...".
    /// @param out      receives the body.
    /// @param capacity bytes of `out`.
    /// @param range    what was served.
    /// @return bytes written, or -1.
    int CreateDelReCallMemory(const char *format, char *out, int capacity,
                              const recall_time_para *range);
};
