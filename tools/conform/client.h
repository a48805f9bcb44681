#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "base/wire_format.h"
#include "http/curl.h"

namespace corvenna::conform {

/// Where the cloud is, and what it is told about the sender.
struct Server {
    std::string url;  ///< scheme, host, port and prefix, without a slash at the end
    bool https = false;
    long timeoutSeconds = 90;
    std::string user;  ///< with `password` sent where a gateway sends it, over HTTPS
    std::string password;
};

/// @return false for what is no URL of a cloud.
bool ReadUrl(const std::string &text, Server &server);

/// The dress of a request.
struct Way {
    Format format = Format::kJson;
    bool deflated = false;

    const char *Word() const { return format == Format::kXml ? "xml" : "json"; }
};

/// A request as gateways send it.
struct Request {
    std::string method;
    std::string path;  ///< behind the prefix
    std::string body;  ///< of POST, PUT and DELETE, as it goes out
    HeaderList headers;
    bool withPassword = false;
    bool withCookies = true;  ///< over HTTPS
};

/// What came back.
struct Reply {
    std::string failure;  ///< why there is no whole answer; empty when there is
    long status = 0;
    std::string body;
    std::size_t headBytes = 0;
    int pieces = 0;  ///< in which libcurl handed the body over
    bool chunked = false;
    bool cookieSet = false;
    bool http11 = false;

    bool Arrived() const { return failure.empty(); }
};

/// Sends requests by libcurl as the plug-in does: a connection for each, peers not verified, no
/// redirects, cookies over HTTPS.
class Client {
public:
    /// Throws std::runtime_error when libcurl has no handle.
    explicit Client(Server server);

    Reply Send(const Request &request);
    const Server &Its() const { return server_; }

    /// Whether anything listens there.
    bool CanConnect() const;

private:
    Server server_;
    std::unique_ptr<CURLSH, FreedBy<curl_share_cleanup>> cookies_;
};

}  // namespace corvenna::conform
