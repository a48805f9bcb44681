#include "tools/cloud/admin_site.h"

#include <openssl/evp.h>

#include <functional>
#include <iostream>
#include <limits>
#include <string_view>

#include "base/json.h"
#include "tools/cloud/admin_checks.h"
#include "tools/cloud/messages.h"
#include "tools/cloud/page_files.h"
#include "tools/cloud/text.h"

namespace corvenna::cloud {
namespace {

using JsonWriter = rapidjson::Writer<rapidjson::StringBuffer>;

constexpr long kMost = std::numeric_limits<int>::max();
constexpr long kUsualRows = 1000;
constexpr long kMostRows = 20000;
constexpr const char *kJson = "application/json";

struct Refusal {
    int status;
    std::string reason;
};

struct PageRow {
    const char *path, *name, *type;
};

constexpr PageRow kPage[] = {
    {"/", "index.html", "text/html; charset=UTF-8"},
    {"/app.js", "app.js", "text/javascript; charset=UTF-8"},
    {"/style.css", "style.css", "text/css; charset=UTF-8"},
    {"/icon.svg", "icon.svg", "image/svg+xml"},
};

void WriteText(JsonWriter &writer, std::string_view text) {
    writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

void WriteText(JsonWriter &writer, const char *name, std::string_view text) {
    writer.Key(name);
    WriteText(writer, text);
}

void WriteNumber(JsonWriter &writer, const char *name, std::int64_t number) {
    writer.Key(name);
    writer.Int64(number);
}

std::string Json(const std::function<void(JsonWriter &)> &write) {
    rapidjson::StringBuffer buffer;
    JsonWriter writer(buffer);
    write(writer);
    return {buffer.GetString(), buffer.GetSize()};
}

void WriteColumn(JsonWriter &writer, const SQLite::Column &column) {
    if (column.isNull()) {
        writer.Null();
    } else if (column.isInteger()) {
        writer.Int64(column.getInt64());
    } else {
        WriteText(writer, column.getString());
    }
}

/// A row as an object: the columns' names are its keys.
void WriteRow(JsonWriter &writer, SQLite::Statement &row) {
    writer.StartObject();
    for (int column = 0; column < row.getColumnCount(); ++column) {
        writer.Key(row.getColumnName(column));
        WriteColumn(writer, row.getColumn(column));
    }
    writer.EndObject();
}

void WriteRows(JsonWriter &writer, SQLite::Statement &rows) {
    writer.StartArray();
    while (rows.executeStep()) {
        WriteRow(writer, rows);
    }
    writer.EndArray();
}

void WriteFault(JsonWriter &writer, const Fault &fault) {
    const FaultKindRow &row = RowOf(fault.kind);
    writer.StartObject();
    WriteNumber(writer, "id", fault.id);
    WriteText(writer, "exchange", fault.exchange);
    WriteText(writer, "kind", row.name);
    if (row.valueMeaning != nullptr) {
        WriteNumber(writer, "value", fault.value);
    }
    if (fault.left >= 0) {
        WriteNumber(writer, "left", fault.left);
    }
    WriteNumber(writer, "happened", fault.happened);
    writer.EndObject();
}

void WriteTraceEntry(JsonWriter &writer, const TraceEntry &entry) {
    writer.StartObject();
    WriteNumber(writer, "id", entry.id);
    WriteText(writer, "time", entry.time);
    WriteText(writer, "scheme", entry.scheme);
    WriteText(writer, "address", entry.address);
    WriteText(writer, "sn", entry.sn);
    WriteText(writer, "exchange", entry.exchange);
    WriteText(writer, "method", CleanUtf8(entry.method));
    WriteText(writer, "target", CleanUtf8(entry.target));
    WriteText(writer, "request_headers", CleanUtf8(entry.requestHeaders));
    WriteNumber(writer, "request_bytes", entry.requestBytes);
    WriteText(writer, "request_body", entry.requestBody);
    WriteNumber(writer, "status", entry.status);
    WriteNumber(writer, "answer_bytes", entry.answerBytes);
    WriteText(writer, "answer_body", entry.answerBody);
    WriteNumber(writer, "milliseconds", entry.milliseconds);
    WriteText(writer, "fault", entry.fault);
    WriteText(writer, "note", entry.note);
    writer.EndObject();
}

std::string Md5(const std::string &content) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (EVP_Digest(content.data(), content.size(), digest, &length, EVP_md5(), nullptr) != 1) {
        throw std::runtime_error("no MD5 in this OpenSSL");
    }
    return Hex(digest, length);
}

/// A JSON object that a client sent, with checked access to its members.
class Body {
public:
    explicit Body(const std::string &text) {
        document_.Parse<rapidjson::kParseIterativeFlag>(text.data(), text.size());
        if (document_.HasParseError() || !document_.IsObject()) {
            throw Refusal{400, "the body is no JSON object"};
        }
    }

