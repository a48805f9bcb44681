"""The store on PostgreSQL: what the other suites say of a cloud holds on this engine too, and what
several processes on one database, and a server that goes and comes back, have of it."""

import http.client
import os
import signal
import socket
import ssl
import subprocess
import tempfile
import threading
import time
import unittest

import postgres_server
from cloud_server import (ANSWER_SECONDS, Cloud, CloudTest, alarm_data, command, devices,
                          file_status, gateway, real_data, recall_done)

if not os.environ.get("CORVENNA_EMULATOR"):
    # Run here once more, with CORVENNA_STORE=postgresql; under emulation that would take minutes.
    from durability_test import ManyAtOnce  # noqa: F401 pylint: disable=unused-import
    from exchanges_test import (AlarmData, Files, RealData,  # noqa: F401 pylint: disable=unused-import
                                Recalls, Registration)
    from faults_test import (CommandLine, Menu,  # noqa: F401 pylint: disable=unused-import
                             OneGateway)
    from storage_test import (AlarmLists, AlarmOrder, Asking, Documents, Forgetting,  # noqa: F401 pylint: disable=unused-import
                              GatewayLists, SampleTimes, Tables, Trends)

HISTORY = "/gateways/SN1/points/02010001/history"


def setUpModule():
    try:
        postgres_server.shared()
    except postgres_server.Missing as missing:
        raise unittest.SkipTest(str(missing)) from missing


def sample_time(number):
    return f"2024-03-05 {number // 3600:02}:{number // 60 % 60:02}:{number % 60:02}"


def samples_of(cloud):
    """How many of a point there are, however many: the API shows the newest."""
    return cloud.sql("SELECT count(*) FROM readings WHERE dblink = '02010001'")[0][0]


