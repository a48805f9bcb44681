#include "log/log_database.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "base/file_kind.h"
#include "base/text.h"
#include "log/sqlite.h"

namespace {

using namespace corvenna;

constexpr char kDatabase[] = "/tmp/CloudLog/Cloudlog.db";
constexpr char kJournal[] = "/tmp/CloudLog/Cloudlog.db-journal";
constexpr char kTable[] = "log_tbl";
constexpr char kColumns[] =
    R"(log_tbl(Pid INTEGER PRIMARY KEY, RecordDate DATE, RecordTime TIME, log_Type TEXT, log_Desc TEXT))";
constexpr char kInsert[] =
    R"(INSERT INTO log_tbl(RecordDate, RecordTime, log_Type, log_Desc) VALUES("%s","%s","%s","%s"))";

constexpr int kRowCap = 10000;
constexpr int kLongestValue = 1048576;  // far beyond an entry
constexpr int kAttempts = 20;
constexpr long long kLockedPauseMicroseconds = 200000;

/// How long a batch waits for readers: without an end, as long as its entries have attempts.
class Patience {
public:
    explicit Patience(const Deadline *end) : end_(end) {
        if (end != nullptr) {
            pauses_ = (end->Left() + kLockedPauseMicroseconds - 1) / kLockedPauseMicroseconds;
        }
    }

