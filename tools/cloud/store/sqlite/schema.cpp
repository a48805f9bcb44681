#include "tools/cloud/store/sqlite/schema.h"

#include <filesystem>
#include <stdexcept>

#include "tools/cloud/ground/say.h"
#include "tools/common/database.h"

namespace corvenna::cloud {
namespace {

namespace fs = std::filesystem;

constexpr std::int64_t kApplication = 0x436F7276;
constexpr std::int64_t kVersion = 2;
constexpr std::int64_t kFirstVersion = 0;  // which did not name itself

// A real-data document is one row that is added at the end: its values, with blanks between them,
// in the order of its layout, which documents of one kind share. So a document costs a page or two
// however many gateways and rows there are.
//
// Times of the server ("received" and the like) are UTC: texts, in documents milliseconds since
// 1970. Times of samples, alarms and recalls are the gateway's local time: texts as it sent them,
// in documents the seconds since 1970-01-01 00:00:00 of the same clock. `again` is 1 in the hour
// that the end of summer time repeats.
//
// The view's CROSS JOINs keep its order: any other one unpacks a document once for each of its
// points.
//
// Nothing refers to a gateway with a foreign key: a gateway that is forgotten goes at once, what
// belongs to it little by little, and until then its number stands in `forgotten`.
constexpr const char *kTables = R"(
CREATE TABLE gateways(
    id INTEGER PRIMARY KEY,
    sn TEXT NOT NULL UNIQUE,
    registered TEXT, name TEXT, version TEXT,
    site TEXT, longitude TEXT, latitude TEXT,
    owner TEXT, owner_description TEXT,
    room TEXT, room_description TEXT, camera TEXT,
    last_contact TEXT, last_exchange TEXT, address TEXT, scheme TEXT,
    interval INTEGER, newest INTEGER, points INTEGER NOT NULL DEFAULT 0,
    alarms INTEGER NOT NULL DEFAULT 0);
CREATE TABLE devices(
    gateway INTEGER NOT NULL, channel INTEGER NOT NULL, device INTEGER NOT NULL,
    name TEXT NOT NULL, description TEXT NOT NULL,
    PRIMARY KEY(gateway, channel, device)) WITHOUT ROWID;
CREATE TABLE points(
    id INTEGER PRIMARY KEY,
    gateway INTEGER NOT NULL, dblink TEXT NOT NULL,
    channel INTEGER NOT NULL, device INTEGER NOT NULL, name TEXT NOT NULL, unit TEXT NOT NULL,
    UNIQUE(gateway, dblink));
CREATE TABLE layouts(
    id INTEGER PRIMARY KEY,
    gateway INTEGER NOT NULL, points TEXT NOT NULL,
    newest INTEGER, newest_document INTEGER);
CREATE INDEX layouts_of_gateway ON layouts(gateway);
CREATE TABLE layout_points(
    layout INTEGER NOT NULL, position INTEGER NOT NULL, point INTEGER NOT NULL,
    PRIMARY KEY(layout, position)) WITHOUT ROWID;
CREATE TABLE documents(
    id INTEGER PRIMARY KEY,
    gateway INTEGER NOT NULL, time INTEGER NOT NULL, again INTEGER NOT NULL,
    layout INTEGER NOT NULL, sent INTEGER NOT NULL, received INTEGER NOT NULL,
    "values" TEXT NOT NULL);
CREATE INDEX documents_of_gateway ON documents(gateway, time);
CREATE TABLE alarms(
    id INTEGER PRIMARY KEY,
    gateway INTEGER NOT NULL,
    time TEXT NOT NULL, channel INTEGER NOT NULL, device INTEGER NOT NULL, dblink TEXT NOT NULL,
    name TEXT NOT NULL, value TEXT NOT NULL, threshold TEXT NOT NULL, unit TEXT NOT NULL,
    type INTEGER NOT NULL, flag INTEGER NOT NULL, occurrence INTEGER NOT NULL,
    received TEXT NOT NULL,
    UNIQUE(gateway, time, dblink, type, flag, value, threshold, occurrence));
CREATE INDEX alarms_of_gateway ON alarms(gateway);
CREATE TABLE alarm_states(
    gateway INTEGER NOT NULL, dblink TEXT NOT NULL, type INTEGER NOT NULL,
    time TEXT NOT NULL, active INTEGER NOT NULL, alarm INTEGER NOT NULL,
    PRIMARY KEY(gateway, dblink, type)) WITHOUT ROWID;
CREATE INDEX active_alarms ON alarm_states(alarm) WHERE active;
CREATE TABLE recalls(
    id INTEGER PRIMARY KEY,
    gateway INTEGER NOT NULL,
    start TEXT NOT NULL, "end" TEXT NOT NULL,
    asked TEXT NOT NULL, fetched TEXT, finished TEXT);
CREATE UNIQUE INDEX waiting_recalls ON recalls(gateway, start, "end") WHERE finished IS NULL;
CREATE INDEX recalls_of_gateway ON recalls(gateway);
CREATE TABLE files(
    id INTEGER PRIMARY KEY,
    gateway INTEGER NOT NULL,
    token TEXT NOT NULL UNIQUE, name TEXT NOT NULL, md5 TEXT NOT NULL, type INTEGER NOT NULL,
    target TEXT NOT NULL, size INTEGER NOT NULL,
    state TEXT NOT NULL, offered TEXT NOT NULL, listed TEXT, begun TEXT, finished TEXT);
CREATE INDEX waiting_files ON files(gateway) WHERE finished IS NULL;
CREATE INDEX files_of_gateway ON files(gateway);
CREATE TABLE forgotten(gateway INTEGER PRIMARY KEY);
CREATE VIEW readings AS
    SELECT g.sn, p.channel, p.device, p.dblink, p.name, p.unit,
        strftime('%Y-%m-%d %H:%M:%S', d.time, 'unixepoch') AS time, v.value,
        strftime('%Y-%m-%dT%H:%M:%S.', d.received / 1000, 'unixepoch')
            || substr(1000 + d.received % 1000, 2) || 'Z' AS received
    FROM gateways g CROSS JOIN documents d ON d.gateway = g.id
        CROSS JOIN json_each('["' || replace(d."values", ' ', '","') || '"]') v
        CROSS JOIN layout_points l ON l.layout = d.layout AND l.position = v.key
        CROSS JOIN points p ON p.id = l.point;
)";

constexpr Dialect kDialect{
    "SELECT id, newest, interval, 0 FROM gateways WHERE sn = ?",
    // The number of a gateway that was forgotten is free when nothing of it is left.
    "INSERT INTO gateways(id, sn) VALUES(1 + max("
    " (SELECT ifnull(max(id), 0) FROM gateways),"
    " (SELECT ifnull(max(gateway), 0) FROM forgotten)), ?)",
    nullptr,
    nullptr,
    false,
    "ifnull((julianday('now') - julianday(last_contact)) * 86400 >"
    " max(120, 3 * ifnull(interval, 300)), 0)",
    // instr() takes no character for another one, as LIKE would.
    "instr(lower(sn || char(10) || ifnull(name, '') || char(10) || ifnull(site, '') || char(10) ||"
    " ifnull(owner, '') || char(10) || ifnull(room, '')), lower(?1)) > 0",
    "CAST(strftime('%s', start) AS INTEGER)",
    "CAST(strftime('%s', \"end\") AS INTEGER)",
    "SELECT gateway FROM forgotten LIMIT 1",
    "DELETE FROM documents WHERE id IN (SELECT id FROM documents WHERE gateway = ?1 LIMIT ?2)",
    // Documents come in the order of their reception: the oldest ones are the first ones.
    "DELETE FROM documents WHERE id IN"
    " (SELECT id FROM (SELECT id, received FROM documents ORDER BY id LIMIT ?1)"
    "  WHERE received < ?2)",
    "UPDATE layouts SET newest = ?1, newest_document = last_insert_rowid() WHERE id = ?2"
    " AND (newest IS NULL OR newest <= ?1)",
    "CROSS JOIN",
};

// What the first layout kept its rows in; they are put aside, copied and dropped.
constexpr const char *kFirstTables[] = {"gateways", "devices", "points", "samples",
                                        "alarms",   "recalls", "files"};

bool HasTable(const SQLite::Database &database, const char *name) {
    return Exists(database, "SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = ?", name);
}

bool IsOfFirstLayout(const SQLite::Database &database) {
    for (const char *table : kFirstTables) {
        if (!HasTable(database, table)) {
            return false;
        }
    }
    return true;
}

enum class Found { kNothing, kFirstLayout, kPresentLayout };

/// Looks at a file before anything in it is changed.
Found Inspect(const std::string &path) {
    std::error_code error;
    if (!fs::exists(path, error) || fs::file_size(path, error) == 0) {
        return Found::kNothing;
    }
    const SQLite::Database database(path, SQLite::OPEN_READWRITE);
    const std::int64_t application = corvenna::NumberOf(database, "PRAGMA application_id");
    const std::int64_t version = corvenna::NumberOf(database, "PRAGMA user_version");
    if (application == kApplication && version > kVersion) {
        throw std::runtime_error(path + " was written by a newer version of this program (layout " +
                                 std::to_string(version) + "; this one knows up to " +
                                 std::to_string(kVersion) + ")");
    }
    if (application == kApplication && version == kVersion) {
        return Found::kPresentLayout;
    }
    if (application == 0 && version == kFirstVersion) {
        if (IsOfFirstLayout(database)) {
            return Found::kFirstLayout;
        }
        if (corvenna::NumberOf(database, "SELECT count(*) FROM sqlite_master") == 0) {
            return Found::kNothing;
        }
    }
    throw std::runtime_error(path + " belongs to another program");
}

Found InspectOrExplain(const std::string &path) {
    try {
        return Inspect(path);
    } catch (const SQLite::Exception &error) {
        throw std::runtime_error(path + " cannot be used: " + error.what());
    }
}

void NameLayout(SQLite::Database &database) {
    database.exec("PRAGMA application_id = " + std::to_string(kApplication));
    database.exec("PRAGMA user_version = " + std::to_string(kVersion));
}

/// Renaming keeps a table's indexes, whose names the new tables want.
void PutAside(SQLite::Database &database) {
    database.exec("DROP VIEW IF EXISTS readings");
    database.exec("DROP INDEX IF EXISTS waiting_recalls");
    database.exec("DROP INDEX IF EXISTS waiting_files");
    for (const char *table : kFirstTables) {
        database.exec(std::string("ALTER TABLE ") + table + " RENAME TO first_" + table);
    }
}

void Migrate(SqliteConnection &connection, const std::string &path) {
    SQLite::Database &database = connection.Database();
    Say(path + " is brought to the present layout");
    Transaction transaction(connection);
    PutAside(database);
    database.exec(kTables);
    MigrateFromFirstLayout(connection);
    for (const char *table : kFirstTables) {
        database.exec(std::string("DROP TABLE first_") + table);
    }
    NameLayout(database);
    transaction.Commit();
}

}  // namespace

