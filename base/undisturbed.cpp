#include "base/undisturbed.h"

#include <pthread.h>

#include <ctime>

namespace corvenna {
namespace {

constexpr int kWriteSignals[] = {SIGPIPE, SIGXFSZ};

sigset_t WriteSignalsBut(const sigset_t &excepted) {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : kWriteSignals) {
        if (sigismember(&excepted, signal) == 0) {
            sigaddset(&signals, signal);
        }
    }
    return signals;
}

sigset_t WriteSignals() {
    sigset_t none;
    sigemptyset(&none);
    return WriteSignalsBut(none);
}

}  // namespace

Undisturbed::Undisturbed() {
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelState_);
    const sigset_t signals = WriteSignals();
    sigset_t before;
    pthread_sigmask(SIG_BLOCK, &signals, &before);
    blocked_ = WriteSignalsBut(before);
}

Undisturbed::~Undisturbed() noexcept(false) {
    constexpr timespec kAtOnce{};
    while (sigtimedwait(&blocked_, nullptr, &kAtOnce) > 0) {
    }
    pthread_sigmask(SIG_UNBLOCK, &blocked_, nullptr);
    pthread_setcancelstate(cancelState_, nullptr);
}

void AllowWriteSignals() {
    const sigset_t signals = WriteSignals();
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
}

}  // namespace corvenna
