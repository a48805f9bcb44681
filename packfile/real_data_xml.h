#pragma once

#include <cstdint>
#include <optional>

#include "base/xml_tree.h"
#include "packfile/real_data_walk.h"

namespace corvenna {

/// Builds a document below the tree's root, with the stated pauses. The caller holds no XmlGuard:
/// one is taken for each device and given back before the pause.
/// @param logdt the text of the sample time.
/// @return as WalkRealData; an abandoned document is of no use.
std::optional<std::uint32_t> BuildRealDataXml(const RealDataSource &source, const char *logdt,
                                              XmlTree &tree);

}  // namespace corvenna
