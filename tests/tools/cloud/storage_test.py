"""What the database keeps, how it came to be, and what goes from it again."""

import json
import os
import shutil
import sqlite3
import struct
import subprocess
import tempfile
import time
import unittest
from unittest import mock

from cloud_server import (ANSWER_SECONDS, JSON, STORE, Cloud, CloudTest, alarm_data, command, devices,
                          file_status, gateway, real_data)

POINT = "/gateways/SN1/points/02010001/history"

# The layout of the first versions, which had a row a sample.
FIRST_LAYOUT = """
CREATE TABLE gateways(
    id INTEGER PRIMARY KEY, sn TEXT NOT NULL UNIQUE,
    registered TEXT, name TEXT, version TEXT, site TEXT, longitude TEXT, latitude TEXT,
    owner TEXT, owner_description TEXT, room TEXT, room_description TEXT, camera TEXT,
    last_contact TEXT, last_exchange TEXT, address TEXT, scheme TEXT);
CREATE TABLE devices(
    gateway INTEGER NOT NULL REFERENCES gateways ON DELETE CASCADE,
    channel INTEGER NOT NULL, device INTEGER NOT NULL, name TEXT NOT NULL,
    description TEXT NOT NULL, PRIMARY KEY(gateway, channel, device)) WITHOUT ROWID;
CREATE TABLE points(
    id INTEGER PRIMARY KEY, gateway INTEGER NOT NULL REFERENCES gateways ON DELETE CASCADE,
    dblink TEXT NOT NULL, channel INTEGER NOT NULL, device INTEGER NOT NULL,
    name TEXT NOT NULL, unit TEXT NOT NULL, UNIQUE(gateway, dblink));
CREATE TABLE samples(
    point INTEGER NOT NULL REFERENCES points ON DELETE CASCADE,
    time TEXT NOT NULL, value TEXT NOT NULL, received TEXT NOT NULL,
    PRIMARY KEY(point, time)) WITHOUT ROWID;
CREATE TABLE alarms(
    id INTEGER PRIMARY KEY, gateway INTEGER NOT NULL REFERENCES gateways ON DELETE CASCADE,
    time TEXT NOT NULL, channel INTEGER NOT NULL, device INTEGER NOT NULL, dblink TEXT NOT NULL,
    name TEXT NOT NULL, value TEXT NOT NULL, threshold TEXT NOT NULL, unit TEXT NOT NULL,
    type INTEGER NOT NULL, flag INTEGER NOT NULL, occurrence INTEGER NOT NULL,
    received TEXT NOT NULL,
    UNIQUE(gateway, time, dblink, type, flag, value, threshold, occurrence));
CREATE TABLE recalls(
    id INTEGER PRIMARY KEY, gateway INTEGER NOT NULL REFERENCES gateways ON DELETE CASCADE,
    start TEXT NOT NULL, "end" TEXT NOT NULL, asked TEXT NOT NULL, fetched TEXT, finished TEXT);
CREATE UNIQUE INDEX waiting_recalls ON recalls(gateway, start, "end") WHERE finished IS NULL;
CREATE TABLE files(
    id INTEGER PRIMARY KEY, gateway INTEGER NOT NULL REFERENCES gateways ON DELETE CASCADE,
    token TEXT NOT NULL UNIQUE, name TEXT NOT NULL, md5 TEXT NOT NULL, type INTEGER NOT NULL,
    target TEXT NOT NULL, size INTEGER NOT NULL,
    state TEXT NOT NULL, offered TEXT NOT NULL, listed TEXT, begun TEXT, finished TEXT);
CREATE INDEX waiting_files ON files(gateway) WHERE finished IS NULL;
CREATE VIEW readings AS
    SELECT g.sn, p.channel, p.device, p.dblink, p.name, p.unit, s.time, s.value, s.received
    FROM samples s JOIN points p ON p.id = s.point JOIN gateways g ON g.id = p.gateway;
"""


class StorageTest(CloudTest):
    @property
    def path(self):
        return os.path.join(self.cloud.folder, "cloud.db")

    def sql(self, *statement):
        return self.cloud.sql(*statement)

    def upload(self, when, value="1.000", sn="SN1", sent=None):
        headers = {"Content-Type": JSON}
        if sent is not None:
            headers["XVane-Time"] = str(sent)
        answer = self.cloud.request("POST", "/realdata/" + sn, real_data(when, value).encode(),
                                    headers)
        self.assertEqual(answer.status, 200, answer.body)
        return answer.json

    def history(self, **parameters):
        return [(row["time"], row["again"], row["value"])
                for row in self.cloud.list(POINT, **parameters)]


