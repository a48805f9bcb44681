#include "plugin/cloud.h"

#include "base/text.h"
#include "config/sn_set.h"
#include "log/log.h"

namespace corvenna {

Cloud ReadCloud() {
    CSysSet *settings = GetCSysSetInstance();
    return {*settings->GetCloudConfigAttr(), GetCsnSetInstance()->GetSn(),
            settings->GetHttpsCertInfo()->checked != 0};
}

ST_FRAME_MEMORY_UPLOAD MemoryRequest(const Cloud &cloud, const char *method,
                                     TransferCallback onResponse) {
    ST_FRAME_MEMORY_UPLOAD request{};
    CopyText<15>(request.format, cloud.settings.filetype);
    CopyText<15>(request.method, method);
    request.writeCallback = onResponse;
    return request;
}

ST_FRAME_FILE_UPLOAD FileRequest(const Cloud &cloud, const char *method, const char *path) {
    ST_FRAME_FILE_UPLOAD request{};
    CopyText<15>(request.format, cloud.settings.filetype);
    CopyText<15>(request.method, method);
    CopyText<127>(request.filePath, path);
    return request;
}

bool SetBodyLength(ST_FRAME_MEMORY_UPLOAD &request, int length) {
    if (length < 0) {
        // Ours: as a 16-bit length, -1 would send 65,535 bytes of memory.
        log_Text(kLogError, "no body for a request of format '%s'", request.format);
        return false;
    }
    request.bodyLength = static_cast<std::uint16_t>(length);
    return true;
}

int Send(const Cloud &cloud, ST_FRAME_MEMORY_UPLOAD &request, Outcome *outcome) {
    return WithClient(cloud, [&](auto &client) {
        return outcome != nullptr ? client.ExchangeMemoryData(&request, *outcome)
                                  : client.UploadMemoryData(&request);
    });
}

}  // namespace corvenna
