#pragma once

#include <cstdint>
#include <limits>
#include <map>
#include <string>
#include <vector>

namespace corvenna::conform {

/// One call of an entry point, as the stand-in recorded it. Times are microseconds.
struct HostCall {
    static constexpr std::int64_t kNever = std::numeric_limits<std::int64_t>::max();

    std::string name;
    std::int64_t thread = 0;
    std::int64_t begin = 0;
    std::int64_t end = kNever;
    int result = 0;
    std::map<std::string, std::string> facts;

    /// Empty when it was not said.
    std::string Fact(const char *fact) const;
    bool HasEnded() const { return end != kNever; }
    bool Succeeded() const { return HasEnded() && result == 0; }
};

/// All that a host did, in the order of the beginnings.
struct HostRecord {
    std::vector<HostCall> calls;
    std::int64_t end = 0;  ///< when the host was asked to stop, or when it called last

    std::vector<const HostCall *> Of(const std::string &name) const;
};

/// Reads a record; lines that a host's end has cut are passed over. Throws std::runtime_error for a
/// file that cannot be read, or in which nothing is.
HostRecord ReadRecord(const std::string &path);

}  // namespace corvenna::conform
