#pragma once

#include <string>

#include "tools/check/finding.h"
#include "tools/check/loaded.h"

namespace corvenna::check {

/// All that is to be shown.
struct Report {
    std::string folder;
    const Loaded &loaded;
    const Findings &findings;

    std::size_t Count(Severity severity) const;
};

std::string AsTables(const Report &report);
std::string AsJson(const Report &report);
/// A line a configured point, in the order of data ids.
std::string PointsAsCsv(const Loaded &loaded);
/// What is wrong, three lines a finding.
std::string AsText(const Findings &findings);

/// Name of a type of points by its code.
const char *TypeName(unsigned code);

}  // namespace corvenna::check
