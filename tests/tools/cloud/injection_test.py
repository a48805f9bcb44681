"""What comes from gateways and from foreign web pages stays what it is: text."""

import json
import os
import unittest
import urllib.parse

from cloud_server import CloudTest, alarm_data, devices, gateway, real_data

NASTY = [
    "<script>alert(1)</script>",
    "'; DROP TABLE samples; --",
    '" onmouseover="x',
    "../../etc/passwd",
    "$(touch pwned)`touch pwned`;touch pwned",
    "%s%n%x",
    "\N{RIGHT-TO-LEFT OVERRIDE}\N{PILE OF POO}",
    "{{7*7}}${7*7}",
    "a&amp;b",
]


def quoted(text):
    """As the inside of a JSON string."""
    return json.dumps(text)[1:-1]


class Texts(CloudTest):
    def test_come_out_of_the_api_as_they_went_in(self):
        for text in NASTY:
            with self.subTest(text=text):
                self.cloud.post("/gateway", gateway().replace("Gate", quoted(text)))
                self.cloud.post("/device/SN1", devices(names=[text]))
                self.cloud.post("/realdata/SN1", real_data().replace('"Ua"', f'"{quoted(text)}"'))
                self.cloud.post("/alarmdata/SN1", alarm_data().replace('"Ua"', f'"{quoted(text)}"'))
                self.assertEqual(self.cloud.list("/gateways/SN1")["name"], text)
                self.assertEqual(self.cloud.list("/gateways/SN1/devices")[0]["name"], text)
                self.assertEqual(self.cloud.list("/gateways/SN1/points")[0]["name"], text)
        self.assertEqual(len(self.cloud.list("/gateways/SN1/points")), 3)

    def test_serial_numbers_are_only_texts(self):
        for sn in [text for text in NASTY if "/" not in text]:
            with self.subTest(sn=sn):
                path = urllib.parse.quote(sn, safe="")
                self.assertEqual(self.cloud.post(f"/realdata/{path}", real_data()).status, 200)
                self.assertEqual(self.cloud.list(f"/gateways/{path}")["sn"], sn)
        self.assertEqual(sorted(os.listdir(os.path.join(self.cloud.folder, "files"))), [])

    def test_a_serial_number_cannot_lead_elsewhere(self):
        for path in ("..%2f..%2fetc", "%2e%2e%2fx", "a%2fb"):
            self.assertIn(self.cloud.post(f"/realdata/{path}", real_data()).status, (400, 404))

    def test_answers_to_gateways_stay_well_formed(self):
        self.cloud.offer(name="a.txt", type=9, path="/opt/x")
        for accept in ("json", "xml"):
            self.assertNotIn("<script", self.cloud.get("/downfile/SN1", accept).text)

    def test_the_trace_shows_them_as_texts(self):
        self.cloud.request("POST", "/realdata/%3Cscript%3E?x=<b>", b"\xff\0<script>",
                           {"Content-Type": "application/json", "X-Note": "<i>\x80"})
        entry = self.cloud.trace("/realdata/")
        self.assertEqual(entry["sn"], "<script>")
        self.assertIn("\N{REPLACEMENT CHARACTER}", entry["request_body"])
        self.assertIn("\N{REPLACEMENT CHARACTER}", entry["request_headers"])


class OfferedNames(CloudTest):
    def test_are_plain_words(self):
        for name in ("", ".hidden", "-rf", "a b", "a/b", "../a", "a;b", "$(a)", "`a`", "a'b", 'a"b',
                     "a\nb", "a*b", "ä", "n" * 49):
            answer = self.cloud.api("POST", "/gateways/SN1/files", b"x", name=name)
            self.assertEqual(answer.status, 400, name)
        for name in ("a", "Update-1.0_b+c.zip", "n" * 48):
            self.cloud.offer(name=name)

    def test_targets_are_absolute_paths_of_plain_words(self):
        for path in ("", "opt", "/a b", "/a;b", "/../etc", "/a/..", "/$(a)", "/" + "p" * 200):
            answer = self.cloud.api("POST", "/gateways/SN1/files", b"x", name="a", type=9, **{
                "path": path})
            self.assertEqual(answer.status, 400, path)
        self.cloud.offer(type=9, path="/opt/a-b_c.d/e")

    def test_types_are_numbers(self):
        for number in ("-1", "x", "2147483648", "1.5"):
            answer = self.cloud.api("POST", "/gateways/SN1/files", b"x", name="a", type=number)
            self.assertEqual(answer.status, 400, number)


class ForeignPages(CloudTest):
    def request(self, method, path, **headers):
        return self.cloud.request(method, path, b"{}" if method == "POST" else None,
                                  {key.replace("_", "-"): value for key, value in headers.items()},
                                  scheme="admin")

    def test_a_name_that_leads_here_is_refused(self):
        for host in ("evil.example", "evil.example:8081", "127.0.0.1.evil.example", ""):
            self.assertEqual(self.request("GET", "/api/gateways", Host=host).status, 403, host)

    def test_this_machine_is_reached_by_address_and_as_localhost(self):
        for host in ("127.0.0.1", "127.0.0.1:1", "localhost:8081", "[::1]:8081", "192.168.7.9"):
            self.assertEqual(self.request("GET", "/api/gateways", Host=host).status, 200, host)

    def test_another_pages_script_changes_nothing(self):
        self.cloud.fault("any", "status")
        for origin in ("http://evil.example", "null", "https://127.0.0.1"):
            for method in ("POST", "DELETE"):
                answer = self.request(method, "/api/faults", Origin=origin)
                self.assertEqual(answer.status, 403, (method, origin))
        self.assertEqual(len(self.cloud.list("/faults")), 1)

    def test_the_own_page_may(self):
        origin = f"http://127.0.0.1:{self.cloud.ready['admin']}"
        self.assertEqual(self.request("DELETE", "/api/faults", Origin=origin).status, 204)

    def test_nothing_foreign_is_loaded_or_framed(self):
        for path in ("/", "/app.js", "/api/gateways", "/nothing"):
            headers = self.request("GET", path).headers
            policy = headers["Content-Security-Policy"]
            self.assertIn("default-src 'none'", policy)
            self.assertIn("frame-ancestors 'none'", policy)
            self.assertNotIn("unsafe", policy)
            self.assertEqual(headers["X-Content-Type-Options"], "nosniff")


if __name__ == "__main__":
    unittest.main()
