#pragma once

#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace corvenna::cloud {

/// One request and what was answered.
struct TraceEntry {
    std::int64_t id = 0;
    std::string process;  ///< that answered, of those that share a store
    std::string time;     ///< UTC, when the answer had gone out
    std::string scheme, address, sn, exchange, method, target;
    std::string requestHeaders, requestBody, answerBody;  ///< cut to a readable length
    std::int64_t requestBytes = 0;                        ///< of the body as it was sent
    std::int64_t answerBytes = 0;                         ///< head included, as it went out
    int status = 0;                                       ///< 0: no HTTP answer went out
    std::int64_t milliseconds = 0;
    std::string fault;
    std::string note;  ///< what became of the request
};

/// The last exchanges, kept in memory. Any thread may call.
class Trace {
public:
    /// @param days after which entries are forgotten; 0: they stay until there are too many.
    /// @param process the name of this one among those that share a store.
    Trace(int days, std::string process) : days_(days), process_(std::move(process)) {}

    void Add(TraceEntry entry);
    /// Entries with a greater id, oldest first.
    std::vector<TraceEntry> After(std::int64_t id) const;

private:
    int days_;
    std::string process_;
    mutable std::mutex mutex_;
    std::deque<TraceEntry> entries_;
    std::int64_t lastId_ = 0;
};

/// The start of a body as readable text.
std::string Excerpt(std::string_view body);

}  // namespace corvenna::cloud
