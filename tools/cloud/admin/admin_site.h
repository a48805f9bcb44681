#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/cloud/admin/admin_guard.h"
#include "tools/cloud/faults/fault_menu.h"
#include "tools/cloud/http/site.h"
#include "tools/cloud/http/trace.h"
#include "tools/cloud/metrics/metrics.h"
#include "tools/cloud/store/queries.h"
#include "tools/cloud/store/store.h"

namespace corvenna::cloud {

/// Where the server can be reached.
struct Addresses {
    std::string http, https, admin;  ///< "http://127.0.0.1:8080"; empty when not served
    std::string prefix;              ///< of the gateways' paths
};

struct AdminSettings {
    std::size_t maxFile = 64U << 20U;  ///< that is offered
    AdminAccess access;
    AlarmWords alarmWords = KnownAlarmWords();
};

/// Web page and JSON API of the administrator. All arguments live longer.
class AdminSite : public Site {
public:
    AdminSite(const AdminSettings &settings, const Addresses &addresses, Store &store,
              FaultMenu &faults, const Trace &trace, Metrics &metrics);

    void Handle(Exchange &exchange, Reply reply) override;
    bool TakesBody(Exchange &exchange) override;
    std::size_t BodyLimit(const Request &request) const override;
    void Done(Exchange &exchange) override;

    /// Whether not everybody who reaches it may use it.
    bool AsksForSecret() const { return guard_.AsksForSecret(); }
    /// "GET /api/gateways", a line each.
    static std::string Routes();

private:
    void Answer(Exchange &exchange);
    /// Does what fills the response, and fills it with the reason when that is refused.
    /// @return whether it was not.
    static bool Try(Response &response, const std::function<void()> &answer);

    struct Call;
    struct Route;
    static const Route kRoutes[];

    static bool Matches(const Route &route, const Call &call, std::vector<std::string> &arguments);
    void Run(Call &call);
    static AlarmFilter AlarmParameters(const Call &call);

    void GetMetrics(Call &call);
    void GetStatus(Call &call);
    void GetOpenApi(Call &call);
    void GetOverview(Call &call);
    void GetGateways(Call &call);
    void GetGateway(Call &call);
    void DeleteGateway(Call &call);
    void GetDevices(Call &call);
    void GetPoints(Call &call);
    void GetHistory(Call &call);
    void GetTrends(Call &call);
    void GetTable(Call &call);
    void GetAlarms(Call &call);
    void GetAllAlarms(Call &call);
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

    const AdminSettings &settings_;
    const Addresses &addresses_;
    Store &store_;
    Queries queries_;
    FaultMenu &faults_;
    const Trace &trace_;
    Metrics &metrics_;
    AdminGuard guard_;
    std::string started_;
};

}  // namespace corvenna::cloud
