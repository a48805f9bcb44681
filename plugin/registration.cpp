#include "plugin/registration.h"

#include "http/outcome.h"
#include "log/log.h"
#include "message/pack_memory.h"
#include "plugin/callbacks.h"
#include "plugin/cloud.h"
#include "plugin/endpoints.h"
#include "plugin/plugin.h"

using namespace corvenna;  // NOLINT(google-build-using-namespace): the stated names are global

namespace {

/// A POST reports 0 for a refused transfer too; registration goes by what the server said.
int Announce(const Cloud &cloud, ST_FRAME_MEMORY_UPLOAD &request) {
    Outcome outcome;
    const int result = Send(cloud, request, &outcome);
    const bool accepted = outcome.transfer == 0 && (outcome.status == 200 || outcome.status == 201);
    return result == 0 && !accepted ? -1 : result;
}

}  // namespace

int HTTP_POSTGateWayInfo() {
    const Cloud cloud = ReadCloud();
    ST_FRAME_MEMORY_UPLOAD request = MemoryRequest(cloud, "POST", IgnoreResponse);
    if (!SetBodyLength(request, GetCPackMemoryInstance()->CreateGateWayInfoMemory(
                                    cloud.settings.filetype, request.body, kBodyCapacity))) {
        return -1;
    }
    PrintGatewayUrl(cloud, request.url);
    // On purpose: the gateway's two messages speak of devices.
    log_Text(kLogInfo, "start post Devices info to %s", request.url);
    const int result = Announce(cloud, request);
    log_Text(kLogInfo, "post Devices info to %s finish", request.url);
    return result;
}

int HTTP_POSTDevices() {
    const Cloud cloud = ReadCloud();
    ST_FRAME_MEMORY_UPLOAD request = MemoryRequest(cloud, "POST", IgnoreResponse);
    if (!SetBodyLength(request, GetCPackMemoryInstance()->CreateDevicesMemory(
                                    cloud.settings.filetype, request.body, kBodyCapacity))) {
        return -1;
    }
    PrintDevicesUrl(cloud, request.url);
    log_Text(kLogInfo, "start post Devices info to %s", request.url);
    const int result = Announce(cloud, request);
    log_Text(kLogInfo, "post Devices info to %s finish", request.url);
    return result;
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
