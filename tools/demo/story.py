"""The whole conversation between a gateway and its cloud, once, with evidence of every step.

Started by ./demo. Exits with 0 only if everything happened.
"""

import argparse
import hashlib
import os
import signal
import sys
import tempfile
import time
import zipfile

import plant

SPEED = 30
STEP_SECONDS = 240  # also of a machine that is busy, and of an emulator
ALARM = "Memory/Used>0.1"
UPLOADS = "/tmp/uploads"
PACKAGE_BYTES = 20000


class Story(plant.Steps):
    def __init__(self, options):
        self.options = options
        self.folder = tempfile.mkdtemp(prefix="corvenna-demo-")
        # The emulator is slow, and the rhythm is not what is shown.
        self.speed = 12 if options.emulator else SPEED
        same = options.build == options.gateway_build
        self.cloud = plant.Cloud(options.build, self.folder, options.https,
                                 options.emulator if same else ())
        self.gateway = plant.Gateway(options.gateway_build, self.folder, options.emulator)
        self.format = "xml" if options.xml else "json"
        self.package = os.urandom(PACKAGE_BYTES)

    # --- The steps: each returns its evidence, or raises --------------------------------------

    def start(self):
        self.cloud.start()
        options = ["--format", self.format, "--name", "Demonstration gateway"]
        if self.options.compress:
            options.append("--compress")
        self.gateway.configure(self.cloud, options=options)
        self.gateway.prepare(self.speed, options=["--alarm", ALARM])
        self.gateway.start()
        return f"cloud on {self.cloud.scheme} port {self.cloud.port}, gateway {plant.SERIAL}"

    def registration(self):
        def registered():
            gateway = self.cloud.of_gateway()
            devices = self.cloud.of_gateway("/devices")
            return gateway and gateway["registered"] and devices and (gateway, devices)

        gateway, devices = self.wait(registered, "registration")
        names = ", ".join(device["name"] for device in devices)
        return f"\"{gateway['name']}\" {gateway['version']} with {len(devices)} devices: {names}"

    def offer(self):
        """Early, so that the first upload is told of it; looked at later."""
        path = os.path.join(self.folder, "package.zip")
        with zipfile.ZipFile(path, "w") as package:
            package.writestr("update.vpk", self.package)
            package.writestr("update.xml", "<update>\n<filesize size=\"0\" />\n</update>\n")
        with open(path, "rb") as file:
            content = file.read()
        self.cloud.of_gateway("/files?name=package.zip&type=0", body=content, method="POST")
        return f"package.zip, {len(content)} bytes, md5 {hashlib.md5(content).hexdigest()}"

    def real_data(self):
        samples = self.wait(lambda: len(self.arrived()) >= 2 and self.arrived(), "two samples")
        compared = self.compare(samples[:2])
        entry = self.exchange("realdata")
        headers = entry["request_headers"].lower()
        self.expect(f"content-type: application/{self.format};charset=utf-8" in
                    headers.replace("content-type:application", "content-type: application"),
                    f"content type of {self.format}")
        self.expect(("content-encoding: deflate" in headers) == self.options.compress,
                    "deflated as configured")
        self.expect("xvane-time" in headers, "time header")
        return (f"{compared} values of 2 samples equal to the gateway's own; "
                f"{entry['request_bytes']} bytes of {self.format}"
                f"{', deflated' if self.options.compress else ''}")

    def alarm(self):
        alarm = self.wait(lambda: self.cloud.of_gateway("/alarms"), "an alarm")[0]
        self.expect(alarm["flag"] == 1 and alarm["type"] == 1, "upper limit, begun")
        return (f"{alarm['name']} is {alarm['value']} {alarm['unit']}, limit "
                f"{alarm['threshold']}, at {alarm['time']}")

    def recall(self):
        times = self.arrived()[:2]
        self.forget(times)
        self.cloud.of_gateway("/recalls", body={"start": times[0], "end": times[1]})

        def served():
            recall = self.cloud.of_gateway("/recalls")[0]
            return recall["state"] == "served"

        self.wait(served, "the recall")
        compared = self.compare(times)
        return f"{times[0]} to {times[1]}: {compared} values that the cloud had lost are back"

    def download(self):
        file = self.wait(lambda: next(
            (file for file in self.cloud.of_gateway("/files") if file["finished"]), None),
            "the download")
        self.expect(file["state"] == "done", f"file is {file['state']}, not done")
        self.expect(file["begun"], "begun before it was done")
        return f"status 1 at {file['begun']}, status 2 at {file['finished']}, md5 {file['md5']}"

    def installation(self):
        with open(os.path.join(UPLOADS, "update.vpk"), "rb") as file:
            self.expect(file.read() == self.package, "update.vpk is what was packed")
        with open(os.path.join(UPLOADS, "update.xml"), encoding="utf-8") as file:
            self.expect(f"size=\"{PACKAGE_BYTES}\"" in file.read(), "update.xml has the size")
        self.expect(not os.listdir("/media/mmcblk0p1"), "the card is clean")
        return f"{UPLOADS}/update.vpk and update.xml (filesize {PACKAGE_BYTES}); card clean"

    def stop(self):
        self.expect(self.gateway.stop() == 0, "the gateway ended with 0")
        waiting = self.gateway.history().execute(
            "SELECT count(*) FROM sample WHERE state = 0").fetchone()[0]
        return f"gateway ended with 0; {waiting} samples wait in its history for the next start"

    # --- Helpers ---------------------------------------------------------------------------------

    def wait(self, check, what):
        return plant.wait_for(what, check, STEP_SECONDS, self.check_alive)

    def check_alive(self):
        self.cloud.check_running()
        self.gateway.check_running()

    def exchange(self, name):
        """The first exchange of a kind in the cloud's trace, which is written when an answer has gone
        out: what it was about may be seen before."""
        def first():
            trace = self.cloud.ask("/api/trace")
            entries = trace["entries"] if isinstance(trace, dict) else trace
            return min((entry for entry in entries if entry["exchange"] == name),
                       key=lambda entry: entry["id"], default=None)

        return self.wait(first, f"the trace of {name}")

    def arrived(self):
        """The times of the samples that the cloud has, as its texts."""
        rows = self.cloud.database().execute(
            "SELECT DISTINCT time FROM readings WHERE sn = ? ORDER BY time", [plant.SERIAL])
        return [row[0] for row in rows]

    def forget(self, times):
        """The cloud loses samples, so that only a recall can bring them back."""
        with self.cloud.database() as database:
            for text in times:
                deleted = database.execute(
                    "DELETE FROM documents WHERE datetime(time, 'unixepoch') = ?", [text]).rowcount
                self.expect(deleted > 0, "there was something to lose")

    def compare(self, times):
        """Every value of the samples at both ends. Returns how many."""
        count = 0
        cloud = self.cloud.database()
        for text in times:
            stored = dict(cloud.execute(
                "SELECT dblink, value FROM readings WHERE sn = ? AND time = ?",
                [plant.SERIAL, text]))
            moment = time.mktime(time.strptime(text, "%Y-%m-%d %H:%M:%S"))
            taken = self.gateway.history().execute(
                "SELECT point, value FROM reading WHERE time = ?", [int(moment)]).fetchall()
            self.expect(len(taken) == len(stored) > 0, f"{text}: as many values at both ends")
            for point, value in taken:
                there = float(stored[f"{point:08x}"])
                self.expect(abs(there - value) <= 0.0005 + abs(value) * 1e-9,
                            f"{point:08x} at {text}: {value} here, {there} there")
                count += 1
        return count

    def tell(self):
        steps = [("start", self.start), ("registration", self.registration),
                 ("package offered", self.offer), ("real data", self.real_data),
                 ("alarm", self.alarm), ("recall served", self.recall),
                 ("download verified", self.download), ("installed", self.installation)]
        if not self.options.keep:
            steps.append(("stop", self.stop))
        for name, step in steps:
            self.step(name, step)

    def show_logs(self):
        plant.show_logs((self.cloud, self.gateway), 25)

    def afterwards(self):
        if not self.options.keep:
            return
        print(f"\nThe cloud's page: {self.cloud.page}   (end with Ctrl-C)", flush=True)
        ended = signal.sigwait({signal.SIGINT, signal.SIGTERM})
        print(f"ended by {signal.Signals(ended).name}")

    def end(self):
        for process in (self.gateway, self.cloud):
            if process.is_running():
                process.stop()


def parse(arguments):
    parser = argparse.ArgumentParser(prog="demo")
    parser.add_argument("--build", required=True)
    parser.add_argument("--gateway-build", required=True)
    parser.add_argument("--emulator", default="")
    for flag in ("https", "xml", "compress", "keep"):
        parser.add_argument(f"--{flag}", action="store_true")
    options = parser.parse_args(arguments)
    options.emulator = options.emulator.split()
    return options


def main():
    if not plant.is_sandboxed():
        # The plug-in's install commands use `let` and `echo -e`, which a gateway's shell knows and
        # Debian's does not.
        plant.enter_sandbox(__file__, sys.argv[1:], ["--bash"])
    options = parse(sys.argv[1:])
    plant.end_on_signals()
    if options.keep:
        signal.pthread_sigmask(signal.SIG_BLOCK, {signal.SIGINT, signal.SIGTERM})
    return Story(options).run()


if __name__ == "__main__":
    sys.exit(main())