    std::string Text(const char *name) const {
        const auto member = document_.FindMember(name);
        if (member == document_.MemberEnd() || !member->value.IsString()) {
            throw Refusal{400, std::string("\"") + name + "\" must be there, as a text"};
        }
        return {member->value.GetString(), member->value.GetStringLength()};
    }

    std::optional<long> Number(const char *name) const {
        const auto member = document_.FindMember(name);
        if (member == document_.MemberEnd() || member->value.IsNull()) {
            return std::nullopt;
        }
        if (!member->value.IsInt()) {
            throw Refusal{400, std::string("\"") + name + "\" must be a whole number"};
        }
        return member->value.GetInt();
    }

private:
    rapidjson::Document document_;
};

long NumberParameter(const httplib::Request &request, const char *name, long lowest, long highest,
                     long usual) {
    if (!request.has_param(name)) {
        return usual;
    }
    const auto number = WholeNumber(request.get_param_value(name), lowest, highest);
    if (!number) {
        throw Refusal{400, std::string(name) + " goes from " + std::to_string(lowest) + " to " +
                               std::to_string(highest)};
    }
    return *number;
}

std::string TimeParameter(const httplib::Request &request, const char *name,
                          const std::string &usual) {
    if (!request.has_param(name)) {
        return usual;
    }
    std::string text = request.get_param_value(name);
    if (!IsTimeText(text)) {
        throw Refusal{400, std::string(name) + " is no time (YYYY-MM-DD hh:mm:ss)"};
    }
    return text;
}

void SetPageFile(httplib::Response &response, const char *name, const char *type) {
    const PageFile *file = FindPageFile(name);
    response.status = 200;
    response.set_content(reinterpret_cast<const char *>(file->bytes), file->length, type);
}

void SetSafetyHeaders(httplib::Response &response) {
    response.set_header("Content-Security-Policy",
                        "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self';"
                        " connect-src 'self'; base-uri 'none'; form-action 'none';"
                        " frame-ancestors 'none'");
    response.set_header("X-Content-Type-Options", "nosniff");
    response.set_header("Referrer-Policy", "no-referrer");
    response.set_header("Cache-Control", "no-store");
}

}  // namespace

/// One request with what its handler needs.
struct AdminSite::Call {
    const httplib::Request &request;
    httplib::Response &response;
    const std::string &body;
    std::vector<std::string> segments;
    std::vector<std::string> arguments;  ///< what stands at the pattern's places in braces

