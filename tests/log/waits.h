#pragma once

#include <cstddef>
#include <ctime>
#include <vector>

namespace corvenna::test {

/// What has been waited for with a limit: how the end of a process takes locks. Needs a test
/// program linked with WRAP pthread_mutex_clocklock.
struct Waits {
    struct Wait {
        clockid_t clock;
        timespec until;
    };
    static std::vector<Wait> All();

    /// Lets every such wait run out, at once, from now on but for the next ones.
    static void RunOut(std::size_t granted = 0);
};

}  // namespace corvenna::test
