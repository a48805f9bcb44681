"""Bodies that are not what they should be, and bounds."""

import socket
import unittest
import zlib

from cloud_server import (ANSWER_SECONDS, JSON, XML, CloudTest, alarm_data, deflated, devices,
                          file_status, gateway, real_data, recall_done, request_bytes)

REAL = real_data()
REAL_XML = real_data(xml=True)
ALARM = alarm_data()
ALARM_XML = alarm_data(xml=True)
DEEP = '{"logdt":' * 9 + "1" + "}" * 9

# Path, document, what the reason says.
BAD_DOCUMENTS = [
    ("realdata", "", "no JSON"),
    ("realdata", "{", "no JSON"),
    ("realdata", REAL[:-1], "no JSON"),
    ("realdata", REAL + "x", "no JSON"),
    ("realdata", "[]", "no JSON object"),
    ("realdata", "[" * 100000, "no JSON"),
    ("realdata", DEEP, "too deep"),
    ("realdata", '{"logdt":null,"device":[]}', '"logdt" is neither'),
    ("realdata", '{"logdt":"2024-03-05 07:08:09","device":[1]}', "something else than objects"),
    ("realdata", '{"logdt":"2024-03-05 07:08:09"}', '"device" is missing'),
    ("realdata", '{"logdt":"2024-03-05 07:08:09","device":[{"id":1,"channel":2}]}',
     '"node" is missing'),
    ("realdata", '{"logdt":"a","logdt":"b","device":[]}', "stands twice"),
    ("realdata", REAL.replace('"logdt"', '"time"'), '"logdt" is missing'),
    ("realdata", real_data("2024-02-30 00:00:00"), "no time"),
    ("realdata", real_data("2023-02-29 00:00:00"), "no time"),
    ("realdata", real_data("2024-13-01 00:00:00"), "no time"),
    ("realdata", real_data("2024-00-01 00:00:00"), "no time"),
    ("realdata", real_data("2024-03-05 24:00:00"), "no time"),
    ("realdata", real_data("2024-03-05 07:60:00"), "no time"),
    ("realdata", real_data("2024-03-05T07:00:00"), "no time"),
    ("realdata", real_data("2024-3-5 7:0:0"), "no time"),
    ("realdata", REAL.replace('"id":1', '"id":"1"'), '"id" is no whole number'),
    ("realdata", REAL.replace('"id":1', '"id":256'), '"id" is no whole number'),
    ("realdata", REAL.replace('"channel":2', '"channel":-1'), '"channel" is no whole number'),
    ("realdata", REAL.replace('"channel":2', '"channel":1.5'), '"channel" is neither'),
    ("realdata", REAL.replace("02010001", "0201000"), "eight lower-case"),
    ("realdata", REAL.replace("02010001", "0201000G"), "eight lower-case"),
    ("realdata", REAL.replace("02010001", "0201000A"), "eight lower-case"),
    ("realdata", real_data(value=""), '"value" is no number'),
    ("realdata", real_data(value="1.0x"), '"value" is no number'),
    ("realdata", real_data(value=" 1.0"), '"value" is no number'),
    ("realdata", real_data(value="1" * 65), '"value" is no number'),
    ("realdata", REAL.replace('"229.870"', "229.870"), '"value" is neither'),
    ("realdata", REAL.replace('"229.870"', "229"), '"value" is no string'),
    ("realdata", REAL.replace('"Ua"', '"%s"' % ("n" * 1025)), "longer than 1024"),
    ("realdata", "<", "no XML"),
    ("realdata", REAL_XML[:-3], "no XML"),
    ("realdata", REAL_XML.replace("data>", "Data>").replace("<data", "<Data"), 'not "data"'),
    ("realdata", REAL_XML.replace("<data", '<!DOCTYPE data [<!ENTITY a "b">]><data'),
     "document type"),
    ("realdata", "<data>" + "<device>" * 8 + "</device>" * 8 + "</data>", "too deep"),
    ("realdata", REAL_XML.replace(' unit="V"', ""), '"unit" is missing'),
    ("realdata", REAL_XML.replace('id="1"', 'id="1x"'), '"id" is no whole number'),
    ("alarmdata", "{}", '"node" is missing'),
    ("alarmdata", ALARM.replace("threshold_value", "thredhold_value"), "is missing"),
    ("alarmdata", ALARM_XML.replace("thredhold_value", "threshold_value"), "is missing"),
    ("alarmdata", ALARM.replace('"type":-1', '"type":2147483648'), '"type" is no whole number'),
    ("alarmdata", ALARM.replace('"device":1', '"device":256'), '"device" is no whole number'),
    ("device", "{}", '"device" is missing'),
    ("device", devices().replace('"channel":2', '"channel":"2"'), '"channel" is no whole number'),
    ("device", devices().replace('"desc"', '"Desc"'), '"desc" is missing'),
    ("gateway", gateway().replace('"sn":"SN1",', ""), '"sn" is missing'),
    ("gateway", gateway(sn=""), "no serial number"),
    ("gateway", gateway(sn="a/b"), "no serial number"),
    ("gateway", gateway(sn="n" * 65), "no serial number"),
    ("gateway", gateway().replace('"camera":"reserve"', '"x":"y"'), '"camera" is missing'),
    ("gateway", gateway(True).replace("<gw", "<gate").replace("</gw", "</gate"), '"gw"'),
    ("gateway", gateway(True).replace("longitude", "longtitude"), '"longitude" is missing'),
]


