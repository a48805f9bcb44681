#include "tools/cloud/net/session.h"

#include <boost/asio/dispatch.hpp>
#include <boost/asio/post.hpp>
#include <limits>

#include "tools/cloud/ground/say.h"
#include "tools/cloud/http/forwarded.h"

namespace corvenna::cloud {
namespace {

namespace http = boost::beast::http;
using boost::system::error_code;

constexpr std::string_view kHeadEnd = "\r\n\r\n";
constexpr std::size_t kHeadBlock = 4096;
constexpr std::size_t kBodyBlock = 32768;
constexpr std::size_t kSendBlock = 65536;
constexpr std::size_t kMostUnparsed = 65536;    // of a chunk's head and of trailers
constexpr std::size_t kBelievable = 1U << 20U;  // who has sent that much means the length it named
constexpr std::size_t kSlowest = 512;           // bytes a second

/// The end of a transfer that may be as slow as is allowed.
Clock::time_point SlowestEnd(Clock::time_point start, std::chrono::seconds grace,
                             std::size_t bytes) {
    return start + grace + std::chrono::seconds(bytes / kSlowest);
}

/// A header as the trace shows it: without what lets its reader in.
std::string TracedHeader(const std::string &name, const std::string &value) {
    for (const char *secret : {"Authorization", "Proxy-Authorization", "Cookie"}) {
        if (EqualsIgnoringCase(name, secret)) {
            return name + ": (not shown)\n";
        }
    }
    return name + ": " + value + "\n";
}

bool HasNoBody(int status) {
    return status == 204 || status == 304;
}

std::int64_t Milliseconds(Clock::duration time) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(time).count();
}

}  // namespace

Session::Session(const Backend &backend, std::shared_ptr<Connection> connection,
                 std::shared_ptr<OpenConnections::Place> place)
    : backend_(backend),
      connection_(std::move(connection)),
      place_(std::move(place)),
      input_(kMostUnparsed + kBodyBlock) {}

Session::~Session() {
    backend_.bodies.GiveBack(held_);
}

std::string_view Session::Input() const {
    return {static_cast<const char *>(input_.data().data()), input_.size()};
}

void Session::Start() {
    asio::post(connection_->Executor(), [self = shared_from_this()] {
        if (self->backend_.tls == nullptr) {
            self->AwaitRequest(true);
        } else {
            self->AwaitHello();
        }
    });
}

void Session::Stop() {
    asio::post(connection_->Executor(), [self = shared_from_this()] { self->EndSoon(); });
}

void Session::EndSoon() {
    stopping_ = true;
    if (step_ == Step::kReading) {
        connection_->Close();
    } else if (step_ == Step::kPausing) {
        connection_->EndPause();
    }
}

void Session::Abort() {
    asio::post(connection_->Executor(), [self = shared_from_this()] {
        self->stopping_ = true;
        self->connection_->Close();
    });
}

void Session::GiveWay() {
    asio::post(connection_->Executor(), [self = shared_from_this()] {
        self->EndSoon();
        if (self->step_ == Step::kSending) {
            self->connection_->Close();
        }
    });
}

/// A connection on which nothing comes costs no TLS, and no line in the trace.
void Session::AwaitHello() {
    const auto until = Clock::now() + backend_.limits.head;
    connection_->AwaitBytes(until, [self = shared_from_this(), until](bool good, std::size_t) {
        if (good) {
            self->Shake(until);
        } else {
            self->connection_->Close();
        }
    });
}

void Session::Shake(Clock::time_point until) {
    if (!backend_.site.HandshakeFaultMayWait()) {
        exchange_.fault = backend_.site.HandshakeFault();
        StartTls(until);
        return;
    }
    backend_.workers.Post([self = shared_from_this(), until] {
        self->exchange_.fault = self->backend_.site.HandshakeFault();
        asio::post(self->connection_->Executor(), [self, until] { self->StartTls(until); });
    });
}

