#include "tools/cloud/gateway/gateway_guard.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <fstream>
#include <stdexcept>
#include <string_view>

#include "tools/cloud/ground/refusal.h"
#include "tools/cloud/ground/text.h"

namespace corvenna::cloud {
namespace {

constexpr std::size_t kKeyBytes = 32;
constexpr std::string_view kCookie = "corvenna=";

/// A serial number a line; empty lines and those that begin with # are nothing.
std::set<std::string> ReadSerials(const std::string &path) {
    std::ifstream file(path);
    std::set<std::string> serials;
    for (std::string line; std::getline(file, line);) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        if (line.empty() || line.front() == '#') {
            continue;
        }
        if (!IsSerialNumber(line)) {
            throw std::runtime_error(path + ": \"" + CleanUtf8(line) + "\" is no serial number");
        }
        serials.insert(line);
    }
    if (!file.eof()) {
        throw std::runtime_error(path + " cannot be read");
    }
    return serials;
}

std::string NewKey() {
    std::array<unsigned char, kKeyBytes> bytes{};
    if (RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) != 1) {
        throw std::runtime_error("no random numbers");
    }
    return {bytes.begin(), bytes.end()};
}

std::string HexOf(std::string_view text) {
    return Hex(reinterpret_cast<const unsigned char *>(text.data()), text.size());
}

std::optional<std::string> FromHex(std::string_view digits) {
    std::string bytes;
    for (; digits.size() >= 2; digits.remove_prefix(2)) {
        unsigned int byte = 0;
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + 2, byte, 16);
        if (error != std::errc() || end != digits.data() + 2) {
            return std::nullopt;
        }
        bytes += static_cast<char>(byte);
    }
    return digits.empty() ? std::make_optional(bytes) : std::nullopt;
}

/// The value of our cookie among those of a Cookie header.
std::string_view FindCookie(std::string_view header) {
    while (!header.empty()) {
        const std::size_t length = std::min(header.find(';'), header.size());
        const std::string_view one = header.substr(0, length);
        if (one.substr(0, kCookie.size()) == kCookie) {
            return one.substr(kCookie.size());
        }
        header.remove_prefix(std::min(length + 1, header.size()));
        header.remove_prefix(std::min(header.find_first_not_of(' '), header.size()));
    }
    return {};
}

}  // namespace

GatewayGuard::GatewayGuard(const GatewayAccess &access, Store &store) {
    if (!access.usersFile.empty()) {
        users_.emplace(access.usersFile);
        key_ = store.Secret("cookie.key", NewKey());  // made once: cookies outlive the server
    }
    if (!access.serialsFile.empty()) {
        serials_ = ReadSerials(access.serialsFile);
    }
}

void GatewayGuard::CheckSerial(const std::string &sn) const {
    if (serials_ && serials_->count(sn) == 0) {
        throw Refusal{403, "this serial number is not admitted"};
    }
}

/// The user's name and what only this server can make of it and of the password's hash, both in
/// hexadecimal digits: another password ends it.
std::string GatewayGuard::CookieOf(const std::string &user) const {
    const std::string content = user + '\0' + users_->HashOf(user);
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int length = 0;
    if (HMAC(EVP_sha256(), key_.data(), static_cast<int>(key_.size()),
             reinterpret_cast<const unsigned char *>(content.data()), content.size(), digest.data(),
             &length) == nullptr) {
        throw std::runtime_error("no HMAC in this OpenSSL");
    }
    return HexOf(user) + "." + Hex(digest.data(), length);
}

bool GatewayGuard::HasGoodCookie(const Request &request) const {
    const std::string header = request.Header("Cookie");
    const std::string_view cookie = FindCookie(header);
    const auto user = FromHex(cookie.substr(0, cookie.find('.')));
    return user && !users_->HashOf(*user).empty() && EqualSecrets(cookie, CookieOf(*user));
}

void GatewayGuard::CheckSender(const Request &request, Response &response) {
    if (!users_) {
        return;
    }
    const auto given = ReadBasic(request.Header("Authorization"));
    if (given && users_->Accept(*given)) {
        response.SetHeader("Set-Cookie", std::string(kCookie) + CookieOf(given->name) +
                                             "; Path=/; Secure; HttpOnly");
        return;
    }
    if (!given && HasGoodCookie(request)) {
        return;
    }
    response.SetHeader("WWW-Authenticate", "Basic realm=\"corvenna-cloud\"");
    throw Refusal{401, given ? "name or password is wrong"
                             : "a name and a password are wanted, or the cookie that they earned"};
}

}  // namespace corvenna::cloud
