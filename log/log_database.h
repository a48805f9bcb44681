#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdarg>
#include <list>

#include "log/log_queue.h"
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
/// Any thread may insert; the writer thread of the single instance calls WriteLog every five
/// seconds. Lock order: queue, then database. Owns its queue; a connection lives for one batch.
class CLogDatabase : public corvenna::LogSink {
public:
    CLogDatabase();
    /// Writes what is queued.
    virtual ~CLogDatabase();
    CLogDatabase(const CLogDatabase &) = delete;
    CLogDatabase &operator=(const CLogDatabase &) = delete;

    /// Sets the row cap to 10000; before it is 0. @return 0.
    int Init();

    void LogMaxItemSet(int cap);

    /// Queues one entry with the local time of now. @return 0.
    int InsertLog(const char *type, const char *text);

    /// Formats a message and queues it, likewise.
    __attribute__((format(printf, 3, 0))) void InsertFormatted(const char *type, const char *format,
                                                               va_list arguments, bool echo);

    /// Body of the writer thread: writes the queue and sleeps five seconds, for ever.
    /// @param self the sink.
    static void RecordThread(void *self);

    /// Writes all entries of a queue in one transaction.
    /// @return 0; -1 when there are none, or when the database cannot be made or opened: the queue
    ///         mutex then stays locked for good, and every later caller blocks.
    int WriteLog(std::list<ST_LOG_NODE> *queue);

    /// Creates directory, file and table where the file is missing.
    /// @param path not used. @return 0 or -1.
    int LogTableCreate(char *path);

    /// @return the number of rows, -1 on an error (printed to standard output).
    int GetTableSize(sqlite3 *database, const char *table);

    /// Deletes the oldest rows so that `incoming` new ones fit under `cap`.
    void CheckSizeAndClear(sqlite3 *database, const char *table, int cap, int incoming);

    // For Singleton: starts the writer thread; writes what is queued at the end of the process.
    void Start();
    void Finish();

private:
    bool WriteBatch(std::list<ST_LOG_NODE> &queue, std::unique_lock<corvenna::Mutex> &queueLock,
                    int pauses);

    pthread_t thread_{};
    corvenna::Mutex databaseMutex_;
    corvenna::LogQueue<ST_LOG_NODE, corvenna::DatabaseFields> queue_;
    std::atomic<int> cap_{0};
    std::atomic<bool> leftLocked_{false};
};
