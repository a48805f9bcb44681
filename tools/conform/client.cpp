#include "tools/conform/client.h"

#include <strings.h>

#include <stdexcept>
#include <string_view>
#include <utility>

namespace corvenna::conform {
namespace {

constexpr std::size_t kLongestAnswer = 256U << 20U;

struct FreedByCurl {
    void operator()(char *text) const { curl_free(text); }
};
using CurlText = std::unique_ptr<char, FreedByCurl>;
using Url = std::unique_ptr<CURLU, FreedBy<curl_url_cleanup>>;

bool Has(CURLU *url, CURLUPart part) {
    char *text = nullptr;
    const CURLUcode result = curl_url_get(url, part, &text, 0);
    const CurlText owner(text);
    return result == CURLUE_OK;
}

std::size_t TakeBody(char *data, std::size_t size, std::size_t count, void *user) {
    Reply &reply = *static_cast<Reply *>(user);
    const std::size_t length = size * count;
    if (reply.body.size() + length > kLongestAnswer) {
        return 0;
    }
    reply.body.append(data, length);
    ++reply.pieces;
    return length;
}

bool StartsWith(std::string_view line, const char *start) {
    const std::size_t length = std::char_traits<char>::length(start);
    return line.size() >= length && strncasecmp(line.data(), start, length) == 0;
}

std::size_t TakeHead(char *data, std::size_t size, std::size_t count, void *user) {
    Reply &reply = *static_cast<Reply *>(user);
    const std::string_view line(data, size * count);
    reply.headBytes += line.size();
    reply.http11 = reply.http11 || StartsWith(line, "HTTP/1.1 ");
    reply.cookieSet = reply.cookieSet || StartsWith(line, "Set-Cookie:");
    reply.chunked = reply.chunked || (StartsWith(line, "Transfer-Encoding:") &&
                                      line.find("chunked") != std::string_view::npos);
    return line.size();
}

/// Sets options until one cannot be set.
class Options {
public:
    explicit Options(CURL *handle) : handle_(handle) {}

    template <class Value>
    void Set(CURLoption option, Value value) {
        good_ = good_ && curl_easy_setopt(handle_, option, value) == CURLE_OK;
    }
    bool Good() const { return good_; }

private:
    CURL *handle_;
    bool good_ = true;
};

void SetOptions(Options &options, const Server &server, const Request &request, Reply &reply) {
    options.Set(CURLOPT_URL, (server.url + request.path).c_str());
    options.Set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    options.Set(CURLOPT_FRESH_CONNECT, 1L);
    options.Set(CURLOPT_FORBID_REUSE, 1L);
    options.Set(CURLOPT_NOSIGNAL, 1L);
    options.Set(CURLOPT_TIMEOUT, server.timeoutSeconds);
    options.Set(CURLOPT_SSL_VERIFYPEER, 0L);
    options.Set(CURLOPT_SSL_VERIFYHOST, 0L);
    options.Set(CURLOPT_HTTPHEADER, request.headers.Get());
    options.Set(CURLOPT_HEADERFUNCTION, TakeHead);
    options.Set(CURLOPT_HEADERDATA, &reply);
    options.Set(CURLOPT_WRITEFUNCTION, TakeBody);
    options.Set(CURLOPT_WRITEDATA, &reply);
    if (request.method != "GET") {
        options.Set(CURLOPT_CUSTOMREQUEST, request.method.c_str());
        options.Set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
        options.Set(CURLOPT_COPYPOSTFIELDS, request.body.data());
    }
}

void SetSender(Options &options, const Server &server, const Request &request, CURLSH *cookies) {
    if (server.https && request.withCookies) {
        options.Set(CURLOPT_SHARE, cookies);
        options.Set(CURLOPT_COOKIEFILE, "");
    }
    if (server.https && request.withPassword && !server.user.empty()) {
        options.Set(CURLOPT_USERNAME, server.user.c_str());
        options.Set(CURLOPT_PASSWORD, server.password.c_str());
    }
}

CurlHandle NewHandle() {
    CurlHandle handle(curl_easy_init());
    if (handle == nullptr) {
        throw std::runtime_error("libcurl cannot begin");
    }
    return handle;
}

[[noreturn]] void Refused() {
    throw std::runtime_error("libcurl does not take a request");
}

}  // namespace

bool ReadUrl(const std::string &text, Server &server) {
    server.url = text.substr(0, text.find_last_not_of('/') + 1);
    server.https = StartsWith(text, "https://");
    const Url url(curl_url());
    if (url == nullptr || (!server.https && !StartsWith(text, "http://"))) {
        return false;
    }
    return curl_url_set(url.get(), CURLUPART_URL, text.c_str(), 0) == CURLUE_OK &&
           !Has(url.get(), CURLUPART_QUERY) && !Has(url.get(), CURLUPART_FRAGMENT) &&
           !Has(url.get(), CURLUPART_USER);
}

Client::Client(Server server) : server_(std::move(server)), cookies_(curl_share_init()) {
    if (cookies_ == nullptr ||
        curl_share_setopt(cookies_.get(), CURLSHOPT_SHARE, CURL_LOCK_DATA_COOKIE) != CURLSHE_OK) {
        throw std::runtime_error("libcurl cannot begin");
    }
}

Reply Client::Send(const Request &request) {
    const CurlHandle handle = NewHandle();
    Reply reply;
    Options options(handle.get());
    SetOptions(options, server_, request, reply);
    SetSender(options, server_, request, cookies_.get());
    if (!options.Good() || !request.headers.Complete()) {
        Refused();
    }
    const CURLcode result = curl_easy_perform(handle.get());
    if (result != CURLE_OK) {
        reply.failure = curl_easy_strerror(result);
    }
    if (curl_easy_getinfo(handle.get(), CURLINFO_RESPONSE_CODE, &reply.status) != CURLE_OK) {
        Refused();
    }
    return reply;
}

bool Client::CanConnect() const {
    const CurlHandle handle = NewHandle();
    Options options(handle.get());
    Reply reply;
    SetOptions(options, server_, {"GET", "/", "", {}, false, false}, reply);
    options.Set(CURLOPT_CONNECT_ONLY, 1L);
    if (!options.Good()) {
        Refused();
    }
    return curl_easy_perform(handle.get()) == CURLE_OK;
}

}  // namespace corvenna::conform
