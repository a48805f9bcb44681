#include "tools/cloud/store/postgres/schema.h"

#include <stdexcept>

#include "tools/cloud/ground/say.h"
#include "tools/common/stop_signals.h"

namespace corvenna::cloud {
namespace {

constexpr std::int64_t kVersion = 2;

// The tables are those of the SQLite layout, with what several processes need besides: `revision`
// of a gateway changes with its points and layouts, so that each process knows whether what it has
// in memory still holds. Texts are compared byte by byte.
//
// Documents are kept by week of their sample time. A week gets its table with its first document,
// and the whole table goes when all that is in it is too old. Times that no clock tells share two
// tables, so that a gateway with a wrong clock makes no tables without end.
constexpr const char *kTables = R"(
CREATE SCHEMA corvenna;
SET search_path = corvenna;
CREATE TABLE layout_version(version bigint NOT NULL);
CREATE TABLE gateways(
    id bigint GENERATED ALWAYS AS IDENTITY PRIMARY KEY,
    sn text COLLATE "C" NOT NULL UNIQUE,
    registered text, name text, version text,
    site text, longitude text, latitude text,
    owner text, owner_description text,
    room text, room_description text, camera text,
    last_contact text COLLATE "C", last_exchange text, address text, scheme text,
    "interval" bigint, newest bigint, points bigint NOT NULL DEFAULT 0,
    alarms bigint NOT NULL DEFAULT 0, revision bigint NOT NULL DEFAULT 0);
CREATE TABLE devices(
    gateway bigint NOT NULL, channel bigint NOT NULL, device bigint NOT NULL,
    name text NOT NULL, description text NOT NULL,
    PRIMARY KEY(gateway, channel, device));
CREATE TABLE points(
    id bigint GENERATED ALWAYS AS IDENTITY PRIMARY KEY,
    gateway bigint NOT NULL, dblink text COLLATE "C" NOT NULL,
    channel bigint NOT NULL, device bigint NOT NULL, name text NOT NULL, unit text NOT NULL,
    UNIQUE(gateway, dblink));
CREATE TABLE layouts(
    id bigint GENERATED ALWAYS AS IDENTITY PRIMARY KEY,
    gateway bigint NOT NULL, points text NOT NULL,
    newest bigint, newest_document bigint);
CREATE INDEX layouts_of_gateway ON layouts(gateway);
CREATE TABLE layout_points(
    layout bigint NOT NULL, position bigint NOT NULL, point bigint NOT NULL,
    PRIMARY KEY(layout, position));
CREATE SEQUENCE document_numbers;
CREATE TABLE documents(
    id bigint NOT NULL DEFAULT nextval('document_numbers'),
    gateway bigint NOT NULL, time bigint NOT NULL, again bigint NOT NULL,
    layout bigint NOT NULL, sent bigint NOT NULL, received bigint NOT NULL,
    "values" text NOT NULL,
    PRIMARY KEY(gateway, time, id)) PARTITION BY RANGE (time);
CREATE TABLE documents_before PARTITION OF documents FOR VALUES FROM (MINVALUE) TO (1577318400);
CREATE TABLE documents_after PARTITION OF documents FOR VALUES FROM (4102358400) TO (MAXVALUE);
CREATE TABLE alarms(
    id bigint GENERATED ALWAYS AS IDENTITY PRIMARY KEY,
    gateway bigint NOT NULL,
    time text COLLATE "C" NOT NULL, channel bigint NOT NULL, device bigint NOT NULL,
    dblink text COLLATE "C" NOT NULL,
    name text NOT NULL, value text NOT NULL, threshold text NOT NULL, unit text NOT NULL,
    type bigint NOT NULL, flag bigint NOT NULL, occurrence bigint NOT NULL,
    received text COLLATE "C" NOT NULL,
    UNIQUE(gateway, time, dblink, type, flag, value, threshold, occurrence));
CREATE INDEX alarms_of_gateway ON alarms(gateway, id);
CREATE TABLE alarm_states(
    gateway bigint NOT NULL, dblink text COLLATE "C" NOT NULL, type bigint NOT NULL,
    time text COLLATE "C" NOT NULL, active boolean NOT NULL, alarm bigint NOT NULL,
    PRIMARY KEY(gateway, dblink, type));
CREATE INDEX active_alarms ON alarm_states(alarm) WHERE active;
CREATE TABLE recalls(
    id bigint GENERATED ALWAYS AS IDENTITY PRIMARY KEY,
    gateway bigint NOT NULL,
    start text COLLATE "C" NOT NULL, "end" text COLLATE "C" NOT NULL,
    asked text NOT NULL, fetched text, finished text);
CREATE UNIQUE INDEX waiting_recalls ON recalls(gateway, start, "end") WHERE finished IS NULL;
CREATE INDEX recalls_of_gateway ON recalls(gateway);
CREATE TABLE files(
    id bigint GENERATED ALWAYS AS IDENTITY PRIMARY KEY,
    gateway bigint NOT NULL,
    token text COLLATE "C" NOT NULL UNIQUE, name text NOT NULL, md5 text NOT NULL,
    type bigint NOT NULL, target text NOT NULL, size bigint NOT NULL,
    state text NOT NULL, offered text NOT NULL, listed text, begun text, finished text);
CREATE INDEX waiting_files ON files(gateway) WHERE finished IS NULL;
CREATE INDEX files_of_gateway ON files(gateway);
CREATE TABLE file_pieces(
    token text COLLATE "C" NOT NULL, piece bigint NOT NULL, content bytea NOT NULL,
    kept timestamptz NOT NULL DEFAULT now(),
    PRIMARY KEY(token, piece));
ALTER TABLE file_pieces ALTER COLUMN content SET STORAGE EXTERNAL;
CREATE TABLE forgotten(gateway bigint PRIMARY KEY);
CREATE TABLE secrets(name text PRIMARY KEY, value text NOT NULL);
CREATE VIEW readings AS
    SELECT g.sn, p.channel, p.device, p.dblink, p.name, p.unit,
        to_timestamp(d.time) AT TIME ZONE 'UTC' AS time, v.value,
        to_timestamp(d.received / 1000.0) AS received, d.time AS epoch
    FROM gateways g JOIN documents d ON d.gateway = g.id
        CROSS JOIN LATERAL unnest(string_to_array(d."values", ' ')) WITH ORDINALITY v(value, place)
        JOIN layout_points l ON l.layout = d.layout AND l.position = v.place - 1
        JOIN points p ON p.id = l.point;
)";

// Made wherever it is missing: a program that does not know of it is not disturbed by it.
constexpr const char *kFaults = R"(
CREATE TABLE IF NOT EXISTS corvenna.faults(
    id bigint GENERATED ALWAYS AS IDENTITY PRIMARY KEY,
    exchange text NOT NULL, sn text NOT NULL, kind text NOT NULL, value bigint NOT NULL,
    "left" bigint NOT NULL, happened bigint NOT NULL DEFAULT 0);
)";

