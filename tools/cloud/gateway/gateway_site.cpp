#include "tools/cloud/gateway/gateway_site.h"

#include <functional>
#include <limits>

#include "tools/cloud/document/answer.h"
#include "tools/cloud/document/inflate.h"
#include "tools/cloud/ground/refusal.h"
#include "tools/cloud/ground/say.h"
#include "tools/cloud/ground/text.h"
#include "tools/cloud/health/probes.h"
#include "tools/cloud/http/allowed_methods.h"
#include "tools/cloud/http/byte_range.h"

namespace corvenna::cloud {
namespace {

bool StartsWith(const std::string &text, std::string_view start) {
    return text.compare(0, start.size(), start) == 0;
}

// Smaller ones may be in memory as many as there are threads.
constexpr std::size_t kLargeDocument = 1U << 20U;

/// The language of answers: what the gateway accepts, else what it sends.
Format AnswerFormat(const Request &request) {
    const std::string accept = request.Header("Accept");
    const std::string type = request.Header("Content-Type");
    const bool xml =
        StartsWith(accept, "application/xml") ||
        (!StartsWith(accept, "application/json") && StartsWith(type, "application/xml"));
    return xml ? Format::kXml : Format::kJson;
}

Format BodyFormat(const Request &request) {
    const std::string type = request.Header("Content-Type");
    if (StartsWith(type, "application/xml")) {
        return Format::kXml;
    }
    if (!StartsWith(type, "application/json")) {
        throw Refusal{415, "the content type is neither application/json nor application/xml"};
    }
    return Format::kJson;
}

/// Statuses that a gateway takes for success: what they are answered to must be kept.
bool CountsAsSuccess(long status) {
    return status < 300 || status == 426;
}

Contact ContactOf(const Exchange &exchange) {
    constexpr const char *kSendingTime = "XVane-Time";  // seconds since 1970, with data files
    constexpr long kLatest = std::numeric_limits<long>::max();
    Contact contact;
    contact.address = exchange.trace.address;
    contact.scheme = exchange.trace.scheme;
    contact.received = NowMilliseconds();
    contact.sent = WholeNumber(exchange.request.Header(kSendingTime), 1, kLatest)
                       .value_or(contact.received / 1000);
    return contact;
}

std::string Counts(const Stored &stored) {
    return std::to_string(stored.fresh) + " stored, " + std::to_string(stored.known) +
           " known before";
}

Fields StoredFields(const Stored &stored) {
    return {{"result", "ok"},
            {"stored", std::to_string(stored.fresh)},
            {"known", std::to_string(stored.known)}};
}

/// A fault of a menu whose store may be away; none happens then.
template <class Take>
std::optional<Fault> Played(const Take &take) {
    try {
        return take();
    } catch (const std::exception &error) {
        SayRarely(error.what());
        return std::nullopt;
    }
}

/// An offered file as the store has it.
class StoredFile : public BodySource {
public:
    StoredFile(std::shared_ptr<const Content> content, std::int64_t size)
        : content_(std::move(content)), size_(size) {}

    std::int64_t Size() const override { return size_; }
    bool MayWait() const override { return true; }
    std::size_t Read(std::int64_t offset, char *to, std::size_t length) const override {
        return content_->Read(offset, to, length);
    }

private:
    std::shared_ptr<const Content> content_;
    std::int64_t size_;
};

}  // namespace

/// One request with what its handler needs. It lives until it is answered.
struct GatewaySite::Call {
    Call(Exchange &its, Reply its_reply) : exchange(its), reply(std::move(its_reply)) {}

    Exchange &exchange;
    Reply reply;
    const Request &request = exchange.request;
    Response &response = exchange.response;
    Contact contact;
    std::vector<std::string> segments;
    Format answerFormat = AnswerFormat(request);
    Format bodyFormat = Format::kJson;
    std::optional<int> wantedStatus;  ///< from the fault menu
    LargeDocuments::Pass pass;

    void Answer(int status, const Fields &fields) const {
        response.status = status;
        response.SetContent(FlatAnswer(answerFormat, fields), ContentType(answerFormat));
    }
    void AnswerList(const std::vector<Fields> &nodes) const {
        response.status = 200;
        response.SetContent(ListAnswer(answerFormat, nodes), ContentType(answerFormat));
    }
    void Note(const std::string &note) const { exchange.trace.note = note; }
    void Refuse(int status, const std::string &reason, const std::string &note) const;
    void Guard(const std::function<void()> &step) const;
    void Finish() const;
};

/// What a request changes and, when that is on disk, how it is answered.
struct GatewaySite::Work {
    Store::Write write;                ///< none: there is nothing to change
    std::optional<std::int64_t> time;  ///< of the document that it brings
    std::function<void()> answer;

