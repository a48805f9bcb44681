#include "tools/cloud/store/queries.h"

#include <map>
#include <vector>

#include "tools/cloud/ground/text.h"
#include "tools/cloud/store/gateway_points.h"
#include "tools/cloud/store/json_writing.h"
#include "tools/cloud/store/sample_reader.h"

namespace corvenna::cloud {
namespace {

// The columns' names are the keys that the API shows.

constexpr const char *kGatewayColumns =
    "SELECT sn, name, version, registered, last_contact, last_exchange, address, scheme,"
    " site, longitude, latitude, owner, owner_description, room, room_description, camera,"
    " (SELECT count(*) FROM devices d WHERE d.gateway = g.id) AS devices, points, alarms,"
    " (SELECT count(*) FROM alarm_states s WHERE s.gateway = g.id AND s.active) AS active_alarms,"
    " (SELECT count(*) FROM recalls r WHERE r.gateway = g.id AND r.finished IS NULL)"
    "   AS recalls_waiting,"
    " (SELECT count(*) FROM files f WHERE f.gateway = g.id AND f.finished IS NULL)"
    "   AS files_waiting,"
    " interval,";

std::string SelectGateways(const Dialect &spelling) {
    return std::string(kGatewayColumns) + " " + spelling.overdue + " AS overdue FROM gateways g";
}

/// Those that hold the text ?1, unless it is empty, and are overdue, unless ?2 is 0.
std::string SelectSomeGateways(const Dialect &spelling) {
    return SelectGateways(spelling) + " WHERE (?1 = '' OR " + spelling.holdsText +
           ") AND (?2 = 0 OR " + spelling.overdue + " = 1)";
}

constexpr const char *kSelectDevices =
    "SELECT channel, device, d.name, description FROM devices d"
    " JOIN gateways g ON g.id = gateway WHERE sn = ? ORDER BY channel, device";

constexpr const char *kAlarmColumns =
    "SELECT a.id, g.sn, g.name AS gateway_name, a.time, a.channel, a.device,"
    " d.name AS device_name, a.dblink, a.name, a.value, a.threshold, a.unit, a.type,"
    " a.flag, CASE a.flag WHEN 0 THEN 'ended' WHEN 1 THEN 'began'"
    "  ELSE 'flag ' || a.flag END AS flag_text,"
    " CASE WHEN s.active THEN 1 ELSE 0 END AS active, a.received,";

/// The type of an alarm in words, as a column.
std::string TypeColumn(const AlarmWords &words) {
    std::string column = " CASE a.type";
    for (const auto &[type, text] : words) {
        column += " WHEN " + std::to_string(type) + " THEN '";
        for (const char c : text) {
            column += c == '\'' ? std::string("''") : std::string(1, c);
        }
        column += "'";
    }
    return column + " ELSE 'type ' || a.type END AS type_text";
}

// Behind the first table of each, and how the second is joined to it.
constexpr const char *kAlarmsOfOne =
    " alarms a ON a.gateway = g.id"
    " LEFT JOIN devices d ON d.gateway = g.id AND d.channel = a.channel AND d.device = a.device"
    " LEFT JOIN alarm_states s ON s.gateway = g.id AND s.dblink = a.dblink AND s.type = a.type"
    "  AND s.alarm = a.id AND s.active"
    " WHERE g.sn = ? AND a.id < ? ORDER BY a.id DESC LIMIT ?";
constexpr const char *kAlarmsOfAll =
    " gateways g ON g.id = a.gateway"
    " LEFT JOIN devices d ON d.gateway = g.id AND d.channel = a.channel AND d.device = a.device"
    " LEFT JOIN alarm_states s ON s.gateway = g.id AND s.dblink = a.dblink AND s.type = a.type"
    "  AND s.alarm = a.id AND s.active"
    " WHERE a.id < ? ORDER BY a.id DESC LIMIT ?";
constexpr const char *kActiveAlarms =
    " FROM alarm_states s JOIN alarms a ON a.id = s.alarm JOIN gateways g ON g.id = a.gateway"
    " LEFT JOIN devices d ON d.gateway = g.id AND d.channel = a.channel AND d.device = a.device"
    " WHERE s.active AND (?1 = '' OR g.sn = ?1) AND s.alarm < ?2"
    " ORDER BY s.alarm DESC LIMIT ?3";

constexpr const char *kSelectRecalls =
    "SELECT r.id, start, \"end\", asked, fetched, finished,"
    " CASE WHEN finished IS NOT NULL THEN 'served'"
    "  WHEN fetched IS NOT NULL THEN 'fetched' ELSE 'waiting' END AS state,"
    " (SELECT count(*) FROM (SELECT 1 FROM documents d WHERE d.gateway = r.gateway"
    "   AND d.time BETWEEN ";
constexpr const char *kOfRecalls =
    " LIMIT 10000) AS held) AS samples"
    " FROM recalls r JOIN gateways g ON g.id = r.gateway WHERE sn = ?"
    " ORDER BY r.id DESC LIMIT 500";

constexpr const char *kSelectFiles =
    "SELECT f.id, f.name, 'files/' || token || '/' || f.name AS file, md5, type,"
    " target AS path, size, state, offered, listed, begun, finished"
    " FROM files f JOIN gateways g ON g.id = f.gateway WHERE sn = ?"
    " ORDER BY f.id DESC LIMIT 500";

/// The newest value of a point.
struct Current {
    std::int64_t time, received;
    std::string value;
};

std::map<std::int64_t, Current> CurrentValues(Connection &connection, std::int64_t gateway) {
    std::map<std::int64_t, Current> current;
    // A key begins with the gateway and the time where documents lie in tables by time.
    Rows rows = connection.Query(
        "SELECT d.time, d.received, l.id, d.\"values\" FROM layouts l"
        " JOIN documents d ON d.gateway = l.gateway AND d.time = l.newest"
        " AND d.id = l.newest_document WHERE l.gateway = ?"
        " ORDER BY d.time DESC, d.id DESC",
        {gateway});
    std::vector<std::string_view> values;
    while (rows.Next()) {
        const std::string text = rows.Text(3);
        SplitValues(text, values);
        Rows places = connection.Query(
            "SELECT point FROM layout_points WHERE layout = ? ORDER BY position", {rows.Number(2)});
        for (std::size_t i = 0; i < values.size() && places.Next(); ++i) {
            current.try_emplace(places.Number(0),
                                Current{rows.Number(0), rows.Number(1), std::string(values[i])});
        }
    }
    return current;
}

void WritePoint(JsonWriter &writer, const PointRow &point, int channel, int device,
                const Current *current) {
    writer.StartObject();
    WriteText(writer, "dblink", point.dblink);
    WriteNumber(writer, "channel", channel);
    WriteNumber(writer, "device", device);
    WriteText(writer, "name", point.name);
    WriteText(writer, "unit", point.unit);
    for (const char *key : {"time", "value", "received"}) {
        if (current == nullptr) {
            writer.Key(key);
            writer.Null();
        }
    }
    if (current != nullptr) {
        WriteText(writer, "time", TimeText(current->time));
        WriteText(writer, "value", current->value);
        WriteText(writer, "received", UtcText(current->received));
    }
    writer.EndObject();
}

}  // namespace

AlarmWords KnownAlarmWords() {
    return {{1, "above the upper limit"}, {2, "below the lower limit"}};
}

Queries::Queries(Store &store, const AlarmWords &words)
    : store_(store), selectAlarms_(kAlarmColumns + TypeColumn(words)) {}

template <class... Values>
std::string Queries::List(const std::string &sql, const Values &...values) {
    Store::Reader reader = store_.Read();
    Rows rows = reader.Get().Query(sql, {Given(values)...});
    return Json([&](JsonWriter &writer) { WriteRows(writer, rows); });
}

template <class... Values>
std::int64_t Queries::Count(const std::string &sql, const Values &...values) {
    Store::Reader reader = store_.Read();
    return NumberOf(reader.Get(), sql, {Given(values)...});
}

Page Queries::Gateways(const GatewayFilter &filter) {
    const std::string filtered = SelectSomeGateways(store_.Spelling());
    const int overdueOnly = filter.overdueOnly ? 1 : 0;
    return {List(filtered + " ORDER BY sn LIMIT ?3 OFFSET ?4", filter.search, overdueOnly,
                 filter.limit, filter.offset),
            Count("SELECT count(*) FROM (" + filtered + ") AS listed", filter.search, overdueOnly)};
}

std::optional<std::string> Queries::Gateway(const std::string &sn) {
    Store::Reader reader = store_.Read();
    const std::string sql = SelectGateways(store_.Spelling()) + " WHERE sn = ?";
    Rows row = reader.Get().Query(sql, {sn});
    if (!row.Next()) {
        return std::nullopt;
    }
    return Json([&](JsonWriter &writer) { WriteRow(writer, row); });
}

std::string Queries::Devices(const std::string &sn) {
    return List(kSelectDevices, sn);
}

std::string Queries::Points(const std::string &sn) {
    Store::Reader reader = store_.Read();
    Connection &connection = reader.Get();
    return Json([&](JsonWriter &writer) {
        writer.StartArray();
        if (const auto gateway = GatewayNumber(connection, sn)) {
            const auto current = CurrentValues(connection, *gateway);
            Rows rows = connection.Query(
                "SELECT id, dblink, name, unit, channel, device"
                " FROM points WHERE gateway = ? ORDER BY dblink",
                {*gateway});
            while (rows.Next()) {
                const PointRow point{rows.Number(0), rows.Text(1), rows.Text(2), rows.Text(3)};
                const auto found = current.find(point.id);
                WritePoint(writer, point, static_cast<int>(rows.Number(4)),
                           static_cast<int>(rows.Number(5)),
                           found == current.end() ? nullptr : &found->second);
            }
        }
        writer.EndArray();
    });
}

Page Queries::Alarms(const AlarmFilter &filter) {
    if (filter.activeOnly) {
        return {List(selectAlarms_ + kActiveAlarms, filter.sn, filter.before, filter.limit),
                Count("SELECT count(*) FROM alarm_states s JOIN gateways g ON g.id = s.gateway"
                      " WHERE active AND (?1 = '' OR sn = ?1)",
                      filter.sn)};
    }
    const std::string join = store_.Spelling().joinInOrder;
    if (filter.sn.empty()) {
        return {List(selectAlarms_ + " FROM alarms a " + join + kAlarmsOfAll, filter.before,
                     filter.limit),
                Count("SELECT coalesce(sum(alarms), 0) FROM gateways")};
    }
    return {List(selectAlarms_ + " FROM gateways g " + join + kAlarmsOfOne, filter.sn,
                 filter.before, filter.limit),
            Count("SELECT coalesce(sum(alarms), 0) FROM gateways WHERE sn = ?", filter.sn)};
}

std::string Queries::Recalls(const std::string &sn) {
    const Dialect &spelling = store_.Spelling();
    return List(std::string(kSelectRecalls) + spelling.recallStart + " AND " + spelling.recallEnd +
                    kOfRecalls,
                sn);
}

std::string Queries::Files(const std::string &sn) {
    return List(kSelectFiles, sn);
}

}  // namespace corvenna::cloud
