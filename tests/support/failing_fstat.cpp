#include "tests/support/failing_fstat.h"

#include <sys/stat.h>

#include <atomic>

namespace {

std::atomic<bool> gFails{false};

}  // namespace

// Where sizes of 64 bits are asked for on a machine of 32, the call has another name.
extern "C" {
int __real_fstat(int file, struct stat *status);
int __wrap_fstat(int file, struct stat *status);
int __wrap_fstat(int file, struct stat *status) {
    return gFails ? -1 : __real_fstat(file, status);
}
int __real_fstat64(int file, struct stat64 *status);
int __wrap_fstat64(int file, struct stat64 *status);
int __wrap_fstat64(int file, struct stat64 *status) {
    return gFails ? -1 : __real_fstat64(file, status);
}
}

namespace corvenna::test {

FailingFstat::FailingFstat() {
    gFails = true;
}

FailingFstat::~FailingFstat() {
    gFails = false;
}

}  // namespace corvenna::test
