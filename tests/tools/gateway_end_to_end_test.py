"""The gateway as a program, against the cloud as a program.

Started with CORVENNA_BUILD (a build folder) and CORVENNA_EMULATOR (the words before every program,
none for a native build); enters the sandbox by itself.
"""

import os
import pty
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../tools/demo"))

import plant  # noqa: E402

BUILD = os.path.abspath(os.environ["CORVENNA_BUILD"])
EMULATOR = os.environ.get("CORVENNA_EMULATOR", "").split()
PATIENCE = 120
SPEED = 60
WAVE = ["--source", "wave", "--wave-size", "1x1x1"]
NEVER = ["--alarm-data", "-1", "--heartbeat", "-1", "--recall", "-1"]


class Plant(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="corvenna-test-")
        shutil.rmtree("/quorvane/Config")
        os.mkdir("/quorvane/Config")
        self.cloud = plant.Cloud(BUILD, self.folder, emulator=EMULATOR)
        self.gateway = plant.Gateway(BUILD, self.folder, EMULATOR)
        self.addCleanup(self.end)

    def end(self):
        for process in (self.gateway, self.cloud):
            if process.is_running():
                process.kill()

    def configure(self, source=(), options=()):
        self.cloud.start()
        self.gateway.configure(self.cloud, source or WAVE, options)

    def run_gateway(self, source=(), options=()):
        self.gateway.prepare(SPEED, source or WAVE, options)
        self.gateway.start()

    def run_once(self, source=(), options=()):
        """Returns the exit code."""
        self.run_gateway(source, [*options, "--once"])
        return self.gateway.process.wait(PATIENCE)

    def times_in_cloud(self):
        return [row[0] for row in self.cloud.database().execute(
            "SELECT DISTINCT time FROM readings ORDER BY time")]

    def count(self, sql):
        return self.gateway.history().execute(sql).fetchone()[0]

    def wait(self, what, check):
        return plant.wait_for(what, check, PATIENCE, self.gateway.check_running)

    def offer(self, seconds):
        """A file whose download takes a while."""
        self.cloud.of_gateway("/files?name=notes.txt&type=9&path=/tmp", body=b"Notes\n",
                              method="POST")
        self.cloud.add_fault("file", "delay", seconds * 1000)

    def check_offer_is_done(self):
        self.assertEqual(self.cloud.of_gateway("/files")[0]["state"], "done")
        with open("/tmp/notes.txt", "rb") as file:
            self.assertEqual(file.read(), b"Notes\n")

    def wait_for_samples(self, count):
        self.wait(f"{count} samples", lambda: len(self.times_in_cloud()) >= count)


class Once(Plant):
    def test_one_cycle_sends_one_sample_and_leaves_nothing(self):
        self.configure()
        self.assertEqual(self.run_once(), 0)
        self.assertEqual(len(self.times_in_cloud()), 1)
        self.assertIn(f"registered at http://127.0.0.1:{self.cloud.port} as GW000001",
                      self.gateway.said())

    def test_without_a_cloud_it_fails_and_the_next_cycle_sends_both_samples(self):
        self.configure()
        self.cloud.kill()
        self.assertEqual(self.run_once(), 1)
        self.cloud.start()
        self.run_once()
        self.assertEqual(len(self.times_in_cloud()), 2)
        self.assertEqual(self.count("SELECT count(*) FROM sample WHERE state = 0"), 0)

    def test_a_recall_is_served_in_the_cycle(self):
        self.configure()
        self.run_once()
        time_text = self.times_in_cloud()[0]
        self.cloud.of_gateway("/recalls", body={"start": time_text, "end": time_text})
        self.assertEqual(self.run_once(), 0)
        self.assertEqual(self.cloud.of_gateway("/recalls")[0]["state"], "served")

    def test_a_file_on_offer_is_fetched_in_the_cycle(self):
        self.configure()
        self.offer(seconds=2)
        self.assertEqual(self.run_once(), 0)
        self.check_offer_is_done()

    def test_recorded_values_are_sent_as_they_stand_in_the_file(self):
        path = os.path.join(self.folder, "recorded.csv")
        with open(path, "w", encoding="utf-8") as file:
            file.write("time,Meter/Ua [V],Meter/Ub [V],Pump/Flow [l/s]\n1,229.5,230.25,\n")
        source = ["--source", path]
        self.configure(source)
        self.assertEqual(self.run_once(source), 0)
        points = {point["dblink"]: point for point in self.cloud.of_gateway("/points")}
        values = dict(self.cloud.database().execute("SELECT dblink, value FROM readings"))
        self.assertEqual(values["01010000"], "229.500")
        self.assertEqual(values["01010001"], "230.250")
        self.assertEqual(values["01020100"], "0")  # the pump did not answer
        self.assertEqual(points["01010000"]["name"], "Ua")
        self.assertEqual(points["01010000"]["unit"], "V")

    def test_names_of_the_forwarding_table_are_sent_when_it_is_chosen(self):
        self.configure(options=["--forward-channel", "1"])
        self.assertEqual(self.run_once(), 0)
        names = {point["name"] for point in self.cloud.of_gateway("/points")}
        self.assertIn("Wave1-1.Wave 1", names)

    def test_a_second_gateway_is_kept_off_the_same_folder(self):
        self.configure()
        self.run_gateway()
        self.wait_for_samples(1)
        second = plant.Gateway(BUILD, self.folder, EMULATOR)
        second.log += "-second"
        second.prepare(SPEED, WAVE)
        second.start()
        self.assertEqual(second.process.wait(PATIENCE), 1)
        self.assertIn("another gateway is at work", second.said())

    def test_without_a_configuration_it_says_so(self):
        self.assertEqual(self.run_once(), 1)
        self.assertIn("corvenna-gateway: the plug-in could not load its configuration",
                      self.gateway.said())


