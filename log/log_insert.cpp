#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/text.h"
#include "log/log_sink.h"
#include "log/stamp.h"

namespace corvenna {

int QueuedLog::InsertLog(const char *type, const char *text) {
    const char *const message = text != nullptr ? text : "";
    Insert(type != nullptr ? type : "", message, strnlen(message, kind_.textCapacity - 1));
    return 0;
}

void QueuedLog::InsertFormatted(const char *type, const char *format, va_list arguments,
                                bool echo) {
    char text[kMostFormatted];
    text[0] = '\0';
    const int length = std::vsnprintf(text, kind_.formatCapacity, format, arguments);
    if (length < 0 && errno == ENOMEM) {
        Drop();
        return;
    }
    if (echo) {
        std::fputs(text, stderr);
    }
    const std::size_t formatted = length < 0 ? std::strlen(text) : static_cast<std::size_t>(length);
    Insert(type, text, std::min(formatted, kind_.textCapacity - 1));
}

void QueuedLog::Insert(const char *type, const char *text, std::size_t length) {
    if (Refuses()) {
        return;
    }
    LogHeader header;
    header.stamp = CurrentLogStamp();
    CopyText<sizeof header.type>(header.type, type);
    header.length = static_cast<std::uint16_t>(length);
    const std::lock_guard<Mutex> lock(queueMutex_);
    queue_.Append(header, text);
}

/// For a message that found no memory to be formatted.
void QueuedLog::Drop() {
    if (!Refuses()) {
        const std::lock_guard<Mutex> lock(queueMutex_);
        queue_.CountDropped();
    }
}

/// Ours: a forked child has no writer, and the queue as another thread left it.
bool QueuedLog::Refuses() const {
    return refuses_.load(std::memory_order_relaxed) || (!hearsForks_ && owner_ != getpid());
}

}  // namespace corvenna
