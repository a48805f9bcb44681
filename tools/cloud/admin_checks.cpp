#include "tools/cloud/admin_checks.h"

#include <arpa/inet.h>

#include "tools/cloud/text.h"

namespace corvenna::cloud {
namespace {

constexpr std::size_t kLongestName = 48;
constexpr std::size_t kLongestPath = 200;
constexpr const char *kAlphanumeric =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";

bool HoldsOnly(const std::string &text, const std::string &characters) {
    return text.find_first_not_of(characters) == std::string::npos;
}

/// "[::1]:80" and "127.0.0.1:80" without the port.
std::string HostName(const std::string &host) {
    if (!host.empty() && host.front() == '[') {
        return host.substr(1, std::min(host.find(']'), host.size()) - 1);
    }
    return host.substr(0, host.find(':'));
}

}  // namespace

bool IsHostTrusted(const std::string &host) {
    const std::string name = HostName(host);
    unsigned char address[sizeof(in6_addr)];
    return name == "localhost" || inet_pton(AF_INET, name.c_str(), address) == 1 ||
           inet_pton(AF_INET6, name.c_str(), address) == 1;
}

bool IsOriginTrusted(const httplib::Request &request) {
    return !request.has_header("Origin") ||
           request.get_header_value("Origin") == "http://" + request.get_header_value("Host");
}

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