    void Reply(int status, const std::function<void(JsonWriter &)> &write) const {
        response.status = status;
        response.set_content(Json(write), kJson);
    }
    void ReplyId(int status, std::int64_t id) const {
        Reply(status, [id](JsonWriter &writer) {
            writer.StartObject();
            WriteNumber(writer, "id", id);
            writer.EndObject();
        });
    }
    std::int64_t IdArgument(std::size_t index) const {
        const auto id = WholeNumber(arguments[index], 1, kMost);
        if (!id) {
            throw Refusal{404, "there is no such number"};
        }
        return *id;
    }
};

struct AdminSite::Route {
    const char *method;
    const char *pattern;
    void (AdminSite::*handler)(Call &call);
};

// page/openapi.json describes the same routes.
const AdminSite::Route AdminSite::kRoutes[] = {
    {"GET", "/api/status", &AdminSite::GetStatus},
    {"GET", "/api/openapi.json", &AdminSite::GetOpenApi},
    {"GET", "/api/gateways", &AdminSite::GetGateways},
    {"GET", "/api/gateways/{sn}", &AdminSite::GetGateway},
    {"DELETE", "/api/gateways/{sn}", &AdminSite::DeleteGateway},
    {"GET", "/api/gateways/{sn}/devices", &AdminSite::GetDevices},
    {"GET", "/api/gateways/{sn}/points", &AdminSite::GetPoints},
    {"GET", "/api/gateways/{sn}/points/{dblink}/history", &AdminSite::GetHistory},
    {"GET", "/api/gateways/{sn}/alarms", &AdminSite::GetAlarms},
    {"GET", "/api/gateways/{sn}/recalls", &AdminSite::GetRecalls},
    {"POST", "/api/gateways/{sn}/recalls", &AdminSite::PostRecall},
    {"DELETE", "/api/gateways/{sn}/recalls/{id}", &AdminSite::DeleteRecall},
    {"GET", "/api/gateways/{sn}/files", &AdminSite::GetFiles},
    {"POST", "/api/gateways/{sn}/files", &AdminSite::PostFile},
    {"DELETE", "/api/gateways/{sn}/files/{id}", &AdminSite::DeleteFile},
    {"GET", "/api/trace", &AdminSite::GetTrace},
    {"GET", "/api/fault-kinds", &AdminSite::GetFaultKinds},
    {"GET", "/api/faults", &AdminSite::GetFaults},
    {"POST", "/api/faults", &AdminSite::PostFault},
    {"DELETE", "/api/faults", &AdminSite::DeleteFaults},
    {"DELETE", "/api/faults/{id}", &AdminSite::DeleteFault},
};

AdminSite::AdminSite(const Options &options, const Addresses &addresses, Store &store,
                     FaultMenu &faults, const Trace &trace)
    : options_(options),
      addresses_(addresses),
      store_(store),
      faults_(faults),
      trace_(trace),
      started_(UtcNow()) {}

std::string AdminSite::Routes() {
    std::string lines;
    for (const Route &route : kRoutes) {
        lines += std::string(route.method) + " " + route.pattern + "\n";
    }
    return lines;
}

std::size_t AdminSite::BodyLimit(const httplib::Request & /*request*/) const {
    return options_.maxFile;
}

bool AdminSite::Matches(const Route &route, const Call &call, std::vector<std::string> &arguments) {
    const auto pattern = Segments(route.pattern);
    if (pattern.size() != call.segments.size()) {
        return false;
    }
    arguments.clear();
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i].front() == '{') {
            arguments.push_back(call.segments[i]);
        } else if (pattern[i] != call.segments[i]) {
            return false;
        }
    }
    return true;
}

void AdminSite::Answer(Exchange &exchange) {
    httplib::Response &response = *exchange.response;
    SetSafetyHeaders(response);
    try {
        Call call{*exchange.request, response, exchange.body, Segments(exchange.request->path), {}};
        Run(call);
    } catch (const Refusal &refusal) {
        response.status = refusal.status;
        response.set_content(Json([&refusal](JsonWriter &writer) {
                                 writer.StartObject();
                                 WriteText(writer, "error", refusal.reason);
                                 writer.EndObject();
                             }),
                             kJson);
    } catch (const std::exception &error) {
        std::cerr << "corvenna-cloud: " << error.what() << '\n';
        response.status = 500;
        response.set_content(R"({"error":"the server failed; its own output says how"})", kJson);
    }
}

