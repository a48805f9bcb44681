#include "http/transfer.h"

#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "base/file_kind.h"
#include "base/handle.h"
#include "base/pipe.h"
#include "base/process_end.h"
#include "base/text.h"
#include "config/instances.h"
#include "log/log.h"

// Of OpenSSL, when that is what libcurl uses; null otherwise.
extern "C" {
[[gnu::weak]] int RAND_status(void);
[[gnu::weak]] int RAND_poll(void);
[[gnu::weak]] int OPENSSL_init_crypto(std::uint64_t options, const void *settings);
}

namespace corvenna {
namespace {

constexpr char kCookieStore[] = "/tmp/dev-web.cookie";
constexpr long kTimeoutSeconds = 90;
constexpr long kOff = 0;
constexpr long kOn = 1;

/// The handle of one exchange, which the end of the process waits for.
class Exchange {
public:
    /// @param wanted whether there is something to be exchanged.
    explicit Exchange(bool wanted = true)
        : handle_(wanted && ExchangeUnderWay::IsAllowed() ? curl_easy_init() : nullptr) {}

    /// Null when the exchange cannot begin.
    CURL *Handle() const { return handle_.get(); }

private:
    const ExchangeUnderWay underWay_;  // until the handle is gone, which may talk to the server
    const CurlHandle handle_;
};

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

CURLcode SetCredentials(CURL *handle, const ST_HTTPS_CERT_INFO &https) {
    constexpr std::size_t kSize = sizeof https.user + sizeof https.passwd;
    char credentials[kSize];
    PrintText(AllOf(credentials), "%s:%s", https.user, https.passwd);
    return curl_easy_setopt(handle, CURLOPT_USERPWD, credentials);
}

/// The legacy upload switch: off, so that the body options decide.
CURLcode SetPutOff(CURL *handle) {
    // Its successor CURLOPT_UPLOAD is another option; the server side was agreed with this one.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    return curl_easy_setopt(handle, CURLOPT_PUT, kOff);
#pragma GCC diagnostic pop
}

/// Ours: libcurl opens the store whatever it is, and at the other end of a pipe, which any user can
/// make in /tmp, there may be nobody for ever; no time-out holds then. (A folder fails by itself.)
bool CookieStoreMayBlock() {
    const mode_t kind = KindOf(kCookieStore);
    return kind != 0 && kind != S_IFREG && kind != S_IFDIR;
}

/// Both uses are left out where the store may block; the request goes without cookies.
CURLcode SetCookieStore(CURL *handle, CURLoption use) {
    if (!CookieStoreMayBlock()) {
        return curl_easy_setopt(handle, use, kCookieStore);
    }
    if (use == CURLOPT_COOKIEFILE) {
        log_Text(kLogError, "%s is no file, the request goes without cookies", kCookieStore);
    }
    return CURLE_OK;
}

CURLcode Set(Option option, CURL *handle, const Parts &parts) {
    switch (option) {
        case Option::kUrl:
            return curl_easy_setopt(handle, CURLOPT_URL, parts.url);
        case Option::kVerifyPeerOff:
            return curl_easy_setopt(handle, CURLOPT_SSL_VERIFYPEER, kOff);
        case Option::kVerifyHostOff:
            return curl_easy_setopt(handle, CURLOPT_SSL_VERIFYHOST, kOff);
        case Option::kCaFile:
            return curl_easy_setopt(handle, CURLOPT_CAINFO, parts.https.certfile);
        case Option::kHeaders:
            return curl_easy_setopt(handle, CURLOPT_HTTPHEADER, parts.headers.Get());
        case Option::kCookieJar:
            return SetCookieStore(handle, CURLOPT_COOKIEJAR);
        case Option::kCookieFile:
            return SetCookieStore(handle, CURLOPT_COOKIEFILE);
        case Option::kTimeout90:
            return curl_easy_setopt(handle, CURLOPT_TIMEOUT, kTimeoutSeconds);
        case Option::kNoSignal:
            return curl_easy_setopt(handle, CURLOPT_NOSIGNAL, kOn);
        case Option::kWriteIfSet:
            if (parts.write == nullptr) {
                return CURLE_OK;
            }
            [[fallthrough]];
        case Option::kWrite:
            return curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, parts.write);
        case Option::kReadIfSet:
            if (parts.read == nullptr) {
                return CURLE_OK;
            }
            [[fallthrough]];
        case Option::kRead:
            return curl_easy_setopt(handle, CURLOPT_READFUNCTION, parts.read);
        case Option::kPostOn:
            return curl_easy_setopt(handle, CURLOPT_POST, kOn);
        case Option::kPostOff:
            return curl_easy_setopt(handle, CURLOPT_POST, kOff);
        case Option::kPutOff:
            return SetPutOff(handle);
        case Option::kVerbPut:
            return curl_easy_setopt(handle, CURLOPT_CUSTOMREQUEST, "PUT");
        case Option::kVerbDelete:
            return curl_easy_setopt(handle, CURLOPT_CUSTOMREQUEST, "DELETE");
        case Option::kBody:
            return curl_easy_setopt(handle, CURLOPT_POSTFIELDS, parts.body);
        case Option::kBodySize:
            return curl_easy_setopt(handle, CURLOPT_POSTFIELDSIZE, parts.bodySize);
        case Option::kReadFile:
            return curl_easy_setopt(handle, CURLOPT_READDATA, parts.file);
        case Option::kWriteFile:
            return curl_easy_setopt(handle, CURLOPT_WRITEDATA, parts.file);
        case Option::kResume:
            return curl_easy_setopt(handle, CURLOPT_RESUME_FROM_LARGE, parts.resumeAt);
        case Option::kBasicAuth:
            return curl_easy_setopt(handle, CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BASIC));
        case Option::kCredentials:
            return SetCredentials(handle, parts.https);
    }
    return CURLE_OK;
}

