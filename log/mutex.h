#pragma once

#include <pthread.h>

#include <ctime>

namespace corvenna {

/// A POSIX mutex that std::unique_lock can hold, and that can be waited for with a limit.
class Mutex {
public:
    Mutex() { pthread_mutex_init(&mutex_, nullptr); }
    ~Mutex() = default;  // Not destroyed: it may be locked for good.
    Mutex(const Mutex &) = delete;
    Mutex &operator=(const Mutex &) = delete;

    void lock() { pthread_mutex_lock(&mutex_); }
    bool try_lock() { return pthread_mutex_trylock(&mutex_) == 0; }
    void unlock() { pthread_mutex_unlock(&mutex_); }

    bool TryLockFor(std::time_t seconds) {
        timespec until{};
        clock_gettime(CLOCK_REALTIME, &until);
        until.tv_sec += seconds;
        return pthread_mutex_timedlock(&mutex_, &until) == 0;
    }

private:
    pthread_mutex_t mutex_;
};

}  // namespace corvenna
