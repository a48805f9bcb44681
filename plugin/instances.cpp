#include "plugin/instances.h"

#include "base/single_instance.h"
#include "http/http.h"
#include "http/https.h"
#include "message/pack_memory.h"
#include "message/parse_memory.h"

CORVENNA_WEAK CPackMemory *GetCPackMemoryInstance() {
    return corvenna::SingleInstance<CPackMemory>();
}
CORVENNA_WEAK CParseMemory *GetCParseMemoryInstance() {
    return corvenna::LastingInstance<CParseMemory>();
}
CORVENNA_WEAK CHttp *GetCHttpInstance() {
    return corvenna::SingleInstance<CHttp>();
}
CORVENNA_WEAK CHttps *GetCHttpsInstance() {
    return corvenna::SingleInstance<CHttps>();
}
