#include "message/pack_memory.h"

#include "config/channel_set.h"
#include "config/instances.h"
#include "config/sn_set.h"
#include "config/sys_set.h"
#include "message/devices_body.h"
#include "message/gateway_body.h"
#include "message/recall_body.h"
#include "message/status_body.h"

namespace {

using namespace corvenna;

BodyTarget Target(char *out, int capacity) {
    return {out, capacity, GetCSysSetInstance()->GetCloudConfigAttr()->isCompress != 0};
}

}  // namespace

int CPackMemory::CreateGateWayInfoMemory(const char *format, char *out, int capacity) {
    const GatewayBody body(GetCsnSetInstance()->GetSn(), *GetCSysSetInstance()->GetGateWayAttr());
    return MakeBody(format, Target(out, capacity), body);
}

int CPackMemory::CreateDevicesMemory(const char *format, char *out, int capacity) {
    MAP_CHANNEL_POINT *points = nullptr;
    MAP_DEV_ATTR *devices = nullptr;
    GetCChannelSetInstance()->GetAttr(&points);
    GetCChannelSetInstance()->GetAttr(&devices);
    const DevicesBody body(*points, *devices);
    return MakeBody(format, Target(out, capacity), body);
}

int CPackMemory::CreatePutDownStatusMemory(const char *format, char *out, int capacity,
                                           const char *md5, int status) {
    const StatusBody body(md5, status);
    return MakeBody(format, Target(out, capacity), body);
}

int CPackMemory::CreateDelReCallMemory(const char *format, char *out, int capacity,
                                       const recall_time_para *range) {
    // Ours: there is nothing to acknowledge without a range.
    if (range == nullptr) {
        return -1;
    }
    const RecallBody body(*range);
    return MakeBody(format, Target(out, capacity), body);
}
