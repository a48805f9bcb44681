#include "tests/support/scripted_server.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <deque>
#include <list>
#include <mutex>
#include <optional>
#include <set>
#include <thread>

#include "base/handle.h"

namespace corvenna::test {
namespace {

using TlsContext = std::unique_ptr<SSL_CTX, FreedBy<SSL_CTX_free>>;
using TlsSession = std::unique_ptr<SSL, FreedBy<SSL_free>>;
using Certificate = std::unique_ptr<X509, FreedBy<X509_free>>;
using Key = std::unique_ptr<EVP_PKEY, FreedBy<EVP_PKEY_free>>;
using Memory = std::unique_ptr<BIO, FreedBy<BIO_free_all>>;

constexpr std::chrono::minutes kPatience{5};
constexpr std::chrono::milliseconds kUntilNextLook{10};
constexpr char kLineEnd[] = "\r\n";

// ---- TLS ---------------------------------------------------------------------------------------

/// @param lasts seconds from now on, negative for one that has expired.
Certificate SelfSigned(EVP_PKEY *key, long lasts) {
    constexpr long kDaySeconds = 24L * 60 * 60;
    Certificate certificate(X509_new());
    X509_set_version(certificate.get(), 2);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 1);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -kDaySeconds);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), lasts);
    X509_set_pubkey(certificate.get(), key);
    X509_NAME *name = X509_get_subject_name(certificate.get());
    const std::string host = "scripted.invalid";
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char *>(host.c_str()), -1, -1, 0);
    X509_set_issuer_name(certificate.get(), name);
    X509_sign(certificate.get(), key, EVP_sha256());
    return certificate;
}

std::string Pem(X509 *certificate) {
    const Memory memory(BIO_new(BIO_s_mem()));
    PEM_write_bio_X509(memory.get(), certificate);
    char *data = nullptr;
    const long length = BIO_get_mem_data(memory.get(), &data);
    return {data, static_cast<std::size_t>(length)};
}

/// A server's context with a fresh self-signed certificate.
TlsContext MakeContext(Protocol protocol, std::string &pem) {
    TlsContext context(SSL_CTX_new(TLS_server_method()));
    const Key key(EVP_EC_gen("P-256"));
    constexpr long kHourSeconds = 3600;
    const Certificate certificate =
        SelfSigned(key.get(), protocol == Protocol::kTlsExpired ? -kHourSeconds : kHourSeconds);
    pem = Pem(certificate.get());
    if (protocol == Protocol::kTlsTooOld) {
        SSL_CTX_set_cipher_list(context.get(), "ALL:@SECLEVEL=0");
        SSL_CTX_set_min_proto_version(context.get(), TLS1_VERSION);
        SSL_CTX_set_max_proto_version(context.get(), TLS1_VERSION);
    }
    SSL_CTX_use_certificate(context.get(), certificate.get());
    SSL_CTX_use_PrivateKey(context.get(), key.get());
    return context;
}

// ---- Messages ----------------------------------------------------------------------------------

std::string StatusLine(int status) {
    return "HTTP/1.1 " + std::to_string(status) + " Scripted\r\n";
}

std::string Head(int status, const std::vector<std::string> &headers) {
    std::string head = StatusLine(status);
    for (const std::string &header : headers) {
        head += header + kLineEnd;
    }
    return head + kLineEnd;
}

std::string Joined(const std::vector<std::string> &pieces) {
    std::string whole;
    for (const std::string &piece : pieces) {
        whole += piece;
    }
    return whole;
}

std::string LengthHeader(std::size_t length) {
    return "Content-Length: " + std::to_string(length);
}

std::string Chunk(const std::string &piece) {
    char size[32];
    std::snprintf(size, sizeof size, "%zx\r\n", piece.size());
    return size + piece + kLineEnd;
}

/// An answer without body, as far as framing goes.
bool HasNoBody(int status) {
    return status == 204 || status == 304;
}

