"""The hosts of examples/ do everything that a host has to do."""

import pathlib
import shlex
import signal
import subprocess
import sys
import tempfile
import time
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "formats"))

import made  # noqa: E402, needs the path
import cloud_server  # noqa: E402, of tests/tools/cloud, where the line before looks

RUN_SECONDS = 120
# Values of the small plant, one with a limit that it is over.
VALUES = "".join(line.removeprefix("real ") + "\n" for line in made.VALUES.splitlines()
                 if line.startswith("real 0")).replace("229.87", "229.87 200")


class Host:
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="host-")
        values = pathlib.Path(tempfile.mkdtemp(prefix="values-")) / "values"
        values.write_text(VALUES, encoding="utf-8")
        emulator = shlex.split(made.os.environ.get("CORVENNA_EMULATOR", ""))
        self.command = [*emulator, str(made.BUILD / "tests/integration" / self.program),
                        *self.arguments(values), self.folder]

    def cloud(self, *options):
        cloud = cloud_server.Cloud(*options)
        self.addCleanup(cloud.close)
        return cloud

    def configure(self, port, **settings):
        made.install(made.EXAMPLES / "small-plant", cloudip="127.0.0.1", Dir="", port=port,
                     **settings)

    def run_once(self):
        return subprocess.run([*self.command, "once"], capture_output=True, text=True,
                              check=False, timeout=RUN_SECONDS)

    def waiting(self):
        return sorted(path.name[0] for path in pathlib.Path(self.folder, "waiting").iterdir())

    def assert_ran(self, done, status=0):
        self.assertEqual(done.returncode, status, done.stdout + done.stderr)

    def test_everything_arrives_and_nothing_is_left(self):
        for settings in ({}, {"FileType": "xml", "IsCompress": 1}):
            cloud = self.cloud()
            self.configure(cloud.ready["http"], **settings)
            self.assert_ran(self.run_once())
            gateway = cloud.list("/gateways")[0]
            self.assertTrue(gateway["registered"])
            points = cloud.list(f"/gateways/{made.SERIAL}/points")
            self.assertLessEqual(10, len(points))
            self.assertLessEqual(1, len(cloud.list(f"/gateways/{made.SERIAL}/alarms")))
            self.assertEqual(
                [path for path in pathlib.Path(self.folder).rglob("*") if path.is_file()], [])

    def test_a_recall_is_served_and_acknowledged(self):
        cloud = self.cloud()
        self.configure(cloud.ready["http"])
        now = time.time()
        recalled = [time.strftime("%Y-%m-%d %H:%M:%S", time.gmtime(at))
                    for at in (now, now + RUN_SECONDS)]
        self.assertEqual(cloud.recall(*recalled, sn=made.SERIAL).status, 201)
        self.assert_ran(self.run_once())
        cloud.traced(lambda entry: entry["method"] == "DELETE" and entry["status"] == 204)
        # The sample by itself, then for the recall.
        first = cloud.trace("/realdata/")["id"]
        cloud.traced(lambda entry: "/realdata/" in entry["target"] and entry["id"] != first)

    def test_what_did_not_arrive_is_sent_by_the_next_run(self):
        cloud = self.cloud()
        self.configure(cloud.ready["http"])
        cloud.fault("realdata", "status", value=503)
        cloud.fault("alarmdata", "status", value=503)
        self.assert_ran(self.run_once(), 1)
        self.assertEqual(self.waiting(), ["S", "T"])
        cloud.api("DELETE", "/faults")
        self.assert_ran(self.run_once())
        self.assertEqual(self.waiting(), [])

    def test_a_server_that_is_away_ends_nothing(self):
        self.configure(1)
        self.assert_ran(self.run_once(), 1)
        self.assertIn("S", self.waiting())

    def test_a_service_that_is_off_gets_nothing(self):
        cloud = self.cloud()
        self.configure(cloud.ready["http"])
        settings = made.CONFIG / "sys.xml"
        text = settings.read_text(encoding="utf-8")
        settings.write_text(text.replace('<cloud checked="1"', '<cloud checked="0"'), encoding="utf-8")
        done = self.run_once()
        self.assert_ran(done)
        self.assertIn("switched off", done.stderr)
        self.assertEqual(cloud.list("/gateways"), [])

    def test_an_unusable_configuration_is_said(self):
        made.shutil.rmtree(made.CONFIG, ignore_errors=True)
        done = self.run_once()
        self.assert_ran(done, 1)
        self.assertIn("unusable", done.stderr)

    def test_a_folder_that_cannot_be_used_is_refused(self):
        for folder in ("/tmp/" + 90 * "a", "/tmp/my.jsonz"):
            self.configure(1)
            self.command[-1] = folder
            self.assert_ran(self.run_once(), 1)

    def test_runs_until_a_signal_and_ends_in_order(self):
        cloud = self.cloud()
        self.configure(cloud.ready["http"])
        with subprocess.Popen(self.command, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT) as host:
            cloud.traced(lambda entry: "/alarmdata/" in entry["target"] or
                         "/realdata/" in entry["target"])
            host.send_signal(signal.SIGTERM)
            said = host.communicate(timeout=RUN_SECONDS)[0]
        self.assertEqual(host.returncode, 0, said)
        self.assertEqual(self.waiting(), [])


class CppHost(Host, unittest.TestCase):
    program = "example_host_cpp"

    def arguments(self, values):
        return []


class CHost(Host, unittest.TestCase):
    program = "example_host_c"

    def arguments(self, values):
        return [str(made.BUILD / "libcorvenna.so"), str(values)]

    def test_a_library_that_is_not_there_is_said(self):
        self.command[self.command.index(str(made.BUILD / "libcorvenna.so"))] = "/missing.so"
        self.configure(1)
        done = self.run_once()
        self.assert_ran(done, 1)
        self.assertIn("/missing.so", done.stderr)


if __name__ == "__main__":
    unittest.main()
