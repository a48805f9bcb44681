#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace corvenna::cloud {

struct NameAndPassword {
    std::string name, password;
};

/// What an Authorization header of the scheme Basic says; nullopt when it is none.
std::optional<NameAndPassword> ReadBasic(std::string_view authorization);

/// The token of an Authorization header of the scheme Bearer; nullopt when it is none.
std::optional<std::string> ReadBearer(std::string_view authorization);

/// Whether two texts are equal, in a time that does not tell where they differ.
bool EqualSecrets(std::string_view left, std::string_view right);

/// Users and their passwords' hashes (bcrypt, or another method of crypt(3) that is not outdated),
/// from a file with "name:hash" a line, as `htpasswd -B` writes it. A hash is slow on purpose, so
/// that what was found out once is remembered, by a keyed digest. Any thread may call.
class Credentials {
public:
    /// Throws std::runtime_error, with the line, when the file cannot be used.
    explicit Credentials(const std::string &file);

    /// Takes tens of milliseconds for a password that was not seen before.
    bool Accept(const NameAndPassword &given);
    /// The hash of a user's password; empty when there is no such user.
    std::string HashOf(const std::string &name) const;

private:
    void AddLine(const std::string &line, const std::string &place);
    bool Check(const NameAndPassword &given) const;

    std::map<std::string, std::string> hashes_;
    std::string key_;
    std::mutex mutex_;
    std::map<std::string, bool> known_;
};

}  // namespace corvenna::cloud
