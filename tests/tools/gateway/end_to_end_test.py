"""The gateway as a program, against the cloud as a program.

Started with CORVENNA_BUILD (a build folder) and CORVENNA_EMULATOR (the words before every program,
none for a native build); enters the sandbox by itself.
"""

import os
import pty
import re
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import time
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../../tools/demo"))

import plant  # noqa: E402

BUILD = os.path.abspath(os.environ["CORVENNA_BUILD"])
EMULATOR = os.environ.get("CORVENNA_EMULATOR", "").split()
PATIENCE = 240
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

    def run(self, result):
        """Shows what both said when a test fails: their files are gone with the sandbox."""
        before = len(result.failures) + len(result.errors)
        super().run(result)
        if len(result.failures) + len(result.errors) > before:
            for process in (self.cloud, self.gateway):
                print(f"--- {self.id()}: {process.log}\n" + process.last_words(40))

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

    def sampled(self, condition="1"):
        """The times of the gateway's own samples, as texts."""
        return {time.strftime("%Y-%m-%d %H:%M:%S", time.localtime(when)) for when, in
                self.gateway.history().execute(f"SELECT time FROM sample WHERE {condition}")}

    def check_both_have_the_same(self):
        """Of a gateway that has ended. If that was in the midst of an exchange, the cloud may have
        more than the gateway was told."""
        arrived, there = self.sampled("state = 1"), set(self.times_in_cloud())
        if "stopped in the middle of an exchange" in self.gateway.said():
            self.assertLessEqual(arrived, there)
            self.assertLessEqual(there, self.sampled())
        else:
            self.assertEqual(arrived, there)

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

    def test_recorded_values_of_two_channels_are_sent(self):
        path = os.path.join(self.folder, "recorded.csv")
        with open(path, "w", encoding="utf-8") as file:
            file.write("time,Meter/Ua [V],2:Pump/Flow [l/s]\n1,229.5,14.5\n")
        source = ["--source", path]
        self.configure(source)
        self.assertEqual(self.run_once(source), 0)
        self.assertEqual(
            [(device["channel"], device["device"]) for device in self.cloud.of_gateway("/devices")],
            [(1, 1), (2, 1)])
        values = dict(self.cloud.database().execute("SELECT dblink, value FROM readings"))
        self.assertEqual((values["01010000"], values["02010000"]), ("229.500", "14.500"))

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


class Causes(Plant):
    """What an operator reads when something fails."""

    def url(self, path, prefix=""):
        return f"http://127.0.0.1:{self.cloud.port}{prefix}{path}"

    def test_a_wrong_prefix_is_told_with_url_and_status(self):
        self.configure(options=["--prefix", "/nowhere"])
        self.assertEqual(self.run_once(), 1)
        self.assertIn("ERROR  the server did not take the registration: refused with 404 for "
                      f"{self.url('/gateway', '/nowhere')}; is the path prefix right?; tried again",
                      self.gateway.said())

    def test_a_server_that_is_not_there_is_told_in_the_words_of_libcurl(self):
        self.configure()
        self.cloud.kill()
        self.run_once()
        self.assertIn(f"no answer from {self.url('/gateway')}: Couldn't connect to server",
                      self.gateway.said())

    def test_a_body_that_is_too_large_is_told_and_given_up_after_four_tries(self):
        self.configure(options=NEVER)
        self.cloud.add_fault("realdata", "status", 413)
        self.run_gateway()
        self.wait("the end of it", lambda: "given up: refused with 413 for "
                  f"{self.url('/realdata/GW000001')}; it is too large" in self.gateway.said())
        self.assertGreaterEqual(self.count("SELECT count(*) FROM sample WHERE state = 2"), 1)

    def test_the_log_of_the_plug_in_is_named_and_repeated_on_request(self):
        self.configure()
        self.run_once(options=["--verbose"])
        self.assertIn("the plug-in's own log is /tmp/CloudLog/", self.gateway.said())
        self.assertIn("plug-in: start Send realdata /", self.gateway.said())

    def test_a_full_disk_names_folder_and_sample(self):
        os.mkdir(self.gateway.data)
        mounted = subprocess.run(["mount", "-t", "tmpfs", "-o", "size=200k", "tmpfs",
                                  self.gateway.data], stderr=subprocess.DEVNULL, check=False)
        if mounted.returncode != 0:
            self.skipTest("nothing can be mounted here")
        self.addCleanup(subprocess.run, ["umount", "-l", self.gateway.data], check=False)
        self.configure()
        self.cloud.kill()
        self.run_gateway()
        said = r"ERROR  sample [-0-9]+ [:0-9]+( is lost)?: .*" + self.gateway.data
        self.wait("a complaint", lambda: re.search(said + ".*(No space|is full)",
                                                   self.gateway.said()))
        self.assertEqual(self.gateway.stop(PATIENCE), 0)

    def test_nothing_of_the_plug_in_is_repeated_otherwise(self):
        self.configure()
        self.run_once()
        self.assertNotIn("plug-in: ", self.gateway.said())


