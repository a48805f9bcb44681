#include "tools/cloud/net/connection.h"

#include <boost/asio/write.hpp>

namespace corvenna::cloud {
namespace {

using boost::system::error_code;

constexpr std::chrono::seconds kClosing{1};
constexpr std::size_t kDrainBlock = 16384;
constexpr std::size_t kMostDrained = 8U << 20U;

std::string PeerText(const Socket &socket) {
    error_code error;
    const auto endpoint = socket.remote_endpoint(error);
    return error ? "" : AddressText(endpoint.address());
}

}  // namespace

std::string AddressText(const asio::ip::address &address) {
    if (address.is_v6() && address.to_v6().is_v4_mapped()) {
        return asio::ip::make_address_v4(asio::ip::v4_mapped, address.to_v6()).to_string();
    }
    return address.to_string();
}

Connection::Connection(Socket socket, std::shared_ptr<void> place)
    : place_(std::move(place)),
      socket_(std::move(socket)),
      peer_(PeerText(socket_)),
      time_(socket_.get_executor()),
      pause_(socket_.get_executor()) {
    error_code ignored;  // a peer that has gone shows with the first read
    socket_.set_option(asio::ip::tcp::no_delay(true), ignored);
}

void Connection::SetTime(Clock::time_point until) {
    timedOut_ = false;
    time_.expires_at(until);
    time_.async_wait([weak = weak_from_this()](const error_code &error) {
        const auto self = weak.lock();
        // A timer that was set anew while its old end was on its way here has not ended.
        if (self && !error && self->time_.expiry() <= Clock::now()) {
            self->timedOut_ = true;
            error_code ignored;
            self->socket_.cancel(ignored);
        }
    });
}

/// What the libraries call when something is done.
auto Connection::Ending(Done done) {
    return [self = shared_from_this(), done = std::move(done)](const error_code &error,
                                                               std::size_t bytes = 0) {
        self->time_.expires_at(Clock::time_point::max());
        done(!error, bytes);
    };
}

void Connection::AwaitBytes(Clock::time_point until, Done done) {
    SetTime(until);
    socket_.async_wait(Socket::wait_read, Ending(std::move(done)));
}

void Connection::StartTls(asio::ssl::context &context, Clock::time_point until, Done done) {
    tls_.emplace(socket_, context);
    SetTime(until);
    tls_->async_handshake(asio::ssl::stream_base::server, Ending(std::move(done)));
}

void Connection::BreakTls(Clock::time_point until, Done done) {
    scratch_.resize(kDrainBlock);
    Read(scratch_.data(), scratch_.size(), until,
         [self = shared_from_this(), until, done = std::move(done)](bool good, std::size_t) {
             if (!good) {
                 done(false, 0);
                 return;
             }
             // A handshake record that announces 512 bytes and brings two.
             constexpr std::string_view kBeginning("\x16\x03\x03\x02\x00\x02\x00", 7);
             self->Write(kBeginning, until, kClosing, done);
         });
}

void Connection::Read(void *to, std::size_t size, Clock::time_point until, Done done) {
    SetTime(until);
    if (tls_) {
        tls_->async_read_some(asio::buffer(to, size), Ending(std::move(done)));
    } else {
        socket_.async_read_some(asio::buffer(to, size), Ending(std::move(done)));
    }
}

void Connection::Write(std::string_view bytes, Clock::time_point until, std::chrono::seconds pause,
                       Done done) {
    const auto buffer = asio::buffer(bytes.data(), bytes.size());
    const auto goesOn = [self = shared_from_this(), until, pause, size = bytes.size()](
                            const error_code &error, std::size_t) -> std::size_t {
        self->SetTime(std::min(until, Clock::now() + pause));
        return error ? 0 : size;
    };
    if (tls_) {
        asio::async_write(*tls_, buffer, goesOn, Ending(std::move(done)));
    } else {
        asio::async_write(socket_, buffer, goesOn, Ending(std::move(done)));
    }
}

void Connection::Pause(std::chrono::milliseconds time, Done done) {
    pause_.expires_after(time);
    pause_.async_wait([self = shared_from_this(), done = std::move(done)](const error_code &error) {
        done(!error, 0);
    });
}

void Connection::EndPause() {
    pause_.cancel();
}

void Connection::CloseInOrder() {
    if (!tls_) {
        EndSending();
        return;
    }
    SetTime(Clock::now() + kClosing);
    tls_->async_shutdown(Ending([self = shared_from_this()](bool, std::size_t) {
        self->EndSending();  // whatever the peer made of the farewell
    }));
}

/// What the peer sent and nobody read would turn the close into a reset, and that can overtake an
/// answer: it is read away for a moment.
void Connection::EndSending() {
    error_code error;
    socket_.shutdown(Socket::shutdown_send, error);
    if (error) {
        Close();
        return;
    }
    scratch_.resize(kDrainBlock);
    SetTime(Clock::now() + kClosing);
    Drain();
}

void Connection::Drain() {
    const auto drained = [self = shared_from_this()](const error_code &error, std::size_t bytes) {
        self->drained_ += bytes;
        if (error || self->drained_ > kMostDrained) {
            self->Close();
        } else {
            self->Drain();
        }
    };
    socket_.async_read_some(asio::buffer(scratch_.data(), scratch_.size()), drained);
}

void Connection::Reset() {
    error_code ignored;
    socket_.set_option(asio::socket_base::linger(true, 0), ignored);
    Close();
}

void Connection::Close() {
    error_code ignored;
    time_.cancel();
    pause_.cancel();
    socket_.close(ignored);
}

}  // namespace corvenna::cloud
