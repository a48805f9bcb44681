#include "log/log_queue.h"

#include <cstring>

#include "log/level.h"

namespace corvenna {
namespace {

constexpr std::size_t kDroppedCapacity = 64;

}  // namespace

void LogQueue::Append(const LogHeader &header, const char *text) {
    const std::size_t ahead = dropped_ > 0 ? sizeof header + kDroppedCapacity : 0;
    if (!blocks_.Reserve(ahead + sizeof header + header.length)) {
        CountDropped();
        return;
    }
    if (dropped_ > 0) {
        PutDropped(header.stamp);
    }
    Put(header, text);
}

LogHeader LogQueue::TakeHeader() {
    LogHeader header;
    blocks_.Take(&header, sizeof header);
    --count_;
    return header;
}

void LogQueue::Clear() {
    blocks_.Clear();
    count_ = 0;
}

void LogQueue::Forget() {
    blocks_.Forget();
    count_ = 0;
    dropped_ = 0;
}

void LogQueue::Put(const LogHeader &header, const char *text) {
    blocks_.Put(&header, sizeof header);
    blocks_.Put(text, header.length);
    ++count_;
}

void LogQueue::PutDropped(const LogStamp &stamp) {
    char text[kDroppedCapacity];
    PrintText(AllOf(text), "%llu log messages were dropped", dropped_);
    LogHeader header{stamp, "", static_cast<std::uint16_t>(std::strlen(text))};
    CopyText<sizeof header.type>(header.type, LogLevelToString(kLogWarn));
    Put(header, text);
    dropped_ = 0;
}

}  // namespace corvenna
