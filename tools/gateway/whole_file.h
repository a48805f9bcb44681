#pragma once

#include <sys/types.h>

#include <string>

namespace corvenna::gateway {

/// Writes a file that is there whole or not at all; the folder is made when it is missing. Throws
/// std::system_error that names the file.
void WriteWholeFile(const std::string &path, const std::string &content, mode_t mode);

}  // namespace corvenna::gateway
