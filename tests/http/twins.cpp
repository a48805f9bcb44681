#include "tests/http/twins.h"

#include <curl/curl.h>

#include <cstdio>
#include <cstring>
#include <mutex>
#include <ostream>

#include "base/text.h"
#include "config/sys_set.h"
#include "http/http.h"
#include "http/https.h"
#include "plugin/instances.h"

namespace corvenna::test {
namespace {

/// The client's single instance.
template <class Client>
Client &The();
template <>
CHttp &The<CHttp>() {
    return *GetCHttpInstance();
}
template <>
CHttps &The<CHttps>() {
    return *GetCHttpsInstance();
}

template <class Client>
constexpr Twin MakeTwin(const char *name, Protocol protocol) {
    using Memory = ST_FRAME_MEMORY_UPLOAD *;
    using Transfer = ST_FRAME_FILE_UPLOAD *;
    return {name,
            protocol,
            [](Memory f) { return The<Client>().UploadMemoryData(f); },
            [](Memory f, Outcome &o) { return The<Client>().ExchangeMemoryData(f, o); },
            [](Memory f) { return The<Client>().GET_MemoryData(f); },
            [](Memory f) { return The<Client>().POST_MemoryData(f); },
            [](Memory f) { return The<Client>().PUT_MemoryData(f); },
            [](Memory f) { return The<Client>().DELTET_MemoryData(f); },
            [](Transfer f, int *code) { return The<Client>().UploadRealDataFile(f, code); },
            [](Transfer f) { return The<Client>().UploadAlarmDataFile(f); },
            [](Transfer f) { return The<Client>().GetDownFile(f, nullptr); },
            []() -> const char * { return The<Client>().GetRecvResult(); }};
}

std::mutex receivedMutex;
std::string received;

}  // namespace

const Twin kHttpTwin = MakeTwin<CHttp>("Http", Protocol::kHttp);
const Twin kHttpsTwin = MakeTwin<CHttps>("Https", Protocol::kHttps);

void PrintTo(const Twin *client, std::ostream *stream) {
    *stream << client->name;
}

std::string TwinName(const testing::TestParamInfo<const Twin *> &info) {
    return info.param->name;
}

ST_FRAME_MEMORY_UPLOAD MemoryFrame(const std::string &url, const std::string &method,
                                   const std::string &body, const std::string &format) {
    ST_FRAME_MEMORY_UPLOAD frame{};
    CopyText<127>(frame.url, url.c_str());
    CopyText<15>(frame.format, format.c_str());
    CopyText<15>(frame.method, method.c_str());
    std::memcpy(frame.body, body.data(), body.size());
    frame.bodyLength = static_cast<std::uint16_t>(body.size());
    frame.writeCallback = Collect;
    return frame;
}

ST_FRAME_FILE_UPLOAD FileFrame(const std::string &url, const std::string &path,
                               const std::string &format) {
    ST_FRAME_FILE_UPLOAD frame{};
    CopyText<127>(frame.url, url.c_str());
    CopyText<15>(frame.format, format.c_str());
    CopyText<127>(frame.filePath, path.c_str());
    return frame;
}

std::size_t Collect(char *data, std::size_t size, std::size_t count, void * /*user*/) {
    const std::lock_guard<std::mutex> lock(receivedMutex);
    received.append(data, size * count);
    return size * count;
}

std::string Received() {
    const std::lock_guard<std::mutex> lock(receivedMutex);
    return received;
}

std::size_t RefuseWrite(char * /*data*/, std::size_t /*size*/, std::size_t /*count*/,
                        void * /*user*/) {
    return 0;
}

std::size_t RefuseRead(char * /*data*/, std::size_t /*size*/, std::size_t /*count*/,
                       void * /*user*/) {
    return CURL_READFUNC_ABORT;
}

std::size_t ReadFromFile(char *data, std::size_t size, std::size_t count, void *user) {
    return std::fread(data, size, count, static_cast<std::FILE *>(user));
}

std::size_t WriteToFile(char *data, std::size_t size, std::size_t count, void *user) {
    return std::fwrite(data, size, count, static_cast<std::FILE *>(user));
}

void SetCompress(bool on) {
    GetCSysSetInstance()->GetCloudConfigAttr()->isCompress = on ? 1 : 0;
}

void SetHttps(const std::string &certfile, const std::string &user, const std::string &password) {
    ST_HTTPS_CERT_INFO &https = *GetCSysSetInstance()->GetHttpsCertInfo();
    CopyText<127>(https.certfile, certfile.c_str());
    CopyText<63>(https.user, user.c_str());
    CopyText<63>(https.passwd, password.c_str());
}

std::string Block(const std::vector<std::string> &lines) {
    std::string block;
    for (const std::string &line : lines) {
        block += line + "\r\n";
    }
    return block + "\r\n";
}

std::string HostLine(const ScriptedServer &server) {
    return "Host: 127.0.0.1:" + std::to_string(server.Port());
}

}  // namespace corvenna::test
