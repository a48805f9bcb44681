#include "tests/support/pauses.h"

#include <unistd.h>

#include <mutex>
#include <utility>

namespace {

std::mutex gMutex;
bool gRecording = false;
// Never destroyed: a thread may still pause while the process ends.
auto &gPauses = *new std::vector<unsigned>;
auto &gAction = *new std::function<void()>;

}  // namespace

extern "C" {

int __real_usleep(useconds_t microseconds);

int __wrap_usleep(useconds_t microseconds) {
    std::function<void()> action;
    {
        const std::lock_guard<std::mutex> lock(gMutex);
        if (!gRecording) {
            return __real_usleep(microseconds);
        }
        gPauses.push_back(microseconds);
        action = gAction;
    }
    if (action) {
        action();
    }
    return 0;
}
}

namespace corvenna::test {

PauseRecorder::PauseRecorder() {
    const std::lock_guard<std::mutex> lock(gMutex);
    gRecording = true;
    gPauses.clear();
    gAction = nullptr;
}

PauseRecorder::~PauseRecorder() {
    const std::lock_guard<std::mutex> lock(gMutex);
    gRecording = false;
}

std::vector<unsigned> PauseRecorder::Microseconds() const {
    const std::lock_guard<std::mutex> lock(gMutex);
    return gPauses;
}

void PauseRecorder::OnPause(std::function<void()> action) {
    const std::lock_guard<std::mutex> lock(gMutex);
    gAction = std::move(action);
}

}  // namespace corvenna::test
