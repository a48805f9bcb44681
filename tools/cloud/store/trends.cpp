#include <algorithm>

#include "tools/cloud/ground/text.h"
#include "tools/cloud/store/gateway_points.h"
#include "tools/cloud/store/json_writing.h"
#include "tools/cloud/store/queries.h"
#include "tools/cloud/store/sample_reader.h"

namespace corvenna::cloud {
namespace {

constexpr std::int64_t kDay = 86400;

/// What gateways write for a point whose host has no value.
constexpr std::string_view kNotReported = "-1.000";

/// On purpose: a reading of exactly -1 looks the same and is left out with them; a course with a
/// dip wherever nothing was read would be wrong far more often.
std::optional<double> Reading(std::string_view value) {
    return value == kNotReported ? std::nullopt : FiniteNumber(value);
}

struct Sampled {
    std::int64_t time;
    bool again;
    std::int64_t received;
    std::string value;
};

void WriteSample(JsonWriter &writer, const Sampled &sample) {
    writer.StartObject();
    WriteText(writer, "time", TimeText(sample.time));
    WriteText(writer, "value", sample.value);
    WriteText(writer, "received", UtcText(sample.received));
    WriteNumber(writer, "again", sample.again ? 1 : 0);
    writer.EndObject();
}

/// Buckets of one point; those without a value are null.
void WriteBuckets(JsonWriter &writer, const std::vector<Bucket> &buckets) {
    writer.StartArray();
    for (const Bucket &bucket : buckets) {
        if (bucket.count == 0) {
            writer.Null();
            continue;
        }
        writer.StartArray();
        writer.Double(bucket.lowest);
        writer.Double(bucket.highest);
        // Ours: a sum that is too large for a number gives no mean outside the values.
        writer.Double(std::clamp(bucket.sum / static_cast<double>(bucket.count), bucket.lowest,
                                 bucket.highest));
        writer.Int64(bucket.count);
        writer.EndArray();
    }
    writer.EndArray();
}

/// The range in seconds, with what was left open.
std::pair<std::int64_t, std::int64_t> Limits(Connection &connection, std::int64_t gateway,
                                             const TimeRange &range) {
    std::int64_t end = NowMilliseconds() / 1000;
    if (!range.end.empty()) {
        end = SecondsOf(range.end);
    } else {
        Rows row = connection.Query(
            "SELECT newest FROM gateways WHERE id = ? AND newest IS NOT NULL", {gateway});
        if (row.Next()) {
            end = row.Number(0);
        }
    }
    const std::int64_t start = range.start.empty() ? end - kDay : SecondsOf(range.start);
    return {start, std::max(start, end)};
}

}  // namespace

std::string Queries::History(const std::string &sn, const std::string &dblink,
                             const TimeRange &range, std::int64_t limit) {
    Store::Reader reader = store_.Read();
    std::vector<Sampled> samples;
    if (const auto gateway = GatewayNumber(reader.Get(), sn)) {
        SampleReader samplesOf(reader.Get(), *gateway,
                               Numbers(FindPoints(reader.Get(), *gateway, {dblink})));
        samplesOf.Visit(SecondsOf(range.start), SecondsOf(range.end),
                        SampleReader::Order::kNewestFirst, [&](const DocumentValues &document) {
                            samples.push_back({document.time, document.again, document.received,
                                               std::string(document.values[0])});
                            return samples.size() < static_cast<std::size_t>(limit);
                        });
    }
    return Json([&](JsonWriter &writer) {
        writer.StartArray();
        for (auto sample = samples.rbegin(); sample != samples.rend(); ++sample) {
            WriteSample(writer, *sample);
        }
        writer.EndArray();
    });
}

std::optional<std::string> Queries::Trends(const std::string &sn,
                                           const std::vector<std::string> &dblinks,
                                           const TimeRange &range, std::int64_t buckets) {
    Store::Reader reader = store_.Read();
    Connection &connection = reader.Get();
    const auto gateway = GatewayNumber(connection, sn);
    if (!gateway) {
        return std::nullopt;
    }
    const auto points = FindPoints(connection, *gateway, dblinks);
    const auto [from, to] = Limits(connection, *gateway, range);
    const std::int64_t seconds = std::max<std::int64_t>(1, (to - from + buckets) / buckets);
    const auto count = static_cast<std::size_t>((to - from) / seconds + 1);
    std::vector<std::vector<Bucket>> trends(points.size(), std::vector<Bucket>(count));
    SampleReader samplesOf(connection, *gateway, Numbers(points));
    samplesOf.Visit(from, to, SampleReader::Order::kOldestFirst,
                    [&, start = from](const DocumentValues &document) {
                        const auto place =
                            static_cast<std::size_t>((document.time - start) / seconds);
                        for (std::size_t i = 0; i < trends.size(); ++i) {
                            if (const auto value = Reading(document.values[i])) {
                                trends[i][place].Add(*value);
                            }
                        }
                        return true;
                    });
    return Json([&, start = from, end = to](JsonWriter &writer) {
        writer.StartObject();
        WriteText(writer, "from", TimeText(start));
        WriteText(writer, "to", TimeText(end));
        WriteNumber(writer, "seconds", seconds);
        writer.Key("points");
        writer.StartArray();
        for (std::size_t i = 0; i < points.size(); ++i) {
            writer.StartObject();
            WriteText(writer, "dblink", points[i].dblink);
            WriteText(writer, "name", points[i].name);
            WriteText(writer, "unit", points[i].unit);
            writer.Key("buckets");
            WriteBuckets(writer, trends[i]);
            writer.EndObject();
        }
        writer.EndArray();
        writer.EndObject();
    });
}

}  // namespace corvenna::cloud
