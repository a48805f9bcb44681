#pragma once

#include <httplib.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>

#include "tools/cloud/connection.h"
#include "tools/cloud/faults.h"
#include "tools/cloud/trace.h"

namespace corvenna::cloud {

/// One request on its way through a site.
struct Exchange {
    const httplib::Request *request = nullptr;
    httplib::Response *response = nullptr;
    std::string encoding;  ///< Content-Encoding of the body, which is as it was sent
    std::string body;
    std::optional<Fault> fault;
    TraceEntry trace;
};

/// What stands behind a listener. Called by several threads at once.
class Site {
public:
    virtual ~Site() = default;

    /// Fills exchange.response.
    virtual void Answer(Exchange &exchange) = 0;
    /// How many bytes a body may have; longer ones are answered 413.
    virtual std::size_t BodyLimit(const httplib::Request &request) const = 0;
    /// A fault for a new TLS connection, for a request.
    virtual std::optional<Fault> HandshakeFault() { return std::nullopt; }
    virtual std::optional<Fault> RequestFault(const httplib::Request & /*request*/) {
        return std::nullopt;
    }
    /// The exchange is over.
    virtual void Done(Exchange & /*exchange*/) {}
};

/// Sets status and text of an answer that says what is wrong.
void SetError(httplib::Response &response, int status, const std::string &reason);

/// A listener with the threads that serve its connections. HTTP itself is the library's; this class
/// gives it connections whose answers can be spoilt, and bounds on what a request may take.
class HttpServer : private httplib::Server {
public:
    /// @param tls null for plain HTTP. It and the site are borrowed until the server is destroyed.
    HttpServer(Site &site, const TlsContexts *tls);
    ~HttpServer() override;

    /// Takes a port; 0 lets the system choose. Throws std::runtime_error.
    /// @return the port.
    int Bind(const std::string &address, int port);
    /// Serves what Bind took.
    void Start();
    /// Ends every connection and waits for their threads.
    void Stop();

private:
    class OpenSocket;

    bool process_and_close_socket(socket_t socket) override;
    bool Shake(Connection &connection);
    bool Serve(Connection &connection);
    bool Deliver(Connection &connection, const Exchange &exchange);
    bool Drip(Connection &connection, const Delivery &delivery);
    bool Pause(std::chrono::milliseconds time);
    void AddRoutes();
    void Handle(const httplib::Request &request, httplib::Response &response,
                const httplib::ContentReader *reader);
    bool ReadBody(Exchange &exchange, const httplib::ContentReader &reader);

    Site &site_;
    const TlsContexts *tls_;
    std::thread thread_;
    std::mutex mutex_;
    std::condition_variable stopped_;
    bool stopping_ = false;
    std::set<int> open_;
};

}  // namespace corvenna::cloud
