#pragma once

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "tools/gateway/history.h"
#include "tools/gateway/periodic.h"
#include "tools/gateway/plugin.h"
#include "tools/gateway/report.h"
#include "tools/gateway/source.h"
#include "tools/gateway/spool.h"
#include "tools/gateway/thresholds.h"

namespace corvenna::gateway {

/// A host of the plug-in. What it samples goes to the history first, is produced as a file into the
/// spool from there, and is sent from the spool; the history learns when it has arrived. Whatever
/// was not known to have arrived when a process ended is produced and sent by the next one, so a
/// sample can be sent twice and is never lost.
class Gateway {
public:
    struct Options {
        std::string folder;  ///< of history and spool; made when it is missing
        double speed = 1;    ///< how many times faster than the intervals say
        std::uint64_t spoolBytes = 64ULL * 1024 * 1024;
        std::chrono::seconds spoolAge = std::chrono::hours(24 * 30);
        std::chrono::seconds historyAge = std::chrono::hours(24 * 90);
    };

    /// Loads the plug-in's configuration and opens history and spool. Throws std::runtime_error
    /// when one of them cannot be used. All arguments are borrowed.
    Gateway(Plugin &plugin, Source &source, const std::vector<Threshold> &thresholds,
            Options options, Report &report);
    /// Stops and waits for what is under way, a download included.
    ~Gateway();
    Gateway(const Gateway &) = delete;
    Gateway &operator=(const Gateway &) = delete;

    /// Whether the settings have the cloud service switched off. Then there is nothing to do.
    bool IsSwitchedOff() const;

    /// Starts the five intervals, each on a thread of its own, and the one that produces.
    void Start();
    /// Tells all threads to end after what they are at; does not wait.
    void Stop();

    /// One cycle of everything on the calling thread. @return whether nothing is left waiting.
    bool RunOnce();

    StatusFacts Status() const;

private:
    void LearnConfiguration();
    void CheckPaths() const;
    void StartInterval(std::int32_t seconds, void (Gateway::*task)(), bool atOnce);
    void Try(void (Gateway::*task)());

    // The tasks of the five intervals.
    void TakeSample();
    void SendAlarms();
    void BeatHeart();
    void CheckFailed();
    void CheckRecalls();

    bool StoreSample(std::time_t now);
    void Enqueue(std::time_t time);
    void QueueUnproduced();
    std::optional<std::time_t> FirstQueued();
    void ProduceQueued();
    void RunProducer();
    void ProduceMissing(Kind kind, std::time_t time);
    void ProduceAnew(Kind kind, std::time_t time);
    void Produce(Kind kind, std::time_t time);
    void ProduceAlarms();
    std::optional<std::string> ProduceInto(const std::string &folder, Kind kind, std::time_t time);
    bool IsSendable(const std::string &path) const;

    void Register();
    bool MaySendAtOnce() const;
    void SendNow(Kind kind, std::time_t time);
    bool Send(const Spool::File &file);
    bool SendClaimed(const Spool::File &file);
    void ReplaceUnsendable(const Spool::File &file);
    bool Upload(Kind kind, const std::string &path);
    void WatchDownload();
    void DropExcess();

    void Serve(const Range &range);
    bool SendRange(const Range &range, std::time_t next);
    bool SendRestOf(const Range &range, std::time_t next);
    bool SendMissedOf(const Range &range);
    bool SendAgain(std::time_t time);
    void ForgetAbandonedRanges(const std::vector<Range> &asked);

    Plugin &plugin_;
    Source &source_;
    const Options options_;
    Report &report_;
    Counters &counters_;
    Interval_info intervals_{};
    Plugin::Settings settings_;
    MAP_CHANNEL_POINT configured_;
    std::unique_ptr<History> history_;
    std::unique_ptr<Spool> spool_;
    Thresholds thresholds_;
    std::atomic<std::size_t> activeAlarms_{0};
    std::atomic<bool> inDoubt_{false};       // something failed since the last success
    std::atomic<bool> serverIsAway_{false};  // it did not even take the registration
    std::mutex producing_[2];                // by kind: one producer in its work folder

    StopSignal stop_;
    std::mutex queueMutex_;
    std::condition_variable queueCondition_;
    std::set<std::time_t> queue_;  // samples that have no file yet
    bool queueStopped_ = false;
    std::vector<std::unique_ptr<Periodic>> intervalThreads_;
    std::thread producer_;
};

}  // namespace corvenna::gateway
