#pragma once

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tools/cloud/http/site.h"
#include "tools/cloud/net/asio.h"
#include "tools/cloud/net/limits.h"
#include "tools/cloud/net/open_connections.h"
#include "tools/cloud/net/tls.h"
#include "tools/cloud/net/workers.h"

namespace corvenna::cloud {

class BodyBudget;

/// What a listener serves. All of it lives longer than the server.
struct Service {
    Site &site;
    Workers &workers;    ///< where the site's handlers run
    BodyBudget &bodies;  ///< what its requests' bodies may take together
    const TlsContexts *tls = nullptr;
};

/// Listeners, and the two threads on which the connections of all of them are served: however many
/// there are, and however slow, none holds up another. Not to be shared between threads.
class HttpServer {
public:
    explicit HttpServer(const Limits &limits);
    ~HttpServer();
    HttpServer(const HttpServer &) = delete;
    HttpServer &operator=(const HttpServer &) = delete;

    /// Takes a port; 0 lets the system choose. Throws std::runtime_error.
    /// @return the port.
    int Listen(const Service &service, const std::string &address, int port);
    /// Serves what Listen took.
    void Start();
    /// Takes no more connections, gives requests that are being handled a moment to be answered,
    /// and ends all.
    void Stop();

private:
    class Listener;

    void Run();

    Limits limits_;
    asio::io_context io_;
    OpenConnections open_{limits_};
    std::vector<std::shared_ptr<Listener>> listeners_;
    std::vector<std::thread> threads_;
};

}  // namespace corvenna::cloud
