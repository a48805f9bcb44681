#pragma once

#include <cstdint>
#include <optional>

#include "base/json_text.h"
#include "packfile/real_data_walk.h"

namespace corvenna {

/// Spells a document, with the stated pauses.
/// @param logdt the text of the sample time.
/// @return as WalkRealData; an abandoned document is of no use.
std::optional<std::uint32_t> SpellRealDataJson(const RealDataSource &source, const char *logdt,
                                               JsonText &text);

}  // namespace corvenna
