#include "http/transfer.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "base/handle.h"
#include "base/text.h"
#include "log/log.h"
#include "plugin/instances.h"

namespace corvenna {
namespace {

constexpr char kCookieStore[] = "/tmp/dev-web.cookie";
constexpr long kTimeoutSeconds = 90;
constexpr long kOff = 0;
constexpr long kOn = 1;

/// What the options of a request are filled from, all borrowed; an operation's options name only
/// what it has.
struct Parts {
    const ST_HTTPS_CERT_INFO &https;
    const char *url = nullptr;
    TransferCallback write = nullptr;
    TransferCallback read = nullptr;
    HeaderList headers{};
    const char *body = nullptr;
    long bodySize = 0;
    std::FILE *file = nullptr;
    curl_off_t resumeAt = 0;
};

void ApplyCredentials(CURL *handle, const ST_HTTPS_CERT_INFO &https) {
    constexpr std::size_t kSize = sizeof https.user + sizeof https.passwd;
    char credentials[kSize];
    PrintText<kSize>(credentials, "%s:%s", https.user, https.passwd);
    curl_easy_setopt(handle, CURLOPT_USERPWD, credentials);
}

/// The legacy upload switch: off, so that the body options decide.
void ApplyPutOff(CURL *handle) {
    // Its successor CURLOPT_UPLOAD is another option; the server side was agreed with this one.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    curl_easy_setopt(handle, CURLOPT_PUT, kOff);
#pragma GCC diagnostic pop
}

void Apply(Option option, CURL *handle, const Parts &parts) {
    switch (option) {
        case Option::kUrl:
            curl_easy_setopt(handle, CURLOPT_URL, parts.url);
            break;
        case Option::kVerifyPeerOff:
            curl_easy_setopt(handle, CURLOPT_SSL_VERIFYPEER, kOff);
            break;
        case Option::kVerifyHostOff:
            curl_easy_setopt(handle, CURLOPT_SSL_VERIFYHOST, kOff);
            break;
        case Option::kCaFile:
            curl_easy_setopt(handle, CURLOPT_CAINFO, parts.https.certfile);
            break;
        case Option::kHeaders:
            curl_easy_setopt(handle, CURLOPT_HTTPHEADER, parts.headers.Get());
            break;
        case Option::kCookieJar:
            curl_easy_setopt(handle, CURLOPT_COOKIEJAR, kCookieStore);
            break;
        case Option::kCookieFile:
            curl_easy_setopt(handle, CURLOPT_COOKIEFILE, kCookieStore);
            break;
        case Option::kTimeout90:
            curl_easy_setopt(handle, CURLOPT_TIMEOUT, kTimeoutSeconds);
            break;
        case Option::kNoSignal:
            curl_easy_setopt(handle, CURLOPT_NOSIGNAL, kOn);
            break;
        case Option::kWriteIfSet:
            if (parts.write == nullptr) {
                break;
            }
            [[fallthrough]];
        case Option::kWrite:
            curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, parts.write);
            break;
        case Option::kReadIfSet:
            if (parts.read == nullptr) {
                break;
            }
            [[fallthrough]];
        case Option::kRead:
            curl_easy_setopt(handle, CURLOPT_READFUNCTION, parts.read);
            break;
        case Option::kPostOn:
            curl_easy_setopt(handle, CURLOPT_POST, kOn);
            break;
        case Option::kPostOff:
            curl_easy_setopt(handle, CURLOPT_POST, kOff);
            break;
        case Option::kPutOff:
            ApplyPutOff(handle);
            break;
        case Option::kVerbPut:
            curl_easy_setopt(handle, CURLOPT_CUSTOMREQUEST, "PUT");
            break;
        case Option::kVerbDelete:
            curl_easy_setopt(handle, CURLOPT_CUSTOMREQUEST, "DELETE");
            break;
        case Option::kBody:
            curl_easy_setopt(handle, CURLOPT_POSTFIELDS, parts.body);
            break;
        case Option::kBodySize:
            curl_easy_setopt(handle, CURLOPT_POSTFIELDSIZE, parts.bodySize);
            break;
        case Option::kReadFile:
            curl_easy_setopt(handle, CURLOPT_READDATA, parts.file);
            break;
        case Option::kWriteFile:
            curl_easy_setopt(handle, CURLOPT_WRITEDATA, parts.file);
            break;
        case Option::kResume:
            curl_easy_setopt(handle, CURLOPT_RESUME_FROM_LARGE, parts.resumeAt);
            break;
        case Option::kBasicAuth:
            curl_easy_setopt(handle, CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BASIC));
            break;
        case Option::kCredentials:
            ApplyCredentials(handle, parts.https);
            break;
    }
}

/// The one place where a transfer runs. Nothing is tried when the header lines found no memory.
Outcome Transfer(CURL *handle, const Options &options, Parts &parts) {
    Outcome outcome;
    if (!parts.headers.Complete()) {
        outcome.transfer = CURLE_OUT_OF_MEMORY;
        return outcome;
    }
    for (const Option option : options) {
        Apply(option, handle, parts);
    }
    outcome.transfer = curl_easy_perform(handle);
    parts.headers.Free();
    curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &outcome.status);
    return outcome;
}

