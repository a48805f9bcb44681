#pragma once

#include "tools/cloud/store/postgres/postgres_connection.h"

namespace corvenna::cloud {

enum class Layout { kEarlier, kPresent };

/// Makes the tables when there are none. Throws std::runtime_error, with nothing changed, when the
/// database belongs to another program or to a newer version of this one.
/// @return the layout of what is there.
Layout PrepareTables(PostgresConnection &connection);

/// Brings the earlier layout to the present one, while other processes go on. It may be interrupted
/// and done again, and two may do it at once.
/// @param connection of no use for anything else afterwards.
void MigrateTables(PostgresConnection &connection);

}  // namespace corvenna::cloud
