"""A cloud and a gateway as processes, for the demonstration and for the test of endurance.

Both run inside tests/support/sandbox, where the plug-in's fixed folders are empty and private.
"""

import json
import os
import signal
import socket
import sqlite3
import subprocess
import sys
import tempfile
import time
import urllib.error
import urllib.request

PROJECT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
SERIAL = "GW000001"
# For what takes a moment; it bounds a program that hangs, also on a machine that is busy and slow.
PATIENCE = 180
TICK = 0.05


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
        time.sleep(TICK)


def time_lost_until_end(process, seconds):
    """Waits for the end of a process. Returns for how many seconds this machine did not come to it
    meanwhile: those pass for whoever waits only so long for something."""
    lost, last = 0, time.monotonic()
    end = last + seconds
    while process.poll() is None:
        if last > end:
            raise NotReady(f"the end of {process.pid}: not within {seconds} s")
        time.sleep(TICK)
        now = time.monotonic()
        lost, last = lost + now - last - TICK, now
    return lost


def bound(command, number=signal.SIGTERM):
    """The command of a program that is sent a signal when the thread that started it has ended, even
    if that was killed. Who becomes another user does so before."""
    return ["setpriv", "--pdeathsig", number.name.removeprefix("SIG"), *command]


class Process:
    """A program that can be killed and started again; what it says goes to a file. It does not
    outlive this process."""

    END = signal.SIGTERM  # asks it to end
    before = ()  # what goes before its command

    def __init__(self, command, log):
        self.command = command
        self.log = log
        self.process = None

    def start(self, **how):
        with open(self.log, "ab") as log:
            self.process = subprocess.Popen([*self.before, *bound(self.command, self.END)],
                                            stdout=log, stderr=log, stdin=subprocess.DEVNULL, **how)

    def kill(self):
        self.process.kill()
        self.process.wait()

    def stop(self, seconds=PATIENCE):
        """Asks it to end. Returns its exit code."""
        self.process.send_signal(self.END)
        return self.process.wait(seconds)

    def is_running(self):
        return self.process is not None and self.process.poll() is None

    def check_running(self):
        if not self.is_running():
            raise NotReady(f"{os.path.basename(self.command[0])} has ended; see {self.log}")

    def said(self):
        with open(self.log, encoding="utf-8", errors="replace") as log:
            return log.read()

    def last_words(self, lines):
        return "\n".join(self.said().splitlines()[-lines:]) if os.path.exists(self.log) else ""


def hold_port():
    """A free port, kept for the servers that are started there one after the other as long as this
    process lives: in between, nobody else is given it, and who connects is refused."""
    held = socket.socket()
    held.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)  # as the servers have it
    held.bind(("127.0.0.1", 0))
    port = held.getsockname()[1]
    held.detach()
    return port


def show_logs(processes, lines):
    for process in processes:
        print(f"--- {process.log}")
        print(process.last_words(lines))


class Steps:
    """Steps of a story, told line by line. Each returns its evidence, or raises."""

    def run(self):
        """The whole story. Returns the exit code."""
        started = time.monotonic()
        self.head()
        try:
            self.tell()
            print(f"everything happened, in {time.monotonic() - started:.1f} s")
            self.afterwards()
            return 0
        except KeyboardInterrupt:
            return 130
        except Exception:
            self.show_logs()
            return 1
        finally:
            self.end()

    def afterwards(self):
        """What is left to do when everything happened."""

    def step(self, name, step):
        started = time.monotonic()
        try:
            evidence = step()
        except Exception as error:
            self.row(name, "FAILED", started, f"{type(error).__name__}: {error}")
            raise
        self.row(name, "ok", started, evidence)

    @staticmethod
    def head():
        print(f"{'step':<18} {'result':<7} {'took':>7}  evidence", flush=True)

    @staticmethod
    def row(name, result, started, evidence):
        seconds = time.monotonic() - started
        print(f"{name:<18} {result:<7} {seconds:5.1f} s  {evidence}", flush=True)

    @staticmethod
    def expect(true, what):
        if not true:
            raise NotReady(f"not so: {what}")


class Cloud(Process):
    def __init__(self, build, folder, https=False, emulator=(), name="cloud", options=()):
        self.data = os.path.join(folder, name)
        self.options = list(options)
        self.ready_file = os.path.join(folder, f"{name}-ready")
        self.scheme = "https" if https else "http"
        self.program = [*emulator, os.path.join(build, "tools/cloud/corvenna-cloud")]
        self.ports = {name: hold_port() for name in (self.scheme, "admin")}
        self.page = ""
        super().__init__([], os.path.join(folder, f"{name}.log"))

    @property
    def port(self):
        return self.ports[self.scheme]

    @property
    def certificate(self):
        return os.path.join(self.data, "certificate.pem")

    def start(self):
        if os.path.exists(self.ready_file):
            os.remove(self.ready_file)
        self.command = [*self.program, "--data", self.data, "--ready-file", self.ready_file,
                        f"--{self.scheme}", str(self.port), "--admin", str(self.ports["admin"]),
                        *self.options]
        super().start()
        wait_for("the cloud's start", lambda: os.path.exists(self.ready_file), PATIENCE,
                 self.check_running)
        with open(self.ready_file, encoding="utf-8") as file:
            ready = json.load(file)
        self.page = ready["page"]

    def ask(self, path, body=None, method=None):
        """One request to the cloud's own API; nothing for what is not there (yet)."""
        if body is not None and not isinstance(body, bytes):
            body = json.dumps(body).encode()
        request = urllib.request.Request(self.page.rstrip("/") + path, data=body, method=method)
        opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))
        try:
            with opener.open(request, timeout=PATIENCE) as answer:
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
        # The sandbox has a root of its own; the machine's files are in /etc.
        self.command = [*self.program, "run", *source, "--file-system", "/etc",
                        "--plugin", self.plugin, "--data", self.data,
                        "--speed", str(speed), "--status", "lines", *options]

    def start(self):
        self.said_before = len(self.said()) if os.path.exists(self.log) else 0
        super().start()

    def stop(self, seconds=PATIENCE):
        """A program that has only just begun cannot know yet what to do with a signal."""
        wait_for("the gateway's start", lambda: "at work" in self.said()[self.said_before:], PATIENCE,
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


def enter_sandbox(script, arguments, options=()):
    """Runs the script again inside the sandbox and ends with its exit code."""
    os.environ["CORVENNA_PLANT"] = "1"
    sandbox = os.path.join(PROJECT, "tests/support/sandbox")
    os.execv(sandbox, [sandbox, *options, "python3", os.path.abspath(script), *arguments])
