#include "plugin/instances.h"

#include "config/channel_set.h"
#include "config/forward_config.h"
#include "config/sn_set.h"
#include "config/sys_set.h"
#include "http/http.h"
#include "http/https.h"
#include "message/pack_memory.h"
#include "message/parse_memory.h"
#include "packfile/packfile.h"

namespace {

template <class Service>
Service *Instance() {
    static Service instance;
    return &instance;
}

}  // namespace

// Weak here and not in the header: a reference to a weak name would not pull this file out of the
// static library.
#define CORVENNA_WEAK __attribute__((weak))

CORVENNA_WEAK CSysSet *GetCSysSetInstance() {
    return Instance<CSysSet>();
}
CORVENNA_WEAK CsnSet *GetCsnSetInstance() {
    return Instance<CsnSet>();
}
CORVENNA_WEAK CChannelSet *GetCChannelSetInstance() {
    return Instance<CChannelSet>();
}
CORVENNA_WEAK CForwardConfig *GetCForwardConfigInstance() {
    return Instance<CForwardConfig>();
}
CORVENNA_WEAK CPackFile *GetCPackFileInstance() {
    return Instance<CPackFile>();
}
CORVENNA_WEAK CPackMemory *GetCPackMemoryInstance() {
    return Instance<CPackMemory>();
}
CORVENNA_WEAK CParseMemory *GetCParseMemoryInstance() {
    return Instance<CParseMemory>();
}
CORVENNA_WEAK CHttp *GetCHttpInstance() {
    return Instance<CHttp>();
}
CORVENNA_WEAK CHttps *GetCHttpsInstance() {
    return Instance<CHttps>();
}
