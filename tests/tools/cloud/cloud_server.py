"""Starts corvenna-cloud on free ports with a folder of its own, and talks to it."""

import http.client
import json
import os
import re
import select
import shlex
import shutil
import signal
import socket
import sqlite3
import ssl
import struct
import subprocess
import tempfile
import time
import unittest
import urllib.parse
import zlib

import postgres_server

JSON = "application/json;charset=UTF-8"
XML = "application/xml;charset=UTF-8"
START_SECONDS = 120
ANSWER_SECONDS = 180  # the largest document takes a busy emulator half a minute
# The engine that every server of a run keeps its data with: "sqlite" or "postgresql".
STORE = os.environ.get("CORVENNA_STORE", "sqlite")


def command():
    return shlex.split(os.environ.get("CORVENNA_EMULATOR", "")) + [os.environ["CORVENNA_CLOUD"]]


def deflated(text):
    """As gateways compress: the text and its NUL."""
    return zlib.compress(text.encode() + b"\0")


def trusting():
    context = ssl.create_default_context()
    context.check_hostname = False
    context.verify_mode = ssl.CERT_NONE
    return context


class Answer:
    def __init__(self, status, headers, body):
        self.status, self.headers, self.body = status, headers, body

    @property
    def text(self):
        return self.body.decode()

    @property
    def json(self):
        return json.loads(self.body)


