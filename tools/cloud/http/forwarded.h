#pragma once

#include "tools/cloud/http/request.h"
#include "tools/cloud/http/trace.h"

namespace corvenna::cloud {

/// Reads what a trusted proxy says about the client that it speaks for: X-Forwarded-For,
/// X-Forwarded-Proto and X-Forwarded-Host take the place of address, scheme and Host.
void ReadForwarded(Request &request, TraceEntry &trace);

}  // namespace corvenna::cloud
