#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>

#include "tools/cloud/faults/faults.h"
#include "tools/cloud/http/request.h"
#include "tools/cloud/http/response.h"
#include "tools/cloud/http/trace.h"

namespace corvenna::cloud {

/// One request on its way through a site.
struct Exchange {
    Request request;
    Response response;
    std::optional<Fault> fault;
    TraceEntry trace;
    std::chrono::steady_clock::duration taken{};  ///< from its first byte to the answer's last
};

/// Sends an exchange's response. May be copied, and called from any thread, at once or later; the
/// first call counts, and from then on the exchange is no longer the caller's. When the last copy
/// goes without a call the client is told that the server failed, so that no client waits for ever.
class Reply {
public:
    /// @param send is called once, with whether the response is there.
    explicit Reply(std::function<void(bool answered)> send);

    void operator()() const;

private:
    class Once;

    std::shared_ptr<Once> once_;
};

/// What stands behind a listener. Called by several threads at once.
class Site {
public:
    virtual ~Site() = default;

    /// Fills exchange.response and replies. Runs on a worker thread, of which there are few: what
    /// has to wait (for a commit, for instance) keeps the reply and returns. The exchange stays
    /// until the reply is called.
    virtual void Handle(Exchange &exchange, Reply reply) = 0;
    /// Whether a request that has only its head may go on and bring its body; otherwise the
    /// response is filled, and the connection ends. Runs on a connection's thread and takes no
    /// time.
    virtual bool TakesBody(Exchange & /*exchange*/) { return true; }
    /// How many bytes a body may have; longer ones are answered 413. The request has no body yet.
    virtual std::size_t BodyLimit(const Request &request) const = 0;
    /// Whether HandshakeFault may have to wait, and is called on a worker thread therefore. Takes
    /// no time.
    virtual bool HandshakeFaultMayWait() const { return false; }
    /// A fault for a new TLS connection, for a request.
    virtual std::optional<Fault> HandshakeFault() { return std::nullopt; }
    virtual std::optional<Fault> RequestFault(const Request & /*request*/) { return std::nullopt; }
    /// The exchange is over.
    virtual void Done(Exchange & /*exchange*/) {}
};

}  // namespace corvenna::cloud
