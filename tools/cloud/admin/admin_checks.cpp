#include "tools/cloud/admin/admin_checks.h"

#include "tools/cloud/ground/text.h"

namespace corvenna::cloud {
namespace {

constexpr std::size_t kLongestName = 48;
constexpr std::size_t kLongestPath = 200;
constexpr const char *kAlphanumeric =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";

bool HoldsOnly(const std::string &text, const std::string &characters) {
    return text.find_first_not_of(characters) == std::string::npos;
}

}  // namespace

bool IsFileName(const std::string &name) {
    return !name.empty() && name.size() <= kLongestName &&
           HoldsOnly(name, std::string(kAlphanumeric) + "._+-") &&
           HoldsOnly(name.substr(0, 1), kAlphanumeric);
}

bool IsTargetPath(const std::string &path) {
    if (path.empty() || path.front() != '/' || path.size() > kLongestPath ||
        !HoldsOnly(path, std::string(kAlphanumeric) + "._+-/")) {
        return false;
    }
    for (const std::string &segment : Segments(path)) {
        if (segment == "..") {
            return false;
        }
    }
    return true;
}

}  // namespace corvenna::cloud
