#pragma once

/// @file
/// The HTTPS client.

#include <pthread.h>

#include "base/export.h"
#include "http/frame.h"

struct down_file_para;

namespace corvenna {
struct Outcome;
}

/// The HTTPS client: the operations of CHttp over TLS, with the CA file, cookies and basic
/// authentication of the settings. Peer and host are not verified. Threads, blocking, ownership and
/// logging are those of CHttp.
class CORVENNA_API CHttps {
public:
    CHttps();
    ~CHttps();
    CHttps(const CHttps &) = delete;
    CHttps &operator=(const CHttps &) = delete;

    /// @copydoc CHttp::UploadMemoryData
    int UploadMemoryData(ST_FRAME_MEMORY_UPLOAD *frame);
    /// @copydoc CHttp::ExchangeMemoryData
    int ExchangeMemoryData(ST_FRAME_MEMORY_UPLOAD *frame, corvenna::Outcome &outcome);

    /// Asks the server; the frame's callback receives the answer. Blocks up to 90 s.
    /// @param frame the request.
    /// @return 0 when the answer was exactly 200, otherwise -1.
    int GET_MemoryData(ST_FRAME_MEMORY_UPLOAD *frame);
    /// @copydoc CHttp::POST_MemoryData
    int POST_MemoryData(ST_FRAME_MEMORY_UPLOAD *frame);
    /// @copydoc CHttp::PUT_MemoryData
    int PUT_MemoryData(ST_FRAME_MEMORY_UPLOAD *frame);
    /// @copydoc CHttp::DELTET_MemoryData
    int DELTET_MemoryData(ST_FRAME_MEMORY_UPLOAD *frame);

    /// @copydoc CHttp::UploadRealDataFile
    int UploadRealDataFile(ST_FRAME_FILE_UPLOAD *frame, int *httpCode);
    /// @copydoc CHttp::UploadAlarmDataFile
    int UploadAlarmDataFile(ST_FRAME_FILE_UPLOAD *frame);
    /// @copydoc CHttp::GetDownFile
    int GetDownFile(ST_FRAME_FILE_UPLOAD *frame, down_file_para *file);

    /// @copydoc CHttp::GetRecvResult
    CORVENNA_INLINE_API char *GetRecvResult() { return result_; }

private:
    alignas(unsigned long) char result_[385];
    pthread_mutex_t lock_;
};
