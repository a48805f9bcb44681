#pragma once

#include <sqlite3.h>

#include <memory>

#include "base/handle.h"

namespace corvenna {

/// Owns a connection; also one that failed to open, which must be closed all the same.
using Database = std::unique_ptr<sqlite3, FreedBy<sqlite3_close>>;

/// Owns a message that sqlite3_exec allocated.
using SqliteMessage = std::unique_ptr<char, FreedBy<sqlite3_free>>;

using Statement = std::unique_ptr<sqlite3_stmt, FreedBy<sqlite3_finalize>>;

}  // namespace corvenna
