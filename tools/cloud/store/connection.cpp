#include "tools/cloud/store/connection.h"

#include <stdexcept>

namespace corvenna::cloud {

std::int64_t NumberOf(Connection &connection, const std::string &sql, Values values) {
    Rows row = connection.Query(sql, values);
    if (!row.Next()) {
        throw std::runtime_error("no row: " + sql);
    }
    return row.Number(0);
}

}  // namespace corvenna::cloud
