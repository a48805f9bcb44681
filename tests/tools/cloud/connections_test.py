"""Connections: how requests are told apart on them, how long and how many they may be."""

import re
import select
import socket
import threading
import time
import unittest

from cloud_server import (ANSWER_SECONDS, JSON, Cloud, CloudTest, real_data, request_bytes,
                          trusting)

REAL = real_data().encode()
HIDDEN = b"POST /realdata/HIDDEN HTTP/1.1\r\nHost: x\r\nContent-Length: 0\r\n\r\n"


def head(line, *headers):
    return ("\r\n".join([line, "Host: 127.0.0.1", *headers]) + "\r\n\r\n").encode()


def statuses(received):
    """The statuses of the answers that came, one after the other."""
    return [int(status) for status in re.findall(rb"HTTP/1\.1 (\d+) ", received)]


def read_answer(connection):
    received = b""
    while b"\r\n\r\n" not in received:
        block = connection.recv(1)
        assert block, received
        received += block
    length = int(re.search(rb"Content-Length: (\d+)", received).group(1))
    while length > 0:
        block = connection.recv(length)
        assert block, received
        received, length = received + block, length - len(block)
    return received


class Peer:
    """A client's side of a connection, byte by byte."""

    def __init__(self, test, scheme="http", cloud=None):
        ports = (cloud or test.cloud).ready
        self.socket = socket.create_connection(("127.0.0.1", ports[scheme]), ANSWER_SECONDS)
        if scheme == "https":
            self.socket = trusting().wrap_socket(self.socket)
        test.addCleanup(self.socket.close)

    def send(self, data):
        self.socket.sendall(data)

    def rest(self):
        """Everything until the connection ends."""
        received = b""
        try:
            while block := self.socket.recv(65536):
                received += block
        except ConnectionResetError:
            pass
        return received

    def answer(self):
        """One answer with a Content-Length."""
        return read_answer(self.socket)


class Bodies(CloudTest):
    options = ("--max-body", "1000", "--max-file", "2000")

    def test_a_body_that_no_method_wants_is_not_the_next_request(self):
        for scheme in ("http", "admin"):
            for method in ("GET", "HEAD", "OPTIONS", "DELETE", "PUT", "PATCH", "TRACE", "NOPE"):
                with self.subTest(scheme=scheme, method=method):
                    peer = Peer(self, scheme)
                    peer.send(head(method + " /nothing HTTP/1.1",
                                   f"Content-Length: {len(HIDDEN)}") + HIDDEN +
                              head("GET /nothing HTTP/1.1", "Connection: close"))
                    self.assertEqual(statuses(peer.rest()), [404, 404])
        self.assertEqual(self.cloud.list("/gateways"), [])

    def test_a_chunked_body_that_no_method_wants_is_not_the_next_request(self):
        peer = Peer(self)
        peer.send(head("GET /nothing HTTP/1.1", "Transfer-Encoding: chunked") +
                  b"%x\r\n" % len(HIDDEN) + HIDDEN + b"\r\n0\r\n\r\n" +
                  head("GET /nothing HTTP/1.1", "Connection: close"))
        self.assertEqual(statuses(peer.rest()), [404, 404])

    def test_what_can_be_understood_in_two_ways_ends_the_connection(self):
        length = f"Content-Length: {len(HIDDEN)}"
        for headers in ([length, "Content-Length: 0"], [length, length],
                        [length, "Transfer-Encoding: chunked"], [f"Content-Length: +{len(HIDDEN)}"],
                        [f"Content-Length : {len(HIDDEN)}"], ["Transfer-Encoding : chunked"],
                        [f"Content-Length: {len(HIDDEN)}, 0"], ["X: y", " " + length],
                        ["Host: other"]):
            for scheme in ("http", "https", "admin"):
                with self.subTest(headers=headers, scheme=scheme):
                    received, _ = self.cloud.raw(head("POST /nothing HTTP/1.1", *headers) + HIDDEN,
                                                 scheme)
                    self.assertEqual(statuses(received), [400])
                    self.assertIn(b"\r\nConnection: close\r\n", received)
        self.assertEqual(self.cloud.list("/gateways"), [])

    def test_chunks_that_are_none_are_refused(self):
        for chunks in (b"x\r\n", b"-1\r\n", b"+1\r\na\r\n0\r\n\r\n", b"2\r\nabc\r\n0\r\n\r\n",
                       b"1\r\nab\r\n0\r\n\r\n", b"fffffffffffffffff\r\n", b"1 \na\n0\n\n\r\n\r\n", b"1;" + b"x" * 200000):
            with self.subTest(chunks=chunks[:40]):
                received, _ = self.cloud.raw(
                    head("POST /realdata/SN1 HTTP/1.1", "Transfer-Encoding: chunked") + chunks)
                self.assertIn(statuses(received), ([400], [413]))

    def test_a_length_is_judged_before_the_body_is_read(self):
        for scheme, path, length, status in (
                ("http", "/realdata/SN1", 1001, 413), ("https", "/realdata/SN1", 10**17, 413),
                ("admin", "/api/gateways/SN1/files?name=a", 2001, 413)):
            peer = Peer(self, scheme)
            peer.send(head(f"POST {path} HTTP/1.1", f"Content-Length: {length}"))
            self.assertEqual(statuses(peer.rest()), [status])

    def test_a_refusal_arrives_though_the_body_is_on_its_way(self):
        peer = Peer(self)
        peer.send(head("POST /realdata/SN1 HTTP/1.1", "Content-Length: 1000000") + b" " * 200000)
        self.assertEqual(statuses(peer.rest()), [413])

    def test_who_waits_to_be_asked_for_the_body_is_asked(self):
        peer = Peer(self)
        peer.send(head("POST /realdata/SN1 HTTP/1.1", "Content-Type: " + JSON,
                       f"Content-Length: {len(REAL)}", "Expect: 100-continue"))
        self.assertEqual(peer.socket.recv(1000), b"HTTP/1.1 100 Continue\r\n\r\n")
        peer.send(REAL)
        self.assertEqual(statuses(peer.answer()), [200])

    def test_who_waits_to_be_asked_for_too_much_is_refused(self):
        peer = Peer(self)
        peer.send(head("POST /realdata/SN1 HTTP/1.1", "Content-Length: 1001",
                       "Expect: 100-continue"))
        self.assertEqual(statuses(peer.rest()), [413])


