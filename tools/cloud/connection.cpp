#include "tools/cloud/connection.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "base/text.h"

namespace corvenna::cloud {
namespace {

constexpr std::size_t kLargestHead = 65536;
constexpr std::size_t kInputBlock = 16384;
constexpr std::size_t kAnswerBlock = 65536;
constexpr std::chrono::seconds kReadPause{30};     // without a byte from the gateway
constexpr std::chrono::seconds kRequestTime{300};  // for a whole request
constexpr std::chrono::milliseconds kLinger{500};
constexpr std::size_t kLingerBytes = 8U << 20U;

void SetTimeLimit(int socket, int option, std::chrono::seconds seconds) {
    timeval time{};
    time.tv_sec = static_cast<decltype(time.tv_sec)>(seconds.count());
    setsockopt(socket, SOL_SOCKET, option, &time, sizeof time);
}

bool Readable(int socket, std::chrono::milliseconds time) {
    pollfd waiting{socket, POLLIN, 0};
    return poll(&waiting, 1, static_cast<int>(time.count())) > 0;
}

using NameFunction = int (*)(int, sockaddr *, socklen_t *);

void ReadAddress(NameFunction name, int socket, std::string &ip, int &port) {
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    std::array<char, NI_MAXHOST> host{};
    std::array<char, NI_MAXSERV> service{};
    auto *generic = reinterpret_cast<sockaddr *>(&address);
    if (name(socket, generic, &length) == 0 &&
        getnameinfo(generic, length, host.data(), host.size(), service.data(), service.size(),
                    NI_NUMERICHOST | NI_NUMERICSERV) == 0) {
        ip = host.data();
        port = static_cast<int>(Decimal(service.data()));
    }
}

int PeerName(int socket, sockaddr *address, socklen_t *length) {
    return getpeername(socket, address, length);
}

int OwnName(int socket, sockaddr *address, socklen_t *length) {
    return getsockname(socket, address, length);
}

}  // namespace

Connection::Connection(int socket) : socket_(socket) {
    const int on = 1;
    setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    SetTimeLimit(socket_, SO_RCVTIMEO, kReadPause);
    SetTimeLimit(socket_, SO_SNDTIMEO, kReadPause);
}

Connection::~Connection() {
    if (reset_) {
        const linger now{1, 0};
        setsockopt(socket_, SOL_SOCKET, SO_LINGER, &now, sizeof now);
    } else if (tls_) {
        SSL_shutdown(tls_.get());
    }
    tls_.reset();
    close(socket_);
}

bool Connection::StartTls(SSL_CTX *context) {
    tls_.reset(SSL_new(context));
    if (!tls_ || SSL_set_fd(tls_.get(), socket_) != 1) {
        return false;
    }
    if (SSL_accept(tls_.get()) != 1) {
        tls_.reset();
        return false;
    }
    return true;
}

void Connection::BreakTls() {
    std::array<char, kInputBlock> hello{};
    if (recv(socket_, hello.data(), hello.size(), 0) > 0) {
        // A handshake record that announces 512 bytes and brings two.
        constexpr std::string_view kBeginning("\x16\x03\x03\x02\x00\x02\x00", 7);
        send(socket_, kBeginning.data(), kBeginning.size(), MSG_NOSIGNAL);
    }
}

bool Connection::WaitForRequest(std::chrono::milliseconds time) {
    return inputUsed_ < input_.size() || (tls_ && SSL_pending(tls_.get()) > 0) ||
           Readable(socket_, time);
}

void Connection::BeginRequest() {
    deadline_ = std::chrono::steady_clock::now() + kRequestTime;
    received_ = 0;
    sent_ = 0;
    status_ = 0;
    inHead_ = true;
    held_ = false;
    answer_.clear();
}

bool Connection::Send(std::string_view bytes) {
    sent_ += bytes.size();
    while (!bytes.empty()) {
        const ssize_t written =
            tls_ ? SSL_write(tls_.get(), bytes.data(), static_cast<int>(bytes.size()))
                 : send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (written <= 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

void Connection::Linger() {
    shutdown(socket_, SHUT_WR);
    const auto end = std::chrono::steady_clock::now() + kLinger;
    std::array<char, kInputBlock> rest{};
    std::size_t left = kLingerBytes;
    while (std::chrono::steady_clock::now() < end && Readable(socket_, kLinger)) {
        const ssize_t length = recv(socket_, rest.data(), rest.size(), 0);
        if (length <= 0 || static_cast<std::size_t>(length) > left) {
            return;
        }
        left -= static_cast<std::size_t>(length);
    }
}

bool Connection::is_readable() const {
    return inputUsed_ < input_.size() || Readable(socket_, kReadPause);
}

ssize_t Connection::Receive() {
    input_.resize(kInputBlock);
    inputUsed_ = 0;
    const ssize_t length = tls_ ? SSL_read(tls_.get(), input_.data(), kInputBlock)
                                : recv(socket_, input_.data(), kInputBlock, 0);
    input_.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
    return length;
}

ssize_t Connection::read(char *buffer, size_t size) {
    if (std::chrono::steady_clock::now() > deadline_ || (inHead_ && received_ > kLargestHead)) {
        return -1;
    }
    if (inputUsed_ == input_.size()) {
        const ssize_t length = Receive();
        if (length <= 0) {
            return length;
        }
    }
    const std::size_t length = std::min(size, input_.size() - inputUsed_);
    std::memcpy(buffer, input_.data() + inputUsed_, length);
    inputUsed_ += length;
    received_ += length;
    return static_cast<ssize_t>(length);
}

void Connection::NoteStatus() {
    constexpr std::string_view kStart = "HTTP/1.1 ";
    if (answer_.size() >= kStart.size() + 3 && answer_.compare(0, kStart.size(), kStart) == 0) {
        status_ = static_cast<int>(Decimal(answer_.c_str() + kStart.size()));
    }
}

ssize_t Connection::write(const char *bytes, size_t size) {
    answer_.append(bytes, size);
    if (status_ == 0) {
        NoteStatus();
    }
    if (!held_ && answer_.size() >= kAnswerBlock && !Send(TakeAnswer())) {
        return -1;
    }
    return static_cast<ssize_t>(size);
}

void Connection::get_remote_ip_and_port(std::string &ip, int &port) const {
    ReadAddress(PeerName, socket_, ip, port);
}

void Connection::get_local_ip_and_port(std::string &ip, int &port) const {
    ReadAddress(OwnName, socket_, ip, port);
}

}  // namespace corvenna::cloud