class BadDocuments(CloudTest):
    def test_are_answered_400_with_the_reason_and_leave_nothing(self):
        for path, document, reason in BAD_DOCUMENTS:
            with self.subTest(path=path, document=document[:200]):
                target = "/gateway" if path == "gateway" else f"/{path}/SN1"
                answer = self.cloud.post(target, document)
                self.assertEqual(answer.status, 400)
                self.assertIn(reason, answer.text)
        self.assertEqual(self.cloud.list("/gateways"), [])

    def test_one_bad_entry_refuses_the_whole_document(self):
        last_is_bad = REAL.replace('"02020100"', '"x"')
        self.assertEqual(self.cloud.post("/realdata/SN1", last_is_bad).status, 400)
        self.assertEqual(self.cloud.list("/gateways"), [])

    def test_of_acknowledgements_and_statuses(self):
        rows = [
            ("DELETE", "calldata", '{"node":[]}', '"node" must stand there once'),
            ("DELETE", "calldata", recall_done("2024-03-05", "2024-03-06"), "no time"),
            ("DELETE", "calldata", "<data/>", '"node" must stand there once'),
            ("PUT", "downfile", file_status("x", "3"), "none of 0, 1 and 2"),
            ("PUT", "downfile", file_status("x", "-1"), "none of 0, 1 and 2"),
            ("PUT", "downfile", '{"node":{"md5":"x","status":2}}', "no string"),
            ("PUT", "downfile", "<data><node status='2'/></data>", '"md5" is missing'),
        ]
        for method, path, document, reason in rows:
            with self.subTest(document=document):
                answer = self.cloud.send(method, f"/{path}/SN1", document)
                self.assertEqual(answer.status, 400)
                self.assertIn(reason, answer.text)

    def test_a_serial_number_in_the_path_must_be_one(self):
        for sn in ("", "%00", "%0a", "%ff", "n" * 65):
            self.assertEqual(self.cloud.post("/realdata/" + sn, REAL).status, 400, sn)
        self.assertEqual(self.cloud.post("/realdata/" + "n" * 64, REAL).status, 200)


