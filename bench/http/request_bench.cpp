// One request of each kind, by our clients and by a bare libcurl program, to a server in a process
// of its own. The size is that of the body or file that is sent.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "base/text.h"
#include "bench/http/bare_requests.h"
#include "bench/http/server_process.h"
#include "bench/support/cost.h"
#include "config/sys_set.h"
#include "http/http.h"
#include "http/https.h"
#include "log/log.h"
#include "log/log_txt.h"
#include "log/singleton.h"
#include "plugin/download.h"
#include "plugin/instances.h"
#include "tests/support/files.h"

namespace corvenna::bench {
namespace {

constexpr char kFile[] = "/tmp/S.json";
constexpr char kDownload[] = "/tmp/download";
constexpr char kCaFile[] = "/tmp/ca.pem";

ST_FRAME_MEMORY_UPLOAD gMemory;
ST_FRAME_FILE_UPLOAD gUpload;
ST_FRAME_FILE_UPLOAD gDownload;

std::size_t Ignore(char * /*data*/, std::size_t size, std::size_t count, void * /*user*/) {
    return size * count;
}

void PrepareFrames(const std::string &url, const std::string &body) {
    CopyText<127>(gMemory.url, url.c_str());
    CopyText<15>(gMemory.format, "json");
    std::memcpy(gMemory.body, body.data(), body.size());
    gMemory.bodyLength = static_cast<std::uint16_t>(body.size());
    gMemory.writeCallback = Ignore;
    CopyText<127>(gUpload.url, url.c_str());
    CopyText<15>(gUpload.format, "json");
    CopyText<127>(gUpload.filePath, kFile);
    gUpload.writeCallback = Ignore;
    gDownload = gUpload;
    CopyText<127>(gDownload.filePath, kDownload);
}

/// Leaves as many written nodes as the log keeps, as its writer does every five seconds.
void LeaveWrittenLogNodes() {
    constexpr int kNodes = 64;
    auto &sink = Singleton<CLogTxt>::Instance();
    sink.Init();
    for (int i = 0; i < kNodes; ++i) {
        log_Text(kLogInfo, "a node");
    }
    sink.Finish();
}

/// @param path of the request; null: the file of that size.
void Prepare(unsigned size, bool https, const char *path) {
    const std::string server = StartServer(https, kCaFile);
    const std::string url = server + (path != nullptr ? path : kFilePath + std::to_string(size));
    const std::string body(size < kBodyCapacity ? size : kBodyCapacity, 'x');
    PrepareFrames(url, body);
    test::WriteFile(kFile, body);
    ST_HTTPS_CERT_INFO &settings = *GetCSysSetInstance()->GetHttpsCertInfo();
    CopyText<127>(settings.certfile, kCaFile);
    CopyText<63>(settings.user, "gateway");
    CopyText<63>(settings.passwd, "password");
    gBare = {url, kFile, kDownload, body, https, kCaFile, "gateway:password"};
    GetCHttpInstance();
    GetCHttpsInstance();
    LeaveWrittenLogNodes();
}

constexpr char kPath[] = "/cloud/SN1";

void Http(unsigned size) {
    Prepare(size, false, kPath);
}

void Https(unsigned size) {
    Prepare(size, true, kPath);
}

void HttpFile(unsigned size) {
    Prepare(size, false, nullptr);
}

void HttpsFile(unsigned size) {
    Prepare(size, true, nullptr);
}

/// A request that fails would be a cheap one.
void Expect0(int result) {
    if (result != 0) {
        std::fputs("a request failed\n", stderr);
        std::exit(1);
    }
}

/// A client's operation as a contender.
template <auto Instance, auto Operation>
void Memory() {
    Expect0((Instance()->*Operation)(&gMemory));
}

template <auto Instance>
void RealData() {
    int httpCode = 0;
    Expect0(Instance()->UploadRealDataFile(&gUpload, &httpCode));
}

template <auto Instance>
void AlarmData() {
    Expect0(Instance()->UploadAlarmDataFile(&gUpload));
}

template <auto Instance>
void Download() {
    Expect0(Instance()->GetDownFile(&gDownload, nullptr));
}

/// A file from nothing to its digest.
template <auto Instance>
void DownloadWithDigest() {
    std::remove(kDownload);
    Download<Instance>();
    char digest[33];
    Expect0(std::strlen(getfilemd5(kDownload, digest)) == 32 ? 0 : -1);
}

/// Commands as one would write them in a script. `-k`: nor do our clients look at certificates.
void Run(const std::string &command) {
    Expect0(std::system(command.c_str()));
}

void BareDownloadWithDigest() {
    std::remove(kDownload);
    BareDownload();
    Run(std::string("md5sum ") + kDownload + " >/dev/null");
}

void CurlPost() {
    Run("exec curl -skf -o /dev/null -H 'Content-Type:application/json;charset=UTF-8' -H Expect: "
        "--data-binary @" +
        (kFile + (' ' + gBare.url)));
}

void CurlDownloadWithDigest() {
    Run("curl -skf " + gBare.url + " | tee " + kDownload + " | md5sum >/dev/null");
}

constexpr auto kPlain = &GetCHttpInstance;
constexpr auto kTls = &GetCHttpsInstance;

}  // namespace
}  // namespace corvenna::bench