    /// @return false at once when it has come to its end.
    bool Pause() {
        const long long left = end_ != nullptr ? end_->Left() : LLONG_MAX;
        if (pauses_ == 0 || left == 0) {
            return false;
        }
        --pauses_;
        usleep(static_cast<useconds_t>(std::min(left, kLockedPauseMicroseconds)));
        return true;
    }

private:
    const Deadline *end_;
    long long pauses_ = LLONG_MAX;
};

bool Exists(const char *path) {
    return access(path, F_OK) == 0;
}

/// Ours: SQLite opens what is there, whatever it is. At a pipe in the journal's place it would wait
/// for ever, with the queue locked; a device may be a terminal, which would become the host's own
/// and end it when it is hung up. Neither holds anything to roll back, so a journal that is one is
/// taken away.
/// @return whether SQLite may open database and journal.
bool MayBeOpened() {
    const mode_t journal = KindOf(kJournal);
    return KindOf(kDatabase) != S_IFCHR &&
           ((journal != S_IFIFO && journal != S_IFCHR) || unlink(kJournal) == 0);
}

/// The table is all that we use of a database that somebody else may have made.
void UseTablesAlone(sqlite3 *database) {
    // The insert statement puts its texts between double quotes, which builds of SQLite may refuse.
    sqlite3_db_config(database, SQLITE_DBCONFIG_DQS_DML, 1, nullptr);
    // Ours: what a trigger or a view does may have no end, and what a column is made of no bound.
    sqlite3_db_config(database, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
    sqlite3_db_config(database, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
    sqlite3_limit(database, SQLITE_LIMIT_LENGTH, kLongestValue);
}

Database OpenDatabase(int &result) {
    sqlite3 *handle = nullptr;
    result = sqlite3_open(kDatabase, &handle);
    return Database(handle);
}

int Execute(sqlite3 *database, const char *sql, SqliteMessage &message) {
    char *text = nullptr;
    const int result = sqlite3_exec(database, sql, nullptr, nullptr, &text);
    message.reset(text);
    return result;
}

bool Execute(sqlite3 *database, const char *sql) {
    SqliteMessage message;
    return Execute(database, sql, message) == SQLITE_OK;
}

/// Waits for a reader to let go of the database; gives up on any other error.
bool ExecutePatiently(sqlite3 *database, const char *sql, Patience &patience) {
    for (int attempt = 1;; ++attempt) {
        SqliteMessage message;
        if (Execute(database, sql, message) == SQLITE_OK) {
            return true;
        }
        const bool locked =
            message != nullptr && std::strstr(message.get(), "database is locked") != nullptr;
        if (!locked || attempt == kAttempts || !patience.Pause()) {
            return false;
        }
    }
}

bool HasDoubleQuote(const ST_LOG_NODE &entry) {
    return std::strchr(entry.RecordDate, '"') != nullptr ||
           std::strchr(entry.RecordTime, '"') != nullptr ||
           std::strchr(entry.log_Type, '"') != nullptr ||
           std::strchr(entry.log_Desc, '"') != nullptr;
}

void InsertRow(sqlite3 *database, const ST_LOG_NODE &entry, Patience &patience) {
    // On purpose: texts are not escaped, and an entry with a double quote is lost. Ours: it is not
    // even handed to SQLite, where it could end the statement and begin another.
    if (HasDoubleQuote(entry)) {
        return;
    }
    char statement[1024];
    PrintText(AllOf(statement), kInsert, entry.RecordDate, entry.RecordTime, entry.log_Type,
              entry.log_Desc);
    ExecutePatiently(database, statement, patience);
}

}  // namespace

CLogDatabase::CLogDatabase() = default;

CLogDatabase::~CLogDatabase() {
    FinishUntil(Deadline(kFinishSeconds));
}

int CLogDatabase::Init() {
    StartAgainAfterFork();
    LogMaxItemSet(kRowCap);
    return 0;
}

void CLogDatabase::LogMaxItemSet(int cap) {
    cap_ = cap;
}

bool CLogDatabase::WriteBatch(LogBatch<ST_LOG_NODE> &batch, std::unique_lock<Mutex> &queueLock,
                              const Deadline *end) {
    const auto count = static_cast<int>(std::min<std::size_t>(batch.Count(), INT_MAX));
    if (!Exists(kDatabase) && LogTableCreate(nullptr) != 0) {
        return false;
    }
    const std::unique_lock<Mutex> databaseLock(LockStore(end));
    if (!databaseLock.owns_lock()) {
        return false;
    }
    if (!MayBeOpened()) {
        batch.Clear();  // as in a folder that takes no journal: the batch is lost, the log goes on
        return true;
    }
    int result = SQLITE_OK;
    Database database = OpenDatabase(result);
    if (result != SQLITE_OK) {
        std::printf("Open database(%s) failed: %s\n", kDatabase, sqlite3_errmsg(database.get()));
        return false;
    }
    UseTablesAlone(database.get());
    CheckSizeAndClear(database.get(), kTable, cap_, count);
    Execute(database.get(), "BEGIN TRANSACTION;");
    Patience patience(end);
    for (int i = 0; i < count; ++i) {
        ST_LOG_NODE entry;
        batch.Take(entry);
        InsertRow(database.get(), entry, patience);
    }
    ExecutePatiently(database.get(), "COMMIT TRANSACTION;", patience);
    database.reset();
    queueLock.unlock();
    return true;
}

void CLogDatabase::AfterFailure(std::unique_lock<Mutex> &queueLock) {
    // On purpose: the queue stays locked when the database cannot be made or opened; the sink and
    // all later callers of log_DB block.
    LeaveLocked(queueLock);
}

int CLogDatabase::LogTableCreate(char * /*path*/) {
    if (!Exists(kLogDirectory)) {
        mkdir(kLogDirectory, 0100);  // On purpose: for the owner to pass through, nothing else.
    }
    if (Exists(kDatabase)) {
        return 0;
    }
    const std::unique_lock<Mutex> databaseLock(LockStore(nullptr));
    int result = SQLITE_OK;
    const Database database = OpenDatabase(result);
    if (result != SQLITE_OK) {
        return -1;
    }
    char statement[255];
    PrintText(AllOf(statement), "%s %s", "CREATE TABLE IF NOT EXISTS", kColumns);
    return Execute(database.get(), statement) ? 0 : -1;
}

int CLogDatabase::GetTableSize(sqlite3 *database, const char *table) {
    char query[255];
    PrintText(AllOf(query), "SELECT COUNT(*) FROM %s", table);
    sqlite3_stmt *handle = nullptr;
    const int result = sqlite3_prepare(database, query, -1, &handle, nullptr);
    const Statement statement(handle);
    if (result != SQLITE_OK) {
        std::printf("SQL error: %s\n", sqlite3_errmsg(database));
        return -1;
    }
    // A table that cannot be read counts as empty: nothing is deleted for the new rows.
    return sqlite3_step(statement.get()) == SQLITE_ROW ? sqlite3_column_int(statement.get(), 0) : 0;
}

void CLogDatabase::CheckSizeAndClear(sqlite3 *database, const char *table, int cap, int incoming) {
    const auto excess = static_cast<long long>(incoming) - cap + GetTableSize(database, table);
    if (excess <= 0) {
        return;
    }
    char statement[255];
    PrintText(AllOf(statement),
              "DELETE from %s where Pid in (select Pid from %s order by Pid limit %d)", table,
              table, static_cast<int>(std::min<long long>(excess, INT_MAX)));
    Execute(database, statement);
}
