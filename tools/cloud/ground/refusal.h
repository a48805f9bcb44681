#pragma once

#include <string>

namespace corvenna::cloud {

/// Thrown by a handler: the request is answered with this status and reason instead.
struct Refusal {
    int status;
    std::string reason;
};

}  // namespace corvenna::cloud