class StartTest(unittest.TestCase):
    """What a server says that does not start."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.server = postgres_server.shared()

    def refused(self, store):
        ended = subprocess.run(command() + ["--data", self.folder, "--admin", "0", "--http", "0",
                                            "--store", store],
                               capture_output=True, text=True, timeout=ANSWER_SECONDS, check=False)
        self.assertEqual((ended.returncode, ended.stdout), (1, ""))
        self.assertEqual(len(ended.stderr.splitlines()), 1, ended.stderr)
        self.assertNotIn("sesame", ended.stderr)
        return ended.stderr

    def test_a_wrong_address_ends_it(self):
        self.assertIn("No such file or directory",
                      self.refused(f"postgresql://corvenna:sesame@/cloud?host={self.folder}"))

    def test_an_address_that_cannot_be_read_shows_no_password(self):
        for address in ("postgresql://corvenna:sesame%@db/cloud", "postgresql://corvenna:sesame@[::1",
                        "postgresql://corvenna:sesame/open@db/cloud"):
            self.assertIn("the address of --store cannot be read", self.refused(address))

    def test_a_wrong_password_ends_it(self):
        database = self.server.new_database()
        self.assertIn("password authentication failed",
                      self.refused(self.server.address(database, password="open")))

    def test_a_database_that_is_not_there_ends_it(self):
        self.assertIn('database "nowhere" does not exist', self.refused(self.server.address("nowhere")))

    def test_a_database_of_another_program_is_left_alone(self):
        database = self.server.new_database()
        self.server.psql(database, "CREATE TABLE public.music(title text)")
        self.assertIn("the database belongs to another program",
                      self.refused(self.server.address(database)))
        self.assertEqual(self.server.psql(
            database, "SELECT count(*) FROM pg_namespace WHERE nspname = 'corvenna'"), [("0",)])

    def test_a_database_of_a_newer_version_is_left_alone(self):
        cloud = Cloud()
        self.addCleanup(cloud.close)
        cloud.stop()
        cloud.sql("UPDATE layout_version SET version = 3")
        self.assertIn("written by a newer version of this program (layout 3; this one knows up to 2)",
                      self.refused(self.server.address(cloud.database)))


class TwoClouds(unittest.TestCase):
    """Two processes on one database."""

    options = ()

    def setUp(self):
        self.one = Cloud(*self.options)
        self.addCleanup(self.one.close)
        self.other = Cloud.__new__(Cloud)
        self.other.folder = tempfile.mkdtemp(prefix="corvenna-cloud-")
        self.other.database = self.one.database
        self.other.start(*self.options)
        self.addCleanup(self.other.close)

    def until(self, holds):
        CloudTest.until(self, holds)


class Together(TwoClouds):
    """What one has the other has."""

    def test_what_one_was_told_the_other_shows(self):
        self.one.post("/gateway", gateway())
        self.one.post("/device/SN1", devices())
        self.one.post("/realdata/SN1", real_data())
        self.one.post("/alarmdata/SN1", alarm_data(2))
        row = self.other.list("/gateways/SN1")
        self.assertEqual([row[key] for key in ("name", "devices", "points", "alarms")],
                         ["Gate", 2, 3, 2])
        self.assertEqual(len(self.other.list(HISTORY)), 1)

    def test_what_comes_again_to_the_other_is_known(self):
        self.assertEqual(self.one.post("/realdata/SN1", real_data()).json["stored"], "3")
        self.assertEqual(self.other.post("/realdata/SN1", real_data()).json["known"], "3")
        self.one.post("/alarmdata/SN1", alarm_data(2))
        self.assertEqual(self.other.post("/alarmdata/SN1", alarm_data(2)).json["known"], "2")

    def test_points_that_one_learnt_have_one_number(self):
        self.one.post("/realdata/SN1", real_data())
        self.other.post("/realdata/SN1", real_data("2024-03-05 07:08:10"))
        self.one.post("/realdata/SN1", real_data("2024-03-05 07:08:11").replace('"Ua"', '"Ub"'))
        self.other.post("/realdata/SN1", real_data("2024-03-05 07:08:12"))
        self.assertEqual(self.one.list("/gateways/SN1")["points"], 3)
        self.assertEqual([row["name"] for row in self.one.list("/gateways/SN1/points")
                          if row["dblink"] == "02010001"], ["Ua"])
        self.assertEqual(len(self.one.list(HISTORY)), 4)

    def test_recalls_asked_for_here_are_served_there(self):
        start, end = "2024-03-05 07:00:00", "2024-03-05 08:00:00"
        self.one.recall(start, end)
        self.assertEqual(self.other.get("/calldata/SN1").json["node"],
                         [{"startdt": start, "enddt": end}])
        self.assertEqual(self.other.send("DELETE", "/calldata/SN1", recall_done(start, end)).status,
                         204)
        self.assertNotIn(start, self.one.get("/calldata/SN1").text)

    def test_a_trace_shows_which_process_it_was(self):
        processes = []
        for cloud in (self.one, self.other):
            cloud.post("/realdata/SN1", real_data())
            entry = cloud.traced(lambda entry: entry["exchange"] == "realdata")
            self.assertEqual(entry["process"], f"{socket.gethostname()}:{cloud.ready['pid']}")
            processes.append(entry["process"])
        self.assertNotEqual(*processes)

    def test_files_offered_here_are_fetched_there_in_parts_too(self):
        content = bytes(range(256)) * 1000
        md5 = self.one.offer(content=content)["md5"]
        self.assertEqual(self.other.post("/realdata/SN1", real_data()).status, 426)
        path = "/" + self.other.list("/gateways/SN1/files")[0]["file"]
        self.assertEqual(self.other.get(path).body, content)
        for first, last in ((0, 0), (65535, 65536), (65530, 196700), (255999, 255999)):
            part = self.other.get(path, Range=f"bytes={first}-{last}")
            self.assertEqual((part.status, part.body), (206, content[first:last + 1]), (first, last))
        self.other.send("PUT", "/downfile/SN1", file_status(md5, 2))
        self.assertEqual(self.one.list("/gateways/SN1/files")[0]["state"], "done")

    def test_an_empty_file_is_one_and_one_without_its_pieces_is_gone(self):
        self.one.offer(content=b"")
        path = "/" + self.other.list("/gateways/SN1/files")[0]["file"]
        answer = self.other.get(path)
        self.assertEqual((answer.status, answer.body), (200, b""))
        self.one.sql("DELETE FROM file_pieces")
        self.assertEqual(self.other.get(path).status, 404)

    def test_a_gateway_that_was_forgotten_here_begins_anew_there(self):
        self.one.post("/realdata/SN1", real_data())
        self.other.post("/realdata/SN1", real_data("2024-03-05 07:08:10"))
        self.assertEqual(self.one.api("DELETE", "/gateways/SN1").status, 204)
        self.assertEqual(self.other.post("/realdata/SN1", real_data()).json["stored"], "3")
        self.assertEqual(len(self.one.list(HISTORY)), 1)

    def test_uploads_to_both_at_once_lose_nothing_and_store_nothing_twice(self):
        def upload(cloud, number):
            for second in range(15):
                statuses.append(cloud.post(f"/realdata/SN{number}",
                                           real_data(sample_time(second))).status)

        statuses = []
        threads = [threading.Thread(target=upload, args=(cloud, number))
                   for cloud in (self.one, self.other) for number in (1, 2, 3)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(statuses, [200] * 90)
        for number in (1, 2, 3):
            times = [row["time"] for row in
                     self.one.list(f"/gateways/SN{number}/points/02010001/history")]
            self.assertEqual(times, [sample_time(second) for second in range(15)])
            self.assertEqual(self.one.list(f"/gateways/SN{number}")["points"], 3)


class Faults(TwoClouds):
    """One menu of faults, of which all processes play."""

    def statuses(self, *clouds):
        return [cloud.get("/nothing").status for cloud in clouds]

    def rows(self, cloud):
        return [(fault["kind"], fault["happened"]) for fault in cloud.list("/faults")]

    def locks(self, condition):
        """How many there are of those of the menu."""
        return self.one.sql(
            "SELECT count(*) FROM pg_locks WHERE locktype = 'advisory' AND classid = 1131574902 AND"
            " objid = 4 AND database = (SELECT oid FROM pg_database WHERE datname = current_database())"
            f" AND {condition}")[0][0]

    def believing(self):
        """How many processes believe that the menu is empty."""
        return self.locks("mode = 'ShareLock' AND granted")

    def waiting(self):
        return self.locks("NOT granted")

    def freeze_the_other(self):
        process = self.other.process.pid
        os.kill(process, signal.SIGSTOP)
        self.addCleanup(os.kill, process, signal.SIGCONT)
        os.waitpid(process, os.WUNTRACED)  # until all its threads stand still

    def test_one_that_is_set_here_is_played_there_at_once(self):
        for _ in range(10):
            self.one.fault("any", "status", value=555)
            self.assertEqual(self.statuses(self.other, self.one), [555, 555])
            self.other.api("DELETE", "/faults")
            self.assertEqual(self.statuses(self.one, self.other), [404, 404])

    def test_handshakes_play_them_too(self):
        self.one.fault("connection", "tls-break", count=1)
        with self.assertRaises((ssl.SSLError, ConnectionError)):
            self.other.get("/nothing", scheme="https")
        for cloud in (self.one, self.other):
            self.assertEqual(cloud.get("/nothing", scheme="https").status, 404)

    def test_one_gateway_alone_can_meet_one(self):
        self.one.fault("any", "status", value=555, sn="SN1")
        self.assertEqual([self.other.post("/realdata/" + sn, real_data()).status
                          for sn in ("SN1", "SN2")], [555, 200])

    def test_both_list_them_and_how_often_they_happened(self):
        self.one.fault("any", "status", sn="SN1")
        self.other.fault("any", "delay", value=0)
        self.statuses(self.one, self.other, self.other)
        for cloud in (self.one, self.other):
            self.assertEqual(self.rows(cloud), [("status", 0), ("delay", 3)])

    def test_either_can_clear_one(self):
        first = self.one.fault("any", "status", value=551)["id"]
        second = self.other.fault("any", "status", value=552)["id"]
        self.assertEqual(self.statuses(self.one, self.other), [551, 551])
        self.assertEqual(self.other.api("DELETE", f"/faults/{first}").status, 204)
        self.assertEqual(self.one.api("DELETE", f"/faults/{first}").status, 404)
        self.assertEqual(self.statuses(self.one, self.other), [552, 552])
        self.assertEqual(self.one.api("DELETE", f"/faults/{second}").status, 204)
        self.assertEqual(self.statuses(self.one, self.other), [404, 404])

    def test_counts_are_those_of_all_however_many_ask_at_once(self):
        def ask(cloud):
            for _ in range(5):
                answers.extend(self.statuses(cloud))

        self.one.fault("any", "status", value=551, count=3)
        self.one.fault("any", "status", value=552, count=4)
        answers = []
        threads = [threading.Thread(target=ask, args=(cloud,))
                   for cloud in (self.one, self.other) * 3]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(sorted(answers), [404] * 23 + [551] * 3 + [552] * 4)
        self.assertEqual(self.rows(self.other), [])

    def test_who_waits_while_another_takes_the_last_of_one_gets_the_next(self):
        first = self.one.fault("any", "status", value=551)["id"]
        self.one.fault("any", "status", value=552)
        taking = postgres_server.shared().session(self.one.database)
        taking.stdin.write(f"BEGIN; DELETE FROM faults WHERE id = {first};\n\\echo taken\n")
        taking.stdin.flush()
        self.assertEqual(taking.stdout.readline().strip(), "taken")
        answers = []
        asking = threading.Thread(target=lambda: answers.extend(self.statuses(self.other)))
        asking.start()
        self.until(lambda: self.one.sql(
            "SELECT 1 FROM pg_stat_activity WHERE application_name = 'corvenna-cloud'"
            f" AND datname = '{self.one.database}' AND wait_event_type = 'Lock'"))
        taking.communicate("COMMIT;\n")
        asking.join()
        self.assertEqual(answers, [552])

    def test_they_outlive_the_processes(self):
        self.one.fault("any", "status", value=555, count=3)
        self.one.stop()
        self.assertEqual(self.statuses(self.other), [555])
        self.other.kill()
        self.one.start()
        self.assertEqual(self.one.list("/faults")[0]["left"], 2)
        self.assertEqual(self.statuses(self.one, self.one, self.one), [555, 555, 404])

    def test_one_is_set_when_every_process_has_seen_it(self):
        self.freeze_the_other()
        setting = threading.Thread(target=self.one.fault, args=("any", "status"))
        setting.start()
        # The other process alone, which stands still, keeps it waiting.
        self.until(lambda: self.waiting() and self.believing() == 1)
        self.assertTrue(setting.is_alive())
        self.assertEqual(self.statuses(self.one), [500])
        os.kill(self.other.process.pid, signal.SIGCONT)
        setting.join()
        self.assertEqual(self.statuses(self.other), [500])

    def test_one_that_a_process_cannot_be_told_of_is_taken_back(self):
        self.one.stop()
        self.one.start("--store-time", "3")
        self.freeze_the_other()
        answer = self.one.api("POST", "/faults", {"exchange": "any", "kind": "status"})
        self.assertEqual((answer.status, answer.headers.get("Retry-After")), (503, "30"))
        self.assertEqual(self.rows(self.one), [])

    def test_none_is_played_while_the_store_is_away(self):
        server = postgres_server.shared()
        self.one.fault("any", "status", value=555)
        server.stop()
        try:
            for cloud in (self.one, self.other):
                self.assertEqual(cloud.post("/realdata/SN1", real_data()).status, 503)
                self.assertEqual(cloud.get("/nothing").status, 404)
                self.assertEqual(cloud.api("GET", "/faults").status, 503)
        finally:
            server.start()
        self.until(lambda: self.statuses(self.one, self.other) == [555, 555])

    def test_no_process_that_is_gone_is_waited_for(self):
        self.other.kill()
        self.one.fault("any", "status")
        self.assertEqual(self.statuses(self.one), [500])

    def test_when_all_are_gone_every_process_knows_it(self):
        self.assertEqual(self.believing(), 2)
        self.one.fault("any", "status")
        self.other.api("DELETE", "/faults")
        self.until(lambda: self.believing() == 2)

    def test_a_kind_of_a_newer_program_is_passed_over(self):
        self.one.fault("any", "status", sn="SN1")
        self.one.sql("UPDATE faults SET kind = 'later', sn = ''")
        self.assertEqual(self.rows(self.other), [])
        self.assertEqual(self.statuses(self.one, self.other), [404, 404])

    def test_a_database_that_has_no_place_for_them_gets_one(self):
        self.one.stop()
        self.other.stop()
        self.one.sql("DROP TABLE faults")
        self.one.start()
        self.one.fault("any", "status")
        self.assertEqual(self.statuses(self.one), [500])


class NoFaults(TwoClouds):
    options = ("--store-time", "3600")  # who asks for faults waits longer than a test

    def test_requests_ask_for_none_while_none_is_set(self):
        locked = postgres_server.shared().session(self.one.database)
        self.addCleanup(locked.communicate)
        locked.stdin.write("BEGIN; LOCK faults;\n\\echo locked\n")
        locked.stdin.flush()
        self.assertEqual(locked.stdout.readline().strip(), "locked")
        for cloud in (self.one, self.other):
            self.assertEqual(cloud.post("/realdata/SN1", real_data()).status, 200)
            self.assertEqual(cloud.get("/calldata/SN1", scheme="https").status, 200)


class FaultsOfTheCommandLine(TwoClouds):
    options = ("--fault", "realdata:status=503*2", "--fault", "any@SN1:delay=0")

    def test_processes_that_name_the_same_share_them(self):
        for cloud in (self.one, self.other):
            self.assertEqual([(fault["exchange"], fault.get("sn"), fault["kind"], fault.get("left"))
                              for fault in cloud.list("/faults")],
                             [("realdata", None, "status", 2), ("any", "SN1", "delay", None)])
        self.assertEqual([cloud.post("/realdata/SN2", real_data()).status
                          for cloud in (self.one, self.other, self.one)], [503, 503, 200])


class Cookies(unittest.TestCase):
    def test_one_that_one_process_gave_is_good_for_the_other(self):
        # Of the password "sesame", with the least cost, so that the test is quick.
        users = "anna:$2b$04$abcdefghijklmnopqrstuuinwY/tkBVrn3xrxQI/TgnMHhkvl85RW\n"
        with tempfile.NamedTemporaryFile("w") as file:
            file.write(users)
            file.flush()
            clouds = [Cloud("--users", file.name)]
            self.addCleanup(clouds[0].close)
            clouds.append(Cloud.__new__(Cloud))
            clouds[1].folder = tempfile.mkdtemp(prefix="corvenna-cloud-")
            clouds[1].database = clouds[0].database
            clouds[1].start("--users", file.name)
            self.addCleanup(clouds[1].close)
        registered = clouds[0].request(
            "POST", "/gateway", gateway(), {"Content-Type": "application/json",
                                            "Authorization": "Basic YW5uYTpzZXNhbWU="}, "https")
        self.assertEqual(registered.status, 200)
        cookie = registered.headers["Set-Cookie"].split(";")[0]
        self.assertEqual(clouds[1].get("/calldata/SN1", scheme="https", Cookie=cookie).status, 200)
        self.assertEqual(clouds[1].get("/calldata/SN1", scheme="https").status, 401)


class ServerTest(CloudTest):
    """Looks at the server and takes part in what it does, too."""

    def setUp(self):
        super().setUp()
        self.server = postgres_server.shared()

    def backends(self, condition="true"):
        """What serves the cloud, as the server sees it."""
        return [row[0] for row in self.cloud.sql(
            "SELECT pid FROM pg_stat_activity WHERE application_name = 'corvenna-cloud'"
            f" AND datname = '{self.cloud.database}' AND {condition}")]

    def session(self, *statements):
        """One that has done the statements and goes on with its transaction."""
        session = self.server.session(self.cloud.database)
        self.addCleanup(session.communicate)
        self.tell(session, "BEGIN", *statements)
        return session

    def tell(self, session, *statements):
        session.stdin.write(";\n".join(statements) + ";\n\\echo done\n")
        session.stdin.flush()
        while (line := session.stdout.readline().strip()) != "done":
            self.assertIsNone(session.poll(), line)

    def wait_for_nobody(self):
        """Commits wait for a standby that is away, from soon on."""
        self.addCleanup(self.server.wait_for, "")
        self.server.wait_for("nobody")

    def freeze(self, *processes):
        for process in processes:
            os.kill(process, signal.SIGSTOP)
            self.addCleanup(os.kill, process, signal.SIGCONT)


class Weeks(ServerTest):
    """Documents lie in a table a week."""

    OLD = int((time.time() - 10 * 86400) * 1000)

    def weeks(self):
        return [row[0] for row in self.cloud.sql(
            "SELECT relname FROM pg_inherits JOIN pg_class c ON c.oid = inhrelid"
            " WHERE inhparent = 'documents'::regclass ORDER BY relname")]

    def test_each_is_made_with_its_first_document(self):
        for when in ("2024-03-06 23:59:59", "2024-03-07 00:00:00", "2024-03-07 00:00:01"):
            self.assertEqual(self.cloud.post("/realdata/SN1", real_data(when)).status, 200)
        self.assertEqual(self.weeks(), ["documents_20240229", "documents_20240307",
                                        "documents_after", "documents_before"])

    def test_two_processes_may_make_one_at_the_same_time(self):
        first = self.session("SELECT keep_week(2900)")
        second = self.server.session(self.cloud.database)
        second.stdin.write("SELECT keep_week(2900);\n")
        second.stdin.flush()
        self.until(lambda: self.cloud.sql(
            "SELECT 1 FROM pg_stat_activity WHERE wait_event = 'advisory'"))
        first.communicate("COMMIT;\n")
        _, said = second.communicate()
        self.assertEqual((second.returncode, said), (0, ""))
        self.assertIn("documents_20250731", self.weeks())

    def test_times_that_no_clock_tells_share_two_tables(self):
        times = ["0001-01-01 00:00:00", "1970-01-01 00:00:00", "2019-12-25 23:59:59",
                 "2099-12-31 00:00:00", "9999-12-31 23:59:59"]
        for when in times:
            self.assertEqual(self.cloud.post("/realdata/SN1", real_data(when)).status, 200, when)
        self.assertEqual(self.weeks(), ["documents_after", "documents_before"])
        self.assertEqual([row["time"] for row in self.cloud.list(HISTORY)], times)

    def test_whole_weeks_go_when_all_that_is_in_them_is_too_old(self):
        for when in ("2024-03-05 07:08:09", "2024-03-12 07:08:09", "2024-03-13 07:08:09"):
            self.cloud.post("/realdata/SN1", real_data(when))
        self.cloud.stop()
        self.cloud.sql(f"UPDATE documents SET received = {self.OLD} WHERE time < 1710288000")
        self.cloud.start("--keep", "samples=9")
        self.until(lambda: "documents_20240229" not in self.weeks())
        self.assertEqual([row["time"] for row in self.cloud.list(HISTORY)],
                         ["2024-03-12 07:08:09", "2024-03-13 07:08:09"])
        # What comes to a week that went makes it anew.
        self.assertEqual(self.cloud.post("/realdata/SN1", real_data("2024-03-05 07:08:09")).status,
                         200)
        self.assertEqual(len(self.cloud.list(HISTORY)), 3)

    def test_one_to_which_another_process_is_just_adding_stays(self):
        self.cloud.post("/realdata/SN1", real_data("2024-03-05 07:08:09"))
        self.cloud.sql(f"UPDATE documents SET received = {self.OLD}")
        adding = self.session("UPDATE documents SET received = received + 1000000000000")
        dropping = self.server.session(self.cloud.database)
        # It gives up after two seconds: whoever looks later than that finds the next one waiting.
        dropping.stdin.write("\\set ON_ERROR_STOP off\n" +
                             f"SELECT * FROM drop_old_weeks({self.OLD} + 86400000);\n" * 30)
        dropping.stdin.flush()
        self.until(lambda: self.cloud.sql(
            "SELECT 1 FROM pg_stat_activity WHERE wait_event_type = 'Lock'"))
        adding.communicate("COMMIT;\n")
        said, _ = dropping.communicate()
        self.assertEqual(said, "")
        self.assertIn("documents_20240229", self.weeks())

    def test_how_old_one_is_is_known_without_reading_it(self):
        self.cloud.post("/realdata/SN1", real_data("2024-03-05 07:08:09"))
        self.cloud.sql("DELETE FROM documents")
        self.cloud.sql('INSERT INTO documents(gateway, time, again, layout, sent, received, "values")'
                       f" SELECT 1, 1709622489 + n, 0, 1, 0, CASE n WHEN 3000 THEN {self.OLD} ELSE 1 END,"
                       " repeat('1 ', 300) FROM generate_series(1, 3000) AS n")
        read = "SELECT pg_stat_get_xact_blocks_fetched('documents_20240229'::regclass)"
        self.assertGreater(self.cloud.sql(f"SELECT count(received + sent) FROM documents; {read}")[-1][0],
                           200)
        for oldest in (2, self.OLD):
            rows = self.cloud.sql(f"SELECT * FROM drop_old_weeks({oldest}); {read}")
            self.assertEqual(len(rows), 1)  # it stays
            self.assertLess(rows[0][0], 5)
        self.assertEqual(self.cloud.sql(f"SELECT * FROM drop_old_weeks({self.OLD} + 1)"),
                         [("documents_20240229",)])

    def test_old_alarms_go_but_those_that_go_on(self):
        self.cloud.post("/realdata/SN1", real_data())
        self.cloud.post("/alarmdata/SN1", alarm_data(2).replace('"flag":1', '"flag":0'))
        self.cloud.post("/alarmdata/SN1", alarm_data().replace("02010001", "02010002"))
        self.cloud.stop()
        self.cloud.sql("UPDATE alarms SET received = '2024-03-05T07:08:09.000Z'")
        self.cloud.start("--keep", "alarms=9")
        self.until(lambda: len(self.cloud.list("/alarms")) == 1)
        self.assertEqual(self.cloud.list("/alarms")[0]["dblink"], "02010002")

    def test_the_readings_show_every_sample_once(self):
        self.cloud.post("/realdata/SN1", real_data())
        self.assertEqual(self.cloud.sql("SELECT sn, channel, device, dblink, name, unit, time, value,"
                                        " epoch FROM readings ORDER BY dblink LIMIT 1"),
                         [("SN1", 2, 1, "02010001", "Ua", "V", "2024-03-05 07:08:09", "229.870",
                           1709622489)])
        self.assertEqual(self.cloud.sql("SELECT count(*) FROM readings"), [(3,)])

    def test_readings_of_a_stretch_of_time_are_looked_for_in_its_weeks_alone(self):
        for when in ("2024-03-05 07:08:09", "2024-03-12 07:08:09", "2024-03-20 07:08:09"):
            self.cloud.post("/realdata/SN1", real_data(when))
        plan = "\n".join(row[0] for row in self.cloud.sql(
            "EXPLAIN SELECT time, value FROM readings WHERE sn = 'SN1' AND dblink = '02010001'"
            " AND epoch BETWEEN 1710227000 AND 1710228000"))
        self.assertIn("documents_20240307", plan)
        for other in ("documents_20240229", "documents_20240314", "documents_before",
                      "documents_after"):
            self.assertNotIn(other, plan)


class Plans(ServerTest):
    """How the server finds what is asked for among much else."""

    MANY = 5000

    def plans(self, ask):
        """Of all statements that the cloud asks meanwhile, as the server's log has them."""
        self.cloud.stop()
        self.cloud.sql(f"ALTER DATABASE {self.cloud.database} SET session_preload_libraries ="
                       " 'auto_explain'")
        self.addCleanup(self.server.psql, "postgres",
                        f"ALTER DATABASE {self.cloud.database} RESET ALL")
        self.cloud.sql(f"ALTER DATABASE {self.cloud.database} SET auto_explain.log_min_duration = 0")
        self.cloud.start()
        begin = os.path.getsize(self.server.log)
        ask()
        with open(self.server.log, encoding="utf-8") as log:
            log.seek(begin)
            return log.read()

    def test_current_values_are_found_without_going_through_all_documents(self):
        self.cloud.post("/realdata/SN1", real_data("2024-03-05 00:00:00"))
        self.cloud.sql(
            "INSERT INTO documents(gateway, time, again, layout, sent, received, \"values\")"
            " SELECT gateway, time - n, again, layout, sent, received, \"values\""
            f" FROM documents, generate_series(1, {self.MANY}) n")
        self.cloud.sql("ANALYZE documents_20240229")
        plans = self.plans(lambda: self.assertEqual(
            [row["time"] for row in self.cloud.list("/gateways/SN1/points")],
            ["2024-03-05 00:00:00"] * 3))
        self.assertIn("newest_document", plans)
        self.assertNotRegex(plans, "Seq Scan on documents_20240229")


