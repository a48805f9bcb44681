#include "tools/cloud/store/writer.h"

#include <algorithm>
#include <chrono>

#include "tools/cloud/ground/say.h"
#include "tools/cloud/store/trouble.h"

namespace corvenna::cloud {
namespace {

// Chores that depend on the clock (what is too old) are looked for when nothing came for so long.
constexpr std::chrono::minutes kQuiet{1};

double SecondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

StoreWriter::StoreWriter(Connection &connection, Metrics &metrics,
                         std::function<void(const Subject &)> prepare,
                         std::function<void()> rolledBack, std::function<bool()> chore,
                         Clock::duration choresApart)
    : connection_(connection),
      metrics_(metrics),
      prepare_(std::move(prepare)),
      rolledBack_(std::move(rolledBack)),
      chore_(std::move(chore)),
      choresApart_(choresApart),
      thread_([this] { Run(); }) {}

StoreWriter::~StoreWriter() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    changed_.notify_one();
    thread_.join();
}

void StoreWriter::Post(Job job) {
    {
        const std::lock_guard lock(mutex_);
        waiting_.push_back(std::move(job));
    }
    changed_.notify_one();
}

void StoreWriter::Wake() {
    {
        const std::lock_guard lock(mutex_);
        chores_ = true;
    }
    changed_.notify_one();
}

/// @return false when nothing waits any more and the thread is to end.
bool StoreWriter::TakeWaiting(Jobs &jobs) {
    std::unique_lock lock(mutex_);
    const bool woken = changed_.wait_for(
        lock, kQuiet, [this] { return stopping_ || chores_ || !waiting_.empty(); });
    chores_ = chores_ || !woken || Clock::now() - lastChores_ >= choresApart_;
    jobs.swap(waiting_);
    return !stopping_ || !jobs.empty();
}

void StoreWriter::Run() {
    Jobs jobs;
    while (TakeWaiting(jobs)) {
        if (!jobs.empty()) {
            WriteAll(jobs);
            jobs.clear();
        }
        // One slice between two transactions: a long chore delays nobody by more than that.
        DoChore();
    }
}

/// Every process locks gateways in one order, so that no two wait for each other.
void StoreWriter::WriteAll(Jobs &jobs) {
    std::stable_sort(jobs.begin(), jobs.end(), [](const Job &one, const Job &other) {
        return one.about.sn < other.about.sn;
    });
    try {
        WriteTogether(jobs);
    } catch (const std::exception &error) {
        rolledBack_();
        for (Job &job : jobs) {
            if (connection_.IsLost()) {
                metrics_.CountStoreFailure();
                // Apart from Finish: what it was made from, and shares its words with, is gone
                // before another thread has it.
                auto failure = std::make_exception_ptr(StoreFailure(error.what(), kStoreAway));
                Finish(job, std::move(failure));
            } else {
                WriteAlone(job);
            }
        }
        return;
    }
    for (Job &job : jobs) {
        Finish(job, nullptr);
    }
}

void StoreWriter::WriteTogether(const Jobs &jobs) {
    const auto start = Clock::now();
    for (const Job &job : jobs) {
        prepare_(job.about);
    }
    Transaction transaction(connection_);
    for (const Job &job : jobs) {
        job.write();
    }
    transaction.Commit();
    metrics_.CountCommit(SecondsSince(start), jobs.size());
}

/// What was written is freed before anyone is told: a large document makes room for the next.
void StoreWriter::Finish(Job &job, std::exception_ptr failure) {
    job.write = nullptr;
    job.done(std::move(failure));
    job.done = nullptr;
}

void StoreWriter::WriteAlone(Job &job) {
    std::exception_ptr failure;
    try {
        const auto start = Clock::now();
        prepare_(job.about);
        Transaction transaction(connection_);
        job.write();
        transaction.Commit();
        metrics_.CountCommit(SecondsSince(start), 1);
    } catch (const std::exception &) {
        metrics_.CountStoreFailure();
        failure = std::current_exception();
        rolledBack_();
    }
    Finish(job, std::move(failure));
}

void StoreWriter::DoChore() {
    {
        const std::lock_guard lock(mutex_);
        if (!chores_ || stopping_) {
            return;
        }
        chores_ = false;
    }
    lastChores_ = Clock::now();
    try {
        Transaction transaction(connection_);
        const bool more = chore_();
        transaction.Commit();
        if (more) {
            Wake();
        }
    } catch (const std::exception &error) {
        rolledBack_();
        SayRarely(error.what());
    }
}

}  // namespace corvenna::cloud
