-- A store as the first layout on PostgreSQL had it: the statements that made its tables, and one
-- gateway with something of everything.
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
CREATE FUNCTION has_table(name text) RETURNS boolean LANGUAGE sql AS
    'SELECT EXISTS (SELECT 1 FROM pg_class WHERE relname = name
        AND relnamespace = ''corvenna''::regnamespace)';
CREATE FUNCTION keep_week(week bigint) RETURNS void LANGUAGE plpgsql AS $$
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
        EXECUTE format('ALTER TABLE corvenna.documents ATTACH PARTITION corvenna.%I'
            ' FOR VALUES FROM (%s) TO (%s)', part, begins, begins + 604800);
    END IF;
END $$;
CREATE FUNCTION drop_old_weeks(oldest bigint) RETURNS SETOF text LANGUAGE plpgsql AS $$
DECLARE
    part text;
    newer boolean;
BEGIN
    FOR part IN SELECT c.relname FROM pg_inherits i JOIN pg_class c ON c.oid = i.inhrelid
            WHERE i.inhparent = 'corvenna.documents'::regclass
            AND c.relname ~ '^documents_\d{8}$'
            AND c.relname < 'documents_' ||
                to_char(to_timestamp(oldest / 1000) AT TIME ZONE 'UTC', 'YYYYMMDD')
            ORDER BY c.relname LOOP
        EXECUTE format('SELECT EXISTS (SELECT 1 FROM corvenna.%I WHERE received >= %s)', part, oldest)
            INTO newer;
        IF NOT newer THEN
            -- What another process stored meanwhile is seen behind the lock alone.
            SET LOCAL lock_timeout = '2s';
            EXECUTE format('LOCK TABLE ONLY corvenna.documents, corvenna.%I', part);
            EXECUTE format('SELECT EXISTS (SELECT 1 FROM corvenna.%I WHERE received >= %s)', part, oldest)
                INTO newer;
            IF NOT newer THEN
                EXECUTE format('DROP TABLE corvenna.%I', part);
                RETURN NEXT part;
            END IF;
            RETURN;
        END IF;
    END LOOP;
END $$;
INSERT INTO layout_version VALUES (1);
INSERT INTO gateways OVERRIDING SYSTEM VALUE VALUES (1, 'SN1', '2024-03-14T07:08:09.131Z', 'Gate', E'1.2.3\n',
    'Site', '8.5', '47.3', 'Owner', 'owns', 'Room', 'cellar', 'reserve', '2024-03-14T07:08:09.168Z',
    'alarmdata', '127.0.0.1', 'http', 151215, 1710313689, 3, 2, 4);
INSERT INTO devices VALUES (1, 2, 1, 'Meter1', 'd1'), (1, 2, 2, 'Meter2', 'd2');
INSERT INTO points OVERRIDING SYSTEM VALUE VALUES
    (1, 1, '02010001', 2, 1, 'Ua', 'V'), (2, 1, '02010100', 2, 1, 'Comm_Status', ''),
    (3, 1, '02020100', 2, 2, 'Comm_Status', '');
INSERT INTO layouts OVERRIDING SYSTEM VALUE VALUES (1, 1, '1 2 3 ', 1710313689, 3);
INSERT INTO layout_points VALUES (1, 0, 1), (1, 1, 2), (1, 2, 3);
SELECT keep_week(2826), keep_week(2827);
INSERT INTO documents VALUES
    (1, 1, 1709622489, 0, 1, 1710400089, 1710400089148, '1.000 1 0'),
    (2, 1, 1709708889, 0, 1, 1710400089, 1710400089157, '2.000 1 0'),
    (3, 1, 1710313689, 0, 1, 1710400089, 1710400089159, '3.000 1 0'),
    (4, 1, 1546300800, 0, 1, 1710400089, 1710400089164, '0.500 1 0');
INSERT INTO alarms OVERRIDING SYSTEM VALUE VALUES
    (1, 1, '2024-03-05 07:08:09', 2, 1, '02010001', 'Ua', '253.100', '250.000', 'V', -1, 1, 0,
        '2024-03-14T07:08:09.168Z'),
    (2, 1, '2024-03-05 07:08:09', 2, 1, '02010001', 'Ua', '253.100', '250.000', 'V', -1, 1, 1,
        '2024-03-14T07:08:09.168Z');
INSERT INTO alarm_states VALUES (1, '02010001', -1, '2024-03-05 07:08:09', true, 2);
INSERT INTO recalls OVERRIDING SYSTEM VALUE VALUES (1, 1, '2024-03-05 07:00:00',
    '2024-03-05 08:00:00', '2024-03-14T07:08:09.170Z', NULL, NULL);
INSERT INTO files OVERRIDING SYSTEM VALUE VALUES (1, 1, '5d918cc52b3f', 'file.bin',
    '9a0364b9e99bb480dd25e1f0284c8555', 0, '', 7, 'offered', '2024-03-14T07:08:09.192Z', NULL, NULL,
    NULL);
INSERT INTO file_pieces VALUES ('5d918cc52b3f', 0, 'content', '2024-03-14 07:08:09.185174+00');
SELECT setval('alarms_id_seq', 2), setval('document_numbers', 4), setval('files_id_seq', 1),
    setval('gateways_id_seq', 1), setval('layouts_id_seq', 1), setval('points_id_seq', 3),
    setval('recalls_id_seq', 1);