class Missing(Plant):
    """Source and configuration that do not fit together."""

    SOURCE = "time,Meter/Ua [V],Meter/Ub [V]\n1,229.5,230.25\n"

    def recorded(self, text):
        path = os.path.join(self.folder, "recorded.csv")
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        return ["--source", path]

    def values_in_cloud(self):
        return dict(self.cloud.database().execute("SELECT dblink, value FROM readings"))

    def test_another_source_than_the_configured_one_is_refused(self):
        self.configure()
        self.assertEqual(self.run_once(["--source", "self"]), 1)
        self.assertIn("ERROR  'Processor/Usage' of the source is no point of the configuration",
                      self.gateway.said())
        self.assertIn("--allow-missing", self.gateway.said())
        self.assertEqual(self.times_in_cloud(), [])

    def test_columns_in_another_order_are_the_same_points(self):
        self.configure(self.recorded(self.SOURCE))
        source = self.recorded("time,Meter/Ub [V],Meter/Ua [V]\n1,230.25,229.5\n")
        self.assertEqual(self.run_once(source), 0)
        self.assertEqual(self.values_in_cloud()["01010000"], "229.500")

    def test_a_column_without_a_point_stays_in_the_history_under_its_name(self):
        self.configure(self.recorded(self.SOURCE))
        source = self.recorded("time,Meter/Uc [V],Meter/Ua [V]\n1,17,229.5\n")
        self.assertEqual(self.run_once(source), 1)
        self.assertEqual(self.run_once(source, ["--allow-missing"]), 0)
        self.assertEqual(self.values_in_cloud(), {"01010000": "229.500", "01010001": "-1.000",
                                                  "01010100": "1"})
        self.assertEqual(self.gateway.history().execute(
            "SELECT name, value FROM other_reading").fetchall(), [("Meter/Uc", 17.0)])

    def test_a_point_file_that_is_missing_is_refused(self):
        self.configure()
        os.remove("/quorvane/Config/Wave1-1.xml")
        self.assertEqual(self.run_once(), 1)
        self.assertIn("ERROR  device 'Wave1-1' (1-1) has no points: "
                      "/quorvane/Config/Wave1-1.xml is missing", self.gateway.said())

    def test_an_alarm_of_a_device_that_is_not_configured_is_refused(self):
        self.configure()
        self.assertEqual(self.run_once(options=["--alarm", "Processor/Usage>1"]), 1)
        self.assertIn("names no known point", self.gateway.said())

    def spoil_system(self, old, new):
        with open("/quorvane/Config/sys.xml", encoding="utf-8") as file:
            text = file.read()
        self.assertIn(old, text)
        with open("/quorvane/Config/sys.xml", "w", encoding="utf-8") as file:
            file.write(text.replace(old, new))

    def test_a_service_that_is_switched_off_is_no_failure(self):
        self.configure()
        self.spoil_system('<cloud cloudip="127.0.0.1" port="%d" checked="1"' % self.cloud.port,
                          '<cloud checked="0"')
        self.assertEqual(self.run_once(), 0)
        self.assertIn("switched off in /quorvane/Config/sys.xml", self.gateway.said())

    def test_settings_in_other_letters_are_told_apart_from_a_service_that_is_off(self):
        self.configure()
        self.spoil_system("sysConfig>", "sysconfig>")
        self.assertEqual(self.run_once(), 1)
        self.assertIn("ERROR  /quorvane/Config/sys.xml begins with <sysconfig>", self.gateway.said())
        self.assertNotIn("switched off", self.gateway.said())

    def test_a_setting_in_other_letters_is_warned_of(self):
        self.configure()
        self.spoil_system(" IsCompress=", " isCompress=")
        self.assertEqual(self.run_once(), 0)
        self.assertIn('warning: /quorvane/Config/sys.xml:', self.gateway.said())
        self.assertIn('<cloud> has "isCompress", which is no "IsCompress"', self.gateway.said())

    def test_damaged_settings_are_told_with_the_line(self):
        self.configure()
        self.spoil_system("</cloud>", "")
        self.assertEqual(self.run_once(), 1)
        self.assertIn("ERROR  /quorvane/Config/sys.xml is damaged: line ", self.gateway.said())


