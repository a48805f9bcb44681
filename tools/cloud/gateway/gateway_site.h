#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tools/cloud/document/large_documents.h"
#include "tools/cloud/document/messages.h"
#include "tools/cloud/faults/fault_menu.h"
#include "tools/cloud/gateway/gateway_guard.h"
#include "tools/cloud/http/site.h"
#include "tools/cloud/http/trace.h"
#include "tools/cloud/metrics/metrics.h"
#include "tools/cloud/store/store.h"

namespace corvenna::cloud {

struct GatewaySettings {
    std::string prefix;  ///< of every path
    std::size_t maxBody = 4U << 20U;
    std::size_t maxInflated = 16U << 20U;
    GatewayAccess access;
};

/// The REST exchanges that gateways know. Owns nothing; all arguments live longer.
class GatewaySite : public Site {
public:
    /// Throws std::runtime_error when a file of users or serial numbers cannot be used.
    GatewaySite(const GatewaySettings &settings, Store &store, FaultMenu &faults, Trace &trace,
                Metrics &metrics)
        : settings_(settings),
          store_(store),
          faults_(faults),
          trace_(trace),
          metrics_(metrics),
          guard_(settings.access, store) {}

    void Handle(Exchange &exchange, Reply reply) override;
    std::size_t BodyLimit(const Request &request) const override;
    bool HandshakeFaultMayWait() const override { return faults_.TakeMayWait(); }
    std::optional<Fault> HandshakeFault() override;
    std::optional<Fault> RequestFault(const Request &request) override;
    void Done(Exchange &exchange) override;

private:
    struct Call;
    struct Route;
    struct Work;
    static const Route kRoutes[];

    /// The path behind the prefix, cut at its slashes; empty for a path outside the prefix.
    std::vector<std::string> SegmentsOf(const std::string &path) const;
    [[noreturn]] static void RefuseMethod(const std::string &method,
                                          const std::vector<std::string> &segments,
                                          Response &response);
    /// What is to be done for a request; its reasons against it are thrown.
    Work Prepare(Call &call);
    void Begin(const std::shared_ptr<Call> &call);
    std::string SerialOf(const Request &request, const ExchangeRow *row,
                         const std::vector<std::string> &segments);
    /// The body without its coding.
    std::string BodyText(const Request &request, LargeDocuments::Pass &pass);
    std::string ReadBody(Call &call);

    Work PostGateway(Call &call);
    Work PostDevices(Call &call);
    Work PostRealData(Call &call);
    Work PostAlarmData(Call &call);
    Work GetRecalls(Call &call);
    Work DeleteRecall(Call &call);
    Work GetFileList(Call &call);
    Work PutFileStatus(Call &call);
    Work GetFile(Call &call);

    const GatewaySettings &settings_;
    Store &store_;
    FaultMenu &faults_;
    Trace &trace_;
    Metrics &metrics_;
    GatewayGuard guard_;
    LargeDocuments largeDocuments_;
};

}  // namespace corvenna::cloud
