#pragma once

#include <optional>
#include <string>

#include "tools/check/vocabulary.h"

namespace corvenna::check {

/// A value that is not taken as it is written.
struct ValueProblem {
    std::string rule;
    std::string what;
    std::string effect;
    std::string advice;
};

/// The whole number at the begin of a text, as the plug-in reads it.
long Decimal(const std::string &text);

/// What the plug-in does to the text of an attribute, if anything.
std::optional<ValueProblem> ProblemOf(const AttributeRule &rule, const std::string &text);

}  // namespace corvenna::check
