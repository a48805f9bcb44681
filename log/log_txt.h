#pragma once

#include <pthread.h>

#include <cstdarg>
#include <list>

#include "log/log_queue.h"
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

/// Keeps entries in memory and appends them to one file a day, "/tmp/CloudLog/MMDD_log.txt". A
/// day's file stops growing at 1 MiB; five day files are kept.
///
/// Any thread may insert; the writer thread of the single instance calls WriteLog every five
/// seconds. Lock order: queue, then file. Owns its queue.
class CLogTxt : public corvenna::LogSink {
public:
    CLogTxt();
    /// Writes what is queued.
    virtual ~CLogTxt();
    CLogTxt(const CLogTxt &) = delete;
    CLogTxt &operator=(const CLogTxt &) = delete;

    /// Creates the log directory. @return 0.
    int Init();

    /// Queues one entry with the local time of now. @return 0.
    int InsertLog(const char *type, const char *text);

    /// Formats a message and queues it, likewise.
    __attribute__((format(printf, 3, 0))) void InsertFormatted(const char *type, const char *format,
                                                               va_list arguments, bool echo);

    /// Body of the writer thread: writes the queue and sleeps five seconds, for ever.
    /// @param self the sink.
    static void RecordThread(void *self);

    /// Writes all entries of a queue to today's file, or drops them when that has passed 1 MiB.
    /// @return 0; -1 when there are none or the file cannot be opened (the entries stay queued).
    int WriteLog(std::list<ST_TXT_LOG_NODE> *queue);

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

    // For Singleton: starts the writer thread; writes what is queued at the end of the process.
    void Start();
    void Finish();

private:
    int WriteBatch(std::list<ST_TXT_LOG_NODE> &queue, std::unique_lock<corvenna::Mutex> &queueLock);
    void Discard(std::list<ST_TXT_LOG_NODE> &queue);

    int fileCap_ = 5;
    pthread_t thread_{};
    corvenna::Mutex fileMutex_;
    corvenna::LogQueue<ST_TXT_LOG_NODE, corvenna::TextFields> queue_;
};
