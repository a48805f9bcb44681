#pragma once

#include <pthread.h>

#include "log/deadline.h"

#ifdef __SANITIZE_THREAD__
#include <sanitizer/tsan_interface.h>
#endif

namespace corvenna {

/// A POSIX mutex that std::unique_lock can hold, and that can be waited for with a limit. Never
/// destroyed: it may be locked for good.
class Mutex {
public:
    Mutex() = default;
    Mutex(const Mutex &) = delete;
    Mutex &operator=(const Mutex &) = delete;

    void lock() { pthread_mutex_lock(&mutex_); }  // cannot fail: of the plain kind
    void unlock() { pthread_mutex_unlock(&mutex_); }

    bool TryLockUntil(const Deadline &deadline) {
#ifdef __SANITIZE_THREAD__  // which knows every other way to lock, but not this one
        __tsan_mutex_pre_lock(&mutex_, __tsan_mutex_try_lock);
#endif
        const bool locked = pthread_mutex_clocklock(&mutex_, CLOCK_MONOTONIC, &deadline.At()) == 0;
#ifdef __SANITIZE_THREAD__
        const unsigned failed = locked ? 0 : __tsan_mutex_try_lock_failed;
        __tsan_mutex_post_lock(&mutex_, __tsan_mutex_try_lock | failed, 0);
#endif
        return locked;
    }

    /// Unlocked, whoever held it: for a forked child, in which that thread does not exist.
    void Renew() {
        mutex_ = PTHREAD_MUTEX_INITIALIZER;
    }

private:
    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
};

}  // namespace corvenna