void Session::StartTls(Clock::time_point until) {
    const bool broken = exchange_.fault && exchange_.fault->kind == FaultKind::kTlsBreak;
    const auto done = [self = shared_from_this(), broken](bool good, std::size_t) {
        if (good && !broken) {
            self->AwaitRequest(true);
        } else {
            self->ShakeFailed();
        }
    };
    if (broken) {
        connection_->BreakTls(until, done);
    } else {
        connection_->StartTls(exchange_.fault ? backend_.tls->old : backend_.tls->current, until,
                              done);
    }
}

void Session::ShakeFailed() {
    exchange_.trace.address = connection_->Peer();
    exchange_.trace.scheme = "https";
    exchange_.trace.note = "the TLS handshake failed";
    backend_.site.Done(exchange_);
    connection_->Close();
}

void Session::AwaitRequest(bool first) {
    exchange_ = Exchange{};
    parser_.emplace();
    parser_->header_limit(kLargestHead);
    parser_->body_limit(std::numeric_limits<std::uint64_t>::max());  // the site knows it
    known_ = 0;
    first_ = first;
    begun_ = false;
    keep_ = false;
    step_ = Step::kReading;
    if (!first) {  // the first wait has begun with the place, and a handshake is part of it
        place_->AwaitPeer();
    }
    deadline_ = Clock::now() + (first ? backend_.limits.head : backend_.limits.idle);
    if (stopping_) {
        connection_->CloseInOrder();
    } else if (input_.size() > 0) {
        OnHeadBytes();
    } else {
        input_.shrink_to_fit();
        ReadHead();
    }
}

void Session::ReadHead() {
    const auto room = input_.prepare(kHeadBlock);
    connection_->Read(room.data(), room.size(), deadline_,
                      [self = shared_from_this()](bool good, std::size_t bytes) {
                          self->input_.commit(bytes);
                          if (good) {
                              self->OnHeadBytes();
                          } else {
                              self->OnHeadFailed();
                          }
                      });
}

void Session::OnHeadBytes() {
    if (!begun_) {
        begun_ = true;
        started_ = Clock::now();
        deadline_ = first_ ? deadline_ : started_ + backend_.limits.head;
    }
    // An empty line before a request is none of it, says the standard.
    while (known_ == 0 && Input().substr(0, 2) == "\r\n") {
        input_.consume(2);
    }
    const std::size_t end = Input().find(kHeadEnd, known_ < 3 ? 0 : known_ - 3);
    const bool whole = end != std::string_view::npos;
    const std::string_view head = Input().substr(0, whole ? end + kHeadEnd.size() : end);
    if (const auto problem = CheckHeadBytes(head, known_)) {
        Refuse(problem->status, problem->reason);
    } else if (head.size() > kLargestHead) {
        const bool line = head.find('\n') == std::string_view::npos;
        Refuse(line ? 414 : 431, "the head is too large");
    } else if (whole) {
        TakeHead(head.size());
    } else {
        known_ = head.size();
        ReadHead();
    }
}

void Session::OnHeadFailed() {
    if (connection_->TimedOut() && begun_) {
        Refuse(408, "the head came too slowly");
    } else {
        connection_->CloseInOrder();
    }
}

void Session::TakeHead(std::size_t length) {
    const std::string_view head = Input().substr(0, length);
    const auto problem = CheckHead(head);
    error_code error;
    parser_->put(asio::buffer(head.data(), head.size()), error);
    if (problem || error || !parser_->is_header_done()) {
        Refuse(problem ? problem->status : 400,
               problem ? problem->reason : "the head is no HTTP: " + error.message());
        return;
    }
    input_.consume(length);
    NoteHead();
    if (!parser_->is_done() && !backend_.site.TakesBody(exchange_)) {
        OnReply(true);
        return;
    }
    const std::size_t limit = backend_.site.BodyLimit(exchange_.request);
    if (parser_->content_length().value_or(0) > limit) {
        Refuse(413, "the body is larger than " + std::to_string(limit) + " bytes");
        return;
    }
    if (parser_->chunked()) {
        parser_->body_limit(limit);
    }
    parser_->eager(true);
    keep_ = parser_->keep_alive();
    deadline_ = Clock::now();  // the body's time begins
    if (EqualsIgnoringCase(exchange_.request.Header("Expect"), "100-continue") &&
        input_.size() == 0 && !parser_->is_done()) {
        Continue();
    } else {
        TakeBody();
    }
}

