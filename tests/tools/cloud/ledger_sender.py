"""Light-weight gateways that write down what they were told had arrived."""

import collections
import hashlib
import http.client
import json
import random
import threading
import time

from cloud_server import JSON, file_status, recall_done

POINTS = 20
BEGIN = 1_700_000_000
WEEK = 7 * 86400
ANSWER_SECONDS = 20
PATIENCE = 300  # for one answer that counts
# What tells a gateway to come again: a cloud that ends or has no store, a balancer without a cloud.
COME_AGAIN = (408, 502, 503, 504)


class Wrong(Exception):
    """An answer that no gateway may get."""


def text_of(second):
    return time.strftime("%Y-%m-%d %H:%M:%S", time.gmtime(second))


class Sender(threading.Thread):
    """Sends until it is told to end, each thing again until it is told that it arrived."""

    def __init__(self, number, seed, port):
        super().__init__(daemon=True)
        self.serial = f"SENDER{number:03}"
        self.random = random.Random(f"{seed} {number}")
        self.begin = BEGIN + number * WEEK
        self.connection = http.client.HTTPConnection("127.0.0.1", port, timeout=ANSWER_SECONDS)
        self.ending = threading.Event()
        self.trouble = None
        self.answers = collections.Counter()
        # The ledger.
        self.documents = self.alarms = 0
        self.recalls, self.offers = set(), set()

    # --- What it does ----------------------------------------------------------------------------

    def run(self):
        try:
            while not self.ending.wait(self.random.uniform(0, 0.2)):
                self.random.choices([self.send_document, self.send_alarm, self.serve_recalls,
                                     self.take_offers], [17, 2, 1, 1])[0]()
            while self.serve_recalls() or self.take_offers():
                pass
        except Exception as error:  # pylint: disable=broad-except
            self.trouble = f"{self.serial}: {type(error).__name__}: {error}"
        finally:
            self.connection.close()

    def send_document(self):
        status, _ = self.tell("POST", "realdata", self.document(self.documents), 200, 426)
        self.documents += 1
        if status == 426:
            self.take_offers()

    def send_alarm(self):
        when, point, kind, flag = self.alarm(self.alarms)
        self.tell("POST", "alarmdata", json.dumps({"node": [{
            "logdt": when, "channel": 2, "device": 1, "dblink": point, "name": "Point",
            "value": "1.000", "threshold_value": "0.500", "unit": "V", "type": kind, "flag": flag}]}),
            200)
        self.alarms += 1

    def serve_recalls(self):
        """Returns how many there were."""
        _, body = self.tell("GET", "calldata", None, 200)
        ranges = json.loads(body)["node"]
        for one in ranges:
            start, end = one["startdt"], one["enddt"]
            if start in self.recalls:
                raise Wrong(f"the recall of {start} is asked for again")
            self.tell("DELETE", "calldata", recall_done(start, end), 204)
            self.recalls.add(start)
        return len(ranges)

    def take_offers(self):
        """Returns how many there were."""
        _, body = self.tell("GET", "downfile", None, 200)
        files = json.loads(body)["node"]
        for one in files:
            md5 = one["md5"]
            if md5 in self.offers:
                raise Wrong(f"the file {md5} is offered again")
            self.tell("PUT", "downfile", file_status(md5, 1), 200)
            _, content = self.ask("GET", "/" + one["file"], None, 200)
            if hashlib.md5(content).hexdigest() != md5:
                raise Wrong(f"the file {md5} has another content")
            self.tell("PUT", "downfile", file_status(md5, 2), 200)
            self.offers.add(md5)
        return len(files)

    # --- What it has sent, by number -------------------------------------------------------------

    def sample(self, number):
        """Time and values by point."""
        return text_of(self.begin + number), {
            f"0201{point:04x}": f"{(number * 7919 + point * 104729) % 1000000 / 1000:.3f}"
            for point in range(1, POINTS + 1)}

    def document(self, number):
        when, values = self.sample(number)
        nodes = [{"dblink": point, "name": f"Point {point}", "unit": "V", "value": value}
                 for point, value in values.items()]
        return json.dumps({"logdt": when, "device": [{"id": 1, "channel": 2, "node": nodes}]})

    def alarm(self, number):
        """Time, point, type and flag."""
        return text_of(self.begin + number), "02010001", 1, (number + 1) % 2

    def values(self):
        return {(when, point): value for number in range(self.documents)
                for when, values in [self.sample(number)] for point, value in values.items()}

    # --- How it talks ----------------------------------------------------------------------------

    def tell(self, method, exchange, body, *wanted):
        return self.ask(method, f"/{exchange}/{self.serial}", body, *wanted)

    def ask(self, method, path, body, *wanted):
        """Status and body of the first answer that counts."""
        end = time.monotonic() + PATIENCE
        while time.monotonic() < end:
            status, answer = self.once(method, path, body)
            self.answers[status] += 1
            if status in wanted:
                return status, answer
            if status is not None and status not in COME_AGAIN:
                raise Wrong(f"{method} {path} is answered {status} {answer}")
            time.sleep(self.random.uniform(0.05, 0.5))
        raise Wrong(f"{method} {path} is not answered")

    def once(self, method, path, body):
        """No status when the connection broke or nothing came."""
        try:
            self.connection.request(method, path, body, {"Content-Type": JSON, "Accept": JSON})
            answer = self.connection.getresponse()
            return answer.status, answer.read()
        except (OSError, http.client.HTTPException):
            self.connection.close()
            return None, b""


class Asker(threading.Thread):
    """Asks senders for recalls and offers them files, at whichever cloud, each once: one whose
    answer is lost may have been taken or not."""

    def __init__(self, seed, clouds, senders):
        super().__init__(daemon=True)
        self.random = random.Random(f"{seed} asker")
        self.clouds = clouds
        self.senders = senders
        self.ending = threading.Event()
        # The ledger: serial and start of the range, or digest, with whether it was answered.
        self.recalls, self.offers = {}, {}

    def run(self):
        number = 0
        while not self.ending.wait(self.random.uniform(0, 0.5)):
            number += 1
            sender = self.random.choice(self.senders)
            self.random.choice([self.recall, self.offer])(sender, number)

    def recall(self, sender, number):
        start = text_of(sender.begin + number)
        self.recalls[sender.serial, start] = self.taken(
            sender, "recalls", {"start": start, "end": text_of(sender.begin + number + 1)})

    def offer(self, sender, number):
        content = f"offer {number} ".encode() * self.random.randrange(1, 20000)
        self.offers[sender.serial, hashlib.md5(content).hexdigest()] = self.taken(
            sender, f"files?name=offer{number}.bin&type=9&path=/opt", content)

    def taken(self, sender, what, body):
        try:
            answer = self.random.choice(self.clouds).ask(
                f"/api/gateways/{sender.serial}/{what}", body=body, method="POST")
            return answer is not None
        except (OSError, http.client.HTTPException, json.JSONDecodeError):
            return False
