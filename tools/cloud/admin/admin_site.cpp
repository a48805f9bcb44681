#include "tools/cloud/admin/admin_site.h"

#include <openssl/evp.h>
#include <unistd.h>

#include "tools/cloud/admin/admin_arguments.h"
#include "tools/cloud/admin/admin_checks.h"
#include "tools/cloud/admin/admin_json.h"
#include "tools/cloud/ground/say.h"
#include "tools/cloud/ground/text.h"
#include "tools/cloud/health/probes.h"
#include "tools/cloud/http/allowed_methods.h"
#include "tools/cloud/page/page_files.h"
#include "tools/cloud/store/json_writing.h"

namespace corvenna::cloud {
namespace {

constexpr long kUsualRows = 1000;
constexpr long kMostRows = 20000;
constexpr long kUsualBuckets = 500;
constexpr long kMostBuckets = 5000;
const TimeRange kAlways{"0000-01-01 00:00:00", "9999-12-31 23:59:59"};
// Types of files that gateways know.
constexpr long kUpdatePackage = 0;
constexpr long kConfigurationFile = 1;
constexpr long kPlainFile = 9;
constexpr const char *kJson = "application/json";

struct PageRow {
    const char *path, *name, *type;
};

constexpr const char *kScript = "text/javascript; charset=UTF-8";
constexpr const char *kStyle = "text/css; charset=UTF-8";
constexpr PageRow kPage[] = {
    {"/", "index.html", "text/html; charset=UTF-8"},
    {"/app.js", "app.js", kScript},
    {"/home.js", "home.js", kScript},
    {"/gateways.js", "gateways.js", kScript},
    {"/gateway.js", "gateway.js", kScript},
    {"/point.js", "point.js", kScript},
    {"/chart.js", "chart.js", kScript},
    {"/alarms.js", "alarms.js", kScript},
    {"/recalls.js", "recalls.js", kScript},
    {"/files.js", "files.js", kScript},
    {"/trace.js", "trace.js", kScript},
    {"/faults.js", "faults.js", kScript},
    {"/live.js", "live.js", kScript},
    {"/parts.js", "parts.js", kScript},
    {"/dygraph.min.js", "dygraph.min.js", kScript},
    {"/dygraph.min.css", "dygraph.min.css", kStyle},
    {"/style.css", "style.css", kStyle},
    {"/icon.svg", "icon.svg", "image/svg+xml"},
};

std::string Md5(const std::string &content) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (EVP_Digest(content.data(), content.size(), digest, &length, EVP_md5(), nullptr) != 1) {
        throw std::runtime_error("no MD5 in this OpenSSL");
    }
    return Hex(digest, length);
}

void SetPageFile(Response &response, const char *name, const char *type) {
    const PageFile *file = FindPageFile(name);
    response.status = 200;
    response.SetContent({reinterpret_cast<const char *>(file->bytes), file->length}, type);
}

void SetSafetyHeaders(Response &response) {
    response.SetHeader("Content-Security-Policy",
                       "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self';"
                       " connect-src 'self'; base-uri 'none'; form-action 'none';"
                       " frame-ancestors 'none'");
    response.SetHeader("X-Content-Type-Options", "nosniff");
    response.SetHeader("Referrer-Policy", "no-referrer");
    response.SetHeader("Cache-Control", "no-store");
}

}  // namespace

/// One request with what its handler needs.
struct AdminSite::Call {
    const Request &request;
    Response &response;
    const std::string &body;
    std::vector<std::string> segments;
    std::vector<std::string> arguments;  ///< what stands at the pattern's places in braces

    void ReplyText(int status, const std::string &json) const {
        response.status = status;
        response.SetContent(json, kJson);
    }
    void ReplyPage(const Page &page) const {
        response.SetHeader("X-Total-Count", std::to_string(page.total));
        ReplyText(200, page.json);
    }
    void Reply(int status, const std::function<void(JsonWriter &)> &write) const {
        ReplyText(status, Json(write));
    }
    void ReplyId(int status, std::int64_t id) const {
        Reply(status, [id](JsonWriter &writer) {
            writer.StartObject();
            WriteNumber(writer, "id", id);
            writer.EndObject();
        });
    }
};

