#pragma once

#include <memory>
#include <optional>
#include <set>
#include <string>

#include "tools/cloud/access/credentials.h"
#include "tools/cloud/access/failure_limit.h"
#include "tools/cloud/ground/refusal.h"
#include "tools/cloud/http/site.h"

namespace corvenna::cloud {

/// Who may use page and API, as the command line says it.
struct AdminAccess {
    std::set<std::string> trustedHosts;  ///< names in lower case
    std::string tokenFile, usersFile;    ///< with neither, everybody who reaches them
};

/// Decides who may use page and API. Any thread may call.
class AdminGuard {
public:
    /// Throws std::runtime_error when a file cannot be used.
    explicit AdminGuard(const AdminAccess &access);

    /// Whether a token or a password is asked for.
    bool AsksForSecret() const { return !token_.empty() || users_ != nullptr; }
    // Both throw a Refusal, with what belongs to it in the response's headers.

    /// Looks at what the head tells without computing.
    void CheckHead(Exchange &exchange);
    /// Takes tens of milliseconds for a password that was not seen before.
    void Check(Exchange &exchange);

private:
    bool IsHostTrusted(const std::string &host) const;
    bool IsOriginTrusted(const Request &request, const std::string &scheme) const;
    bool KnowsSecret(const std::string &authorization);
    void CheckSecret(Exchange &exchange);
    [[noreturn]] static void AskForSecret(Exchange &exchange);

    std::set<std::string> trustedHosts_;
    std::string token_;
    std::unique_ptr<Credentials> users_;
    FailureLimit failures_;
};

/// The token that a file holds: its first line. Throws std::runtime_error when that is too short to
/// be a secret.
std::string ReadToken(const std::string &file);

}  // namespace corvenna::cloud