int main(int argc, char **argv) {
    using namespace corvenna::bench;
    ServeIfAsked(argc, argv);
    return CostMain(argc, argv, 1000,
                    {{"http_get", Http, Memory<kPlain, &CHttp::GET_MemoryData>},
                     {"http_get_bare", Http, BareGet},
                     {"http_post", Http, Memory<kPlain, &CHttp::POST_MemoryData>},
                     {"http_post_bare", Http, BarePost},
                     {"http_post_kept", Http, KeptPost},
                     {"http_put", Http, Memory<kPlain, &CHttp::PUT_MemoryData>},
                     {"http_put_bare", Http, BarePut},
                     {"http_delete", Http, Memory<kPlain, &CHttp::DELTET_MemoryData>},
                     {"http_delete_bare", Http, BareDelete},
                     {"http_real_data", Http, RealData<kPlain>},
                     {"http_real_data_bare", Http, BareRealData},
                     {"http_alarm_data", Http, AlarmData<kPlain>},
                     {"http_alarm_data_bare", Http, BareAlarmData},
                     {"http_download", Http, Download<kPlain>},
                     {"http_download_bare", Http, BareDownload},
                     {"http_digest", HttpFile, DownloadWithDigest<kPlain>},
                     {"http_digest_bare", HttpFile, BareDownloadWithDigest},
                     {"http_digest_curl", HttpFile, CurlDownloadWithDigest, false},
                     {"http_curl", Http, CurlPost, false},
                     {"https_get", Https, Memory<kTls, &CHttps::GET_MemoryData>},
                     {"https_get_bare", Https, BareGet},
                     {"https_post", Https, Memory<kTls, &CHttps::POST_MemoryData>},
                     {"https_post_bare", Https, BarePost},
                     {"https_post_kept", Https, KeptPost},
                     {"https_put", Https, Memory<kTls, &CHttps::PUT_MemoryData>},
                     {"https_put_bare", Https, BarePut},
                     {"https_delete", Https, Memory<kTls, &CHttps::DELTET_MemoryData>},
                     {"https_delete_bare", Https, BareDelete},
                     {"https_real_data", Https, RealData<kTls>},
                     {"https_real_data_bare", Https, BareRealData},
                     {"https_alarm_data", Https, AlarmData<kTls>},
                     {"https_alarm_data_bare", Https, BareAlarmData},
                     {"https_download", Https, Download<kTls>},
                     {"https_download_bare", Https, BareDownload},
                     {"https_digest", HttpsFile, DownloadWithDigest<kTls>},
                     {"https_digest_bare", HttpsFile, BareDownloadWithDigest},
                     {"https_digest_curl", HttpsFile, CurlDownloadWithDigest, false},
                     {"https_curl", Https, CurlPost, false}});
}
