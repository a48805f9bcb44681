#pragma once

#include <string>

#include "tools/check/finding.h"
#include "tools/check/plant.h"

namespace corvenna::check {

/// What a configuration holds, and what is wrong with it.
struct Checked {
    Plant plant;
    Findings findings;  ///< in the order of files and lines in which they are read
};

/// Looks at all files of a configuration.
/// @param root  goes before every path, as in ROOT/quorvane/Config/sys.xml; empty on a gateway.
Checked Check(const std::string &root);

}  // namespace corvenna::check
