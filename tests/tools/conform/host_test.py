"""`corvenna-conform host`: the reference host keeps to every clause, and a host that breaks one is
told exactly that. Hosts mostly wait, so all of them live at once."""

import concurrent.futures
import contextlib
import json
import os
import pathlib
import shlex
import shutil
import sqlite3
import subprocess
import sys
import tempfile
import unittest

import conformed
import until_shown

EMULATOR = shlex.split(os.environ.get("CORVENNA_EMULATOR", ""))
CONFIG = pathlib.Path("/quorvane/Config")
LOG = pathlib.Path("/tmp/CloudLog")
FOLDER = tempfile.TemporaryDirectory(prefix="corvenna-conform-")
SCENARIOS = {"init-stop": "unusable", "off-stop": "off"}
UNTIL_SHOWN = pathlib.Path(until_shown.__file__).resolve()
# The kit forgives what is late by one: a thread of the reference host that stands still for a while.
INTERVAL = 5
# Each of these does something too often: seldom enough is only who stands still for most of a minute.
PACES = ("real-pace", "retry-pause", "recall-pace")
PATIENCE = 240  # with a host that ends by itself
SECONDS = 30  # of one that is asked to
ALL = [row[0] for row in conformed.clauses("host")]

POINTS = """<?xml version="1.0" encoding="UTF-8"?>
<DevConfig><NodeProperty>
  <AI Num="1"><Node Id="1" Name="Flow" EUUnits="l/s"/></AI>
  <DI Num="1"><Node Id="0" Name="Status" EUUnits=""/></DI>
</NodeProperty></DevConfig>
"""
TEMPLATE = """<?xml version="1.0" encoding="UTF-8"?>
<ChannelConfig><Channel No="2">
  <Dev DeviceName="Pump" Name="/quorvane/Config/Pump.xml" Protocol="P" Desc="" SlaveId="1" Group="2"/>
</Channel></ChannelConfig>
"""


def configure():
    """One device of two points: production takes 0.6 s for each."""
    shutil.rmtree(CONFIG, ignore_errors=True)
    shutil.copytree(conformed.PROJECT / "examples/small-plant/quorvane/Config", CONFIG)
    (CONFIG / "Pump.xml").write_text(POINTS, encoding="utf-8")
    (CONFIG / "Channel-template.xml").write_text(TEMPLATE, encoding="utf-8")


def make_log_database():
    """The hosts share one log, which a gateway has for itself: two that make its database at once meet
    in SQLite's lock, and whoever could not make it calls no log_DB to its end any more."""
    LOG.mkdir(exist_ok=True)
    with contextlib.closing(sqlite3.connect(LOG / "Cloudlog.db")) as database:
        database.execute("CREATE TABLE IF NOT EXISTS log_tbl(Pid INTEGER PRIMARY KEY, RecordDate DATE,"
                         " RecordTime TIME, log_Type TEXT, log_Desc TEXT)")


def host(clause, folder):
    return [*EMULATOR, os.environ["CORVENNA_CONFORM_HOST"], clause, str(folder)]


def judge(clause, *options):
    folder = tempfile.mkdtemp(prefix=clause, dir=FOLDER.name)
    interval = 3 if clause in PACES else 1
    return conformed.run("host", "--json", "--interval", interval, *options, "--",
                         *host(clause, folder))


def try_all():
    """What is found of every host, by the clause that it breaks."""
    configure()
    make_log_database()
    found = {}
    with concurrent.futures.ThreadPoolExecutor(len(ALL) + 4) as pool:
        found["gateway"] = pool.submit(
            conformed.run, "host", "--json", "--interval", INTERVAL, "--seconds", PATIENCE, "--",
            sys.executable, UNTIL_SHOWN, *EMULATOR, os.environ["CORVENNA_GATEWAY"], "run", "--plugin",
            os.environ["CORVENNA_STAND_IN"], "--source", pump_values(), "--data",
            FOLDER.name + "/gateway")
        found["deaf"] = pool.submit(judge, "deaf", "--scenario", "work", "--seconds", SECONDS)
        found["obedient"] = pool.submit(conformed.run, "host", "--scenario", "work", "--seconds",
                                        SECONDS, "--", "sleep", "600")
        found["right"] = pool.submit(judge, "right", "--seconds", PATIENCE)
        for clause in ALL:
            found[clause] = pool.submit(judge, clause, "--scenario",
                                        SCENARIOS.get(clause, "work"), "--seconds", PATIENCE)
        return {clause: one.result() for clause, one in found.items()}


def pump_values():
    path = pathlib.Path(FOLDER.name) / "pump.csv"
    path.write_text("time,2:Pump/Flow [l/s]\n07:08:09,14.5\n07:09:09,14.6\n", encoding="utf-8")
    return path


