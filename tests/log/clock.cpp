#include "tests/log/clock.h"

#include <atomic>
#include <mutex>
#include <optional>

namespace {

std::mutex gMutex;
std::optional<std::time_t> gNow;
// Never destroyed: a writer may still ask while the process ends.
auto &gAsked = *new std::optional<std::promise<void>>;
std::atomic<std::time_t> gPassed{0};
std::atomic<bool> gStandsStill{false};
timespec gStoodStillAt{};  // set before it stands still

}  // namespace

extern "C" {

std::time_t __real_time(std::time_t *result);
std::time_t __wrap_time(std::time_t *result);

std::time_t __wrap_time(std::time_t *result) {
    const std::lock_guard<std::mutex> lock(gMutex);
    if (gAsked) {
        gAsked->set_value();
        gAsked.reset();
    }
    if (!gNow) {
        return __real_time(result);
    }
    if (result != nullptr) {
        *result = *gNow;
    }
    return *gNow;
}

int __real_clock_gettime(clockid_t clock, timespec *result);
int __wrap_clock_gettime(clockid_t clock, timespec *result);

int __wrap_clock_gettime(clockid_t clock, timespec *result) {
    const int failed = __real_clock_gettime(clock, result);
    if (clock == CLOCK_MONOTONIC) {
        *result = gStandsStill ? gStoodStillAt : *result;
        result->tv_sec += gPassed;
    }
    return failed;
}
}

namespace corvenna::test {

ClockAt::ClockAt(std::time_t now) {
    Set(now);
}

ClockAt::~ClockAt() {
    const std::lock_guard<std::mutex> lock(gMutex);
    gNow.reset();
}

void ClockAt::Set(std::time_t now) {
    const std::lock_guard<std::mutex> lock(gMutex);
    gNow = now;
}

void LetPass(std::time_t seconds) {
    gPassed += seconds;
}

TimeStandsStill::TimeStandsStill() {
    __real_clock_gettime(CLOCK_MONOTONIC, &gStoodStillAt);
    gStandsStill = true;
}

TimeStandsStill::~TimeStandsStill() {
    gStandsStill = false;
}

std::future<void> NextTimeAsked() {
    const std::lock_guard<std::mutex> lock(gMutex);
    return gAsked.emplace().get_future();
}

}  // namespace corvenna::test