class KeptAlive(CloudTest):
    def test_request_1001_is_answered_like_the_first(self):
        connection = self.cloud.connection()
        self.addCleanup(connection.close)
        connection.connect()
        first = connection.sock
        for _ in range(1001):
            connection.request("GET", "/nothing")
            answer = connection.getresponse()
            answer.read()
            self.assertEqual((answer.status, answer.getheader("Connection")), (404, "keep-alive"))
        self.assertIs(connection.sock, first)

    def test_requests_sent_at_once_are_answered_in_their_order(self):
        peer = Peer(self)
        paths = ("/calldata/SN1", "/nothing", "/downfile/SN1")
        peer.send(b"".join(head(f"GET {path} HTTP/1.1") for path in paths) +
                  b"\r\n" + head("GET /nothing HTTP/1.1", "Connection: close"))
        self.assertEqual(statuses(peer.rest()), [200, 404, 200, 404])

    def test_a_request_may_come_byte_by_byte(self):
        for scheme in ("http", "https"):
            peer = Peer(self, scheme)
            for byte in request_bytes("POST", "/realdata/SN1", REAL):
                peer.send(bytes([byte]))
            self.assertEqual(statuses(peer.rest()), [200])

    def test_http_1_0_is_closed_unless_it_asks(self):
        peer = Peer(self)
        peer.send(b"GET /nothing HTTP/1.0\r\nConnection: keep-alive\r\n\r\n")
        self.assertIn(b"\r\nConnection: keep-alive\r\n", peer.answer())
        peer.send(b"GET /nothing HTTP/1.0\r\n\r\n")
        self.assertIn(b"\r\nConnection: close\r\n", peer.rest())

    def test_head_is_answered_without_the_body_that_get_would_have(self):
        peer = Peer(self, "admin")
        peer.send(head("HEAD /api/gateways HTTP/1.1") +
                  head("GET /api/gateways HTTP/1.1", "Connection: close"))
        received = peer.rest()
        self.assertEqual(statuses(received), [200, 200])
        self.assertEqual(received.count(b"Content-Length: 2\r\n"), 2)
        self.assertEqual(received.count(b"[]"), 1)