class OtherDatabases(unittest.TestCase):
    """A database that is not ours is left as it is."""

    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="corvenna-cloud-")
        self.addCleanup(shutil.rmtree, self.folder)
        self.path = os.path.join(self.folder, "cloud.db")

    def refusal(self):
        with open(self.path, "rb") as file:
            before = file.read()
        ended = subprocess.run(command() + ["--data", self.folder, "--admin", "0", "--http", "0"],
                               capture_output=True, text=True, timeout=ANSWER_SECONDS)
        self.assertEqual(ended.returncode, 1)
        with open(self.path, "rb") as file:
            self.assertEqual(file.read(), before)
        return ended.stderr

    def make(self, *statements):
        database = sqlite3.connect(self.path)
        for statement in statements:
            database.execute(statement)
        database.commit()
        database.close()

    def test_of_another_program_by_its_tables(self):
        self.make("CREATE TABLE music(title TEXT)")
        self.assertIn("cloud.db belongs to another program", self.refusal())

    def test_of_another_program_by_its_number(self):
        self.make("PRAGMA application_id = 1", "CREATE TABLE gateways(sn TEXT)")
        self.assertIn("cloud.db belongs to another program", self.refusal())

    def test_of_a_newer_version(self):
        self.make("PRAGMA application_id = 0x436F7276", "PRAGMA user_version = 3",
                  "CREATE TABLE gateways(sn TEXT)")
        self.assertIn("written by a newer version of this program (layout 3; this one knows up to"
                      " 2)", self.refusal())

    def test_something_that_is_no_database(self):
        with open(self.path, "w") as file:
            file.write("a letter to a friend" * 100)
        self.assertIn("file is not a database", self.refusal())


class Folder(unittest.TestCase):
    def start_in(self, folder):
        cloud = Cloud.__new__(Cloud)
        cloud.folder = folder
        cloud.start()
        self.addCleanup(cloud.close)

    def setUp(self):
        self.parent = tempfile.mkdtemp(prefix="corvenna-cloud-")
        self.addCleanup(shutil.rmtree, self.parent)
        self.folder = os.path.join(self.parent, "data")

    def test_one_that_is_there_keeps_its_mode(self):
        os.mkdir(self.folder)
        os.chmod(self.folder, 0o755)
        self.start_in(self.folder)
        self.assertEqual(os.stat(self.folder).st_mode & 0o777, 0o755)

    def test_one_that_is_made_is_for_its_owner(self):
        self.start_in(self.folder)
        self.assertEqual(os.stat(self.folder).st_mode & 0o777, 0o700)


class FirstLayout(StorageTest):
    """A database of the first layout is brought to the present one, whole."""

    def setUp(self):
        super().setUp()
        self.cloud.stop()
        os.remove(self.path)
        database = sqlite3.connect(self.path)
        database.executescript(FIRST_LAYOUT)
        received = "2024-03-05T07:08:10.250Z"
        database.execute("INSERT INTO gateways(id, sn, name, last_contact) VALUES(7, 'SN1', 'Gate',"
                         " ?)", (received,))
        database.execute("INSERT INTO devices VALUES(7, 2, 1, 'Meter1', 'd1')")
        for point, dblink, name in ((11, "02010001", "Ua"), (12, "02010100", "Comm_Status")):
            database.execute("INSERT INTO points VALUES(?, 7, ?, 2, 1, ?, '')",
                             (point, dblink, name))
            for second in range(3):
                database.execute("INSERT INTO samples VALUES(?, ?, ?, ?)", (
                    point, f"2024-03-05 07:08:{second:02}", f"{point}.{second}00", received))
        # What the first version took for a time and for values.
        database.execute("INSERT INTO samples VALUES(11, '2024-03-05 07:09:60', '0x1p3', ?)",
                         (received,))
        for number, flag in ((1, 1), (2, 0), (3, 1)):
            database.execute(
                "INSERT INTO alarms VALUES(?, 7, ?, 2, 1, '02010001', 'Ua', '253.1', '250.0', 'V',"
                " 1, ?, 0, ?)", (number, f"2024-03-05 07:08:{number:02}", flag, received))
        database.execute("INSERT INTO recalls VALUES(5, 7, '2024-03-05 07:00:00',"
                         " '2024-03-05 08:00:00', ?, NULL, NULL)", (received,))
        database.execute("INSERT INTO files VALUES(9, 7, '0123456789ab', 'a', 'm', 0, '', 1,"
                         " 'offered', ?, NULL, NULL, NULL)", (received,))
        database.commit()
        database.close()
        self.cloud.start()

    def test_samples_are_there_with_their_values_and_times(self):
        rows = self.cloud.list(POINT)
        self.assertEqual([(row["time"], row["value"], row["received"]) for row in rows][:3],
                         [(f"2024-03-05 07:08:0{second}", f"11.{second}00",
                           "2024-03-05T07:08:10.250Z") for second in range(3)])
        self.assertEqual(rows[3]["time"], "2024-03-05 07:09:59")
        self.assertEqual(len(self.sql("SELECT * FROM readings")), 7)

    def test_current_values_are_there(self):
        self.assertEqual([(row["dblink"], row["value"])
                          for row in self.cloud.list("/gateways/SN1/points")],
                         [("02010001", "0x1p3"), ("02010100", "12.200")])

    def test_a_sample_that_comes_again_is_known(self):
        self.assertEqual(self.cloud.post("/realdata/SN1", real_data("2024-03-05 07:08:02")).json,
                         {"result": "ok", "stored": "1", "known": "2"})

    def test_the_rest_is_there(self):
        row = self.cloud.list("/gateways/SN1")
        self.assertEqual([row[key] for key in ("name", "devices", "points", "alarms",
                                               "active_alarms", "recalls_waiting",
                                               "files_waiting")], ["Gate", 1, 2, 3, 1, 1, 1])
        self.assertEqual([(alarm["id"], alarm["active"])
                          for alarm in self.cloud.list("/gateways/SN1/alarms")],
                         [(3, 1), (2, 0), (1, 0)])

    def test_it_is_done_once(self):
        self.assertEqual(self.sql("SELECT name FROM sqlite_master WHERE name LIKE 'first%'"), [])
        self.cloud.stop()
        self.cloud.start()
        self.assertEqual(len(self.cloud.list(POINT)), 4)


