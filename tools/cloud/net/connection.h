#pragma once

#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tools/cloud/net/asio.h"

namespace corvenna::cloud {

/// One accepted connection, plain or TLS: reads and writes that end by themselves, and the ways a
/// connection can end. Owns the socket. Everything is called, and calls back, in its strand; at
/// most one of Await..., Start..., Read and Write is under way at a time.
class Connection : public std::enable_shared_from_this<Connection> {
public:
    /// Hears whether it went well, and how many bytes it was.
    using Done = std::function<void(bool good, std::size_t bytes)>;

    /// @param place is kept as long as the socket is open.
    Connection(Socket socket, std::shared_ptr<void> place);

    Strand Executor() { return socket_.get_executor(); }
    /// The peer's address; empty when it has gone already.
    const std::string &Peer() const { return peer_; }

    /// Waits until there is something to read.
    void AwaitBytes(Clock::time_point until, Done done);
    /// The server's side of the handshake.
    void StartTls(asio::ssl::context &context, Clock::time_point until, Done done);
    /// Waits for the peer's hello, then sends the beginning of a handshake and no more.
    void BreakTls(Clock::time_point until, Done done);
    /// Reads what comes, at most `size` bytes.
    void Read(void *to, std::size_t size, Clock::time_point until, Done done);
    /// Writes all; the bytes must stay until it is done.
    /// @param pause how long the peer may take nothing of them.
    void Write(std::string_view bytes, Clock::time_point until, std::chrono::seconds pause,
               Done done);
    /// Whether the last of these ended because its time was over.
    bool TimedOut() const { return timedOut_; }

    /// Waits. @param done hears false when EndPause cut it short.
    void Pause(std::chrono::milliseconds time, Done done);
    void EndPause();

    /// Ends the connection so that what was sent arrives, and takes no longer than a moment.
    void CloseInOrder();
    /// Ends the connection with a reset.
    void Reset();
    /// Ends the connection now; what is under way fails.
    void Close();

private:
    using TlsStream = asio::ssl::stream<Socket &>;

    void SetTime(Clock::time_point until);
    auto Ending(Done done);
    void EndSending();
    void Drain();

    std::shared_ptr<void> place_;
    Socket socket_;
    std::string peer_;
    std::optional<TlsStream> tls_;
    Timer time_;
    Timer pause_;
    std::string scratch_;
    std::size_t drained_ = 0;
    bool timedOut_ = false;
};

/// An address as text; an IPv4 address that came in over IPv6 as what it is.
std::string AddressText(const asio::ip::address &address);

}  // namespace corvenna::cloud