class Cloud:
    """One server. It is gone, with its folder, after close()."""

    database = None  # its name, where there is a server of databases
    own_database = None  # the same unless another Cloud has it too

    def __init__(self, *options):
        self.folder = tempfile.mkdtemp(prefix="corvenna-cloud-")
        self.process = None
        self.said = ""
        if STORE == "postgresql":
            self.own_database = self.database = postgres_server.shared().new_database()
        self.start(*options)

    def start(self, *options):
        ports = [] if "--http" in options or "--https" in options else ["--http", "0", "--https", "0"]
        self.process = subprocess.Popen(
            command() + ["--data", self.folder, "--admin", "0"] + ports + self.store() +
            list(options),
            stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        ready, _, _ = select.select([self.process.stdout], [], [], START_SECONDS)
        line = self.process.stdout.readline() if ready else b""
        if not line:
            self.process.kill()
            raise AssertionError("the server did not start: " +
                                 self.process.communicate()[1].decode())
        self.ready = json.loads(line)

    def store(self):
        """The options that name where everything is kept."""
        if self.database is None:
            return []
        return ["--store", postgres_server.shared().address(self.database)]

    def sql(self, statement, values=()):
        """The rows of a statement to the store's database."""
        if self.database is not None:
            rows = postgres_server.shared().psql(self.database, statement)
            return [tuple(int(cell) if re.fullmatch("0|[1-9][0-9]*", cell) else cell for cell in row)
                    for row in rows]
        database = sqlite3.connect(os.path.join(self.folder, "cloud.db"), timeout=ANSWER_SECONDS)
        try:
            with database:
                return database.execute(statement, values).fetchall()
        finally:
            database.close()

    def stop(self, number=signal.SIGTERM):
        """Ends it in order. Returns its status and what it said."""
        self.process.send_signal(number)
        _, said = self.process.communicate(timeout=ANSWER_SECONDS)
        self.said = said.decode()
        return self.process.returncode, self.said

    def kill(self):
        self.process.kill()
        self.process.communicate()

    def close(self):
        if self.process.poll() is None:
            status, said = self.stop()
            assert status == 0, said
        else:
            self.process.communicate()
        shutil.rmtree(self.folder)
        if self.own_database is not None:
            postgres_server.shared().give_back(self.own_database)

    def connection(self, scheme="http"):
        if scheme == "https":
            return http.client.HTTPSConnection("127.0.0.1", self.ready["https"],
                                               timeout=ANSWER_SECONDS, context=trusting())
        return http.client.HTTPConnection("127.0.0.1", self.ready[scheme], timeout=ANSWER_SECONDS)

    def request(self, method, path, body=None, headers=None, scheme="http"):
        connection = self.connection(scheme)
        try:
            connection.request(method, path, body, headers or {})
            answer = connection.getresponse()
            return Answer(answer.status, dict(answer.getheaders()), answer.read())
        finally:
            connection.close()

    def send(self, method, path, document, scheme="http", compress=False):
        """A gateway's request with a body; XML when the document looks like it."""
        headers = {"Content-Type": XML if document.startswith("<") else JSON}
        if compress:
            headers["Content-Encoding"] = "deflate"
        body = deflated(document) if compress else document.encode()
        return self.request(method, path, body, headers, scheme)

    def post(self, path, document, **how):
        return self.send("POST", path, document, **how)

    def get(self, path, accept="json", scheme="http", **headers):
        return self.request("GET", path, headers={"Accept": f"application/{accept};", **headers},
                            scheme=scheme)

    def api(self, method, path, body=None, /, **parameters):
        if parameters:
            path += "?" + urllib.parse.urlencode(parameters)
        if isinstance(body, (dict, list)):
            body = json.dumps(body)
        return self.request(method, "/api" + path, body, scheme="admin")

    def list(self, path, /, **parameters):
        answer = self.api("GET", path, **parameters)
        assert answer.status == 200, (answer.status, answer.body)
        return answer.json

    def traced(self, wanted):
        """The newest trace entry that is wanted, once it is there: entries are written when an
        answer has gone out, so that its reader can be first, and connections overtake each other.
        """
        deadline = time.monotonic() + ANSWER_SECONDS
        while True:
            entries = self.list("/trace")
            found = [entry for entry in entries if wanted(entry)]
            if found:
                return found[-1]
            assert time.monotonic() < deadline, entries[-1:]

    def traced_all(self, count):
        """Waits until that many exchanges are in the trace."""
        deadline = time.monotonic() + ANSWER_SECONDS
        while len(entries := self.list("/trace")) < count:
            assert time.monotonic() < deadline, entries

    def trace(self, target):
        """The newest trace entry about a target."""
        return self.traced(lambda entry: entry["target"].startswith(target))

    def offer(self, sn="SN1", content=b"content", name="file.bin", type=0, path=""):
        answer = self.api("POST", f"/gateways/{sn}/files", content, name=name, type=type, path=path)
        assert answer.status == 201, (answer.status, answer.body)
        return answer.json

    def recall(self, start, end, sn="SN1"):
        return self.api("POST", f"/gateways/{sn}/recalls", {"start": start, "end": end})

    def fault(self, exchange, kind, **more):
        answer = self.api("POST", "/faults", {"exchange": exchange, "kind": kind, **more})
        assert answer.status == 201, (answer.status, answer.body)
        return answer.json

    def raw(self, request, scheme="http"):
        """Everything that comes back on a connection of its own, and how the connection ended:
        "closed", "reset"."""
        connection = socket.create_connection(("127.0.0.1", self.ready[scheme]), ANSWER_SECONDS)
        if scheme == "https":
            # Python shows a reset below TLS as an end that was not announced.
            connection = trusting().wrap_socket(connection, suppress_ragged_eofs=False)
        with connection:
            connection.sendall(request)
            received = b""
            try:
                while block := connection.recv(65536):
                    received += block
            except (ConnectionResetError, ssl.SSLEOFError):
                return received, "reset"
            return received, "closed"


def request_bytes(method, path, body=b"", *headers):
    head = [f"{method} {path} HTTP/1.1", "Host: 127.0.0.1", "Connection: close",
            "Content-Type: " + JSON, f"Content-Length: {len(body)}", *headers]
    return ("\r\n".join(head) + "\r\n\r\n").encode() + body


class CloudTest(unittest.TestCase):
    """Each test has a server of its own, started with `options`."""

    options = ()

    def setUp(self):
        self.cloud = Cloud(*self.options)
        self.addCleanup(self.cloud.close)

    def until(self, holds):
        deadline = time.monotonic() + ANSWER_SECONDS
        while not holds():
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.01)  # between two tries, for others on the machine

    def run(self, result):
        """Shows what the server said when a test fails."""
        before = len(result.failures) + len(result.errors)
        super().run(result)
        if len(result.failures) + len(result.errors) > before and hasattr(self, "cloud"):
            print(f"--- {self.id()}: the server said\n{self.cloud.said}")


