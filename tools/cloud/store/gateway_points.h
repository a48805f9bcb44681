#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/cloud/store/connection.h"

namespace corvenna::cloud {

struct PointRow {
    std::int64_t id;
    std::string dblink, name, unit;
};

/// The number of a gateway; nullopt when there is none of that serial number.
std::optional<std::int64_t> GatewayNumber(Connection &connection, const std::string &sn);

/// The points of a gateway with these data ids, in their order; those that there are not are left
/// out.
std::vector<PointRow> FindPoints(Connection &connection, std::int64_t gateway,
                                 const std::vector<std::string> &dblinks);

/// The numbers of points.
std::vector<std::int64_t> Numbers(const std::vector<PointRow> &points);

}  // namespace corvenna::cloud
