#pragma once

#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tools/cloud/http/site.h"
#include "tools/cloud/net/body_budget.h"
#include "tools/cloud/net/connection.h"
#include "tools/cloud/net/growing_body.h"
#include "tools/cloud/net/head_check.h"
#include "tools/cloud/net/limits.h"
#include "tools/cloud/net/open_connections.h"
#include "tools/cloud/net/spoil.h"
#include "tools/cloud/net/workers.h"

namespace corvenna::cloud {

/// Both contexts of an HTTPS listener, as the network library wants them.
struct ServerTls {
    asio::ssl::context current, old;
};

/// What the sessions of a listener share. All of it lives longer than they do.
struct Backend {
    Site &site;
    Workers &workers;
    BodyBudget &bodies;
    const Limits &limits;
    ServerTls *tls;  ///< null for plain HTTP
};

/// The requests of one connection, one after another: the head is read and judged, then the body,
/// a worker lets the site handle the request, and when the site replies the answer goes out. Owned
/// by what it waits for; all but Start, Stop, Abort and GiveWay runs in the connection's strand.
class Session : public std::enable_shared_from_this<Session> {
public:
    Session(const Backend &backend, std::shared_ptr<Connection> connection,
            std::shared_ptr<OpenConnections::Place> place);
    ~Session();
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    void Start();
    /// Ends it as soon as a request that is being handled has got its answer. Any thread.
    void Stop();
    /// Ends it now. Any thread.
    void Abort();
    /// Ends it now unless its request has come whole meanwhile; then behind the answer. Any thread.
    void GiveWay();

private:
    enum class Step { kReading, kHandling, kPausing, kSending };
    using Parser = boost::beast::http::request_parser<GrowingBody>;

    void EndSoon();

    void AwaitHello();
    void Shake(Clock::time_point until);
    void StartTls(Clock::time_point until);
    void ShakeFailed();

    void AwaitRequest(bool first);
    void ReadHead();
    void OnHeadBytes();
    void OnHeadFailed();
    void TakeHead(std::size_t length);
    void NoteHead();
    void Continue();

    void TakeBody();
    void ReadBody();
    void OnBodyFailed();
    std::size_t LengthOfBody() { return parser_->get().body().size(); }
    /// Answers without the site, and ends the connection: what follows cannot be read.
    void Refuse(int status, const std::string &reason);

    void Dispatch();
    void Handle();
    void OnReply(bool answered);

    Answer MakeAnswer();
    void SendAnswer();
    void SendMore();
    void SendBlock();
    void Finish(bool sent);

    void Fill();
    std::string_view Input() const;

    Backend backend_;
    std::shared_ptr<Connection> connection_;
    std::shared_ptr<OpenConnections::Place> place_;
    boost::beast::flat_buffer input_;
    std::optional<Parser> parser_;
    std::size_t known_ = 0;  ///< bytes of the head that were looked at
    std::size_t held_ = 0;   ///< bytes taken from the budget
    Clock::time_point deadline_, started_;
    Exchange exchange_;
    Delivery delivery_;
    std::string block_;
    std::int64_t sent_ = 0;
    Step step_ = Step::kReading;
    bool first_ = true;
    bool begun_ = false;  ///< a byte of the request has come
    bool keep_ = false;
    bool stopping_ = false;
};

}  // namespace corvenna::cloud
