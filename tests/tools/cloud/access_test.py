"""Who may use page and API, directly and through a proxy, and what is kept out of sight."""

import base64
import os
import ssl
import subprocess
import tempfile
import unittest

from cloud_server import ANSWER_SECONDS, Cloud, CloudTest, command, gateway, real_data

TOKEN = "token-of-32-characters-0123456789"
# Of the password "sesame", with the least cost, so that the test is quick.
USERS = "anna:$2b$04$abcdefghijklmnopqrstuuinwY/tkBVrn3xrxQI/TgnMHhkvl85RW\n"


def basic(name, password):
    return "Basic " + base64.b64encode(f"{name}:{password}".encode()).decode()


class Files(unittest.TestCase):
    """Tests that start servers with files of their own."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def file(self, name, content):
        path = os.path.join(self.folder, name)
        with open(path, "w") as file:
            file.write(content)
        return path

    def start(self, *options):
        cloud = Cloud(*options)
        self.addCleanup(cloud.close)
        return cloud

    def refused(self, *options):
        """What a server says that does not start."""
        ended = subprocess.run(command() + ["--data", os.path.join(self.folder, "data"), "--admin",
                                            "0", "--http", "0", *options],
                               capture_output=True, text=True, timeout=ANSWER_SECONDS)
        self.assertEqual((ended.returncode, ended.stdout), (1, ""))
        return ended.stderr

    def status(self, cloud, path="/api/gateways", method="GET", scheme="admin", **headers):
        return cloud.request(method, path, headers=headers, scheme=scheme).status


class Token(Files):
    def setUp(self):
        super().setUp()
        self.cloud = self.start("--admin-token-file", self.file("token", TOKEN + "\n"))

    def test_page_and_api_want_it(self):
        for path in ("/", "/app.js", "/api/gateways", "/api/openapi.json", "/nothing"):
            answer = self.cloud.request("GET", path, scheme="admin")
            self.assertEqual(answer.status, 401, path)
            self.assertIn("Basic", answer.headers["WWW-Authenticate"])
        self.assertEqual(self.status(self.cloud, method="DELETE", path="/api/faults"), 401)

    def test_who_does_not_know_it_is_refused_before_his_body_comes(self):
        connection = self.cloud.connection("admin")
        self.addCleanup(connection.close)
        connection.putrequest("POST", "/api/gateways/SN1/files?name=a")
        connection.putheader("Content-Length", "60000000")
        connection.endheaders()
        answer = connection.getresponse()
        self.assertEqual((answer.status, answer.getheader("Connection")), (401, "close"))

    def test_it_opens_them(self):
        for authorization in ("Bearer " + TOKEN, basic("", TOKEN), basic("anybody", TOKEN)):
            self.assertEqual(self.status(self.cloud, Authorization=authorization), 200)
            self.assertEqual(self.status(self.cloud, "/", Authorization=authorization), 200)

    def test_nothing_else_does(self):
        for authorization in ("Bearer " + TOKEN[:-1], "Bearer " + TOKEN + "x", "Bearer", TOKEN,
                              basic("anna", TOKEN[:-1]), "Basic " + TOKEN):
            self.assertEqual(self.status(self.cloud, Authorization=authorization), 401)

    def test_guessing_is_slowed_down(self):
        for _ in range(20):
            self.assertEqual(self.status(self.cloud, Authorization="Bearer wrong"), 401)
        self.assertEqual(self.status(self.cloud, Authorization="Bearer wrong"), 429)

    def test_gateways_do_not_need_it(self):
        self.assertEqual(self.cloud.post("/gateway", gateway()).status, 200)

    def test_its_file_is_looked_at_before_anything_is_served(self):
        for content in ("", "short\n", "fifteen-letters", "with a blank in between\n"):
            self.assertIn("has no token", self.refused("--admin-token-file",
                                                       self.file("bad", content)))
        self.assertIn("cannot read", self.refused("--admin-token-file", "/nothing/here"))
        self.start("--admin-token-file", self.file("least", "sixteen-letters!"))


class Users(Files):
    def test_their_passwords_open_page_and_api(self):
        hashes = self.file("users", USERS)
        cloud = self.start("--admin-users", hashes)
        self.assertEqual(self.status(cloud), 401)
        for name, password, status in (("anna", "sesame", 200), ("anna", "wrong", 401),
                                       ("bert", "sesame", 401), ("anna", "sesame", 200)):
            self.assertEqual(self.status(cloud, Authorization=basic(name, password)), status)
        self.assertEqual(self.status(cloud, Authorization="Bearer sesame"), 401)

    def test_a_token_may_stand_beside_them(self):
        cloud = self.start("--admin-users", self.file("users", USERS), "--admin-token-file",
                           self.file("token", TOKEN))
        for authorization in ("Bearer " + TOKEN, basic("anna", "sesame")):
            self.assertEqual(self.status(cloud, Authorization=authorization), 200)

    def test_their_file_is_looked_at_before_anything_is_served(self):
        bad = self.file("bad", "anna:sesame\n")
        self.assertIn(bad + ":1: no usable hash", self.refused("--admin-users", bad))


class Tls(Files):
    def test_page_and_api_come_over_tls_with_the_same_certificate(self):
        cloud = self.start("--admin-tls", "--https", "0")
        self.assertTrue(cloud.ready["page"].startswith("https://127.0.0.1:"))
        certificates = {ssl.get_server_certificate(("127.0.0.1", cloud.ready[port]))
                        for port in ("https", "admin")}
        self.assertEqual(len(certificates), 1)
        cloud.ready["https"] = cloud.ready["admin"]
        self.assertEqual(self.status(cloud, scheme="https"), 200)
        origin = cloud.ready["page"].rstrip("/")
        self.assertEqual(self.status(cloud, "/api/faults", "DELETE", "https", Origin=origin), 204)
        self.assertEqual(self.status(cloud, "/api/faults", "DELETE", "https",
                                     Origin=origin.replace("https", "http")), 403)

    def test_a_certificate_is_made_for_them_alone_too(self):
        cloud = self.start("--admin-tls", "--http", "0")
        self.assertTrue(os.path.exists(os.path.join(cloud.folder, "certificate.pem")))


class Names(CloudTest):
    options = ("--trusted-host", "Cloud.example", "--trusted-host", "other.example")

    def status(self, method="GET", path="/api/gateways", **headers):
        return self.cloud.request(method, path, headers=headers, scheme="admin").status

    def test_trusted_ones_are_answered(self):
        for host, status in (("cloud.example", 200), ("CLOUD.example:8443", 200),
                             ("other.example", 200), ("127.0.0.1:1", 200), ("localhost", 200),
                             ("evil.example", 403), ("cloud.example.evil", 403), ("", 403)):
            self.assertEqual(self.status(Host=host), status, host)

    def test_the_page_under_a_trusted_one_may_change_things(self):
        for origin, status in (("https://cloud.example", 204), ("http://cloud.example:8080", 204),
                               ("https://evil.example", 403), ("null", 403),
                               ("https://cloud.example.evil", 403), ("cloud.example", 403)):
            for host in ("cloud.example", "127.0.0.1"):
                self.assertEqual(self.status("DELETE", "/api/faults", Host=host, Origin=origin),
                                 status, (origin, host))


class Proxy(CloudTest):
    options = ("--trusted-proxy", "127.0.0.1", "--trusted-proxy", "::1",
               "--trusted-host", "cloud.example")

    def test_what_it_says_about_its_client_counts(self):
        headers = {"X-Forwarded-For": "10.1.1.1, 10.2.2.2", "X-Forwarded-Proto": "https"}
        answer = self.cloud.request("GET", "/calldata/SN1", headers=headers)
        self.assertEqual(answer.status, 200)
        entry = self.cloud.trace("/calldata/SN1")
        # The last address is what the proxy saw; those before it can be anybody's.
        self.assertEqual((entry["address"], entry["scheme"]), ("10.2.2.2", "https"))

    def test_the_last_word_counts_however_it_is_said(self):
        connection = self.cloud.connection()
        self.addCleanup(connection.close)
        connection.putrequest("GET", "/calldata/SN1")
        for address in ("10.1.1.1", "10.2.2.2, 2001:db8::7"):
            connection.putheader("X-Forwarded-For", address)
        connection.endheaders()
        connection.getresponse().read()
        self.assertEqual(self.cloud.trace("/calldata/SN1")["address"], "2001:db8::7")

    def test_its_host_takes_the_place_of_its_own(self):
        for host, status in (("cloud.example", 200), ("evil.example", 403)):
            answer = self.cloud.request("GET", "/api/gateways",
                                        headers={"X-Forwarded-Host": host}, scheme="admin")
            self.assertEqual(answer.status, status)

    def test_nonsense_is_not_taken_for_an_address(self):
        self.cloud.request("GET", "/calldata/SN1", headers={"X-Forwarded-For": "<script>",
                                                            "X-Forwarded-Proto": "gopher"})
        entry = self.cloud.trace("/calldata/SN1")
        self.assertEqual((entry["address"], entry["scheme"]), ("127.0.0.1", "http"))


class NoProxy(CloudTest):
    def test_others_cannot_say_who_they_are(self):
        self.cloud.request("GET", "/calldata/SN1", headers={
            "X-Forwarded-For": "10.1.1.1", "X-Forwarded-Proto": "https"})
        entry = self.cloud.trace("/calldata/SN1")
        self.assertEqual((entry["address"], entry["scheme"]), ("127.0.0.1", "http"))
        answer = self.cloud.request("GET", "/api/gateways", scheme="admin", headers={
            "Host": "evil.example", "X-Forwarded-Host": "127.0.0.1"})
        self.assertEqual(answer.status, 403)


class Secrets(CloudTest):
    def test_do_not_show_in_the_trace(self):
        self.cloud.request("POST", "/realdata/SN1", real_data(), {
            "Content-Type": "application/json", "Authorization": basic("user", "sesame"),
            "proxy-authorization": "Bearer sesame", "Cookie": "session=sesame", "X-Other": "shown"})
        headers = self.cloud.trace("/realdata/SN1")["request_headers"]
        self.assertNotIn("sesame", headers)
        self.assertNotIn(basic("user", "sesame"), headers)
        for line in ("Authorization: (not shown)\n", "proxy-authorization: (not shown)\n",
                     "Cookie: (not shown)\n", "X-Other: shown\n"):
            self.assertIn(line, headers)


if __name__ == "__main__":
    unittest.main()
