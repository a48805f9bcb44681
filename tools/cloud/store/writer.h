#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tools/cloud/metrics/metrics.h"
#include "tools/cloud/store/connection.h"

namespace corvenna::cloud {

/// What a job is about, known before it runs.
struct Subject {
    std::string sn;                      ///< of the gateway that it changes; empty: none's
    std::optional<std::int64_t> time{};  ///< of the document that it brings
};

/// The one thread that writes to the database. What waits is written in one transaction, so that
/// many requests share the cost of one commit. Any thread may post.
class StoreWriter {
public:
    using Clock = std::chrono::steady_clock;

    struct Job {
        Subject about;
        /// Runs within a transaction, perhaps more than once: a transaction that fails is rolled
        /// back and its jobs are tried one by one.
        std::function<void()> write;
        /// Called once, when what was written is on disk, or with why it is not. Must not throw.
        std::function<void(std::exception_ptr)> done;
    };

    /// @param connection borrowed; only this thread uses it from here on.
    /// @param metrics counts what it does.
    /// @param prepare called for each job before the transaction in which it runs begins: what is
    ///        locked there is held for no longer than that.
    /// @param rolledBack called when what jobs have written is undone.
    /// @param chore a short piece of work for when nothing waits, in a transaction of its own;
    ///        returns whether there is more of it.
    /// @param choresApart after which it comes between two transactions, although more waits.
    StoreWriter(Connection &connection, Metrics &metrics,
                std::function<void(const Subject &)> prepare, std::function<void()> rolledBack,
                std::function<bool()> chore, Clock::duration choresApart = std::chrono::hours(1));
    /// Writes what still waits.
    ~StoreWriter();
    StoreWriter(const StoreWriter &) = delete;
    StoreWriter &operator=(const StoreWriter &) = delete;

    void Post(Job job);
    /// There may be something to do for the chore.
    void Wake();

private:
    using Jobs = std::vector<Job>;

    void Run();
    bool TakeWaiting(Jobs &jobs);
    void WriteAll(Jobs &jobs);
    void WriteTogether(const Jobs &jobs);
    void WriteAlone(Job &job);
    static void Finish(Job &job, std::exception_ptr failure);
    void DoChore();

    Connection &connection_;
    Metrics &metrics_;
    std::function<void(const Subject &)> prepare_;
    std::function<void()> rolledBack_;
    std::function<bool()> chore_;
    const Clock::duration choresApart_;
    Clock::time_point lastChores_ = Clock::now();
    std::mutex mutex_;
    std::condition_variable changed_;
    Jobs waiting_;
    bool stopping_ = false;
    bool chores_ = true;
    std::thread thread_;
};

}  // namespace corvenna::cloud
