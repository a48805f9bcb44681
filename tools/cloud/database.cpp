#include "tools/cloud/database.h"

#include <stdexcept>

namespace corvenna::cloud {
namespace {

constexpr int kBusyMilliseconds = 10000;

void Check(sqlite3 *connection, bool good) {
    if (!good) {
        throw std::runtime_error(std::string("database: ") + sqlite3_errmsg(connection));
    }
}

}  // namespace

Statement::Statement(sqlite3 *connection, const char *sql) : connection_(connection) {
    sqlite3_stmt *handle = nullptr;
    const int result = sqlite3_prepare_v2(connection, sql, -1, &handle, nullptr);
    handle_.reset(handle);
    Check(connection, result == SQLITE_OK);
}

void Statement::Rewind() {
    sqlite3_reset(handle_.get());
}

void Statement::BindOne(int index, std::int64_t value) {
    Check(connection_, sqlite3_bind_int64(handle_.get(), index, value) == SQLITE_OK);
}

void Statement::BindOne(int index, std::string_view value) {
    const int result = sqlite3_bind_text(handle_.get(), index, value.data(),
                                         static_cast<int>(value.size()), SQLITE_TRANSIENT);
    Check(connection_, result == SQLITE_OK);
}

bool Statement::Step() {
    const int result = sqlite3_step(handle_.get());
    Check(connection_, result == SQLITE_ROW || result == SQLITE_DONE);
    return result == SQLITE_ROW;
}

void Statement::Run() {
    while (Step()) {
    }
}

std::string Statement::Text(int column) const {
    const auto *text = reinterpret_cast<const char *>(sqlite3_column_text(handle_.get(), column));
    const int length = sqlite3_column_bytes(handle_.get(), column);
    return text == nullptr ? std::string() : std::string(text, static_cast<std::size_t>(length));
}

Database::Database(const std::string &path) {
    sqlite3 *connection = nullptr;
    const int result = sqlite3_open(path.c_str(), &connection);
    connection_.reset(connection);
    Check(connection, result == SQLITE_OK);
    sqlite3_busy_timeout(connection, kBusyMilliseconds);
    Execute("PRAGMA journal_mode=WAL");
    Execute("PRAGMA synchronous=FULL");
    Execute("PRAGMA foreign_keys=ON");
}

void Database::Execute(const char *sql) {
    const int result = sqlite3_exec(connection_.get(), sql, nullptr, nullptr, nullptr);
    Check(connection_.get(), result == SQLITE_OK);
}

Transaction::Transaction(Database &database) : database_(database) {
    database_.Execute("BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
    if (open_) {
        try {
            database_.Execute("ROLLBACK");
        } catch (const std::runtime_error &) {  // SQLite has rolled back by itself
        }
    }
}

void Transaction::Commit() {
    database_.Execute("COMMIT");
    open_ = false;
}

}  // namespace corvenna::cloud
