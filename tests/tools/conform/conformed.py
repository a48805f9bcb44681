"""Runs corvenna-conform, and reads what it says."""

import json
import os
import pathlib
import shlex
import subprocess
import sys

PROJECT = pathlib.Path(__file__).resolve().parents[3]
sys.path.insert(0, str(PROJECT / "tests/tools/cloud"))


def run(*words):
    command = shlex.split(os.environ.get("CORVENNA_EMULATOR", "")) + [os.environ["CORVENNA_CONFORM"]]
    return subprocess.run(command + [str(word) for word in words], capture_output=True, text=True,
                          check=False, timeout=400)


def clauses(question):
    """The rows that the program has: id, where, rule and page."""
    rows = [line.split("\t") for line in run("clauses", question).stdout.splitlines()]
    assert rows
    return rows


class Found:
    """A report and the exit code that came with it."""

    def __init__(self, done):
        # A sanitizer would have its words there.
        assert done.returncode in (0, 1) and not done.stderr, (done.returncode, done.stderr)
        self.exit = done.returncode
        self.report = json.loads(done.stdout)

    def of(self, verdict):
        return sorted({one["clause"] for run_ in self.report["runs"] for one in run_["clauses"]
                       if one["verdict"] == verdict})

    def why(self, verdict):
        return {one["clause"]: one["found"] for run_ in self.report["runs"]
                for one in run_["clauses"] if one["verdict"] == verdict}


def table(page):
    """The clauses of a page of docs/, by the heading above them: id, where and rule of each row."""
    found, heading = {}, ""
    for line in (PROJECT / "docs" / page).read_text(encoding="utf-8").splitlines():
        if line.startswith("## "):
            heading = line[3:]
        if line.startswith("| `"):
            cells = [cell.strip() for cell in line.strip("|").split("|")]
            found.setdefault(heading, []).append([cells[0].strip("`"), *cells[1:]])
    return found
