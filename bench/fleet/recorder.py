"""What a gateway with the plug-in sends, written down on its way to a cloud."""

import http.client
import http.server
import os
import re
import threading

import gateways
import plant

WANTED = ("gateway", "device", "realdata")
SECONDS = 120
# What is of one connection or of one document, and of no other.
OWN = ("host", "content-length", "connection", "expect", "xvane-time")
TIME = re.compile(rb"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d")


class Handler(http.server.BaseHTTPRequestHandler):
    def pass_on(self):
        body = self.rfile.read(int(self.headers.get("Content-Length", 0)))
        self.server.note(self.path, self.headers, body)
        connection = http.client.HTTPConnection("127.0.0.1", self.server.cloud)
        try:
            connection.request(self.command, self.path, body, dict(self.headers))
            answer = connection.getresponse()
            content = answer.read()
        finally:
            connection.close()
        self.send_response(answer.status)
        self.send_header("Content-Type", answer.headers.get("Content-Type", "text/plain"))
        self.send_header("Content-Length", str(len(content)))
        self.end_headers()
        self.wfile.write(content)

    do_GET = do_POST = do_PUT = do_DELETE = pass_on

    def log_message(self, format, *args):  # pylint: disable=redefined-builtin
        pass


class Recorder(http.server.ThreadingHTTPServer):
    """Stands before a cloud, and keeps the newest request of each exchange that is wanted."""

    daemon_threads = True

    def __init__(self, cloud):
        super().__init__(("127.0.0.1", 0), Handler)
        self.cloud = cloud
        self.seen = {}

    def note(self, path, headers, body):
        self.seen[path.split("/")[1]] = (headers, body)

    def is_done(self):
        return all(name in self.seen for name in WANTED)

    def write(self, folder, serial):
        """Bodies and the head of a document, with the serial number and the time left open."""
        for name in WANTED:
            _, body = self.seen[name]
            with open(os.path.join(folder, name), "wb") as file:
                file.write(TIME.sub(b"@TIME@", body.replace(serial.encode(), b"@SERIAL@")))
        headers, _ = self.seen["realdata"]
        with open(os.path.join(folder, "headers"), "w", encoding="utf-8") as file:
            file.writelines(f"{name}: {value}\n" for name, value in headers.items()
                            if name.lower() not in OWN)


def record(build, folder, source, speed):
    """Into files of the folder: what one gateway sends at its start and then again and again."""
    cloud = plant.Cloud(build, folder, name="recorded")
    cloud.start()
    gateway = None
    try:
        with Recorder(cloud.port) as recorder:
            threading.Thread(target=recorder.serve_forever, daemon=True).start()
            gateway = gateways.Gateway(build, folder, 1, recorder.server_address[1], speed, source)
            gateway.start()
            plant.wait_for("what a gateway sends", recorder.is_done, SECONDS, gateway.check_running)
            gateways.end([gateway])
            recorder.shutdown()
            recorder.write(folder, gateway.serial)
    finally:
        if gateway is not None:
            gateways.end([gateway])
        cloud.stop()
