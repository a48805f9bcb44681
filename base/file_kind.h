#pragma once

#include <sys/stat.h>

namespace corvenna {

/// The kind of the file that a path leads to, as in st_mode (S_IFREG, S_IFDIR, ...); 0 where there
/// is none.
inline mode_t KindOf(const char *path) {
    struct stat status {};
    return stat(path, &status) == 0 ? status.st_mode & S_IFMT : 0;
}

}  // namespace corvenna
