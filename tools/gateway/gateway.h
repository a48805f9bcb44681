#pragma once

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tools/gateway/loaded.h"
#include "tools/gateway/pace.h"
#include "tools/gateway/production_queue.h"
#include "tools/gateway/recalls.h"
#include "tools/gateway/sampler.h"

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
        bool newestFirst = false;  ///< while catching up
    };

    /// Opens history and spool. Throws std::runtime_error when one of them cannot be used. Plug-in,
    /// source and report are borrowed.
    Gateway(Plugin &plugin, Loaded loaded, MatchedSource &source,
            const std::vector<Threshold> &thresholds, Options options, Report &report);
    /// Stops and waits for what is under way, a download included.
    ~Gateway();
    Gateway(const Gateway &) = delete;
    Gateway &operator=(const Gateway &) = delete;

    /// Starts the five intervals, each on a thread of its own, and the one that produces.
    void Start();
    /// Tells all threads to end after what they are at; does not wait.
    void Stop();

    /// One cycle of everything on the calling thread. @return whether nothing is left waiting.
    bool RunOnce();

    StatusFacts Status() const;

private:
    static constexpr std::size_t kBacklogToTell = 3;

    void StartInterval(std::int32_t seconds, void (Gateway::*task)(), bool atOnce);
    void Try(void (Gateway::*task)());

    // The tasks of the five intervals.
    void TakeSample();
    void SendAlarms();
    void BeatHeart();
    void CheckFailed();
    void CheckRecalls();

    void Register();
    void QueueUnproduced();
    void ProduceQueued();
    void RunProduction();
    void ProduceAlarms();
    void TellWhetherItKeepsUp();
    void TellBacklog();

    Plugin &plugin_;
    const Options options_;
    Report &report_;
    const Loaded loaded_;
    History history_;
    Spool spool_;
    const Pace pace_;
    std::size_t toldBacklog_ = kBacklogToTell;  // samples; of the check of failed transfers
    StopSignal stop_;
    ProductionQueue queue_;
    Sampler sampler_;
    Producer producer_;
    Sender sender_;
    Recalls recalls_;
    std::vector<std::unique_ptr<Periodic>> intervalThreads_;
    std::thread production_;
};

}  // namespace corvenna::gateway
