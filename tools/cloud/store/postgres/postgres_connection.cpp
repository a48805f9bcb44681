#include "tools/cloud/store/postgres/postgres_connection.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstring>
#include <utility>

#include "tools/cloud/ground/text.h"
#include "tools/cloud/store/trouble.h"

namespace corvenna::cloud {
namespace {

constexpr std::chrono::seconds kBetweenTries{1};
constexpr std::chrono::hours kLongestWork{24};
constexpr std::size_t kMostLater = 256;  // questions in memory
constexpr const char *kCommit = "COMMIT";
constexpr int kFetched = 256;  // rows of a long list in memory at a time

/// Messages have a line for each server that was tried, and begin with a tab where one goes on.
std::string OneLine(const char *message) {
    std::string text = CleanUtf8(message == nullptr ? "" : message);
    text.erase(text.find_last_not_of(" \n") + 1);
    for (std::size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', end)) {
        const bool goesOn = text.compare(end + 1, 1, "\t") == 0;
        text.replace(end, goesOn ? 2 : 1, goesOn ? " " : "; ");
    }
    return "PostgreSQL: " + text;
}

/// The meaning of one of PostgreSQL's codes, or of the class that its first two characters name.
struct StateRow {
    std::string_view start;
    Trouble trouble;
};
constexpr StateRow kStates[] = {
    {"53100", kStoreFull},  // disk_full
    {"08", kStoreAway},     // connections
    {"25006", kStoreAway},  // a standby
    {"40", kStoreAway},     // deadlocks and the like, also when tried alone
    {"53", kStoreAway},     // memory, connections
    {"55P03", kStoreAway},  // somebody has locked it
    {"57", kStoreAway},     // shut down, starting, cancelled
    {"58", kStoreAway},     // its own input and output
};

Trouble TroubleOfState(std::string_view state) {
    for (const StateRow &row : kStates) {
        if (state.substr(0, row.start.size()) == row.start) {
            return row.trouble;
        }
    }
    return kStoreFailed;
}

/// A server that took too long. It is not asked the same again.
class NoAnswer : public StoreFailure {
public:
    NoAnswer() : StoreFailure("PostgreSQL: no answer in time", kStoreAway) {}
};

class PostgresRows : public RowSource {
public:
    explicit PostgresRows(PostgresResult result) : result_(std::move(result)) {}

    bool Next() override { return ++row_ < PQntuples(result_.get()); }
    std::int64_t Number(int column) const override {
        const std::string_view text = Text(column);
        std::int64_t number = 0;
        std::from_chars(text.data(), text.data() + text.size(), number);
        return number;
    }
    std::string_view Text(int column) const override {
        return {PQgetvalue(result_.get(), row_, column),
                static_cast<std::size_t>(PQgetlength(result_.get(), row_, column))};
    }
    bool IsNull(int column) const override { return PQgetisnull(result_.get(), row_, column) != 0; }
    bool IsNumber(int column) const override {
        constexpr std::array<Oid, 3> kIntegers{20, 21, 23};  // of 8, 2 and 4 bytes
        const Oid type = PQftype(result_.get(), column);
        return std::find(kIntegers.begin(), kIntegers.end(), type) != kIntegers.end();
    }
    int Columns() const override { return PQnfields(result_.get()); }
    const char *Name(int column) const override { return PQfname(result_.get(), column); }
    int Count() const { return PQntuples(result_.get()); }

private:
    PostgresResult result_;
    int row_ = -1;
};

/// A long list, which the server keeps in a transaction and gives out in parts.
class StreamedRows : public RowSource {
public:
    explicit StreamedRows(PostgresConnection &connection)
        : connection_(connection), rows_(Fetch()) {}
    ~StreamedRows() override { connection_.Rollback(); }
    StreamedRows(const StreamedRows &) = delete;
    StreamedRows &operator=(const StreamedRows &) = delete;

    bool Next() override {
        if (rows_.Next()) {
            ++seen_;
            return true;
        }
        if (seen_ < kFetched) {
            return false;
        }
        rows_ = Fetch();
        seen_ = 0;
        return Next();
    }
    std::int64_t Number(int column) const override { return rows_.Number(column); }
    std::string_view Text(int column) const override { return rows_.View(column); }
    bool IsNull(int column) const override { return rows_.IsNull(column); }
    bool IsNumber(int column) const override { return rows_.IsNumber(column); }
    int Columns() const override { return rows_.Columns(); }
    const char *Name(int column) const override { return rows_.Name(column); }

private:
    Rows Fetch() {
        return connection_.Query("FETCH " + std::to_string(kFetched) + " FROM long_list", {});
    }

