#include "plugin/registration.h"

#include "http/outcome.h"
#include "log/log.h"
#include "message/pack_memory.h"
#include "plugin/callbacks.h"
#include "plugin/cloud.h"
#include "plugin/endpoints.h"
#include "plugin/entry_point.h"
#include "plugin/plugin.h"

using namespace corvenna;

namespace {

/// A POST reports 0 for a refused transfer too; registration goes by what the server said.
int Post(const Cloud &cloud, ST_FRAME_MEMORY_UPLOAD &request) {
    Outcome outcome;
    const int result = Send(cloud, request, &outcome);
    const bool accepted = outcome.transfer == 0 && (outcome.status == 200 || outcome.status == 201);
    return result == 0 && !accepted ? -1 : result;
}

using BodyBuilder = int (CPackMemory::*)(const char *format, char *out, int capacity);
using UrlPrinter = void (*)(const Cloud &cloud, Url &url);

/// Gateway and devices are announced alike.
int Announce(BodyBuilder build, UrlPrinter printUrl) {
    const Cloud cloud = ReadCloud();
    ST_FRAME_MEMORY_UPLOAD request = MemoryRequest(cloud, "POST", IgnoreResponse);
    if (!SetBodyLength(request, (GetCPackMemoryInstance()->*build)(cloud.settings.filetype,
                                                                   request.body, kBodyCapacity))) {
        return -1;
    }
    printUrl(cloud, request.url);
    // On purpose: the gateway's two messages speak of devices too.
    log_Text(kLogInfo, "start post Devices info to %s", request.url);
    const int result = Post(cloud, request);
    log_Text(kLogInfo, "post Devices info to %s finish", request.url);
    return result;
}

}  // namespace

int HTTP_POSTGateWayInfo() {
    return Guarded("HTTP_POSTGateWayInfo",
                   [] { return Announce(&CPackMemory::CreateGateWayInfoMemory, PrintGatewayUrl); });
}

int HTTP_POSTDevices() {
    return Guarded("HTTP_POSTDevices",
                   [] { return Announce(&CPackMemory::CreateDevicesMemory, PrintDevicesUrl); });
}

int PrePost(void) {
    if (HTTP_POSTGateWayInfo() != 0) {
        log_Text(kLogError, "Post GateWay failed\n");
        return -1;
    }
    if (HTTP_POSTDevices() != 0) {
        log_Text(kLogError, "post Devices failed\n");
        return -1;
    }
    return 0;
}

int SyncHeartBeat(void) {
    return 0;  // On purpose: part of the host's interface, without work so far.
}
