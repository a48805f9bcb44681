#pragma once

#include <cstddef>

#include "http/headers.h"
#include "http/outcome.h"

namespace corvenna {

// Every operation of both clients is a row: which options are set and in which order, which answers
// count, what is logged, what a refusal returns. transfer.h runs a row.

constexpr int kOk = 0;
constexpr int kFail = -1;

/// One option of a request; transfer.cpp says how libcurl is told.
enum class Option {
    kUrl,
    kVerifyPeerOff,
    kVerifyHostOff,
    kCaFile,
    kHeaders,
    kCookieJar,
    kCookieFile,
    kTimeout90,
    kNoSignal,
    kWrite,       ///< the write callback, null included: libcurl then writes to standard output
    kWriteIfSet,  ///< the write callback when there is one
    kRead,        ///< the read callback, null included
    kReadIfSet,   ///< the read callback when there is one
    kPostOn,
    kPostOff,
    kPutOff,
    kVerbPut,
    kVerbDelete,
    kBody,
    kBodySize,  ///< length of the body, or of the file that is sent
    kReadFile,
    kWriteFile,
    kResume,
    kBasicAuth,
    kCredentials,
};

/// The options of an operation, in the order in which they are set.
struct Options {
    template <std::size_t Size>
    constexpr Options(const Option (&options)[Size]) : first(options), count(Size) {}
    const Option *begin() const { return first; }
    const Option *end() const { return first + count; }

    const Option *first;
    std::size_t count;
};

/// A request whose body is held in memory.
struct MemoryOperation {
    Options options;
    HeaderList (*headers)(const char *format, bool deflated);
    bool (*accepts)(const Outcome &outcome);
    void (*refused)(const Outcome &outcome);
    int onRefusal;
};

/// The upload of a file.
struct UploadOperation {
    Options options;
    HeaderList (*headers)(const char *format, const char *path);
    bool (*accepts)(const Outcome &outcome);
    void (*missing)(const char *path);
    void (*started)(const char *path, const char *url);
    void (*refused)(const char *path, const Outcome &outcome);
};

/// The download of a file; accepted whenever the transfer ends well.
struct DownloadOperation {
    Options options;
    void (*started)(const char *path, const char *url);
};

/// The operations of one client.
struct Operations {
    MemoryOperation get;
    MemoryOperation post;
    MemoryOperation put;
    MemoryOperation remove;
    UploadOperation realData;
    UploadOperation alarmData;
    DownloadOperation download;
};

extern const Operations kHttp;
extern const Operations kHttps;

/// The operation that a method field names: "POST", "GET", "PUT" and "DELETE" are compared as
/// prefixes, in this order and case-sensitively. Null for any other word.
const MemoryOperation *FindOperation(const Operations &client, const char *method);

}  // namespace corvenna