class Times(CloudTest):
    """Of each test all wait at once: the times are long enough for a machine that is busy, or stands
    still for a while."""

    options = ("--head-time", "8", "--body-time", "8", "--idle-time", "8")

    def each_sends(self, data, *schemes):
        """A connection for each scheme, over which this was sent."""
        peers = []
        for scheme in schemes:
            peers.append(Peer(self, scheme))
            peers[-1].send(data)
        return peers

    def test_a_slow_head_is_answered_408(self):
        peers = self.each_sends(b"GET /nothing HTTP/1.1\r\n", "http", "https", "admin")
        self.assertEqual([statuses(peer.rest()) for peer in peers], [[408]] * 3)

    def test_a_head_has_one_time_however_many_bytes_come(self):
        peer = Peer(self)
        peer.socket.settimeout(0.05)
        peer.send(b"GET /nothing HTTP/1.1\r\nX: ")
        started = time.monotonic()
        received = b""
        while not received and time.monotonic() - started < ANSWER_SECONDS:
            try:
                peer.send(b"y")
                received = peer.socket.recv(1000)
            except TimeoutError:
                pass
        # Bytes go on coming, each far within the time: nothing else ends it.
        self.assertEqual(statuses(received), [408])

    def test_a_slow_body_is_answered_408(self):
        peers = self.each_sends(head("POST /realdata/SN1 HTTP/1.1", "Content-Length: 100") + b"{",
                                "http", "https", "admin")
        self.assertEqual([statuses(peer.rest()) for peer in peers], [[408]] * 3)

    def test_an_answer_that_nobody_reads_is_given_up(self):
        self.cloud.offer(content=bytes(30_000_000))
        path = "/" + self.cloud.list("/gateways/SN1/files")[0]["file"]
        peers = self.each_sends(head(f"GET {path} HTTP/1.1"), "http", "https")
        for scheme in ("http", "https"):
            entry = self.cloud.traced(lambda one: one["target"] == path and one["scheme"] == scheme)
            self.assertLess(entry["answer_bytes"], 30_000_000)
        for peer in peers:
            self.assertLess(len(peer.rest()), 30_000_000)

    def test_a_connection_without_a_request_is_closed(self):
        peers = [Peer(self, "http"), Peer(self, "admin"), Peer(self, "https")]
        plain = socket.create_connection(("127.0.0.1", self.cloud.ready["https"]), ANSWER_SECONDS)
        self.addCleanup(plain.close)
        self.assertEqual([peer.rest() for peer in peers], [b""] * 3)
        self.assertEqual(plain.recv(1), b"")
        # Nothing was asked, so that there is nothing to tell.
        self.assertEqual(self.cloud.list("/trace"), [])

    def test_a_slow_handshake_is_ended(self):
        plain = socket.create_connection(("127.0.0.1", self.cloud.ready["https"]), ANSWER_SECONDS)
        self.addCleanup(plain.close)
        plain.sendall(b"\x16\x03\x01\x02\x00\x01")
        try:
            self.assertEqual(plain.recv(1), b"")
        except ConnectionResetError:
            pass
        self.assertEqual(self.cloud.trace("")["note"], "the TLS handshake failed")

    def test_a_connection_is_closed_when_its_next_request_does_not_come(self):
        peer = Peer(self)
        peer.send(head("GET /nothing HTTP/1.1"))
        self.assertIn(b"\r\nKeep-Alive: timeout=8\r\n", peer.answer())
        self.assertEqual(peer.rest(), b"")


