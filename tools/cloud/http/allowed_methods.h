#pragma once

#include <string>

#include "tools/cloud/http/response.h"

namespace corvenna::cloud {

/// The methods that there are at a path, for a request whose method is none of them.
class AllowedMethods {
public:
    void Add(const std::string &method);
    /// Throws a Refusal: 404 when there is nothing at the path or the method is none of HTTP's,
    /// otherwise 405 with the header that names the methods.
    [[noreturn]] void Refuse(const std::string &method, Response &response) const;

private:
    std::string list_;
};

}  // namespace corvenna::cloud
