#pragma once

#include <cstring>

namespace corvenna {

/// The wire and file format that a format word selects.
enum class Format { kJson, kXml, kUnknown };

/// Chosen by prefix and case-sensitively: "jsonx" is JSON, "xmlfoo" is XML, "JSON" is neither.
/// A null word is neither.
inline Format FormatOf(const char *word) {
    if (word == nullptr) {
        return Format::kUnknown;
    }
    if (std::strncmp(word, "json", 4) == 0) {
        return Format::kJson;
    }
    if (std::strncmp(word, "xml", 3) == 0) {
        return Format::kXml;
    }
    return Format::kUnknown;
}

}  // namespace corvenna
