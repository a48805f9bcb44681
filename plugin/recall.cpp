#include <mutex>

#include "log/log.h"
#include "message/pack_memory.h"
#include "plugin/callbacks.h"
#include "plugin/cloud.h"
#include "plugin/endpoints.h"
#include "plugin/plugin.h"

using namespace corvenna;

std::vector<recall_time_para> *gPRecalltime = nullptr;

namespace {

// Ours: gPRecalltime is one pointer for the process. A second caller waits for the first, or both
// would grow one list at once, and that of a caller who may already be gone.
std::mutex gRecallMutex;

}  // namespace

int CheckRecall(std::vector<recall_time_para> *out) {
    const Cloud cloud = ReadCloud();
    if (out == nullptr) {
        log_Text(kLogError, "CheckRecall: list is null");
        return -1;
    }
    const std::lock_guard<std::mutex> lock(gRecallMutex);
    ST_FRAME_MEMORY_UPLOAD request = MemoryRequest(cloud, "GET", ParseRecalls);
    gPRecalltime = out;
    PrintRecallUrl(cloud, request.url);
    // On purpose: the two start messages differ by a blank.
    if (cloud.secure) {
        log_Text(kLogInfo, "start Check Recall Time from %s", request.url);
    } else {
        log_Text(kLogInfo, "start CheckRecall Time from %s", request.url);
    }
    const int result = Send(cloud, request);
    log_Text(kLogInfo, "Check Recall Time from %s finish", request.url);
    return result;
}

int DeleteRecall(recall_time_para *range) {
    const Cloud cloud = ReadCloud();
    if (range == nullptr) {
        log_Text(kLogError, "DeleteRecall: range is null");
        return -1;
    }
    ST_FRAME_MEMORY_UPLOAD request = MemoryRequest(cloud, "DELETE", IgnoreResponse);
    if (!SetBodyLength(request, GetCPackMemoryInstance()->CreateDelReCallMemory(
                                    cloud.settings.filetype, request.body, kBodyCapacity, range))) {
        return -1;
    }
    PrintRecallUrl(cloud, request.url);
    log_Text(kLogInfo, "start Delete Recall Time from %s", request.url);
    const int result = Send(cloud, request);
    log_Text(kLogInfo, "Delete Recall Time from %s finish", request.url);
    return result;
}
