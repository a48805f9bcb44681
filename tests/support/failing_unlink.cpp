#include "tests/support/failing_unlink.h"

#include <atomic>

namespace {

std::atomic<bool> gFails{false};

}  // namespace

extern "C" {
int __real_unlink(const char *path);
int __wrap_unlink(const char *path);
int __wrap_unlink(const char *path) {
    return gFails ? -1 : __real_unlink(path);
}
}

namespace corvenna::test {

FailingUnlink::FailingUnlink() {
    gFails = true;
}

FailingUnlink::~FailingUnlink() {
    gFails = false;
}

}  // namespace corvenna::test
