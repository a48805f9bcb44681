#pragma once

#include <cstddef>

namespace corvenna::test {

/// Which allocations fail, counted from 1 from the moment on that the object is made.
enum class Failing {
    kOne,          ///< that one
    kFromThereOn,  ///< that one and all later ones
};

/// Makes allocations of the thread that made it return null, as long as it lives: those of our code
/// and those that any library makes on its behalf. Other threads are left alone. One at a time for
/// a thread. Not for builds with a sanitizer, which has an allocator of its own.
class FailingAllocations {
public:
    FailingAllocations(std::size_t number, Failing failing);
    ~FailingAllocations();
    FailingAllocations(const FailingAllocations &) = delete;
    FailingAllocations &operator=(const FailingAllocations &) = delete;

    /// Whether it came to that allocation; when not, the code needs fewer and a sweep is over.
    bool Happened() const;
};

/// Calls attempt() again and again, each time with another allocation failing, until none is left
/// to fail; prepare() runs before each and check() after it, both with all the memory there is.
/// @return how many allocations failed.
template <class Prepare, class Attempt, class Check>
std::size_t FailEachAllocation(Failing failing, Prepare prepare, Attempt attempt, Check check) {
    for (std::size_t number = 1;; ++number) {
        prepare();
        bool happened = false;
        {
            const FailingAllocations failure(number, failing);
            attempt();
            happened = failure.Happened();
        }
        if (!happened) {
            return number - 1;
        }
        check();
    }
}

/// For a stand-in of another call that is to fail in its turn: counts it among the allocations.
/// @return whether this one fails.
bool CallFails(const char *name);

/// Calls a function each time that a call fails, on its stack; null for none. It must not allocate.
void WhenACallFails(void (*hear)());

/// The name of the call that failed last on this thread, "" when none has.
const char *LastFailedCall();

/// Blocks that the process holds; two equal readings around a call, made when nothing else runs,
/// show that the call kept nothing.
std::ptrdiff_t LiveBlocks();

}  // namespace corvenna::test
