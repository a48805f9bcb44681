#pragma once

#include <memory>
#include <optional>

#include "tools/cloud/admin/admin_site.h"
#include "tools/cloud/gateway/gateway_site.h"
#include "tools/cloud/metrics/metrics.h"
#include "tools/cloud/net/body_budget.h"
#include "tools/cloud/net/http_server.h"
#include "tools/cloud/options.h"
#include "tools/common/folder_lock.h"

namespace corvenna::cloud {

/// Makes a folder for what is kept, unless there is one, and keeps other servers off it. Throws
/// std::runtime_error.
FolderLock LockFolder(const std::string &folder);

/// The ports that were taken; 0 for what is not served.
struct Ports {
    int http = 0;
    int https = 0;
    int admin = 0;
};

/// The server: what it keeps, and the sites that it serves. Not to be shared between threads.
class Cloud {
public:
    /// Opens the store and takes the ports. Throws std::runtime_error.
    /// @param options lives longer.
    explicit Cloud(const Options &options);
    Cloud(const Cloud &) = delete;
    Cloud &operator=(const Cloud &) = delete;

    const Ports &TakenPorts() const { return ports_; }
    const Addresses &Where() const { return addresses_; }
    /// Whether whoever uses page and API must show a token or a password.
    bool AsksForSecret() const { return adminSite_.AsksForSecret(); }

    void Start() { server_.Start(); }
    /// Answers what is on its way, and keeps what was answered.
    void Stop();

private:
    void ListenForGateways();
    void ListenForAdministrators();

    const Options &options_;
    const std::optional<FolderLock> storeLock_;
    Metrics metrics_;
    Store store_;
    const std::unique_ptr<FaultMenu> faults_;
    Trace trace_;
    Addresses addresses_;
    Ports ports_;
    const std::unique_ptr<TlsContexts> tls_;
    GatewaySite gatewaySite_;
    AdminSite adminSite_;
    Workers gatewayWorkers_;
    Workers adminWorkers_;
    BodyBudget gatewayBodies_;
    BodyBudget adminBodies_;
    HttpServer server_;
};

}  // namespace corvenna::cloud