def results():
    if not hasattr(results, "found"):
        results.found = try_all()
    return results.found


def found_of(clause):
    done = results()[clause]
    assert done.returncode in (0, 1), (done.returncode, done.stdout, done.stderr)
    return json.loads(done.stdout), done


def of(report, verdict):
    return {one["clause"]: one["found"] for run in report["runs"] for one in run["clauses"]
            if one["verdict"] == verdict}


class WrongHost(unittest.TestCase):
    def try_one(self, clause):
        report, done = found_of(clause)
        broken = of(report, "broken")
        self.assertEqual(list(broken), [clause], (broken, done.stderr))
        self.assertEqual(done.returncode, 1)


def add_test(clause):
    setattr(WrongHost, f"test_that_breaks_{clause.replace('-', '_')}_is_told_so",
            lambda self: self.try_one(clause))


for _clause in ALL:
    add_test(_clause)


class RightHost(unittest.TestCase):
    def check(self, which, unjudged=()):
        report, done = found_of(which)
        self.assertEqual((of(report, "broken"), done.returncode), ({}, 0), done.stderr)
        self.assertEqual([run["title"].rsplit(", ", 1)[1] for run in report["runs"]],
                         ["work", "off", "unusable"])
        self.assertEqual(set(of(report, "kept")) | set(unjudged), set(ALL), of(report, "not judged"))

    def test_small_host_keeps_to_everything(self):
        self.check("right")

    def test_reference_host_keeps_to_everything(self):
        # It gives a download ten seconds to end, and leaves at once behind them.
        stood_still = until_shown.STOOD_STILL in results()["gateway"].stderr
        self.check("gateway", ["download-awaited"] if stood_still else [])


class Running(unittest.TestCase):
    def test_host_is_asked_to_end_when_its_seconds_are_over(self):
        self.assertIn("the host ended by signal 15 (work)", results()["obedient"].stderr)

    def test_host_that_does_not_end_is_killed_and_that_is_said(self):
        report, done = found_of("deaf")
        self.assertIn("killed, ten seconds after it was asked to end (work)", done.stderr)
        self.assertIn("killed", of(report, "not judged")["download-awaited"])

    def test_host_that_does_not_load_the_stand_in_is_2(self):
        done = conformed.run("host", "--", "true")
        self.assertEqual((done.returncode, done.stdout), (2, ""))
        self.assertIn("has not called the stand-in", done.stderr)

    def test_what_a_host_prints_is_not_in_the_report(self):
        done = conformed.run("host", "--", "echo", "said")
        self.assertEqual(done.stdout, "")
        self.assertIn("said\n", done.stderr)

    def test_host_that_cannot_be_started_is_2(self):
        done = conformed.run("host", "--", "/none")
        self.assertEqual((done.returncode, done.stdout), (2, ""))
        # An emulator does not hand on that there is no such program.
        said = "ended with 127" if EMULATOR else "/none: No such file"
        self.assertIn(said, done.stderr)

    def test_wrong_command_line_is_2(self):
        for words in ([], ["--scenario", "idle"], ["--seconds", "0", "--", "true"],
                      ["--record", "/none"], ["--accept", "gateway-taken", "--", "true"]):
            with self.subTest(words=words):
                done = conformed.run("host", *words)
                self.assertEqual(done.returncode, 2)
                self.assertNotEqual(done.stderr, "")

    def test_record_of_another_machine_can_be_judged(self):
        configure()
        record = pathlib.Path(FOLDER.name) / "record"
        folder = tempfile.mkdtemp(dir=FOLDER.name)
        environment = {**os.environ, "CORVENNA_CONFORM_RECORD": str(record),
                       "CORVENNA_CONFORM_INTERVAL": "1",
                       "CORVENNA_CONFORM_LIBRARY": os.environ["CORVENNA_STAND_IN"]}
        subprocess.run(host("recall-sent", folder), env=environment, check=False, timeout=PATIENCE)
        with record.open("a", encoding="utf-8") as file:
            file.write('{"call":99999,"name":"Ini')  # power failed here
        done = conformed.run("host", "--record", record, "--json")
        report = json.loads(done.stdout)
        self.assertEqual((list(of(report, "broken")), done.returncode), (["recall-sent"], 1))
        self.assertEqual(of(report, "not judged")["file-deleted"], "the host's files are not here")


class Page(unittest.TestCase):
    def test_page_has_exactly_the_clauses_of_the_program(self):
        rows = [[*row[:3], f"[{pathlib.Path(row[3]).stem}]({row[3]})"]
                for row in conformed.clauses("host")]
        self.assertEqual(conformed.table("conform.md")["Is your host right?"], rows)


if __name__ == "__main__":
    unittest.main()
