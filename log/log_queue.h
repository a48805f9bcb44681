#pragma once

#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <list>
#include <mutex>

#include "base/text.h"
#include "log/mutex.h"
#include "log/stamp.h"

namespace corvenna {

/// A log's entries in the order of their arrival, and written ones that are kept for use again, so
/// that a caller usually needs no allocation. Any thread may append; whoever writes holds the
/// mutex.
///
/// Fields tells how a node is laid out: `Date(node)`, `Time(node)`, `Type(node)`, `Text(node)`,
/// each a char array of the node; `kFormatCapacity`, within which a message is formatted, and
/// `kTextCapacity`, of which the stored text keeps that much, both with the NUL.
template <class Node, class Fields>
class LogQueue {
public:
    using Entries = std::list<Node>;

    /// Queues a text as it is, with the local time of now.
    void Append(const char *type, const char *text) {
        Entries one = TakeNode();
        CopyText<Fields::kTextCapacity>(Fields::Text(one.front()), text);
        Append(one, type);
    }

    /// Formats a message straight into the node that is queued.
    /// @param echo also writes the formatted text to standard error.
    __attribute__((format(printf, 3, 0))) void AppendFormatted(const char *type, const char *format,
                                                               va_list arguments, bool echo) {
        Entries one = TakeNode();
        auto &text = Fields::Text(one.front());
        static_assert(Fields::kFormatCapacity <= sizeof text);
        std::vsnprintf(text, Fields::kFormatCapacity, format, arguments);
        if (echo) {
            std::fputs(text, stderr);
        }
        text[Fields::kTextCapacity - 1] = '\0';
        Append(one, type);
    }

    /// Removes the first entry of a queue, this one's or another's, and keeps its node. Needs the
    /// mutex.
    void Retire(Entries &queue) {
        if (spare_.size() < kSpareNodes) {
            spare_.splice(spare_.begin(), queue, queue.begin());
            hasSpare_.store(true, std::memory_order_relaxed);
        } else {
            queue.pop_front();
        }
    }

    Entries &All() { return entries_; }
    Mutex &Lock() { return mutex_; }

private:
    static constexpr std::size_t kSpareNodes = 64;

    /// Makes a node in place without clearing it, which would cost as much as the rest of an
    /// allocation: every field is written before it is read.
    struct Uncleared {
        operator Node() const {
            Node node;
            return node;
        }
    };

    /// Does not wait: a message is formatted, echoed and stamped when it is logged, even while a
    /// batch is written or the queue is locked for good.
    Entries TakeNode() {
        Entries one;
        if (hasSpare_.load(std::memory_order_relaxed)) {
            const std::unique_lock<Mutex> lock(mutex_, std::try_to_lock);
            if (lock.owns_lock() && !spare_.empty()) {
                one.splice(one.end(), spare_, spare_.begin());
                hasSpare_.store(!spare_.empty(), std::memory_order_relaxed);
                return one;
            }
        }
        one.emplace_back(Uncleared());
        return one;
    }

    void Append(Entries &one, const char *type) {
        Node &node = one.front();
        const LogStamp &stamp = CurrentLogStamp();
        std::memcpy(Fields::Date(node), stamp.date, sizeof stamp.date);
        std::memcpy(Fields::Time(node), stamp.time, sizeof stamp.time);
        CopyText<sizeof Fields::Type(node)>(Fields::Type(node), type);
        const std::lock_guard<Mutex> lock(mutex_);
        entries_.splice(entries_.end(), one);
    }

    Mutex mutex_;
    Entries entries_;
    Entries spare_;
    std::atomic<bool> hasSpare_{false};  // may be out of date, which costs a lock or an allocation
};

}  // namespace corvenna
