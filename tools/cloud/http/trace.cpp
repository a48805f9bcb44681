#include "tools/cloud/http/trace.h"

#include <algorithm>
#include <string_view>

#include "tools/cloud/ground/text.h"

namespace corvenna::cloud {
namespace {

constexpr std::size_t kEntries = 300;
constexpr std::size_t kExcerpt = 2000;
constexpr std::int64_t kDay = 86400000;  // milliseconds

}  // namespace

void Trace::Add(TraceEntry entry) {
    const std::lock_guard lock(mutex_);
    entry.id = ++lastId_;
    entry.process = process_;
    entry.time = UtcNow();
    entries_.push_back(std::move(entry));
    if (entries_.size() > kEntries) {
        entries_.pop_front();
    }
}

std::vector<TraceEntry> Trace::After(std::int64_t id) const {
    const std::string oldest = days_ == 0 ? "" : UtcText(NowMilliseconds() - days_ * kDay);
    const std::lock_guard lock(mutex_);
    const auto first = std::find_if(entries_.begin(), entries_.end(), [&](const TraceEntry &entry) {
        return entry.id > id && entry.time >= oldest;
    });
    return {first, entries_.end()};
}

std::string Excerpt(std::string_view body) {
    std::string text = CleanUtf8(body.substr(0, kExcerpt));
    if (body.size() > kExcerpt) {
        text += " …";
    }
    return text;
}

}  // namespace corvenna::cloud
