#include "http/http.h"

#include <curl/curl.h>

#include <algorithm>
#include <cstdio>

#include "base/handle.h"
#include "http/transfer.h"
#include "log/log.h"

using namespace corvenna;

CHttp::CHttp() : result_{} {
    static_assert(sizeof result_ == kResultAreaSize);
    pthread_mutex_init(&lock_, nullptr);
    StartLibcurl();
}

CHttp::~CHttp() {
    curl_global_cleanup();
    pthread_mutex_destroy(&lock_);
}

int CHttp::UploadMemoryData(ST_FRAME_MEMORY_UPLOAD *frame) {
    return RunNamed(kHttp, CurrentSettings(), frame);
}

int CHttp::ExchangeMemoryData(ST_FRAME_MEMORY_UPLOAD *frame, Outcome &outcome) {
    return RunNamed(kHttp, CurrentSettings(), frame, &outcome);
}

int CHttp::GET_MemoryData(ST_FRAME_MEMORY_UPLOAD *frame) {
    return Run(kHttp.get, CurrentSettings(), frame);
}

int CHttp::POST_MemoryData(ST_FRAME_MEMORY_UPLOAD *frame) {
    return Run(kHttp.post, CurrentSettings(), frame);
}

int CHttp::PUT_MemoryData(ST_FRAME_MEMORY_UPLOAD *frame) {
    return Run(kHttp.put, CurrentSettings(), frame);
}

int CHttp::DELTET_MemoryData(ST_FRAME_MEMORY_UPLOAD *frame) {
    return Run(kHttp.remove, CurrentSettings(), frame);
}

int CHttp::UploadRealDataFile(ST_FRAME_FILE_UPLOAD *frame, int *httpCode) {
    return Run(kHttp.realData, CurrentSettings(), frame, result_, httpCode);
}

int CHttp::UploadAlarmDataFile(ST_FRAME_FILE_UPLOAD *frame) {
    return Run(kHttp.alarmData, CurrentSettings(), frame, result_);
}

int CHttp::GetDownFile(ST_FRAME_FILE_UPLOAD *frame, down_file_para * /*file*/) {
    return Run(kHttp.download, CurrentSettings(), frame);
}

int CHttp::ReadJsonDataFile(const char *path, char *buffer, int capacity) {
    if (path == nullptr || buffer == nullptr) {
        return kFail;
    }
    const File file(std::fopen(path, "r+"));
    if (file == nullptr) {
        log_Text(kLogWarn, "Can not open file %s", path);
        return kFail;
    }
    const long size = std::fseek(file.get(), 0, SEEK_END) == 0 ? std::ftell(file.get()) : 0;
    std::rewind(file.get());
    // Ours: neither a size that cannot be told nor a negative capacity becomes a huge count.
    const long wanted = std::max(0L, std::min(size, static_cast<long>(capacity)));
    return static_cast<int>(std::fread(buffer, 1, static_cast<std::size_t>(wanted), file.get()));
}
