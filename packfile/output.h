#pragma once

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

#include "base/text_pieces.h"
#include "packfile/file_name.h"

namespace corvenna {

/// Where a finished document goes and who is told.
struct Target {
    DataKind kind;
    bool compress;
    const char *dir;
    std::tm time;                     ///< of the file name
    std::vector<std::string> *files;  ///< receives the path of a file that was written
};

/// Where the process stops when an uncompressed JSON file cannot be opened.
struct OpenAssertion {
    unsigned line;
    const char *function;
};

// Both write exactly one file, append its path and log the outcome. A compressed document that does
// not fit the receivers' buffer is written uncompressed, under the uncompressed name. What was
// written in part is removed. Both throw std::bad_alloc, with neither file nor entry left.

/// @return 0, -1 when the file could not be written whole.
std::int32_t SaveJson(const Target &target, TextPieces &document, const OpenAssertion &assertion);

/// Runs libxml2's clean-up; the caller holds no XmlGuard.
/// @return the bytes written, -1 when the file could not be written whole.
std::int32_t SaveXml(const Target &target, TextPieces &document);

}  // namespace corvenna
