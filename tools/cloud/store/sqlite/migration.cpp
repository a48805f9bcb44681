
#include "tools/cloud/ground/text.h"
#include "tools/cloud/store/catalogue.h"
#include "tools/cloud/store/sqlite/schema.h"

namespace corvenna::cloud {
namespace {

// Tables whose rows stay as they are.
constexpr const char *kCopies = R"(
INSERT INTO gateways(id, sn, registered, name, version, site, longitude, latitude, owner,
    owner_description, room, room_description, camera, last_contact, last_exchange, address, scheme)
    SELECT id, sn, registered, name, version, site, longitude, latitude, owner,
    owner_description, room, room_description, camera, last_contact, last_exchange, address, scheme
    FROM first_gateways;
INSERT INTO devices SELECT * FROM first_devices;
INSERT INTO points SELECT id, gateway, dblink, channel, device, name, unit FROM first_points;
INSERT INTO alarms SELECT id, gateway, time, channel, device, dblink, name, value, threshold, unit,
    type, flag, occurrence, received FROM first_alarms;
INSERT INTO recalls SELECT id, gateway, start, "end", asked, fetched, finished FROM first_recalls;
INSERT INTO files SELECT id, gateway, token, name, md5, type, target, size, state, offered, listed,
    begun, finished FROM first_files;
UPDATE gateways SET
    points = (SELECT count(*) FROM points WHERE gateway = gateways.id),
    alarms = (SELECT count(*) FROM alarms WHERE gateway = gateways.id);
INSERT INTO alarm_states SELECT gateway, dblink, type, time, flag <> 0, id FROM alarms
    WHERE true ORDER BY id
    ON CONFLICT DO UPDATE SET time = excluded.time, active = excluded.active,
    alarm = excluded.alarm WHERE time <= excluded.time;
)";

/// "2024-03-05T07:08:09.123Z" as milliseconds since 1970.
std::int64_t MillisecondsOf(std::string text) {
    const std::int64_t milliseconds =
        text.size() > 22 ? WholeNumber(text.substr(20, 3), 0, 999).value_or(0) : 0;
    text[10] = ' ';
    return SecondsOf(text.substr(0, 19)) * 1000 + milliseconds;
}

/// One document: samples of one gateway and time that came together.
struct Document {
    std::string sn, time, received;
    std::int64_t gateway = 0;
    std::vector<std::int64_t> points;
    std::string values;
};

/// A second 60 was a time once; it is the second before now.
std::int64_t Time(std::string text) {
    if (text.compare(17, 2, "60") == 0) {
        text.replace(17, 2, "59");
    }
    return SecondsOf(text);
}

/// Values without what separates them in a document; the first layout took any text that begins
/// with a number.
std::string Value(const std::string &text) {
    return text.substr(0, text.find_first_of(std::string(" \"\\\0", 4)));
}

class Documents {
public:
    explicit Documents(Connection &connection) : statements_(connection), catalogue_(statements_) {}

    void Add(const Document &document) {
        if (document.points.empty()) {
            return;
        }
        const KnownLayout &layout =
            catalogue_.Layout(catalogue_.FindOrAdd(document.sn), document.points);
        const std::int64_t received = MillisecondsOf(document.received);
        statements_.Run(
            "INSERT INTO documents(gateway, time, again, layout, sent, received, \"values\")"
            " VALUES(?, ?, 0, ?, ?, ?, ?)",
            document.gateway, Time(document.time), layout.id, received / 1000, received,
            document.values);
    }

    void NoteNewest() {
        const std::int64_t latest = NowMilliseconds() / 1000 + kFarthestZoneSeconds;
        statements_.Run(
            "UPDATE layouts SET (newest, newest_document) = (SELECT time, id FROM documents d"
            " WHERE d.gateway = layouts.gateway AND d.layout = layouts.id AND time <= ?"
            " ORDER BY time DESC LIMIT 1)",
            latest);
        statements_.Run(
            "UPDATE gateways SET newest ="
            " (SELECT max(newest) FROM layouts WHERE gateway = gateways.id)");
    }

private:
    static constexpr std::int64_t kFarthestZoneSeconds = std::int64_t{15} * 3600;

    Statements statements_;
    Catalogue catalogue_;
};

}  // namespace

void MigrateFromFirstLayout(SqliteConnection &connection) {
    SQLite::Database &database = connection.Database();
    database.exec(kCopies);
    Documents documents(connection);
    // Documents that came first are to stand first; within one, the order of the data ids is as
    // good as any.
    SQLite::Statement rows(
        database,
        "SELECT g.sn, s.time, s.received, g.id, s.point, s.value FROM first_samples s"
        " JOIN points p ON p.id = s.point JOIN gateways g ON g.id = p.gateway"
        " ORDER BY s.received, g.id, s.time, s.point");
    Document document;
    while (rows.executeStep()) {
        std::string sn = rows.getColumn(0).getString();
        std::string time = rows.getColumn(1).getString();
        std::string received = rows.getColumn(2).getString();
        if (sn != document.sn || time != document.time || received != document.received) {
            documents.Add(document);
            document = {std::move(sn),
                        std::move(time),
                        std::move(received),
                        rows.getColumn(3).getInt64(),
                        {},
                        {}};
        }
        document.points.push_back(rows.getColumn(4).getInt64());
        document.values +=
            (document.values.empty() ? "" : " ") + Value(rows.getColumn(5).getString());
    }
    documents.Add(document);
    documents.NoteNewest();
}

}  // namespace corvenna::cloud
