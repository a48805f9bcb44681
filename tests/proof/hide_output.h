#pragma once

#include <unistd.h>

#include <cstdio>

namespace corvenna::test {

/// What the library prints for whoever watches a gateway would fill pages: from now on it goes
/// nowhere. @return the descriptor of the output as it was.
inline int HideOutput() {
    std::fflush(stdout);
    const int output = dup(STDOUT_FILENO);
    if (output < 0 || std::freopen("/dev/null", "w", stdout) == nullptr) {
        std::perror("/dev/null");
    }
    return output;
}

}  // namespace corvenna::test
