#include "tools/cloud/store/gateway_points.h"

namespace corvenna::cloud {

std::optional<std::int64_t> GatewayNumber(Connection &connection, const std::string &sn) {
    Rows row = connection.Query("SELECT id FROM gateways WHERE sn = ?", {sn});
    return row.Next() ? std::make_optional(row.Number(0)) : std::nullopt;
}

std::vector<PointRow> FindPoints(Connection &connection, std::int64_t gateway,
                                 const std::vector<std::string> &dblinks) {
    std::vector<PointRow> points;
    for (const std::string &dblink : dblinks) {
        Rows row = connection.Select(
            "SELECT id, dblink, name, unit FROM points WHERE gateway = ? AND dblink = ?",
            {gateway, dblink});
        if (row.Next()) {
            points.push_back({row.Number(0), row.Text(1), row.Text(2), row.Text(3)});
        }
    }
    return points;
}

std::vector<std::int64_t> Numbers(const std::vector<PointRow> &points) {
    std::vector<std::int64_t> numbers;
    numbers.reserve(points.size());
    for (const PointRow &point : points) {
        numbers.push_back(point.id);
    }
    return numbers;
}

}  // namespace corvenna::cloud
