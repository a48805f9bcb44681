#include "plugin/process_end.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <ctime>

namespace corvenna {
namespace {

constexpr int kPatienceSeconds = 1;

// Both outlive every destructor of the process: the thread may look at them until the last moment.
// (A std::timed_mutex would do the same by a call that the thread sanitizer does not know.)
pthread_mutex_t gStep = PTHREAD_MUTEX_INITIALIZER;
std::atomic<bool> gEnding{false};

class ProcessEnd {
public:
    ProcessEnd() = default;
    ~ProcessEnd() {
        gEnding = true;
        // Stays locked: no further step. A step that waits for a silent server is left behind.
        timespec deadline{};
        clock_gettime(CLOCK_REALTIME, &deadline);
        deadline.tv_sec += kPatienceSeconds;
        pthread_mutex_timedlock(&gStep, &deadline);
    }
    ProcessEnd(const ProcessEnd &) = delete;
    ProcessEnd &operator=(const ProcessEnd &) = delete;
};

}  // namespace

DownloadSteps::DownloadSteps() {
    pthread_mutex_lock(&gStep);
}

DownloadSteps::~DownloadSteps() {
    pthread_mutex_unlock(&gStep);
}

void DownloadSteps::Next() {
    pthread_mutex_unlock(&gStep);
    while (gEnding) {
        pause();
    }
    pthread_mutex_lock(&gStep);
}

void GuardProcessEnd() {
    static const ProcessEnd end;
}

bool IsProcessEnding() {
    return gEnding;
}

}  // namespace corvenna
