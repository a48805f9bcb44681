#include "http/https.h"

#include <curl/curl.h>

#include "http/transfer.h"

using namespace corvenna;

CHttps::CHttps() : result_{} {
    static_assert(sizeof result_ == kResultAreaSize);
    pthread_mutex_init(&lock_, nullptr);
    StartLibcurl();
}

CHttps::~CHttps() {
    curl_global_cleanup();
    pthread_mutex_destroy(&lock_);
}

int CHttps::UploadMemoryData(ST_FRAME_MEMORY_UPLOAD *frame) {
    return RunNamed(kHttps, CurrentSettings(), frame);
}

int CHttps::ExchangeMemoryData(ST_FRAME_MEMORY_UPLOAD *frame, Outcome &outcome) {
    return RunNamed(kHttps, CurrentSettings(), frame, &outcome);
}

int CHttps::GET_MemoryData(ST_FRAME_MEMORY_UPLOAD *frame) {
    return Run(kHttps.get, CurrentSettings(), frame);
}

int CHttps::POST_MemoryData(ST_FRAME_MEMORY_UPLOAD *frame) {
    return Run(kHttps.post, CurrentSettings(), frame);
}

int CHttps::PUT_MemoryData(ST_FRAME_MEMORY_UPLOAD *frame) {
    return Run(kHttps.put, CurrentSettings(), frame);
}

int CHttps::DELTET_MemoryData(ST_FRAME_MEMORY_UPLOAD *frame) {
    return Run(kHttps.remove, CurrentSettings(), frame);
}

int CHttps::UploadRealDataFile(ST_FRAME_FILE_UPLOAD *frame, int *httpCode) {
    return Run(kHttps.realData, CurrentSettings(), frame, result_, httpCode);
}

int CHttps::UploadAlarmDataFile(ST_FRAME_FILE_UPLOAD *frame) {
    return Run(kHttps.alarmData, CurrentSettings(), frame, result_);
}

int CHttps::GetDownFile(ST_FRAME_FILE_UPLOAD *frame, down_file_para * /*file*/) {
    return Run(kHttps.download, CurrentSettings(), frame);
}
