#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace corvenna::test {

/// One request as it came over the wire.
struct Request {
    std::string head;                  ///< exact bytes up to and including the blank line
    std::string line;                  ///< "GET /path HTTP/1.1"
    std::string method;                ///< "GET"
    std::string path;                  ///< "/path", query included
    std::vector<std::string> headers;  ///< "Name: value" as sent, in order
    std::string body;                  ///< chunk framing removed
    bool complete = false;  ///< false: the client went away (or was left) inside the body

    /// The value of a header (name in any case), "" when it was not sent.
    std::string Header(const std::string &name) const;
    bool HasHeader(const std::string &name) const;
};

/// The server's side of one request, for answers written by hand. Runs on the connection's thread.
class Exchange {
public:
    virtual ~Exchange() = default;
    /// What was read so far: nothing at Stage::kAccept, no body at Stage::kHead.
    virtual const Request &Received() const = 0;
    /// Sends bytes as they are. @return false when the client is gone.
    virtual bool Send(const std::string &bytes) = 0;
    /// Orderly end of the connection; over TLS with its close notice.
    virtual void Close() = 0;
    /// RST: whatever the client has not read yet is lost to it.
    virtual void Reset() = 0;
    /// Waits for one ScriptedServer::Release(), or for the server's end.
    virtual void AwaitRelease() = 0;
    /// Waits until the client closes the connection, or for the server's end.
    virtual void AwaitClientClose() = 0;
};

/// When an answer is played.
enum class Stage {
    kAccept,   ///< as soon as the connection stands (TLS: before the handshake)
    kHead,     ///< when the header block is read and the body is not
    kRequest,  ///< when the whole request is read
};

/// What the server does with one request. Any `void(Exchange &)` is one, played at Stage::kRequest.
struct Answer {
    template <class Play>
    Answer(Play script, Stage when = Stage::kRequest) : play(std::move(script)), stage(when) {}

    std::function<void(Exchange &)> play;
    Stage stage;
};

// Ready-made answers. Header lines are given without their line end ("Set-Cookie: a=b").

/// A status, headers, a Content-Length and the body, in one piece.
Answer Reply(int status, const std::string &body = "",
             const std::vector<std::string> &headers = {});
/// The same body in chunks, one a piece.
Answer ReplyChunked(int status, const std::vector<std::string> &pieces,
                    const std::vector<std::string> &headers = {});
/// A Content-Length body of which each piece waits for one Release().
Answer ReplyInPieces(int status, const std::vector<std::string> &pieces);
/// A body without any length, ended by the connection's end.
Answer ReplyUntilClose(int status, const std::string &body);
/// Announces `announced` bytes of body, sends `body` and closes.
Answer ReplyTruncated(int status, std::size_t announced, const std::string &body);
/// `content` as a file that can be resumed: 206 with a Content-Range for "Range: bytes=N-", 416
/// when N is not below its size, 200 otherwise.
Answer ReplyFile(const std::string &content);
/// These bytes and the connection's end.
Answer ReplyRaw(const std::string &bytes);
/// The connection's end without a byte.
Answer CloseAt(Stage stage);
/// RST, after `sent` bytes of answer.
Answer ResetAt(Stage stage, const std::string &sent = "");
/// Sends `sent` and then nothing until the client gives up.
Answer Stall(const std::string &sent = "");

/// How a server speaks.
enum class Protocol {
    kHttp,
    kHttps,                 ///< TLS with a self-signed certificate made at the start
    kTlsClosedInHandshake,  ///< closes when the client's first message has come
    kTlsTooOld,             ///< TLS 1.0 and nothing newer
    kTlsExpired,            ///< the certificate has been too old for an hour
};

/// A scripted server on 127.0.0.1 and a port that the system chooses, written on bare sockets so
/// that it can misbehave. Each connection has a thread of its own and stays open between requests
/// unless an answer ends it. All operations may be called from any thread. The destructor ends
/// every connection, wakes every waiting answer and joins.
///
///     ScriptedServer server;
///     server.Next(Reply(426));                             // first request
///     server.Next(ReplyChunked(200, {"<recalltime", "/>"}));  // second request
///     server.Otherwise([](const Request &request) { return Reply(200, request.path); });
///     ... run the client against server.Url("/cloud/realdata/SN1") ...
///     EXPECT_EQ(server.WaitForRequests(1)[0].Header("XVane-Time"), "1700000000");
class ScriptedServer {
public:
    explicit ScriptedServer(Protocol protocol = Protocol::kHttp);
    ~ScriptedServer();
    ScriptedServer(const ScriptedServer &) = delete;
    ScriptedServer &operator=(const ScriptedServer &) = delete;

    int Port() const;
    /// "http://127.0.0.1:PORT" or its https twin, and the path.
    std::string Url(const std::string &path) const;

    /// Queues the answer of one request; used up in the order in which requests come.
    void Next(Answer answer);
    /// Answers every request for which nothing is queued; without it: an empty 200.
    void Otherwise(std::function<Answer(const Request &)> handler);

    /// Takes connections from now on and says nothing to them, whatever is queued, until it is told
    /// to speak again.
    void BeSilent(bool silent);
    /// Blocks until nothing is left to do for clients that have gone: what they sent before has
    /// been recorded and answered, whether they waited for that or not.
    void AwaitRest() const;

    /// Lets `count` waits of answers go on; may come before the wait.
    void Release(int count = 1);

    /// Forgets each request when it has been answered, for a life of millions.
    void KeepNoRequests();
    /// All requests so far, incomplete ones included.
    std::vector<Request> Requests() const;
    /// Blocks until `count` requests have come, whole or cut, and gives all of them. Fails the
    /// running test after five minutes.
    std::vector<Request> WaitForRequests(std::size_t count) const;
    /// Connections accepted so far.
    int Connections() const;
    /// The self-signed certificate in PEM, "" without TLS.
    std::string Certificate() const;

    class Impl;

private:
    std::unique_ptr<Impl> impl_;
};

}  // namespace corvenna::test