/// The offset of "Range: bytes=N-".
std::optional<std::size_t> RangeStart(const Request &request) {
    const std::string range = request.Header("Range");
    const std::string unit = "bytes=";
    if (range.compare(0, unit.size(), unit) != 0) {
        return std::nullopt;
    }
    return std::strtoul(range.c_str() + unit.size(), nullptr, 10);
}

/// Splits a header block into its lines.
Request ParseHead(const std::string &head) {
    Request request;
    request.head = head;
    std::size_t from = 0;
    for (std::size_t to = head.find(kLineEnd); to != from && to != std::string::npos;
         to = head.find(kLineEnd, from)) {
        const std::string line = head.substr(from, to - from);
        if (from == 0) {
            request.line = line;
        } else {
            request.headers.push_back(line);
        }
        from = to + 2;
    }
    const std::size_t blank = request.line.find(' ');
    request.method = request.line.substr(0, blank);
    if (blank != std::string::npos) {
        request.path = request.line.substr(blank + 1, request.line.rfind(' ') - blank - 1);
    }
    return request;
}

}  // namespace

// ---- Request and ready-made answers ------------------------------------------------------------

bool Request::HasHeader(const std::string &name) const {
    return std::any_of(headers.begin(), headers.end(), [&](const std::string &header) {
        return header.size() > name.size() && header[name.size()] == ':' &&
               strncasecmp(header.c_str(), name.c_str(), name.size()) == 0;
    });
}

std::string Request::Header(const std::string &name) const {
    for (const std::string &header : headers) {
        if (header.size() > name.size() && header[name.size()] == ':' &&
            strncasecmp(header.c_str(), name.c_str(), name.size()) == 0) {
            const std::size_t value = header.find_first_not_of(' ', name.size() + 1);
            return value == std::string::npos ? "" : header.substr(value);
        }
    }
    return "";
}

Answer Reply(int status, const std::string &body, const std::vector<std::string> &headers) {
    std::vector<std::string> all = headers;
    if (!HasNoBody(status)) {
        all.push_back(LengthHeader(body.size()));
    }
    const std::string bytes = Head(status, all) + body;
    return {[bytes](Exchange &exchange) { exchange.Send(bytes); }};
}

Answer ReplyChunked(int status, const std::vector<std::string> &pieces,
                    const std::vector<std::string> &headers) {
    std::vector<std::string> all = headers;
    all.emplace_back("Transfer-Encoding: chunked");
    return {[status, pieces, all](Exchange &exchange) {
        exchange.Send(Head(status, all));
        for (const std::string &piece : pieces) {
            exchange.Send(Chunk(piece));
        }
        exchange.Send(Chunk(""));
    }};
}

Answer ReplyInPieces(int status, const std::vector<std::string> &pieces) {
    return {[status, pieces](Exchange &exchange) {
        exchange.Send(Head(status, {LengthHeader(Joined(pieces).size())}));
        for (const std::string &piece : pieces) {
            exchange.AwaitRelease();
            exchange.Send(piece);
        }
    }};
}

Answer ReplyUntilClose(int status, const std::string &body) {
    return ReplyRaw(Head(status, {"Connection: close"}) + body);
}

Answer ReplyTruncated(int status, std::size_t announced, const std::string &body) {
    return ReplyRaw(Head(status, {LengthHeader(announced)}) + body);
}

Answer ReplyFile(const std::string &content) {
    return {[content](Exchange &exchange) {
        const std::optional<std::size_t> start = RangeStart(exchange.Received());
        const std::string size = std::to_string(content.size());
        if (!start) {
            exchange.Send(Head(200, {LengthHeader(content.size())}) + content);
        } else if (*start >= content.size()) {
            exchange.Send(Head(416, {"Content-Range: bytes */" + size, LengthHeader(0)}));
        } else {
            const std::string range = "Content-Range: bytes " + std::to_string(*start) + "-" +
                                      std::to_string(content.size() - 1) + "/" + size;
            exchange.Send(Head(206, {range, LengthHeader(content.size() - *start)}) +
                          content.substr(*start));
        }
    }};
}

