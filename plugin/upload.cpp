#include <cstdlib>
#include <cstring>

#include "base/forks.h"
#include "base/process_end.h"
#include "base/thread.h"
#include "log/log.h"
#include "plugin/callbacks.h"
#include "plugin/cloud.h"
#include "plugin/download.h"
#include "plugin/endpoints.h"
#include "plugin/entry_point.h"
#include "plugin/plugin.h"

namespace corvenna {
namespace {

constexpr int kFilesAreWaiting = 426;

ST_FRAME_FILE_UPLOAD UploadRequest(const Cloud &cloud, const char *path) {
    ST_FRAME_FILE_UPLOAD request = FileRequest(cloud, "POST", path);
    request.writeCallback = LogResponse;
    request.readCallback = ReadFromFile;
    return request;
}

/// Never waits: an upload goes on while a download thread runs.
void StartDownloadUnlessRunning() {
    RenewInForkedChildren<down_file_mutex>();
    if (pthread_mutex_trylock(&down_file_mutex) != 0) {
        return;
    }
    log_Text(kLogInfo, "Start thread to get downfile \n");
    GuardProcessEnd();
    if (!StartDetachedThread(DownFile, nullptr)) {
        pthread_mutex_unlock(&down_file_mutex);
        std::exit(0);  // On purpose: a gateway without a thread to spare is better started anew.
    }
}

int UploadRealData(const char *path) {
    const Cloud cloud = ReadCloud();
    if (path == nullptr) {
        log_Text(kLogError, "UploadRealDataFile: path is null");
        return -1;
    }
    if (strcasestr(path, cloud.settings.filetype) == nullptr) {
        return 0;  // On purpose: a file of the other type counts as handled.
    }
    ST_FRAME_FILE_UPLOAD request = UploadRequest(cloud, path);
    PrintRealDataUrl(cloud, request.url);
    log_Text(kLogInfo, "start Send realdata %s to %s \n", path, request.url);
    int httpCode = 0;
    const int result = WithClient(
        cloud, [&](auto &client) { return client.UploadRealDataFile(&request, &httpCode); });
    log_Text(kLogInfo, "Send realdata %s to %s finish\n", path, request.url);
    if (httpCode == kFilesAreWaiting) {
        StartDownloadUnlessRunning();
    }
    return result;
}

int UploadAlarmData(const char *path) {
    const Cloud cloud = ReadCloud();
    if (path == nullptr) {
        log_Text(kLogError, "UploadAlarmDataFile: path is null");
        return -1;
    }
    ST_FRAME_FILE_UPLOAD request = UploadRequest(cloud, path);
    PrintAlarmDataUrl(cloud, request.url);
    log_Text(kLogInfo, "start Send alarmdata %s to %s \n", path, request.url);
    const int result =
        WithClient(cloud, [&](auto &client) { return client.UploadAlarmDataFile(&request); });
    log_Text(kLogInfo, "Send alarmdata %s to %s finish\n", path, request.url);
    return result;
}

}  // namespace
}  // namespace corvenna

using namespace corvenna;

int UploadRealDataFile(char *path) {
    return Guarded("UploadRealDataFile", [&] { return UploadRealData(path); });
}

int UploadAlarmDataFile(const char *path) {
    return Guarded("UploadAlarmDataFile", [&] { return UploadAlarmData(path); });
}