class SampleTimes(StorageTest):
    AUTUMN = 1729988000  # some second of the first run

    def test_the_hour_that_is_repeated_keeps_both_its_runs(self):
        for minute in range(3):
            for run, sent in enumerate((self.AUTUMN, self.AUTUMN + 3600)):
                stored = self.upload(f"2024-10-27 02:{minute:02}:00", f"{run}.000",
                                     sent=sent + 60 * minute)
                self.assertEqual(stored["stored"], "3")
        self.assertEqual(self.history(), [(f"2024-10-27 02:{minute:02}:00", run, f"{run}.000")
                                          for minute in range(3) for run in range(2)])

    def test_equal_values_in_both_runs_are_two_samples(self):
        for sent in (self.AUTUMN, self.AUTUMN + 3600):
            self.assertEqual(self.upload("2024-10-27 02:00:00", sent=sent)["stored"], "3")

    def test_each_run_that_comes_again_is_known(self):
        for sent in (0, 3600, 30, 3630):
            stored = self.upload("2024-10-27 02:00:00", sent=self.AUTUMN + sent)["stored"]
            self.assertEqual(stored, "3" if sent in (0, 3600) else "0", sent)

    def test_what_comes_again_at_another_time_is_known(self):
        self.upload("2024-10-27 02:00:00", sent=self.AUTUMN)
        for later in (60, 2900, 4300, 86400):
            self.assertEqual(self.upload("2024-10-27 02:00:00", sent=self.AUTUMN + later)["stored"],
                             "0", later)

    def test_what_was_recalled_is_known_an_hour_later_too(self):
        self.upload("2024-10-27 02:00:00", sent=self.AUTUMN)
        self.cloud.recall("2024-10-27 01:30:00", "2024-10-27 02:30:00")
        self.assertEqual(self.upload("2024-10-27 02:00:00", sent=self.AUTUMN + 3600)["stored"],
                         "0")

    def test_a_sample_of_the_future_does_not_become_the_current_value(self):
        self.upload("9999-12-31 23:59:59", "9.000")
        self.assertIsNone(self.cloud.list("/gateways/SN1/points")[0]["value"])
        self.upload("2024-03-05 07:08:09", "1.000")
        self.assertEqual(self.cloud.list("/gateways/SN1/points")[0]["value"], "1.000")
        self.assertEqual(len(self.history()), 2)

    def test_a_gateway_whose_clock_is_ahead_of_utc_has_current_values(self):
        ahead = time.strftime("%Y-%m-%d %H:%M:%S", time.gmtime(time.time() + 14 * 3600))
        self.upload(ahead, "3.000")
        self.assertEqual(self.cloud.list("/gateways/SN1/points")[0]["value"], "3.000")


