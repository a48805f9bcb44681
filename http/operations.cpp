#include "http/operations.h"

#include <cstdio>
#include <cstring>

#include "log/log.h"

namespace corvenna {
namespace {

// ---- What is set, in this order; a client's row above its twin's ----

using O = Option;

constexpr Option kHttpGet[] = {O::kUrl,       O::kVerifyPeerOff, O::kVerifyHostOff, O::kHeaders,
                               O::kTimeout90, O::kNoSignal,      O::kWrite};
constexpr Option kHttpsGet[] = {O::kUrl,      O::kVerifyPeerOff, O::kVerifyHostOff, O::kCaFile,
                                O::kHeaders,  O::kCookieJar,     O::kCookieFile,    O::kTimeout90,
                                O::kNoSignal, O::kWriteIfSet,    O::kReadIfSet,     O::kBasicAuth};

constexpr Option kHttpPost[] = {O::kUrl,       O::kVerifyPeerOff, O::kVerifyHostOff, O::kHeaders,
                                O::kTimeout90, O::kNoSignal,      O::kWrite,         O::kRead,
                                O::kBody,      O::kBodySize};
// On purpose: the POST alone carries the credentials.
constexpr Option kHttpsPost[] = {
    O::kUrl,      O::kVerifyPeerOff, O::kVerifyHostOff, O::kCaFile,
    O::kHeaders,  O::kCookieJar,     O::kCookieFile,    O::kTimeout90,
    O::kNoSignal, O::kWriteIfSet,    O::kReadIfSet,     O::kBody,
    O::kBodySize, O::kPostOn,        O::kBasicAuth,     O::kCredentials};

constexpr Option kHttpPut[] = {O::kUrl,       O::kVerifyPeerOff, O::kVerifyHostOff, O::kHeaders,
                               O::kTimeout90, O::kNoSignal,      O::kVerbPut,       O::kWrite,
                               O::kBody,      O::kBodySize};
constexpr Option kHttpsPut[] = {O::kUrl,      O::kVerifyPeerOff, O::kVerifyHostOff, O::kCaFile,
                                O::kHeaders,  O::kCookieJar,     O::kCookieFile,    O::kTimeout90,
                                O::kNoSignal, O::kWriteIfSet,    O::kReadIfSet,     O::kBody,
                                O::kBodySize, O::kVerbPut,       O::kBasicAuth};

// On purpose: the HTTPS deletion alone sets its cookies after time-out and signals.
constexpr Option kHttpDelete[] = {O::kUrl,        O::kVerifyPeerOff, O::kVerifyHostOff, O::kHeaders,
                                  O::kTimeout90,  O::kNoSignal,      O::kPutOff,        O::kWrite,
                                  O::kVerbDelete, O::kBody,          O::kBodySize};
constexpr Option kHttpsDelete[] = {
    O::kUrl,        O::kVerifyPeerOff, O::kVerifyHostOff, O::kCaFile,     O::kHeaders,
    O::kTimeout90,  O::kNoSignal,      O::kCookieJar,     O::kCookieFile, O::kPutOff,
    O::kWriteIfSet, O::kVerbDelete,    O::kBody,          O::kBodySize,   O::kBasicAuth};

constexpr Option kHttpUpload[] = {
    O::kUrl,    O::kVerifyPeerOff, O::kVerifyHostOff, O::kHeaders,  O::kTimeout90, O::kNoSignal,
    O::kPostOn, O::kWriteIfSet,    O::kReadIfSet,     O::kReadFile, O::kBodySize};
constexpr Option kHttpsUpload[] = {
    O::kUrl,        O::kVerifyPeerOff, O::kVerifyHostOff, O::kCaFile,   O::kHeaders,
    O::kCookieJar,  O::kCookieFile,    O::kTimeout90,     O::kNoSignal, O::kPostOn,
    O::kWriteIfSet, O::kReadIfSet,     O::kReadFile,      O::kBodySize, O::kBasicAuth};

constexpr Option kHttpDownload[] = {O::kUrl,       O::kVerifyPeerOff, O::kVerifyHostOff,
                                    O::kNoSignal,  O::kPostOff,       O::kWriteIfSet,
                                    O::kReadIfSet, O::kResume,        O::kWriteFile};
constexpr Option kHttpsDownload[] = {
    O::kUrl,     O::kVerifyPeerOff, O::kVerifyHostOff, O::kCaFile, O::kNoSignal,
    O::kPostOff, O::kWriteIfSet,    O::kReadIfSet,     O::kResume, O::kWriteFile};

// ---- Which answers count ----

bool Status200(const Outcome &outcome) {
    return outcome.transfer == CURLE_OK && outcome.status == 200;
}

bool Status200Or201(const Outcome &outcome) {
    return outcome.transfer == CURLE_OK && (outcome.status == 200 || outcome.status == 201);
}

bool Status204(const Outcome &outcome) {
    return outcome.transfer == CURLE_OK && outcome.status == 204;
}

/// 426 is the server's way to say that files wait for the gateway.
bool Status200Or201Or426(const Outcome &outcome) {
    return Status200Or201(outcome) || (outcome.transfer == CURLE_OK && outcome.status == 426);
}

/// libcurl tells a read callback's abort and a write callback's apart.
bool Aborted(const Outcome &outcome) {
    return outcome.transfer == CURLE_ABORTED_BY_CALLBACK || outcome.transfer == CURLE_WRITE_ERROR;
}

// On purpose: an HTTPS upload with a good status stands, whatever else went wrong with its
// transfer.
bool NotAbortedAnd200Or201(const Outcome &outcome) {
    return !Aborted(outcome) && (outcome.status == 200 || outcome.status == 201);
}

bool NotAbortedAnd200Or201Or426(const Outcome &outcome) {
    return NotAbortedAnd200Or201(outcome) || (!Aborted(outcome) && outcome.status == 426);
}

// ---- What is logged ----

void GetRefused(const Outcome &o) {
    log_Text(kLogWarn, "curl_easy_perform() failed: %s when get info,httpcode = %d", ErrorText(o),
             static_cast<int>(o.status));
}

void DeleteRefusedOnConsoleToo(const Outcome &o) {
    constexpr char kText[] = "curl_easy_perform() failed when delete: %s,httpcode =%ld";
    log_Text(kLogWarn, kText, ErrorText(o), o.status);
    std::printf(kText, ErrorText(o), o.status);
}

void UploadStarted(const char *path, const char *url) {
    log_Text(kLogInfo, "start Send file %s to %s", path, url);
}

void UploadStartedOnConsoleToo(const char *path, const char *url) {
    UploadStarted(path, url);
    std::printf("start Send file %s to %s\n", path, url);
}

void DownloadStarted(const char *path, const char *url) {
    log_Text(kLogInfo, "start down file %s from %s", path, url);
}

void MissingForHttp(const char *path) {
    log_Text(kLogWarn, "Can not find File %s when send files\n", path);
}

void MissingForHttps(const char *path) {
    // On purpose: over HTTPS the word is spelt with two capitals.
    log_Text(kLogWarn, "Can not find FIle %s when send files\n", path);
}

void UploadRefusedByHttp(const char *path, const Outcome &o) {
    log_Text(kLogWarn, "send file %s failed: %s,httpcode =%ld", path, ErrorText(o), o.status);
}

void UploadRefusedByHttps(const char *path, const Outcome &o) {
    log_Text(kLogWarn, "send file %s failed: %s,httpcode = %ld", path, ErrorText(o), o.status);
}

}  // namespace

// ---- The table ----

// On purpose: a refused POST reports success; callers learn of it from the log and from what their
// write callback received.
constexpr int kPostRefused = kOk;

const Operations kHttp = {
    {kHttpGet, AcceptHeaders, Status200Or201, GetRefused, kFail},
    {kHttpPost, BodyHeaders, Status200Or201,
     [](const Outcome &o) {
         log_Text(kLogWarn, "curl_easy_perform() failed when post: %s,httpcode =%ld", ErrorText(o),
                  o.status);
     },
     kPostRefused},
    {kHttpPut, BodyHeaders, Status200Or201,
     [](const Outcome &o) {
         log_Text(kLogWarn, "curl_easy_perform() failed when put: %s,httpcode =%ld", ErrorText(o),
                  o.status);
     },
     kFail},
    {kHttpDelete, BodyHeaders, Status204, DeleteRefusedOnConsoleToo, kFail},
    {kHttpUpload, TimedUploadHeaders, Status200Or201Or426, MissingForHttp, UploadStarted,
     UploadRefusedByHttp},
    {kHttpUpload, UploadHeaders, Status200Or201, MissingForHttp, UploadStartedOnConsoleToo,
     UploadRefusedByHttp},
    {kHttpDownload, DownloadStarted},
};

const Operations kHttps = {
    {kHttpsGet, AcceptHeaders, Status200, GetRefused, kFail},
    {kHttpsPost, BodyHeaders, Status200Or201,
     [](const Outcome &o) {
         log_Text(kLogWarn, "curl_easy_perform() failed:%s httpcode =%ld", ErrorText(o), o.status);
     },
     kPostRefused},
    {kHttpsPut, BodyHeaders, Status200Or201,
     [](const Outcome &o) {
         log_Text(kLogWarn, "failed,errdesc:%s httpcode =%ld", ErrorText(o), o.status);
     },
     kFail},
    {kHttpsDelete, BodyHeaders, Status204,
     [](const Outcome &o) {
         log_Text(kLogWarn, "failed when delete: %s,httpcode =%ld", ErrorText(o), o.status);
     },
     kFail},
    {kHttpsUpload, TimedUploadHeaders, NotAbortedAnd200Or201Or426, MissingForHttps, UploadStarted,
     UploadRefusedByHttps},
    {kHttpsUpload, UploadHeaders, NotAbortedAnd200Or201, MissingForHttps, UploadStarted,
     UploadRefusedByHttps},
    // On purpose: an HTTPS download announces itself as a sending.
    {kHttpsDownload, UploadStarted},
};

const MemoryOperation *FindOperation(const Operations &client, const char *method) {
    struct Verb {
        const char *prefix;
        MemoryOperation Operations::*operation;
    };
    constexpr Verb kVerbs[] = {{"POST", &Operations::post},
                               {"GET", &Operations::get},
                               {"PUT", &Operations::put},
                               {"DELETE", &Operations::remove}};
    for (const Verb &verb : kVerbs) {
        if (std::strncmp(method, verb.prefix, std::strlen(verb.prefix)) == 0) {
            return &(client.*verb.operation);
        }
    }
    return nullptr;
}

}  // namespace corvenna
