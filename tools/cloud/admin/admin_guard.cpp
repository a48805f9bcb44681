#include "tools/cloud/admin/admin_guard.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>

namespace corvenna::cloud {
namespace {

constexpr std::size_t kShortestToken = 16;
constexpr const char *kChallenge = R"(Basic realm="corvenna-cloud", charset="UTF-8")";

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](char letter) {
        return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    });
    return text;
}

/// "[::1]:80" and "127.0.0.1:80" without the port.
std::string HostName(const std::string &host) {
    if (!host.empty() && host.front() == '[') {
        return host.substr(1, std::min(host.find(']'), host.size()) - 1);
    }
    return Lower(host.substr(0, host.find(':')));
}

bool IsThisMachine(const std::string &name) {
    unsigned char address[sizeof(in6_addr)];
    return name == "localhost" || inet_pton(AF_INET, name.c_str(), address) == 1 ||
           inet_pton(AF_INET6, name.c_str(), address) == 1;
}

bool OnlyReads(const Request &request) {
    return request.method == "GET" || request.method == "HEAD";
}

}  // namespace

std::string ReadToken(const std::string &file) {
    std::ifstream input(file);
    std::string token;
    if (!input) {
        throw std::runtime_error("cannot read " + file + ": " + std::strerror(errno));
    }
    std::getline(input, token);
    token.resize(token.find_last_not_of(" \t\r") + 1);
    if (token.size() < kShortestToken || token.find(' ') != std::string::npos) {
        throw std::runtime_error(file + " has no token: at least " +
                                 std::to_string(kShortestToken) +
                                 " characters without a blank, on its first line");
    }
    return token;
}

AdminGuard::AdminGuard(const AdminAccess &access)
    : token_(access.tokenFile.empty() ? "" : ReadToken(access.tokenFile)),
      users_(access.usersFile.empty() ? nullptr : std::make_unique<Credentials>(access.usersFile)) {
    for (const std::string &host : access.trustedHosts) {
        trustedHosts_.insert(HostName(host));
    }
}

/// Any other name could be one that a foreign web page had resolved to this server in order to be
/// allowed to read from it.
bool AdminGuard::IsHostTrusted(const std::string &host) const {
    const std::string name = HostName(host);
    return IsThisMachine(name) || trustedHosts_.count(name) != 0;
}

/// A request that changes something comes from this server's own page or from no page. Under a
/// trusted name the page may have come through a proxy, with a scheme and a port of the proxy's.
bool AdminGuard::IsOriginTrusted(const Request &request, const std::string &scheme) const {
    if (!request.HasHeader("Origin")) {
        return true;
    }
    const std::string origin = request.Header("Origin");
    const std::size_t authority = origin.find("://");
    return origin == scheme + "://" + request.Header("Host") ||
           (authority != std::string::npos &&
            trustedHosts_.count(HostName(origin.substr(authority + 3))) != 0);
}

bool AdminGuard::KnowsSecret(const std::string &authorization) {
    if (const auto token = ReadBearer(authorization)) {
        return !token_.empty() && EqualSecrets(*token, token_);
    }
    const auto given = ReadBasic(authorization);
    if (!given) {
        return false;
    }
    // A browser can send the token only as a password.
    const bool tokenKnown = !token_.empty() && EqualSecrets(given->password, token_);
    return tokenKnown || (users_ && users_->Accept(*given));
}

void AdminGuard::CheckSecret(Exchange &exchange) {
    const std::string &address = exchange.trace.address;
    const std::string authorization = exchange.request.Header("Authorization");
    if (failures_.IsReached(address)) {
        exchange.response.SetHeader("Retry-After", "60");
        throw Refusal{429, "too many wrong passwords came from this address"};
    }
    if (KnowsSecret(authorization)) {
        return;
    }
    if (!authorization.empty()) {
        failures_.Note(address);
    }
    AskForSecret(exchange);
}

void AdminGuard::AskForSecret(Exchange &exchange) {
    exchange.response.SetHeader("WWW-Authenticate", kChallenge);
    throw Refusal{401, "page and API want a token or a user's password"};
}

void AdminGuard::CheckHead(Exchange &exchange) {
    const Request &request = exchange.request;
    if (!IsHostTrusted(request.Header("Host"))) {
        throw Refusal{403,
                      "this server is reached by its address or as localhost; --trusted-host"
                      " allows more names"};
    }
    if (AsksForSecret() && !request.HasHeader("Authorization")) {
        AskForSecret(exchange);
    }
    if (!OnlyReads(request) && !IsOriginTrusted(request, exchange.trace.scheme)) {
        throw Refusal{403, "only this server's own page may do this"};
    }
}

void AdminGuard::Check(Exchange &exchange) {
    CheckHead(exchange);
    if (AsksForSecret()) {
        CheckSecret(exchange);
    }
}

}  // namespace corvenna::cloud
