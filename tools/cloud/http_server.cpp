#include "tools/cloud/http_server.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace corvenna::cloud {
namespace {

constexpr std::size_t kThreads = 48;
constexpr int kRequestsPerConnection = 1000;
constexpr std::chrono::seconds kIdle{5};

// The request that this thread is answering: the library calls back without a context of ours.
thread_local Exchange *currentExchange = nullptr;

/// Two servers on one port would share its connections by chance; the library's default allows it.
void SetSocketOptions(socket_t socket) {
    const int on = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
}

bool HasBody(const httplib::Request &request) {
    return request.has_header("Content-Length") || request.has_header("Transfer-Encoding");
}

std::string HeaderLines(const httplib::Request &request) {
    // The library's own notes about the connection are no headers of the gateway's.
    static const std::set<std::string> kOwn = {"REMOTE_ADDR", "REMOTE_PORT", "LOCAL_ADDR",
                                               "LOCAL_PORT"};
    std::string lines;
    for (const auto &[name, value] : request.headers) {
        if (kOwn.count(name) == 0) {
            lines.append(name).append(": ").append(value).append("\n");
        }
    }
    return lines;
}

}  // namespace

void SetError(httplib::Response &response, int status, const std::string &reason) {
    response.status = status;
    response.set_content(reason + "\n", "text/plain; charset=UTF-8");
}

/// Lists a socket while it is open, so that Stop can end it.
class HttpServer::OpenSocket {
public:
    OpenSocket(HttpServer &server, int socket) : server_(server), socket_(socket) {
        const std::lock_guard lock(server_.mutex_);
        server_.open_.insert(socket_);
        if (server_.stopping_) {
            shutdown(socket_, SHUT_RDWR);
        }
    }
    ~OpenSocket() {
        const std::lock_guard lock(server_.mutex_);
        server_.open_.erase(socket_);
    }
    OpenSocket(const OpenSocket &) = delete;
    OpenSocket &operator=(const OpenSocket &) = delete;

private:
    HttpServer &server_;
    int socket_;
};

HttpServer::HttpServer(Site &site, const TlsContexts *tls) : site_(site), tls_(tls) {
    set_socket_options(SetSocketOptions);
    set_keep_alive_max_count(kRequestsPerConnection);  // what answers say; the loop is below
    set_keep_alive_timeout(kIdle.count());
    new_task_queue = [] { return new httplib::ThreadPool(kThreads); };
    AddRoutes();
}

HttpServer::~HttpServer() {
    Stop();
}

void HttpServer::AddRoutes() {
    const char *all = "[^]*";
    const auto plain = [this](const auto &request, auto &response) {
        Handle(request, response, nullptr);
    };
    const auto withBody = [this](const auto &request, auto &response, const auto &reader) {
        Handle(request, response, &reader);
    };
    Server::Get(all, plain).Options(all, plain);
    Server::Post(all, withBody).Put(all, withBody).Patch(all, withBody).Delete(all, withBody);
}

int HttpServer::Bind(const std::string &address, int port) {
    const int bound =
        port == 0 ? bind_to_any_port(address) : (bind_to_port(address, port) ? port : -1);
    if (bound <= 0) {
        throw std::runtime_error("cannot listen on " + address + " port " + std::to_string(port) +
                                 ": " + std::strerror(errno));
    }
    return bound;
}

void HttpServer::Start() {
    thread_ = std::thread([this] { listen_after_bind(); });
}

void HttpServer::Stop() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
        for (const int socket : open_) {
            shutdown(socket, SHUT_RDWR);
        }
    }
    stopped_.notify_all();
    if (thread_.joinable()) {
        while (!is_running()) {  // it was only just started
            std::this_thread::yield();
        }
        Server::stop();
        thread_.join();
    }
}

bool HttpServer::Pause(std::chrono::milliseconds time) {
    std::unique_lock lock(mutex_);
    return !stopped_.wait_for(lock, time, [this] { return stopping_; });
}

bool HttpServer::process_and_close_socket(socket_t socket) {
    Connection connection(socket);
    const OpenSocket open(*this, socket);
    if (!Shake(connection)) {
        return false;
    }
    int left = kRequestsPerConnection;
    while (left-- > 0 && connection.WaitForRequest(kIdle) && Serve(connection)) {
    }
    return true;
}

