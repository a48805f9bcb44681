#include "tests/log/sleepers.h"

#include <semaphore.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <mutex>

namespace {

/// Unlike a condition variable it serves a forked child, too, whose parent's threads wait for it.
class Semaphore {
public:
    Semaphore() { sem_init(&semaphore_, 0, 0); }
    void Post() { sem_post(&semaphore_); }
    void Wait() {
        while (sem_wait(&semaphore_) != 0 && errno == EINTR) {
        }
    }

private:
    sem_t semaphore_{};
};

// None is ever destroyed: a writer may still fall asleep while the process ends.
std::mutex gMutex;
auto &gSleeps = *new std::vector<unsigned>;
Semaphore gAsleep;
Semaphore gWoken;
std::atomic<bool> gHolding{false};

}  // namespace

extern "C" {

unsigned __real_sleep(unsigned seconds);
unsigned __wrap_sleep(unsigned seconds);

unsigned __wrap_sleep(unsigned seconds) {
    if (!gHolding) {
        return __real_sleep(seconds);
    }
    {
        const std::lock_guard<std::mutex> lock(gMutex);
        gSleeps.push_back(seconds);
    }
    gAsleep.Post();
    gWoken.Wait();
    return 0;
}
}

namespace corvenna::test {

Sleepers::Sleepers() {
    gHolding = true;
}

std::vector<unsigned> Sleepers::WaitFor(std::size_t calls) {
    for (; seen_ < calls; ++seen_) {
        gAsleep.Wait();
    }
    const std::lock_guard<std::mutex> lock(gMutex);
    return gSleeps;
}

void Sleepers::Wake() {
    gWoken.Post();
}

}  // namespace corvenna::test