class Documents(StorageTest):
    def test_points_that_come_later_join_those_of_the_same_time(self):
        whole = json.loads(real_data())
        part = {**whole, "device": whole["device"][1:]}
        for document, stored, known in ((part, 1, 0), (whole, 2, 1), (whole, 0, 3)):
            self.assertEqual(self.cloud.post("/realdata/SN1", json.dumps(document)).json,
                             {"result": "ok", "stored": str(stored), "known": str(known)})
        self.assertEqual(len(self.sql("SELECT * FROM readings")), 3)

    def test_a_point_that_stands_twice_in_a_document_is_kept_as_it_first_stands(self):
        document = json.loads(real_data(value="1.000"))
        nodes = document["device"][0]["node"]
        nodes.append({**nodes[0], "value": "2.000"})
        self.assertEqual(self.cloud.post("/realdata/SN1", json.dumps(document)).json["known"], "1")
        self.assertEqual([value for _, _, value in self.history()], ["1.000"])

    def test_current_values_come_from_the_newest_document_that_has_the_point(self):
        self.upload("2024-03-05 07:00:00", "1.000")
        down = json.loads(real_data("2024-03-05 08:00:00"))
        down["device"][0]["node"] = down["device"][0]["node"][1:]
        self.cloud.post("/realdata/SN1", json.dumps(down))
        self.assertEqual([(row["dblink"], row["time"][11:13])
                          for row in self.cloud.list("/gateways/SN1/points")],
                         [("02010001", "07"), ("02010100", "08"), ("02020100", "08")])

    def test_values_that_are_no_numbers_are_refused(self):
        for value in ("0x1p3", "nan(abc)", "1\\u0000", "1e", "infinity", "--1", "1,5", ".", "e5",
                      "1 ", "NAN"):
            answer = self.cloud.post("/realdata/SN1", real_data(value=value))
            self.assertEqual(answer.status, 400, value)
            self.assertIn('"value" is no number', answer.text)

    def test_numbers_that_were_cut_are_kept(self):
        for second, value in enumerate(("1234567890123.", "-inf", "1e5", "+1.5", "-0.000")):
            self.upload(f"2024-03-05 07:08:{second:02}", value)
        self.assertEqual(len(self.history()), 5)

    def test_a_second_60_is_no_time(self):
        answer = self.cloud.post("/realdata/SN1", real_data("2024-03-05 07:08:60"))
        self.assertEqual(answer.status, 400)

    def test_names_hold_no_nul(self):
        answer = self.cloud.post("/realdata/SN1", real_data().replace('"Ua"', '"U\\u0000a"'))
        self.assertEqual(answer.status, 400)

    def test_what_nobody_reads_is_skipped(self):
        document = json.loads(real_data())
        document.update({"more": [1, [2, {"a": None}]], "other": {"b": 1.5}, "flag": True})
        self.assertEqual(self.cloud.post("/realdata/SN1", json.dumps(document)).status, 200)

    def test_what_names_a_device_may_stand_behind_its_points(self):
        document = json.loads(real_data())
        for device in document["device"]:
            device["id"] = device.pop("id")
            device["channel"] = device.pop("channel")
        self.cloud.post("/realdata/SN1", json.dumps(document))
        self.assertEqual([(row["channel"], row["device"])
                          for row in self.cloud.list("/gateways/SN1/points")],
                         [(2, 1), (2, 1), (2, 2)])


class Asking(StorageTest):
    def test_makes_no_gateway_known(self):
        self.assertEqual(self.cloud.get("/calldata/SN9").status, 200)
        self.assertEqual(self.cloud.get("/downfile/SN9").status, 200)
        self.cloud.send("PUT", "/downfile/SN9", file_status("0" * 32, 2))
        self.cloud.send("DELETE", "/calldata/SN9",
                        '{"node":{"startdt":"2024-03-05 07:00:00","enddt":"2024-03-05 07:00:00"}}')
        self.assertEqual(self.cloud.list("/gateways"), [])

    def test_of_a_known_gateway_is_a_contact(self):
        self.upload("2024-03-05 07:08:09")
        self.cloud.get("/calldata/SN1")
        self.assertEqual(self.cloud.list("/gateways/SN1")["last_exchange"], "calldata")


