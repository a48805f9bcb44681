#include "log/log_sink.h"

#include <unistd.h>

#include "base/forks.h"
#include "base/thread.h"
#include "base/undisturbed.h"

namespace corvenna {
namespace {

constexpr unsigned kWriterPauseSeconds = 5;

}  // namespace

const Deadline &EndOfProcess() {
    static const Deadline end(kFinishSeconds);  // from the first sink that is finished
    return end;
}

void QueuedLog::Start(QueuedLog *&started, void (*renew)()) {
    owner_ = getpid();
    if (started == nullptr) {
        started = this;
        hearsForks_ = CallInForkedChildren(renew);
    }
    StartWriter();
}

void QueuedLog::StartWriter() {
    // A sink without a thread keeps what is queued until the process ends.
    StartDetachedThread(RunWriter, this, &thread_);
}

void *QueuedLog::RunWriter(void *self) {
    static_cast<QueuedLog *>(self)->Record();
}

void QueuedLog::Record() {
    for (;;) {
        if (!WriteQueued()) {
            Rest();
        }
        sleep(kWriterPauseSeconds);
    }
}

bool QueuedLog::WriteQueued() {
    std::unique_lock<Mutex> queueLock(queueMutex_);
    if (queue_.Count() == 0) {
        return false;
    }
    const bool written = kind_.write(*this, queueLock, nullptr);
    if (!written) {
        kind_.afterFailure(*this, queueLock);
    }
    return written;
}

/// In a round that had nothing to write.
void QueuedLog::Rest() {
    if (!leftLocked_) {
        const std::lock_guard<Mutex> lock(queueMutex_);
        queue_.Rest();
    }
}

void QueuedLog::Finish() {
    // Ours: only the process that started the sink finishes it, not a child that it forked.
    if (owner_ == getpid()) {
        FinishUntil(EndOfProcess());
    }
}

void QueuedLog::FinishUntil(const Deadline &end) {
    const Undisturbed whole;
    // Ours: nothing is lost at an orderly end, but nothing waits on a mutex that is locked for
    // good, or beyond the end for a writer that is stuck.
    if (leftLocked_ || !queueMutex_.TryLockUntil(end)) {
        return;
    }
    std::unique_lock<Mutex> queueLock(queueMutex_, std::adopt_lock);
    if (queue_.Count() > 0) {
        kind_.write(*this, queueLock, &end);
    }
}

void QueuedLog::StartAgainAfterFork() {
    if (Refuses()) {
        const FirstUse alone;
        if (Refuses()) {
            BecomeChild();
            owner_ = getpid();
            StartWriter();
            refuses_ = false;
        }
    }
}

void QueuedLog::BecomeChild() {
    queueMutex_.Renew();
    storeMutex_.Renew();
    queue_.Forget();
    leftLocked_ = false;
    refuses_ = true;
}

std::unique_lock<Mutex> QueuedLog::LockStore(const Deadline *end) {
    if (end == nullptr) {
        return std::unique_lock<Mutex>(storeMutex_);
    }
    if (storeMutex_.TryLockUntil(*end)) {
        return {storeMutex_, std::adopt_lock};
    }
    return {};
}

void QueuedLog::LeaveLocked(std::unique_lock<Mutex> &queueLock) {
    leftLocked_ = true;
    queueLock.release();
}

}  // namespace corvenna
