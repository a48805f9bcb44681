#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace corvenna::cloud {

/// A value that a statement is given for one of its places; texts are borrowed for the call.
class Given {
public:
    Given(int number) : number_(number) {}
    Given(std::int64_t number) : number_(number) {}
    Given(std::string_view text) : text_(text), isText_(true) {}
    Given(const std::string &text) : text_(text), isText_(true) {}
    Given(const char *text) : text_(text), isText_(true) {}

    bool IsText() const { return isText_; }
    std::int64_t Number() const { return number_; }
    std::string_view Text() const { return text_; }

private:
    std::int64_t number_ = 0;
    std::string_view text_;
    bool isText_ = false;
};

using Values = std::initializer_list<Given>;

/// The rows of a statement. A text lives until the next row.
class RowSource {
public:
    virtual ~RowSource() = default;

    /// Goes to the next row. @return false behind the last one.
    virtual bool Next() = 0;
    virtual std::int64_t Number(int column) const = 0;
    virtual std::string_view Text(int column) const = 0;
    virtual bool IsNull(int column) const = 0;
    virtual bool IsNumber(int column) const = 0;
    virtual int Columns() const = 0;
    virtual const char *Name(int column) const = 0;
};

/// The same, as a value. When it goes, its statement holds nothing of the database any more.
class Rows {
public:
    explicit Rows(std::unique_ptr<RowSource> source) : source_(std::move(source)) {}

    bool Next() { return source_->Next(); }
    std::int64_t Number(int column) const { return source_->Number(column); }
    std::string Text(int column) const { return std::string(source_->Text(column)); }
    std::string_view View(int column) const { return source_->Text(column); }
    bool IsNull(int column) const { return source_->IsNull(column); }
    bool IsNumber(int column) const { return source_->IsNumber(column); }
    int Columns() const { return source_->Columns(); }
    const char *Name(int column) const { return source_->Name(column); }

private:
    std::unique_ptr<RowSource> source_;
};

/// What engines spell differently.
struct Dialect {
    /// Number, newest time, interval and revision of the gateway of a serial number.
    const char *findGateway;
    /// INSERT of a gateway by its serial number.
    const char *addGateway;
    /// UPDATE of the revision of a gateway by its number; null where there is none.
    const char *revise;
    /// SELECT that has a place made for the documents of a week; null where it needs none.
    const char *keepWeek;
    /// Whether other processes write to the same database: what is known of a gateway must be
    /// looked at again in each transaction, and no other one may change it meanwhile.
    bool shared;
    /// Whether the time since a gateway's last contact is more than three of its intervals, as 0
    /// or 1.
    const char *overdue;
    /// Whether a gateway's number or names hold the text ?1, without regard to case.
    const char *holdsText;
    /// The seconds since 1970 of a recall's limits.
    const char *recallStart, *recallEnd;
    /// A forgotten gateway of which something is left, and which no other process is deleting.
    const char *chooseForgotten;
    /// DELETE of some documents of a gateway: ?1 its number, ?2 how many.
    const char *purgeDocuments;
    /// DELETE of some of the oldest documents: ?1 how many, ?2 the time of their reception.
    const char *purgeOldDocuments;
    /// UPDATE of the newest document of a layout, which is the one that was just inserted: ?1 its
    /// time, ?2 the layout's number.
    const char *noteNewestOfLayout;
    /// JOIN of tables in the order in which they are named, where an engine can be told.
    const char *joinInOrder;
};

/// A connection to a database. Statements have their places as ?, or all of them as ?1, ?2 and so
/// on. One thread at a time. Failures throw an exception that TroubleOf knows.
class Connection {
public:
    virtual ~Connection() = default;

    virtual const Dialect &Spelling() const = 0;

    /// Everything until Commit happens as a whole or, behind Rollback, not at all.
    virtual void Begin() = 0;
    virtual void Commit() = 0;
    virtual void Rollback() noexcept = 0;
    /// Whether it broke: nothing can be done until the next transaction.
    virtual bool IsLost() const { return false; }

    // With a statement whose text is a constant, which is prepared once.

    /// Runs a statement without rows. @return the number of rows changed.
    virtual std::int64_t Run(const char *sql, Values values) = 0;
    virtual Rows Select(const char *sql, Values values) = 0;
    /// Runs an INSERT into a table with numbers.
    /// @return the number of the new row; nullopt when there was a conflict and nothing was to be
    ///         done about it.
    virtual std::optional<std::int64_t> Insert(const char *sql, Values values) = 0;

    /// Runs a statement of which nothing needs to be known within a transaction, at the latest
    /// before the next statement or Commit, which fails then in its place.
    virtual void RunLater(const char *sql, Values values) { Run(sql, values); }

    /// Rows of a statement that is used once.
    virtual Rows Query(const std::string &sql, Values values) = 0;
    /// The same for more rows than there may be memory for. Meanwhile there may be other queries,
    /// but no transaction and no other one like it.
    virtual Rows Stream(const std::string &sql, Values values) { return Query(sql, values); }
};

/// Undoes what is not committed.
class Transaction {
public:
    explicit Transaction(Connection &connection) : connection_(connection) { connection.Begin(); }
    ~Transaction() {
        if (!committed_) {
            connection_.Rollback();
        }
    }
    Transaction(const Transaction &) = delete;
    Transaction &operator=(const Transaction &) = delete;

    void Commit() {
        connection_.Commit();
        committed_ = true;
    }

private:
    Connection &connection_;
    bool committed_ = false;
};

/// The number in the first row, which the statement must have.
std::int64_t NumberOf(Connection &connection, const std::string &sql, Values values = {});

}  // namespace corvenna::cloud