void Session::NoteHead() {
    Request &request = exchange_.request;
    TraceEntry &trace = exchange_.trace;
    const auto &head = parser_->get();
    request.method = std::string(head.method_string());
    SetTarget(request, {head.target().data(), head.target().size()});
    for (const auto &field : head) {
        request.headers.emplace_back(field.name_string(), field.value());
        trace.requestHeaders +=
            TracedHeader(request.headers.back().first, request.headers.back().second);
    }
    trace.method = request.method;
    trace.target = request.target;
    trace.address = connection_->Peer();
    trace.scheme = backend_.tls == nullptr ? "http" : "https";
    if (backend_.limits.trustedProxies.count(trace.address) != 0) {
        ReadForwarded(request, trace);
    }
}

void Session::Continue() {
    constexpr std::string_view kContinue = "HTTP/1.1 100 Continue\r\n\r\n";
    connection_->Write(kContinue, deadline_ + backend_.limits.body, backend_.limits.body,
                       [self = shared_from_this()](bool good, std::size_t) {
                           if (good) {
                               self->TakeBody();
                           } else {
                               self->Finish(false);
                           }
                       });
}

void Session::TakeBody() {
    error_code error;
    while (input_.size() > 0 && !parser_->is_done() && !error) {
        input_.consume(parser_->put(input_.data(), error));
    }
    if (error == http::error::body_limit) {
        const std::size_t limit = backend_.site.BodyLimit(exchange_.request);
        Refuse(413, "the body is larger than " + std::to_string(limit) + " bytes");
        return;
    }
    if ((error && error != http::error::need_more) || input_.size() > kMostUnparsed) {
        Refuse(400, "the chunks of the body are wrong: " + error.message());
        return;
    }
    if (!backend_.bodies.Grow(held_, LengthOfBody() - held_)) {
        exchange_.response.SetHeader("Retry-After", "10");
        Refuse(503, "too many bodies are on their way; try again");
        return;
    }
    if (LengthOfBody() >= kBelievable) {
        parser_->get().body().reserve(
            static_cast<std::size_t>(parser_->content_length().value_or(0)));
    }
    if (parser_->is_done()) {
        Dispatch();
    } else {
        ReadBody();
    }
}

void Session::ReadBody() {
    place_->AwaitPeer();
    const auto room = input_.prepare(kBodyBlock);
    connection_->Read(room.data(), room.size(),
                      SlowestEnd(deadline_, backend_.limits.body, LengthOfBody()),
                      [self = shared_from_this()](bool good, std::size_t bytes) {
                          self->input_.commit(bytes);
                          if (good) {
                              self->TakeBody();
                          } else {
                              self->OnBodyFailed();
                          }
                      });
}

void Session::OnBodyFailed() {
    if (connection_->TimedOut()) {
        Refuse(408, "the body came too slowly");
    } else {
        Refuse(400, "the body did not arrive whole");
    }
}

void Session::Refuse(int status, const std::string &reason) {
    SetError(exchange_.response, status, reason);
    exchange_.trace.note = reason;
    if (exchange_.trace.address.empty()) {
        exchange_.trace.address = connection_->Peer();
        exchange_.trace.scheme = backend_.tls == nullptr ? "http" : "https";
    }
    keep_ = false;
    OnReply(true);
}

void Session::Dispatch() {
    exchange_.request.body = std::move(parser_->get().body());
    parser_.reset();
    step_ = Step::kHandling;
    place_->Work();
    backend_.workers.Post([self = shared_from_this()] { self->Handle(); });
}

void Session::Handle() {
    const Reply reply([self = shared_from_this()](bool answered) {
        asio::post(self->connection_->Executor(), [self, answered] { self->OnReply(answered); });
    });
    try {
        exchange_.fault = backend_.site.RequestFault(exchange_.request);
        backend_.site.Handle(exchange_, reply);
    } catch (const std::exception &error) {
        Say(std::string("a request failed: ") + error.what());
    } catch (...) {
        Say("a request failed");
    }
}

