#pragma once

#include "tools/conform/host_record.h"
#include "tools/conform/judgements.h"

namespace corvenna::conform {

/// Holds what a host did against HostClauses().
/// @param filesAreHere whether the host's files can be looked at.
void JudgeHost(const HostRecord &record, bool filesAreHere, Judgements &found);

}  // namespace corvenna::conform
