#include "tools/cloud/http/allowed_methods.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "tools/cloud/ground/refusal.h"

namespace corvenna::cloud {
namespace {

constexpr std::string_view kMethods[] = {"GET",     "HEAD",    "POST",  "PUT",  "DELETE",
                                         "CONNECT", "OPTIONS", "TRACE", "PATCH"};

bool IsMethod(const std::string &name) {
    return std::find(std::begin(kMethods), std::end(kMethods), name) != std::end(kMethods);
}

}  // namespace

void AllowedMethods::Add(const std::string &method) {
    list_ += (list_.empty() ? "" : ", ") + method;
}

void AllowedMethods::Refuse(const std::string &method, Response &response) const {
    if (list_.empty() || !IsMethod(method)) {
        throw Refusal{404, "there is nothing at this path for this method"};
    }
    response.SetHeader("Allow", list_);
    throw Refusal{405, "this path has no such method"};
}

}  // namespace corvenna::cloud
