#include "tests/support/fork_handlers.h"

#include <atomic>
#include <cerrno>

namespace {

std::atomic<bool> gAllowed{false};  // before any initialiser that registers handlers

}  // namespace

extern "C" {

int __real_pthread_atfork(void (*before)(), void (*inParent)(), void (*inChild)());
int __wrap_pthread_atfork(void (*before)(), void (*inParent)(), void (*inChild)());

int __wrap_pthread_atfork(void (*before)(), void (*inParent)(), void (*inChild)()) {
    return gAllowed ? __real_pthread_atfork(before, inParent, inChild) : ENOMEM;
}
}

namespace corvenna::test {

void AllowForkHandlers() {
    gAllowed = true;
}

}  // namespace corvenna::test
