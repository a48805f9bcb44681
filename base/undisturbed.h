#pragma once

#include <csignal>

namespace corvenna {

/// Keeps from the calling thread, as long as this lives, what would end it or its process in the
/// middle of our work.
///
/// Ours: it is cancelled later, for the libraries that we call are not made for that; what they
/// hold would be lost or stay locked. And writes that fail raise no signals, neither SIGPIPE, where
/// nobody reads any more, nor SIGXFSZ, at the host's limit on the size of files: they would end a
/// host that has not thought of them. Threads that are started meanwhile never get those two.
class Undisturbed {
public:
    Undisturbed();
    /// A thread that may be cancelled at any moment ends here, by unwinding.
    ~Undisturbed() noexcept(false);
    Undisturbed(const Undisturbed &) = delete;
    Undisturbed &operator=(const Undisturbed &) = delete;

private:
    int cancelState_;
    sigset_t blocked_;  ///< by us; what the host itself has blocked stays its own
};

/// For a process that is about to execute something else: writes raise signals in it.
void AllowWriteSignals();

}  // namespace corvenna
