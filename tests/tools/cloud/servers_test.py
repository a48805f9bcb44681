"""Servers that demonstrations, tests and measurements start."""

import os
import select
import signal
import subprocess
import sys
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../../tools/demo"))

import plant  # noqa: E402

PATIENCE = 120
# Says in a pipe, which it was given, that it is there, and holds that open.
STARTS_ONE = """
import sys, plant
pipe = int(sys.argv[1])
plant.Process(["sh", "-c", f"echo here >&{pipe}; exec sleep 1000"], "/dev/null").start(pass_fds=[pipe])
sys.stdin.read()
"""


class StartedProcess(unittest.TestCase):
    def test_ends_when_who_started_it_is_killed(self):
        reading, writing = os.pipe()
        with open(reading, "rb", buffering=0) as pipe:
            starter = subprocess.Popen([sys.executable, "-c", STARTS_ONE, str(writing)],
                                       stdin=subprocess.PIPE, pass_fds=[writing],
                                       env={**os.environ, "PYTHONPATH": os.path.dirname(plant.__file__)})
            os.close(writing)
            self.addCleanup(starter.stdin.close)
            self.assertEqual(self.read(pipe), b"here\n")
            starter.send_signal(signal.SIGKILL)
            starter.wait(PATIENCE)
            self.assertEqual(self.read(pipe), b"")

    def read(self, pipe):
        self.assertTrue(select.select([pipe], [], [], PATIENCE)[0])
        return pipe.read(100)


if __name__ == "__main__":
    unittest.main()