class Forgetting(StorageTest):
    def test_takes_everything_little_by_little(self):
        for second in range(60):
            for minute in range(5):
                self.upload(f"2024-03-05 07:{minute:02}:{second:02}")
        self.upload("2024-03-05 07:08:09", sn="SN2")
        self.cloud.post("/device/SN1", devices())
        self.cloud.post("/alarmdata/SN1", alarm_data(3))
        self.assertEqual(self.cloud.api("DELETE", "/gateways/SN1").status, 204)
        self.assertEqual([row["sn"] for row in self.cloud.list("/gateways")], ["SN2"])
        self.assertEqual(self.cloud.list("/alarms"), [])
        tables = ("documents", "layouts", "points", "devices", "alarms", "alarm_states",
                  "forgotten")
        expected = [1, 1, 3, 0, 0, 0, 0]
        self.until(lambda: [self.sql(f"SELECT count(*) FROM {table}")[0][0]
                            for table in tables] == expected)

    def test_a_gateway_that_comes_back_has_nothing_of_before(self):
        self.upload("2024-03-05 07:08:09", "1.000")
        self.cloud.api("DELETE", "/gateways/SN1")
        self.assertEqual(self.upload("2024-03-05 07:08:09", "2.000")["stored"], "3")
        self.assertEqual(self.history(), [("2024-03-05 07:08:09", 0, "2.000")])

    def test_goes_on_after_a_restart(self):
        for second in range(50):
            self.upload(f"2024-03-05 07:08:{second:02}")
        self.cloud.api("DELETE", "/gateways/SN1")
        self.cloud.kill()
        self.cloud.start()
        self.until(lambda: self.sql("SELECT count(*) FROM forgotten")[0][0] == 0)
        self.assertEqual(self.sql("SELECT count(*) FROM documents")[0][0], 0)