const Dialect &SqliteConnection::Spelling() const {
    return kDialect;
}

std::unique_ptr<SqliteConnection> OpenForWriting(const std::string &path) {
    const Found found = InspectOrExplain(path);
    auto connection = std::make_unique<SqliteConnection>(OpenDatabase(path));
    SQLite::Database &database = connection->Database();
    database.exec("PRAGMA foreign_keys = OFF");
    database.exec("PRAGMA temp_store = MEMORY");
    // Between checkpoints pages that change often are written to the database once; behind a
    // reader that held the log for long, the file of the log becomes small again.
    database.exec("PRAGMA wal_autocheckpoint = 4000");
    database.exec("PRAGMA journal_size_limit = 67108864");
    database.exec("PRAGMA cache_size = -16384");
    if (found == Found::kNothing) {
        Transaction transaction(*connection);
        database.exec(kTables);
        NameLayout(database);
        transaction.Commit();
    } else if (found == Found::kFirstLayout) {
        database.exec("PRAGMA temp_store = FILE");
        Migrate(*connection, path);
        database.exec("PRAGMA temp_store = MEMORY");
    }
    return connection;
}

std::unique_ptr<SqliteConnection> OpenForReading(const std::string &path) {
    constexpr int kBusyMilliseconds = 10000;
    SQLite::Database database(path, SQLite::OPEN_READWRITE, kBusyMilliseconds);
    database.exec("PRAGMA query_only = ON");
    database.exec("PRAGMA cache_size = -4096");
    return std::make_unique<SqliteConnection>(std::move(database));
}

}  // namespace corvenna::cloud