class Backup(CloudTest):
    def test_a_dump_restored_elsewhere_is_the_same_store(self):
        content = bytes(range(256)) * 300
        self.cloud.post("/realdata/SN1", real_data())
        self.cloud.post("/alarmdata/SN1", alarm_data(2))
        self.cloud.offer(content=content)
        self.cloud.stop()
        server = postgres_server.shared()
        with tempfile.NamedTemporaryFile() as dump:
            server.tool("pg_dump", self.cloud.database, "--format", "custom", "--schema", "corvenna",
                        "--file", dump.name)
            self.cloud.database = server.new_database()
            self.addCleanup(server.give_back, self.cloud.database)
            server.tool("pg_restore", self.cloud.database, "--exit-on-error", dump.name)
        self.cloud.start()
        again = self.cloud.post("/realdata/SN1", real_data())
        self.assertEqual((again.status, again.json["known"]), (426, "3"))
        self.assertEqual(self.cloud.post("/alarmdata/SN1", alarm_data(2)).json["known"], "2")
        self.assertEqual(self.cloud.get(
            "/" + self.cloud.list("/gateways/SN1/files")[0]["file"]).body, content)
        # Numbers go on, and weeks that are new are made.
        for when in ("2024-03-05 07:08:10", "2024-03-20 07:08:09"):
            self.assertEqual(self.cloud.post("/realdata/SN1", real_data(when)).json["stored"], "3")
        self.assertEqual(len(self.cloud.list(HISTORY)), 3)


