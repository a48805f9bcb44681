#pragma once

#include <ctime>

namespace corvenna::test {

/// How a fork waits for those who are using libxml2: with a limit. Needs a test program linked with
/// WRAP pthread_rwlock_clockwrlock.
struct XmlLockWait {
    /// From now on the limit comes so much later: where it is not what is looked at, no thread that
    /// stands still for a moment may let it run out.
    static void Prolong(std::time_t seconds);

    /// The second of the limit that was asked for last, on the clock that nobody sets.
    static std::time_t Limit();
};

}  // namespace corvenna::test