Answer ReplyRaw(const std::string &bytes) {
    return {[bytes](Exchange &exchange) {
        exchange.Send(bytes);
        exchange.Close();
    }};
}

Answer CloseAt(Stage stage) {
    return {[](Exchange &exchange) { exchange.Close(); }, stage};
}

Answer ResetAt(Stage stage, const std::string &sent) {
    return {[sent](Exchange &exchange) {
                exchange.Send(sent);
                exchange.Reset();
            },
            stage};
}

Answer Stall(const std::string &sent) {
    return {[sent](Exchange &exchange) {
        exchange.Send(sent);
        exchange.AwaitClientClose();
    }};
}

// ---- The server --------------------------------------------------------------------------------

class ScriptedServer::Impl {
public:
    explicit Impl(Protocol protocol);
    ~Impl();
    Impl(const Impl &) = delete;
    Impl &operator=(const Impl &) = delete;

    // The answer of a connection's next request, taken when the stage for which it is meant comes.
    std::optional<Answer> TakeAt(Stage stage);
    // Records the request and takes its answer in one step: whoever was told of the request knows
    // that the next one gets the next answer.
    Answer TakeAnswer(const Request &request);
    void Record(const Request &request);
    void AwaitRelease();
    bool Stopping() const { return stopping_; }
    void AwaitNoConnection();
    // Sockets in use are known here, so that the server's end can shut them down.
    void Adopt(int socket);
    void CloseSocket(int socket);

    std::atomic<bool> silent{false};
    const Protocol protocol;
    std::string certificate;
    TlsContext context;
    int port = 0;

    mutable std::mutex mutex;
    mutable std::condition_variable changed;
    std::deque<Answer> script;
    std::function<Answer(const Request &)> handler;
    std::vector<Request> requests;
    bool keepsRequests = true;
    int connections = 0;
    int releases = 0;

private:
    std::optional<Answer> TakeLocked(Stage stage);
    void RecordLocked(const Request &request);

    /// A connection's thread.
    struct Served {
        std::atomic<bool> ended{false};
        std::thread thread;
    };

    void Listen();
    void AcceptAll();
    int Accept() const;
    void JoinEnded();

    std::atomic<bool> stopping_{false};
    int listener_ = -1;
    std::set<int> sockets_;
    std::list<Served> served_;
    std::thread acceptor_;
};

namespace {

/// One connection: reads requests, plays answers.
class Connection : public Exchange {
public:
    Connection(ScriptedServer::Impl &server, int socket) : server_(server), socket_(socket) {}
    ~Connection() override { Shut(); }
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;

    void Serve();

    const Request &Received() const override { return request_; }
    bool Send(const std::string &bytes) override;
    void Close() override;
    void Reset() override;
    void AwaitRelease() override { server_.AwaitRelease(); }
    void AwaitClientClose() override;

private:
    bool PlayIfDue(Stage stage);
    bool Handshake();
    bool ReadRequest();
    bool ReadBody();
    bool ReadChunked();
    bool ReadLine(std::string &line);
    bool ReadExactly(std::size_t length, std::string &to);
    bool Fill();
    void Shut();

