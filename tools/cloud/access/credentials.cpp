#include "tools/cloud/access/credentials.h"

#include <crypt.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <memory>
#include <stdexcept>

#include "tools/cloud/http/request.h"

namespace corvenna::cloud {
namespace {

constexpr std::size_t kKeyBytes = 32;
constexpr std::size_t kMostKnown = 4096;
constexpr std::size_t kLongestSecret = 512;  // crypt(3) takes no more

/// What follows a scheme's name; nullopt for another scheme.
std::optional<std::string_view> BehindScheme(std::string_view authorization,
                                             std::string_view scheme) {
    if (!EqualsIgnoringCase(authorization.substr(0, scheme.size()), scheme)) {
        return std::nullopt;
    }
    std::string_view rest = authorization.substr(scheme.size());
    const std::size_t start = rest.find_first_not_of(' ');
    if (start == 0 || start == std::string_view::npos) {
        return std::nullopt;
    }
    rest.remove_prefix(start);
    return rest.substr(0, rest.find_last_not_of(' ') + 1);
}

std::optional<std::string> FromBase64(std::string_view text) {
    if (text.empty() || text.size() % 4 != 0 || text.size() > 4 * kLongestSecret) {
        return std::nullopt;
    }
    std::string bytes(text.size() / 4 * 3, '\0');
    const int length = EVP_DecodeBlock(reinterpret_cast<unsigned char *>(bytes.data()),
                                       reinterpret_cast<const unsigned char *>(text.data()),
                                       static_cast<int>(text.size()));
    if (length < 0) {
        return std::nullopt;
    }
    const std::size_t padding = text.size() - 1 - text.find_last_not_of('=');
    if (padding > 2) {
        return std::nullopt;
    }
    bytes.resize(static_cast<std::size_t>(length) - padding);
    return bytes;
}

std::string KeyedDigest(const std::string &key, const NameAndPassword &given) {
    const std::string text = given.name + '\0' + given.password;
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()),
             reinterpret_cast<const unsigned char *>(text.data()), text.size(), digest,
             &length) == nullptr) {
        throw std::runtime_error("no SHA-256 in this OpenSSL");
    }
    return {reinterpret_cast<const char *>(digest), length};
}

/// Cut hashes are told at the start: nobody could ever come in with one.
bool IsUsable(const std::string &hash) {
    constexpr std::size_t kBcryptLength = 60;
    const bool bcrypt = hash.compare(0, 2, "$2") == 0;
    return crypt_checksalt(hash.c_str()) == CRYPT_SALT_OK &&
           (!bcrypt || hash.size() == kBcryptLength);
}

bool IsHashOf(const std::string &password, const std::string &hash) {
    const auto data = std::make_unique<crypt_data>();
    const char *made = crypt_rn(password.c_str(), hash.c_str(), data.get(), sizeof *data);
    return made != nullptr && EqualSecrets(made, hash);
}

}  // namespace

std::optional<NameAndPassword> ReadBasic(std::string_view authorization) {
    const auto coded = BehindScheme(authorization, "Basic");
    const auto text = coded ? FromBase64(*coded) : std::nullopt;
    const std::size_t colon = text ? text->find(':') : std::string::npos;
    if (colon == std::string::npos) {
        return std::nullopt;
    }
    return NameAndPassword{text->substr(0, colon), text->substr(colon + 1)};
}

std::optional<std::string> ReadBearer(std::string_view authorization) {
    const auto token = BehindScheme(authorization, "Bearer");
    return token ? std::optional<std::string>(*token) : std::nullopt;
}

bool EqualSecrets(std::string_view left, std::string_view right) {
    return left.size() == right.size() &&
           CRYPTO_memcmp(left.data(), right.data(), left.size()) == 0;
}

Credentials::Credentials(const std::string &file) : key_(kKeyBytes, '\0') {
    std::ifstream input(file);
    if (!input) {
        throw std::runtime_error("cannot read " + file + ": " + std::strerror(errno));
    }
    std::string line;
    for (int number = 1; std::getline(input, line); ++number) {
        AddLine(line, file + ":" + std::to_string(number));
    }
    if (input.bad() || hashes_.empty()) {
        throw std::runtime_error(file + " names no user");
    }
    if (RAND_bytes(reinterpret_cast<unsigned char *>(key_.data()), kKeyBytes) != 1) {
        throw std::runtime_error("OpenSSL has no random numbers");
    }
}

void Credentials::AddLine(const std::string &line, const std::string &place) {
    const std::string text = line.substr(0, line.find_last_not_of(" \t\r") + 1);
    if (text.empty() || text.front() == '#') {
        return;
    }
    const std::size_t colon = text.find(':');
    if (colon == 0 || colon == std::string::npos) {
        throw std::runtime_error(place + ": a line is name:hash");
    }
    const std::string hash = text.substr(colon + 1);
    if (!IsUsable(hash)) {
        throw std::runtime_error(place + ": no usable hash; htpasswd -B makes one");
    }
    if (!hashes_.emplace(text.substr(0, colon), hash).second) {
        throw std::runtime_error(place + ": this user was named before");
    }
}

bool Credentials::Check(const NameAndPassword &given) const {
    if (given.password.size() >= kLongestSecret || given.password.find('\0') != std::string::npos) {
        return false;
    }
    const auto found = hashes_.find(given.name);
    // A name that nobody has takes as long as one that somebody has.
    const std::string &hash = found == hashes_.end() ? hashes_.begin()->second : found->second;
    return IsHashOf(given.password, hash) && found != hashes_.end();
}

bool Credentials::Accept(const NameAndPassword &given) {
    const std::string digest = KeyedDigest(key_, given);
    {
        const std::lock_guard lock(mutex_);
        const auto known = known_.find(digest);
        if (known != known_.end()) {
            return known->second;
        }
    }
    const bool good = Check(given);
    const std::lock_guard lock(mutex_);
    if (known_.size() >= kMostKnown) {
        known_.clear();
    }
    known_[digest] = good;
    return good;
}

std::string Credentials::HashOf(const std::string &name) const {
    const auto found = hashes_.find(name);
    return found == hashes_.end() ? "" : found->second;
}

}  // namespace corvenna::cloud
