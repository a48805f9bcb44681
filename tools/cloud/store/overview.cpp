#include "tools/cloud/ground/text.h"
#include "tools/cloud/store/json_writing.h"
#include "tools/cloud/store/queries.h"
#include "tools/cloud/store/sample_reader.h"

namespace corvenna::cloud {
namespace {

constexpr int kRows = 20;  // of alarms and of overdue gateways
constexpr int kRecentGateways = 12;
constexpr int kRecentPoints = 3;  // of each
constexpr std::size_t kRecentSamples = 40;

struct RecentPoint {
    std::string dblink, name, unit;
    std::vector<std::pair<std::int64_t, std::string>> samples;
};

/// Points that the gateway's newest document has; whether a line is up is no reading.
std::vector<RecentPoint> RecentPoints(Connection &connection, std::int64_t gateway,
                                      std::vector<std::int64_t> &numbers) {
    std::vector<RecentPoint> points;
    Rows rows = connection.Query(
        "SELECT p.id, p.dblink, p.name, p.unit FROM layout_points l JOIN points p ON p.id = l.point"
        " WHERE l.layout = (SELECT id FROM layouts WHERE gateway = ? ORDER BY newest DESC NULLS "
        "LAST LIMIT 1)"
        " AND p.name <> 'Comm_Status' ORDER BY l.position LIMIT ?",
        {gateway, kRecentPoints});
    while (rows.Next()) {
        numbers.push_back(rows.Number(0));
        points.push_back({rows.Text(1), rows.Text(2), rows.Text(3), {}});
    }
    return points;
}

void FillRecent(Connection &connection, std::int64_t gateway, std::int64_t newest,
                const std::vector<std::int64_t> &numbers, std::vector<RecentPoint> &points) {
    std::size_t documents = 0;
    SampleReader samples(connection, gateway, numbers);
    samples.Visit(0, newest, SampleReader::Order::kNewestFirst,
                  [&](const DocumentValues &document) {
                      for (std::size_t i = 0; i < points.size(); ++i) {
                          if (!document.values[i].empty()) {
                              points[i].samples.emplace_back(document.time, document.values[i]);
                          }
                      }
                      return ++documents < kRecentSamples;
                  });
}

void WriteRecentPoint(JsonWriter &writer, const RecentPoint &point) {
    writer.StartObject();
    WriteText(writer, "dblink", point.dblink);
    WriteText(writer, "name", point.name);
    WriteText(writer, "unit", point.unit);
    writer.Key("samples");
    writer.StartArray();
    for (auto sample = point.samples.rbegin(); sample != point.samples.rend(); ++sample) {
        writer.StartObject();
        WriteText(writer, "time", TimeText(sample->first));
        WriteText(writer, "value", sample->second);
        writer.EndObject();
    }
    writer.EndArray();
    writer.EndObject();
}

void WriteRecent(JsonWriter &writer, Connection &connection) {
    Rows rows = connection.Query(
        "SELECT id, sn, coalesce(name, ''), last_contact, newest"
        " FROM gateways WHERE newest IS NOT NULL"
        " ORDER BY last_contact DESC NULLS LAST LIMIT ?",
        {kRecentGateways});
    writer.StartArray();
    while (rows.Next()) {
        const std::int64_t gateway = rows.Number(0);
        std::vector<std::int64_t> numbers;
        auto points = RecentPoints(connection, gateway, numbers);
        FillRecent(connection, gateway, rows.Number(4), numbers, points);
        writer.StartObject();
        WriteText(writer, "sn", rows.Text(1));
        WriteText(writer, "name", rows.Text(2));
        WriteText(writer, "last_contact", rows.Text(3));
        writer.Key("points");
        writer.StartArray();
        for (const RecentPoint &point : points) {
            WriteRecentPoint(writer, point);
        }
        writer.EndArray();
        writer.EndObject();
    }
    writer.EndArray();
}

void WriteList(JsonWriter &writer, const char *name, const std::string &json) {
    writer.Key(name);
    writer.RawValue(json.data(), json.size(), rapidjson::kArrayType);
}

}  // namespace

std::string Queries::Overview() {
    GatewayFilter overdueFilter;
    overdueFilter.overdueOnly = true;
    overdueFilter.limit = kRows;
    const Page overdue = Gateways(overdueFilter);
    const Page alarms = Alarms({"", true, kNoBound, kRows});
    Store::Reader reader = store_.Read();
    Connection &connection = reader.Get();
    return Json([&](JsonWriter &writer) {
        writer.StartObject();
        WriteText(writer, "now", UtcNow());
        WriteNumber(writer, "gateways", NumberOf(connection, "SELECT count(*) FROM gateways"));
        WriteNumber(writer, "overdue", overdue.total);
        WriteList(writer, "overdue_gateways", overdue.json);
        WriteNumber(writer, "active_alarms", alarms.total);
        WriteList(writer, "alarms", alarms.json);
        writer.Key("recent");
        WriteRecent(writer, connection);
        writer.EndObject();
    });
}

}  // namespace corvenna::cloud