void AdminSite::Run(Call &call) {
    const httplib::Request &request = call.request;
    const bool reads = request.method == "GET" || request.method == "HEAD";
    if (!IsHostTrusted(request.get_header_value("Host"))) {
        throw Refusal{403, "this server is reached by its address or as localhost"};
    }
    if (!reads && !IsOriginTrusted(request)) {
        throw Refusal{403, "only this server's own page may do this"};
    }
    for (const PageRow &row : kPage) {
        if (reads && request.path == row.path) {
            SetPageFile(call.response, row.name, row.type);
            return;
        }
    }
    bool pathKnown = false;
    for (const Route &route : kRoutes) {
        if (!Matches(route, call, call.arguments)) {
            continue;
        }
        pathKnown = true;
        if ((reads ? "GET" : request.method) == route.method) {
            (this->*route.handler)(call);
            return;
        }
    }
    throw pathKnown ? Refusal{405, "this path has no such method"}
                    : Refusal{404, "there is nothing at this path"};
}

void AdminSite::GetStatus(Call &call) {
    call.Reply(200, [this](JsonWriter &writer) {
        writer.StartObject();
        WriteText(writer, "version", CORVENNA_VERSION);
        WriteText(writer, "started", started_);
        WriteText(writer, "http", addresses_.http);
        WriteText(writer, "https", addresses_.https);
        WriteText(writer, "admin", addresses_.admin);
        WriteText(writer, "prefix", options_.prefix);
        WriteText(writer, "now", UtcNow());
        writer.EndObject();
    });
}

void AdminSite::GetOpenApi(Call &call) {
    SetPageFile(call.response, "openapi.json", kJson);
}

constexpr const char *kGatewayQuery =
    "SELECT sn, name, version, registered, last_contact, last_exchange, address, scheme,"
    " site, longitude, latitude, owner, owner_description, room, room_description, camera,"
    " (SELECT count(*) FROM devices d WHERE d.gateway = g.id) AS devices,"
    " (SELECT count(*) FROM points p WHERE p.gateway = g.id) AS points,"
    " (SELECT count(*) FROM alarms a WHERE a.gateway = g.id) AS alarms,"
    " (SELECT count(*) FROM recalls r WHERE r.gateway = g.id AND r.finished IS NULL)"
    "   AS recalls_waiting,"
    " (SELECT count(*) FROM files f WHERE f.gateway = g.id AND f.finished IS NULL)"
    "   AS files_waiting"
    " FROM gateways g";

void AdminSite::GetGateways(Call &call) {
    const std::string sql = std::string(kGatewayQuery) + " ORDER BY sn";
    call.Reply(200, [&](JsonWriter &writer) {
        store_.Select([&writer](SQLite::Statement &rows) { WriteRows(writer, rows); }, sql.c_str());
    });
}

void AdminSite::GetGateway(Call &call) {
    const std::string sql = std::string(kGatewayQuery) + " WHERE sn = ?";
    bool found = false;
    const std::string text = Json([&](JsonWriter &writer) {
        store_.Select(
            [&](SQLite::Statement &rows) {
                found = rows.executeStep();
                if (found) {
                    WriteRow(writer, rows);
                }
            },
            sql.c_str(), call.arguments[0]);
    });
    if (!found) {
        throw Refusal{404, "there is no such gateway"};
    }
    call.response.status = 200;
    call.response.set_content(text, kJson);
}

void AdminSite::DeleteGateway(Call &call) {
    if (!store_.ForgetGateway(call.arguments[0])) {
        throw Refusal{404, "there is no such gateway"};
    }
    call.response.status = 204;
}

void AdminSite::GetDevices(Call &call) {
    call.Reply(200, [&](JsonWriter &writer) {
        store_.Select([&writer](SQLite::Statement &rows) { WriteRows(writer, rows); },
                      "SELECT channel, device, d.name, description FROM devices d"
                      " JOIN gateways g ON g.id = gateway WHERE sn = ? ORDER BY channel, device",
                      call.arguments[0]);
    });
}