class Configuring(Plant):
    def run_configure(self, *options):
        return subprocess.run([*self.gateway.program, "configure", "--source", "wave", *options],
                              check=False, capture_output=True, text=True)

    def test_a_configuration_is_written_over_by_force_alone_and_kept(self):
        self.assertEqual(self.run_configure("--name", "Before").returncode, 0)
        refused = self.run_configure("--name", "After")
        self.assertEqual(refused.returncode, 1)
        self.assertIn("--force", refused.stderr)
        forced = self.run_configure("--name", "After", "--force")
        self.assertEqual(forced.returncode, 0)
        kept = forced.stdout.split("kept the old one in ")[1].split("\n")[0]
        with open(f"{kept}/sys.xml", encoding="utf-8") as file:
            self.assertIn('"Before"', file.read())
        with open("/quorvane/Config/sys.xml", encoding="utf-8") as file:
            self.assertIn('"After"', file.read())

    def test_what_is_refused_leaves_everything_as_it_was(self):
        self.assertEqual(self.run_configure().returncode, 0)
        before = sorted(os.listdir("/quorvane"))
        for options in (["--real-data", "5"], ["--model", "Varek-C"], ["--serial", ".."],
                        ["--certificate", "/nowhere.pem"], ["--wave-size", "10x100x1"]):
            refused = self.run_configure("--force", *options)
            self.assertEqual(refused.returncode, 1, options)
            self.assertIn("corvenna-gateway: ", refused.stderr)
        self.assertEqual(sorted(os.listdir("/quorvane")), before)

    def test_https_to_a_port_of_http_is_warned_of(self):
        done = self.run_configure("--https", "--port", "8080")
        self.assertEqual(done.returncode, 0)
        self.assertIn("warning: HTTPS to port 8080", done.stderr)


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
        self.offer(seconds=2)  # the gateway waits for ten
        self.run_gateway()
        self.wait("a download", lambda: self.cloud.of_gateway("/files")[0]["begun"])
        self.gateway.process.send_signal(signal.SIGTERM)
        lost = plant.time_lost_until_end(self.gateway.process, PATIENCE)
        self.assertEqual(self.gateway.process.returncode, 0)
        if lost > 5:
            self.skipTest(f"this machine stood still for {lost:.0f} s of the gateway's ten")
        self.check_offer_is_done()

    def test_a_broken_connection_is_no_reason_to_end(self):
        self.configure()
        self.run_gateway()
        self.wait_for_samples(1)
        self.gateway.process.send_signal(signal.SIGPIPE)
        self.wait_for_samples(len(self.times_in_cloud()) + 1)

    def test_a_server_that_hangs_does_not_hold_it(self):
        self.configure()
        self.cloud.add_fault("realdata", "delay", 600000)
        self.run_gateway()
        self.wait("an upload that hangs",
                  lambda: os.path.exists(f"{self.gateway.data}/spool") and any(
                      "-S" in name for name in os.listdir(f"{self.gateway.data}/spool")))
        self.gateway.process.send_signal(signal.SIGTERM)
        self.assertEqual(self.gateway.process.wait(PATIENCE), 0)
        # Not after the plug-in has given the upload up, which it does after 90 seconds.
        self.assertIn("stopped in the middle of an exchange; nothing is lost", self.gateway.said())
        self.assertNotIn("did not arrive", self.gateway.said())


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
        self.check_both_have_the_same()
        self.assertGreaterEqual(len(self.sampled("state = 1")), 3)

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


