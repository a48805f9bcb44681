#include "tools/cloud/gateway_site.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>

#include "tools/cloud/answer.h"
#include "tools/cloud/inflate.h"
#include "tools/cloud/text.h"

namespace corvenna::cloud {
namespace {

/// A refusal that is not about the document's content.
struct Refusal {
    int status;
    std::string reason;
};

bool StartsWith(const std::string &text, std::string_view start) {
    return text.compare(0, start.size(), start) == 0;
}

/// The language of answers: what the gateway accepts, else what it sends.
Format AnswerFormat(const httplib::Request &request) {
    const std::string accept = request.get_header_value("Accept");
    const std::string type = request.get_header_value("Content-Type");
    const bool xml =
        StartsWith(accept, "application/xml") ||
        (!StartsWith(accept, "application/json") && StartsWith(type, "application/xml"));
    return xml ? Format::kXml : Format::kJson;
}

Format BodyFormat(const httplib::Request &request) {
    const std::string type = request.get_header_value("Content-Type");
    if (StartsWith(type, "application/xml")) {
        return Format::kXml;
    }
    if (!StartsWith(type, "application/json")) {
        throw Refusal{415, "the content type is neither application/json nor application/xml"};
    }
    return Format::kJson;
}

/// What a Range header asks for of a file, cut to the file.
struct Part {
    std::int64_t start;
    std::int64_t length;
    bool whole;
};

/// "bytes=7-", "bytes=7-9" and "bytes=-3"; anything else means the whole file.
Part RequestedPart(const std::string &range, std::int64_t size) {
    constexpr long kMost = std::numeric_limits<long>::max();
    const Part whole{0, size, true};
    const std::size_t dash = range.find('-');
    if (!StartsWith(range, "bytes=") || dash == std::string::npos) {
        return whole;
    }
    const std::string first = range.substr(6, dash - 6);
    const std::string last = range.substr(dash + 1);
    const auto from = WholeNumber(first, 0, kMost);
    const auto to = WholeNumber(last, 0, kMost);
    if ((!from && !first.empty()) || (!to && !last.empty()) || (!from && !to)) {
        return whole;
    }
    if (!from) {
        const std::int64_t length = std::min<std::int64_t>(*to, size);
        return {size - length, length, false};
    }
    const std::int64_t end = to ? std::min<std::int64_t>(*to, size - 1) : size - 1;
    return {*from, std::max<std::int64_t>(0, end - *from + 1), false};
}

void SendPart(httplib::Response &response, const FileContent &file, const Part &part) {
    constexpr const char *kType = "application/octet-stream";
    if (part.length == 0) {
        response.set_content("", kType);
        return;
    }
    const int fd = open(file.path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        throw Refusal{404, "the file is gone"};
    }
    const auto provide = [fd, part](std::size_t offset, std::size_t length,
                                    httplib::DataSink &sink) {
        char block[65536];
        const ssize_t got = pread(fd, block, std::min(length, sizeof block),
                                  static_cast<off_t>(part.start + static_cast<off_t>(offset)));
        return got > 0 && sink.write(block, static_cast<std::size_t>(got));
    };
    response.set_content_provider(static_cast<std::size_t>(part.length), kType, provide,
                                  [fd](bool) { close(fd); });
}

/// Statuses that a gateway takes for success: what they are answered to must be kept.
bool CountsAsSuccess(long status) {
    return status < 300 || status == 426;
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

}  // namespace

/// One request with what its handler needs.
struct GatewaySite::Call {
    Exchange &exchange;
    const httplib::Request &request;
    httplib::Response &response;
    Contact contact;
    std::vector<std::string> segments;
    Format answerFormat;
    Format bodyFormat;