class FirstLayout(ServerTest):
    """A database of the first layout is brought to the present one, whole, at the start."""

    WEEKS = ("documents_20240229", "documents_20240307")

    def setUp(self):
        super().setUp()
        self.cloud.stop()
        self.cloud.sql("DROP SCHEMA corvenna CASCADE")
        self.server.tool("psql", self.cloud.database, "--no-psqlrc", "--quiet", "--output", os.devnull,
                         "--set", "ON_ERROR_STOP=1", "--file",
                         os.path.join(os.path.dirname(os.path.abspath(__file__)),
                                      "postgres_layout_1.sql"))

    def indexed(self):
        return [row[0] for row in self.cloud.sql(
            "SELECT tablename FROM pg_indexes WHERE indexdef LIKE '%(received)' ORDER BY tablename")]

    def test_values_are_there_and_more_can_be_stored(self):
        self.cloud.start()
        self.assertEqual([(row["time"], row["value"]) for row in self.cloud.list(HISTORY)],
                         [("2019-01-01 00:00:00", "0.500"), ("2024-03-05 07:08:09", "1.000"),
                          ("2024-03-06 07:08:09", "2.000"), ("2024-03-13 07:08:09", "3.000")])
        self.assertEqual(self.cloud.sql("SELECT count(*) FROM readings"), [(12,)])
        for when, stored in (("2024-03-05 07:08:09", "0"), ("2024-03-05 07:08:10", "3"),
                             ("2024-03-20 07:08:09", "3")):
            self.assertEqual(self.cloud.post("/realdata/SN1", real_data(when)).json["stored"], stored)
        self.assertEqual(len(self.cloud.list(HISTORY)), 6)
        self.assertEqual(self.cloud.list("/gateways/SN1/points")[0]["time"], "2024-03-20 07:08:09")

    def test_the_rest_is_there(self):
        self.cloud.start()
        row = self.cloud.list("/gateways/SN1")
        self.assertEqual([row[key] for key in ("name", "devices", "points", "alarms", "active_alarms",
                                               "recalls_waiting", "files_waiting")],
                         ["Gate", 2, 3, 2, 1, 1, 1])
        self.assertEqual(self.cloud.post("/alarmdata/SN1", alarm_data(3)).json["known"], "2")
        self.assertEqual(self.cloud.get(
            "/" + self.cloud.list("/gateways/SN1/files")[0]["file"]).body, b"content")

    def test_it_is_done_once_and_is_what_a_new_one_is(self):
        self.cloud.start()
        self.assertIn("the database is brought to the present layout", self.cloud.stop()[1])
        new = Cloud()
        self.addCleanup(new.close)
        new.sql("SELECT keep_week(2826), keep_week(2827)")
        for look in ("SELECT version FROM layout_version",
                     "SELECT indexdef FROM pg_indexes WHERE schemaname = 'corvenna' ORDER BY indexdef",
                     "SELECT proname, md5(prosrc) FROM pg_proc WHERE pronamespace = 'corvenna'::regnamespace"
                     " ORDER BY proname",
                     "SELECT relname, relkind, attname, atttypid, attnotnull FROM pg_class c"
                     " JOIN pg_attribute ON attrelid = c.oid AND attnum > 0"
                     " WHERE relnamespace = 'corvenna'::regnamespace ORDER BY relname, attnum"):
            self.assertEqual(self.cloud.sql(look), new.sql(look))
        self.cloud.start()
        self.assertNotIn("present layout", self.cloud.stop()[1])

    def test_it_is_taken_up_again_where_it_was_interrupted(self):
        self.cloud.sql("CREATE INDEX ON documents_20240229(received)")
        self.cloud.start()
        self.assertEqual(self.indexed(), list(self.WEEKS))

    def test_it_is_interrupted_by_the_signal_that_ends_the_program(self):
        adding = self.session("LOCK TABLE documents_20240307 IN ROW EXCLUSIVE MODE")
        starting = threading.Thread(target=self.assertRaises, args=(AssertionError, self.cloud.start))
        starting.start()
        self.until(lambda: self.backends("wait_event_type = 'Lock'"))
        self.cloud.process.send_signal(signal.SIGTERM)
        starting.join()
        self.assertEqual(self.cloud.process.returncode, -signal.SIGTERM)
        self.tell(adding, "COMMIT")
        self.cloud.start()
        self.assertEqual(self.indexed(), list(self.WEEKS))

    def test_it_may_take_longer_than_an_answer(self):
        adding = self.session("LOCK TABLE documents_20240307 IN ROW EXCLUSIVE MODE")
        starting = threading.Thread(target=self.cloud.start, args=("--store-time", "5"))
        starting.start()
        self.until(lambda: self.backends("wait_event_type = 'Lock'"
                                         " AND clock_timestamp() - query_start > interval '6 s'"))
        self.assertEqual(self.indexed(), ["documents_20240229"])
        # Who stores in another week waits for nothing meanwhile.
        self.tell(adding, "LOCK TABLE documents, documents_20240229 IN ROW EXCLUSIVE MODE", "COMMIT")
        starting.join()
        self.assertEqual(self.indexed(), list(self.WEEKS))
        self.assertEqual(len(self.cloud.list(HISTORY)), 4)

    def test_a_week_that_another_process_drops_meanwhile_needs_none(self):
        dropping = self.session("LOCK TABLE documents, documents_20240229")
        starting = threading.Thread(target=self.cloud.start)
        starting.start()
        self.until(lambda: self.backends("wait_event_type = 'Lock'"))
        self.tell(dropping, "DROP TABLE documents_20240229", "COMMIT")
        starting.join()
        self.assertEqual(self.indexed(), ["documents_20240307"])
        self.assertEqual([row["time"] for row in self.cloud.list(HISTORY)],
                         ["2019-01-01 00:00:00", "2024-03-13 07:08:09"])

    def test_processes_may_start_together(self):
        locked = self.session("LOCK TABLE documents_20240229 IN ROW EXCLUSIVE MODE")
        other = Cloud.__new__(Cloud)
        other.folder = tempfile.mkdtemp(prefix="corvenna-cloud-")
        other.database = self.cloud.database
        starting = [threading.Thread(target=cloud.start) for cloud in (self.cloud, other)]
        for thread in starting:
            thread.start()
        self.until(lambda: len(self.backends("wait_event_type = 'Lock'")) == 2)
        self.tell(locked, "COMMIT")
        for thread in starting:
            thread.join()
        self.addCleanup(other.close)
        self.assertEqual(other.post("/realdata/SN1", real_data()).json["known"], "3")
        self.assertEqual(self.indexed(), list(self.WEEKS))


