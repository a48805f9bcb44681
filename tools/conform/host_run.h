#pragma once

#include <string>
#include <vector>

namespace corvenna::conform {

/// How a host is run with the stand-in.
struct HostRun {
    std::vector<std::string> command;
    std::string library;   ///< the stand-in
    std::string record;    ///< where it writes; must not be there
    std::string scenario;  ///< "work", "off" or "unusable"
    int intervalSeconds = 2;
    int seconds = 15;  ///< until the host is asked to end
};

/// Runs a host until it ends, by itself or asked to by SIGTERM; who does not is killed ten seconds
/// later. What it prints goes to standard error.
/// @return how it ended, in words. Throws std::runtime_error when it cannot be started.
std::string RunHost(const HostRun &run);

}  // namespace corvenna::conform
