#pragma once

#include <atomic>
#include <cstddef>

#include "log/log_sink.h"
#include "log/singleton.h"

struct sqlite3;

#pragma pack(push, 1)

/// One queued entry of the database log.
struct ST_LOG_NODE {
    char RecordDate[12];  ///< "2024-03-05", local
    char RecordTime[12];  ///< "07:08:09"
    char log_Type[12];    ///< the level's word
    char log_Desc[256];   ///< the message, at most 254 characters
};
static_assert(sizeof(ST_LOG_NODE) == 292);

#pragma pack(pop)

namespace corvenna {

struct DatabaseFields {
    static constexpr std::size_t kFormatCapacity = 255;
    static constexpr std::size_t kTextCapacity = 255;
    static auto &Date(ST_LOG_NODE &node) { return node.RecordDate; }
    static auto &Time(ST_LOG_NODE &node) { return node.RecordTime; }
    static auto &Type(ST_LOG_NODE &node) { return node.log_Type; }
    static auto &Text(ST_LOG_NODE &node) { return node.log_Desc; }
};

}  // namespace corvenna

/// Keeps entries in memory and writes them in batches into the table "log_tbl" of
/// "/tmp/CloudLog/Cloudlog.db", where the oldest rows beyond the row cap are deleted.
///
/// Any thread may insert; the writer thread of the single instance writes every five seconds.
/// WriteLog writes all entries in one transaction; it returns 0, and -1 when there are none, or
/// when the database cannot be made or opened: the queue mutex then stays locked for good, and
/// every later caller blocks. Lock order: queue, then database. A connection lives for one batch.
class CLogDatabase : public corvenna::LogSink<CLogDatabase, ST_LOG_NODE, corvenna::DatabaseFields> {
public:
    CLogDatabase();
    /// Writes what is queued.
    virtual ~CLogDatabase();
    CLogDatabase(const CLogDatabase &) = delete;
    CLogDatabase &operator=(const CLogDatabase &) = delete;

    /// Sets the row cap to 10000; before it is 0. @return 0.
    int Init();

    void LogMaxItemSet(int cap);

    /// Creates directory, file and table where the file is missing.
    /// @param path not used. @return 0 or -1.
    int LogTableCreate(char *path);

    /// @return the number of rows, -1 on an error (printed to standard output).
    int GetTableSize(sqlite3 *database, const char *table);

    /// Deletes the oldest rows so that `incoming` new ones fit under `cap`.
    void CheckSizeAndClear(sqlite3 *database, const char *table, int cap, int incoming);

private:
    friend LogSink;
    bool WriteBatch(corvenna::LogBatch<ST_LOG_NODE> &batch,
                    std::unique_lock<corvenna::Mutex> &queueLock, const corvenna::Deadline *end);
    void AfterFailure(std::unique_lock<corvenna::Mutex> &queueLock);

    std::atomic<int> cap_{0};
};
