#pragma once

#include "tools/gateway/history.h"
#include "tools/gateway/plugin.h"
#include "tools/gateway/report.h"
#include "tools/gateway/spool.h"

namespace corvenna::gateway {

/// What every part of a gateway works with; all is the gateway's and outlives its parts.
struct Services {
    Plugin &plugin;
    const Plugin::Settings &settings;
    History &history;
    Spool &spool;
    Report &report;
};

/// What is meant by a kind when it is spoken of; also the name of its work folder.
inline const char *NameOf(Kind kind) {
    return kind == Kind::kRealData ? "sample" : "alarms";
}

}  // namespace corvenna::gateway
