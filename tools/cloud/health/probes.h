#pragma once

#include "tools/cloud/http/site.h"
#include "tools/cloud/metrics/metrics.h"
#include "tools/cloud/store/store.h"

namespace corvenna::cloud {

// What balancers and supervisors ask every port: /healthz whether the process is alive, /readyz
// whether its store does its work. Neither tells anything that a secret would have to protect, and
// neither is a gateway's exchange: no prefix stands before them, no fault happens to them, no
// password is asked for.

bool IsProbe(const Request &request);

/// Answers a probe, at once or when the store has had its turn.
void AnswerProbe(Store &store, Exchange &exchange, const Reply &reply);

/// An exchange that is over, as it is counted.
RequestFigures FiguresOf(const Exchange &exchange);

/// Has the client told what a failure of the store means for it. @return what the failure is.
Trouble AnswerTrouble(const std::exception &error, Response &response);

}  // namespace corvenna::cloud