void AdminSite::GetPoints(Call &call) {
    call.Reply(200, [&](JsonWriter &writer) {
        store_.Select([&writer](SQLite::Statement &rows) { WriteRows(writer, rows); },
                      "SELECT dblink, channel, device, p.name, unit, s.time, s.value, s.received"
                      " FROM points p JOIN gateways g ON g.id = p.gateway"
                      " LEFT JOIN samples s ON s.point = p.id"
                      "  AND s.time = (SELECT max(time) FROM samples WHERE point = p.id)"
                      " WHERE sn = ? ORDER BY dblink",
                      call.arguments[0]);
    });
}

void AdminSite::GetHistory(Call &call) {
    const std::string from = TimeParameter(call.request, "from", "0000-01-01 00:00:00");
    const std::string to = TimeParameter(call.request, "to", "9999-12-31 23:59:59");
    const long limit = NumberParameter(call.request, "limit", 1, kMostRows, kUsualRows);
    call.Reply(200, [&](JsonWriter &writer) {
        store_.Select([&writer](SQLite::Statement &rows) { WriteRows(writer, rows); },
                      "SELECT time, value, received FROM ("
                      "SELECT time, value, received FROM samples"
                      " WHERE point = (SELECT p.id FROM points p JOIN gateways g"
                      "  ON g.id = p.gateway WHERE sn = ? AND dblink = ?)"
                      " AND time BETWEEN ? AND ? ORDER BY time DESC LIMIT ?) ORDER BY time",
                      call.arguments[0], call.arguments[1], from, to, std::int64_t{limit});
    });
}

void AdminSite::GetAlarms(Call &call) {
    const long limit = NumberParameter(call.request, "limit", 1, kMostRows, kUsualRows);
    const long before = NumberParameter(call.request, "before", 1, kMost, kMost);
    call.Reply(200, [&](JsonWriter &writer) {
        store_.Select([&writer](SQLite::Statement &rows) { WriteRows(writer, rows); },
                      "SELECT a.id, time, channel, device, dblink, a.name, value, threshold, unit,"
                      " type, flag, received FROM alarms a JOIN gateways g ON g.id = a.gateway"
                      " WHERE sn = ? AND a.id < ? ORDER BY a.id DESC LIMIT ?",
                      call.arguments[0], std::int64_t{before}, std::int64_t{limit});
    });
}

void AdminSite::GetRecalls(Call &call) {
    call.Reply(200, [&](JsonWriter &writer) {
        store_.Select([&writer](SQLite::Statement &rows) { WriteRows(writer, rows); },
                      "SELECT r.id, start, \"end\", asked, fetched, finished,"
                      " CASE WHEN finished IS NOT NULL THEN 'served'"
                      "  WHEN fetched IS NOT NULL THEN 'fetched' ELSE 'waiting' END AS state"
                      " FROM recalls r JOIN gateways g ON g.id = r.gateway WHERE sn = ?"
                      " ORDER BY r.id DESC LIMIT 500",
                      call.arguments[0]);
    });
}

void AdminSite::PostRecall(Call &call) {
    const Body body(call.body);
    const TimeRange range{body.Text("start"), body.Text("end")};
    if (!IsSerialNumber(call.arguments[0])) {
        throw Refusal{400, "the path holds no serial number"};
    }
    if (!IsTimeText(range.start) || !IsTimeText(range.end) || range.end < range.start) {
        throw Refusal{400, "\"start\" and \"end\" are times (YYYY-MM-DD hh:mm:ss) in that order"};
    }
    const auto [id, fresh] = store_.AskForRecall(call.arguments[0], range);
    call.ReplyId(fresh ? 201 : 200, id);
}

void AdminSite::DeleteRecall(Call &call) {
    if (!store_.CancelRecall(call.arguments[0], call.IdArgument(1))) {
        throw Refusal{404, "no such recall waits"};
    }
    call.response.status = 204;
}

void AdminSite::GetFiles(Call &call) {
    call.Reply(200, [&](JsonWriter &writer) {
        store_.Select([&writer](SQLite::Statement &rows) { WriteRows(writer, rows); },
                      "SELECT f.id, f.name, 'files/' || token || '/' || f.name AS file, md5, type,"
                      " target AS path, size, state, offered, listed, begun, finished"
                      " FROM files f JOIN gateways g ON g.id = f.gateway WHERE sn = ?"
                      " ORDER BY f.id DESC LIMIT 500",
                      call.arguments[0]);
    });
}