    void Reply(int status, const Fields &fields) const {
        response.status = status;
        response.set_content(FlatAnswer(answerFormat, fields), ContentType(answerFormat));
    }
    void ReplyList(const std::vector<Fields> &nodes) const {
        response.status = 200;
        response.set_content(ListAnswer(answerFormat, nodes), ContentType(answerFormat));
    }
};

struct GatewaySite::Route {
    const char *exchange;
    std::size_t segments;
    void (GatewaySite::*handler)(Call &call);
};

const GatewaySite::Route GatewaySite::kRoutes[] = {
    {"gateway", 1, &GatewaySite::PostGateway},    {"device", 2, &GatewaySite::PostDevices},
    {"realdata", 2, &GatewaySite::PostRealData},  {"alarmdata", 2, &GatewaySite::PostAlarmData},
    {"recall-list", 2, &GatewaySite::GetRecalls}, {"recall-done", 2, &GatewaySite::DeleteRecall},
    {"file-list", 2, &GatewaySite::GetFileList},  {"file-status", 2, &GatewaySite::PutFileStatus},
    {"file", 3, &GatewaySite::GetFile},
};

std::size_t GatewaySite::BodyLimit(const httplib::Request & /*request*/) const {
    return options_.maxBody;
}

std::optional<Fault> GatewaySite::HandshakeFault() {
    return faults_.Take("connection");
}

std::vector<std::string> GatewaySite::SegmentsOf(const std::string &path) const {
    const std::string &prefix = options_.prefix;
    if (!StartsWith(path, prefix + "/")) {
        return {};
    }
    return Segments(std::string_view(path).substr(prefix.size()));
}

std::optional<Fault> GatewaySite::RequestFault(const httplib::Request &request) {
    const auto segments = SegmentsOf(request.path);
    const ExchangeRow *row =
        segments.empty() ? nullptr : FindExchange(request.method, segments.front());
    return faults_.Take(row == nullptr ? "any" : row->name);
}

void GatewaySite::Done(Exchange &exchange) {
    if (exchange.fault) {
        exchange.trace.fault = exchange.fault->Text();
    }
    trace_.Add(std::move(exchange.trace));
}

void GatewaySite::Answer(Exchange &exchange) {
    const auto segments = SegmentsOf(exchange.request->path);
    const bool replaced = exchange.fault && exchange.fault->kind == FaultKind::kStatus;
    const int wanted = replaced ? static_cast<int>(exchange.fault->value) : 0;
    if (replaced && !CountsAsSuccess(wanted)) {
        exchange.trace.requestBody = Excerpt(exchange.body);
        exchange.trace.note = "not served, as the fault menu wants it";
        SetError(*exchange.response, wanted, "a status from the fault menu");
        return;
    }
    try {
        Run(exchange, segments);
    } catch (const BadDocument &error) {
        exchange.trace.note = error.what();
        SetError(*exchange.response, 400, error.what());
    } catch (const Refusal &refusal) {
        exchange.trace.note = refusal.reason;
        SetError(*exchange.response, refusal.status, refusal.reason);
    } catch (const std::exception &error) {
        std::cerr << "corvenna-cloud: " << error.what() << '\n';
        exchange.trace.note = error.what();
        SetError(*exchange.response, 500, "the server could not store this");
    }
    if (replaced && CountsAsSuccess(exchange.response->status)) {
        exchange.response->status = wanted;
    }
    if (exchange.response->status == 204 || exchange.response->status == 304) {
        exchange.response->body.clear();
    }
}

void GatewaySite::Run(Exchange &exchange, const std::vector<std::string> &segments) {
    const httplib::Request &request = *exchange.request;
    exchange.trace.requestBody = Excerpt(exchange.body);
    const ExchangeRow *row =
        segments.empty() ? nullptr : FindExchange(request.method, segments.front());
    for (const Route &route : kRoutes) {
        if (row == nullptr || std::string_view(route.exchange) != row->name ||
            segments.size() != route.segments) {
            continue;
        }
        Call call{exchange,     request, *exchange.response, {}, segments, AnswerFormat(request),
                  Format::kJson};
        call.contact.address = exchange.trace.address;
        call.contact.scheme = exchange.trace.scheme;
        exchange.trace.exchange = route.exchange;
        if (route.segments == 2) {
            if (!IsSerialNumber(segments[1])) {
                throw Refusal{400, "the path does not end in a serial number"};
            }
            call.contact.sn = exchange.trace.sn = segments[1];
        }
        (this->*route.handler)(call);
        return;
    }
    throw Refusal{404, "there is nothing at this path for this method"};
}

Element GatewaySite::ReadBody(Call &call) const {
    call.bodyFormat = BodyFormat(call.request);
    const std::string &encoding = call.exchange.encoding;
    if (encoding.empty() || encoding == "identity") {
        return ParseDocument(call.bodyFormat, call.exchange.body);
    }
    if (encoding != "deflate") {
        throw Refusal{415, "the content encoding is not deflate"};
    }
    const std::string text = InflateDocument(call.exchange.body, options_.maxInflated);
    call.exchange.trace.requestBody = Excerpt(text);
    return ParseDocument(call.bodyFormat, text);
}

void GatewaySite::PostGateway(Call &call) {
    const Element document = ReadBody(call);
    const GatewayMessage gateway = ReadGateway(call.bodyFormat, document);
    call.contact.sn = call.exchange.trace.sn = gateway.sn;
    store_.RegisterGateway(call.contact, gateway);
    call.exchange.trace.note = "gateway registered";
    call.Reply(200, {{"result", "ok"}});
}

void GatewaySite::PostDevices(Call &call) {
    const auto devices = ReadDevices(ReadBody(call));
    store_.RegisterDevices(call.contact, devices);
    call.exchange.trace.note = "devices registered: " + std::to_string(devices.size());
    call.Reply(200, {{"result", "ok"}, {"devices", std::to_string(devices.size())}});
}

void GatewaySite::PostRealData(Call &call) {
    const Stored stored = store_.StoreRealData(call.contact, ReadRealData(ReadBody(call)));
    const bool filesWait = store_.FilesWait(call.contact.sn);
    call.exchange.trace.note = Counts(stored) + (filesWait ? "; files wait" : "");
    // The data is kept in both cases: a gateway takes 426 for success and for a hint.
    call.Reply(filesWait ? 426 : 200, StoredFields(stored));
}

void GatewaySite::PostAlarmData(Call &call) {
    const Element document = ReadBody(call);
    const Stored stored = store_.StoreAlarms(call.contact, ReadAlarms(call.bodyFormat, document));
    call.exchange.trace.note = Counts(stored);
    call.Reply(200, StoredFields(stored));
}

void GatewaySite::GetRecalls(Call &call) {
    std::vector<Fields> nodes;
    for (const TimeRange &range : store_.WaitingRecalls(call.contact)) {
        nodes.push_back({{"startdt", range.start}, {"enddt", range.end}});
    }
    call.exchange.trace.note = "recalls waiting: " + std::to_string(nodes.size());
    call.ReplyList(nodes);
}

void GatewaySite::DeleteRecall(Call &call) {
    const TimeRange range = ReadRecallDone(ReadBody(call));
    if (!store_.FinishRecall(call.contact, range)) {
        throw Refusal{404, "no such range was asked for"};
    }
    call.exchange.trace.note = "recall done: " + range.start + " to " + range.end;
    call.response.status = 204;
}

void GatewaySite::GetFileList(Call &call) {
    std::vector<Fields> nodes;
    for (const OfferedFile &file : store_.OfferedFiles(call.contact)) {
        nodes.push_back(
            {{"file", file.file}, {"md5", file.md5}, {"type", file.type}, {"path", file.path}});
    }
    call.exchange.trace.note = "files waiting: " + std::to_string(nodes.size());
    call.ReplyList(nodes);
}

void GatewaySite::PutFileStatus(Call &call) {
    const FileStatusMessage status = ReadFileStatus(ReadBody(call));
    if (!store_.NoteFileStatus(call.contact, status)) {
        throw Refusal{404, "no file of this digest was offered"};
    }
    call.exchange.trace.note = "status " + std::to_string(status.status) + " of file " + status.md5;
    call.Reply(200, {{"result", "ok"}});
}

void GatewaySite::GetFile(Call &call) {
    const auto file = store_.FindFile(call.segments[1], call.segments[2]);
    if (!file) {
        throw Refusal{404, "there is no such file"};
    }
    const Part part = RequestedPart(call.request.get_header_value("Range"), file->size);
    const std::string total = "/" + std::to_string(file->size);
    if (!part.whole && part.length == 0) {
        call.response.set_header("Content-Range", "bytes *" + total);
        throw Refusal{416, "the file ends before the range begins"};
    }
    SendPart(call.response, *file, part);
    call.response.status = part.whole ? 200 : 206;
    if (!part.whole) {
        call.response.set_header("Content-Range", "bytes " + std::to_string(part.start) + "-" +
                                                      std::to_string(part.start + part.length - 1) +
                                                      total);
    }
    call.exchange.trace.note =
        std::to_string(part.length) + " bytes of a file of " + std::to_string(file->size);
    call.exchange.trace.answerBody = "(file content)";
}

}  // namespace corvenna::cloud
