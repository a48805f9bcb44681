#pragma once

#include <chrono>
#include <cstddef>
#include <set>
#include <string>

namespace corvenna::cloud {

/// What requests that are being handled get at the end of the program.
constexpr std::chrono::seconds kGrace{2};

/// What connections may take.
struct Limits {
    std::size_t connections = 10000;
    std::size_t connectionsPerAddress = 8000;
    std::chrono::seconds head{20};  ///< for TLS handshake and head of a request
    std::chrono::seconds body{30};  ///< for a body, beside a second for every 512 bytes that came
    std::chrono::seconds idle{75};  ///< between requests
    /// Peers that speak for others: their forwarded headers count, the limit per address does not.
    std::set<std::string> trustedProxies;
};

}  // namespace corvenna::cloud
