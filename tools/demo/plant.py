"""A cloud and a gateway as processes, for the demonstration and for the test of endurance.

Both run inside tests/support/sandbox, where the plug-in's fixed folders are empty and private.
"""

import json
import os
import signal
import sqlite3
import subprocess
import sys
import tempfile
import time
import urllib.error
import urllib.request

PROJECT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
SERIAL = "GW000001"


class NotReady(Exception):
    """Something did not happen in time."""


def wait_for(what, check, seconds, alive=None):
    """Calls check until it gives something true, and returns that."""
    end = time.monotonic() + seconds
    while True:
        result = check()
        if result:
            return result
        if alive is not None:
            alive()
        if time.monotonic() > end:
            raise NotReady(f"{what}: not within {seconds} s")
        time.sleep(0.05)


class Process:
    """A program that can be killed and started again; what it says goes to a file."""

    def __init__(self, command, log):
        self.command = command
        self.log = log
        self.process = None

    def start(self):
        with open(self.log, "ab") as log:
            self.process = subprocess.Popen(self.command, stdout=log, stderr=log,
                                            stdin=subprocess.DEVNULL)

    def kill(self):
        self.process.kill()
        self.process.wait()

    def stop(self, seconds=20):
        """Asks it to end. Returns its exit code."""
        self.process.send_signal(signal.SIGTERM)
        return self.process.wait(seconds)

    def is_running(self):
        return self.process is not None and self.process.poll() is None

    def check_running(self):
        if not self.is_running():
            raise NotReady(f"{os.path.basename(self.command[0])} has ended; see {self.log}")

    def said(self):
        with open(self.log, encoding="utf-8", errors="replace") as log:
            return log.read()


class Cloud(Process):
    def __init__(self, build, folder, https=False, emulator=()):
        self.data = os.path.join(folder, "cloud")
        self.ready_file = os.path.join(folder, "cloud-ready")
        self.scheme = "https" if https else "http"
        self.program = [*emulator, os.path.join(build, "tools/cloud/corvenna-cloud")]
        self.ports = {self.scheme: 0, "admin": 0}
        self.page = ""
        super().__init__([], os.path.join(folder, "cloud.log"))

    @property
    def port(self):
        return self.ports[self.scheme]

    @property
    def certificate(self):
        return os.path.join(self.data, "certificate.pem")

    def start(self):
        """The first start finds free ports; later ones take the same again."""
        if os.path.exists(self.ready_file):
            os.remove(self.ready_file)
        self.command = [*self.program, "--data", self.data, "--ready-file", self.ready_file,
                        f"--{self.scheme}", str(self.port), "--admin", str(self.ports["admin"])]
        super().start()
        wait_for("the cloud's start", lambda: os.path.exists(self.ready_file), 30,
                 self.check_running)
        with open(self.ready_file, encoding="utf-8") as file:
            ready = json.load(file)
        self.page = ready["page"]
        self.ports = {name: ready[name] for name in self.ports}

    def ask(self, path, body=None, method=None):
        """One request to the cloud's own API; nothing for what is not there (yet)."""
        if body is not None and not isinstance(body, bytes):
            body = json.dumps(body).encode()
        request = urllib.request.Request(self.page.rstrip("/") + path, data=body, method=method)
        opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))
        try:
            with opener.open(request, timeout=30) as answer:
                return json.loads(answer.read() or b"null")
        except urllib.error.HTTPError as error:
            if error.code == 404:
                return None
            raise

    def of_gateway(self, path="", **request):
        return self.ask(f"/api/gateways/{SERIAL}{path}", **request)

    def database(self):
        names = [name for name in os.listdir(self.data) if name.endswith(".db")]
        return sqlite3.connect(os.path.join(self.data, names[0]), timeout=30)

    def add_fault(self, exchange, kind, value=None, count=None):
        fault = {"exchange": exchange, "kind": kind, "value": value, "count": count}
        self.ask("/api/faults", body={name: given for name, given in fault.items()
                                      if given is not None})

    def clear_faults(self):
        self.ask("/api/faults", method="DELETE")


class Gateway(Process):
    def __init__(self, build, folder, emulator=()):
        self.data = os.path.join(folder, "gateway")
        self.program = [*emulator, os.path.join(build, "tools/gateway/corvenna-gateway")]
        self.plugin = os.path.join(build, "libcorvenna.so")
        self.said_before = 0
        super().__init__([], os.path.join(folder, "gateway.log"))

    def configure(self, cloud, source=(), options=()):
        command = [*self.program, "configure", *source, "--port", str(cloud.port),
                   "--serial", SERIAL, *options]
        if cloud.scheme == "https":
            command += ["--https", "--certificate", cloud.certificate, "--user", "gateway",
                        "--password", "secret"]
        subprocess.run(command, check=True, stdout=subprocess.DEVNULL)

    def prepare(self, speed, source=(), options=()):
        self.command = [*self.program, "run", *source, "--plugin", self.plugin, "--data", self.data,
                        "--speed", str(speed), "--status", "lines", *options]

    def start(self):
        self.said_before = len(self.said()) if os.path.exists(self.log) else 0
        super().start()

    def stop(self, seconds=20):
        """A program that has only just begun cannot know yet what to do with a signal."""
        wait_for("the gateway's start", lambda: "at work" in self.said()[self.said_before:], 60,
                 self.check_running)
        return super().stop(seconds)

    def history(self):
        """The gateway's own record, opened only to be read."""
        path = os.path.join(self.data, "history.db")
        return sqlite3.connect(f"file:{path}?mode=ro", uri=True, timeout=30)


def end_on_signals():
    """A signal ends the script as an exception does: what it started and changed is put back."""
    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, lambda received, _: sys.exit(128 + received))


def is_sandboxed():
    return os.path.isdir("/quorvane") and "CORVENNA_PLANT" in os.environ


def enter_sandbox(script, arguments):
    """Runs the script again inside the sandbox and ends with its exit code."""
    os.environ["CORVENNA_PLANT"] = "1"
    sandbox = os.path.join(PROJECT, "tests/support/sandbox")
    os.execv(sandbox, [sandbox, "python3", os.path.abspath(script), *arguments])


def use_bash_as_sh():
    """The plug-in's install commands use `let` and `echo -e`, which a gateway's /bin/sh knows and
    Debian's does not. Lays bash over it, inside the sandbox only."""
    known = subprocess.run(["/bin/sh", "-c", "let s=1 && test \"$s\" = 1"],
                           stderr=subprocess.DEVNULL, check=False)
    if known.returncode == 0:
        return None
    mounted = subprocess.run(["mount", "--bind", "/bin/bash", "/bin/sh"],
                             stderr=subprocess.DEVNULL, check=False)
    if mounted.returncode == 0:
        return None
    # No mounts here: the real /bin/sh, for as long as this runs.
    before = os.readlink("/bin/sh")
    replace_link("/bin/sh", "bash")
    return lambda: replace_link("/bin/sh", before)


def replace_link(path, target):
    temporary = tempfile.mktemp(dir=os.path.dirname(path))
    os.symlink(target, temporary)
    os.replace(temporary, path)
