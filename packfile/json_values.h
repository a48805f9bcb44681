#pragma once

#include <cstddef>
#include <cstdint>

#include "base/json_text.h"
#include "packfile/value_text.h"

namespace corvenna {

// Ids and values as texts of a JSON document, printed where they belong; they need no escaping.

inline void SpellId(std::uint32_t id, JsonText &text) {
    text.Printed(kDataIdLength, [id](char *field) { return PrintDataId(id, field); });
}

/// A value's text is cut at Capacity - 1 characters.
template <std::size_t Capacity>
void SpellValue(double value, JsonText &text) {
    text.Printed(Capacity, [value](char *field) { return PrintValue(value, field, Capacity); });
}

}  // namespace corvenna
