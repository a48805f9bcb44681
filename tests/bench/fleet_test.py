"""bench/fleet/run in its smallest form: every scenario, and nothing that arrived is lost."""

import json
import os
import subprocess
import sys
import tempfile
import unittest

PROJECT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
BENCH = os.path.join(PROJECT, "bench/fleet")
sys.path[1:1] = [BENCH, os.path.join(PROJECT, "tools/demo")]

import gateways  # noqa: E402
import growth  # noqa: E402
import postgres  # noqa: E402
import scenarios  # noqa: E402
import servers  # noqa: E402

LOAD = ["first document", "documents", "documents"]
STORMS = ["backlog", "registration", "offers", "recalls", "slow store"]


class FleetTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        if subprocess.run([gateways.SANDBOX, "true"], check=False, capture_output=True).returncode:
            raise unittest.SkipTest("no sandbox for a gateway here")

    def run_bench(self, *options):
        """What it wrote."""
        with tempfile.TemporaryDirectory(prefix="corvenna-bench-") as folder:
            ran = subprocess.run(
                [sys.executable, os.path.join(BENCH, "run"), "--smoke", "--no-build", "--build",
                 os.environ["CORVENNA_BUILD"], "--output", folder, *options],
                capture_output=True, text=True, check=False)
            self.assertEqual(ran.returncode, 0, ran.stderr)
            with open(os.path.join(folder, "fleet.json"), encoding="utf-8") as file:
                return json.load(file)

    def check_rows(self, rows, cases):
        """The store has what gateways were told it has, and each number was taken."""
        self.assertEqual([row["case"] for row in rows], cases)
        for row in rows:
            with self.subTest(case=row["case"]):
                self.assertGreater(row["told"]["documents"] + row.get("ended", 0), 0)
                for what, count in row["told"].items():
                    self.assertGreaterEqual(row["stored"][what], count, what)
                self.assertGreater(row["syncs"], 0)
                self.assertGreater(row["bytes_in"], 0)

    def check_ends(self, rows):
        """Every gateway's start, file and recall came to its end."""
        by_case = {row["case"]: row for row in rows}
        for case in ("registration", "offers", "recalls"):
            self.assertEqual(by_case[case]["ended"], by_case[case]["senders"], case)
        # A document waits for the disk once at least.
        self.assertGreaterEqual(by_case["slow store"]["p50"], scenarios.SLOW)


class OnSqlite(FleetTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.results = cls.run_bench(cls("test_rows_of_every_scenario"), "--engine", "SQLite")

    def test_rows_of_every_scenario(self):
        rows = self.results["rows"]
        self.check_rows(rows, [*LOAD, "plug-in", "rhythm", *STORMS])
        self.check_ends(rows)

    def test_a_row_for_each_number_of_samples(self):
        growing = self.results["growth"]
        self.check_rows(growing, ["growth"] * 2)
        self.assertEqual([row["samples"] for row in growing], [1000, 20000])

    def test_a_time_for_each_question(self):
        rows = self.results["questions"]
        self.assertEqual([(row["samples"], row["question"]) for row in rows],
                         [(samples, question) for samples in (1000, 20000)
                          for question in growth.QUESTIONS])
        self.assertTrue(all(0 < row["p50"] <= row["max"] for row in rows))


class OnPostgres(FleetTest):
    def test_rows_of_load_and_storms(self):
        try:
            servers.check()
        except postgres.Missing as missing:
            self.skipTest(missing)
        rows = self.run_bench("--engine", "PostgreSQL", "--part", "load", "--part", "storms")["rows"]
        self.check_rows(rows, [*LOAD, *STORMS])
        self.check_ends(rows)


if __name__ == "__main__":
    unittest.main()
