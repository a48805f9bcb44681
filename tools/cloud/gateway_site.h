#pragma once

#include <string>

#include "tools/cloud/faults.h"
#include "tools/cloud/http_server.h"
#include "tools/cloud/messages.h"
#include "tools/cloud/options.h"
#include "tools/cloud/store.h"
#include "tools/cloud/trace.h"

namespace corvenna::cloud {

/// The REST exchanges that gateways know. Owns nothing; all arguments live longer.
class GatewaySite : public Site {
public:
    GatewaySite(const Options &options, Store &store, FaultMenu &faults, Trace &trace)
        : options_(options), store_(store), faults_(faults), trace_(trace) {}

    void Answer(Exchange &exchange) override;
    std::size_t BodyLimit(const httplib::Request &request) const override;
    std::optional<Fault> HandshakeFault() override;
    std::optional<Fault> RequestFault(const httplib::Request &request) override;
    void Done(Exchange &exchange) override;

private:
    struct Call;
    struct Route;
    static const Route kRoutes[];

    /// The path behind the prefix, cut at its slashes; empty for a path outside the prefix.
    std::vector<std::string> SegmentsOf(const std::string &path) const;
    void Run(Exchange &exchange, const std::vector<std::string> &segments);
    Element ReadBody(Call &call) const;

    void PostGateway(Call &call);
    void PostDevices(Call &call);
    void PostRealData(Call &call);
    void PostAlarmData(Call &call);
    void GetRecalls(Call &call);
    void DeleteRecall(Call &call);
    void GetFileList(Call &call);
    void PutFileStatus(Call &call);
    void GetFile(Call &call);

    const Options &options_;
    Store &store_;
    FaultMenu &faults_;
    Trace &trace_;
};

}  // namespace corvenna::cloud
