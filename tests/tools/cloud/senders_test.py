"""Who may send data, and as which gateway."""

import base64
import crypt
import os
import subprocess
import unittest

from cloud_server import (ANSWER_SECONDS, JSON, Cloud, CloudTest, alarm_data, command, devices,
                          gateway, real_data)

USER = "plant"
PASSWORD = "correct horse"


def basic(name, password):
    return "Basic " + base64.b64encode(f"{name}:{password}".encode()).decode()


class SendersTest(unittest.TestCase):
    def start(self, *options, files=()):
        """A server with files beside its data; their names in the options are made whole."""
        cloud = Cloud.__new__(Cloud)
        cloud.folder = self.enterContext(Folder())
        for name, text in files:
            with open(os.path.join(cloud.folder, name), "w") as file:
                file.write(text)
        names = {name for name, _ in files}
        self.options = [os.path.join(cloud.folder, option) if option in names else option
                        for option in options]
        cloud.start(*self.options)
        self.addCleanup(lambda: cloud.process.poll() is None and cloud.stop())
        return cloud

    def post(self, cloud, path, document, **headers):
        return cloud.request("POST", path, document.encode(),
                             {"Content-Type": JSON,
                              **{key.replace("_", "-"): value for key, value in headers.items()}},
                             scheme="https")


class Folder:
    def __enter__(self):
        import tempfile
        self.folder = tempfile.TemporaryDirectory(prefix="corvenna-cloud-")
        return self.folder.name

    def __exit__(self, *_):
        self.folder.cleanup()


def users(password=PASSWORD):
    salt = crypt.mksalt(crypt.METHOD_BLOWFISH, rounds=16)
    return f"{USER}:{crypt.crypt(password, salt)}\n"


class GatewayUsers(SendersTest):
    def setUp(self):
        self.cloud = self.start("--users", "users", files=[("users", users())])

    def register(self, password=PASSWORD):
        return self.post(self.cloud, "/gateway", gateway(), Authorization=basic(USER, password))

    def cookie(self):
        return self.register().headers["Set-Cookie"].split(";")[0]

    def test_a_registration_without_a_good_password_is_refused(self):
        for headers in ({}, {"Authorization": basic(USER, "wrong")},
                        {"Authorization": basic("nobody", PASSWORD)},
                        {"Authorization": "Basic ???"}):
            answer = self.post(self.cloud, "/gateway", gateway(), **headers)
            self.assertEqual(answer.status, 401, headers)
            self.assertIn("Basic", answer.headers["WWW-Authenticate"])
        self.assertEqual(self.cloud.list("/gateways"), [])

    def test_a_registration_with_it_earns_a_cookie_for_all_that_follows(self):
        answer = self.register()
        self.assertEqual(answer.status, 200)
        self.assertRegex(answer.headers["Set-Cookie"],
                         r"^corvenna=[0-9a-f]+\.[0-9a-f]{64}; Path=/; Secure; HttpOnly$")
        cookie = answer.headers["Set-Cookie"].split(";")[0]
        self.cloud.offer()
        for method, path, document, status in (
                ("POST", "/device/SN1", devices(), 200),
                ("POST", "/realdata/SN1", real_data(), 426),
                ("POST", "/alarmdata/SN1", alarm_data(), 200),
                ("GET", "/calldata/SN1", "", 200), ("GET", "/downfile/SN1", "", 200)):
            for headers, expected in (({}, 401), ({"Cookie": "other=1; " + cookie}, status)):
                answer = self.cloud.request(method, path, document.encode(),
                                            {"Content-Type": JSON, **headers}, scheme="https")
                self.assertEqual(answer.status, expected, (path, headers))

    def test_a_cookie_that_was_changed_is_refused(self):
        cookie = self.cookie()
        for bad in (cookie[:-1] + ("0" if cookie[-1] != "0" else "1"), cookie[:-1], "corvenna=",
                    "corvenna=6e6f626f6479." + "0" * 64, cookie.replace("corvenna", "x")):
            self.assertEqual(self.post(self.cloud, "/realdata/SN1", real_data(),
                                       Cookie=bad).status, 401, bad)

    def test_a_cookie_outlives_the_server_but_not_the_password(self):
        cookie = self.cookie()
        self.cloud.stop()
        self.cloud.start(*self.options)
        self.assertEqual(self.post(self.cloud, "/realdata/SN1", real_data(), Cookie=cookie).status,
                         200)
        self.cloud.stop()
        with open(self.options[1], "w") as file:
            file.write(users("another"))
        self.cloud.start(*self.options)
        self.assertEqual(self.post(self.cloud, "/realdata/SN1", real_data(), Cookie=cookie).status,
                         401)

    def test_the_key_is_for_the_owner_alone(self):
        mode = os.stat(os.path.join(self.cloud.folder, "cookie.key")).st_mode
        self.assertEqual(mode & 0o777, 0o600)

    def test_an_offered_file_needs_its_address_alone(self):
        self.cloud.offer()
        file = self.cloud.list("/gateways/SN1/files")[0]["file"]
        self.assertEqual(self.cloud.request("GET", "/" + file, scheme="https").status, 200)

    def test_passwords_and_cookies_do_not_show_in_the_trace(self):
        self.post(self.cloud, "/realdata/SN1", real_data(), Cookie=self.cookie())
        self.cloud.traced_all(2)
        entries = self.cloud.list("/trace")
        self.assertEqual(entries and [entry for entry in entries
                                      if self.cookie().split("=")[1] in str(entry)
                                      or basic(USER, PASSWORD).split()[1] in str(entry)], [])


class Serials(SendersTest):
    def setUp(self):
        self.cloud = self.start("--serials", "serials",
                                files=[("serials", "# those we know\nSN1\r\n\nSN 2\n")])

    def test_that_are_not_in_the_file_are_refused(self):
        for sn, status in (("SN1", 200), ("SN%202", 200), ("SN3", 403), ("sn1", 403)):
            for method, path, document in (("POST", "/realdata/", real_data()),
                                           ("GET", "/calldata/", ""), ("GET", "/downfile/", "")):
                answer = self.cloud.request(method, path + sn, document.encode(),
                                            {"Content-Type": JSON})
                self.assertEqual(answer.status, status, (method, sn))

    def test_of_registrations_stand_in_the_document(self):
        for sn, status in (("SN1", 200), ("SN3", 403)):
            self.assertEqual(self.cloud.post("/gateway", gateway(sn=sn)).status, status)
        self.assertEqual([row["sn"] for row in self.cloud.list("/gateways")], ["SN1"])


class Files(CloudTest):
    def refusal(self, *options):
        folder = os.path.join(self.cloud.folder, "other")
        ended = subprocess.run(command() + ["--data", folder, "--admin", "0", "--http", "0",
                                            *options],
                               capture_output=True, text=True, timeout=ANSWER_SECONDS)
        self.assertEqual(ended.returncode, 1)
        return ended.stderr

    def test_that_cannot_be_used_are_refused_at_the_start(self):
        bad = os.path.join(self.cloud.folder, "bad")
        with open(bad, "w") as file:
            file.write("a/b\n")
        self.assertIn("is no serial number", self.refusal("--serials", bad))
        self.assertIn("a line is name:hash", self.refusal("--users", bad))
        for option in ("--serials", "--users"):
            self.assertIn("/nowhere", self.refusal(option, "/nowhere"))


if __name__ == "__main__":
    unittest.main()
