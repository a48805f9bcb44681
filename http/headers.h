#pragma once

#include "http/curl.h"

namespace corvenna {

/// Header lines of a memory request without a body: what it accepts.
HeaderList AcceptHeaders(const char *format, bool deflated);

/// Header lines of a memory request with a body. None at all when the format is neither XML nor
/// JSON.
/// @param deflated whether bodies are deflated.
HeaderList BodyHeaders(const char *format, bool deflated);

/// Header lines of a file upload. Every format but XML counts as JSON; whether the file is deflated
/// shows in its path.
HeaderList UploadHeaders(const char *format, const char *path);

/// The same and the time of sending, in whole seconds since 1970.
HeaderList TimedUploadHeaders(const char *format, const char *path);

}  // namespace corvenna
