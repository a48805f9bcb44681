#include "tools/cloud/faults/faults.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

#include "tools/cloud/ground/text.h"

namespace corvenna::cloud {
namespace {

constexpr long kMost = std::numeric_limits<int>::max();

bool IsForConnections(FaultKind kind) {
    return kind == FaultKind::kTlsOld || kind == FaultKind::kTlsBreak;
}

bool IsExchange(const std::string &name) {
    const auto &rows = Exchanges();
    return std::any_of(rows.begin(), rows.end(),
                       [&name](const ExchangeRow &row) { return name == row.name; });
}

long WholeValue(const std::string &text, const char *what) {
    const auto number = WholeNumber(text, std::numeric_limits<int>::min(), kMost);
    if (!number) {
        throw std::invalid_argument(std::string("the ") + what + " \"" + text +
                                    "\" is no whole number");
    }
    return *number;
}

/// Cuts a text at the last such character; what stood behind it, if it was there.
std::optional<std::string> CutBehind(std::string &text, char separator) {
    const std::size_t at = text.rfind(separator);
    if (at == std::string::npos) {
        return std::nullopt;
    }
    std::string behind = text.substr(at + 1);
    text.erase(at);
    return behind;
}

}  // namespace

const std::vector<FaultKindRow> &FaultKinds() {
    static const std::vector<FaultKindRow> rows = {
        {FaultKind::kStatus, "status",
         "answers with this status; below 300 and for 426 the request is served all the same",
         "HTTP status", 200, 599, 500},
        {FaultKind::kDelay, "delay", "serves the request and waits before it answers",
         "milliseconds", 0, 3600000, 5000},
        {FaultKind::kDrip, "drip", "sends the answer byte by byte", "milliseconds a byte", 1, 60000,
         1000},
        {FaultKind::kResetBefore, "reset-before",
         "serves the request, then resets the connection without an answer", nullptr, 0, 0, 0},
        {FaultKind::kResetInside, "reset-inside",
         "resets the connection half-way through the answer", nullptr, 0, 0, 0},
        {FaultKind::kLengthLong, "length-long", "announces more bytes than it sends",
         "bytes too many", 1, kMost, 100},
        {FaultKind::kLengthShort, "length-short", "announces fewer bytes than it sends",
         "bytes too few", 1, kMost, 10},
        {FaultKind::kChunks, "chunks", "sends chunked coding whose second size is no number",
         nullptr, 0, 0, 0},
        {FaultKind::kTruncate, "truncate", "closes half-way through the body", nullptr, 0, 0, 0},
        {FaultKind::kGarbage, "garbage", "sends bytes that are no HTTP", "bytes", 1, 1000000, 512},
        {FaultKind::kGarbageBody, "garbage-body", "sends a good head and a senseless body", nullptr,
         0, 0, 0},
        {FaultKind::kTlsOld, "tls-old", "speaks nothing newer than TLS 1.1", nullptr, 0, 0, 0},
        {FaultKind::kTlsBreak, "tls-break", "breaks off inside the TLS handshake", nullptr, 0, 0,
         0},
    };
    return rows;
}

const std::vector<ExchangeRow> &Exchanges() {
    static const std::vector<ExchangeRow> rows = {
        {"any", "", ""},
        {"connection", "", ""},
        {"gateway", "POST", "gateway"},
        {"device", "POST", "device"},
        {"realdata", "POST", "realdata"},
        {"alarmdata", "POST", "alarmdata"},
        {"recall-list", "GET", "calldata"},
        {"recall-done", "DELETE", "calldata"},
        {"file-list", "GET", "downfile"},
        {"file-status", "PUT", "downfile"},
        {"file", "GET", "files"},
    };
    return rows;
}

const FaultKindRow &RowOf(FaultKind kind) {
    return FaultKinds().at(static_cast<std::size_t>(kind));
}

const FaultKindRow *FindKind(const std::string &name) {
    for (const FaultKindRow &row : FaultKinds()) {
        if (name == row.name) {
            return &row;
        }
    }
    return nullptr;
}

const ExchangeRow *FindExchange(std::string_view method, std::string_view segment) {
    for (const ExchangeRow &row : Exchanges()) {
        if (method == row.method && segment == row.segment) {
            return &row;
        }
    }
    return nullptr;
}

std::string Fault::Text() const {
    const FaultKindRow &row = RowOf(kind);
    return exchange + (sn.empty() ? "" : "@" + sn) + ":" + row.name +
           (row.valueMeaning == nullptr ? "" : "=" + std::to_string(value));
}

Fault MakeFault(const std::string &exchange, const std::string &sn, const std::string &kind,
                std::optional<long> value, std::optional<long> count) {
    const FaultKindRow *row = FindKind(kind);
    if (row == nullptr) {
        throw std::invalid_argument("there is no fault \"" + kind + "\"");
    }
    if (!IsExchange(exchange)) {
        throw std::invalid_argument("there is no exchange \"" + exchange + "\"");
    }
    if (IsForConnections(row->kind) != (exchange == "connection")) {
        throw std::invalid_argument(std::string(row->name) +
                                    (IsForConnections(row->kind)
                                         ? " goes with the exchange connection only"
                                         : " does not go with the exchange connection"));
    }
    if (!sn.empty() && exchange == "connection") {
        throw std::invalid_argument("the exchange " + exchange + " tells no serial number");
    }
    if (!sn.empty() && !IsSerialNumber(sn)) {
        throw std::invalid_argument("\"" + sn + "\" is no serial number");
    }
    if (value && row->valueMeaning == nullptr) {
        throw std::invalid_argument(kind + " takes no value");
    }
    if (value && (*value < row->lowest || *value > row->highest)) {
        throw std::invalid_argument("the value of " + kind + " goes from " +
                                    std::to_string(row->lowest) + " to " +
                                    std::to_string(row->highest));
    }
    if (count && *count < 1) {
        throw std::invalid_argument("the count begins at 1");
    }
    Fault fault;
    fault.exchange = exchange;
    fault.sn = sn;
    fault.kind = row->kind;
    fault.value = value.value_or(row->usual);
    fault.left = count.value_or(-1);
    return fault;
}

Fault ParseFault(const std::string &text) {
    std::string rest = text;
    std::optional<long> count;
    if (const auto behind = CutBehind(rest, '*')) {
        count = WholeValue(*behind, "count");
    }
    std::optional<long> value;
    if (const auto behind = CutBehind(rest, '=')) {
        value = WholeValue(*behind, "value");
    }
    const auto kind = CutBehind(rest, ':');
    if (!kind) {
        throw std::invalid_argument("a fault is written EXCHANGE[@SN]:KIND[=VALUE][*COUNT]");
    }
    const std::string exchange = rest.substr(0, rest.find('@'));
    const bool one = exchange.size() < rest.size();
    if (one && exchange.size() + 1 == rest.size()) {
        throw std::invalid_argument("there is no serial number behind the @");
    }
    return MakeFault(exchange, one ? rest.substr(exchange.size() + 1) : "", *kind, value, count);
}

}  // namespace corvenna::cloud
