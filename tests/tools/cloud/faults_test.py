"""Every fault as a client meets it."""

import http.client
import os
import socket
import ssl
import time
import unittest

from cloud_server import (ANSWER_SECONDS, FORMS, Cloud, CloudTest, alarm_data, devices, file_status,
                          gateway, real_data, recall_done, request_bytes)

REAL = real_data()
GOOD = b'{"result":"ok","stored":"3","known":"0"}'
UPLOAD = request_bytes("POST", "/realdata/SN1", REAL.encode())


class Answers(CloudTest):
    def upload_raw(self, scheme="http"):
        return self.cloud.raw(UPLOAD, scheme)

    def stored(self):
        return len(self.cloud.list("/gateways")) == 1

    def both(self, kind, **more):
        """What a client receives, and how it ends: the same over both schemes."""
        outcomes = []
        for scheme in ("http", "https"):
            self.cloud.fault("realdata", kind, count=1, **more)
            outcomes.append(self.upload_raw(scheme))
        (received, end), (over_tls, end_over_tls) = outcomes
        self.assertEqual((len(over_tls), end_over_tls), (len(received), end))
        self.assertTrue(self.stored())
        return received, end

    def test_a_status_is_answered_and_the_request_not_served(self):
        for status in (300, 400, 404, 413, 500, 503, 599):
            self.cloud.fault("realdata", "status", value=status, count=1)
            self.assertEqual(self.cloud.post("/realdata/SN1", REAL).status, status)
        self.assertFalse(self.stored())

    def test_a_status_that_gateways_take_for_success_is_served(self):
        for status in (200, 201, 204, 299, 426):
            self.cloud.fault("realdata", "status", value=status, count=1)
            self.assertEqual(self.cloud.post(f"/realdata/SN{status}", REAL).status, status)
            self.assertEqual(len(self.cloud.list(f"/gateways/SN{status}/points")), 3)

    def test_a_good_status_does_not_hide_a_bad_document(self):
        self.cloud.fault("realdata", "status", value=201, count=1)
        self.assertEqual(self.cloud.post("/realdata/SN1", "{").status, 400)

    def test_delay(self):
        self.cloud.fault("realdata", "delay", value=300, count=1)
        start = time.monotonic()
        self.assertEqual(self.cloud.post("/realdata/SN1", REAL).status, 200)
        self.assertGreaterEqual(time.monotonic() - start, 0.3)

    def test_drip_sends_a_byte_a_time(self):
        self.cloud.fault("realdata", "drip", value=2, count=1)
        start = time.monotonic()
        received, end = self.upload_raw()
        self.assertTrue(received.endswith(GOOD))
        self.assertEqual(end, "closed")
        self.assertGreaterEqual(time.monotonic() - start, 0.002 * len(received))

    def test_drip_takes_a_second_a_byte_unless_told_otherwise(self):
        self.assertEqual(self.cloud.fault("realdata", "drip")["value"], 1000)
        with socket.create_connection(("127.0.0.1", self.cloud.ready["http"]),
                                      ANSWER_SECONDS) as peer:
            start = time.monotonic()
            peer.sendall(UPLOAD)
            self.assertEqual([peer.recv(1), peer.recv(1)], [b"H", b"T"])
            self.assertGreaterEqual(time.monotonic() - start, 0.9)

    def test_reset_before_the_answer_loses_only_the_answer(self):
        self.assertEqual(self.both("reset-before"), (b"", "reset"))
        self.assertIn('"known":"3"', self.cloud.post("/realdata/SN1", REAL).text)

    def test_reset_inside_the_answer(self):
        received, end = self.both("reset-inside")
        self.assertEqual(end, "reset")
        self.assertTrue(received.startswith(b"HTTP/1.1 200 OK\r\n"))
        self.assertTrue(received.endswith(GOOD[:len(GOOD) // 2]), received)

    def test_reset_inside_an_answer_without_a_body(self):
        self.cloud.recall("2024-03-05 07:00:00", "2024-03-05 08:00:00")
        self.cloud.fault("recall-done", "reset-inside")
        done = recall_done("2024-03-05 07:00:00", "2024-03-05 08:00:00")
        received, end = self.cloud.raw(request_bytes("DELETE", "/calldata/SN1", done.encode()))
        self.assertEqual((received[:8], end), (b"HTTP/1.1", "reset"))
        self.assertNotIn(b"\r\n\r\n", received)

    def test_length_long(self):
        self.cloud.fault("realdata", "length-long", value=7, count=1)
        with self.assertRaises(http.client.IncompleteRead) as caught:
            self.cloud.post("/realdata/SN1", REAL)
        self.assertEqual((caught.exception.partial, caught.exception.expected), (GOOD, 7))

    def test_length_short(self):
        self.cloud.fault("realdata", "length-short", value=7, count=1)
        self.assertEqual(self.cloud.post("/realdata/SN1", REAL).body, GOOD[:-7])
        self.cloud.fault("realdata", "length-short", value=1000, count=1)
        received, _ = self.upload_raw()
        self.assertIn(b"\r\nContent-Length: 0\r\n", received)

    def test_broken_chunks(self):
        received, _ = self.both("chunks")
        head, body = received.split(b"\r\n\r\n", 1)
        self.assertIn(b"Transfer-Encoding: chunked", head)
        self.assertNotIn(b"Content-Length", head)
        self.assertTrue(body.startswith(b"1\r\n{\r\nnone\r\n"), body)
        self.cloud.fault("realdata", "chunks", count=1)
        with self.assertRaises(http.client.HTTPException):
            self.cloud.post("/realdata/SN1", REAL)

    def test_truncate(self):
        received, end = self.both("truncate")
        self.assertEqual(end, "closed")
        self.assertIn(b"\r\nContent-Length: %d\r\n" % len(GOOD), received)
        self.assertTrue(received.endswith(b"\r\n\r\n" + GOOD[:len(GOOD) // 2]), received)

    def test_garbage(self):
        received, _ = self.both("garbage", value=300)
        self.assertEqual(len(received), 300)
        self.assertFalse(received.startswith(b"HTTP"))
        self.cloud.fault("realdata", "garbage", count=1)
        with self.assertRaises(http.client.BadStatusLine):
            self.cloud.post("/realdata/SN1", REAL)

    def test_garbage_body(self):
        self.cloud.fault("realdata", "garbage-body", count=1)
        answer = self.cloud.post("/realdata/SN1", REAL)
        self.assertEqual((answer.status, len(answer.body)), (200, len(GOOD)))
        self.assertNotEqual(answer.body, GOOD)

    def test_a_connection_stays_usable_after_a_fault_that_keeps_it(self):
        self.cloud.fault("realdata", "status", count=1)
        connection = self.cloud.connection()
        self.addCleanup(connection.close)
        for status in (500, 200, 200):
            connection.request("POST", "/realdata/SN1", REAL, {"Content-Type": "application/json"})
            answer = connection.getresponse()
            answer.read()
            self.assertEqual(answer.status, status)


class Downloads(CloudTest):
    def test_a_spoilt_download_can_be_resumed(self):
        content = os.urandom(300000)
        self.cloud.offer(content=content)
        path = "/" + self.cloud.list("/gateways/SN1/files")[0]["file"]
        self.cloud.fault("file", "truncate", count=1)
        with self.assertRaises(http.client.IncompleteRead) as caught:
            self.cloud.request("GET", path)
        first = caught.exception.partial
        self.assertEqual(first, content[:150000])
        rest = self.cloud.get(path, Range=f"bytes={len(first)}-")
        self.assertEqual(first + rest.body, content)

    def test_every_kind_spoils_a_file_of_many_blocks(self):
        content = os.urandom(300000)
        self.cloud.offer(content=content)
        path = "/" + self.cloud.list("/gateways/SN1/files")[0]["file"]
        request = request_bytes("GET", path)
        good, _ = self.cloud.raw(request)
        self.assertTrue(good.endswith(b"\r\n\r\n" + content))
        head = good[:-len(content)]
        for kind, value, expected in (
                ("delay", 1, good), ("reset-before", None, b""),
                ("truncate", None, head + content[:150000]),
                ("length-long", 5, good.replace(b"300000", b"300005")),
                ("length-short", 5, good.replace(b"300000", b"299995"))):
            self.cloud.fault("file", kind, count=1, **({"value": value} if value else {}))
            received, _ = self.cloud.raw(request)
            received_head, _, received_body = received.partition(b"\r\n\r\n")
            expected_head, _, expected_body = expected.partition(b"\r\n\r\n")
            self.assertEqual(sorted(received_head.split(b"\r\n")),
                             sorted(expected_head.split(b"\r\n")), kind)
            self.assertTrue(received_body == expected_body, kind)
        self.cloud.fault("file", "reset-inside", count=1)
        received, end = self.cloud.raw(request)
        self.assertEqual(end, "reset")
        # A reset may overtake what was sent before it.
        self.assertTrue(good[:-150000].startswith(received))
        self.cloud.fault("file", "garbage-body", count=1)
        received, _ = self.cloud.raw(request)
        self.assertEqual(len(received), len(good))
        self.assertFalse(received.endswith(content))
        self.cloud.fault("file", "chunks", count=1)
        received, _ = self.cloud.raw(request)
        self.assertTrue(received.endswith(b"\r\n1\r\n" + content[:1] + b"\r\nnone\r\n" + content +
                                          b"\r\n0\r\n\r\n"))


class Tls(CloudTest):
    options = ("--https", "0")

    def handshake(self, minimum=None, maximum=None):
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_CLIENT)
        context.check_hostname = False
        context.verify_mode = ssl.CERT_NONE
        context.set_ciphers("ALL:@SECLEVEL=0")
        context.minimum_version = minimum or ssl.TLSVersion.TLSv1_2
        context.maximum_version = maximum or ssl.TLSVersion.TLSv1_3
        with socket.create_connection(("127.0.0.1", self.cloud.ready["https"]),
                                      ANSWER_SECONDS) as plain:
            with context.wrap_socket(plain) as connection:
                return connection.version()

    def test_old_is_refused_by_clients_of_today(self):
        self.cloud.fault("connection", "tls-old", count=1)
        with self.assertRaises(ssl.SSLError):
            self.handshake()
        self.assertEqual(self.handshake(), "TLSv1.3")

    def test_old_is_really_old(self):
        self.cloud.fault("connection", "tls-old", count=1)
        self.assertEqual(self.handshake(ssl.TLSVersion.TLSv1, ssl.TLSVersion.TLSv1_1), "TLSv1.1")

    def test_without_a_fault_old_is_refused(self):
        with self.assertRaises((ssl.SSLError, ConnectionError)):
            self.handshake(ssl.TLSVersion.TLSv1, ssl.TLSVersion.TLSv1_1)
        self.assertEqual(self.handshake(maximum=ssl.TLSVersion.TLSv1_2), "TLSv1.2")

    def test_without_a_fault_only_ciphers_with_forward_secrecy_are_spoken(self):
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_CLIENT)
        context.check_hostname = False
        context.verify_mode = ssl.CERT_NONE
        context.maximum_version = ssl.TLSVersion.TLSv1_2
        for ciphers, spoken in (("ECDHE+AESGCM", True), ("ECDHE+CHACHA20", True),
                                ("ECDHE+AES+SHA", False), ("AES128-GCM-SHA256", False)):
            context.set_ciphers(ciphers)
            with socket.create_connection(("127.0.0.1", self.cloud.ready["https"]),
                                          ANSWER_SECONDS) as plain:
                try:
                    context.wrap_socket(plain).close()
                    self.assertTrue(spoken, ciphers)
                except ssl.SSLError:
                    self.assertFalse(spoken, ciphers)

    def test_break_ends_inside_the_handshake(self):
        self.cloud.fault("connection", "tls-break", count=1)
        with self.assertRaises((ssl.SSLError, ConnectionError)):
            self.handshake()
        self.assertEqual(self.handshake(), "TLSv1.3")

    def test_handshakes_that_fail_are_in_the_trace(self):
        self.cloud.fault("connection", "tls-break", count=1)
        with self.assertRaises((ssl.SSLError, ConnectionError)):
            self.handshake()
        entry = self.cloud.trace("")
        self.assertEqual((entry["fault"], entry["status"], entry["scheme"]),
                         ("connection:tls-break", 0, "https"))

    def test_plain_bytes_on_the_https_port_do_no_harm(self):
        with socket.create_connection(("127.0.0.1", self.cloud.ready["https"]),
                                      ANSWER_SECONDS) as plain:
            plain.sendall(b"GET / HTTP/1.1\r\n\r\n")
            try:
                while plain.recv(1000):
                    pass
            except ConnectionResetError:
                pass
        self.assertEqual(self.handshake(), "TLSv1.3")


class Menu(CloudTest):
    def test_every_exchange_can_be_chosen(self):
        self.cloud.recall("2024-03-05 07:00:00", "2024-03-05 08:00:00")
        md5 = self.cloud.offer()["md5"]
        file = self.cloud.list("/gateways/SN1/files")[0]["file"]
        done = recall_done("2024-03-05 07:00:00", "2024-03-05 08:00:00")
        calls = {
            "gateway": ("POST", "/gateway", gateway()),
            "device": ("POST", "/device/SN1", devices()),
            "realdata": ("POST", "/realdata/SN1", REAL),
            "alarmdata": ("POST", "/alarmdata/SN1", alarm_data()),
            "recall-list": ("GET", "/calldata/SN1", ""),
            "recall-done": ("DELETE", "/calldata/SN1", done),
            "file-list": ("GET", "/downfile/SN1", ""),
            "file-status": ("PUT", "/downfile/SN1", file_status(md5, 1)),
            "file": ("GET", "/" + file, ""),
        }
        self.assertEqual(set(self.cloud.list("/fault-kinds")["exchanges"]),
                         set(calls) | {"any", "connection"})
        for chosen in calls:
            self.cloud.fault(chosen, "status", value=555)
            for exchange, (method, path, document) in calls.items():
                status = self.cloud.send(method, path, document).status
                self.assertEqual(status == 555, exchange == chosen, (chosen, exchange, status))
            self.cloud.api("DELETE", "/faults")

    def test_any_is_every_request(self):
        self.cloud.fault("any", "status", value=555)
        for path in ("/gateway", "/nothing"):
            self.assertEqual(self.cloud.post(path, "x").status, 555)

    def test_a_count_ends_it(self):
        self.cloud.fault("realdata", "status", count=2)
        statuses = []
        for _ in range(3):
            statuses.append((self.cloud.post("/realdata/SN1", REAL).status,
                             [fault["left"] for fault in self.cloud.list("/faults")]))
        self.assertEqual(statuses, [(500, [1]), (500, []), (200, [])])

    def test_without_a_count_it_stays_and_counts(self):
        self.cloud.fault("realdata", "status")
        for _ in range(3):
            self.cloud.post("/realdata/SN1", REAL)
        fault = self.cloud.list("/faults")[0]
        self.assertEqual(fault["happened"], 3)
        self.assertNotIn("left", fault)

    def test_the_first_that_fits_happens(self):
        self.cloud.fault("realdata", "status", value=501, count=1)
        self.cloud.fault("any", "status", value=502)
        statuses = [self.cloud.post("/realdata/SN1", REAL).status for _ in range(2)]
        self.assertEqual(statuses, [501, 502])

    def test_one_can_be_cleared(self):
        first = self.cloud.fault("realdata", "status", value=501)["id"]
        second = self.cloud.fault("realdata", "status", value=502)["id"]
        self.assertEqual(self.cloud.api("DELETE", f"/faults/{first}").status, 204)
        self.assertEqual([fault["id"] for fault in self.cloud.list("/faults")], [second])
        self.assertEqual(self.cloud.api("DELETE", f"/faults/{first}").status, 404)

    def test_wrong_ones_are_refused_with_a_reason(self):
        rows = [
            ({"exchange": "realdata", "kind": "nothing"}, "no fault"),
            ({"exchange": "nothing", "kind": "status"}, "no exchange"),
            ({"exchange": "realdata", "kind": "tls-old"}, "connection only"),
            ({"exchange": "connection", "kind": "status"}, "does not go"),
            ({"exchange": "any", "kind": "status", "value": 199}, "200 to 599"),
            ({"exchange": "any", "kind": "status", "value": 600}, "200 to 599"),
            ({"exchange": "any", "kind": "delay", "value": -1}, "0 to 3600000"),
            ({"exchange": "any", "kind": "drip", "value": 0}, "1 to 60000"),
            ({"exchange": "any", "kind": "chunks", "value": 1}, "takes no value"),
            ({"exchange": "any", "kind": "status", "count": 0}, "begins at 1"),
            ({"exchange": "any", "kind": "status", "value": "500"}, "whole number"),
            ({"exchange": "any"}, '"kind"'),
            ([], "no JSON object"),
        ]
        for body, reason in rows:
            answer = self.cloud.api("POST", "/faults", body)
            self.assertEqual(answer.status, 400, body)
            self.assertIn(reason, answer.json["error"])

    def test_the_trace_names_the_fault(self):
        self.cloud.fault("realdata", "status", value=503, count=1)
        self.cloud.post("/realdata/SN1", REAL)
        entry = self.cloud.trace("/realdata/")
        self.assertEqual((entry["fault"], entry["status"]), ("realdata:status=503", 503))

    def test_a_lost_answer_is_traced_as_none(self):
        self.cloud.fault("realdata", "reset-before", count=1)
        self.cloud.raw(UPLOAD)
        entry = self.cloud.trace("/realdata/")
        self.assertEqual((entry["status"], entry["answer_bytes"]), (0, 0))


class Restart(CloudTest):
    def test_ends_those_of_a_process_that_has_the_store_for_itself(self):
        self.cloud.fault("any", "status")
        self.cloud.stop()
        self.cloud.start()
        self.assertEqual(self.cloud.list("/faults"), [])
        self.assertEqual(self.cloud.fault("any", "status")["id"], 1)


class OneGateway(CloudTest):
    def test_meets_a_fault_that_names_it_and_others_do_not(self):
        self.cloud.fault("any", "status", value=555, sn="SN1")
        done = recall_done("2024-03-05 07:00:00", "2024-03-05 08:00:00")
        for method, path, document in (
                ("POST", "/device/", devices()), ("POST", "/realdata/", REAL),
                ("POST", "/alarmdata/", alarm_data()), ("GET", "/calldata/", ""),
                ("DELETE", "/calldata/", done), ("GET", "/downfile/", ""),
                ("PUT", "/downfile/", file_status("x", 1))):
            self.assertEqual(self.cloud.send(method, path + "SN1", document).status, 555)
            self.assertNotEqual(self.cloud.send(method, path + "SN2", document).status, 555)
        self.assertEqual(self.cloud.get("/nothing").status, 404)

    def test_is_known_by_the_body_of_its_registration(self):
        self.cloud.fault("gateway", "status", value=555, sn="SN1")
        for form in FORMS:
            for sn, status in (("SN1", 555), ("SN2", 200)):
                document = gateway(form["xml"], sn)
                self.assertEqual(self.cloud.post("/gateway", document,
                                                 compress=form["compress"]).status, status)
        self.assertEqual(self.cloud.post("/gateway", "{").status, 400)
        self.assertEqual(self.cloud.post("/gateway", "x" * 9, compress=True).status, 400)

    def test_is_known_by_the_file_that_it_fetches(self):
        self.cloud.fault("file", "status", value=555, sn="SN1")
        for sn, status in (("SN1", 555), ("SN2", 200)):
            self.cloud.offer(sn)
            path = "/" + self.cloud.list(f"/gateways/{sn}/files")[0]["file"]
            self.assertEqual(self.cloud.get(path).status, status)
        self.assertEqual(self.cloud.trace(path)["sn"], "SN2")
        for path in ("/files/none/file.bin", "/files/none"):
            self.assertEqual(self.cloud.get(path).status, 404)

    def test_a_count_counts_its_own_exchanges(self):
        self.cloud.fault("realdata", "status", value=555, sn="SN1", count=1)
        statuses = [self.cloud.post("/realdata/" + sn, REAL).status
                    for sn in ("SN2", "SN1", "SN1")]
        self.assertEqual(statuses, [200, 555, 200])

    def test_is_named_in_list_and_trace(self):
        self.assertEqual(self.cloud.fault("realdata", "status", sn="SN1")["sn"], "SN1")
        self.assertNotIn("sn", self.cloud.fault("realdata", "status"))
        self.cloud.post("/realdata/SN1", REAL)
        self.assertEqual(self.cloud.trace("/realdata/")["fault"], "realdata@SN1:status=500")

    def test_cannot_be_named_where_nothing_tells_it(self):
        for body, reason in (
                ({"exchange": "connection", "kind": "tls-old", "sn": "SN1"}, "tells no serial"),
                ({"exchange": "any", "kind": "status", "sn": "a/b"}, "is no serial number"),
                ({"exchange": "any", "kind": "status", "sn": 1}, "as a text")):
            answer = self.cloud.api("POST", "/faults", body)
            self.assertEqual(answer.status, 400, body)
            self.assertIn(reason, answer.json["error"])

    def test_on_the_command_line(self):
        cloud = Cloud("--fault", "realdata@SN:1@x:status=503*2")
        self.addCleanup(cloud.close)
        self.assertEqual(cloud.list("/faults")[0]["sn"], "SN:1@x")
        self.assertEqual(cloud.post("/realdata/SN:1@x", REAL).status, 503)
        self.assertEqual(cloud.post("/realdata/SN1", REAL).status, 200)


class CommandLine(unittest.TestCase):
    def test_faults_can_be_set_from_the_start(self):
        cloud = Cloud("--fault", "realdata:status=503*2", "--fault", "any:delay")
        self.addCleanup(cloud.close)
        faults = [{key: value for key, value in fault.items() if key not in ("id", "happened")}
                  for fault in cloud.list("/faults")]
        self.assertEqual(faults, [
            {"exchange": "realdata", "kind": "status", "value": 503, "left": 2},
            {"exchange": "any", "kind": "delay", "value": 5000}])
        self.assertEqual(cloud.post("/realdata/SN1", REAL).status, 503)


if __name__ == "__main__":
    unittest.main()