    PostgresConnection &connection_;
    Rows rows_;
    int seen_ = 0;
};

}  // namespace

Arguments::Arguments(Values values) {
    texts_.reserve(values.size());
    for (const Given &value : values) {
        texts_.push_back(value.IsText() ? CleanUtf8(value.Text()) : std::to_string(value.Number()));
        pointers_.push_back(texts_.back().c_str());
    }
}

std::string Numbered(const std::string &sql) {
    std::string numbered;
    int last = 0;
    bool quoted = false;
    for (std::size_t i = 0; i < sql.size(); ++i) {
        quoted = sql[i] == '\'' ? !quoted : quoted;
        if (sql[i] != '?' || quoted) {
            numbered += sql[i];
            continue;
        }
        numbered += '$';
        if (i + 1 == sql.size() || std::isdigit(static_cast<unsigned char>(sql[i + 1])) == 0) {
            numbered += std::to_string(++last);
        }
    }
    return numbered;
}

bool Reachability::IsWorthATry() const {
    const std::lock_guard lock(mutex_);
    return Clock::now() >= nextTry_;
}

void Reachability::NoteSuccess() {
    const std::lock_guard lock(mutex_);
    lastSuccess_ = Clock::now();
    nextTry_ = Clock::time_point::min();
}

void Reachability::NoteFailure(Clock::time_point began) {
    const std::lock_guard lock(mutex_);
    if (lastSuccess_ < began) {
        nextTry_ = Clock::now() + kBetweenTries;
    }
}

PostgresConnection::PostgresConnection(std::shared_ptr<PostgresServer> server, Use use)
    : server_(std::move(server)), use_(use) {
    Connect();
}

void PostgresConnection::Connect() {
    if (server_->patience.IsOver() || !server_->reachability.IsWorthATry()) {
        throw StoreFailure("PostgreSQL: there is no connection", kStoreAway);
    }
    // What the address says about a key comes after ours and counts.
    const char *const keys[] = {"connect_timeout",     "tcp_user_timeout", "keepalives_idle",
                                "keepalives_interval", "keepalives_count", "application_name",
                                "client_encoding",     "dbname",           nullptr};
    const char *const values[] = {
        "5", "10000", "10", "5", "2", "corvenna-cloud", "UTF8", server_->address.c_str(), nullptr};
    constexpr int kDatabaseNameMayBeAnAddress = 1;
    prepared_.clear();
    inTransaction_ = false;
    const Reachability::Clock::time_point began = Reachability::Clock::now();
    PostgresHandle handle(PQconnectdbParams(keys, values, kDatabaseNameMayBeAnAddress));
    if (!handle || PQstatus(handle.get()) != CONNECTION_OK ||
        PQsetnonblocking(handle.get(), 1) != 0) {
        server_->reachability.NoteFailure(began);
        throw StoreFailure(OneLine(PQerrorMessage(handle.get())), kStoreAway);
    }
    server_->reachability.NoteSuccess();
    PQsetNoticeReceiver(handle.get(), NoteWarning, this);
    handle_ = std::move(handle);
    try {
        Settle();
    } catch (const StoreFailure &) {
        handle_.reset();
        throw;
    }
}

/// What is answered is durable, whatever the database's usual setting: where standbys are set up
/// this waits for them as the server is told to.
void PostgresConnection::Settle() {
    backend_.clear();
    Rows row = Execute(
        "SET search_path = corvenna; SET standard_conforming_strings = on;"
        " SET TimeZone = 'UTC'; SELECT set_config('synchronous_commit', 'on', false)"
        " WHERE current_setting('synchronous_commit') = 'off'; SELECT pg_backend_pid()");
    if (row.Next()) {
        backend_ = row.Text(0);
    }
}

void PostgresConnection::NoteWarning(void *connection, const PGresult *notice) {
    const char *severity = PQresultErrorField(notice, PG_DIAG_SEVERITY_NONLOCALIZED);
    if (severity != nullptr && std::strcmp(severity, "WARNING") == 0) {
        static_cast<PostgresConnection *>(connection)->warned_ = true;
    }
}

/// Takes an answer over and throws what it tells of a failure.
PostgresResult PostgresConnection::Checked(PostgresResult result) {
    const ExecStatusType status = PQresultStatus(result.get());
    if (status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK) {
        return result;
    }
    const char *state = PQresultErrorField(result.get(), PG_DIAG_SQLSTATE);
    const std::string words =
        OneLine(result ? PQresultErrorMessage(result.get()) : PQerrorMessage(handle_.get()));
    const bool lost = PQstatus(handle_.get()) != CONNECTION_OK ||
                      PQpipelineStatus(handle_.get()) != PQ_PIPELINE_OFF;
    // A server that has become a standby is of no use any more: another one has taken over.
    const bool standby = state != nullptr && std::strcmp(state, "25006") == 0;
    if (lost || standby) {
        handle_.reset();
        throw StoreFailure(words, kStoreAway);
    }
    throw StoreFailure(words, TroubleOfState(state == nullptr ? "" : state));
}

/// The one way to the server and back. @param send gives the library what is to be sent.
template <class Send, class Receive>
PostgresResult PostgresConnection::Exchange(const Send &send, const Receive &receive) {
    if (send(handle_.get()) == 0) {
        return Checked(nullptr);
    }
    std::optional<PostgresResult> answer = receive(handle_.get(), server_->patience);
    if (!answer) {
        // Without that the server would go on for nobody, or wait for its standby for ever.
        CancelOnServer(handle_.get(), backend_);
        handle_.reset();
        throw NoAnswer();
    }
    return Checked(std::move(*answer));
}

template <class Send>
PostgresResult PostgresConnection::Exchange(const Send &send) {
    return Exchange(send, AnswerOf);
}

/// Asks what waits for that in one go. @return the last answer.
PostgresResult PostgresConnection::AskTogether() {
    const std::vector<Question> questions = std::exchange(later_, {});
    return Exchange(
        [&](PGconn *to) {
            int good = PQenterPipelineMode(to);
            for (const Question &question : questions) {
                good = good == 0 ? 0
                                 : PQsendQueryPrepared(
                                       to, question.name.c_str(), question.arguments.Count(),
                                       question.arguments.Get(), nullptr, nullptr, 0);
            }
            return good == 0 ? 0 : PQpipelineSync(to);
        },
        AnswerOfAll);
}

PostgresResult PostgresConnection::ExecuteSimply(const char *sql) {
    return Exchange([sql](PGconn *to) { return PQsendQuery(to, sql); });
}

/// Asks the server. What only reads is asked again when the connection turns out to be broken.
template <class Ask>
PostgresResult PostgresConnection::Asked(const Ask &ask) {
    if (!handle_) {
        if (inTransaction_) {
            throw StoreFailure("PostgreSQL: the connection was lost", kStoreAway);
        }
        Connect();
    }
    try {
        return ask();
    } catch (const NoAnswer &) {
        throw;
    } catch (const StoreFailure &) {
        if (handle_ || inTransaction_ || use_ == Use::kWriting) {
            throw;
        }
    }
    Connect();
    return ask();
}

Rows PostgresConnection::Execute(const std::string &sql) {
    return Rows(std::make_unique<PostgresRows>(ExecuteSimply(sql.c_str())));
}

void PostgresConnection::ExecuteHoweverLong(const std::string &sql) {
    Exchange([&sql](PGconn *to) { return PQsendQuery(to, sql.c_str()); },
             [](PGconn *from, const Patience & /*usual*/) {
                 return AnswerOf(from, Patience(kLongestWork));
             });
}

/// @return whether there were any.
bool PostgresConnection::TakeNotices() {
    using Notice = std::unique_ptr<PGnotify, FreedBy<PQfreemem>>;
    if (PQconsumeInput(handle_.get()) == 0) {
        Checked(nullptr);
    }
    bool any = false;
    while (Notice(PQnotifies(handle_.get()))) {
        any = true;
    }
    return any;
}

void PostgresConnection::AwaitNotice(int interrupt, int milliseconds) {
    if (TakeNotices()) {
        return;
    }
    std::array<pollfd, 2> sources{pollfd{PQsocket(handle_.get()), POLLIN, 0},
                                  pollfd{interrupt, POLLIN, 0}};
    // That it was interrupted, too, is an end of the wait.
    static_cast<void>(poll(sources.data(), sources.size(), milliseconds));
    TakeNotices();
}

void PostgresConnection::Begin() {
    Asked([this] { return ExecuteSimply("BEGIN"); });
    inTransaction_ = true;
}

void PostgresConnection::Commit() {
    if (!handle_) {
        throw StoreFailure("PostgreSQL: the connection was lost", kStoreAway);
    }
    warned_ = false;
    const PostgresResult result =
        later_.empty() ? ExecuteSimply(kCommit) : RunPrepared(kCommit, kCommit, {});
    inTransaction_ = false;
    // Somebody has cut short the wait for a standby: a copy of what is sent again is known.
    if (warned_) {
        throw StoreFailure("PostgreSQL: the commit may not have been replicated", kStoreAway);
    }
    // A transaction in which something failed is ended by COMMIT, but not with it.
    if (std::strcmp(PQcmdStatus(result.get()), "COMMIT") != 0) {
        throw StoreFailure("PostgreSQL: the transaction was undone", kStoreAway);
    }
}

void PostgresConnection::Rollback() noexcept {
    inTransaction_ = false;
    later_.clear();
    if (!handle_) {
        return;
    }
    try {
        ExecuteSimply("ROLLBACK");
    } catch (const std::exception &) {
        handle_.reset();
    }
}

const std::string &PostgresConnection::Prepared(const std::string &sql, const char *key) {
    const auto found = prepared_.find(key);
    if (found != prepared_.end()) {
        return found->second;
    }
    const std::string name = "s" + std::to_string(prepared_.size());
    const std::string numbered = Numbered(sql);
    Exchange(
        [&](PGconn *to) { return PQsendPrepare(to, name.c_str(), numbered.c_str(), 0, nullptr); });
    return prepared_.emplace(key, name).first->second;
}

PostgresResult PostgresConnection::RunPrepared(const std::string &sql, const char *key,
                                               Values values) {
    if (!later_.empty()) {
        later_.push_back({Prepared(sql, key), Arguments(values)});
        return AskTogether();
    }
    const Arguments arguments(values);
    return Asked([&] {
        const std::string &name = Prepared(sql, key);
        return Exchange([&](PGconn *to) {
            return PQsendQueryPrepared(to, name.c_str(), arguments.Count(), arguments.Get(),
                                       nullptr, nullptr, 0);
        });
    });
}

PostgresResult PostgresConnection::RunOnce(const std::string &sql, Values values) {
    if (!later_.empty()) {
        AskTogether();
    }
    const Arguments arguments(values);
    const std::string numbered = Numbered(sql);
    return Asked([&] {
        return Exchange([&](PGconn *to) {
            return PQsendQueryParams(to, numbered.c_str(), arguments.Count(), nullptr,
                                     arguments.Get(), nullptr, nullptr, 0);
        });
    });
}

std::int64_t PostgresConnection::Run(const char *sql, Values values) {
    const PostgresResult result = RunPrepared(sql, sql, values);
    const std::string_view count = PQcmdTuples(result.get());
    std::int64_t rows = 0;
    std::from_chars(count.data(), count.data() + count.size(), rows);
    return rows;
}

Rows PostgresConnection::Select(const char *sql, Values values) {
    return Rows(std::make_unique<PostgresRows>(RunPrepared(sql, sql, values)));
}

std::optional<std::int64_t> PostgresConnection::Insert(const char *sql, Values values) {
    PostgresRows rows(RunPrepared(std::string(sql) + " RETURNING id", sql, values));
    return rows.Next() ? std::make_optional(rows.Number(0)) : std::nullopt;
}

void PostgresConnection::RunLater(const char *sql, Values values) {
    later_.push_back({Prepared(sql, sql), Arguments(values)});
    if (later_.size() == kMostLater) {
        AskTogether();
    }
}

Rows PostgresConnection::Query(const std::string &sql, Values values) {
    return Rows(std::make_unique<PostgresRows>(RunOnce(sql, values)));
}

Rows PostgresConnection::Stream(const std::string &sql, Values values) {
    Begin();
    try {
        RunOnce("DECLARE long_list NO SCROLL CURSOR FOR " + sql, values);
        return Rows(std::make_unique<StreamedRows>(*this));
    } catch (const std::exception &) {
        Rollback();
        throw;
    }
}

}  // namespace corvenna::cloud
