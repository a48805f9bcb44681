#pragma once

#include <memory>
#include <string>

#include "tools/cloud/store/sqlite/sqlite_connection.h"

namespace corvenna::cloud {

/// Opens or creates the database of the server, for its one writer. One of the layout before is
/// brought to the present one first. Throws std::runtime_error, with the file unchanged, when it
/// belongs to another program or to a newer version of this one.
std::unique_ptr<SqliteConnection> OpenForWriting(const std::string &path);

/// A connection that only reads.
std::unique_ptr<SqliteConnection> OpenForReading(const std::string &path);

/// Turns the rows of the first layout (one a sample) into documents, within a transaction.
void MigrateFromFirstLayout(SqliteConnection &connection);

}  // namespace corvenna::cloud