class LongLists(CloudTest):
    def test_more_rows_than_are_fetched_at_a_time_come_whole(self):
        have = 0
        for count in (255, 256, 257, 513):
            for number in range(have, count):
                self.cloud.post("/realdata/SN1", real_data(sample_time(number)))
            have = count
            table = self.cloud.api("GET", "/gateways/SN1/samples.csv", points="02010001").text
            self.assertEqual([line[:19] for line in table.splitlines()[1:]],
                             [sample_time(number) for number in range(count)])


class SentTogether(CloudTest):
    """What needs no answer waits until something does, or the commit."""

    def test_any_number_of_changes_arrives(self):
        # The places of points and four changes more: one below, at and above what waits at most.
        for count in (251, 252, 253):
            nodes = ",".join('{"dblink":"0201%04x","name":"Ua","unit":"V","value":"1.0"}' % point
                             for point in range(count))
            document = ('{"logdt":"%s","device":[{"id":1,"channel":2,"node":[%s]}]}'
                        % (sample_time(count), nodes))
            answer = self.cloud.post("/realdata/SN1", document)
            self.assertEqual((answer.status, answer.json["stored"]), (200, str(count)))
            self.assertEqual(self.cloud.sql(
                "SELECT count(*), count(DISTINCT point) FROM layout_points WHERE layout ="
                " (SELECT max(id) FROM layouts)"), [(count, count)])
            self.assertEqual(self.cloud.sql("SELECT newest FROM layouts ORDER BY id DESC LIMIT 1"),
                             self.cloud.sql("SELECT newest FROM gateways"))

    def test_one_that_fails_undoes_its_request_and_no_other(self):
        self.cloud.post("/realdata/SN1", real_data())
        self.cloud.sql("ALTER TABLE documents ADD CHECK (\"values\" NOT LIKE '666%')")
        for number in range(2):
            before = self.cloud.list("/gateways/SN1")["last_contact"]
            bad = real_data(sample_time(number), value="666.000")
            self.assertEqual(self.cloud.post("/realdata/SN1", bad).status, 500)
            self.assertEqual(self.cloud.list("/gateways/SN1")["last_contact"], before)
            good = self.cloud.post("/realdata/SN1", real_data(sample_time(number)))
            self.assertEqual((good.status, good.json["stored"]), (200, "3"))
        self.assertEqual(len(self.cloud.list(HISTORY)), 3)


