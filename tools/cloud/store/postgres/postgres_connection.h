#pragma once

#include <libpq-fe.h>

#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "tools/cloud/store/connection.h"
#include "tools/cloud/store/postgres/answer.h"
#include "tools/cloud/store/postgres/patience.h"

namespace corvenna::cloud {

/// What all connections to one server know of whether it can be reached, so that while it cannot
/// few wait for that, and when one has found it again, all do. Any thread may call.
class Reachability {
public:
    using Clock = std::chrono::steady_clock;

    bool IsWorthATry() const;
    void NoteSuccess();
    /// @param began when the connection was tried; one that was made since says more.
    void NoteFailure(Clock::time_point began);

private:
    mutable std::mutex mutex_;
    Clock::time_point nextTry_ = Clock::time_point::min();
    Clock::time_point lastSuccess_ = Clock::time_point::min();
};

/// What all connections to one server have in common.
struct PostgresServer {
    PostgresServer(std::string its_address, Patience::Clock::duration limit)
        : address(std::move(its_address)), patience(limit) {}

    const std::string address;  ///< a URI or key=value pairs, as PostgreSQL's programs take them
    Patience patience;
    Reachability reachability;
};

/// Values as the library wants them: texts that end with NUL.
class Arguments {
public:
    explicit Arguments(Values values);
    Arguments(Arguments &&) = default;
    Arguments &operator=(Arguments &&) = default;

    int Count() const { return static_cast<int>(pointers_.size()); }
    const char *const *Get() const { return pointers_.data(); }

private:
    std::vector<std::string> texts_;
    std::vector<const char *> pointers_;
};

/// A prepared statement with its values.
struct Question {
    std::string name;
    Arguments arguments;
};

/// A connection to a PostgreSQL server. One that broke is made anew with the next transaction, or
/// for what only reads at once; while no server can be reached every use fails without waiting, and
/// one that does not answer in time is given up.
class PostgresConnection : public Connection {
public:
    enum class Use { kReading, kWriting };

    /// Throws StoreFailure when there is no connection to be had.
    PostgresConnection(std::shared_ptr<PostgresServer> server, Use use);

    PostgresConnection(const PostgresConnection &) = delete;
    PostgresConnection &operator=(const PostgresConnection &) = delete;

    const Dialect &Spelling() const override;
    void Begin() override;
    void Commit() override;
    void Rollback() noexcept override;
    bool IsLost() const override { return !handle_; }
    std::int64_t Run(const char *sql, Values values) override;
    Rows Select(const char *sql, Values values) override;
    std::optional<std::int64_t> Insert(const char *sql, Values values) override;
    void RunLater(const char *sql, Values values) override;
    Rows Query(const std::string &sql, Values values) override;
    Rows Stream(const std::string &sql, Values values) override;

    /// Statements without values, with semicolons between them. @return what the last one gives.
    Rows Execute(const std::string &sql);
    /// The same for what may take hours.
    void ExecuteHoweverLong(const std::string &sql);

    /// Waits until another connection tells something that this one listens to, but no longer than
    /// that, and until there is something to be read from `interrupt`; perhaps less.
    /// @param milliseconds -1: for ever.
    void AwaitNotice(int interrupt, int milliseconds);

private:
    bool TakeNotices();
    static void NoteWarning(void *connection, const PGresult *notice);

    void Connect();
    void Settle();
    template <class Send, class Receive>
    PostgresResult Exchange(const Send &send, const Receive &receive);
    template <class Send>
    PostgresResult Exchange(const Send &send);
    PostgresResult AskTogether();
    PostgresResult ExecuteSimply(const char *sql);
    const std::string &Prepared(const std::string &sql, const char *key);
    PostgresResult RunPrepared(const std::string &sql, const char *key, Values values);
    PostgresResult RunOnce(const std::string &sql, Values values);
    PostgresResult Checked(PostgresResult result);
    template <class Ask>
    PostgresResult Asked(const Ask &ask);

    std::shared_ptr<PostgresServer> server_;
    Use use_;
    PostgresHandle handle_;
    std::vector<Question> later_;  ///< what goes to the server together with the next question
    std::string backend_;          ///< what the server calls its process for this connection
    bool inTransaction_ = false;
    bool warned_ = false;                           ///< by the server, since the last commit began
    std::map<const char *, std::string> prepared_;  ///< names of statements by their text's address
};

/// A statement with ? or ?1 as the server wants it: with $1.
std::string Numbered(const std::string &sql);

}  // namespace corvenna::cloud
