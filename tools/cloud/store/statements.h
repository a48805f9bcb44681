#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include "tools/cloud/store/connection.h"

namespace corvenna::cloud {

/// Statements of one connection whose texts are constants. One thread at a time.
class Statements {
public:
    explicit Statements(Connection &connection) : connection_(connection) {}

    const Dialect &Spelling() const { return connection_.Spelling(); }

    /// Runs a statement without rows. @return the number of rows changed.
    template <class... Value>
    std::int64_t Run(const char *sql, const Value &...values) {
        return connection_.Run(sql, {Given(values)...});
    }
    /// The same when the number is of no interest; it may wait for the next statement.
    template <class... Value>
    void RunLater(const char *sql, const Value &...values) {
        connection_.RunLater(sql, {Given(values)...});
    }
    template <class... Value>
    Rows Select(const char *sql, const Value &...values) {
        return connection_.Select(sql, {Given(values)...});
    }
    template <class... Value>
    bool Exists(const char *sql, const Value &...values) {
        return Select(sql, values...).Next();
    }
    /// Runs an INSERT. @return the number of the new row, if there is one.
    template <class... Value>
    std::optional<std::int64_t> TryInsert(const char *sql, const Value &...values) {
        return connection_.Insert(sql, {Given(values)...});
    }
    template <class... Value>
    std::int64_t Insert(const char *sql, const Value &...values) {
        const auto number = TryInsert(sql, values...);
        if (!number) {
            throw std::runtime_error(std::string("no new row: ") + sql);
        }
        return *number;
    }

private:
    Connection &connection_;
};

}  // namespace corvenna::cloud
