"""A small cloud that keeps to the protocol but for one clause."""

import base64
import hashlib
import http.server
import json
import pathlib
import re
import shutil
import ssl
import subprocess
import tempfile
import threading
import xml.etree.ElementTree
import zlib

CONTENT = b"Crane: lubricate on Friday.\n"
RANGE = ("2024-03-05 07:00:00", "2024-03-05 08:00:00")
PASSWORD = "Basic " + base64.b64encode(b"harbour:crane").decode()


class Damaged(Exception):
    """A document that cannot be read."""


class Answer:
    def __init__(self, status, body=b"", **headers):
        self.status, self.body, self.headers = status, body, headers
        self.chunked = self.cut = False


class Cloud:
    """`wrong` is the clause that it does not keep to. The commands have it recall and offer."""

    def __init__(self, wrong="", tls=False):
        self.wrong = wrong
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="corvenna-wrong-"))
        self.recalls, self.files, self.served, self.seen = [], [], [], []
        handler = type("Handler", (Handler,), {"cloud": self})
        if wrong == "http-version":
            handler.version = "HTTP/1.0"
        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), handler)
        self.tls = tls
        if tls:
            self.server.socket = context(self.folder).wrap_socket(self.server.socket,
                                                                  server_side=True)
        self.thread = threading.Thread(target=self.server.serve_forever, args=(0.01,))
        self.thread.start()

    def close(self):
        self.server.shutdown()
        self.thread.join()
        self.server.server_close()
        shutil.rmtree(self.folder)

    @property
    def url(self):
        return f"{'https' if self.tls else 'http'}://127.0.0.1:{self.server.server_port}/plant"

    @property
    def commands(self):
        return ["--recall-command", f": > {self.folder}/recall",
                "--offer-command", f": > {self.folder}/offer"]

    def take_commands(self):
        for name, act in (("recall", self.recall), ("offer", self.offer)):
            path = self.folder / name
            if path.exists():
                path.unlink()
                act()

    def recall(self):
        if self.wrong != "recall-listed" and RANGE not in self.recalls:
            self.recalls.append(RANGE)

    def offer(self):
        if self.wrong == "files-listed" or self.files:
            return
        digest = hashlib.md5(CONTENT).hexdigest()
        self.files.append({
            "file": "files/notes.txt",
            "md5": digest.upper() if self.wrong == "file-digest" else digest,
            "type": "7" if self.wrong == "file-type" else "9",
            "path": "/tmp/a b" if self.wrong == "file-words" else "/tmp"})

    # Exchanges.

    def answer(self, method, path, headers, body):
        self.take_commands()
        step, _, rest = path.removeprefix("/plant/").partition("/")
        act = getattr(self, f"{method.lower()}_{step}", None)
        if path.startswith("/plant/") and act and step in (
                "gateway", "device", "realdata", "alarmdata", "calldata", "downfile", "files"):
            if not self.may(step, headers):
                return Answer(401)
            try:
                return act(headers, body) if step != "files" else act(rest)
            except Damaged:
                return Answer(400)
        unknown = {"gateway": "unknown-method", "nothing": "unknown-path"}.get(step)
        return Answer(200 if self.wrong == unknown else 404)

    def may(self, step, headers):
        if not self.tls or step == "files":
            return True
        if step in ("gateway", "device"):
            return self.wrong == "gateway-password" or headers.get("Authorization") == PASSWORD
        return self.wrong == "gateway-cookie" or headers.get("Cookie") == "who=harbour"

    def document(self, headers, body, damaged):
        """The text of a body. Half a document is damaged, or else this is what is wrong."""
        try:
            if headers.get("Content-Encoding") == "deflate":
                body = self.inflated(body)
            return read(headers, body)
        except Damaged:
            if self.wrong == damaged:
                return ""
            raise

    def inflated(self, body):
        try:
            text = zlib.decompress(body)
        except zlib.error:
            if self.wrong == "deflate-damaged":
                return b'{"logdt":"2024-03-05 07:08:09","device":[]}'
            raise Damaged from None
        if text[-1:] != b"\0":
            raise Damaged
        return text[:-1]

    def time_of(self, text):
        """How often this very document came, this time included."""
        self.seen.append(text)
        return self.seen.count(text)

    def refuses(self, text, *reasons):
        """Whether one of the clauses given with what it is about is the wrong one, and about this
        text."""
        return any(self.wrong == clause and about for clause, about in reasons)

    def post_gateway(self, headers, body):
        text = self.document(headers, body, "gateway-damaged")
        time = self.time_of(text)
        if self.refuses(text, ("gateway-taken", time == 1 and text.isascii()),
                        ("gateway-again", time == 2), ("gateway-letters", not text.isascii())):
            return Answer(503)
        cookie = {"Set-Cookie": "who=harbour; Path=/; Secure"}
        return Answer(201, **(cookie if self.tls and self.wrong != "gateway-cookie" else {}))

    def post_device(self, headers, body):
        text = self.document(headers, body, "devices-damaged")
        if self.refuses(text, ("devices-taken", "Feeder1" in text),
                        ("devices-none", len(text) < 100), ("devices-longest", len(text) == 20478)):
            return Answer(503)
        return Answer(200)

    def post_realdata(self, headers, body):
        assert headers["XVane-Time"].isdigit()
        text = self.document(headers, body, "real-damaged")
        time = self.time_of(text)
        if self.refuses(text, ("real-taken", time == 1 and "229.870" in text),
                        ("real-again", time == 2), ("real-no-value", "-1.000" in text),
                        ("real-long", len(text) > 299999)):
            return Answer(503)
        hint = bool(self.files) and self.wrong != "files-hint"
        return Answer(426 if hint or self.wrong == "files-no-hint" else 200)

    def post_alarmdata(self, headers, body):
        assert "XVane-Time" not in headers
        text = self.document(headers, body, "alarms-damaged")
        time = self.time_of(text)
        if self.refuses(text, ("alarms-taken", time == 1 and "253.100" in text),
                        ("alarms-again", time == 2), ("alarms-none", "253.100" not in text)):
            return Answer(503)
        return Answer(426 if self.files and self.wrong == "files-no-alarm-hint" else 200)

    def get_calldata(self, headers, _):
        ranges = [dict(zip(("startdt", "enddt"),
                           reversed(one) if self.wrong == "recall-times" else one))
                  for one in self.recalls]
        if self.wrong == "recall-stays":
            self.recalls.clear()
        answer = Answer(202 if self.wrong == "recalls-status" else 200,
                        a_list(headers, ranges, "nodes" if self.wrong == "recalls-readable" else "node"))
        answer.chunked = self.wrong == "recalls-one-piece"
        return answer

    def delete_calldata(self, headers, body):
        text = self.document(headers, body, "recall-done-damaged")
        meant = tuple(re.findall(r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d", text))
        if self.wrong == "recall-times":
            meant = tuple(reversed(meant))
        if self.wrong == "recall-other" and text:
            self.recalls.clear()
        if meant in self.recalls:
            if self.wrong != "recall-gone":
                self.recalls.remove(meant)
            self.served.append(meant)
            return Answer(200 if self.wrong == "recall-done" else 204)
        known = meant in self.served and self.wrong != "recall-done-again"
        return Answer(204 if known or not text else 404)

    def get_downfile(self, headers, _):
        body = a_list(headers, self.files)
        if self.wrong == "files-readable":
            body = b'{"node":[7]}'
        answer = Answer(302 if self.wrong == "no-redirect" else 200, body)
        if self.wrong == "files-one-piece":
            answer.headers["X-Filler"] = "x" * 1460
        return answer

    def put_downfile(self, headers, body):
        text = self.document(headers, body, "file-status-damaged")
        if not text:
            return Answer(200)
        status = re.search(r'status"?[=:]"(\d)"', text).group(1)
        if self.wrong == {"0": "file-failed", "1": "file-begun", "2": "file-done"}[status]:
            return Answer(404)
        if status != "1" and self.wrong != "file-ended":
            self.files.clear()
        return Answer(200)

    def get_files(self, name):
        assert name == "notes.txt"
        answer = Answer(200, b"other" if self.wrong == "file-content" else CONTENT)
        answer.cut = self.wrong == "answered"
        return answer


def read(headers, body):
    """The text of a whole document in the format that the headers tell."""
    text = body.decode()
    try:
        if headers["Content-Type"].startswith("application/xml"):
            xml.etree.ElementTree.fromstring(text)
        else:
            json.loads(text)
    except (ValueError, xml.etree.ElementTree.ParseError):
        raise Damaged from None
    return text


def a_list(headers, entries, name="node"):
    if headers["Accept"] == "application/xml;":
        root = xml.etree.ElementTree.Element("data")
        for entry in entries:
            xml.etree.ElementTree.SubElement(root, name, entry)
        return xml.etree.ElementTree.tostring(root, "utf-8")
    return json.dumps({name: entries}).encode()


def context(folder):
    """A server's TLS with a certificate of its own."""
    key, certificate = folder / "key.pem", folder / "certificate.pem"
    subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt",
                    "ec_paramgen_curve:prime256v1", "-nodes", "-days", "2", "-subj", "/CN=localhost",
                    "-keyout", key, "-out", certificate], check=True, capture_output=True)
    made = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    made.load_cert_chain(certificate, key)
    return made


class Handler(http.server.BaseHTTPRequestHandler):
    version = "HTTP/1.1"
    cloud = None
    # All of an answer goes out with one write: the kit counts pieces.

    def handle_one(self):
        body = self.rfile.read(int(self.headers.get("Content-Length", "0")))
        answer = self.cloud.answer(self.command, self.path, self.headers, body)
        head = [f"{self.version} {answer.status} Said", "Connection: close"]
        head += [f"{name}: {value}" for name, value in answer.headers.items()]
        if answer.chunked:
            head.append("Transfer-Encoding: chunked")
            answer.body = b"%x\r\n%s\r\n0\r\n\r\n" % (len(answer.body), answer.body)
        elif answer.status != 204:
            head.append(f"Content-Length: {len(answer.body) + answer.cut}")
        self.wfile.write("\r\n".join(head).encode() + b"\r\n\r\n" + answer.body)
        self.close_connection = True

    do_GET = do_POST = do_PUT = do_DELETE = handle_one

    def log_message(self, *_):
        """Nothing: a test has its own words."""
