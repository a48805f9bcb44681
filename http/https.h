#pragma once

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

    int UploadMemoryData(ST_FRAME_MEMORY_UPLOAD *frame);
    /// The same for callers that need more than its result.
    /// @param outcome receives how the exchange ended; left alone when none was tried.
    int ExchangeMemoryData(ST_FRAME_MEMORY_UPLOAD *frame, corvenna::Outcome &outcome);

    /// @return 0 when the answer was exactly 200, otherwise -1.
    int GET_MemoryData(ST_FRAME_MEMORY_UPLOAD *frame);
    int POST_MemoryData(ST_FRAME_MEMORY_UPLOAD *frame);
    int PUT_MemoryData(ST_FRAME_MEMORY_UPLOAD *frame);
    int DELTET_MemoryData(ST_FRAME_MEMORY_UPLOAD *frame);

    int UploadRealDataFile(ST_FRAME_FILE_UPLOAD *frame, int *httpCode);
    int UploadAlarmDataFile(ST_FRAME_FILE_UPLOAD *frame);
    int GetDownFile(ST_FRAME_FILE_UPLOAD *frame, down_file_para *file);

    char *GetRecvResult() { return result_; }

private:
    alignas(unsigned long) char result_[385];
    pthread_mutex_t lock_;
};
