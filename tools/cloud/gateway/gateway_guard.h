#pragma once

#include <optional>
#include <set>
#include <string>

#include "tools/cloud/access/credentials.h"
#include "tools/cloud/http/request.h"
#include "tools/cloud/http/response.h"
#include "tools/cloud/store/store.h"

namespace corvenna::cloud {

/// Who may send data. Empty names: everybody, every serial number.
struct GatewayAccess {
    std::string usersFile;    ///< name:hash a line
    std::string serialsFile;  ///< a serial number a line
};

/// Decides who may send and ask, and as which gateway. Gateways send name and password with their
/// registration alone, but cookies with everything that goes over HTTPS: whoever has registered
/// with a password is given a cookie, which is good as long as the user is in the file. Any thread
/// may call. What is not allowed is thrown as a Refusal.
class GatewayGuard {
public:
    /// @param store keeps the key that cookies are signed with.
    /// Throws std::runtime_error when a file cannot be used.
    GatewayGuard(const GatewayAccess &access, Store &store);

    void CheckSender(const Request &request, Response &response);
    /// Whether a serial number is admitted.
    void CheckSerial(const std::string &sn) const;

private:
    std::string CookieOf(const std::string &user) const;
    bool HasGoodCookie(const Request &request) const;

    std::optional<Credentials> users_;
    std::string key_;
    std::optional<std::set<std::string>> serials_;
};

}  // namespace corvenna::cloud
