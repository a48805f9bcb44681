#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace corvenna::cloud {

/// How many bytes a compressed document comes to, its NUL included. Takes no memory for them. A
/// stream that is damaged, cut, larger than `limit` or followed by something else: BadDocument.
std::size_t InflatedSize(std::string_view bytes, std::size_t limit);

/// Undoes a gateway's compression: a zlib stream of a text and its NUL, which is dropped.
/// BadDocument as above and when there is no NUL.
/// @param size what InflatedSize gave.
std::string InflateDocument(std::string_view bytes, std::size_t size);

}  // namespace corvenna::cloud
