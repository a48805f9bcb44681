#pragma once

#include <pthread.h>
#include <sys/types.h>

#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <ctime>
#include <list>
#include <mutex>

#include "log/deadline.h"
#include "log/log_queue.h"
#include "log/mutex.h"
#include "log/singleton.h"

namespace corvenna {

constexpr char kLogDirectory[] = "/tmp/CloudLog";
constexpr std::time_t kFinishSeconds = 10;

/// Until when the end of the process may be held up, by both sinks together.
const Deadline &EndOfProcess();

class QueuedLog;

constexpr std::size_t kMostFormatted = 2048;

/// In what the sinks differ.
struct SinkKind {
    std::size_t formatCapacity;  ///< of a formatted message, with its NUL; kMostFormatted at most
    std::size_t textCapacity;    ///< of a queued one, likewise

    /// Writes the queue as one batch, see LogSink.
    bool (*write)(QueuedLog &sink, std::unique_lock<Mutex> &queueLock, const Deadline *end);
    void (*afterFailure)(QueuedLog &sink, std::unique_lock<Mutex> &queueLock);
};

/// A queue, the thread that writes it every five seconds, and the way of a message into the queue.
///
/// Nothing here throws, and no memory is asked for but the queue's own blocks.
class QueuedLog : public LogSinkTag {
public:
    QueuedLog(const QueuedLog &) = delete;
    QueuedLog &operator=(const QueuedLog &) = delete;

    /// Queues one entry with the local time of now. @return 0.
    int InsertLog(const char *type, const char *text);

    /// Formats a message and queues it, likewise.
    /// @param echo also writes the formatted text to standard error.
    __attribute__((format(printf, 3, 0))) void InsertFormatted(const char *type, const char *format,
                                                               va_list arguments, bool echo);

    // For Singleton: writes what is queued at the end of the process.

    void Finish();

protected:
    explicit QueuedLog(const SinkKind &kind) : kind_(kind) {}
    ~QueuedLog() = default;

    /// @param started the first that was started of its kind, which renew() makes a child's.
    void Start(QueuedLog *&started, void (*renew)());

    /// Writes the queue and sleeps five seconds, for ever.
    [[noreturn]] void Record();

    /// For Init: a forked child that starts the log for itself has one of its own.
    void StartAgainAfterFork();

    /// Runs in a forked child, in which this is the only thread.
    void BecomeChild();

    /// Locks what the entries are written to. @return a lock that is not held when the end came.
    std::unique_lock<Mutex> LockStore(const Deadline *end);

    void LeaveLocked(std::unique_lock<Mutex> &queueLock);

    /// For the destructor of a sink that is not the single instance.
    void FinishUntil(const Deadline &end);

    std::unique_lock<Mutex> LockQueue() { return std::unique_lock<Mutex>(queueMutex_); }
    LogQueue &Queue() { return queue_; }

private:
    static void *RunWriter(void *self);

    void StartWriter();
    bool Refuses() const;
    void Insert(const char *type, const char *text, std::size_t length);
    void Drop();
    void Rest();
    bool WriteQueued();

    pthread_t thread_{};
    Mutex queueMutex_;
    Mutex storeMutex_;
    LogQueue queue_;
    std::atomic<bool> leftLocked_{false};
    std::atomic<bool> refuses_{false};
    bool hearsForks_ = true;  ///< set before others know this sink
    pid_t owner_ = 0;
    const SinkKind &kind_;
};

/// What both sinks have in common. Sink gives the writing:
///
///     bool WriteBatch(LogBatch<Node> &batch, std::unique_lock<Mutex> &queueLock,
///                     const Deadline *end);
///
/// It is called with the queue locked, unlocks it when the entries are taken, and tells whether it
/// wrote them. With an end, it waits for nothing beyond.
template <class Sink, class Node, class Fields>
class LogSink : public QueuedLog {
public:
    /// Body of the writer thread.
    /// @param self the sink.
    static void RecordThread(void *self) { static_cast<Sink *>(self)->Record(); }

    // For Singleton: starts the writer thread.

    void Start() {
        QueuedLog::Start(started_, [] { Of(*started_).BecomeChild(); });
    }

    /// Writes all entries of a list of the caller's, as the writer thread does with the queue's.
    /// @return 0; -1 when there are none or they cannot be written, see the sink.
    int WriteLog(std::list<Node> *queue) {
        if (queue == nullptr) {
            return -1;
        }
        std::unique_lock<Mutex> queueLock = LockQueue();
        if (queue->empty()) {
            return -1;
        }
        ListedEntries<Node, Fields> batch(*queue);
        Sink &self = Of(*this);
        if (!self.WriteBatch(batch, queueLock, nullptr)) {
            self.AfterFailure(queueLock);
            return -1;
        }
        return 0;
    }

protected:
    LogSink() : QueuedLog(kKind) { static_assert(Fields::kFormatCapacity <= kMostFormatted); }
    ~LogSink() = default;

private:
    static Sink &Of(QueuedLog &sink) { return static_cast<Sink &>(sink); }

    static bool Write(QueuedLog &sink, std::unique_lock<Mutex> &queueLock, const Deadline *end) {
        Sink &self = Of(sink);
        QueuedEntries<Node, Fields> batch(self.Queue());
        return self.WriteBatch(batch, queueLock, end);
    }

    static void AfterFailureOf(QueuedLog &sink, std::unique_lock<Mutex> &queueLock) {
        Of(sink).AfterFailure(queueLock);
    }

    static constexpr SinkKind kKind = {Fields::kFormatCapacity, Fields::kTextCapacity, Write,
                                       AfterFailureOf};
    static inline QueuedLog *started_ = nullptr;
};

}  // namespace corvenna