class ClockJumps(Plant):
    """The time of day is wrong for four seconds, as after a bad answer of a time server."""

    DAY = 86400

    def setUp(self):
        super().setUp()
        if EMULATOR:
            self.skipTest("nothing can be loaded before a program under the emulator")
        self.clock = os.path.join(self.folder, "clock")
        with open(self.clock, "wb") as file:
            file.write(bytes(4))

    def move_clock(self, seconds):
        with open(self.clock, "r+b", buffering=0) as file:  # it is mapped: never shorter
            file.write(struct.pack("=i", seconds))

    def run_gateway_by_this_clock(self):
        self.gateway.prepare(SPEED, WAVE)
        self.gateway.command = [
            "env", "LD_PRELOAD=" + os.environ["CORVENNA_MOVED_CLOCK_LIBRARY"],
            "CORVENNA_MOVED_CLOCK=" + self.clock,
            # The address sanitizer wants to be loaded first; the clock asks it for nothing.
            "ASAN_OPTIONS=" + os.environ.get("ASAN_OPTIONS", "") + ":verify_asan_link_order=0",
            *self.gateway.command]
        self.gateway.start()

    def samples(self):
        return {time for time, in self.gateway.history().execute("SELECT time FROM sample")}

    def check_loses_nothing(self, days):
        self.configure(options=NEVER)
        self.run_gateway_by_this_clock()
        self.wait_for_samples(3)
        self.cloud.kill()
        known = self.samples()
        self.wait("samples that wait", lambda: len(self.samples()) >= len(known) + 5)
        before = self.samples()
        self.move_clock(days * self.DAY)
        end = time.monotonic() + 4
        jumped = time.time() + (days - 1) * self.DAY
        self.wait("samples of the wrong time", lambda: time.monotonic() > end and
                  any(sample > jumped for sample in self.samples()))
        self.move_clock(0)
        during = self.samples()
        self.assertLessEqual(before, during)
        self.cloud.start()
        self.wait("everything to arrive", lambda: self.count(
            f"SELECT count(*) FROM sample WHERE state = 0 AND time <= {max(before)}"
            f" OR state = 0 AND time > {jumped}") == 0)
        self.assertEqual(self.gateway.stop(PATIENCE), 0)
        self.assertLessEqual(during, self.samples())
        self.assertEqual(self.count("SELECT count(*) FROM sample WHERE state = 2"), 0)
        self.check_both_have_the_same()
        # Who is asked to end in the midst of an exchange says that nothing is.
        self.assertNotRegex(self.gateway.said(), "(?<!nothing is )lost")
        self.assertNotIn("dropped", self.gateway.said())

    def test_31_days_forward_and_back_lose_nothing(self):
        self.check_loses_nothing(31)

    def test_100_days_forward_and_back_lose_nothing(self):
        self.check_loses_nothing(100)

    def test_a_day_back_and_forward_loses_nothing(self):
        self.configure(options=NEVER)
        self.run_gateway_by_this_clock()
        self.wait_for_samples(3)
        self.move_clock(-self.DAY)
        self.wait_for_samples(6)
        self.move_clock(0)
        before = self.samples()
        self.wait("samples of now", lambda: max(self.samples()) > max(before))
        self.assertEqual(self.gateway.stop(PATIENCE), 0)
        self.assertLessEqual(before, self.samples())
        self.assertEqual(self.count("SELECT count(*) FROM sample WHERE state = 2"), 0)


class ManyDevices(Plant):
    """More devices than the plug-in's list of them has room for."""

    SOURCE = ["--source", "wave", "--wave-size", "4x100x1"]

    def test_configure_refuses_them_with_their_number(self):
        refused = subprocess.run([*self.gateway.program, "configure", *self.SOURCE],
                                 check=False, capture_output=True, text=True)
        self.assertEqual(refused.returncode, 1)
        self.assertIn("400 devices are too many: the list of them has ", refused.stderr)
        self.assertEqual(os.listdir("/quorvane/Config"), [])

    def test_a_configuration_that_has_them_is_told_with_their_number(self):
        self.configure(self.SOURCE, ["--compress"])
        with open("/quorvane/Config/sys.xml", encoding="utf-8") as file:
            text = file.read()
        self.assertIn('IsCompress="1"', text)
        with open("/quorvane/Config/sys.xml", "w", encoding="utf-8") as file:
            file.write(text.replace('IsCompress="1"', 'IsCompress="0"'))
        self.run_gateway(self.SOURCE)
        self.wait("why nothing happens yet", lambda: "the plug-in loads its configuration: 400 "
                  "devices x 0.1 s = 40 s" in self.gateway.said())
        self.wait("the cause", lambda: "400 devices are too many: the list of them is cut, and no "
                  "server can read it" in self.gateway.said())
        self.assertIn("ERROR  the server did not take the registration: ", self.gateway.said())

    def test_a_compressed_list_of_as_many_is_taken(self):
        self.configure(self.SOURCE, ["--compress"])
        self.run_gateway(self.SOURCE)
        self.wait("the list", lambda: len(self.cloud.of_gateway("/devices") or []) == 400)


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
