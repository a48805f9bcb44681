#pragma once

#include <httplib.h>

#include <chrono>
#include <string>

#include "tools/cloud/spoil.h"
#include "tools/cloud/tls.h"

namespace corvenna::cloud {

/// One accepted connection, plain or TLS, as the HTTP library reads and writes it. It bounds what
/// one request may take (head, time), and it can keep a whole answer back, so that the answer can
/// be spoilt before it goes out. Owns the socket. One thread.
class Connection : public httplib::Stream {
public:
    explicit Connection(int socket);
    ~Connection() override;
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;

    /// The server's side of the handshake.
    bool StartTls(SSL_CTX *context);
    /// Sends the beginning of a handshake and no more.
    void BreakTls();

    /// Whether another request begins within the time.
    bool WaitForRequest(std::chrono::milliseconds time);
    void BeginRequest();
    /// The head is complete: from here on the body's own limits hold.
    void EndHead() { inHead_ = false; }
    /// The answer is not sent before Deliver.
    void HoldAnswer() { held_ = true; }

    /// What was written since BeginRequest and has not been sent: the whole answer when it is held.
    std::string TakeAnswer() { return std::move(answer_); }
    /// The status of the answer, 0 when none was written.
    int Status() const { return status_; }
    std::size_t AnswerBytes() const { return sent_; }
    std::size_t RequestBytes() const { return received_; }

    /// Sends bytes now. @return false when the peer is gone.
    bool Send(std::string_view bytes);
    /// The connection ends with a reset instead of an orderly close.
    void ResetAtEnd() { reset_ = true; }
    /// Reads on for a moment after the last answer, so that it is not lost to a reset.
    void Linger();

    bool is_readable() const override;
    bool is_writable() const override { return true; }
    ssize_t read(char *buffer, size_t size) override;
    ssize_t write(const char *bytes, size_t size) override;
    void get_remote_ip_and_port(std::string &ip, int &port) const override;
    void get_local_ip_and_port(std::string &ip, int &port) const override;
    int socket() const override { return socket_; }

private:
    ssize_t Receive();
    void NoteStatus();

    int socket_;
    TlsSession tls_;
    std::string input_;
    std::size_t inputUsed_ = 0;
    std::string answer_;
    std::chrono::steady_clock::time_point deadline_;
    std::size_t received_ = 0;
    std::size_t sent_ = 0;
    int status_ = 0;
    bool inHead_ = true;
    bool held_ = false;
    bool reset_ = false;
};

}  // namespace corvenna::cloud