    ScriptedServer::Impl &server_;
    int socket_;
    TlsSession tls_;
    Request request_;
    std::string unread_;
};

void Connection::Serve() {
    if (server_.silent) {
        AwaitClientClose();
        return;
    }
    if (PlayIfDue(Stage::kAccept) && socket_ < 0) {
        return;
    }
    if (server_.context != nullptr && !Handshake()) {
        return;
    }
    while (socket_ >= 0 && !server_.Stopping() && ReadRequest()) {
        server_.TakeAnswer(request_).play(*this);
    }
}

/// Plays the next answer if it is meant for this stage. @return whether it was.
bool Connection::PlayIfDue(Stage stage) {
    const std::optional<Answer> answer = server_.TakeAt(stage);
    if (answer) {
        answer->play(*this);
    }
    return answer.has_value();
}

bool Connection::Handshake() {
    if (server_.protocol == Protocol::kTlsClosedInHandshake) {
        char hello[1024];
        static_cast<void>(recv(socket_, hello, sizeof hello, 0));
        return false;
    }
    tls_.reset(SSL_new(server_.context.get()));
    SSL_set_fd(tls_.get(), socket_);
    return SSL_accept(tls_.get()) == 1;
}

/// @return whether a whole request stands in request_, and is still to be recorded and answered.
bool Connection::ReadRequest() {
    request_ = Request();
    std::string head;
    std::string line;
    do {
        if (!ReadLine(line)) {
            return false;
        }
        head += line + kLineEnd;
    } while (!line.empty());
    request_ = ParseHead(head);
    const std::optional<Answer> early = server_.TakeAt(Stage::kHead);
    if (early) {
        server_.Record(request_);
        early->play(*this);
        Close();
        return false;
    }
    request_.complete = ReadBody();
    if (!request_.complete) {
        server_.Record(request_);
    }
    return request_.complete;
}

bool Connection::ReadBody() {
    if (request_.Header("Transfer-Encoding") == "chunked") {
        return ReadChunked();
    }
    return ReadExactly(std::strtoul(request_.Header("Content-Length").c_str(), nullptr, 10),
                       request_.body);
}

bool Connection::ReadChunked() {
    std::string line;
    for (;;) {
        if (!ReadLine(line)) {
            return false;
        }
        const std::size_t size = std::strtoul(line.c_str(), nullptr, 16);
        if (!ReadExactly(size, request_.body) || !ReadLine(line)) {
            return false;
        }
        if (size == 0) {
            return true;
        }
    }
}

bool Connection::ReadLine(std::string &line) {
    std::size_t end = unread_.find(kLineEnd);
    while (end == std::string::npos) {
        if (!Fill()) {
            return false;
        }
        end = unread_.find(kLineEnd);
    }
    line = unread_.substr(0, end);
    unread_.erase(0, end + 2);
    return true;
}

/// Appends what there is, even when the client goes away before the end.
bool Connection::ReadExactly(std::size_t length, std::string &to) {
    while (length > 0) {
        if (unread_.empty() && !Fill()) {
            return false;
        }
        const std::size_t taken = std::min(length, unread_.size());
        to.append(unread_, 0, taken);
        unread_.erase(0, taken);
        length -= taken;
    }
    return true;
}

bool Connection::Fill() {
    char block[16384];
    const auto got = tls_ != nullptr
                         ? static_cast<ssize_t>(SSL_read(tls_.get(), block, sizeof block))
                         : recv(socket_, block, sizeof block, 0);
    if (got <= 0) {
        return false;
    }
    unread_.append(block, static_cast<std::size_t>(got));
    return true;
}

bool Connection::Send(const std::string &bytes) {
    std::size_t sent = 0;
    while (socket_ >= 0 && sent < bytes.size()) {
        const char *from = bytes.data() + sent;
        const std::size_t left = bytes.size() - sent;
        const auto done =
            tls_ != nullptr
                ? static_cast<ssize_t>(SSL_write(tls_.get(), from, static_cast<int>(left)))
                : send(socket_, from, left, MSG_NOSIGNAL);
        if (done <= 0) {
            return false;
        }
        sent += static_cast<std::size_t>(done);
    }
    return socket_ >= 0;
}

void Connection::Close() {
    if (tls_ != nullptr) {
        SSL_shutdown(tls_.get());
    }
    // A close with unread input would be an RST: the end is announced, then the input drained.
    if (socket_ >= 0) {
        shutdown(socket_, SHUT_WR);
        char rest[4096];
        while (recv(socket_, rest, sizeof rest, 0) > 0) {
        }
    }
    Shut();
}

void Connection::Reset() {
    const linger now{1, 0};
    setsockopt(socket_, SOL_SOCKET, SO_LINGER, &now, sizeof now);
    Shut();
}

void Connection::AwaitClientClose() {
    char rest[4096];
    while (socket_ >= 0 && recv(socket_, rest, sizeof rest, 0) > 0) {
    }
}

void Connection::Shut() {
    tls_.reset();
    if (socket_ >= 0) {
        server_.CloseSocket(socket_);
        socket_ = -1;
    }
}

/// The servers' threads meet clients that go away: a failed send is theirs to see, not the test's.
void BlockBrokenPipeSignal() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

}  // namespace

