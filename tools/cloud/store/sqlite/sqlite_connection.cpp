#include "tools/cloud/store/sqlite/sqlite_connection.h"

namespace corvenna::cloud {
namespace {

void Bind(SQLite::Statement &statement, Values values) {
    int place = 0;
    for (const Given &value : values) {
        ++place;
        if (value.IsText()) {
            statement.bind(place, std::string(value.Text()));
        } else {
            statement.bind(place, value.Number());
        }
    }
}

class SqliteRows : public RowSource {
public:
    /// @param statement is made ready for its next use when this goes.
    explicit SqliteRows(SQLite::Statement &statement) : statement_(statement) {}
    ~SqliteRows() override { statement_.tryReset(); }
    SqliteRows(const SqliteRows &) = delete;
    SqliteRows &operator=(const SqliteRows &) = delete;

    bool Next() override { return statement_.executeStep(); }
    std::int64_t Number(int column) const override {
        return statement_.getColumn(column).getInt64();
    }
    std::string_view Text(int column) const override {
        const SQLite::Column value = statement_.getColumn(column);
        const char *text = value.getText();
        return {text, static_cast<std::size_t>(value.getBytes())};
    }
    bool IsNull(int column) const override { return statement_.getColumn(column).isNull(); }
    bool IsNumber(int column) const override { return statement_.getColumn(column).isInteger(); }
    int Columns() const override { return statement_.getColumnCount(); }
    const char *Name(int column) const override { return statement_.getColumnName(column); }

private:
    SQLite::Statement &statement_;
};

/// A statement with its rows.
class OwnedRows : public RowSource {
public:
    explicit OwnedRows(SQLite::Statement statement)
        : statement_(std::move(statement)), rows_(statement_) {}

    bool Next() override { return rows_.Next(); }
    std::int64_t Number(int column) const override { return rows_.Number(column); }
    std::string_view Text(int column) const override { return rows_.Text(column); }
    bool IsNull(int column) const override { return rows_.IsNull(column); }
    bool IsNumber(int column) const override { return rows_.IsNumber(column); }
    int Columns() const override { return rows_.Columns(); }
    const char *Name(int column) const override { return rows_.Name(column); }

private:
    SQLite::Statement statement_;
    SqliteRows rows_;
};

}  // namespace

void SqliteConnection::Begin() {
    database_.exec("BEGIN IMMEDIATE");
}

void SqliteConnection::Commit() {
    database_.exec("COMMIT");
}

/// Some failures have undone everything already; there is nothing to do then.
void SqliteConnection::Rollback() noexcept {
    static_cast<void>(database_.tryExec("ROLLBACK"));
}

SQLite::Statement &SqliteConnection::Prepared(const char *sql, Values values) {
    const auto found = prepared_.find(sql);
    SQLite::Statement &statement = found != prepared_.end()
                                       ? found->second
                                       : prepared_.try_emplace(sql, database_, sql).first->second;
    statement.reset();
    Bind(statement, values);
    return statement;
}

std::int64_t SqliteConnection::Run(const char *sql, Values values) {
    return Prepared(sql, values).exec();
}

Rows SqliteConnection::Select(const char *sql, Values values) {
    return Rows(std::make_unique<SqliteRows>(Prepared(sql, values)));
}

std::optional<std::int64_t> SqliteConnection::Insert(const char *sql, Values values) {
    return Run(sql, values) > 0 ? std::make_optional(database_.getLastInsertRowid()) : std::nullopt;
}

Rows SqliteConnection::Query(const std::string &sql, Values values) {
    SQLite::Statement statement(database_, sql);
    Bind(statement, values);
    return Rows(std::make_unique<OwnedRows>(std::move(statement)));
}

}  // namespace corvenna::cloud
