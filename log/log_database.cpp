#include "log/log_database.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "base/text.h"
#include "base/thread.h"
#include "log/sqlite.h"

namespace {

using corvenna::Database;
using corvenna::Mutex;
using corvenna::PrintText;
using corvenna::SqliteMessage;
using corvenna::Statement;

constexpr char kDirectory[] = "/tmp/CloudLog";
constexpr char kDatabase[] = "/tmp/CloudLog/Cloudlog.db";
constexpr char kTable[] = "log_tbl";
constexpr char kColumns[] =
    R"(log_tbl(Pid INTEGER PRIMARY KEY, RecordDate DATE, RecordTime TIME, log_Type TEXT, log_Desc TEXT))";
constexpr char kInsert[] =
    R"(INSERT INTO log_tbl(RecordDate, RecordTime, log_Type, log_Desc) VALUES("%s","%s","%s","%s"))";

constexpr int kRowCap = 10000;
constexpr unsigned kWriterPauseSeconds = 5;
constexpr int kAttempts = 20;
constexpr useconds_t kLockedPauseMicroseconds = 200000;
constexpr std::time_t kFinishSeconds = 10;
constexpr int kFinishPauses = kFinishSeconds * 1000000 / kLockedPauseMicroseconds;

bool Exists(const char *path) {
    return access(path, F_OK) == 0;
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
/// @param pauses how many the batch has left.
bool ExecutePatiently(sqlite3 *database, const char *sql, int &pauses) {
    for (int attempt = 1;; ++attempt) {
        SqliteMessage message;
        if (Execute(database, sql, message) == SQLITE_OK) {
            return true;
        }
        const bool locked =
            message != nullptr && std::strstr(message.get(), "database is locked") != nullptr;
        if (!locked || attempt == kAttempts || pauses == 0) {
            return false;
        }
        --pauses;
        usleep(kLockedPauseMicroseconds);
    }
}

bool HasDoubleQuote(const ST_LOG_NODE &entry) {
    return std::strchr(entry.RecordDate, '"') != nullptr ||
           std::strchr(entry.RecordTime, '"') != nullptr ||
           std::strchr(entry.log_Type, '"') != nullptr ||
           std::strchr(entry.log_Desc, '"') != nullptr;
}

void InsertRow(sqlite3 *database, const ST_LOG_NODE &entry, int &pauses) {
    // On purpose: texts are not escaped, and an entry with a double quote is lost. Ours: it is not
    // even handed to SQLite, where it could end the statement and begin another.
    if (HasDoubleQuote(entry)) {
        return;
    }
    char statement[1024];
    PrintText<sizeof statement>(statement, kInsert, entry.RecordDate, entry.RecordTime,
                                entry.log_Type, entry.log_Desc);
    ExecutePatiently(database, statement, pauses);
}

void *RunWriter(void *self) {
    CLogDatabase::RecordThread(self);
    return nullptr;
}

}  // namespace

CLogDatabase::CLogDatabase() = default;

CLogDatabase::~CLogDatabase() {
    Finish();
}

int CLogDatabase::Init() {
    LogMaxItemSet(kRowCap);
    return 0;
}

void CLogDatabase::LogMaxItemSet(int cap) {
    cap_ = cap;
}

int CLogDatabase::InsertLog(const char *type, const char *text) {
    queue_.Append(type != nullptr ? type : "", text != nullptr ? text : "");
    return 0;
}

void CLogDatabase::InsertFormatted(const char *type, const char *format, va_list arguments,
                                   bool echo) {
    queue_.AppendFormatted(type, format, arguments, echo);
}

void CLogDatabase::RecordThread(void *self) {
    auto *sink = static_cast<CLogDatabase *>(self);
    for (;;) {
        sink->WriteLog(&sink->queue_.All());
        sleep(kWriterPauseSeconds);
    }
}

int CLogDatabase::WriteLog(std::list<ST_LOG_NODE> *queue) {
    if (queue == nullptr) {
        return -1;
    }
    std::unique_lock<Mutex> queueLock(queue_.Lock());
    if (queue->empty()) {
        return -1;
    }
    if (!WriteBatch(*queue, queueLock, INT_MAX)) {
        // On purpose: the queue stays locked when the database cannot be made or opened; the sink
        // and all later callers of log_DB block.
        leftLocked_ = true;
        queueLock.release();
        return -1;
    }
    return 0;
}

bool CLogDatabase::WriteBatch(std::list<ST_LOG_NODE> &queue, std::unique_lock<Mutex> &queueLock,
                              int pauses) {
    const auto count = static_cast<int>(queue.size());
    if (!Exists(kDatabase) && LogTableCreate(nullptr) != 0) {
        return false;
    }
    const std::lock_guard<Mutex> databaseLock(databaseMutex_);
    int result = SQLITE_OK;
    Database database = OpenDatabase(result);
    if (result != SQLITE_OK) {
        std::printf("Open database(%s) failed: %s\n", kDatabase, sqlite3_errmsg(database.get()));
        return false;
    }
    // The insert statement puts its texts between double quotes, which builds of SQLite may refuse.
    sqlite3_db_config(database.get(), SQLITE_DBCONFIG_DQS_DML, 1, nullptr);
    CheckSizeAndClear(database.get(), kTable, cap_, count);
    Execute(database.get(), "BEGIN TRANSACTION;");
    for (int i = 0; i < count; ++i) {
        InsertRow(database.get(), queue.front(), pauses);
        queue_.Retire(queue);
    }
    ExecutePatiently(database.get(), "COMMIT TRANSACTION;", pauses);
    database.reset();
    queueLock.unlock();
    return true;
}

int CLogDatabase::LogTableCreate(char * /*path*/) {
    if (!Exists(kDirectory)) {
        mkdir(kDirectory, 0100);  // On purpose: for the owner to pass through, nothing else.
    }
    if (Exists(kDatabase)) {
        return 0;
    }
    const std::lock_guard<Mutex> lock(databaseMutex_);
    int result = SQLITE_OK;
    const Database database = OpenDatabase(result);
    if (result != SQLITE_OK) {
        return -1;
    }
    char statement[255];
    PrintText<sizeof statement>(statement, "%s %s", "CREATE TABLE IF NOT EXISTS", kColumns);
    return Execute(database.get(), statement) ? 0 : -1;
}

int CLogDatabase::GetTableSize(sqlite3 *database, const char *table) {
    char query[255];
    PrintText<sizeof query>(query, "SELECT COUNT(*) FROM %s", table);
    sqlite3_stmt *handle = nullptr;
    const int result = sqlite3_prepare(database, query, -1, &handle, nullptr);
    const Statement statement(handle);
    if (result != SQLITE_OK) {
        std::printf("SQL error: %s\n", sqlite3_errmsg(database));
        return -1;
    }
    sqlite3_step(statement.get());
    return sqlite3_column_int(statement.get(), 0);
}

void CLogDatabase::CheckSizeAndClear(sqlite3 *database, const char *table, int cap, int incoming) {
    const auto excess = static_cast<long long>(incoming) - cap + GetTableSize(database, table);
    if (excess <= 0) {
        return;
    }
    char statement[255];
    PrintText<sizeof statement>(
        statement, "DELETE from %s where Pid in (select Pid from %s order by Pid limit %d)", table,
        table, static_cast<int>(std::min<long long>(excess, INT_MAX)));
    Execute(database, statement);
}

void CLogDatabase::Start() {
    // A sink without a thread keeps what is queued until the process ends.
    corvenna::StartDetachedThread(RunWriter, this, &thread_);
}

void CLogDatabase::Finish() {
    // Ours: nothing is lost at an orderly end, but nothing waits on a mutex that is locked for
    // good, and a database that somebody keeps locked does not hold up the end entry by entry.
    if (leftLocked_ || !queue_.Lock().TryLockFor(kFinishSeconds)) {
        return;
    }
    std::unique_lock<Mutex> queueLock(queue_.Lock(), std::adopt_lock);
    if (!queue_.All().empty()) {
        WriteBatch(queue_.All(), queueLock, kFinishPauses);
    }
}
