#include "tools/gateway/database.h"

#include <stdexcept>

namespace corvenna::gateway {

namespace {

constexpr int kBusyMilliseconds = 10000;

[[noreturn]] void Fail(sqlite3 *connection, const std::string &what) {
    throw std::runtime_error("database: " + what + ": " +
                             (connection == nullptr ? "no memory" : sqlite3_errmsg(connection)));
}

}  // namespace

Statement::Statement(sqlite3 *connection, const char *sql) {
    sqlite3_stmt *statement = nullptr;
    const int result = sqlite3_prepare_v2(connection, sql, -1, &statement, nullptr);
    statement_.reset(statement);
    if (result != SQLITE_OK) {
        Fail(connection, sql);
    }
}

Statement &Statement::Bind(std::int64_t value) {
    if (sqlite3_bind_int64(statement_.get(), ++bound_, value) != SQLITE_OK) {
        Fail(sqlite3_db_handle(statement_.get()), "bind");
    }
    return *this;
}

Statement &Statement::Bind(double value) {
    if (sqlite3_bind_double(statement_.get(), ++bound_, value) != SQLITE_OK) {
        Fail(sqlite3_db_handle(statement_.get()), "bind");
    }
    return *this;
}

bool Statement::Next() {
    switch (sqlite3_step(statement_.get())) {
        case SQLITE_ROW:
            return true;
        case SQLITE_DONE:
            return false;
        default:
            Fail(sqlite3_db_handle(statement_.get()), sqlite3_sql(statement_.get()));
    }
}

void Statement::Run() {
    while (Next()) {
    }
    sqlite3_reset(statement_.get());
    bound_ = 0;
}

std::int64_t Statement::Integer(int column) const {
    return sqlite3_column_int64(statement_.get(), column);
}

double Statement::Real(int column) const {
    return sqlite3_column_double(statement_.get(), column);
}

bool Statement::IsNull(int column) const {
    return sqlite3_column_type(statement_.get(), column) == SQLITE_NULL;
}

Database::Database(const std::string &path) {
    sqlite3 *connection = nullptr;
    const int result = sqlite3_open(path.c_str(), &connection);
    connection_.reset(connection);
    if (result != SQLITE_OK) {
        Fail(connection, path);
    }
    sqlite3_busy_timeout(connection, kBusyMilliseconds);
    Execute("PRAGMA journal_mode = WAL");
    Execute("PRAGMA synchronous = FULL");
}

void Database::Execute(const char *sql) {
    if (sqlite3_exec(connection_.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
        Fail(connection_.get(), sql);
    }
}

Statement Database::Prepare(const char *sql) {
    return {connection_.get(), sql};
}

int Database::Changes() const {
    return sqlite3_changes(connection_.get());
}

Transaction::Transaction(Database &database) : database_(database) {
    database_.Execute("BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
    if (!open_) {
        return;
    }
    try {
        database_.Execute("ROLLBACK");
    } catch (const std::exception &) {  // NOLINT(bugprone-empty-catch): it is undone on closing too
    }
}

void Transaction::Commit() {
    database_.Execute("COMMIT");
    open_ = false;
}

}  // namespace corvenna::gateway
