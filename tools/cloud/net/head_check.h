#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace corvenna::cloud {

/// Why a request cannot be read, and the status that says so.
struct HeadProblem {
    int status;
    const char *reason;
};

constexpr std::size_t kLargestHead = 16384;

/// Looks at the bytes of a head that have come so far, the first `known` of which were looked at
/// before. @return a problem as soon as no good head can come of them.
std::optional<HeadProblem> CheckHeadBytes(std::string_view bytes, std::size_t known);

/// Looks at a whole head, with the empty line at its end. What different readers could understand
/// differently is refused, so that a proxy in front sees the same requests as this server: two
/// lengths, a length beside a coding, blanks before colons, headers of several lines, no or two
/// hosts.
std::optional<HeadProblem> CheckHead(std::string_view head);

}  // namespace corvenna::cloud
