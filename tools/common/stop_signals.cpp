#include "tools/common/stop_signals.h"

#include <pthread.h>

namespace corvenna {
namespace {

sigset_t Both() {
    sigset_t set{};
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    return set;
}

}  // namespace

void IgnoreBrokenConnections() {
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
}

StopSignals::StopSignals() : set_(Both()) {
    pthread_sigmask(SIG_BLOCK, &set_, nullptr);
    IgnoreBrokenConnections();
}

void StopSignals::Wait() const {
    int signal = 0;
    sigwait(&set_, &signal);
}

bool StopSignals::Wait(std::chrono::milliseconds time) const {
    const timespec timeout{static_cast<time_t>(time.count() / 1000),
                           static_cast<long>(time.count() % 1000) * 1000000};
    return sigtimedwait(&set_, nullptr, &timeout) > 0;
}

StopAtOnce::StopAtOnce() {
    const sigset_t set = Both();
    pthread_sigmask(SIG_UNBLOCK, &set, &before_);
}

StopAtOnce::~StopAtOnce() {
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

}  // namespace corvenna
