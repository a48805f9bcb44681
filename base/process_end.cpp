#include "base/process_end.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <ctime>

#include "base/forks.h"

namespace corvenna {
namespace {

constexpr int kPatienceSeconds = 1;

// All outlive every destructor of the process: a thread may look at them until the last moment.
pthread_mutex_t gMutex = PTHREAD_MUTEX_INITIALIZER;
pthread_cond_t gFewer = PTHREAD_COND_INITIALIZER;
int gAtWork = 0;  // exchanges, and download threads that are not gone yet
std::atomic<bool> gEnding{false};
std::atomic<pthread_t> gEnder{};  // the thread that ends the process, once it is ending
std::atomic<pid_t> gProcess{0};   // that of the threads
pthread_once_t gOnce = PTHREAD_ONCE_INIT;
pthread_key_t gKey = 0;
bool gHasKey = false;

void AddWork(int count) {
    pthread_mutex_lock(&gMutex);
    gAtWork += count;
    pthread_cond_signal(&gFewer);
    pthread_mutex_unlock(&gMutex);
}

// A thread's end calls the destructors of its keys in rounds. Those of the libraries do their work
// in the first; ours asks for another round until the last but one, and counts the thread off
// there. (The last belongs to tools that watch threads.) What runs behind it is the C library's
// own.
constexpr std::ptrdiff_t kRounds = PTHREAD_DESTRUCTOR_ITERATIONS - 1;
char gRounds[kRounds + 1];  // a key keeps an address: the element's number is that of the rounds

/// @return false when there is no memory for it.
bool AskForRounds(std::ptrdiff_t rounds) {
    return gHasKey && pthread_setspecific(gKey, gRounds + rounds) == 0;
}

void EndRound(void *left) {
    const std::ptrdiff_t rounds = static_cast<char *>(left) - gRounds - 1;
    if (rounds == 0 || !AskForRounds(rounds)) {
        AddWork(-1);
    }
}

/// Whether the calling thread counts until it is gone; otherwise it counts while it works.
bool CountsUntilGone() {
    return gHasKey && pthread_getspecific(gKey) != nullptr;
}

/// Counts as gone at once, for no destructor of the thread runs any more.
[[noreturn]] void StayUntilTheEnd() {
    AddWork(-1);
    for (;;) {
        pause();
    }
}

/// A forked process has none of its parent's threads, and the locks as those may have left them;
/// nor does it end because its parent does.
void ForgetWork() {
    gMutex = PTHREAD_MUTEX_INITIALIZER;
    gFewer = PTHREAD_COND_INITIALIZER;
    gAtWork = 0;
    gEnding = false;
}

/// Waits until at most that much work is left. What waits for a silent server is left behind.
void AwaitWork(int left) {
    timespec deadline{};
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_sec += kPatienceSeconds;
    pthread_mutex_lock(&gMutex);
    while (gAtWork > left &&
           pthread_cond_clockwait(&gFewer, &gMutex, CLOCK_MONOTONIC, &deadline) == 0) {
    }
    pthread_mutex_unlock(&gMutex);
}

void EndProcess() {
    if (gProcess == getpid()) {
        gEnder = pthread_self();
        gEnding = true;
        AwaitWork(CountsUntilGone() ? 1 : 0);  // a download thread never for itself
    }
}

void Prepare() {
    gHasKey = pthread_key_create(&gKey, EndRound) == 0;
    // Without memory for that, a process that is forked meanwhile waits at its end.
    static_cast<void>(CallInForkedChildren(ForgetWork));
    // Without memory for that, nothing is waited for.
    static_cast<void>(std::atexit(EndProcess));
}

}  // namespace

ExchangeUnderWay::ExchangeUnderWay() {
    GuardProcessEnd();
    AddWork(1);
}

ExchangeUnderWay::~ExchangeUnderWay() {
    AddWork(-1);
}

bool ExchangeUnderWay::IsAllowed() {
    return !gEnding || gEnder == pthread_self();
}

DownloadSteps::DownloadSteps() {
    pthread_once(&gOnce, Prepare);
    if (!CountsUntilGone()) {
        AddWork(1);
        AskForRounds(kRounds);
    }
    Next();
}

DownloadSteps::~DownloadSteps() {
    Next();
    if (!CountsUntilGone()) {
        AddWork(-1);
    }
}

void DownloadSteps::Next() {
    if (gEnding) {
        StayUntilTheEnd();
    }
}

void GuardProcessEnd() {
    pthread_once(&gOnce, Prepare);
    gProcess = getpid();
}

bool IsProcessEnding() {
    return gEnding;
}

}  // namespace corvenna
