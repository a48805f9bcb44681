#pragma once

/// @file
/// The plain HTTP client.

#include <pthread.h>

#include "base/export.h"
#include "http/frame.h"

struct down_file_para;

namespace corvenna {
struct Outcome;
}

/// The plain HTTP client. Every call makes and frees its own easy handle and blocks until its
/// transfer ends; calls may come from several threads at once. Requests are borrowed for the call.
/// Failures are logged at level 4.
class CORVENNA_API CHttp {
public:
    CHttp();
    ~CHttp();
    CHttp(const CHttp &) = delete;
    CHttp &operator=(const CHttp &) = delete;

    /// Runs the operation that the method field names by prefix; blocks up to 90 s.
    /// @param frame the request; null gives -1, as in all operations.
    /// @return the operation's result, -1 for another method or a body length over 20,480.
    int UploadMemoryData(ST_FRAME_MEMORY_UPLOAD *frame);
    /// The same for callers that need more than its result.
    /// @param frame   the request.
    /// @param outcome receives how the exchange ended; left alone when none was tried.
    /// @return as UploadMemoryData.
    int ExchangeMemoryData(ST_FRAME_MEMORY_UPLOAD *frame, corvenna::Outcome &outcome);

    /// Asks the server; the frame's callback receives the answer. Blocks up to 90 s.
    /// @param frame the request.
    /// @return 0 when the answer was 200 or 201, otherwise -1.
    int GET_MemoryData(ST_FRAME_MEMORY_UPLOAD *frame);
    /// Posts the frame's body. Blocks up to 90 s.
    /// @param frame the request.
    /// @return 0, also for a transfer that failed; -1 only when none could be tried.
    int POST_MemoryData(ST_FRAME_MEMORY_UPLOAD *frame);
    /// Puts the frame's body. Blocks up to 90 s.
    /// @param frame the request.
    /// @return 0 when the answer was 200 or 201, otherwise -1.
    int PUT_MemoryData(ST_FRAME_MEMORY_UPLOAD *frame);
    /// Deletes what the frame's body tells. Blocks up to 90 s. (The name is spelt so for its
    /// callers.)
    /// @param frame the request.
    /// @return 0 when the answer was 204, otherwise -1.
    int DELTET_MemoryData(ST_FRAME_MEMORY_UPLOAD *frame);

    /// Sends one produced file of real data. Blocks up to 90 s.
    /// @param frame    the request.
    /// @param httpCode receives the HTTP status, 0 when no answer came; may be null.
    /// @return 0 for 200, 201 and 426, otherwise -1.
    int UploadRealDataFile(ST_FRAME_FILE_UPLOAD *frame, int *httpCode);
    /// Sends one produced file of alarms. Blocks up to 90 s.
    /// @param frame the request.
    /// @return 0 for 200 and 201, otherwise -1.
    int UploadAlarmDataFile(ST_FRAME_FILE_UPLOAD *frame);

    /// Downloads to the end of the local file, resuming at its length. No time limit.
    /// @param frame the request.
    /// @param file  not read.
    /// @return 0 when the transfer ended well whatever the status, otherwise -1.
    int GetDownFile(ST_FRAME_FILE_UPLOAD *frame, down_file_para *file);

    /// Reads the beginning of a file; no NUL is appended.
    /// @param path     of the file.
    /// @param buffer   receives the bytes.
    /// @param capacity most bytes that are read.
    /// @return bytes read (0 for a negative capacity), -1 when path or buffer is null or the file
    ///         cannot be opened for reading and writing.
    int ReadJsonDataFile(const char *path, char *buffer, int capacity);

    /// Where the last upload is remembered.
    /// @return the result area: 385 bytes, the path from index 1 on. Owned by this object, shared
    /// by
    ///         all callers.
    CORVENNA_INLINE_API char *GetRecvResult() { return result_; }

private:
    alignas(unsigned long) char result_[385];
    pthread_mutex_t lock_;
};
