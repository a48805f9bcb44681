#include "tools/common/database.h"

namespace corvenna {
namespace {

constexpr int kBusyMilliseconds = 10000;

}  // namespace

SQLite::Database OpenDatabase(const std::string &path) {
    SQLite::Database database(path, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE,
                              kBusyMilliseconds);
    database.exec("PRAGMA journal_mode = WAL");
    database.exec("PRAGMA synchronous = FULL");
    database.exec("PRAGMA foreign_keys = ON");
    return database;
}

SQLite::Transaction Begin(SQLite::Database &database) {
    return SQLite::Transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
}

}  // namespace corvenna
