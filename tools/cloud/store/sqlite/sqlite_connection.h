#pragma once

#include <SQLiteCpp/SQLiteCpp.h>

#include <map>

#include "tools/cloud/store/connection.h"

namespace corvenna::cloud {

class SqliteConnection : public Connection {
public:
    explicit SqliteConnection(SQLite::Database database) : database_(std::move(database)) {}

    SQLite::Database &Database() { return database_; }

    const Dialect &Spelling() const override;
    void Begin() override;
    void Commit() override;
    void Rollback() noexcept override;
    std::int64_t Run(const char *sql, Values values) override;
    Rows Select(const char *sql, Values values) override;
    std::optional<std::int64_t> Insert(const char *sql, Values values) override;
    Rows Query(const std::string &sql, Values values) override;

private:
    /// The statement of a constant text, which it is known by the address of, with its values.
    SQLite::Statement &Prepared(const char *sql, Values values);

    SQLite::Database database_;
    std::map<const char *, SQLite::Statement> prepared_;
};

}  // namespace corvenna::cloud
