#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/handle.h"

namespace corvenna::cloud {

/// A prepared statement with its values bound. Failures throw std::runtime_error.
class Statement {
public:
    Statement(sqlite3 *connection, const char *sql);

    template <class... Values>
    Statement &Bind(const Values &...values) {
        Rewind();
        int index = 0;
        (BindOne(++index, values), ...);
        return *this;
    }

    /// Goes to the next row. @return false behind the last one.
    bool Step();
    /// Runs a statement whose rows do not matter.
    void Run();

    int Columns() const { return sqlite3_column_count(handle_.get()); }
    const char *Name(int column) const { return sqlite3_column_name(handle_.get(), column); }
    int Type(int column) const { return sqlite3_column_type(handle_.get(), column); }
    std::int64_t Number(int column) const { return sqlite3_column_int64(handle_.get(), column); }
    double Real(int column) const { return sqlite3_column_double(handle_.get(), column); }
    std::string Text(int column) const;

private:
    void Rewind();
    void BindOne(int index, std::int64_t value);
    void BindOne(int index, int value) { BindOne(index, std::int64_t{value}); }
    void BindOne(int index, std::string_view value);

    sqlite3 *connection_;
    std::unique_ptr<sqlite3_stmt, FreedBy<sqlite3_finalize>> handle_;
};

/// Owns a connection. One thread at a time. Failures throw std::runtime_error.
class Database {
public:
    /// Opens or creates the file, with a write-ahead log that is on disk when a transaction ends.
    explicit Database(const std::string &path);

    void Execute(const char *sql);
    Statement Prepare(const char *sql) { return {connection_.get(), sql}; }

    template <class... Values>
    Statement Query(const char *sql, const Values &...values) {
        Statement statement(connection_.get(), sql);
        statement.Bind(values...);
        return statement;
    }

    /// Runs one statement. @return the number of rows that it changed.
    template <class... Values>
    int Run(const char *sql, const Values &...values) {
        Query(sql, values...).Run();
        return sqlite3_changes(connection_.get());
    }

    std::int64_t LastId() const { return sqlite3_last_insert_rowid(connection_.get()); }
    int Changes() const { return sqlite3_changes(connection_.get()); }

private:
    std::unique_ptr<sqlite3, FreedBy<sqlite3_close>> connection_;
};

/// Everything until Commit() happens as a whole or, when it is destroyed before, not at all.
class Transaction {
public:
    explicit Transaction(Database &database);
    ~Transaction();
    Transaction(const Transaction &) = delete;
    Transaction &operator=(const Transaction &) = delete;
    void Commit();

private:
    Database &database_;
    bool open_ = true;
};

}  // namespace corvenna::cloud