/// Ours: what an option did not take in would make another request, a POST of what was to be
/// deleted. Only an option that this build of libcurl does without is passed over.
bool IsTaken(CURLcode result) {
    return result == CURLE_OK || result == CURLE_UNKNOWN_OPTION || result == CURLE_NOT_BUILT_IN;
}

/// @return CURLE_OK when every option is taken, otherwise how the first one failed.
CURLcode SetAll(const Options &options, CURL *handle, const Parts &parts) {
    if (!parts.headers.Complete()) {
        return CURLE_OUT_OF_MEMORY;
    }
    for (const Option option : options) {
        const CURLcode result = Set(option, handle, parts);
        if (!IsTaken(result)) {
            return result;
        }
    }
    return CURLE_OK;
}

/// Ours: OpenSSL's source of random numbers that found no memory while it was renewed stays failed,
/// and libcurl, which only asks for its state, would refuse TLS for as long as the process lives.
/// When this fails, too, so does the transfer, and the next one tries again.
void MendRandomness() {
    if (RAND_status != nullptr && RAND_poll != nullptr && RAND_status() != 1) {
        static_cast<void>(RAND_poll());
    }
}

bool IsSecure(const char *url) {
    constexpr char kScheme[] = "https:";
    return strncasecmp(url, kScheme, sizeof kScheme - 1) == 0;
}

/// The one place where a transfer runs. What could not be asked for is not tried.
Outcome Transfer(CURL *handle, const Options &options, Parts &parts) {
    if (IsSecure(parts.url)) {
        MendRandomness();
    }
    Outcome outcome;
    const CURLcode asked = SetAll(options, handle, parts);
    outcome.transfer = asked == CURLE_OK ? curl_easy_perform(handle) : asked;
    parts.headers.Free();
    if (curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &outcome.status) != CURLE_OK) {
        outcome.status = 0;
    }
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
void ReportUnopened(const char *path) {
    log_Text(kLogError, "Can not open file %s", path);
}

/// @return whether the file has a size that libcurl can be told.
bool ReadSize(std::FILE *file, long &size) {
    struct stat status {};
    if (fstat(fileno(file), &status) != 0) {
        return false;
    }
    size = static_cast<long>(status.st_size);
    return static_cast<off_t>(size) == status.st_size;
}

/// Opens a file to send; logged when that is impossible.
/// @param size receives its bytes.
File OpenToSend(const char *path, long &size) {
    // Ours: a folder opens, yet nothing can be read from it; a pipe opens when its writer comes.
    File file(KindOf(path) == S_IFREG ? std::fopen(path, "rb") : nullptr);
    if (file == nullptr || !ReadSize(file.get(), size)) {
        ReportUnopened(path);
        return nullptr;
    }
    // libcurl reads in pieces of its own buffer's size; a second buffer only costs.
    static_cast<void>(std::setvbuf(file.get(), nullptr, _IONBF, 0));
    return file;
}

