#pragma once

#include <string>
#include <vector>

namespace corvenna::check {

enum class Severity {
    kWarning,  ///< taken otherwise than it is written, or with a risk
    kError,    ///< the plug-in does not load, stays off, or nothing arrives
};

/// The effect of what stops the plug-in.
constexpr const char *kDoesNotStart = "the plug-in does not start (Init gives -1)";

/// Where something stands.
struct Place {
    std::string file;
    long line = 0;        ///< 0: the file as a whole
    std::string element;  ///< "<cloud>", "device 'Pump' (2-1)"; empty for the file as a whole
};

/// One thing that the plug-in takes in silence and that was hardly meant.
struct Finding {
    Severity severity = Severity::kWarning;
    std::string rule;  ///< its name, the same for all of its kind
    Place place;
    std::string what;    ///< goes on behind the element or the file
    std::string effect;  ///< what happens at run time
    std::string advice;
};
using Findings = std::vector<Finding>;

/// "FILE:LINE: <cloud> ...": where and what, in one line.
std::string Headline(const Finding &finding);

}  // namespace corvenna::check
