#pragma once

#include <cstddef>
#include <cstdint>

#include "base/json_text.h"
#include "packfile/value_text.h"

namespace corvenna {

// Ids and values as texts of a JSON document. They need no escaping, and only the written document
// needs their digits; for its size their lengths will do.

inline void SpellId(std::uint32_t /*id*/, JsonSize &size) {
    size.Plain(DataIdText::kLength);
}
inline void SpellId(std::uint32_t id, JsonText &text) {
    text.Plain({DataIdText(id).Get(), DataIdText::kLength});
}

/// A value's text is cut at Capacity - 1 characters.
template <std::size_t Capacity>
void SpellValue(double value, JsonSize &size) {
    size.Plain(PrintedLength(value, Capacity));
}
template <std::size_t Capacity>
void SpellValue(double value, JsonText &text) {
    const ValueText<Capacity> printed(value);
    text.Plain({printed.Get(), printed.Length()});
}

}  // namespace corvenna