ScriptedServer::Impl::Impl(Protocol spoken) : protocol(spoken) {
    if (protocol != Protocol::kHttp) {
        context = MakeContext(protocol, certificate);
    }
    Listen();
    acceptor_ = std::thread([this] { AcceptAll(); });
}

ScriptedServer::Impl::~Impl() {
    {
        const std::lock_guard<std::mutex> lock(mutex);
        stopping_ = true;
        for (const int socket : sockets_) {
            shutdown(socket, SHUT_RDWR);
        }
    }
    changed.notify_all();
    shutdown(listener_, SHUT_RDWR);
    acceptor_.join();
    for (Served &served : served_) {
        served.thread.join();
    }
    close(listener_);
}

void ScriptedServer::Impl::Listen() {
    listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto *generic = reinterpret_cast<sockaddr *>(&address);
    if (bind(listener_, generic, length) != 0 || listen(listener_, SOMAXCONN) != 0 ||
        getsockname(listener_, generic, &length) != 0) {
        ADD_FAILURE() << "no port to listen on";
    }
    port = ntohs(address.sin_port);
}

void ScriptedServer::Impl::AcceptAll() {
    BlockBrokenPipeSignal();
    for (;;) {
        const int socket = Accept();
        if (stopping_ || socket < 0) {
            if (socket >= 0) {
                close(socket);
            }
            return;
        }
        Adopt(socket);
        JoinEnded();
        Served &served = served_.emplace_back();
        served.thread = std::thread([this, socket, &served] {
            Connection(*this, socket).Serve();
            served.ended = true;
        });
    }
}

/// Outlives a test's leaving no descriptors to the process: until there are some again, it looks.
int ScriptedServer::Impl::Accept() const {
    for (;;) {
        const int socket = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (socket >= 0 || errno != EMFILE || stopping_) {
            return socket;
        }
        std::this_thread::sleep_for(kUntilNextLook);
    }
}

/// Thousands of connections would otherwise keep a stack each, for which 32 bits have no room.
void ScriptedServer::Impl::JoinEnded() {
    for (auto served = served_.begin(); served != served_.end();) {
        if (served->ended) {
            served->thread.join();
            served = served_.erase(served);
        } else {
            ++served;
        }
    }
}

void ScriptedServer::Impl::Adopt(int socket) {
    const std::lock_guard<std::mutex> lock(mutex);
    sockets_.insert(socket);
    ++connections;
    if (stopping_) {
        shutdown(socket, SHUT_RDWR);
    }
}

void ScriptedServer::Impl::CloseSocket(int socket) {
    const std::lock_guard<std::mutex> lock(mutex);
    sockets_.erase(socket);
    close(socket);
    changed.notify_all();
}

void ScriptedServer::Impl::AwaitNoConnection() {
    std::unique_lock<std::mutex> lock(mutex);
    if (!changed.wait_for(lock, kPatience, [this] { return sockets_.empty(); })) {
        ADD_FAILURE() << sockets_.size() << " connections do not end";
    }
}

