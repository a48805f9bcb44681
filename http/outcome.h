#pragma once

namespace corvenna {

/// How an exchange with the server ended, beside what an operation reports of it.
struct Outcome {
    int transfer = -1;  ///< libcurl's result; -1: no transfer was tried
    long status = 0;    ///< HTTP status of the answer, 0 when none came
};

}  // namespace corvenna
