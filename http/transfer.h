#pragma once

#include <cstddef>

#include "config/sys_set.h"
#include "http/frame.h"
#include "http/operations.h"
#include "http/outcome.h"

namespace corvenna {

/// For a client's constructor; its destructor calls curl_global_cleanup().
void StartLibcurl();

/// A client's result area; aligned like a word.
constexpr std::size_t kResultAreaSize = 385;
using ResultArea = char[kResultAreaSize];

/// The settings that requests depend on, borrowed for the call.
struct Settings {
    const ST_CLOUDSERVER_CONFIG_ATTR &cloud;
    const ST_HTTPS_CERT_INFO &https;
};

/// Those of the system settings as they stand.
Settings CurrentSettings();

// All block until the transfer has ended, log as their row says and return kFail for a null
// frame and when no transfer could be tried.

/// @param outcome receives how the exchange ended; may be null, and is left alone when none was
///                tried.
/// @return kOk for an accepted answer, otherwise the operation's own result.
int Run(const MemoryOperation &operation, Settings settings, const ST_FRAME_MEMORY_UPLOAD *frame,
        Outcome *outcome = nullptr);

/// Runs the client's operation that the frame's method field names, kFail for any other word.
int RunNamed(const Operations &client, Settings settings, const ST_FRAME_MEMORY_UPLOAD *frame,
             Outcome *outcome = nullptr);

/// Sends the frame's file.
/// @param area     receives the file's path from index 1 on, at most 63 characters.
/// @param httpCode receives the status once the transfer has run, 0 when no answer came; may be
///                 null.
int Run(const UploadOperation &operation, Settings settings, const ST_FRAME_FILE_UPLOAD *frame,
        ResultArea &area, int *httpCode = nullptr);

/// Appends to the frame's file, from where it ends.
int Run(const DownloadOperation &operation, Settings settings, const ST_FRAME_FILE_UPLOAD *frame);

}  // namespace corvenna
