#pragma once

#include <string>
#include <vector>

#include "tools/cloud/faults.h"
#include "tools/cloud/http_server.h"
#include "tools/cloud/options.h"
#include "tools/cloud/store.h"
#include "tools/cloud/trace.h"

namespace corvenna::cloud {

/// Where the server can be reached.
struct Addresses {
    std::string http, https, admin;  ///< "http://127.0.0.1:8080"; empty when not served
};

/// Web page and JSON API of the administrator. Owns nothing; all arguments live longer.
class AdminSite : public Site {
public:
    AdminSite(const Options &options, const Addresses &addresses, Store &store, FaultMenu &faults,
              const Trace &trace);

    void Answer(Exchange &exchange) override;
    std::size_t BodyLimit(const httplib::Request &request) const override;

    /// "GET /api/gateways", a line each.
    static std::string Routes();

private:
    struct Call;
    struct Route;
    static const Route kRoutes[];

    static bool Matches(const Route &route, const Call &call, std::vector<std::string> &arguments);
    void Run(Call &call);

    void GetStatus(Call &call);
    void GetOpenApi(Call &call);
    void GetGateways(Call &call);
    void GetGateway(Call &call);
    void DeleteGateway(Call &call);
    void GetDevices(Call &call);
    void GetPoints(Call &call);
    void GetHistory(Call &call);
    void GetAlarms(Call &call);
    void GetRecalls(Call &call);
    void PostRecall(Call &call);
    void DeleteRecall(Call &call);
    void GetFiles(Call &call);
    void PostFile(Call &call);
    void DeleteFile(Call &call);
    void GetTrace(Call &call);
    void GetFaultKinds(Call &call);
    void GetFaults(Call &call);
    void PostFault(Call &call);
    void DeleteFaults(Call &call);
    void DeleteFault(Call &call);

    const Options &options_;
    const Addresses &addresses_;
    Store &store_;
    FaultMenu &faults_;
    const Trace &trace_;
    std::string started_;
};

}  // namespace corvenna::cloud
