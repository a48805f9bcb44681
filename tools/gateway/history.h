#pragma once

#include <chrono>
#include <cstdint>
#include <ctime>
#include <exception>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "message/records.h"
#include "packfile/packfile.h"
#include "tools/common/database.h"
#include "tools/gateway/catalogue.h"

namespace corvenna::gateway {

/// What is sent: snapshots of values, and batches of alarms. Both are known by a time in seconds of
/// the Unix epoch that no other of its kind has.
enum class Kind { kRealData, kAlarm };

/// How far a sample or a batch of alarms has come.
enum class State {
    kWaiting = 0,  ///< not known to have arrived
    kArrived = 1,  ///< the server took it
    kDropped = 2,  ///< given up because the spool was full or it grew too old; can be recalled
};

/// Times that a change of the time of day leaves alone.
using Clock = std::chrono::steady_clock;

using Alarm = Alarm_Data_Para;
using Range = recall_time_para;

/// Everything that was ever sampled, until it is pruned. What a call has written survives a kill
/// and a loss of power. Calls may come from several threads; a failure of the database throws
/// std::runtime_error.
class History {
public:
    /// Throws std::runtime_error, with the way out, when the file cannot be used.
    /// @param now a clock that does not jump.
    explicit History(const std::string &path, std::function<Clock::time_point()> now = Clock::now);

    /// A failure of a call in words that name the file and, if it is damaged, the way out.
    std::string Explain(const std::exception &error) const;

    /// Stores a sample together with the alarms that it raised, or nothing of both.
    /// @return false when there is a sample of that second already; then nothing is stored.
    /// @param others values of points that are not configured, by their names.
    bool AddSample(std::time_t time, const Values &values, const std::vector<Alarm> &alarms,
                   const std::map<std::string, double> &others = {});

    /// The values of a sample; nothing when there is none.
    std::optional<Values> Sample(std::time_t time) const;
    bool HasSample(std::time_t time) const;
    /// Times of at most `limit` samples from `start` to `end`, both included, oldest first.
    std::vector<std::time_t> SamplesBetween(std::time_t start, std::time_t end, int limit) const;

    std::int64_t CountBetween(std::time_t start, std::time_t end) const;

    /// Puts the alarms that are in no batch yet into one named `time`, or into the first later
    /// second that names no batch. @return its name; nothing when there is no such alarm.
    std::optional<std::time_t> MakeAlarmBatch(std::time_t time);
    /// The alarms of a batch, in the order in which they were raised.
    std::vector<Alarm> AlarmBatch(std::time_t batch) const;
    /// The flag of the last alarm of a point and type; nothing when there was none.
    std::optional<std::int32_t> LastAlarmFlag(std::uint32_t point, std::int32_t type) const;

    /// The samples, or batches, that are waiting, oldest first.
    std::vector<std::time_t> Waiting(Kind kind) const;
    bool IsWaiting(Kind kind, std::time_t time) const;
    void SetState(Kind kind, std::time_t time, State state);
    std::int64_t Count(Kind kind, State state) const;
    /// The same of what is waiting; quick however long the history is.
    std::int64_t CountWaiting(Kind kind) const;

    /// Up to which second, excluded, a recalled range has been served; nothing when serving it has
    /// not begun.
    std::optional<std::time_t> Served(const Range &range) const;
    void SetServed(const Range &range, std::time_t next);
    /// Forgets how far the range was served, and what was missed of it.
    void ForgetServed(const Range &range);
    /// Samples of a range that did not arrive when they were sent again, oldest first.
    std::vector<std::time_t> Missed(const Range &range) const;
    void SetMissed(const Range &range, std::time_t time);
    void ForgetMissed(const Range &range, std::time_t time);
    /// All ranges whose serving has begun.
    std::vector<Range> RangesBegun() const;

    // Age is the time that gateways have been at work on this history since something was sampled.
    // The time of day has no part in it: when it jumps, nothing becomes old.

    /// What is waiting and older than `age`, oldest first.
    std::vector<std::time_t> Expired(Kind kind, std::chrono::seconds age) const;
    /// Removes samples and alarms older than `age`, except those that are waiting.
    /// @return how many samples were removed.
    int Prune(std::chrono::seconds age);

private:
    std::int64_t Lived() const;

    const std::string path_;
    const std::function<Clock::time_point()> now_;
    const Clock::time_point opened_;
    std::chrono::seconds livedBefore_{0};
    mutable std::mutex mutex_;
    mutable SQLite::Database database_;
};

}  // namespace corvenna::gateway