class Places(CloudTest):
    """Who is let in when there are as many connections as there may be. None goes by its times, on
    however busy a machine: only to make room."""

    options = ("--max-connections", "60", "--max-connections-per-address", "30",
               "--head-time", "600", "--body-time", "600", "--idle-time", "600")

    def open(self, address="127.0.0.1", scheme="http"):
        peer = socket.create_connection(("127.0.0.1", self.cloud.ready[scheme]), ANSWER_SECONDS,
                                        (address, 0))
        self.addCleanup(peer.close)
        return peer

    def connect(self, address="127.0.0.1"):
        """A connection, and whether it was kept."""
        peer = self.open(address)
        peer.sendall(head("GET /nothing HTTP/1.1"))
        try:
            return peer, statuses(read_answer(peer)) == [404]
        except (ConnectionResetError, AssertionError):
            return peer, False

    def fill(self, count=30, address="127.0.0.1"):
        held = [self.connect(address) for _ in range(count)]
        self.assertTrue(all(kept for _, kept in held))
        return [peer for peer, _ in held]

    def first(self):
        """A connection that waits for its request before any other one can."""
        return [self.open()]

    def ended(self, peers):
        """The numbers of the connections that were ended, once there are any."""
        while not (ready := select.select(peers, [], [], ANSWER_SECONDS)[0]):
            self.fail("all connections stay")
        gone = []
        for peer in ready:
            peer.settimeout(0)
            try:
                while peer.recv(65536):
                    pass
                gone.append(peers.index(peer))
            except BlockingIOError:
                pass
            except ConnectionResetError:
                gone.append(peers.index(peer))
        return gone

    def until_ended(self, peers, count):
        wanted = len(peers) - count
        while len(peers) > wanted:
            gone = self.ended(peers)
            peers = [peer for number, peer in enumerate(peers) if number not in gone]

    def test_of_one_address_that_which_has_waited_longest_gives_way(self):
        held = self.first() + self.fill(10, "127.0.0.2") + self.fill(29)
        self.assertTrue(self.connect()[1])
        self.assertEqual(self.ended(held), [0])

    def test_of_another_address_none_gives_way_for_one_that_has_too_many(self):
        held = self.fill(10, "127.0.0.2")
        self.fill(30)
        self.assertTrue(self.connect()[1])
        self.assertEqual(select.select(held, [], [], 0)[0], [])

    def test_of_all_that_which_has_waited_longest_gives_way(self):
        held = self.first() + self.fill(29) + self.fill(30, "127.0.0.2")
        self.assertTrue(self.connect("127.0.0.3")[1])
        self.assertEqual(self.ended(held), [0])
        _, said = self.cloud.stop()
        self.assertRegex(said, r"\n\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z corvenna-cloud: there are too "
                               r"many connections: that which has waited longest gives way to one "
                               r"of 127\.0\.0\.3\n")

    def test_a_request_counts_as_news_of_a_connection(self):
        held = self.fill(30) + self.fill(30, "127.0.0.2")
        held[0].sendall(head("GET /nothing HTTP/1.1"))
        self.assertEqual(statuses(read_answer(held[0])), [404])
        self.assertTrue(self.connect("127.0.0.3")[1])
        self.assertEqual(len(self.ended(held[1:])), 1)
        self.assertEqual(select.select(held[:1], [], [], 0)[0], [])

    def test_a_request_that_is_being_handled_keeps_its_place(self):
        self.cloud.fault("realdata", "delay", value=3600000)
        peers = self.fill(30, "127.0.0.2")
        for number, peer in enumerate(peers):
            peer.sendall(request_bytes("POST", f"/realdata/SN{number}", REAL))
        self.until(lambda: len(self.cloud.list("/gateways")) == len(peers))
        self.assertFalse(self.connect("127.0.0.2")[1])
        self.assertTrue(self.connect("127.0.0.3")[1])
        self.assertEqual(select.select(peers, [], [], 0)[0], [])
        _, said = self.cloud.stop()
        self.assertIn("a connection of 127.0.0.2 is refused: there are too many at work", said)

    def test_whatever_connections_wait_for_others_come_in(self):
        for scheme, begun in (("http", b""), ("http", b"GET / HTTP/1.1\r\n"),
                              ("http", head("POST /realdata/SN1 HTTP/1.1", "Content-Length: 9") + b"{"),
                              ("https", b""), ("https", b"\x16\x03\x01"), ("admin", b"")):
            with self.subTest(scheme=scheme, begun=begun):
                peers = []
                for number in range(90):
                    peers.append(self.open(f"127.0.1.{number % 3}", scheme))
                    peers[-1].sendall(begun)
                # All of them have come in: there are ports, and each takes its own.
                self.until_ended(peers, 30)
                self.assertTrue(self.connect("127.0.0.3")[1])

    def test_an_answer_that_nobody_reads_gives_way(self):
        self.cloud.offer(content=bytes(30_000_000))
        path = "/" + self.cloud.list("/gateways/SN1/files")[0]["file"]
        for _ in range(30):
            peer = self.open("127.0.0.2")
            peer.sendall(head(f"GET {path} HTTP/1.1"))
            self.assertEqual(peer.recv(12), b"HTTP/1.1 200")
        self.assertTrue(self.connect("127.0.0.2")[1])
        self.assertLess(self.cloud.traced(lambda entry: entry["exchange"] == "file")["answer_bytes"],
                        30_000_000)


