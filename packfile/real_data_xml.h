#pragma once

#include <cstdint>
#include <optional>

#include "packfile/real_data_walk.h"
#include "packfile/xml_lines.h"

namespace corvenna {

/// Spells a document, with the stated pauses. The caller holds no XmlGuard: one is taken for each
/// device and given back before the pause.
/// @param logdt the text of the sample time.
/// @return as WalkRealData; an abandoned document is of no use.
std::optional<std::uint32_t> SpellRealDataXml(const RealDataSource &source, const char *logdt,
                                              XmlLines &lines);

}  // namespace corvenna
