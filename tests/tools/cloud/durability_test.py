"""What was answered is on disk; nothing comes twice; the end is orderly."""

import http.client
import os
import random
import signal
import socket
import sqlite3
import ssl
import subprocess
import threading
import time
import unittest

from cloud_server import (ANSWER_SECONDS, Cloud, CloudTest, alarm_data, command, file_status,
                          real_data, request_bytes)


def sample_time(number):
    return f"2024-03-{1 + number // 86400:02} {number // 3600 % 24:02}:{number // 60 % 60:02}:" \
           f"{number % 60:02}"


class Kill(CloudTest):
    def upload_until_killed(self, first, count):
        """Uploads samples one after the other. The server is killed soon after that many answers,
        wherever it is then. Returns the numbers that were answered, and the first that was not."""
        answered = []
        number = first
        killer = threading.Timer(random.uniform(0, 0.02), self.cloud.process.kill)
        try:
            while True:
                status = self.cloud.post("/realdata/SN1", real_data(sample_time(number))).status
                self.assertEqual(status, 200)
                answered.append(number)
                number += 1
                if len(answered) == count:
                    killer.start()
        except (OSError, http.client.HTTPException):
            self.assertGreaterEqual(len(answered), count)
        killer.join()
        return answered, number

    def test_every_answered_sample_is_there_once(self):
        random.seed(4)
        answered = []
        following = 0
        for count in (3, 7, 12, 20, 5, 9):
            # The last one may be stored without an answer: it is sent again, as gateways do.
            fresh, following = self.upload_until_killed(following, count)
            answered += fresh
            self.cloud.kill()
            self.cloud.start()
        history = self.cloud.list("/gateways/SN1/points/02010001/history", limit=20000)
        times = [row["time"] for row in history]
        self.assertEqual(len(times), len(set(times)))
        self.assertLessEqual({sample_time(number) for number in answered}, set(times))
        self.assertLessEqual(set(times) - {sample_time(number) for number in answered},
                             {sample_time(following)})

    def test_everything_else_is_there_too(self):
        self.cloud.post("/alarmdata/SN1", alarm_data(2))
        self.cloud.recall("2024-03-05 07:00:00", "2024-03-05 08:00:00")
        md5 = self.cloud.offer(content=b"begun", name="begun.bin")["md5"]
        self.cloud.offer(content=b"content", name="waiting.bin")
        self.cloud.send("PUT", "/downfile/SN1", file_status(md5, 1))
        self.cloud.kill()
        self.cloud.start()
        self.assertEqual(len(self.cloud.list("/gateways/SN1/alarms")), 2)
        self.assertEqual(len(self.cloud.get("/calldata/SN1").json["node"]), 1)
        files = self.cloud.list("/gateways/SN1/files")
        self.assertEqual([file["state"] for file in files], ["offered", "begun"])
        self.assertEqual(self.cloud.request("GET", "/" + files[0]["file"]).body, b"content")
        self.assertEqual(self.cloud.post("/realdata/SN1", real_data()).status, 426)

    def test_contents_without_a_line_are_cleaned_up(self):
        stray = os.path.join(self.cloud.folder, "files", "0123456789ab")
        self.cloud.kill()
        with open(stray, "w") as file:
            file.write("left behind")
        self.cloud.start()
        self.assertFalse(os.path.exists(stray))

    def test_the_database_keeps_a_log_that_is_written_through(self):
        with sqlite3.connect(os.path.join(self.cloud.folder, "cloud.db")) as database:
            self.assertEqual(database.execute("PRAGMA journal_mode").fetchone(), ("wal",))

    def test_the_readings_can_be_read_while_it_runs(self):
        self.cloud.post("/realdata/SN1", real_data())
        with sqlite3.connect(os.path.join(self.cloud.folder, "cloud.db")) as database:
            row = database.execute("SELECT sn, channel, device, dblink, name, unit, time, value"
                                   " FROM readings ORDER BY dblink").fetchone()
        self.assertEqual(row, ("SN1", 2, 1, "02010001", "Ua", "V", "2024-03-05 07:08:09",
                               "229.870"))


