#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

namespace corvenna::cloud {

/// Makes or replaces a file as a whole: it is on disk, its name included, when this returns, and
/// nobody ever sees a part of it. Throws std::runtime_error.
/// @param mode rights of the file, whatever the umask.
void WriteDurably(const std::string &path, std::string_view content, mode_t mode);

}  // namespace corvenna::cloud
