#pragma once

#include <SQLiteCpp/SQLiteCpp.h>
#include <SQLiteCpp/VariadicBind.h>

#include <cstdint>
#include <stdexcept>
#include <string>

namespace corvenna {

// What both programs do with SQLite, in one line each. Failures throw SQLite::Exception, which is a
// std::runtime_error. A connection serves one thread at a time.

/// Opens or creates the file, with a write-ahead log that is on disk when a transaction ends.
SQLite::Database OpenDatabase(const std::string &path);

/// Everything until commit() happens as a whole or, when it is destroyed before, not at all.
SQLite::Transaction Begin(SQLite::Database &database);

/// A statement with its values bound, in their order.
template <class... Values>
SQLite::Statement Query(const SQLite::Database &database, const char *sql,
                        const Values &...values) {
    SQLite::Statement statement(database, sql);
    SQLite::bind(statement, values...);
    return statement;
}

/// Runs a statement that gives no rows, as often as wanted. @return the number of rows changed.
template <class... Values>
int Run(SQLite::Statement &statement, const Values &...values) {
    statement.reset();
    SQLite::bind(statement, values...);
    return statement.exec();
}

template <class... Values>
int Run(const SQLite::Database &database, const char *sql, const Values &...values) {
    SQLite::Statement statement(database, sql);
    return Run(statement, values...);
}

/// Whether the query finds a row.
template <class... Values>
bool Exists(const SQLite::Database &database, const char *sql, const Values &...values) {
    return Query(database, sql, values...).executeStep();
}

/// The number in the first row, which the query must have.
template <class... Values>
std::int64_t NumberOf(const SQLite::Database &database, const char *sql, const Values &...values) {
    SQLite::Statement row = Query(database, sql, values...);
    if (!row.executeStep()) {
        throw std::runtime_error(std::string("no row: ") + sql);
    }
    return row.getColumn(0).getInt64();
}

}  // namespace corvenna
