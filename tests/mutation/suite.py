"""The tests of the build, and running them on test programs that hold a change."""

import json
import os
import pathlib
import queue
import signal
import subprocess
import threading

from build import required
from source import FOLDERS

# They take minutes, look at the sources, or load the library as a file.
LEFT_OUT = ("proof_", "rules", "plugin_install", "plugin_without_tools", "plugin_host",
            "plugin_exports", "plugin_operations", "plugin_hardening", "no_thread_local", "sandbox",
            "failing_allocations_test")
MOST_SECONDS = 40


class Test:
    def __init__(self, entry, folder):
        self.name = entry["name"]
        self.command = entry["command"]
        properties = {item["name"]: item["value"] for item in entry["properties"]}
        self.seconds = min(properties.get("TIMEOUT", MOST_SECONDS), MOST_SECONDS)
        self.where = properties["WORKING_DIRECTORY"]
        programs = [word for word in self.command if word.startswith(f"{folder}/tests/")]
        self.program = os.path.relpath(programs[0], folder) if programs else None


def read_tests(folder):
    """The tests by their program."""
    described = json.loads(required(["ctest", "--show-only=json-v1"], folder))
    programs = {}
    for entry in described["tests"]:
        if entry["name"].startswith(LEFT_OUT) or "command" not in entry:
            continue
        test = Test(entry, folder)
        if test.program is not None:
            programs.setdefault(test.program, []).append(test)
    return programs


def in_order(programs, path):
    """Programs of the file's own folder first, there those of its name and of the folder's, then
    those of the folders above it, then the rest."""
    own = path.split("/")[0]
    stem = pathlib.PurePath(path).stem

    def distance(program):
        folder = pathlib.PurePath(program).parts[1]
        rank = FOLDERS.index(folder) if folder in FOLDERS else len(FOLDERS)
        steps = rank - FOLDERS.index(own)
        name = pathlib.PurePath(program).name
        return (steps if steps >= 0 else len(FOLDERS) - steps, not name.startswith(stem),
                name != f"{own}_test", program)

    return sorted(programs, key=distance)


def outcome(test, program, original):
    """Runs one test on another program than its own. @return "passed", "failed" or "hung"."""
    command = [str(program) if word == str(original) else word for word in test.command]
    with subprocess.Popen(command, cwd=test.where, stdin=subprocess.DEVNULL,
                          stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                          start_new_session=True) as process:
        try:
            return "passed" if process.wait(test.seconds) == 0 else "failed"
        except subprocess.TimeoutExpired:
            return "hung"
        finally:
            try:
                os.killpg(process.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass


def first_failure(tests, program, original, jobs):
    """Runs tests until one hangs, or fails twice: a busy machine is no kill. @return it."""
    waiting = queue.SimpleQueue()
    for test in tests:
        waiting.put(test)
    failed = []

    def work():
        while not failed:
            try:
                test = waiting.get_nowait()
            except queue.Empty:
                return
            first = outcome(test, program, original)
            if first == "hung" or (first == "failed" and not failed and
                                   outcome(test, program, original) != "passed"):
                failed.append(test)

    workers = [threading.Thread(target=work) for _ in range(jobs)]
    for worker in workers:
        worker.start()
    for worker in workers:
        worker.join()
    return failed[0] if failed else None