struct AdminSite::Route {
    const char *method;
    const char *pattern;
    void (AdminSite::*handler)(Call &call);
};

// page/openapi.json describes those of the API.
const AdminSite::Route AdminSite::kRoutes[] = {
    {"GET", "/metrics", &AdminSite::GetMetrics},
    {"GET", "/api/status", &AdminSite::GetStatus},
    {"GET", "/api/openapi.json", &AdminSite::GetOpenApi},
    {"GET", "/api/overview", &AdminSite::GetOverview},
    {"GET", "/api/alarms", &AdminSite::GetAllAlarms},
    {"GET", "/api/gateways", &AdminSite::GetGateways},
    {"GET", "/api/gateways/{sn}", &AdminSite::GetGateway},
    {"DELETE", "/api/gateways/{sn}", &AdminSite::DeleteGateway},
    {"GET", "/api/gateways/{sn}/devices", &AdminSite::GetDevices},
    {"GET", "/api/gateways/{sn}/points", &AdminSite::GetPoints},
    {"GET", "/api/gateways/{sn}/points/{dblink}/history", &AdminSite::GetHistory},
    {"GET", "/api/gateways/{sn}/trends", &AdminSite::GetTrends},
    {"GET", "/api/gateways/{sn}/samples.csv", &AdminSite::GetTable},
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

AdminSite::AdminSite(const AdminSettings &settings, const Addresses &addresses, Store &store,
                     FaultMenu &faults, const Trace &trace, Metrics &metrics)
    : settings_(settings),
      addresses_(addresses),
      store_(store),
      queries_(store, settings.alarmWords),
      faults_(faults),
      trace_(trace),
      metrics_(metrics),
      guard_(settings.access),
      started_(UtcNow()) {}

std::string AdminSite::Routes() {
    std::string lines;
    for (const Route &route : kRoutes) {
        if (std::string_view(route.pattern).substr(0, 5) == "/api/") {
            lines += std::string(route.method) + " " + route.pattern + "\n";
        }
    }
    return lines;
}

std::size_t AdminSite::BodyLimit(const Request & /*request*/) const {
    return settings_.maxFile;
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

void AdminSite::Handle(Exchange &exchange, Reply reply) {
    if (IsProbe(exchange.request)) {
        SetSafetyHeaders(exchange.response);
        AnswerProbe(store_, exchange, reply);
        return;
    }
    exchange.trace.exchange = "admin";
    Answer(exchange);
    reply();
}

void AdminSite::Answer(Exchange &exchange) {
    Try(exchange.response, [&] {
        guard_.Check(exchange);
        Call call{exchange.request,
                  exchange.response,
                  exchange.request.body,
                  Segments(exchange.request.path),
                  {}};
        Run(call);
    });
}

void AdminSite::Done(Exchange &exchange) {
    metrics_.CountRequest(FiguresOf(exchange));
}

bool AdminSite::TakesBody(Exchange &exchange) {
    return Try(exchange.response, [&] { guard_.CheckHead(exchange); });
}

bool AdminSite::Try(Response &response, const std::function<void()> &answer) {
    SetSafetyHeaders(response);
    try {
        answer();
        return true;
    } catch (const Refusal &refusal) {
        response.status = refusal.status;
        response.SetContent(Json([&refusal](JsonWriter &writer) {
                                writer.StartObject();
                                WriteText(writer, "error", refusal.reason);
                                writer.EndObject();
                            }),
                            kJson);
    } catch (const std::exception &error) {
        SayRarely(error.what());
        response.status = AnswerTrouble(error, response).status;
        response.SetContent(R"({"error":"the server failed; its own output says how"})", kJson);
    }
    return false;
}

void AdminSite::Run(Call &call) {
    const Request &request = call.request;
    const bool reads = request.method == "GET" || request.method == "HEAD";
    AllowedMethods allowed;
    for (const PageRow &row : kPage) {
        if (request.path != row.path) {
            continue;
        }
        allowed.Add("GET, HEAD");
        if (reads) {
            SetPageFile(call.response, row.name, row.type);
            return;
        }
    }
    for (const Route &route : kRoutes) {
        if (!Matches(route, call, call.arguments)) {
            continue;
        }
        allowed.Add(route.method == std::string_view("GET") ? "GET, HEAD" : route.method);
        if ((reads ? "GET" : request.method) == route.method) {
            (this->*route.handler)(call);
            return;
        }
    }
    allowed.Refuse(request.method, call.response);
}

/// A store that is away is shown as such, beside what this process has counted itself.
void AdminSite::GetMetrics(Call &call) {
    std::optional<StoreFigures> figures;
    try {
        figures = queries_.Figures();
    } catch (const std::exception &error) {
        SayRarely(error.what());
    }
    call.response.status = 200;
    call.response.SetContent(metrics_.Text(figures ? &*figures : nullptr),
                             "text/plain; version=0.0.4; charset=utf-8");
}

void AdminSite::GetStatus(Call &call) {
    call.Reply(200, [this](JsonWriter &writer) {
        writer.StartObject();
        WriteText(writer, "version", CORVENNA_VERSION);
        WriteText(writer, "started", started_);
        WriteText(writer, "http", addresses_.http);
        WriteText(writer, "https", addresses_.https);
        WriteText(writer, "admin", addresses_.admin);
        WriteText(writer, "prefix", addresses_.prefix);
        WriteText(writer, "now", UtcNow());
        writer.EndObject();
    });
}

void AdminSite::GetOpenApi(Call &call) {
    SetPageFile(call.response, "openapi.json", kJson);
}

void AdminSite::GetOverview(Call &call) {
    call.ReplyText(200, queries_.Overview());
}

void AdminSite::GetGateways(Call &call) {
    GatewayFilter filter;
    filter.search = call.request.Parameter("search");
    filter.overdueOnly = ChoiceParameter(call.request, "state", {"all", "overdue"}) == "overdue";
    filter.offset = NumberParameter(call.request, "offset", 0, kMostNumber, 0);
    filter.limit = NumberParameter(call.request, "limit", 1, kMostRows, kMostRows);
    call.ReplyPage(queries_.Gateways(filter));
}

void AdminSite::GetGateway(Call &call) {
    const auto gateway = queries_.Gateway(call.arguments[0]);
    if (!gateway) {
        throw Refusal{404, "there is no such gateway"};
    }
    call.ReplyText(200, *gateway);
}

void AdminSite::DeleteGateway(Call &call) {
    if (!store_.ForgetGateway(call.arguments[0])) {
        throw Refusal{404, "there is no such gateway"};
    }
    call.response.status = 204;
}

void AdminSite::GetDevices(Call &call) {
    call.ReplyText(200, queries_.Devices(call.arguments[0]));
}

void AdminSite::GetPoints(Call &call) {
    call.ReplyText(200, queries_.Points(call.arguments[0]));
}

void AdminSite::GetHistory(Call &call) {
    const TimeRange range = RangeParameters(call.request, kAlways);
    const long limit = NumberParameter(call.request, "limit", 1, kMostRows, kUsualRows);
    call.ReplyText(200, queries_.History(call.arguments[0], call.arguments[1], range, limit));
}

void AdminSite::GetTrends(Call &call) {
    const TimeRange range = RangeParameters(call.request, {});
    const long buckets = NumberParameter(call.request, "buckets", 1, kMostBuckets, kUsualBuckets);
    const auto trends =
        queries_.Trends(call.arguments[0], PointsParameter(call.request), range, buckets);
    if (!trends) {
        throw Refusal{404, "there is no such gateway"};
    }
    call.ReplyText(200, *trends);
}

void AdminSite::GetTable(Call &call) {
    auto table = queries_.Export(call.arguments[0], PointsParameter(call.request),
                                 RangeParameters(call.request, kAlways));
    if (!table) {
        throw Refusal{404, "there is no such gateway"};
    }
    const off_t length = lseek(table->Get(), 0, SEEK_END);
    if (length < 0) {
        throw std::runtime_error("the length of a table is unknown");
    }
    call.response.status = 200;
    call.response.SetContent("", "text/csv; charset=UTF-8");
    call.response.SetHeader("Content-Disposition", "attachment; filename=\"samples.csv\"");
    call.response.file = std::make_shared<FilePart>(
        std::make_shared<const FileDescriptor>(std::move(*table)), 0, length);
}

AlarmFilter AdminSite::AlarmParameters(const Call &call) {
    AlarmFilter filter;
    filter.activeOnly = ChoiceParameter(call.request, "state", {"all", "active"}) == "active";
    filter.before = NumberParameter(call.request, "before", 1, kMostNumber, kMostNumber);
    filter.limit = NumberParameter(call.request, "limit", 1, kMostRows, kUsualRows);
    return filter;
}

void AdminSite::GetAlarms(Call &call) {
    AlarmFilter filter = AlarmParameters(call);
    filter.sn = call.arguments[0];
    call.ReplyPage(queries_.Alarms(filter));
}

void AdminSite::GetAllAlarms(Call &call) {
    call.ReplyPage(queries_.Alarms(AlarmParameters(call)));
}

void AdminSite::GetRecalls(Call &call) {
    call.ReplyText(200, queries_.Recalls(call.arguments[0]));
}

void AdminSite::PostRecall(Call &call) {
    const JsonBody body(call.body);
    const TimeRange range{body.Text("start"), body.Text("end")};
    if (!IsSerialNumber(call.arguments[0])) {
        throw Refusal{400, "the path holds no serial number"};
    }
    if (!IsTimeText(range.start) || !IsTimeText(range.end) || range.end < range.start) {
        throw Refusal{400, "\"start\" and \"end\" are times (YYYY-MM-DD hh:mm:ss) in that order"};
    }
    const auto [id, fresh] = store_.Do(call.arguments[0], [&](Ledger &ledger) {
        return ledger.AskForRecall(call.arguments[0], range);
    });
    call.ReplyId(fresh ? 201 : 200, id);
}

void AdminSite::DeleteRecall(Call &call) {
    const std::int64_t id = IdArgument(call.arguments[1]);
    if (!store_.Do(call.arguments[0],
                   [&](Ledger &ledger) { return ledger.CancelRecall(call.arguments[0], id); })) {
        throw Refusal{404, "no such recall waits"};
    }
    call.response.status = 204;
}

void AdminSite::GetFiles(Call &call) {
    call.ReplyText(200, queries_.Files(call.arguments[0]));
}

void AdminSite::PostFile(Call &call) {
    const long type = NumberParameter(call.request, "type", 0, kPlainFile, kUpdatePackage);
    NewFile file;
    file.name = call.request.Parameter("name");
    file.target = call.request.Parameter("path");
    file.type = static_cast<int>(type);
    if (!IsSerialNumber(call.arguments[0])) {
        throw Refusal{400, "the path holds no serial number"};
    }
    if (type != kUpdatePackage && type != kConfigurationFile && type != kPlainFile) {
        throw Refusal{400, "type is none of 0, 1 and 9"};
    }
    if (!IsFileName(file.name)) {
        throw Refusal{400,
                      "name has 1 to 48 letters, digits and ._+- and begins with letter or digit"};
    }
    if (type == kPlainFile ? !IsTargetPath(file.target)
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
    if (!store_.WithdrawFile(call.arguments[0], IdArgument(call.arguments[1]))) {
        throw Refusal{404, "there is no such file"};
    }
    call.response.status = 204;
}

void AdminSite::GetTrace(Call &call) {
    const long after = NumberParameter(call.request, "after", 0, kMostNumber, 0);
    call.Reply(200, [&](JsonWriter &writer) {
        writer.StartArray();
        for (const TraceEntry &entry : trace_.After(after)) {
            WriteTraceEntry(writer, entry);
        }
        writer.EndArray();
    });
}

void AdminSite::GetFaultKinds(Call &call) {
    call.Reply(200, WriteFaultMenu);
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
    const JsonBody body(call.body);
    Fault fault;
    try {
        fault = MakeFault(body.Text("exchange"), body.TextOr("sn", ""), body.Text("kind"),
                          body.Number("value"), body.Number("count"));
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
    if (!faults_.Remove(IdArgument(call.arguments[0]))) {
        throw Refusal{404, "there is no such fault"};
    }
    call.response.status = 204;
}

}  // namespace corvenna::cloud
