"""A good configuration in a folder of its own, to be spoiled; and corvenna-check to look at it."""

import json
import os
import pathlib
import shlex
import shutil
import subprocess
import tempfile
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[3]
EXAMPLES = PROJECT / "examples"


def run(*words):
    command = shlex.split(os.environ.get("CORVENNA_EMULATOR", "")) + [os.environ["CORVENNA_CHECK"]]
    return subprocess.run(command + [str(word) for word in words], capture_output=True, text=True,
                          check=False, timeout=300)


class CheckTest(unittest.TestCase):
    example = "small-plant"

    def setUp(self):
        self.root = pathlib.Path(tempfile.mkdtemp(prefix="corvenna-check-"))
        self.addCleanup(shutil.rmtree, self.root)
        self.folder = self.root / "quorvane/Config"
        self.use(self.example)

    def use(self, example):
        shutil.rmtree(self.root / "quorvane", ignore_errors=True)
        shutil.copytree(EXAMPLES / example / "quorvane", self.root / "quorvane")

    def text(self, name):
        return (self.folder / name).read_text(encoding="utf-8")

    def write(self, name, text):
        (self.folder / name).write_text(text, encoding="utf-8")

    def replace(self, name, old, new, count=1):
        text = self.text(name)
        self.assertIn(old, text)
        self.write(name, text.replace(old, new, count))

    def line_of(self, name, text):
        return self.text(name)[:self.text(name).index(text)].count("\n") + 1

    def check(self, *options):
        """What the program says as JSON, its exit code among it."""
        done = run("--root", self.root, "--json", *options)
        self.assertEqual(done.stderr, "")
        said = json.loads(done.stdout)
        said["exit"] = done.returncode
        return said

    def findings(self, *options):
        return self.check(*options)["findings"]

    def rules(self):
        return [finding["rule"] for finding in self.findings()]

    def only(self, rule):
        """The one finding that there is."""
        findings = self.findings()
        self.assertEqual([finding["rule"] for finding in findings], [rule], findings)
        finding = findings[0]
        for part in ("file", "what", "effect", "advice"):
            self.assertTrue(finding[part], part)
        return finding