bool HttpServer::Shake(Connection &connection) {
    if (tls_ == nullptr) {
        return true;
    }
    Exchange exchange;
    exchange.fault = site_.HandshakeFault();
    bool shaken = false;
    if (exchange.fault && exchange.fault->kind == FaultKind::kTlsBreak) {
        connection.BreakTls();
    } else {
        shaken = connection.StartTls(exchange.fault ? tls_->old.get() : tls_->current.get());
    }
    if (!shaken) {
        int port = 0;
        connection.get_remote_ip_and_port(exchange.trace.address, port);
        exchange.trace.scheme = "https";
        exchange.trace.note = "the TLS handshake failed";
        site_.Done(exchange);
    }
    return shaken;
}

/// @return whether the connection can carry another request.
bool HttpServer::Serve(Connection &connection) {
    const auto start = std::chrono::steady_clock::now();
    Exchange exchange;
    int port = 0;
    connection.get_remote_ip_and_port(exchange.trace.address, port);
    exchange.trace.scheme = tls_ == nullptr ? "http" : "https";
    connection.BeginRequest();
    currentExchange = &exchange;
    bool closing = false;
    const bool processed =
        process_request(connection, false, closing, [&](httplib::Request &request) {
            connection.EndHead();
            exchange.trace.method = request.method;
            exchange.trace.target = request.target;
            exchange.trace.requestHeaders = HeaderLines(request);
            // What the library would do by itself is the site's business: ranges, and inflating,
            // which the library does without a bound.
            request.ranges.clear();
            exchange.encoding = request.get_header_value("Content-Encoding");
            request.headers.erase("Content-Encoding");
            exchange.fault = site_.RequestFault(request);
            if (exchange.fault) {
                connection.HoldAnswer();
            }
        });
    currentExchange = nullptr;
    if (connection.RequestBytes() == 0) {
        return false;  // the peer has gone
    }
    const bool delivered = Deliver(connection, exchange);
    const bool asked = closing || connection.Status() == 413 || connection.Status() == 400;
    exchange.trace.status = connection.AnswerBytes() == 0 ? 0 : connection.Status();
    exchange.trace.answerBytes = static_cast<std::int64_t>(connection.AnswerBytes());
    exchange.trace.milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(
                                      std::chrono::steady_clock::now() - start)
                                      .count();
    site_.Done(exchange);
    if (delivered && connection.Status() == 413) {
        connection.Linger();
    }
    return processed && delivered && !asked;
}

/// @return whether the connection stays.
bool HttpServer::Deliver(Connection &connection, const Exchange &exchange) {
    const std::string answer = connection.TakeAnswer();
    if (!exchange.fault) {
        return connection.Send(answer);
    }
    const Delivery delivery = Spoil(*exchange.fault, answer);
    if (delivery.wait.count() > 0 && !Pause(delivery.wait)) {
        return false;
    }
    const bool sent =
        delivery.perByte.count() > 0 ? Drip(connection, delivery) : connection.Send(delivery.bytes);
    if (delivery.end == Delivery::End::kReset) {
        connection.ResetAtEnd();
    }
    return sent && delivery.end == Delivery::End::kKeep;
}

bool HttpServer::Drip(Connection &connection, const Delivery &delivery) {
    for (const char &byte : delivery.bytes) {
        if (!connection.Send({&byte, 1}) || !Pause(delivery.perByte)) {
            return false;
        }
    }
    return true;
}

bool HttpServer::ReadBody(Exchange &exchange, const httplib::ContentReader &reader) {
    const std::size_t limit = site_.BodyLimit(*exchange.request);
    bool tooLarge = false;
    const bool whole = reader([&](const char *bytes, std::size_t length) {
        tooLarge = length > limit - exchange.body.size();
        if (!tooLarge) {
            exchange.body.append(bytes, length);
        }
        return !tooLarge;
    });
    if (tooLarge) {
        SetError(*exchange.response, 413,
                 "the body is larger than " + std::to_string(limit) + " bytes");
    } else if (!whole) {
        SetError(*exchange.response, 400, "the body did not arrive whole");
    }
    return whole && !tooLarge;
}

void HttpServer::Handle(const httplib::Request &request, httplib::Response &response,
                        const httplib::ContentReader *reader) {
    Exchange &exchange = *currentExchange;
    exchange.request = &request;
    exchange.response = &response;
    if (reader == nullptr || !HasBody(request) || ReadBody(exchange, *reader)) {
        site_.Answer(exchange);
    }
    exchange.trace.requestBytes = static_cast<std::int64_t>(exchange.body.size());
    if (exchange.trace.answerBody.empty()) {
        exchange.trace.answerBody = Excerpt(response.body);
    }
    exchange.request = nullptr;
    exchange.response = nullptr;
}

}  // namespace corvenna::cloud
