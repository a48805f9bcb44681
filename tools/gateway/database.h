#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "base/handle.h"

namespace corvenna::gateway {

/// A prepared statement. Parameters are bound in order; every failure throws std::runtime_error.
class Statement {
public:
    Statement(sqlite3 *connection, const char *sql);

    Statement &Bind(std::int64_t value);
    Statement &Bind(double value);

    /// Goes to the next row. @return whether there is one.
    bool Next();
    /// Runs a statement that gives no rows, and makes it ready for other parameters.
    void Run();

    std::int64_t Integer(int column) const;
    double Real(int column) const;
    bool IsNull(int column) const;

private:
    std::unique_ptr<sqlite3_stmt, FreedBy<sqlite3_finalize>> statement_;
    int bound_ = 0;
};

/// One connection, one thread at a time. What a committed transaction wrote survives a kill and a
/// loss of power. Every failure throws std::runtime_error.
class Database {
public:
    explicit Database(const std::string &path);

    void Execute(const char *sql);
    Statement Prepare(const char *sql);
    /// How many rows the last statement changed.
    int Changes() const;

private:
    std::unique_ptr<sqlite3, FreedBy<sqlite3_close>> connection_;
};

/// Undone at its end unless committed.
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

}  // namespace corvenna::gateway
