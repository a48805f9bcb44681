#pragma once

#include <pthread.h>

namespace corvenna {

// fork() copies the calling thread alone. What others were doing stays half done in the child, and
// a lock that they held is never released there.

/// Has a function called in every child that fork() makes from now on, before it goes on there. For
/// the few parts of the library that hold locks, each once.
/// @return false when there is no memory for it.
[[nodiscard]] bool CallInForkedChildren(void (*renew)());

/// Has a mutex free in every child that fork() makes from now on: no thread is there that could
/// unlock it. (Without memory for that, only a child that is forked while it is locked waits.)
template <pthread_mutex_t &mutex>
void RenewInForkedChildren() {
    static pthread_once_t once = PTHREAD_ONCE_INIT;
    pthread_once(&once, [] {
        static_cast<void>(CallInForkedChildren([] { mutex = PTHREAD_MUTEX_INITIALIZER; }));
    });
}

/// Held by a thread while it makes something that the process has one of, at its first use: fork()
/// waits for that, a second at most, so that no child finds it half made. What is made may make
/// another on its way.
class FirstUse {
public:
    FirstUse();
    ~FirstUse();
    FirstUse(const FirstUse &) = delete;
    FirstUse &operator=(const FirstUse &) = delete;

private:
    const bool nested_;
};

/// Held likewise by a thread in a call of the C library that takes a lock of its own which fork()
/// leaves alone: a child would wait for it for ever.
using NoForkMeanwhile = FirstUse;

}  // namespace corvenna
