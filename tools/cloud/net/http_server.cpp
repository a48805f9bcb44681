#include "tools/cloud/net/http_server.h"

#include <boost/asio/basic_socket_acceptor.hpp>
#include <boost/asio/ip/v6_only.hpp>
#include <boost/asio/post.hpp>
#include <optional>
#include <stdexcept>

#include "tools/cloud/ground/say.h"
#include "tools/cloud/net/session.h"

namespace corvenna::cloud {
namespace {

using boost::system::error_code;

constexpr std::size_t kThreads = 2;
constexpr int kBacklog = 4096;
constexpr std::chrono::milliseconds kAcceptPause{100};  // when descriptors have run out
constexpr std::chrono::seconds kRefusalsApart{10};      // between messages about them
constexpr std::chrono::seconds kEndSteps{1};

/// The library takes its context over, and ours stays: both count.
asio::ssl::context Shared(SSL_CTX *context) {
    SSL_CTX_up_ref(context);
    return asio::ssl::context(context);
}

asio::ip::tcp::endpoint Resolve(asio::io_context &io, const std::string &address, int port) {
    asio::ip::tcp::resolver resolver(io);
    error_code error;
    const auto found =
        resolver.resolve(address, std::to_string(port), asio::ip::tcp::resolver::passive, error);
    if (error || found.empty()) {
        throw std::runtime_error("there is no address " + address + ": " + error.message());
    }
    return *found.begin();
}

}  // namespace

/// One port.
class HttpServer::Listener : public std::enable_shared_from_this<Listener> {
public:
    Listener(asio::io_context &io, OpenConnections &open, const Limits &limits,
             const Service &service)
        : io_(io), acceptor_(asio::make_strand(io)), pause_(acceptor_.get_executor()), open_(open) {
        if (service.tls != nullptr) {
            tls_.emplace(
                ServerTls{Shared(service.tls->current.get()), Shared(service.tls->old.get())});
        }
        backend_.emplace(Backend{service.site, service.workers, service.bodies, limits,
                                 tls_ ? &*tls_ : nullptr});
    }

    int Bind(const std::string &address, int port) {
        const auto endpoint = Resolve(io_, address, port);
        error_code error;
        acceptor_.open(endpoint.protocol(), error);
        if (!error) {
            acceptor_.set_option(asio::socket_base::reuse_address(true), error);
        }
        if (!error) {
            acceptor_.bind(endpoint, error);
        }
        if (!error) {
            acceptor_.listen(kBacklog, error);
        }
        if (error) {
            throw std::runtime_error("cannot listen on " + address + " port " +
                                     std::to_string(port) + ": " + error.message());
        }
        return acceptor_.local_endpoint().port();
    }

    void Start() {
        asio::post(acceptor_.get_executor(), [self = shared_from_this()] { self->Accept(); });
    }

    void Stop() {
        asio::post(acceptor_.get_executor(), [self = shared_from_this()] {
            error_code ignored;
            self->acceptor_.close(ignored);
            self->pause_.cancel();
        });
    }

private:
    using Acceptor = asio::basic_socket_acceptor<asio::ip::tcp, Strand>;

    void Accept() {
        acceptor_.async_accept(asio::make_strand(io_),
                               [self = shared_from_this()](const error_code &error, Socket socket) {
                                   if (!self->acceptor_.is_open()) {
                                       return;
                                   }
                                   if (error) {
                                       self->Wait(error);
                                       return;
                                   }
                                   self->TryToTake(std::move(socket));
                                   self->Accept();
                               });
    }

    void Wait(const error_code &error) {
        SayRarely("cannot take a connection: " + error.message());
        pause_.expires_after(kAcceptPause);
        pause_.async_wait([self = shared_from_this()](const error_code &) {
            if (self->acceptor_.is_open()) {
                self->Accept();
            }
        });
    }

    /// One for which there is no memory is lost, but not those behind it.
    void TryToTake(Socket socket) {
        try {
            Take(std::move(socket));
        } catch (const std::exception &error) {
            SayRarely(std::string("cannot take a connection: ") + error.what());
        }
    }

    void Take(Socket socket) {
        error_code error;
        const auto peer = socket.remote_endpoint(error);
        if (error) {
            return;  // it has gone already
        }
        const std::string address = AddressText(peer.address());
        const auto [place, givesWay] = open_.Admit(address);
        if (!place) {
            SayRarely("a connection of " + address + " is refused: there are too many at work");
            return;
        }
        if (givesWay) {
            givesWay->GiveWay();
            SayRarely(
                "there are too many connections: that which has waited longest gives way to"
                " one of " +
                address);
        }
        const auto session = std::make_shared<Session>(
            *backend_, std::make_shared<Connection>(std::move(socket), place), place);
        open_.SetSession(*place, session);
        session->Start();
    }

    void SayRarely(const std::string &text) {
        if (Clock::now() >= quietUntil_) {
            quietUntil_ = Clock::now() + kRefusalsApart;
            Say(text);
        }
    }

    asio::io_context &io_;
    Acceptor acceptor_;
    Timer pause_;
    OpenConnections &open_;
    std::optional<ServerTls> tls_;
    std::optional<Backend> backend_;
    Clock::time_point quietUntil_ = Clock::time_point::min();
};

HttpServer::HttpServer(const Limits &limits) : limits_(limits), io_(static_cast<int>(kThreads)) {}

HttpServer::~HttpServer() {
    Stop();
}

int HttpServer::Listen(const Service &service, const std::string &address, int port) {
    auto listener = std::make_shared<Listener>(io_, open_, limits_, service);
    const int bound = listener->Bind(address, port);
    listeners_.push_back(std::move(listener));
    return bound;
}

void HttpServer::Start() {
    for (const auto &listener : listeners_) {
        listener->Start();
    }
    for (std::size_t i = 0; i < kThreads; ++i) {
        threads_.emplace_back([this] { Run(); });
    }
}

void HttpServer::Run() {
    const auto work = asio::make_work_guard(io_);
    while (!io_.stopped()) {
        try {
            io_.run();
        } catch (const std::exception &error) {
            Say(std::string("a connection failed: ") + error.what());
        }
    }
}

void HttpServer::Stop() {
    if (threads_.empty()) {
        return;
    }
    for (const auto &listener : listeners_) {
        listener->Stop();
    }
    open_.ForEach([](Session &session) { session.Stop(); });
    // A handler that is still at it replies to nobody, but it must come back.
    for (bool none = open_.WaitUntilNone(kGrace); !none; none = open_.WaitUntilNone(kEndSteps)) {
        open_.ForEach([](Session &session) { session.Abort(); });
    }
    io_.stop();
    for (std::thread &thread : threads_) {
        thread.join();
    }
    threads_.clear();
    listeners_.clear();
}

}  // namespace corvenna::cloud