def real_data(time="2024-03-05 07:08:09", value="229.870", xml=False):
    """Two points of device 1 of channel 2, and device 2 whose line is down."""
    if xml:
        return f"""<?xml version="1.0" encoding="UTF-8"?>
<data logdt="{time}">
  <device id="1" channel="2">
    <node dblink="02010001" name="Ua" value="{value}" unit="V"/>
    <node dblink="02010100" name="Comm_Status" value="1.000" unit=""/>
  </device>
  <device id="2" channel="2">
    <node dblink="02020100" name="Comm_Status" value="0" unit=""/>
  </device>
</data>
"""
    return ('{"logdt":"%s","device":[{"id":1,"channel":2,"node":['
            '{"dblink":"02010001","name":"Ua","unit":"V","value":"%s"},'
            '{"dblink":"02010100","name":"Comm_Status","unit":"","value":"1"}]},'
            '{"id":2,"channel":2,"node":['
            '{"dblink":"02020100","name":"Comm_Status","unit":"","value":"0"}]}]}' % (time, value))


def alarm_data(count=1, xml=False):
    if xml:
        node = ('  <node logdt="2024-03-05 07:08:09" channel="2" device="1" dblink="02010001"'
                ' name="Ua" value="253.100" unit="V" thredhold_value="250.000" type="-1"'
                ' flag="1"/>\n')
        return f'<?xml version="1.0" encoding="UTF-8"?>\n<data>\n{node * count}</data>\n'
    node = ('{"logdt":"2024-03-05 07:08:09","channel":2,"device":1,"dblink":"02010001",'
            '"name":"Ua","value":"253.100","threshold_value":"250.000","unit":"V","type":-1,'
            '"flag":1}')
    return '{"node":[%s]}' % ",".join([node] * count)


def gateway(xml=False, sn="SN1"):
    if xml:
        return f"""<?xml version="1.0" encoding="UTF-8"?>
<data>
  <gw sn="{sn}" name="Gate" ver="1.2.3&#10;">
    <site name="Site" longitude="8.5" latitude="47.3"/>
    <owner name="Owner" desc="owns"/>
    <room name="Room" desc="cellar" camera="reserve"/>
  </gw>
</data>
"""
    return ('{"sn":"%s","name":"Gate","ver":"1.2.3\\n",'
            '"site":{"name":"Site","longitude":"8.5","latitude":"47.3"},'
            '"owner":{"name":"Owner","desc":"owns"},'
            '"room":{"name":"Room","desc":"cellar","camera":"reserve"}}' % sn)


def devices(xml=False, names=("Meter1", "Meter2")):
    rows = list(enumerate(names, 1))
    if xml:
        lines = "".join(f'  <device channel="2" id="{i}" desc="d{i}" name="{n}"/>\n'
                        for i, n in rows)
        return f'<?xml version="1.0" encoding="UTF-8"?>\n<data>\n{lines}</data>\n'
    return json.dumps({"device": [{"channel": 2, "id": i, "desc": f"d{i}", "name": n}
                                  for i, n in rows]}, separators=(",", ":"))


def recall_done(start, end, xml=False):
    if xml:
        return ('<?xml version="1.0" encoding="UTF-8"?>\n<data>\n'
                f'  <node startdt="{start}" enddt="{end}"/>\n</data>\n')
    return '{"node":{"startdt":"%s","enddt":"%s"}}' % (start, end)


def file_status(md5, status, xml=False):
    if xml:
        return ('<?xml version="1.0" encoding="UTF-8"?>\n<data>\n'
                f'  <node md5="{md5}" status="{status}"/>\n</data>\n')
    return '{"node":{"md5":"%s","status":"%s"}}' % (md5, status)


# The four forms that every body comes in.
FORMS = [{"xml": xml, "compress": compress} for xml in (False, True) for compress in (False, True)]