class Keeping(StorageTest):
    OLD = int((time.time() - 10 * 86400) * 1000)

    def restart(self, *options):
        self.cloud.stop()
        self.sql("UPDATE documents SET received = ? WHERE time < 1709600000", (self.OLD,))
        self.sql("UPDATE alarms SET received = strftime('%Y-%m-%dT%H:%M:%fZ', ?, 'unixepoch')",
                 (self.OLD // 1000,))
        self.cloud.start(*options)

    def setUp(self):
        super().setUp()
        self.upload("2024-03-04 07:08:09")  # made old by restart()
        self.upload("2024-03-06 07:08:09")
        self.cloud.post("/alarmdata/SN1", alarm_data(2).replace('"flag":1', '"flag":0'))
        self.cloud.post("/alarmdata/SN1", alarm_data().replace("02010001", "02010002"))

    def test_without_it_everything_stays(self):
        self.restart()
        self.upload("2024-03-07 07:08:09")
        self.assertEqual((len(self.history()), len(self.cloud.list("/alarms"))), (3, 3))

    def test_old_samples_go(self):
        self.restart("--keep", "samples=9")
        self.until(lambda: len(self.history()) == 1)
        self.assertEqual(self.history()[0][0], "2024-03-06 07:08:09")
        self.assertEqual(len(self.cloud.list("/alarms")), 3)

    def test_old_alarms_go_but_those_that_go_on(self):
        self.restart("--keep", "alarms=9", "--keep", "samples=11")
        self.until(lambda: len(self.cloud.list("/alarms")) == 1)
        self.assertEqual(self.cloud.list("/alarms")[0]["dblink"], "02010002")
        self.assertEqual(self.cloud.list("/gateways/SN1")["alarms"], 1)
        self.assertEqual(len(self.history()), 2)

    @unittest.skipIf(os.environ.get("CORVENNA_EMULATOR"),
                     "nothing can be loaded before a program under the emulator")
    def test_a_time_of_day_that_jumps_makes_nothing_old(self):
        clock = os.path.join(self.cloud.folder, "clock")
        with open(clock, "wb") as file:
            file.write(bytes(4))
        # The address sanitizer wants to be loaded first; the clock asks it for nothing.
        sanitizer = os.environ.get("ASAN_OPTIONS", "") + ":verify_asan_link_order=0"
        with mock.patch.dict(os.environ, CORVENNA_MOVED_CLOCK=clock, ASAN_OPTIONS=sanitizer,
                             LD_PRELOAD=os.environ["CORVENNA_MOVED_CLOCK_LIBRARY"]):
            self.cloud.stop()
            self.cloud.start("--keep", "samples=9", "--keep", "alarms=9")
        with open(clock, "r+b", buffering=0) as file:  # it is mapped: never shorter
            file.write(struct.pack("=i", 100 * 86400))
        self.upload("2024-03-07 07:08:09", sn="SN2")
        self.assertGreater(self.cloud.list("/gateways/SN2")["last_contact"],
                           time.strftime("%Y-%m-%d", time.gmtime(time.time() + 99 * 86400)))
        # A gateway that is forgotten wakes who deletes; behind it comes what is old.
        self.cloud.api("DELETE", "/gateways/SN2")
        self.until(lambda: self.sql("SELECT count(*) FROM forgotten") == [(0,)])
        for second in range(3):  # after each a slice is deleted, if there is any
            self.upload(f"2024-03-08 07:08:0{second}")
        self.assertEqual((len(self.history()), len(self.cloud.list("/alarms"))), (5, 3))

    def test_other_words_and_numbers_are_refused(self):
        for text in ("samples", "samples=0", "samples=36501", "files=3", "=3", "samples=x"):
            ended = subprocess.run(command() + ["--keep", text], capture_output=True,
                                   timeout=ANSWER_SECONDS)
            self.assertEqual(ended.returncode, 2, text)


class AlarmOrder(StorageTest):
    """What is too old is deleted in one order, so that processes that do it at once wait for each
    other in no circle."""

    NOTES = {
        "sqlite": (
            "CREATE TABLE gone(place INTEGER PRIMARY KEY, id INTEGER)",
            "CREATE TRIGGER note AFTER DELETE ON alarms BEGIN"
            " INSERT INTO gone(id) VALUES(old.id); END"),
        "postgresql": (
            "CREATE TABLE gone(place bigint GENERATED ALWAYS AS IDENTITY, id bigint)",
            "CREATE FUNCTION note() RETURNS trigger LANGUAGE plpgsql AS"
            " 'BEGIN INSERT INTO corvenna.gone(id) VALUES(old.id); RETURN NULL; END'",
            "CREATE TRIGGER note AFTER DELETE ON alarms FOR EACH ROW EXECUTE FUNCTION note()")}

    def test_is_by_gateway_and_number(self):
        numbers = {"SN0": [], "SN1": []}
        for number in range(8):
            sn = f"SN{number * 5 % 7 % 2}"
            alarms = alarm_data(12).replace('"flag":1', '"flag":0').replace(":09", f":1{number}")
            self.cloud.post(f"/alarmdata/{sn}", alarms)
            numbers[sn] += range(12 * number + 1, 12 * number + 13)
        for statement in self.NOTES[STORE]:
            self.sql(statement)
        self.sql("UPDATE alarms SET received = '2024-03-05T07:08:09.000Z'")
        self.cloud.stop()
        self.cloud.start("--keep", "alarms=9")
        self.until(lambda: not self.cloud.list("/alarms"))
        self.assertEqual([row[0] for row in self.sql("SELECT id FROM gone ORDER BY place")],
                         numbers["SN0"] + numbers["SN1"])


class ReaderOutside(StorageTest):
    def test_one_that_keeps_its_transaction_open_holds_nobody(self):
        self.upload("2024-03-05 07:00:00")
        reader = sqlite3.connect(self.path, isolation_level=None)
        self.addCleanup(reader.close)
        reader.execute("BEGIN")
        self.assertEqual(reader.execute("SELECT count(*) FROM readings").fetchone(), (3,))
        for second in range(20):
            self.upload(f"2024-03-05 07:08:{second:02}")
        self.assertEqual(reader.execute("SELECT count(*) FROM readings").fetchone(), (3,))
        self.assertEqual(len(self.history()), 21)


class Together(StorageTest):
    def commits(self):
        """How often the log says that a transaction ended: its frames have a page each, and the
        last one of a transaction tells the size of the database."""
        with open(self.path + "-wal", "rb") as file:
            log = file.read()
        return sum(1 for frame in range(32, len(log), 24 + 4096)
                   if log[frame + 4:frame + 8] != bytes(4))

    def test_requests_that_wait_share_a_commit(self):
        self.upload("2024-03-05 07:00:00")
        before = self.commits()
        self.cloud.fault("realdata", "delay", value=0)  # counts the requests that are being handled
        connections = [self.cloud.connection() for _ in range(40)]
        for connection in connections:
            connection.connect()
        holder = sqlite3.connect(self.path, ANSWER_SECONDS, isolation_level=None)
        holder.execute("BEGIN IMMEDIATE")  # the writer has to wait
        for number, connection in enumerate(connections):
            connection.request("POST", f"/realdata/SN{number}", real_data(), {"Content-Type": JSON})
        # Each of the few that handle them may hold one that does not wait yet.
        self.until(lambda: self.cloud.list("/faults")[0]["happened"] == len(connections))
        holder.execute("ROLLBACK")
        holder.close()
        for connection in connections:
            self.assertEqual(connection.getresponse().status, 200)
            connection.close()
        self.assertLess(self.commits() - before, 20)


class Trends(StorageTest):
    def setUp(self):
        super().setUp()
        for second in range(60):
            self.upload(f"2024-03-05 07:08:{second:02}", f"{second}.000")

    def trends(self, **parameters):
        return self.cloud.list("/gateways/SN1/trends", **parameters)

    def test_lowest_highest_mean_and_count_of_each_stretch(self):
        trends = self.trends(points="02010001", buckets=3, **{"from": "2024-03-05 07:08:00",
                                                              "to": "2024-03-05 07:08:59"})
        self.assertEqual((trends["seconds"], trends["from"]), (20, "2024-03-05 07:08:00"))
        self.assertEqual(trends["points"][0]["buckets"],
                         [[0, 19, 9.5, 20], [20, 39, 29.5, 20], [40, 59, 49.5, 20]])

    def test_where_nothing_was_sampled_is_null(self):
        buckets = self.trends(points="02010001", buckets=3, **{
            "from": "2024-03-05 07:07:00", "to": "2024-03-05 07:09:59"})["points"][0]["buckets"]
        self.assertEqual([bucket and bucket[3] for bucket in buckets], [None, 60, None])

    def test_several_points_in_the_order_that_was_asked_for(self):
        trends = self.trends(points="02010100,02010001")
        self.assertEqual([point["name"] for point in trends["points"]], ["Comm_Status", "Ua"])

    def test_without_times_the_last_day_of_the_gateway(self):
        trends = self.trends(points="02010001")
        self.assertEqual((trends["from"], trends["to"]),
                         ("2024-03-04 07:08:59", "2024-03-05 07:08:59"))

    def test_values_that_cannot_be_drawn_are_left_out(self):
        self.upload("2024-03-05 08:00:00", "nan")
        buckets = self.trends(points="02010001", **{
            "from": "2024-03-05 08:00:00", "to": "2024-03-05 08:00:00"})["points"][0]["buckets"]
        self.assertEqual(buckets, [None])

    def test_what_the_gateway_had_no_value_for_is_left_out(self):
        for second, value in enumerate(("-1.000", "-1.001", "-0.999")):
            self.upload(f"2024-03-05 08:00:{second:02}", value)
        buckets = self.trends(points="02010001", buckets=3, **{
            "from": "2024-03-05 08:00:00", "to": "2024-03-05 08:00:02"})["points"][0]["buckets"]
        self.assertEqual(buckets, [None, [-1.001, -1.001, -1.001, 1], [-0.999, -0.999, -0.999, 1]])

    def test_the_mean_lies_among_the_values_however_large_they_are(self):
        for second in range(2):
            self.upload(f"2024-03-05 08:00:{second:02}", "1e308")
        buckets = self.trends(points="02010001", buckets=1, **{
            "from": "2024-03-05 08:00:00", "to": "2024-03-05 08:00:02"})["points"][0]["buckets"]
        self.assertEqual(buckets, [[1e308, 1e308, 1e308, 2]])


class Tables(StorageTest):
    def table(self, **parameters):
        answer = self.cloud.api("GET", "/gateways/SN1/samples.csv", **parameters)
        self.assertEqual(answer.status, 200, answer.body)
        self.assertIn("attachment", answer.headers["Content-Disposition"])
        return answer.text.split("\r\n")

    def test_have_a_line_a_time_and_a_column_a_point(self):
        self.upload("2024-03-05 07:08:09", "1.500")
        lines = self.table(points="02010001,02020100")
        self.assertEqual(lines[0], 'time,received,"Ua [V] 02010001","Comm_Status 02020100"')
        self.assertRegex(lines[1], r"^2024-03-05 07:08:09,\d{4}-[-0-9T:.]+Z,1\.500,0$")
        self.assertEqual(lines[2:], [""])

    def test_names_are_no_formulas(self):
        for name, cell in (("=1+1", "'=1+1 [V] 02010001"), ('a"b', 'a""b [V] 02010001')):
            self.cloud.post("/realdata/SN1", real_data().replace('"Ua"', json.dumps(name)))
            self.assertIn(f'"{cell}"', self.table(points="02010001")[0])

    def test_leave_no_file_behind(self):
        self.upload("2024-03-05 07:08:09")
        self.table(points="02010001")
        self.assertEqual([name for name in os.listdir(self.cloud.folder) if "export" in name], [])


class AlarmLists(StorageTest):
    def alarm(self, second, flag, sn="SN1", dblink="02010001"):
        document = alarm_data().replace('"flag":1', f'"flag":{flag}').replace(
            "07:08:09", f"07:08:{second:02}").replace("02010001", dblink).replace('"type":-1',
                                                                                  '"type":1')
        self.assertEqual(self.cloud.post("/alarmdata/" + sn, document).status, 200)

    def active(self, **parameters):
        return [(row["sn"], row["dblink"]) for row in
                self.cloud.list("/alarms", state="active", **parameters)]

    def test_active_ones_have_begun_and_not_ended(self):
        self.alarm(1, 1)
        self.alarm(2, 1, "SN2")
        self.alarm(3, 1, "SN2", "02010002")
        self.alarm(4, 0, "SN2")
        self.assertEqual(self.active(), [("SN2", "02010002"), ("SN1", "02010001")])

    def test_the_newest_event_counts_however_late_another_comes(self):
        self.alarm(5, 0)
        self.alarm(4, 1)
        self.assertEqual(self.active(), [])

    def test_words_and_names_stand_beside_the_numbers(self):
        self.cloud.post("/gateway", gateway())
        self.cloud.post("/device/SN1", devices())
        self.alarm(1, 1)
        self.alarm(2, 0)
        rows = self.cloud.list("/alarms")
        self.assertEqual([(row["gateway_name"], row["device_name"], row["type_text"],
                           row["flag_text"]) for row in rows],
                         [("Gate", "Meter1", "above the upper limit", "ended"),
                          ("Gate", "Meter1", "above the upper limit", "began")])

    def test_types_of_other_hosts_have_the_words_of_the_command_line(self):
        cloud = Cloud("--alarm-type", "-1=is the pump's door open?", "--alarm-type", "2=too cold")
        self.addCleanup(cloud.close)
        for type in (-1, 1, 2, 3):
            cloud.post("/alarmdata/SN1", alarm_data().replace('"type":-1', f'"type":{type}'))
        self.assertEqual([row["type_text"] for row in cloud.list("/alarms")],
                         ["type 3", "too cold", "above the upper limit", "is the pump's door open?"])

    def test_come_in_pages_with_their_number(self):
        for second in range(5):
            self.alarm(second, 1, f"SN{second}")
        answer = self.cloud.api("GET", "/alarms", state="active", limit=2)
        self.assertEqual(answer.headers["X-Total-Count"], "5")
        seen = answer.json
        more = self.cloud.list("/alarms", state="active", limit=9, before=seen[-1]["id"])
        self.assertEqual([row["sn"] for row in seen + more], ["SN4", "SN3", "SN2", "SN1", "SN0"])


class Plans(CloudTest):
    """How SQLite finds what is asked for; asked with the program's own words."""

    @staticmethod
    def words(begin):
        with open(os.environ["CORVENNA_CLOUD"], "rb") as file:
            program = file.read()
        start = program.index(begin.encode())
        return program[start:program.index(b"\0", start)].decode()

    def test_active_alarms_are_found_by_their_index_in_their_order(self):
        rest = self.words(" FROM alarm_states s JOIN alarms a")
        self.assertIn("ORDER BY", rest)
        plan = [row[3] for row in self.cloud.sql("EXPLAIN QUERY PLAN SELECT a.id, d.name" + rest,
                                                 ("", 1 << 60, 100))]
        self.assertIn("active_alarms", plan[0])
        self.assertFalse([step for step in plan if "TEMP B-TREE" in step], plan)


class GatewayLists(StorageTest):
    def setUp(self):
        super().setUp()
        for number in range(5):
            self.upload("2024-03-05 07:08:09", sn=f"SN{number}")
        self.cloud.post("/gateway", gateway(sn="SN3").replace('"Site"', '"Harbour"'))

    def sns(self, **parameters):
        return [row["sn"] for row in self.cloud.list("/gateways", **parameters)]

    def test_come_in_pages_with_their_number(self):
        self.assertEqual(self.sns(offset=1, limit=2), ["SN1", "SN2"])
        answer = self.cloud.api("GET", "/gateways", limit=1)
        self.assertEqual(answer.headers["X-Total-Count"], "5")

    def test_are_searched_in_number_and_names_without_regard_to_case(self):
        self.assertEqual(self.sns(search="harb"), ["SN3"])
        self.assertEqual(self.sns(search="sn4"), ["SN4"])
        for none in ("%", "_", "Harbour2"):
            self.assertEqual(self.sns(search=none), [], none)

    def test_those_that_were_silent_for_long_are_overdue(self):
        self.assertEqual(self.sns(state="overdue"), [])
        self.sql("UPDATE gateways SET last_contact = '2024-03-05T07:08:09.123Z' WHERE sn = 'SN2'")
        self.assertEqual(self.sns(state="overdue"), ["SN2"])
        overview = self.cloud.list("/overview")
        self.assertEqual((overview["overdue"], overview["overdue_gateways"][0]["sn"]), (1, "SN2"))

    def test_the_overview_has_recent_values(self):
        recent = self.cloud.list("/overview")["recent"]
        self.assertEqual(len(recent), 5)
        self.assertEqual([point["dblink"] for point in recent[0]["points"]], ["02010001"])
        self.assertEqual(recent[0]["points"][0]["samples"],
                         [{"time": "2024-03-05 07:08:09", "value": "1.000"}])


class OfferedTypes(CloudTest):
    def test_are_0_1_and_9(self):
        for number in range(-1, 12):
            answer = self.cloud.api("POST", "/gateways/SN1/files", b"x", name="a", type=number,
                                    path="/opt/a")
            self.assertEqual(answer.status, 201 if number in (0, 1, 9) else 400, number)


if __name__ == "__main__":
    unittest.main()
