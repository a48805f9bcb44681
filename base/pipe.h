#pragma once

#include "base/file_kind.h"

namespace corvenna {

/// Whether a path leads to a named pipe. Opening one waits for its other end, for ever where there
/// is none.
inline bool IsPipe(const char *path) {
    return KindOf(path) == S_IFIFO;
}

}  // namespace corvenna
