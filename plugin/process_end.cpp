#include "plugin/process_end.h"

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <type_traits>

namespace corvenna {
namespace {

constexpr std::chrono::seconds kPatience{1};

// Both outlive every destructor of the process: the thread may look at them until the last moment.
std::timed_mutex gStep;
std::atomic<bool> gEnding{false};
static_assert(std::is_trivially_destructible_v<std::timed_mutex>);

class ProcessEnd {
public:
    ProcessEnd() = default;
    ~ProcessEnd() {
        gEnding = true;
        // Stays locked: no further step. A step that waits for a silent server is left behind.
        static_cast<void>(gStep.try_lock_for(kPatience));
    }
    ProcessEnd(const ProcessEnd &) = delete;
    ProcessEnd &operator=(const ProcessEnd &) = delete;
};

}  // namespace

DownloadSteps::DownloadSteps() {
    gStep.lock();
}

DownloadSteps::~DownloadSteps() {
    gStep.unlock();
}

void DownloadSteps::Next() {
    gStep.unlock();
    while (gEnding) {
        pause();
    }
    gStep.lock();
}

void GuardProcessEnd() {
    static const ProcessEnd end;
}

bool IsProcessEnding() {
    return gEnding;
}

}  // namespace corvenna