    /// @param write returns what `answer` is given.
    template <class Change, class Answer>
    static Work Of(Change change, Answer answer) {
        using Result = decltype(change(std::declval<Ledger &>()));
        const auto result = std::make_shared<Result>();
        return {[result, change = std::move(change)](Ledger &ledger) { *result = change(ledger); },
                std::nullopt, [result, answer = std::move(answer)] { answer(*result); }};
    }
};

void GatewaySite::Call::Refuse(int status, const std::string &reason,
                               const std::string &note) const {
    Note(note);
    SetError(response, status, reason);
}

/// Does a step of the answer; what it throws becomes the answer.
void GatewaySite::Call::Guard(const std::function<void()> &step) const {
    try {
        step();
    } catch (const BadDocument &error) {
        Refuse(400, error.what(), error.what());
    } catch (const Refusal &refusal) {
        Refuse(refusal.status, refusal.reason, refusal.reason);
    } catch (const std::exception &error) {
        SayRarely(error.what());
        const Trouble trouble = AnswerTrouble(error, response);
        Refuse(trouble.status, trouble.words, error.what());
    }
}

void GatewaySite::Call::Finish() const {
    if (wantedStatus && CountsAsSuccess(response.status)) {
        response.status = *wantedStatus;
    }
    if (response.status == 204 || response.status == 304) {
        response.body.clear();
    }
    reply();
}

struct GatewaySite::Route {
    const char *exchange;
    std::size_t segments;
    Work (GatewaySite::*handler)(Call &call);
};

const GatewaySite::Route GatewaySite::kRoutes[] = {
    {"gateway", 1, &GatewaySite::PostGateway},    {"device", 2, &GatewaySite::PostDevices},
    {"realdata", 2, &GatewaySite::PostRealData},  {"alarmdata", 2, &GatewaySite::PostAlarmData},
    {"recall-list", 2, &GatewaySite::GetRecalls}, {"recall-done", 2, &GatewaySite::DeleteRecall},
    {"file-list", 2, &GatewaySite::GetFileList},  {"file-status", 2, &GatewaySite::PutFileStatus},
    {"file", 3, &GatewaySite::GetFile},
};

std::size_t GatewaySite::BodyLimit(const Request & /*request*/) const {
    return settings_.maxBody;
}

std::optional<Fault> GatewaySite::HandshakeFault() {
    return Played([this] { return faults_.Take("connection", ""); });
}

std::vector<std::string> GatewaySite::SegmentsOf(const std::string &path) const {
    const std::string &prefix = settings_.prefix;
    if (!StartsWith(path, prefix + "/")) {
        return {};
    }
    return Segments(std::string_view(path).substr(prefix.size()));
}

std::optional<Fault> GatewaySite::RequestFault(const Request &request) {
    if (IsProbe(request)) {
        return std::nullopt;
    }
    const auto segments = SegmentsOf(request.path);
    const ExchangeRow *row =
        segments.empty() ? nullptr : FindExchange(request.method, segments.front());
    return Played([&] {
        return faults_.Take(row == nullptr ? "any" : row->name,
                            faults_.NeedsSerial() ? SerialOf(request, row, segments) : "");
    });
}

/// The gateway that a request is of; empty when that cannot be known.
std::string GatewaySite::SerialOf(const Request &request, const ExchangeRow *row,
                                  const std::vector<std::string> &segments) {
    if (row == nullptr) {
        return "";
    }
    if (std::string_view(row->name) == "file") {
        const auto file =
            segments.size() == 3 ? store_.FindFile(segments[1], segments[2]) : std::nullopt;
        return file ? file->sn : "";
    }
    if (std::string_view(row->name) != "gateway") {
        return segments.size() == 2 ? segments[1] : "";
    }
    try {
        const Format format = BodyFormat(request);
        LargeDocuments::Pass pass;
        return ReadGateway(format, BodyText(request, pass)).sn;
    } catch (const BadDocument &) {
        return "";  // it will be refused for that
    } catch (const Refusal &) {
        return "";
    }
}

void GatewaySite::Done(Exchange &exchange) {
    if (exchange.fault) {
        exchange.trace.fault = exchange.fault->Text();
    }
    metrics_.CountRequest(FiguresOf(exchange));
    // A balancer's questions, some every second, would leave no room for others.
    if (!IsProbe(exchange.request)) {
        trace_.Add(std::move(exchange.trace));
    }
}

void GatewaySite::Handle(Exchange &exchange, Reply reply) {
    if (IsProbe(exchange.request)) {
        AnswerProbe(store_, exchange, reply);
        return;
    }
    const auto call = std::make_shared<Call>(exchange, std::move(reply));
    if (exchange.fault && exchange.fault->kind == FaultKind::kStatus) {
        call->wantedStatus = static_cast<int>(exchange.fault->value);
    }
    exchange.trace.requestBody = Excerpt(exchange.request.body);
    if (call->wantedStatus && !CountsAsSuccess(*call->wantedStatus)) {
        call->Refuse(*call->wantedStatus, "a status from the fault menu",
                     "not served, as the fault menu wants it");
        call->Finish();
        return;
    }
    Begin(call);
}

/// Has the writer do what is to be done and answers behind it, or answers at once.
void GatewaySite::Begin(const std::shared_ptr<Call> &call) {
    Work work;
    call->Guard([&] { work = Prepare(*call); });
    if (!work.write) {
        if (work.answer) {
            call->Guard(work.answer);
        }
        call->Finish();
        return;
    }
    store_.Post({call->contact.sn, work.time}, std::move(work.write),
                [call, answer = std::move(work.answer)](std::exception_ptr failure) {
                    call->Guard([&] { failure ? std::rethrow_exception(failure) : answer(); });
                    call->Finish();
                });
}

GatewaySite::Work GatewaySite::Prepare(Call &call) {
    Exchange &exchange = call.exchange;
    call.segments = SegmentsOf(call.request.path);
    const ExchangeRow *row =
        call.segments.empty() ? nullptr : FindExchange(call.request.method, call.segments.front());
    for (const Route &route : kRoutes) {
        if (row == nullptr || std::string_view(route.exchange) != row->name ||
            call.segments.size() != route.segments) {
            continue;
        }
        call.contact = ContactOf(exchange);
        exchange.trace.exchange = route.exchange;
        if (route.segments == 2) {
            if (!IsSerialNumber(call.segments[1])) {
                throw Refusal{400, "the path does not end in a serial number"};
            }
            call.contact.sn = exchange.trace.sn = call.segments[1];
            guard_.CheckSerial(call.contact.sn);
        }
        // Who knows the address of a file may have it: downloads carry neither password nor cookie.
        if (std::string_view(route.exchange) != "file") {
            guard_.CheckSender(call.request, call.response);
        }
        return (this->*route.handler)(call);
    }
    RefuseMethod(call.request.method, call.segments, call.response);
}

void GatewaySite::RefuseMethod(const std::string &method, const std::vector<std::string> &segments,
                               Response &response) {
    AllowedMethods allowed;
    for (const ExchangeRow &row : Exchanges()) {
        for (const Route &route : kRoutes) {
            if (std::string_view(route.exchange) == row.name && segments.size() == route.segments &&
                segments.front() == row.segment) {
                allowed.Add(row.method);
            }
        }
    }
    allowed.Refuse(method, response);
}

std::string GatewaySite::BodyText(const Request &request, LargeDocuments::Pass &pass) {
    const std::string encoding = request.Header("Content-Encoding");
    if (!encoding.empty() && encoding != "identity" && encoding != "deflate") {
        throw Refusal{415, "the content encoding is not deflate"};
    }
    const bool deflated = encoding == "deflate";
    const std::size_t size =
        deflated ? InflatedSize(request.body, settings_.maxInflated) : request.body.size();
    if (size > kLargeDocument) {
        pass.Enter(largeDocuments_);
    }
    return deflated ? InflateDocument(request.body, size) : request.body;
}

std::string GatewaySite::ReadBody(Call &call) {
    call.bodyFormat = BodyFormat(call.request);
    std::string text = BodyText(call.request, call.pass);
    call.exchange.trace.requestBody = Excerpt(text);
    return text;
}

GatewaySite::Work GatewaySite::PostGateway(Call &call) {
    std::string text = ReadBody(call);
    const GatewayMessage gateway = ReadGateway(call.bodyFormat, std::move(text));
    call.contact.sn = call.exchange.trace.sn = gateway.sn;
    guard_.CheckSerial(gateway.sn);
    return Work::Of(
        [gateway, contact = call.contact](Ledger &ledger) {
            ledger.RegisterGateway(contact, gateway);
            return true;
        },
        [&call](bool) {
            call.Note("gateway registered");
            call.Answer(200, {{"result", "ok"}});
        });
}

GatewaySite::Work GatewaySite::PostDevices(Call &call) {
    std::string text = ReadBody(call);
    return Work::Of(
        [devices = ReadDevices(call.bodyFormat, std::move(text)),
         contact = call.contact](Ledger &ledger) {
            ledger.RegisterDevices(contact, devices);
            return devices.size();
        },
        [&call](std::size_t count) {
            call.Note("devices registered: " + std::to_string(count));
            call.Answer(200, {{"result", "ok"}, {"devices", std::to_string(count)}});
        });
}

GatewaySite::Work GatewaySite::PostRealData(Call &call) {
    std::string text = ReadBody(call);
    RealDataMessage message = ReadRealData(call.bodyFormat, std::move(text));
    const std::int64_t time = SecondsOf(message.time);
    Work work = Work::Of([message = std::move(message), contact = call.contact](
                             Ledger &ledger) { return ledger.StoreRealData(contact, message); },
                         [this, &call](const Stored &stored) {
                             metrics_.CountSamples(stored.fresh, stored.known);
                             call.Note(Counts(stored) + (stored.filesWait ? "; files wait" : ""));
                             // The data is kept in both cases: a gateway takes 426 for success and
                             // for a hint.
                             call.Answer(stored.filesWait ? 426 : 200, StoredFields(stored));
                         });
    work.time = time;
    return work;
}

GatewaySite::Work GatewaySite::PostAlarmData(Call &call) {
    std::string text = ReadBody(call);
    return Work::Of([alarms = ReadAlarms(call.bodyFormat, std::move(text)), contact = call.contact](
                        Ledger &ledger) { return ledger.StoreAlarms(contact, alarms); },
                    [this, &call](const Stored &stored) {
                        metrics_.CountAlarms(stored.fresh, stored.known);
                        call.Note(Counts(stored));
                        call.Answer(200, StoredFields(stored));
                    });
}

GatewaySite::Work GatewaySite::GetRecalls(Call &call) {
    return Work::Of(
        [contact = call.contact](Ledger &ledger) { return ledger.WaitingRecalls(contact); },
        [&call](const std::vector<TimeRange> &ranges) {
            std::vector<Fields> nodes;
            nodes.reserve(ranges.size());
            for (const TimeRange &range : ranges) {
                nodes.push_back({{"startdt", range.start}, {"enddt", range.end}});
            }
            call.Note("recalls waiting: " + std::to_string(nodes.size()));
            call.AnswerList(nodes);
        });
}

GatewaySite::Work GatewaySite::DeleteRecall(Call &call) {
    std::string text = ReadBody(call);
    const TimeRange range = ReadRecallDone(call.bodyFormat, std::move(text));
    return Work::Of([range, contact = call.contact](
                        Ledger &ledger) { return ledger.FinishRecall(contact, range); },
                    [range, &call](bool asked) {
                        if (!asked) {
                            throw Refusal{404, "no such range was asked for"};
                        }
                        call.Note("recall done: " + range.start + " to " + range.end);
                        call.response.status = 204;
                    });
}

GatewaySite::Work GatewaySite::GetFileList(Call &call) {
    return Work::Of(
        [contact = call.contact](Ledger &ledger) { return ledger.OfferedFiles(contact); },
        [&call](const std::vector<OfferedFile> &files) {
            std::vector<Fields> nodes;
            nodes.reserve(files.size());
            for (const OfferedFile &file : files) {
                nodes.push_back({{"file", file.file},
                                 {"md5", file.md5},
                                 {"type", file.type},
                                 {"path", file.path}});
            }
            call.Note("files waiting: " + std::to_string(nodes.size()));
            call.AnswerList(nodes);
        });
}

GatewaySite::Work GatewaySite::PutFileStatus(Call &call) {
    std::string text = ReadBody(call);
    const FileStatusMessage status = ReadFileStatus(call.bodyFormat, std::move(text));
    return Work::Of(
        [status, contact = call.contact](Ledger &ledger) {
            return ledger.NoteFileStatus(contact, status);
        },
        [status, &call](bool offered) {
            if (!offered) {
                throw Refusal{404, "no file of this digest was offered"};
            }
            call.Note("status " + std::to_string(status.status) + " of file " + status.md5);
            call.Answer(200, {{"result", "ok"}});
        });
}

GatewaySite::Work GatewaySite::GetFile(Call &call) {
    const auto file = store_.FindFile(call.segments[1], call.segments[2]);
    if (!file) {
        throw Refusal{404, "there is no such file"};
    }
    call.exchange.trace.sn = file->sn;
    // Nothing that names a version of a file is ever sent: a range that depends on one never holds.
    const bool conditional = call.request.HasHeader("If-Range");
    const ByteRange range =
        conditional ? ByteRange() : ReadRange(call.request.Header("Range"), file->size);
    if (!file->content) {
        throw Refusal{404, "the file is gone"};
    }
    SendFile(call.response, std::make_shared<StoredFile>(file->content, file->size), range);
    if (call.response.file) {
        call.exchange.trace.note = std::to_string(call.response.file->Size()) +
                                   " bytes of a file of " + std::to_string(file->size);
        call.exchange.trace.answerBody = "(file content)";
    } else {
        call.exchange.trace.note = "nothing of the range is there";
    }
    return {};
}

}  // namespace corvenna::cloud