class Away(ServerTest):
    """The server goes, and comes back."""

    def setUp(self):
        super().setUp()
        self.addCleanup(self.come_back)

    def come_back(self):
        if self.server.process.poll() is not None:
            self.server.start()

    def until_ready(self):
        self.until(lambda: self.cloud.get("/readyz").status == 200)

    def test_requests_are_answered_503_until_it_is_back_and_then_all_goes_on(self):
        self.cloud.post("/realdata/SN1", real_data(sample_time(1)))
        self.cloud.offer(content=b"content")
        path = "/" + self.cloud.list("/gateways/SN1/files")[0]["file"]
        self.server.stop()
        for answer in (self.cloud.post("/realdata/SN1", real_data(sample_time(2))),
                       self.cloud.get("/calldata/SN1"), self.cloud.get(path),
                       self.cloud.api("GET", "/gateways"), self.cloud.get("/readyz"),
                       self.cloud.recall("2024-03-05 07:00:00", "2024-03-05 08:00:00")):
            self.assertEqual((answer.status, answer.headers["Retry-After"]), (503, "30"))
        self.assertEqual(self.cloud.get("/healthz").status, 200)
        self.assertIn("corvenna_store_up 0",
                      self.cloud.request("GET", "/metrics", scheme="admin").text)
        self.server.start()
        self.until_ready()
        self.assertEqual(self.cloud.post("/realdata/SN1", real_data(sample_time(2))).status, 426)
        self.assertEqual(len(self.cloud.list(HISTORY)), 2)
        self.assertEqual(self.cloud.get(path).body, b"content")

    def test_a_download_that_is_on_its_way_ends_and_is_taken_up_again(self):
        content = os.urandom(6 << 20)  # more than the system takes on its own
        self.cloud.offer(content=content)
        path = "/" + self.cloud.list("/gateways/SN1/files")[0]["file"]
        connection = self.cloud.connection()
        self.addCleanup(connection.close)
        connection.connect()
        connection.sock.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
        connection.request("GET", path)
        answer = connection.getresponse()
        received = answer.read(1000)
        self.server.stop()
        try:
            received += answer.read()
        except http.client.IncompleteRead as cut:
            received += cut.partial
        self.assertTrue(content.startswith(received))
        self.assertEqual(self.cloud.get("/healthz").status, 200)
        self.server.start()
        self.until_ready()
        rest = self.cloud.get(path, Range=f"bytes={len(received) - 1}-")
        self.assertEqual((rest.status, received[:-1] + rest.body), (206, content))

    def test_what_was_answered_before_a_crash_of_the_server_is_there_once(self):
        answered, stop = set(), threading.Event()

        def upload(part):
            number = part
            while not stop.is_set():
                try:
                    status = self.cloud.post("/realdata/SN1", real_data(sample_time(number))).status
                except (OSError, http.client.HTTPException):
                    continue
                if status == 200:  # else it is sent again, as gateways do
                    answered.add(sample_time(number))
                    number += 3

        threads = [threading.Thread(target=upload, args=(part,)) for part in range(3)]
        for thread in threads:
            thread.start()
        for count in (20, 60):
            deadline = time.monotonic() + ANSWER_SECONDS
            while len(answered) < count and time.monotonic() < deadline:
                time.sleep(0.01)
            self.server.stop(signal.SIGQUIT)
            self.server.start()
        self.until_ready()
        stop.set()
        for thread in threads:
            thread.join()
        times = [row["time"] for row in self.cloud.list(HISTORY, limit=20000)]
        self.assertEqual(len(times), len(set(times)))
        self.assertLessEqual(answered, set(times))
        self.assertGreaterEqual(len(answered), 60)


