#include "tests/support/pauses.h"

#include <unistd.h>

#include <mutex>

namespace {

std::mutex gMutex;
bool gRecording = false;
std::vector<unsigned> gPauses;

}  // namespace

extern "C" {

int __real_usleep(useconds_t microseconds);

int __wrap_usleep(useconds_t microseconds) {
    {
        const std::lock_guard<std::mutex> lock(gMutex);
        if (gRecording) {
            gPauses.push_back(microseconds);
            return 0;
        }
    }
    return __real_usleep(microseconds);
}
}

namespace corvenna::test {

PauseRecorder::PauseRecorder() {
    const std::lock_guard<std::mutex> lock(gMutex);
    gRecording = true;
    gPauses.clear();
}

PauseRecorder::~PauseRecorder() {
    const std::lock_guard<std::mutex> lock(gMutex);
    gRecording = false;
}

std::vector<unsigned> PauseRecorder::Microseconds() const {
    const std::lock_guard<std::mutex> lock(gMutex);
    return gPauses;
}

}  // namespace corvenna::test
