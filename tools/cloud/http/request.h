#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace corvenna::cloud {

/// One HTTP request, whole. Names of headers are compared without regard to case.
struct Request {
    std::string method;
    std::string target;  ///< as it was sent
    std::string path;    ///< of the target, decoded
    std::vector<std::pair<std::string, std::string>> headers, parameters;
    std::string body;  ///< as it was sent: a Content-Encoding is still on it

    bool HasHeader(std::string_view name) const;
    /// The first header of that name; empty when there is none.
    std::string Header(std::string_view name) const;
    bool HasParameter(std::string_view name) const;
    /// The first parameter of that name; empty when there is none.
    std::string Parameter(std::string_view name) const;
};

/// Takes a target apart into path and parameters. "http://host/path" is read as "/path".
void SetTarget(Request &request, std::string_view target);

bool EqualsIgnoringCase(std::string_view left, std::string_view right);

}  // namespace corvenna::cloud
