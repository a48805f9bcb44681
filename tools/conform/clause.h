#pragma once

#include <vector>

namespace corvenna::conform {

/// One thing that the other side has to keep to.
struct Clause {
    const char *id;
    const char *where;  ///< the exchange or the call that it is about
    const char *rule;
    const char *page;  ///< of docs/, where it is explained
};
using Clauses = std::vector<Clause>;

/// What a cloud keeps to, in the order in which it is tried.
const Clauses &CloudClauses();

/// What a host keeps to, in the order of its life.
const Clauses &HostClauses();

}  // namespace corvenna::conform
