#pragma once

namespace corvenna {

int RunGuarded(const char *name, int (*run)(void *body), void *body);

/// Ours: nothing is thrown into the host or out of a thread's body, and no call ends in its middle.
/// Runs what an operation does; what is thrown out of it, for want of memory, is logged under its
/// name and is its failure. A thread that is cancelled meanwhile ends behind it.
template <class Body>
int Guarded(const char *name, Body body) {
    return RunGuarded(
        name, [](void *self) -> int { return (*static_cast<Body *>(self))(); }, &body);
}

}  // namespace corvenna