// A week's table has an index of its own that tells when the newest of its documents came, however
// large it is.
constexpr const char *kFunctions = R"(
CREATE OR REPLACE FUNCTION corvenna.has_table(name text) RETURNS boolean LANGUAGE sql AS
    'SELECT EXISTS (SELECT 1 FROM pg_class WHERE relname = name
        AND relnamespace = ''corvenna''::regnamespace)';
CREATE OR REPLACE FUNCTION corvenna.keep_week(week bigint) RETURNS void LANGUAGE plpgsql AS $$
DECLARE
    begins bigint := week * 604800;
    part text := 'documents_' || to_char(to_timestamp(week * 604800) AT TIME ZONE 'UTC', 'YYYYMMDD');
BEGIN
    IF begins < 1577318400 OR begins >= 4102358400 OR corvenna.has_table(part) THEN
        RETURN;
    END IF;
    PERFORM pg_advisory_xact_lock(1131574902, 2);
    -- Asked anew of the catalogue: what a session remembers of names may be older than the lock.
    IF NOT corvenna.has_table(part) THEN
        EXECUTE format('CREATE TABLE corvenna.%I (LIKE corvenna.documents INCLUDING DEFAULTS)', part);
        EXECUTE format('CREATE INDEX ON corvenna.%I (received)', part);
        EXECUTE format('ALTER TABLE corvenna.documents ATTACH PARTITION corvenna.%I'
            ' FOR VALUES FROM (%s) TO (%s)', part, begins, begins + 604800);
    END IF;
END $$;
CREATE OR REPLACE FUNCTION corvenna.drop_old_weeks(oldest bigint) RETURNS SETOF text LANGUAGE plpgsql AS $$
DECLARE
    part text;
    newest bigint;
BEGIN
    FOR part IN SELECT c.relname FROM pg_inherits i JOIN pg_class c ON c.oid = i.inhrelid
            WHERE i.inhparent = 'corvenna.documents'::regclass
            AND c.relname ~ '^documents_\d{8}$'
            AND c.relname < 'documents_' ||
                to_char(to_timestamp(oldest / 1000) AT TIME ZONE 'UTC', 'YYYYMMDD')
            ORDER BY c.relname LOOP
        EXECUTE format('SELECT coalesce(max(received), 0) FROM corvenna.%I', part) INTO newest;
        IF newest < oldest THEN
            -- What another process stored meanwhile is seen behind the lock alone.
            SET LOCAL lock_timeout = '2s';
            EXECUTE format('LOCK TABLE ONLY corvenna.documents, corvenna.%I', part);
            EXECUTE format('SELECT coalesce(max(received), 0) FROM corvenna.%I', part) INTO newest;
            IF newest < oldest THEN
                EXECUTE format('DROP TABLE corvenna.%I', part);
                RETURN NEXT part;
            END IF;
            RETURN;
        END IF;
    END LOOP;
END $$;
)";

