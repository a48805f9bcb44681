#include "tools/cloud/store.h"

namespace corvenna::cloud {
namespace {

// Times of the server ("received" and the like) are UTC; times of samples, alarms and recalls are
// the gateway's local time, as it sent them.
constexpr const char *kTables = R"(
CREATE TABLE IF NOT EXISTS gateways(
    id INTEGER PRIMARY KEY,
    sn TEXT NOT NULL UNIQUE,
    registered TEXT, name TEXT, version TEXT,
    site TEXT, longitude TEXT, latitude TEXT,
    owner TEXT, owner_description TEXT,
    room TEXT, room_description TEXT, camera TEXT,
    last_contact TEXT, last_exchange TEXT, address TEXT, scheme TEXT);
CREATE TABLE IF NOT EXISTS devices(
    gateway INTEGER NOT NULL REFERENCES gateways ON DELETE CASCADE,
    channel INTEGER NOT NULL, device INTEGER NOT NULL, name TEXT NOT NULL,
    description TEXT NOT NULL,
    PRIMARY KEY(gateway, channel, device)) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS points(
    id INTEGER PRIMARY KEY,
    gateway INTEGER NOT NULL REFERENCES gateways ON DELETE CASCADE,
    dblink TEXT NOT NULL, channel INTEGER NOT NULL, device INTEGER NOT NULL,
    name TEXT NOT NULL, unit TEXT NOT NULL,
    UNIQUE(gateway, dblink));
CREATE TABLE IF NOT EXISTS samples(
    point INTEGER NOT NULL REFERENCES points ON DELETE CASCADE,
    time TEXT NOT NULL, value TEXT NOT NULL, received TEXT NOT NULL,
    PRIMARY KEY(point, time)) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS alarms(
    id INTEGER PRIMARY KEY,
    gateway INTEGER NOT NULL REFERENCES gateways ON DELETE CASCADE,
    time TEXT NOT NULL, channel INTEGER NOT NULL, device INTEGER NOT NULL, dblink TEXT NOT NULL,
    name TEXT NOT NULL, value TEXT NOT NULL, threshold TEXT NOT NULL, unit TEXT NOT NULL,
    type INTEGER NOT NULL, flag INTEGER NOT NULL, occurrence INTEGER NOT NULL,
    received TEXT NOT NULL,
    UNIQUE(gateway, time, dblink, type, flag, value, threshold, occurrence));
CREATE TABLE IF NOT EXISTS recalls(
    id INTEGER PRIMARY KEY,
    gateway INTEGER NOT NULL REFERENCES gateways ON DELETE CASCADE,
    start TEXT NOT NULL, "end" TEXT NOT NULL,
    asked TEXT NOT NULL, fetched TEXT, finished TEXT);
CREATE UNIQUE INDEX IF NOT EXISTS waiting_recalls
    ON recalls(gateway, start, "end") WHERE finished IS NULL;
CREATE TABLE IF NOT EXISTS files(
    id INTEGER PRIMARY KEY,
    gateway INTEGER NOT NULL REFERENCES gateways ON DELETE CASCADE,
    token TEXT NOT NULL UNIQUE, name TEXT NOT NULL, md5 TEXT NOT NULL, type INTEGER NOT NULL,
    target TEXT NOT NULL, size INTEGER NOT NULL,
    state TEXT NOT NULL, offered TEXT NOT NULL, listed TEXT, begun TEXT, finished TEXT);
CREATE INDEX IF NOT EXISTS waiting_files ON files(gateway) WHERE finished IS NULL;
CREATE VIEW IF NOT EXISTS readings AS
    SELECT g.sn, p.channel, p.device, p.dblink, p.name, p.unit, s.time, s.value, s.received
    FROM samples s JOIN points p ON p.id = s.point JOIN gateways g ON g.id = p.gateway;
)";

}  // namespace

void Store::CreateTables() {
    database_.exec(kTables);
}

}  // namespace corvenna::cloud