class Compression(CloudTest):
    options = ("--max-body", "100000", "--max-inflated", "300000")

    def send(self, body, encoding="deflate", content_type=JSON):
        headers = {"Content-Type": content_type}
        if encoding is not None:
            headers["Content-Encoding"] = encoding
        answer = self.cloud.request("POST", "/realdata/SN1", body, headers)
        return answer.status, answer.text

    def test_damaged_streams_are_refused(self):
        good = deflated(REAL)
        for body, reason in ((good[:-1], "cut"), (good[:10], "cut"), (b"", "cut"),
                             (b"\x78\x9c" + b"?" * 50, "damaged"), (REAL.encode(), "damaged"),
                             (good + b"x", "followed"),
                             (zlib.compress(REAL.encode()), "NUL"),
                             (zlib.compress(REAL.encode() + b"\0\0"), "NUL"),
                             (good[:-4] + b"\0\0\0\0", "damaged")):
            with self.subTest(reason=reason):
                status, text = self.send(body)
                self.assertEqual(status, 400)
                self.assertIn(reason, text)
        self.assertEqual(self.cloud.list("/gateways"), [])

    def test_a_bomb_is_refused_at_the_bound(self):
        for size, status in ((299999, 400), (300000, 400), (90_000_000, 400)):
            answered, text = self.send(zlib.compress(b" " * size + b"\0"))
            self.assertEqual(answered, status)
            self.assertEqual("larger than 300000" in text, size + 1 > 300000, (size, text))

    def test_other_codings_are_refused(self):
        for encoding in ("gzip", "br", "DEFLATED"):
            self.assertEqual(self.send(REAL.encode(), encoding)[0], 415, encoding)

    def test_a_body_that_says_it_is_not_coded_is_read_as_it_is(self):
        self.assertEqual(self.send(REAL.encode(), "identity")[0], 200)

    def test_other_content_types_are_refused(self):
        for content_type in ("text/plain", "application/x-www-form-urlencoded", ""):
            self.assertEqual(self.send(REAL.encode(), None, content_type)[0], 415, content_type)

    def test_the_named_language_counts(self):
        self.assertEqual(self.send(REAL.encode(), None, XML)[0], 400)
        self.assertEqual(self.send(REAL_XML.encode(), None, JSON)[0], 400)

    def test_a_body_at_the_bound_is_read_and_one_above_is_not(self):
        for size, status in ((99999, 200), (100000, 200), (100001, 413)):
            self.assertEqual(self.send(REAL.ljust(size).encode(), None)[0], status, size)

    def test_a_chunked_body_has_the_same_bound(self):
        for size, status in ((100000, 200), (100001, 413)):
            chunks = [REAL.ljust(size).encode()[i:i + 10000] for i in range(0, size, 10000)]
            answer = self.cloud.request("POST", "/realdata/SN1", iter(chunks),
                                        {"Content-Type": JSON})
            self.assertEqual(answer.status, status, size)

    def test_an_endless_chunked_body_is_cut_off(self):
        with socket.create_connection(("127.0.0.1", self.cloud.ready["http"]),
                                      ANSWER_SECONDS) as peer:
            peer.sendall(b"POST /realdata/SN1 HTTP/1.1\r\nHost: x\r\nContent-Type: "
                         b"application/json\r\nTransfer-Encoding: chunked\r\n\r\n")
            sent = 0
            try:
                while sent < 50_000_000:
                    peer.sendall(b"1000\r\n" + b" " * 4096 + b"\r\n")
                    sent += 4096
            except OSError:
                pass
        self.assertLess(sent, 50_000_000)

    def test_a_body_that_ends_early_is_refused(self):
        received, _ = self.half_request()
        self.assertIn(b" 400 ", received)
        self.assertEqual(self.cloud.list("/gateways"), [])

    def half_request(self):
        request = request_bytes("POST", "/realdata/SN1", REAL.encode())
        with socket.create_connection(("127.0.0.1", self.cloud.ready["http"]),
                                      ANSWER_SECONDS) as peer:
            peer.sendall(request[:-10])
            peer.shutdown(socket.SHUT_WR)
            received = b""
            while block := peer.recv(65536):
                received += block
            return received, "closed"


class Heads(CloudTest):
    def test_nonsense_is_answered_400(self):
        for request in (b"nonsense\r\n\r\n", b"\x16\x03\x01\x02\x00\x01\r\n\r\n",
                        b"GET /gateway HTTP/9.9\r\n\r\n"):
            received, _ = self.cloud.raw(request)
            self.assertTrue(received.startswith(b"HTTP/1.1 400 "), received)

    def test_an_endless_head_is_cut_off(self):
        for beginning, more in ((b"GET /", b"a" * 4096), (b"GET / HTTP/1.1\r\n", b"a: b\r\n" * 700)):
            with socket.create_connection(("127.0.0.1", self.cloud.ready["http"]),
                                          ANSWER_SECONDS) as peer:
                sent = 0
                try:
                    peer.sendall(beginning)
                    while sent < 50_000_000:
                        peer.sendall(more)
                        sent += len(more)
                except OSError:
                    pass
            self.assertLess(sent, 50_000_000)

    def test_a_long_path_is_refused(self):
        for length in (8000, 60000):
            status = self.cloud.request("GET", "/" + "a" * length).status
            self.assertIn(status, (404, 414), length)

    def test_the_server_goes_on_after_all_of_it(self):
        self.cloud.raw(b"\0" * 1000 + b"\r\n\r\n")
        self.assertEqual(self.cloud.post("/realdata/SN1", REAL).status, 200)


if __name__ == "__main__":
    unittest.main()