void AdminSite::PostFile(Call &call) {
    const long type = NumberParameter(call.request, "type", 0, kMost, 0);
    NewFile file;
    file.name = call.request.get_param_value("name");
    file.target = call.request.get_param_value("path");
    file.type = static_cast<int>(type);
    if (!IsSerialNumber(call.arguments[0])) {
        throw Refusal{400, "the path holds no serial number"};
    }
    if (!IsFileName(file.name)) {
        throw Refusal{400,
                      "name has 1 to 48 letters, digits and ._+- and begins with letter or digit"};
    }
    if (type == 9 ? !IsTargetPath(file.target)
                  : !file.target.empty() && !IsTargetPath(file.target)) {
        throw Refusal{400, "path is an absolute path of letters, digits and ._+-/ without \"..\""};
    }
    file.content = call.body;
    file.md5 = Md5(file.content);
    const std::int64_t id = store_.OfferFile(call.arguments[0], file);
    call.Reply(201, [&](JsonWriter &writer) {
        writer.StartObject();
        WriteNumber(writer, "id", id);
        WriteText(writer, "md5", file.md5);
        WriteNumber(writer, "size", static_cast<std::int64_t>(file.content.size()));
        writer.EndObject();
    });
}

void AdminSite::DeleteFile(Call &call) {
    if (!store_.WithdrawFile(call.arguments[0], call.IdArgument(1))) {
        throw Refusal{404, "there is no such file"};
    }
    call.response.status = 204;
}

void AdminSite::GetTrace(Call &call) {
    const long after = NumberParameter(call.request, "after", 0, kMost, 0);
    call.Reply(200, [&](JsonWriter &writer) {
        writer.StartArray();
        for (const TraceEntry &entry : trace_.After(after)) {
            WriteTraceEntry(writer, entry);
        }
        writer.EndArray();
    });
}

void AdminSite::GetFaultKinds(Call &call) {
    call.Reply(200, [](JsonWriter &writer) {
        writer.StartObject();
        writer.Key("exchanges");
        writer.StartArray();
        for (const ExchangeRow &row : Exchanges()) {
            WriteText(writer, row.name);
        }
        writer.EndArray();
        writer.Key("kinds");
        writer.StartArray();
        for (const FaultKindRow &row : FaultKinds()) {
            writer.StartObject();
            WriteText(writer, "name", row.name);
            WriteText(writer, "meaning", row.meaning);
            if (row.valueMeaning != nullptr) {
                WriteText(writer, "value", row.valueMeaning);
                WriteNumber(writer, "lowest", row.lowest);
                WriteNumber(writer, "highest", row.highest);
                WriteNumber(writer, "usual", row.usual);
            }
            writer.EndObject();
        }
        writer.EndArray();
        writer.EndObject();
    });
}

void AdminSite::GetFaults(Call &call) {
    call.Reply(200, [this](JsonWriter &writer) {
        writer.StartArray();
        for (const Fault &fault : faults_.List()) {
            WriteFault(writer, fault);
        }
        writer.EndArray();
    });
}

void AdminSite::PostFault(Call &call) {
    const Body body(call.body);
    Fault fault;
    try {
        fault = MakeFault(body.Text("exchange"), body.Text("kind"), body.Number("value"),
                          body.Number("count"));
    } catch (const std::invalid_argument &error) {
        throw Refusal{400, error.what()};
    }
    fault = faults_.Add(fault);
    call.Reply(201, [&fault](JsonWriter &writer) { WriteFault(writer, fault); });
}

void AdminSite::DeleteFaults(Call &call) {
    faults_.Clear();
    call.response.status = 204;
}

void AdminSite::DeleteFault(Call &call) {
    if (!faults_.Remove(call.IdArgument(0))) {
        throw Refusal{404, "there is no such fault"};
    }
    call.response.status = 204;
}

}  // namespace corvenna::cloud
