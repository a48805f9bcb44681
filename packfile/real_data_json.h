#pragma once

#include <cstdint>
#include <optional>

#include "base/json_text.h"
#include "packfile/real_data_walk.h"

namespace corvenna {

/// Counts a document without a pause; where the walk would be abandoned, what comes before that.
/// @param logdt the text of the sample time.
JsonSize MeasureRealDataJson(const RealDataSource &source, const char *logdt);

/// Spells a document, with the stated pauses.
/// @return as WalkRealData; an abandoned document is of no use.
std::optional<std::uint32_t> SpellRealDataJson(const RealDataSource &source, const char *logdt,
                                               JsonText &text);

}  // namespace corvenna
