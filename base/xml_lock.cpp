#include "base/xml_lock.h"

#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <ctime>
#include <new>

#ifdef __SANITIZE_THREAD__
#include <sanitizer/tsan_interface.h>
#endif

namespace corvenna {
namespace {

constexpr pthread_rwlock_t kFreshLock = PTHREAD_RWLOCK_WRITER_NONRECURSIVE_INITIALIZER_NP;

// Never destroyed: documents are freed by destructors that run while the process ends.
pthread_rwlock_t gLock = kFreshLock;

// A fork or an end from within a use of libxml2, by a signal handler for instance, must not wait
// for itself.
constexpr time_t kMostSeconds = 1;

constexpr pthread_t kNobody{};
std::atomic<pthread_t> gForker{kNobody};  ///< the thread that holds the lock to fork

bool LockExclusivelyInTime() {
    timespec until{};
    clock_gettime(CLOCK_MONOTONIC, &until);
    until.tv_sec += kMostSeconds;
    return pthread_rwlock_clockwrlock(&gLock, CLOCK_MONOTONIC, &until) == 0;
}

void BeforeFork() {
    if (LockExclusivelyInTime()) {
        gForker = pthread_self();
    }
}

void AfterForkInParent() {
    if (gForker == pthread_self()) {
        gForker = kNobody;
        pthread_rwlock_unlock(&gLock);
    }
}

void AfterForkInChild() {
    // The lock knows its holder by a number that the child no longer has: it cannot be released.
    gLock = kFreshLock;
    gForker = kNobody;
}

bool Register() {
    return pthread_atfork(BeforeFork, AfterForkInParent, AfterForkInChild) == 0;
}

// When the library is loaded: while one thread registers at its first use, another could already
// hold the lock when a third forks.
std::atomic<bool> gRegistered{Register()};

/// Ours: libxml2 cleans itself up when it is taken down with the process, which is just behind us.
/// Threads of the host that are still at work wait from here on until they are gone.
[[gnu::destructor]] void LockForGood() {
    const bool locked = LockExclusivelyInTime();
#ifdef __SANITIZE_THREAD__  // which knows every other way to lock, but not this one
    __tsan_mutex_pre_lock(&gLock, __tsan_mutex_try_lock);
    const unsigned failed = locked ? 0 : __tsan_mutex_try_lock_failed;
    __tsan_mutex_post_lock(&gLock, __tsan_mutex_try_lock | failed, 0);
#else
    static_cast<void>(locked);
#endif
}

}  // namespace

XmlSharedLock::XmlSharedLock() {
    while (pthread_rwlock_rdlock(&gLock) == EAGAIN) {
    }
}

XmlSharedLock::~XmlSharedLock() {
    pthread_rwlock_unlock(&gLock);
}

XmlExclusiveLock::XmlExclusiveLock() {
    pthread_rwlock_wrlock(&gLock);
}

XmlExclusiveLock::~XmlExclusiveLock() {
    pthread_rwlock_unlock(&gLock);
}

void KeepXmlLockThroughForks() {
    if (!gRegistered && !(gRegistered = Register())) {
        throw std::bad_alloc();
    }
}

}  // namespace corvenna
