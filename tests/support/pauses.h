#pragma once

#include <functional>
#include <vector>

namespace corvenna::test {

/// Records the pauses of the code under test instead of making them, for as long as it lives. Needs
/// a test program linked with WRAP usleep; without a recorder alive, pauses are real.
class PauseRecorder {
public:
    PauseRecorder();
    ~PauseRecorder();
    PauseRecorder(const PauseRecorder &) = delete;
    PauseRecorder &operator=(const PauseRecorder &) = delete;

    /// The pauses so far, in microseconds, in the order in which they were asked for.
    std::vector<unsigned> Microseconds() const;

    /// Has something done in each pause, by the thread that pauses.
    void OnPause(std::function<void()> action);
};

}  // namespace corvenna::test