// Layout 1 had weeks without that index. Each gets it in a transaction of its own, so that nobody
// who stores meanwhile waits for more than one week; what was made before an interruption stays. A
// week that an older process is making at that very moment stays without, and is read whole.
constexpr const char *kIndexWeeks = R"(
DO $$
DECLARE
    part text;
BEGIN
    FOR part IN SELECT c.relname FROM pg_inherits i JOIN pg_class c ON c.oid = i.inhrelid
            WHERE i.inhparent = 'corvenna.documents'::regclass
            AND c.relname ~ '^documents_\d{8}$' ORDER BY c.relname LOOP
        IF NOT corvenna.has_table(part || '_received_idx') THEN
            BEGIN
                EXECUTE format('CREATE INDEX ON corvenna.%I (received)', part);
            EXCEPTION WHEN undefined_table THEN
                NULL;  -- it was too old, and another process has dropped it
            END;
            COMMIT;
        END IF;
    END LOOP;
END $$)";

constexpr Dialect kDialect{
    "SELECT id, newest, \"interval\", revision FROM gateways WHERE sn = ? FOR UPDATE",
    "INSERT INTO gateways(sn) VALUES(?) ON CONFLICT DO NOTHING",
    "UPDATE gateways SET revision = revision + 1 WHERE id = ?",
    "SELECT keep_week(?)",
    true,
    "CASE WHEN extract(epoch FROM now() - last_contact::timestamptz) >"
    " greatest(120, 3 * coalesce(\"interval\", 300)) THEN 1 ELSE 0 END",
    "strpos(lower(sn || chr(10) || coalesce(name, '') || chr(10) || coalesce(site, '') || chr(10) "
    "||"
    " coalesce(owner, '') || chr(10) || coalesce(room, '')), lower(?1)) > 0",
    "CASE WHEN start < '0001' THEN -62167219200 ELSE extract(epoch FROM start::timestamp)::bigint "
    "END",
    "CASE WHEN \"end\" < '0001' THEN -62135596801 ELSE extract(epoch FROM "
    "\"end\"::timestamp)::bigint"
    " END",
    "SELECT gateway FROM forgotten LIMIT 1 FOR UPDATE SKIP LOCKED",
    "DELETE FROM documents WHERE (gateway, time, id) IN"
    " (SELECT gateway, time, id FROM documents WHERE gateway = ?1 LIMIT ?2)",
    "SELECT * FROM drop_old_weeks(?2) WHERE ?1 > 0",
    "UPDATE layouts SET newest = ?1, newest_document = currval('document_numbers') WHERE id = ?2"
    " AND (newest IS NULL OR newest <= ?1)",
    "JOIN",
};

bool Has(PostgresConnection &connection, const char *sql) {
    return connection.Query(sql, {}).Next();
}

Layout FoundLayout(PostgresConnection &connection) {
    const std::int64_t version =
        NumberOf(connection, "SELECT max(version) FROM corvenna.layout_version");
    if (version > kVersion) {
        throw std::runtime_error(
            "the database was written by a newer version of this program (layout " +
            std::to_string(version) + "; this one knows up to " + std::to_string(kVersion) + ")");
    }
    return version == kVersion ? Layout::kPresent : Layout::kEarlier;
}

}  // namespace

const Dialect &PostgresConnection::Spelling() const {
    return kDialect;
}

Layout PrepareTables(PostgresConnection &connection) {
    Layout layout = Layout::kPresent;
    Transaction transaction(connection);
    connection.Execute("SELECT pg_advisory_xact_lock(1131574902, 1)");  // processes start together
    if (Has(connection, "SELECT 1 WHERE to_regclass('corvenna.layout_version') IS NOT NULL")) {
        layout = FoundLayout(connection);
    } else if (Has(connection,
                   "SELECT 1 FROM pg_namespace WHERE nspname = 'corvenna' UNION ALL"
                   " SELECT 1 FROM pg_class c JOIN pg_namespace n ON n.oid = c.relnamespace"
                   " WHERE c.relkind IN ('r', 'p') AND n.nspname NOT LIKE 'pg\\_%'"
                   " AND n.nspname <> 'information_schema'")) {
        throw std::runtime_error("the database belongs to another program");
    } else {
        connection.Execute(kTables);
        connection.Execute(kFunctions);
        connection.Execute("INSERT INTO layout_version(version) VALUES(" +
                           std::to_string(kVersion) + ")");
    }
    connection.Execute(kFaults);
    transaction.Commit();
    return layout;
}

void MigrateTables(PostgresConnection &connection) {
    Say("the database is brought to the present layout");
    const StopAtOnce interruptible;
    // Commits wait for no standby here; another process that does the same is waited for.
    connection.ExecuteHoweverLong(
        "SET synchronous_commit = local; SELECT pg_advisory_lock(1131574902, 3)");
    connection.Execute(kFunctions);
    connection.ExecuteHoweverLong(kIndexWeeks);
    connection.Execute("UPDATE layout_version SET version = " + std::to_string(kVersion));
}

}  // namespace corvenna::cloud