class Uploads(CloudTest):
    options = ("--max-file", "2000000")

    def test_only_so_many_bodies_are_in_memory_at_once(self):
        # Room for three of the largest: four that have come as far as this are too many.
        begun = head("POST /api/gateways/SN1/files?name=a HTTP/1.1", "Content-Length: 2000000")
        peers = [Peer(self, "admin") for _ in range(4)]
        senders = [threading.Thread(target=peer.send, args=[begun + b"x" * 1_600_000])
                   for peer in peers]
        for sender in senders:
            sender.start()
        refused, _, _ = select.select([peer.socket for peer in peers], [], [], ANSWER_SECONDS)
        for sender in senders:
            sender.join()
        answers = [statuses(peer.rest()) for peer in peers if peer.socket in refused]
        self.assertEqual(answers, [[503]])
        # What the refused one had taken is there for others.
        self.cloud.offer(content=b"y" * 100_000)
        kept = [peer for peer in peers if peer.socket not in refused]
        for peer in kept:
            peer.send(b"x" * 400_000)
            self.assertEqual(statuses(peer.answer()), [201])
        self.cloud.offer(content=b"z" * 2_000_000)


class Load(unittest.TestCase):
    """2,000 connections that are idle or slow hold nobody up."""

    connections = 2000
    # Of the same question to a server that has nobody else, asked in turns; docs/cloud.md has what is
    # usual. A server that waits for one of them answers never.
    slower = 5

    def open(self, cloud, scheme, data):
        peer = socket.create_connection(("127.0.0.1", cloud.ready[scheme]), ANSWER_SECONDS)
        self.addCleanup(peer.close)
        if data:
            peer.sendall(data)
        return peer

    def slow(self, cloud):
        """A quarter each: nothing sent, half a head, half a body, an answer that nobody reads."""
        half_head = b"GET /calldata/SN1 HTTP/1.1\r\nHost: "
        half_body = head("POST /realdata/SN1 HTTP/1.1", "Content-Length: 1000") + b"{"
        kinds = [("http", b""), ("https", b""), ("admin", b""), ("http", half_head),
                 ("https", b"\x16\x03\x01"), ("admin", half_head), ("http", half_body),
                 ("admin", half_body)]
        return [self.open(cloud, *kinds[number % len(kinds)])
                for number in range(self.connections)]

    def time(self, cloud, scheme, path):
        connection = cloud.connection(scheme)
        started = time.monotonic()
        connection.request("GET", path)
        status = connection.getresponse().status
        taken = time.monotonic() - started
        connection.close()
        self.assertEqual(status, 200)
        return taken

    def times(self, clouds, scheme, path, count=40):
        """What each takes, sorted; they are asked in turns, so that the machine is the same to all."""
        return [sorted(column) for column in zip(*(
            [self.time(cloud, scheme, path) for cloud in clouds] for _ in range(count)))]

    def test_others_are_answered_at_once(self):
        import resource
        soft, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
        wanted = self.connections + 200
        if hard != resource.RLIM_INFINITY and hard < 2 * wanted:
            self.skipTest("this system allows too few open files")
        resource.setrlimit(resource.RLIMIT_NOFILE, (max(soft, wanted), hard))
        cloud, idle = (Cloud("--head-time", "600", "--body-time", "600") for _ in range(2))
        self.addCleanup(cloud.close)
        self.addCleanup(idle.close)
        peers = self.slow(cloud)
        self.assertEqual(len(peers), self.connections)
        for scheme, path in (("http", "/calldata/SN1"), ("https", "/calldata/SN1"),
                             ("admin", "/api/status"), ("admin", "/")):
            full, empty = self.times((cloud, idle), scheme, path)
            median, usual = full[len(full) // 2], empty[len(empty) // 2]
            print(f"{scheme} {path}: median {median * 1000:.1f} ms, longest {full[-1] * 1000:.1f} ms,"
                  f" median without them {usual * 1000:.1f} ms")
            self.assertLess(median, self.slower * usual)


class EndInOrder(CloudTest):
    def test_a_request_that_is_being_handled_is_answered(self):
        self.cloud.fault("realdata", "delay", value=3600000)
        idle, cut, served = Peer(self), Peer(self), Peer(self)
        cut.send(request_bytes("POST", "/realdata/SN1", REAL))
        self.until(lambda: self.cloud.list("/gateways"))
        served.send(b"".join(head(f"GET /calldata/SN{i} HTTP/1.1") for i in range(50)))
        served.answer()
        status, said = self.cloud.stop()
        self.assertEqual(status, 0)
        self.assertIn("stopping", said)
        self.assertEqual((idle.rest(), cut.rest()), (b"", b""))
        rest = served.rest()
        # Each answer that has begun is whole.
        self.assertTrue(rest == b"" or rest.endswith(b'{"node":[]}'), rest[-200:])


if __name__ == "__main__":
    unittest.main()
