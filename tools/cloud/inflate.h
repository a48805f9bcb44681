#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace corvenna::cloud {

/// Undoes a gateway's compression: a zlib stream of a text and its NUL, which is dropped. Never
/// holds more than `limit` bytes. A stream that is damaged, cut, too large, followed by something
/// else or without the NUL: BadDocument.
std::string InflateDocument(std::string_view bytes, std::size_t limit);

}  // namespace corvenna::cloud