void Session::OnReply(bool answered) {
    if (!answered) {
        SetError(exchange_.response, 500, "the server failed");
    }
    exchange_.trace.requestBytes =
        static_cast<std::int64_t>(parser_ ? LengthOfBody() : exchange_.request.body.size());
    parser_.reset();
    exchange_.request.body = std::string();
    backend_.bodies.GiveBack(held_);
    delivery_ = Deliver(MakeAnswer(), exchange_.fault);
    SendAnswer();
}

Answer Session::MakeAnswer() {
    Response &response = exchange_.response;
    if (exchange_.trace.answerBody.empty()) {
        exchange_.trace.answerBody = Excerpt(response.body);
    }
    Answer answer{response.status, response.headers, response.file};
    if (!answer.body) {
        answer.body = std::make_shared<TextBody>(std::move(response.body));
    }
    if (HasNoBody(response.status)) {
        answer.body = nullptr;
    } else {
        answer.headers.insert(answer.headers.begin(),
                              {"Content-Length", std::to_string(answer.body->Size())});
    }
    if (exchange_.request.method == "HEAD") {
        answer.body = nullptr;
    }
    keep_ = keep_ && !stopping_;
    if (keep_) {
        answer.headers.emplace_back("Connection", "keep-alive");
        answer.headers.emplace_back("Keep-Alive",
                                    "timeout=" + std::to_string(backend_.limits.idle.count()));
    } else {
        answer.headers.emplace_back("Connection", "close");
    }
    return answer;
}

void Session::SendAnswer() {
    sent_ = 0;
    if (delivery_.wait.count() == 0) {
        SendMore();
        return;
    }
    step_ = Step::kPausing;
    connection_->Pause(delivery_.wait, [self = shared_from_this()](bool good, std::size_t) {
        if (good && !self->stopping_) {
            self->SendMore();
        } else {
            self->Finish(false);
        }
    });
}

void Session::SendMore() {
    step_ = Step::kSending;
    if (sent_ == delivery_.Size()) {
        Finish(true);
        return;
    }
    const bool onWorker = delivery_.body && delivery_.body->MayWait();
    if (onWorker) {
        backend_.workers.Post([self = shared_from_this()] {
            self->Fill();
            asio::post(self->connection_->Executor(), [self] { self->SendBlock(); });
        });
    } else {
        Fill();
        SendBlock();
    }
}

void Session::Fill() {
    const auto left = static_cast<std::size_t>(delivery_.Size() - sent_);
    block_.resize(delivery_.perByte.count() > 0 ? 1 : std::min(kSendBlock, left));
    block_.resize(delivery_.Read(sent_, block_.data(), block_.size()));
}

void Session::SendBlock() {
    if (block_.empty()) {  // the file has become shorter
        Finish(false);
        return;
    }
    place_->AwaitPeer();
    const auto until = SlowestEnd(Clock::now(), backend_.limits.body, block_.size());
    const auto sent = [self = shared_from_this()](bool good, std::size_t bytes) {
        self->sent_ += static_cast<std::int64_t>(bytes);
        const auto pause = self->delivery_.perByte;
        if (!good) {
            self->Finish(false);
        } else if (pause.count() == 0) {
            self->SendMore();
        } else {
            self->step_ = Step::kPausing;
            self->connection_->Pause(pause, [self](bool, std::size_t) {
                if (self->stopping_) {
                    self->Finish(false);
                } else {
                    self->SendMore();
                }
            });
        }
    };
    connection_->Write(block_, until, backend_.limits.body, sent);
}

void Session::Finish(bool sent) {
    TraceEntry &trace = exchange_.trace;
    const Delivery::End end = delivery_.end;
    trace.status = sent_ == 0 ? 0 : exchange_.response.status;
    trace.answerBytes = sent_;
    exchange_.taken = Clock::now() - started_;
    trace.milliseconds = Milliseconds(exchange_.taken);
    delivery_ = Delivery();
    block_ = std::string();
    backend_.site.Done(exchange_);
    if (end == Delivery::End::kReset) {
        connection_->Reset();
    } else if (!sent) {
        connection_->Close();
    } else if (keep_ && end == Delivery::End::kKeep) {
        AwaitRequest(false);
    } else {
        connection_->CloseInOrder();
    }
}

}  // namespace corvenna::cloud
