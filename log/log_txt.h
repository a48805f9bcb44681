#pragma once

#include <cstddef>

#include "log/log_sink.h"
#include "log/singleton.h"

#pragma pack(push, 1)

/// One queued entry of the text log.
struct ST_TXT_LOG_NODE {
    char date[12];    ///< "2024-03-05", local
    char time[12];    ///< "07:08:09"
    char type[12];    ///< the level's word
    char text[2048];  ///< the message, at most 2046 characters
};
static_assert(sizeof(ST_TXT_LOG_NODE) == 2084);

#pragma pack(pop)

namespace corvenna {

struct TextFields {
    static constexpr std::size_t kFormatCapacity = 2048;
    static constexpr std::size_t kTextCapacity = 2047;
    static auto &Date(ST_TXT_LOG_NODE &node) { return node.date; }
    static auto &Time(ST_TXT_LOG_NODE &node) { return node.time; }
    static auto &Type(ST_TXT_LOG_NODE &node) { return node.type; }
    static auto &Text(ST_TXT_LOG_NODE &node) { return node.text; }
};

}  // namespace corvenna

namespace corvenna {

/// Stands before the queue and its locks.
class DayFileCap {
protected:
    int fileCap_ = 5;
};

}  // namespace corvenna

/// Keeps entries in memory and appends them to one file a day, "/tmp/CloudLog/MMDD_log.txt". A
/// day's file stops growing at 1 MiB; five day files are kept.
///
/// Any thread may insert; the writer thread of the single instance writes every five seconds.
/// WriteLog writes all entries to today's file, or drops them when that has passed 1 MiB; it
/// returns 0, and -1 when there are none or the file cannot be opened (the entries stay queued).
/// Lock order: queue, then file.
class CLogTxt : private corvenna::DayFileCap,
                public corvenna::LogSink<CLogTxt, ST_TXT_LOG_NODE, corvenna::TextFields> {
public:
    CLogTxt();
    /// Writes what is queued.
    virtual ~CLogTxt();
    CLogTxt(const CLogTxt &) = delete;
    CLogTxt &operator=(const CLogTxt &) = delete;

    /// Creates the log directory. @return 0.
    int Init();

    /// Creates every missing directory along a path of at most 126 characters. @return 0 or -1.
    int CreateDirectory(const char *path);

    /// @return the size in bytes, 0 when the file cannot be examined.
    int GetFileSize(const char *file);

    /// Names the day file with the smallest month and day.
    /// @param name     receives at most capacity - 1 characters; untouched when there is no file.
    /// @return the number of day files, -1 when the directory cannot be opened.
    int GetFirstLogTxt(char *name, unsigned char capacity);

    /// Deletes the oldest day file when there are more than five.
    /// @return 0; -1 when the directory cannot be opened or the file cannot be deleted.
    int CheckSizeAndClear();

private:
    friend LogSink;
    bool WriteBatch(corvenna::LogBatch<ST_TXT_LOG_NODE> &batch,
                    std::unique_lock<corvenna::Mutex> &queueLock, const corvenna::Deadline *end);
    void AfterFailure(std::unique_lock<corvenna::Mutex> & /*queueLock*/) {}
};
