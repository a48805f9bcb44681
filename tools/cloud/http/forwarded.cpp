#include "tools/cloud/http/forwarded.h"

#include <arpa/inet.h>

namespace corvenna::cloud {
namespace {

/// The last entry of the last such header: what the proxy itself wrote. Those before it can be
/// anybody's.
std::string LastEntry(const Request &request, std::string_view header) {
    std::string list;
    for (const auto &[name, value] : request.headers) {
        if (EqualsIgnoringCase(name, header)) {
            list = value;
        }
    }
    const std::size_t comma = list.rfind(',');
    const std::string entry = comma == std::string::npos ? list : list.substr(comma + 1);
    const std::size_t start = std::min(entry.find_first_not_of(' '), entry.size());
    return entry.substr(start, entry.find_last_not_of(' ') + 1 - start);
}

bool IsAddress(const std::string &text) {
    unsigned char bytes[sizeof(in6_addr)];
    return inet_pton(AF_INET, text.c_str(), bytes) == 1 ||
           inet_pton(AF_INET6, text.c_str(), bytes) == 1;
}

void SetHost(Request &request, const std::string &host) {
    for (auto &[name, value] : request.headers) {
        if (EqualsIgnoringCase(name, "Host")) {
            value = host;
        }
    }
}

}  // namespace

void ReadForwarded(Request &request, TraceEntry &trace) {
    const std::string address = LastEntry(request, "X-Forwarded-For");
    const std::string scheme = LastEntry(request, "X-Forwarded-Proto");
    const std::string host = LastEntry(request, "X-Forwarded-Host");
    if (IsAddress(address)) {
        trace.address = address;
    }
    if (scheme == "http" || scheme == "https") {
        trace.scheme = scheme;
    }
    if (!host.empty()) {
        SetHost(request, host);
    }
}

}  // namespace corvenna::cloud
