#include "bench/http/bare_requests.h"

#include <curl/curl.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace corvenna::bench {

BareSettings gBare;

namespace {

constexpr char kJson[] = "Content-Type:application/json;charset=UTF-8";
constexpr char kCookies[] = "/tmp/dev-web.cookie";

std::size_t Ignore(char * /*data*/, std::size_t size, std::size_t count, void * /*user*/) {
    return size * count;
}

CURL *Begin() {
    CURL *handle = curl_easy_init();
    curl_easy_setopt(handle, CURLOPT_URL, gBare.url.c_str());
    curl_easy_setopt(handle, CURLOPT_SSL_VERIFYPEER, 0L);
    curl_easy_setopt(handle, CURLOPT_SSL_VERIFYHOST, 0L);
    curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, Ignore);
    if (gBare.https) {
        curl_easy_setopt(handle, CURLOPT_CAINFO, gBare.caFile.c_str());
    }
    return handle;
}

/// What all but downloads set.
CURL *BeginWith(curl_slist *headers) {
    CURL *handle = Begin();
    curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(handle, CURLOPT_TIMEOUT, 90L);
    if (gBare.https) {
        curl_easy_setopt(handle, CURLOPT_COOKIEJAR, kCookies);
        curl_easy_setopt(handle, CURLOPT_COOKIEFILE, kCookies);
        curl_easy_setopt(handle, CURLOPT_HTTPAUTH, CURLAUTH_BASIC);
    }
    return handle;
}

void SetBody(CURL *handle) {
    curl_easy_setopt(handle, CURLOPT_POSTFIELDS, gBare.body.c_str());
    curl_easy_setopt(handle, CURLOPT_POSTFIELDSIZE, static_cast<long>(gBare.body.size()));
}

/// A request that fails would be a cheap one.
void Perform(CURL *handle, long expected) {
    long status = 0;
    const CURLcode result = curl_easy_perform(handle);
    curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
    if (result != CURLE_OK || status != expected) {
        std::fprintf(stderr, "%s, status %ld\n", curl_easy_strerror(result), status);
        std::exit(1);
    }
}

void End(CURL *handle, curl_slist *headers, long expected) {
    Perform(handle, expected);
    curl_slist_free_all(headers);
    curl_easy_cleanup(handle);
}

curl_slist *BodyHeaders() {
    return curl_slist_append(curl_slist_append(nullptr, kJson), "Expect:");
}

CURL *BeginPost(curl_slist *headers) {
    CURL *handle = BeginWith(headers);
    SetBody(handle);
    if (gBare.https) {
        curl_easy_setopt(handle, CURLOPT_POST, 1L);
        curl_easy_setopt(handle, CURLOPT_USERPWD, gBare.credentials.c_str());
    } else {
        curl_easy_setopt(handle, CURLOPT_READFUNCTION, nullptr);
    }
    return handle;
}

void Upload(curl_slist *headers) {
    std::FILE *file = std::fopen(gBare.file.c_str(), "rb");
    struct stat status {};
    fstat(fileno(file), &status);
    CURL *handle = BeginWith(headers);
    curl_easy_setopt(handle, CURLOPT_POST, 1L);
    curl_easy_setopt(handle, CURLOPT_READDATA, file);
    curl_easy_setopt(handle, CURLOPT_POSTFIELDSIZE, static_cast<long>(status.st_size));
    End(handle, headers, 200);
    std::fclose(file);
}

}  // namespace

void BareGet() {
    curl_slist *headers = curl_slist_append(nullptr, "Accept:application/json;");
    End(BeginWith(headers), headers, 200);
}

void BarePost() {
    curl_slist *headers = BodyHeaders();
    End(BeginPost(headers), headers, 200);
}

void KeptPost() {
    static CURL *const handle = BeginPost(BodyHeaders());
    Perform(handle, 200);
}

void BarePut() {
    curl_slist *headers = BodyHeaders();
    CURL *handle = BeginWith(headers);
    SetBody(handle);
    curl_easy_setopt(handle, CURLOPT_CUSTOMREQUEST, "PUT");
    End(handle, headers, 200);
}

void BareDelete() {
    curl_slist *headers = BodyHeaders();
    CURL *handle = BeginWith(headers);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    curl_easy_setopt(handle, CURLOPT_PUT, 0L);
#pragma GCC diagnostic pop
    curl_easy_setopt(handle, CURLOPT_CUSTOMREQUEST, "DELETE");
    SetBody(handle);
    End(handle, headers, 204);
}

void BareRealData() {
    char line[64];
    std::snprintf(line, sizeof line, "XVane-Time: %d", static_cast<int>(std::time(nullptr)));
    Upload(curl_slist_append(BodyHeaders(), line));
}

void BareAlarmData() {
    Upload(BodyHeaders());
}

void BareDownload() {
    std::FILE *file = std::fopen(gBare.download.c_str(), "ab");
    CURL *handle = Begin();
    curl_easy_setopt(handle, CURLOPT_POST, 0L);
    curl_easy_setopt(handle, CURLOPT_RESUME_FROM_LARGE, static_cast<curl_off_t>(std::ftell(file)));
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, file);
    End(handle, nullptr, 200);
    std::fclose(file);
}

}  // namespace corvenna::bench
