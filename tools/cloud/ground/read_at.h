#pragma once

#include <cstddef>
#include <cstdint>

#include "base/file_descriptor.h"

namespace corvenna::cloud {

/// Reads from a place of a file, as much as there is of `length` bytes.
/// @return how many it were; fewer at the file's end or when the disk fails.
std::size_t ReadAt(const FileDescriptor &file, std::int64_t place, char *to,
                   std::size_t length) noexcept;

}  // namespace corvenna::cloud
