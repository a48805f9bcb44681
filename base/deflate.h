#pragma once

#include <cstddef>

namespace corvenna {

/// What zlib's compress() made of a document.
struct Deflated {
    std::size_t length;  ///< bytes in the output buffer, as zlib reports them
    bool whole;          ///< false when the buffer was too small
};

/// Compresses a document's text with its terminating NUL (receivers drop it after inflating) at
/// zlib's default level. Throws std::bad_alloc when memory is short.
/// @param text   NUL-terminated, `length` characters before the NUL; borrowed for the call.
/// @param output receives at most `capacity` bytes.
Deflated DeflateWithNul(const char *text, std::size_t length, char *output, std::size_t capacity);

}  // namespace corvenna