class Replicated(CloudTest):
    """Where the server waits for a standby before it has committed."""

    def wait_for(self, standby):
        postgres_server.shared().wait_for(standby)

    def test_a_commit_whose_wait_is_cut_short_is_not_told_as_done(self):
        self.addCleanup(self.wait_for, "")
        self.wait_for("nobody")
        statuses = []

        def upload():  # the server takes its time to know for whom it waits
            deadline = time.monotonic() + ANSWER_SECONDS
            while set(statuses) <= {200} and time.monotonic() < deadline:
                statuses.append(self.cloud.post("/realdata/SN1", real_data(
                    sample_time(len(statuses)))).status)

        uploads = threading.Thread(target=upload)
        uploads.start()
        while uploads.is_alive():
            self.cloud.sql("SELECT pg_cancel_backend(pid) FROM pg_stat_activity"
                           " WHERE wait_event = 'SyncRep'")
        uploads.join()
        self.assertEqual(statuses[-1], 503)
        self.wait_for("")
        last = sample_time(len(statuses) - 1)
        self.until(lambda: self.cloud.post("/realdata/SN1", real_data(last)).status == 200)
        self.assertEqual(samples_of(self.cloud), len(statuses))


class Waits(ServerTest):
    """A server that does not answer in time is given up."""

    def setUp(self):
        super().setUp()  # the tables are made at leisure
        self.cloud.stop()
        self.until(lambda: not self.backends())  # what served it ends by itself, behind it
        self.cloud.start("--store-time", "3")

    def test_a_commit_does_not_wait_for_an_absent_standby_for_ever(self):
        self.wait_for_nobody()
        statuses = [200]
        while statuses[-1] == 200:  # the server takes a moment to know for whom it waits
            answer = self.cloud.post("/realdata/SN1", real_data(sample_time(len(statuses))))
            statuses.append(answer.status)
        self.assertEqual((answer.status, answer.headers["Retry-After"]), (503, "30"))
        # The server was told, so that nothing there waits any more either.
        self.until(lambda: not self.backends("wait_event = 'SyncRep'"))
        self.server.wait_for("")
        last = sample_time(len(statuses) - 1)
        self.until(lambda: self.cloud.post("/realdata/SN1", real_data(last)).status == 200)
        self.assertEqual(samples_of(self.cloud), len(statuses) - 1)

    def test_a_connection_that_does_nothing_any_more_is_left_for_another(self):
        for answered in (lambda: self.cloud.post("/realdata/SN1", real_data(sample_time(1))).status,
                         lambda: self.cloud.api("GET", HISTORY).status):
            self.until(lambda: answered() == 200)
        self.freeze(*self.backends())
        self.assertEqual(self.cloud.post("/realdata/SN1", real_data(sample_time(2))).status, 503)
        self.assertEqual(self.cloud.api("GET", HISTORY).status, 503)
        self.until(lambda: self.cloud.post(
            "/realdata/SN1", real_data(sample_time(2))).status == 200)
        self.until(lambda: self.cloud.api("GET", HISTORY).status == 200)
        self.assertEqual(len(self.cloud.list(HISTORY)), 2)


class EndOfWaits(ServerTest):
    """The end of a cloud waits for no server."""

    options = ("--store-time", "3600")

    def upload(self):
        """Goes on in the background until the cloud has ended."""
        def upload():
            try:
                for number in range(86400):
                    self.cloud.post("/realdata/SN1", real_data(sample_time(number)))
            except (OSError, http.client.HTTPException):
                pass

        thread = threading.Thread(target=upload, daemon=True)
        thread.start()
        return thread

    def test_not_while_a_commit_waits_for_an_absent_standby(self):
        self.wait_for_nobody()
        upload = self.upload()
        self.until(lambda: self.backends("wait_event = 'SyncRep'"))
        self.assertEqual(self.cloud.stop()[0], 0)
        upload.join()
        self.until(lambda: not self.backends())

    def test_not_while_the_server_does_nothing_at_all(self):
        self.cloud.post("/realdata/SN1", real_data())
        locked = self.server.session(self.cloud.database)
        self.addCleanup(locked.communicate, "ROLLBACK;\n")
        locked.stdin.write("BEGIN; LOCK gateways IN EXCLUSIVE MODE;\n")
        locked.stdin.flush()
        upload = self.upload()
        self.until(lambda: self.backends("wait_event_type = 'Lock'"))
        self.freeze(self.server.process.pid, *self.backends())
        self.assertEqual(self.cloud.stop()[0], 0)
        upload.join()