/// Opens what a download goes to; logged when that is impossible.
File OpenToAppend(const char *path) {
    // Ours: a pipe opens when its reader comes.
    File file(IsPipe(path) ? nullptr : std::fopen(path, "ab"));
    if (file == nullptr) {
        ReportUnopened(path);
    }
    return file;
}

}  // namespace

void StartLibcurl() {
    // Ours: what OpenSSL cleans up at the end of the process threads of the host may be using, in
    // an exchange that goes on or by ending just then. What is kept goes with the process; a host
    // that has something done by OpenSSL's clean-up calls that itself. Without effect where the
    // host has used OpenSSL before.
    constexpr std::uint64_t kWithoutCleanUpAtExit = 0x00080000;  // OPENSSL_INIT_NO_ATEXIT
    if (OPENSSL_init_crypto != nullptr) {
        static_cast<void>(OPENSSL_init_crypto(kWithoutCleanUpAtExit, nullptr));
    }
    // When this finds no memory, curl_easy_init tries again.
    static_cast<void>(curl_global_init(CURL_GLOBAL_ALL));
}

Settings CurrentSettings() {
    CSysSet &settings = *GetCSysSetInstance();
    return {*settings.GetCloudConfigAttr(), *settings.GetHttpsCertInfo()};
}

int Run(const MemoryOperation &operation, Settings settings, const ST_FRAME_MEMORY_UPLOAD *frame,
        Outcome *outcome) {
    if (frame == nullptr) {
        return kFail;
    }
    const unsigned length = frame->bodyLength;
    if (length > kBodyCapacity) {  // Ours: libcurl would send the memory behind the body.
        log_Text(kLogError, "body of %u bytes is too long for %s", length, frame->url);
        return kFail;
    }
    const Exchange exchange;
    if (exchange.Handle() == nullptr) {
        return kFail;
    }
    Parts parts{settings.https, frame->url, frame->writeCallback, frame->readCallback};
    parts.headers = operation.headers(frame->format, settings.cloud.isCompress != 0);
    parts.body = frame->body;
    parts.bodySize = static_cast<long>(length);
    const Outcome ended = Transfer(exchange.Handle(), operation.options, parts);
    if (outcome != nullptr) {
        *outcome = ended;
    }
    if (operation.accepts(ended)) {
        return kOk;
    }
    operation.refused(ended);
    return operation.onRefusal;
}

int RunNamed(const Operations &client, Settings settings, const ST_FRAME_MEMORY_UPLOAD *frame,
             Outcome *outcome) {
    const MemoryOperation *operation =
        frame != nullptr ? FindOperation(client, frame->method) : nullptr;
    return operation != nullptr ? Run(*operation, settings, frame, outcome) : kFail;
}

int Run(const UploadOperation &operation, Settings settings, const ST_FRAME_FILE_UPLOAD *frame,
        ResultArea &area, int *httpCode) {
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
    const Exchange exchange(file != nullptr);
    if (exchange.Handle() == nullptr) {
        return kFail;
    }
    operation.started(path, frame->url);
    Parts parts{settings.https, frame->url, frame->writeCallback, frame->readCallback};
    parts.headers = operation.headers(frame->format, path);
    parts.file = file.get();
    parts.bodySize = size;
    const Outcome ended = Transfer(exchange.Handle(), operation.options, parts);
    if (httpCode != nullptr) {
        *httpCode = static_cast<int>(ended.status);
    }
    if (!operation.accepts(ended)) {
        operation.refused(path, ended);
        return kFail;
    }
    log_Text(kLogInfo, "Send file %s Success", path);
    return kOk;
}

int Run(const DownloadOperation &operation, Settings settings, const ST_FRAME_FILE_UPLOAD *frame) {
    if (frame == nullptr) {
        return kFail;
    }
    const char *path = frame->filePath;
    const File file = OpenToAppend(path);
    const Exchange exchange(file != nullptr);
    if (exchange.Handle() == nullptr) {
        return kFail;
    }
    operation.started(path, frame->url);
    Parts parts{settings.https, frame->url, frame->writeCallback, frame->readCallback};
    parts.file = file.get();
    parts.resumeAt = std::max<off_t>(0, ftello(file.get()));
    const Outcome ended = Transfer(exchange.Handle(), operation.options, parts);
    if (ended.transfer != CURLE_OK) {
        log_Text(kLogWarn, "recv file %s failed: %s", path, ErrorText(ended));
        return kFail;
    }
    log_Text(kLogInfo, "Rev file %s Success", path);
    return kOk;
}

}  // namespace corvenna
