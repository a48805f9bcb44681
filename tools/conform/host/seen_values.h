#pragma once

#include <string>

#include "packfile/records.h"

namespace corvenna::stand_in {

/// What a snapshot leaves out of what is configured.
struct Missing {
    std::string statusPoints;  ///< data ids of devices whose state is not told
    std::string points;        ///< data ids of other points of devices that are up
};

/// Against the configuration that is loaded. Nothing is missing where a forwarding table is sent.
Missing MissingOf(const Real_Data_Struct &values);

/// Differs for snapshots that differ.
std::string FingerprintOf(const Real_Data_Struct &values);

}  // namespace corvenna::stand_in
