#include "tests/support/fork_wait.h"

#include <semaphore.h>

#include <atomic>
#include <cerrno>
#include <ctime>

namespace {

// Of the first pause: it has begun, it may end.
std::atomic<bool> gExpected{false};
sem_t gBegun;
sem_t gEnded;

void Wait(sem_t &semaphore) {
    while (sem_wait(&semaphore) != 0 && errno == EINTR) {
    }
}

}  // namespace

extern "C" {

int __real_nanosleep(const timespec *time, timespec *left);
int __wrap_nanosleep(const timespec *time, timespec *left);

int __wrap_nanosleep(const timespec *time, timespec *left) {
    if (!gExpected.exchange(false)) {
        return __real_nanosleep(time, left);
    }
    sem_post(&gBegun);
    Wait(gEnded);
    return 0;
}
}

namespace corvenna::test {

ForkWait::ForkWait() {
    sem_init(&gBegun, 0, 0);
    sem_init(&gEnded, 0, 0);
    gExpected = true;
}

ForkWait::~ForkWait() {
    gExpected = false;
}

void ForkWait::Await() {
    Wait(gBegun);
}

void ForkWait::End() {
    sem_post(&gEnded);
}

}  // namespace corvenna::test