/// Ours: the area is shared by all uploads without a lock, so it is written with atomic stores,
/// word by word; a reader may see a mixture of paths, never anything undefined.
void KeepPath(ResultArea &area, const char *path) {
    using Word [[gnu::may_alias]] = unsigned long;
    constexpr std::size_t kMostCharacters = 63;
    constexpr std::size_t kWords = kResultAreaSize / sizeof(Word);
    static_assert(kResultAreaSize == kWords * sizeof(Word) + 1);
    alignas(Word) char kept[kResultAreaSize] = {};
    memccpy(kept + 1, path, '\0', kMostCharacters);
    const auto *from = reinterpret_cast<const Word *>(kept);
    auto *to = reinterpret_cast<Word *>(area);
    for (std::size_t i = 0; i < kWords; ++i) {
        __atomic_store_n(to + i, from[i], __ATOMIC_RELAXED);
    }
    __atomic_store_n(&area[kResultAreaSize - 1], '\0', __ATOMIC_RELAXED);
}

/// Ours: a file that is there and cannot be opened is told apart from a missing one.
File OpenLogged(const char *path, const char *mode) {
    File file(std::fopen(path, mode));
    if (file == nullptr) {
        log_Text(kLogError, "Can not open file %s", path);
    }
    return file;
}

/// Opens a file to send; logged when that is impossible.
/// @param size receives its bytes.
File OpenToSend(const char *path, long &size) {
    File file = OpenLogged(path, "rb");
    struct stat status {};
    if (file == nullptr || fstat(fileno(file.get()), &status) != 0) {
        return nullptr;
    }
    if (S_ISDIR(status.st_mode)) {  // Ours: opens and has a size, but nothing can be read from it.
        log_Text(kLogError, "Can not open file %s", path);
        return nullptr;
    }
    size = static_cast<long>(status.st_size);
    // libcurl reads in pieces of its own buffer's size; a second buffer only costs.
    static_cast<void>(std::setvbuf(file.get(), nullptr, _IONBF, 0));
    return file;
}

}  // namespace

Settings CurrentSettings() {
    CSysSet &settings = *GetCSysSetInstance();
    return {*settings.GetCloudConfigAttr(), *settings.GetHttpsCertInfo()};
}

int Run(const MemoryOperation &operation, const Settings &settings,
        const ST_FRAME_MEMORY_UPLOAD *frame, Outcome *outcome) {
    if (frame == nullptr) {
        return kFail;
    }
    const unsigned length = frame->bodyLength;
    if (length > kBodyCapacity) {  // Ours: libcurl would send the memory behind the body.
        log_Text(kLogError, "body of %u bytes is too long for %s", length, frame->url);
        return kFail;
    }
    const CurlHandle handle(curl_easy_init());
    if (handle == nullptr) {
        return kFail;
    }
    Parts parts{settings.https, frame->url, frame->writeCallback, frame->readCallback};
    parts.headers = operation.headers(frame->format, settings.cloud.isCompress != 0);
    parts.body = frame->body;
    parts.bodySize = static_cast<long>(length);
    const Outcome ended = Transfer(handle.get(), operation.options, parts);
    if (outcome != nullptr) {
        *outcome = ended;
    }
    if (operation.accepts(ended)) {
        return kOk;
    }
    operation.refused(ended);
    return operation.onRefusal;
}

int RunNamed(const Operations &client, const Settings &settings,
             const ST_FRAME_MEMORY_UPLOAD *frame, Outcome *outcome) {
    const MemoryOperation *operation =
        frame != nullptr ? FindOperation(client, frame->method) : nullptr;
    return operation != nullptr ? Run(*operation, settings, frame, outcome) : kFail;
}

int Run(const UploadOperation &operation, const Settings &settings,
        const ST_FRAME_FILE_UPLOAD *frame, ResultArea &area, int *httpCode) {
    if (frame == nullptr) {
        return kFail;
    }
    const char *path = frame->filePath;
    KeepPath(area, path);
    if (access(path, F_OK) != 0) {
        operation.missing(path);
        return kFail;
    }
    long size = 0;
    const File file = OpenToSend(path, size);
    const CurlHandle handle(file != nullptr ? curl_easy_init() : nullptr);
    if (handle == nullptr) {
        return kFail;
    }
    operation.started(path, frame->url);
    Parts parts{settings.https, frame->url, frame->writeCallback, frame->readCallback};
    parts.headers = operation.headers(frame->format, path);
    parts.file = file.get();
    parts.bodySize = size;
    const Outcome ended = Transfer(handle.get(), operation.options, parts);
    if (httpCode != nullptr) {
        *httpCode = static_cast<int>(ended.status);
    }
    if (!operation.accepts(ended)) {
        operation.refused(path, ended);
        return kFail;
    }
    log_Text(3, "Send file %s Success", path);
    return kOk;
}

int Run(const DownloadOperation &operation, const Settings &settings,
        const ST_FRAME_FILE_UPLOAD *frame) {
    if (frame == nullptr) {
        return kFail;
    }
    const char *path = frame->filePath;
    const File file = OpenLogged(path, "ab");
    const CurlHandle handle(file != nullptr ? curl_easy_init() : nullptr);
    if (handle == nullptr) {
        return kFail;
    }
    operation.started(path, frame->url);
    Parts parts{settings.https, frame->url, frame->writeCallback, frame->readCallback};
    parts.file = file.get();
    parts.resumeAt = std::max(0L, std::ftell(file.get()));
    const Outcome ended = Transfer(handle.get(), operation.options, parts);
    if (ended.transfer != CURLE_OK) {
        log_Text(4, "recv file %s failed: %s", path, ErrorText(ended));
        return kFail;
    }
    log_Text(3, "Rev file %s Success", path);
    return kOk;
}

}  // namespace corvenna