class Stopping(Plant):
    def check_stops_on(self, number):
        self.configure()
        self.run_gateway()
        self.wait_for_samples(1)
        started = time.monotonic()
        self.gateway.process.send_signal(number)
        self.assertEqual(self.gateway.process.wait(PATIENCE), 0)
        self.assertIn("stopped", self.gateway.said())
        return time.monotonic() - started

    def test_sigint_ends_it_cleanly(self):
        self.check_stops_on(signal.SIGINT)

    def test_sigterm_ends_it_cleanly(self):
        self.check_stops_on(signal.SIGTERM)

    def test_a_download_is_finished_first(self):
        self.configure()
        self.offer(seconds=4)
        self.run_gateway()
        self.wait("a download", lambda: self.cloud.of_gateway("/files")[0]["begun"])
        self.assertEqual(self.gateway.stop(PATIENCE), 0)
        self.check_offer_is_done()

    def test_a_broken_connection_is_no_reason_to_end(self):
        self.configure()
        self.run_gateway()
        self.wait_for_samples(1)
        self.gateway.process.send_signal(signal.SIGPIPE)
        self.wait_for_samples(len(self.times_in_cloud()) + 1)

    def test_a_server_that_hangs_does_not_hold_it(self):
        self.configure()
        self.cloud.add_fault("realdata", "delay", 60000)
        self.run_gateway()
        self.wait("an upload that hangs",
                  lambda: os.path.exists(f"{self.gateway.data}/spool") and any(
                      "-S" in name for name in os.listdir(f"{self.gateway.data}/spool")))
        self.gateway.process.send_signal(signal.SIGTERM)
        self.assertEqual(self.gateway.process.wait(30), 0)
        self.assertIn("nothing is lost", self.gateway.said())


class BadServer(Plant):
    """Whatever the server does for a while, every sample is there in the end."""

    def check_recovers_from(self, *faults):
        self.configure(options=NEVER)
        for fault in faults:
            self.cloud.add_fault(*fault)
        self.run_gateway()
        self.wait("samples", lambda: os.path.exists(f"{self.gateway.data}/history.db") and
                  self.count("SELECT count(*) FROM sqlite_master WHERE name = 'sample'") and
                  self.count("SELECT count(*) FROM sample") >= 3)
        self.cloud.clear_faults()
        self.check_everything_arrives()

    def check_everything_arrives(self):
        last = int(time.time())
        self.wait("everything to arrive", lambda: self.count(
            f"SELECT count(*) FROM sample WHERE state = 0 AND time <= {last}") == 0)
        self.assertEqual(self.gateway.stop(PATIENCE), 0)
        arrived = self.count("SELECT count(*) FROM sample WHERE state = 1")
        self.assertEqual(len(self.times_in_cloud()), arrived)
        self.assertGreaterEqual(arrived, 3)

    def test_every_fault_of_the_menu(self):
        self.cloud = plant.Cloud(BUILD, self.folder, https=True, emulator=EMULATOR)
        self.configure(options=NEVER)
        values = {"delay": 100, "drip": 1}
        for kind in self.cloud.ask("/api/fault-kinds")["kinds"]:
            name = kind["name"]
            exchange = "connection" if name.startswith("tls-") else "realdata"
            self.cloud.add_fault(exchange, name, values.get(name), count=1)
        self.run_gateway()
        self.wait("all faults to happen", lambda: not self.cloud.ask("/api/faults"))
        self.check_everything_arrives()

    def test_refused_uploads(self):
        self.check_recovers_from(("realdata", "status", 500))

    def test_refused_registration(self):
        self.check_recovers_from(("gateway", "status", 503))

    def test_resets(self):
        self.check_recovers_from(("any", "reset-before"), ("any", "reset-inside"))

    def test_garbage(self):
        self.check_recovers_from(("any", "garbage"))

    def test_an_answer_that_is_lost_after_the_data_was_stored(self):
        self.check_recovers_from(("realdata", "reset-inside"))


class Terminal(Plant):
    def test_a_terminal_shows_the_status_as_a_table(self):
        self.configure()
        self.gateway.prepare(SPEED, WAVE)
        command = [word for word in self.gateway.command if word not in ("--status", "lines")]
        own, other = pty.openpty()
        self.gateway.process = subprocess.Popen(command, stdout=other, stdin=subprocess.DEVNULL,
                                                stderr=subprocess.DEVNULL)
        os.close(other)
        screen = b""
        end = time.monotonic() + PATIENCE
        while b"1 arrived" not in screen and time.monotonic() < end:
            screen += os.read(own, 65536)
        self.assertIn(b"\x1b[H", screen)
        self.assertIn(b"corvenna-gateway GW000001", screen)
        self.assertIn(b"1 arrived", screen)
        self.gateway.process.send_signal(signal.SIGTERM)
        try:
            while os.read(own, 65536):
                pass
        except OSError:  # its side is closed: it has ended
            pass
        self.assertEqual(self.gateway.process.wait(PATIENCE), 0)
        os.close(own)


if __name__ == "__main__":
    if not plant.is_sandboxed():
        plant.enter_sandbox(__file__, sys.argv[1:])
    unittest.main()