class Downloads(ServerTest):
    def test_one_goes_on_while_another_file_is_being_offered(self):
        answers = self.answers_while_served(
            lambda: self.cloud.api("POST", "/gateways/SN2/files", b"other", name="file.bin", type=0))
        self.assertEqual([answer.status for answer in answers], [201])

    def test_one_goes_on_while_another_file_is_being_withdrawn(self):
        number = self.cloud.offer(sn="SN2")["id"]
        answers = self.answers_while_served(
            lambda: self.cloud.api("DELETE", f"/gateways/SN2/files/{number}"))
        self.assertEqual([answer.status for answer in answers], [204])

    def answers_while_served(self, change):
        """Downloads while the change cannot go on, because somebody keeps it from the table."""
        self.cloud.offer(content=b"here")
        path = "/" + self.cloud.list("/gateways/SN1/files")[0]["file"]
        locked = self.server.session(self.cloud.database)
        self.addCleanup(locked.communicate)
        locked.stdin.write("BEGIN; LOCK file_pieces IN SHARE MODE;\n\\echo locked\n")
        locked.stdin.flush()
        self.assertEqual(locked.stdout.readline().strip(), "locked")
        answers = []
        changing = threading.Thread(target=lambda: answers.append(change()))
        changing.start()
        self.until(lambda: self.backends("wait_event_type = 'Lock'"))
        self.assertEqual(self.cloud.get(path).body, b"here")
        self.assertEqual(answers, [])
        locked.communicate("ROLLBACK;\n")
        changing.join()
        return answers


class Locks(ServerTest):
    """What a process has locked while it waits for something else, others may want."""

    def post(self, sn, when):
        """In the background. Returns what becomes a list of the answer's status."""
        statuses = []
        thread = threading.Thread(target=lambda: statuses.append(
            self.cloud.post(f"/realdata/{sn}", real_data(when)).status))
        thread.start()
        self.posts.append(thread)
        return statuses

    def setUp(self):
        super().setUp()
        self.posts = []
        self.said = len(self.server.said())
        for number in range(3):
            self.cloud.post(f"/realdata/SN{number}", real_data())

    def assert_done(self, *statuses):
        for thread in self.posts:
            thread.join()
        self.assertEqual(statuses, ([200],) * len(statuses))
        self.assertNotIn("deadlock detected", self.server.said()[self.said:])

    def test_a_new_week_is_made_before_anything_is_locked(self):
        session = self.session("LOCK layouts IN SHARE MODE")
        status = self.post("SN1", "2024-03-20 07:08:09")
        self.until(lambda: self.backends("wait_event_type = 'Lock'"))
        # Another process, whose documents go to another new week, comes through.
        self.tell(session, "SELECT keep_week(2900)", "COMMIT")
        self.assert_done(status)

    def test_gateways_are_locked_in_the_order_of_their_numbers(self):
        first = self.session("SELECT 1 FROM gateways WHERE sn = 'SN0' FOR UPDATE")
        other = self.session("SELECT 1 FROM gateways WHERE sn = 'SN1' FOR UPDATE")
        statuses = [self.post("SN0", sample_time(1))]
        self.until(lambda: self.backends("wait_event_type = 'Lock'"))
        for sn in ("SN2", "SN1"):  # they share a transaction behind that
            statuses.append(self.post(sn, sample_time(1)))
        self.tell(first, "COMMIT")
        self.until(lambda: statuses[0] and self.backends("wait_event_type = 'Lock'"))
        self.tell(other, "SELECT 1 FROM gateways WHERE sn = 'SN2' FOR UPDATE NOWAIT", "COMMIT")
        self.assert_done(*statuses)


    def test_of_requests_that_share_a_transaction_only_the_one_that_fails_is_refused(self):
        number = self.cloud.sql("SELECT id FROM gateways WHERE sn = 'SN1'")[0][0]
        self.cloud.sql(f"ALTER TABLE documents ADD CHECK (gateway <> {number}) NOT VALID")
        first = self.session("SELECT 1 FROM gateways WHERE sn = 'SN0' FOR UPDATE")
        statuses = [self.post("SN0", sample_time(1))]
        self.until(lambda: self.backends("wait_event_type = 'Lock'"))
        statuses += [self.post(sn, sample_time(1)) for sn in ("SN1", "SN2")]
        self.tell(first, "COMMIT")
        for thread in self.posts:
            thread.join()
        self.assertEqual(statuses, [[200], [500], [200]])

    def test_what_one_is_deleting_of_a_forgotten_gateway_another_leaves_to_it(self):
        gone = 1 << 40  # the number of a gateway of which only documents are left
        self.cloud.sql('INSERT INTO documents(gateway, time, again, layout, sent, received, "values")'
                       f" SELECT {gone}, time, 0, 1, 0, 0, '' FROM generate_series(1, 300) AS time")
        self.cloud.sql(f"INSERT INTO forgotten VALUES({gone})")
        # As another process does it, with the slice that comes first.
        other = self.session(
            "SELECT 1 FROM forgotten FOR UPDATE",
            "DELETE FROM documents WHERE (gateway, time, id) IN (SELECT gateway, time, id"
            f" FROM documents WHERE gateway = {gone} LIMIT 200)")
        self.cloud.api("DELETE", "/gateways/SN1")
        self.until(lambda: self.backends("wait_event_type = 'Lock'") or
                   self.cloud.sql("SELECT gateway FROM forgotten") == [(gone,)])
        self.tell(other, "COMMIT")
        self.cloud.api("DELETE", "/gateways/SN2")
        self.until(lambda: not self.cloud.sql("SELECT 1 FROM forgotten"))
        self.assertEqual(self.cloud.sql("SELECT count(*), min(time) FROM documents"),
                         [(1, 1709622489)])  # of SN0


class Folders(unittest.TestCase):
    def test_a_store_may_be_a_folder_of_its_own(self):
        with tempfile.TemporaryDirectory() as folder:
            cloud = Cloud.__new__(Cloud)
            cloud.folder = tempfile.mkdtemp(prefix="corvenna-cloud-")
            store = os.path.join(folder, "store")
            cloud.start("--store", store)
            self.addCleanup(cloud.close)
            cloud.offer()
            self.assertEqual(len(os.listdir(os.path.join(store, "files"))), 1)
            self.assertFalse(os.path.exists(os.path.join(cloud.folder, "cloud.db")))
            again = subprocess.run(command() + ["--data", os.path.join(folder, "data"), "--admin", "0",
                                                "--http", "0", "--store", store],
                                   capture_output=True, text=True, timeout=ANSWER_SECONDS, check=False)
            self.assertEqual(again.returncode, 1)
            self.assertIn("another server is at work", again.stderr)


if __name__ == "__main__":
    unittest.main()