class ManyAtOnce(CloudTest):
    def test_gateways_that_upload_together_lose_nothing(self):
        def upload(number):
            for second in range(20):
                statuses.append(self.cloud.post(f"/realdata/SN{number}",
                                                real_data(sample_time(second))).status)

        statuses = []
        threads = [threading.Thread(target=upload, args=(number,)) for number in range(8)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(statuses, [200] * 160)
        for number in range(8):
            self.assertEqual(len(self.cloud.list(f"/gateways/SN{number}/points/02010001/history")),
                             20)


class Certificate(CloudTest):
    def certificate(self):
        return ssl.get_server_certificate(("127.0.0.1", self.cloud.ready["https"]))

    def test_it_is_made_once_and_kept(self):
        first = self.certificate()
        self.cloud.stop()
        self.cloud.start()
        self.assertEqual(self.certificate(), first)

    def test_it_names_this_machine(self):
        context = ssl.create_default_context(cadata=self.certificate())
        for name in ("localhost", "127.0.0.1"):
            with socket.create_connection(("127.0.0.1", self.cloud.ready["https"]),
                                          ANSWER_SECONDS) as plain:
                context.wrap_socket(plain, server_hostname=name).close()

    def test_nobody_else_reads_the_key(self):
        mode = os.stat(os.path.join(self.cloud.folder, "key.pem")).st_mode
        self.assertEqual(mode & 0o777, 0o600)

    def test_a_given_one_is_used(self):
        theirs = [os.path.join(self.cloud.folder, name) for name in ("certificate.pem", "key.pem")]
        expected = self.certificate()
        other = Cloud("--https", "0", "--certificate", theirs[0], "--key", theirs[1])
        self.addCleanup(other.close)
        self.assertEqual(ssl.get_server_certificate(("127.0.0.1", other.ready["https"])), expected)
        self.assertFalse(os.path.exists(os.path.join(other.folder, "key.pem")))


class Start(CloudTest):
    def run_to_the_end(self, *options):
        return subprocess.run(command() + list(options), capture_output=True, text=True,
                              timeout=ANSWER_SECONDS)

    def test_a_second_server_on_one_folder_is_refused(self):
        ended = self.run_to_the_end("--data", self.cloud.folder, "--admin", "0", "--http", "0")
        self.assertEqual(ended.returncode, 1)
        self.assertIn("another server is at work", ended.stderr)

    def test_a_port_in_use_is_refused(self):
        folder = os.path.join(self.cloud.folder, "other")
        ended = self.run_to_the_end("--data", folder, "--admin", "0", "--http",
                                    str(self.cloud.ready["http"]))
        self.assertEqual(ended.returncode, 1)
        self.assertIn("cannot listen", ended.stderr)

    def test_a_certificate_that_is_none_is_refused(self):
        folder = os.path.join(self.cloud.folder, "other")
        ended = self.run_to_the_end("--data", folder, "--admin", "0", "--https", "0",
                                    "--certificate", "/dev/null", "--key", "/dev/null")
        self.assertEqual(ended.returncode, 1)
        self.assertIn("cannot use the certificate", ended.stderr)

    def test_bad_command_lines_are_refused(self):
        for options in (["--http", "65536"], ["--http", "x"], ["--prefix", "iot"],
                        ["--prefix", "/iot/"], ["--prefix", "/"], ["--fault", "realdata"],
                        ["--fault", "any:status=99"], ["--key", "k.pem"],
                        ["--certificate", "c.pem"], ["--unknown"]):
            self.assertEqual(self.run_to_the_end(*options).returncode, 2, options)

    def test_it_says_that_it_listens_on_loopback(self):
        _, said = self.cloud.stop()
        self.assertIn("reachable from this machine only", said)

    def test_it_says_when_it_does_not(self):
        cloud = Cloud("--address", "0.0.0.0")
        self.addCleanup(cloud.close)
        _, said = cloud.stop()
        self.assertNotIn("this machine only", said)

    def test_numbers_have_bounds(self):
        for option, good, bad in (("--max-body", "1", "0"), ("--max-inflated", "1", "0"),
                                  ("--max-file", "1073741824", "1073741825"),
                                  ("--max-connections", "100000", "100001"),
                                  ("--max-connections-per-address", "1", "0"),
                                  ("--head-time", "1", "0"), ("--body-time", "3600", "3601"),
                                  ("--idle-time", "1", "-1")):
            ended = self.run_to_the_end(option, bad, "--routes")
            self.assertEqual(ended.returncode, 2, (option, bad))
            self.assertIn(option, ended.stderr)
            self.assertEqual(self.run_to_the_end(option, good, "--routes").returncode, 0,
                             (option, good))

    def test_a_ready_file_that_cannot_be_written_ends_it_before_it_is_ready(self):
        folder = os.path.join(self.cloud.folder, "other")
        for path in ("/nothing/here", folder):
            ended = self.run_to_the_end("--data", folder, "--admin", "0", "--http", "0",
                                        "--ready-file", path)
            self.assertEqual((ended.returncode, ended.stdout), (1, ""), path)
            self.assertIn("cannot write the ready file " + path, ended.stderr)

    def test_messages_carry_their_time(self):
        _, said = self.cloud.stop()
        for line in said.splitlines():
            self.assertRegex(line, r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z corvenna-cloud: ")

    def test_the_ready_file_holds_the_ready_line(self):
        path = os.path.join(self.cloud.folder, "ready")
        cloud = Cloud("--ready-file", path)
        self.addCleanup(cloud.close)
        deadline = time.monotonic() + ANSWER_SECONDS
        while not os.path.exists(path) and time.monotonic() < deadline:
            pass
        with open(path) as file:
            self.assertIn(f'"admin":{cloud.ready["admin"]},', file.read())


class Stop(CloudTest):
    def test_it_ends_in_order_on_either_signal(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            status, _ = self.cloud.stop(number)
            self.assertEqual(status, 0)
            self.cloud.start()

    def test_it_does_not_wait_for_idle_slow_or_late_connections(self):
        self.cloud.fault("realdata", "drip")
        self.cloud.fault("alarmdata", "delay", value=3600000)
        peers = [socket.create_connection(("127.0.0.1", self.cloud.ready["http"]), ANSWER_SECONDS)
                 for _ in range(3)]
        self.addCleanup(lambda: [peer.close() for peer in peers])
        peers[0].sendall(request_bytes("POST", "/realdata/SN1", real_data().encode()))
        peers[1].sendall(request_bytes("POST", "/alarmdata/SN1", alarm_data().encode()))
        self.assertEqual(peers[0].recv(1), b"H")  # the answer has begun
        while not self.cloud.list("/gateways") or not self.cloud.list("/gateways/SN1/alarms"):
            pass
        started = time.monotonic()
        status, _ = self.cloud.stop()
        self.assertEqual(status, 0)
        # The first of them to end by itself would be the idle one, after 75 seconds.
        self.assertLess(time.monotonic() - started, 60)


if __name__ == "__main__":
    unittest.main()
