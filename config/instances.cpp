#include "config/instances.h"

#include "base/single_instance.h"
#include "config/channel_set.h"
#include "config/forward_config.h"
#include "config/sn_set.h"
#include "config/sys_set.h"

using namespace corvenna;

CORVENNA_WEAK CSysSet *GetCSysSetInstance() {
    return LastingInstance<CSysSet>();
}
CORVENNA_WEAK CsnSet *GetCsnSetInstance() {
    return LastingInstance<CsnSet>();
}
CORVENNA_WEAK CChannelSet *GetCChannelSetInstance() {
    return LastingInstance<CChannelSet>();
}
CORVENNA_WEAK CForwardConfig *GetCForwardConfigInstance() {
    return LastingInstance<CForwardConfig>();
}
