"""Gateways with the plug-in, many on one machine, and what they were told had arrived."""

import os
import shlex
import signal
import sqlite3
import subprocess
import time

import plant
import servers

SANDBOX = os.path.join(plant.PROJECT, "tests/support/sandbox")
SPEED = 20  # a sample of a minute every three seconds
ALARMS = ["01010000>1", "01010001>1", "01010002>230"]
ARRIVED = 1  # the state of what a gateway was told had arrived


def possible(count):
    """How many can run here at once."""
    if subprocess.run([SANDBOX, "--private"], check=False).returncode == 0:
        return count
    print("This machine refuses namespaces: one gateway at most.")
    return min(count, 1)


class Gateway(plant.Process):
    """One with the plug-in, in a sandbox of its own: the plug-in's folders are at fixed places."""

    def __init__(self, build, folder, number, port, speed=SPEED, source=("--source", "wave")):
        self.serial = f"FLEET{number:03}"
        self.data = os.path.join(folder, self.serial)
        self.pid_file = os.path.join(folder, f"{self.serial}.pid")
        program = os.path.join(build, "tools/gateway/corvenna-gateway")
        configure = [program, "configure", *source, "--port", str(port),
                     "--serial", self.serial, "--name", f"Gateway {number}"]
        run = [program, "run", *source, "--data", self.data, "--speed", str(speed),
               "--plugin", os.path.join(build, "libcorvenna.so"), "--status", "lines",
               *(word for alarm in ALARMS for word in ("--alarm", alarm))]
        # A user of one's own, which the sandbox may be, frees a process from being bound.
        script = (f"{shlex.join(configure)} >/dev/null && echo $$ >{shlex.quote(self.pid_file)} &&"
                  f" exec {shlex.join(plant.bound(run))}")
        super().__init__([SANDBOX, "sh", "-c", script], os.path.join(folder, f"{self.serial}.log"))

    def stop(self, seconds=plant.PATIENCE):
        plant.wait_for("the gateway's start", lambda: "at work" in self.said(), plant.PATIENCE,
                       self.check_running)
        self.ask_to_end()
        return self.process.wait(seconds)

    def ask_to_end(self):
        """Where namespaces are refused the gateway is the sandbox's child, which tidies up."""
        if os.path.exists(self.pid_file):
            with open(self.pid_file, encoding="ascii") as file:
                os.kill(int(file.read()), signal.SIGTERM)

    def ask(self, sql):
        path = os.path.join(self.data, "history.db")
        if not os.path.exists(path):
            return []
        database = sqlite3.connect(f"file:{path}?mode=ro", uri=True, timeout=30)
        try:
            return database.execute(sql).fetchall()
        except sqlite3.OperationalError:  # its tables are not there yet
            return []
        finally:
            database.close()

    def arrived(self):
        """How many samples it was told had arrived."""
        rows = self.ask(f"SELECT count(*) FROM sample WHERE state = {ARRIVED}")
        return rows[0][0] if rows else 0

    def values(self):
        """What it was told had arrived: time, point and value of all its samples."""
        return {(local(when), f"{point:08x}"): value for when, point, value in self.ask(
            "SELECT r.time, r.point, r.value FROM reading r JOIN sample s ON s.time = r.time"
            f" WHERE s.state = {ARRIVED}")}

    def alarms(self):
        return [(local(when), f"{point:08x}", kind, flag) for when, point, kind, flag in self.ask(
            "SELECT a.time, a.point, a.type, a.flag FROM alarm a JOIN batch b ON b.time = a.batch"
            f" WHERE b.state = {ARRIVED}")]


def local(seconds):
    return time.strftime("%Y-%m-%d %H:%M:%S", time.localtime(seconds))


def wait_for_data(gateways, samples, alive):
    """Until each was told of that many more samples. Returns how many they are in all."""
    before = [gateway.arrived() for gateway in gateways]
    plant.wait_for("data of all", lambda: all(
        gateway.arrived() >= count + samples for gateway, count in zip(gateways, before)),
        servers.STEP_SECONDS, alive)
    return sum(gateway.arrived() for gateway in gateways)


def end(gateways):
    """Whatever they do just now."""
    running = [gateway for gateway in gateways if gateway.is_running()]
    for gateway in running:
        gateway.ask_to_end()
    for gateway in running:
        gateway.process.wait(plant.PATIENCE)


def stored_values(server, serial):
    """Time and point -> value of all that the store has of a gateway, each once."""
    rows = server.psql(servers.DATABASE, (
        f"SELECT to_char(time, 'YYYY-MM-DD HH24:MI:SS'), dblink, value FROM readings"
        f" WHERE sn = '{serial}'"))
    stored = {(when, point): value for when, point, value in rows}
    plant.Steps.expect(len(stored) == len(rows), f"each value of {serial} is there once")
    return stored


def stored_alarms(server, serial):
    rows = server.psql(servers.DATABASE, (
        "SELECT time, dblink, type, flag FROM alarms JOIN gateways g ON g.id = gateway"
        f" WHERE sn = '{serial}'"))
    return [(when, point, int(kind), int(flag)) for when, point, kind, flag in rows]


def compare(gateway, server):
    """What a gateway was told had arrived with what the store has. Returns how many values and
    alarms that were."""
    expect = plant.Steps.expect
    stored = stored_values(server, gateway.serial)
    values = gateway.values()
    for key, value in values.items():
        expect(key in stored, f"{gateway.serial} {key} is there")
        expect(abs(float(stored[key]) - value) <= 0.0005 + abs(value) * 1e-9,
               f"{gateway.serial} {key}: {value} here, {stored[key]} there")
    known = stored_alarms(server, gateway.serial)
    alarms = gateway.alarms()
    for alarm in alarms:
        expect(known.count(alarm) == 1, f"alarm {gateway.serial} {alarm} is there once")
    return len(values), len(alarms)
