#include <pthread.h>

#include <memory>

#include "base/forks.h"
#include "base/handle.h"
#include "log/log.h"
#include "message/pack_memory.h"
#include "plugin/callbacks.h"
#include "plugin/cloud.h"
#include "plugin/endpoints.h"
#include "plugin/entry_point.h"
#include "plugin/plugin.h"

std::vector<recall_time_para> *gPRecalltime = nullptr;

namespace corvenna {
namespace {

// Ours: gPRecalltime is one pointer for the process. A second caller waits for the first, or both
// would grow one list at once, and that of a caller who may already be gone.
pthread_mutex_t gMutex = PTHREAD_MUTEX_INITIALIZER;
using Lock = std::unique_ptr<pthread_mutex_t, FreedBy<pthread_mutex_unlock>>;

Lock LockRecalls() {
    RenewInForkedChildren<gMutex>();
    pthread_mutex_lock(&gMutex);
    return Lock(&gMutex);
}

/// Ours: ranges that found no memory are no success, or the host would take the list for whole.
int AskForRecalls(const Cloud &cloud, ST_FRAME_MEMORY_UPLOAD &request) {
    BeginRecalls();
    const int result = Send(cloud, request);
    return RecallsAreIncomplete() ? -1 : result;
}

int FetchRecalls(std::vector<recall_time_para> *out) {
    const Cloud cloud = ReadCloud();
    if (out == nullptr) {
        log_Text(kLogError, "CheckRecall: list is null");
        return -1;
    }
    const Lock alone = LockRecalls();
    ST_FRAME_MEMORY_UPLOAD request = MemoryRequest(cloud, "GET", ParseRecalls);
    gPRecalltime = out;
    PrintRecallUrl(cloud, request.url);
    // On purpose: the two start messages differ by a blank.
    if (cloud.secure) {
        log_Text(kLogInfo, "start Check Recall Time from %s", request.url);
    } else {
        log_Text(kLogInfo, "start CheckRecall Time from %s", request.url);
    }
    const int result = AskForRecalls(cloud, request);
    log_Text(kLogInfo, "Check Recall Time from %s finish", request.url);
    return result;
}

int AcknowledgeRecall(const recall_time_para *range) {
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

}  // namespace
}  // namespace corvenna

using namespace corvenna;

int CheckRecall(std::vector<recall_time_para> *out) {
    return Guarded("CheckRecall", [&] { return FetchRecalls(out); });
}

int DeleteRecall(recall_time_para *range) {
    return Guarded("DeleteRecall", [&] { return AcknowledgeRecall(range); });
}