std::optional<Answer> ScriptedServer::Impl::TakeLocked(Stage stage) {
    if (script.empty() || script.front().stage != stage) {
        return std::nullopt;
    }
    Answer answer = std::move(script.front());
    script.pop_front();
    return answer;
}

std::optional<Answer> ScriptedServer::Impl::TakeAt(Stage stage) {
    const std::lock_guard<std::mutex> lock(mutex);
    return TakeLocked(stage);
}

Answer ScriptedServer::Impl::TakeAnswer(const Request &request) {
    std::unique_lock<std::mutex> lock(mutex);
    RecordLocked(request);
    std::optional<Answer> queued = TakeLocked(Stage::kRequest);
    if (queued) {
        return *queued;
    }
    const std::function<Answer(const Request &)> chosen = handler;
    lock.unlock();
    return chosen ? chosen(request) : Reply(200);
}

void ScriptedServer::Impl::RecordLocked(const Request &request) {
    if (keepsRequests) {
        requests.push_back(request);
    }
    changed.notify_all();
}

void ScriptedServer::Impl::Record(const Request &request) {
    const std::lock_guard<std::mutex> lock(mutex);
    RecordLocked(request);
}

void ScriptedServer::Impl::AwaitRelease() {
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait(lock, [this] { return releases > 0 || stopping_; });
    --releases;
}

ScriptedServer::ScriptedServer(Protocol protocol) : impl_(std::make_unique<Impl>(protocol)) {}

ScriptedServer::~ScriptedServer() = default;

int ScriptedServer::Port() const {
    return impl_->port;
}

std::string ScriptedServer::Url(const std::string &path) const {
    const std::string scheme = impl_->protocol == Protocol::kHttp ? "http" : "https";
    return scheme + "://127.0.0.1:" + std::to_string(impl_->port) + path;
}

void ScriptedServer::Next(Answer answer) {
    const std::lock_guard<std::mutex> lock(impl_->mutex);
    impl_->script.push_back(std::move(answer));
}

void ScriptedServer::Otherwise(std::function<Answer(const Request &)> handler) {
    const std::lock_guard<std::mutex> lock(impl_->mutex);
    impl_->handler = std::move(handler);
}

void ScriptedServer::BeSilent(bool silent) {
    impl_->silent = silent;
}

void ScriptedServer::AwaitRest() const {
    // Connections are taken in their order: when this one, which ends at once, has been seen to its
    // end, all before it have been taken.
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(impl_->port));
    if (connect(socket, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        shutdown(socket, SHUT_WR) != 0) {
        ADD_FAILURE() << "the server does not take a connection";
    }
    char alert[64];
    while (recv(socket, alert, sizeof alert, 0) > 0) {
    }
    close(socket);
    impl_->AwaitNoConnection();
}

void ScriptedServer::Release(int count) {
    const std::lock_guard<std::mutex> lock(impl_->mutex);
    impl_->releases += count;
    impl_->changed.notify_all();
}

void ScriptedServer::KeepNoRequests() {
    const std::lock_guard<std::mutex> lock(impl_->mutex);
    impl_->keepsRequests = false;
}

std::vector<Request> ScriptedServer::Requests() const {
    const std::lock_guard<std::mutex> lock(impl_->mutex);
    return impl_->requests;
}

std::vector<Request> ScriptedServer::WaitForRequests(std::size_t count) const {
    std::unique_lock<std::mutex> lock(impl_->mutex);
    if (!impl_->changed.wait_for(lock, kPatience,
                                 [&] { return impl_->requests.size() >= count; })) {
        ADD_FAILURE() << "only " << impl_->requests.size() << " of " << count << " requests came";
        impl_->requests.resize(count);
    }
    return impl_->requests;
}

int ScriptedServer::Connections() const {
    const std::lock_guard<std::mutex> lock(impl_->mutex);
    return impl_->connections;
}

std::string ScriptedServer::Certificate() const {
    return impl_->certificate;
}

}  // namespace corvenna::test
