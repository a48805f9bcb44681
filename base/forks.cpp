#include "base/forks.h"

#include <pthread.h>

#include <atomic>
#include <cstddef>
#include <ctime>

namespace corvenna {
namespace {

pthread_mutex_t gMutex = PTHREAD_MUTEX_INITIALIZER;

// By turns, and not by a wait with a limit: the thread sanitizer does not know that one.
constexpr int kTurns = 1000;
constexpr timespec kTurn{0, 1000000};

constexpr pthread_t kNobody{};
std::atomic<pthread_t> gForker{kNobody};  ///< the thread that holds the mutex to fork
std::atomic<pthread_t> gMaker{kNobody};   ///< the one that holds it to make something

constexpr std::size_t kMostParts = 8;
std::atomic<void (*)()> gParts[kMostParts];
std::atomic<std::size_t> gPartCount{0};

void BeforeFork() {
    for (int turn = 0; turn < kTurns; ++turn) {
        if (pthread_mutex_trylock(&gMutex) == 0) {
            gForker = pthread_self();
            return;
        }
        nanosleep(&kTurn, nullptr);
    }
}

/// @return whether the calling thread held the mutex to fork.
bool Release() {
    if (gForker != pthread_self()) {
        return false;
    }
    gForker = kNobody;
    pthread_mutex_unlock(&gMutex);
    return true;
}

void AfterForkInParent() {
    Release();
}

void AfterForkInChild() {
    if (!Release()) {
        gMutex = PTHREAD_MUTEX_INITIALIZER;  // whoever held it is not here
    }
    gForker = kNobody;
    gMaker = kNobody;
    for (std::atomic<void (*)()> &part : gParts) {
        if (void (*const renew)() = part) {
            renew();
        }
    }
}

bool Register() {
    return pthread_atfork(BeforeFork, AfterForkInParent, AfterForkInChild) == 0;
}

std::atomic<bool> gRegistered{false};

/// When the library is loaded: while one thread registers at its first use, another could fork.
/// Before all others of ours, so that fork() takes this mutex last: who waits for it may hold
/// libxml2.
[[gnu::constructor(102)]] void RegisterFirst() {
    gRegistered = Register();
}

}  // namespace

bool CallInForkedChildren(void (*renew)()) {
    const std::size_t part = gPartCount++;
    if (part >= kMostParts) {
        return false;
    }
    gParts[part] = renew;
    if (!gRegistered) {
        gRegistered = Register();
    }
    return gRegistered;
}

FirstUse::FirstUse() : nested_(gMaker == pthread_self()) {
    if (!nested_) {
        pthread_mutex_lock(&gMutex);  // cannot fail: of the plain kind
        gMaker = pthread_self();
    }
}

FirstUse::~FirstUse() {
    if (!nested_) {
        gMaker = kNobody;
        pthread_mutex_unlock(&gMutex);
    }
}

}  // namespace corvenna
