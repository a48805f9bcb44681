#pragma once

#include <string>
#include <vector>

#include "tools/conform/judgements.h"

namespace corvenna::conform {

/// What a program has to say at its end.
struct Report {
    std::string subject;  ///< the URL, or the command
    std::vector<Judgements> runs;

    std::size_t Count(Verdict verdict) const;
};

/// For people: what is broken and what was not judged, with reasons; then the counts.
/// @param all whether what is kept is shown too.
std::string AsText(const Report &report, bool all);

/// One object, every clause of every run in it.
std::string AsJson(const Report &report);

/// For build servers: a suite for each run, a case for each clause.
std::string AsJUnit(const Report &report);

}  // namespace corvenna::conform
