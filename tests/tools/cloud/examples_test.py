"""The files of examples/fleet speak of the same machines."""

import os
import re
import unittest
from urllib.parse import urlsplit

import yaml

FOLDER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../../examples/fleet")


def read(name):
    with open(os.path.join(FOLDER, name), encoding="utf-8") as file:
        return file.read()


class Compose(unittest.TestCase):
    def setUp(self):
        self.services = yaml.safe_load(read("compose.yaml"))["services"]
        words = re.search("^CORVENNA_CLOUD_OPTIONS=(.*)", read("corvenna-cloud.default"), re.M)[1].split()
        self.options = dict(zip(words[::2], words[1::2]))

    def addresses(self, name):
        return [service["networks"]["fleet"]["ipv4_address"]
                for key, service in sorted(self.services.items()) if re.fullmatch(name, key)]

    def test_has_the_clouds_that_the_balancer_knows(self):
        known = re.findall(r"^    server \S+ (\S+):8080$", read("haproxy.cfg"), re.M)
        self.assertEqual(self.addresses(r"cloud\d"), known)
        self.assertEqual(len(known), 3)

    def test_has_the_balancer_that_the_clouds_trust(self):
        self.assertEqual(self.addresses("balancer"), [self.options["--trusted-proxy"]])

    def test_has_the_databases_that_the_clouds_store_in(self):
        store = urlsplit(self.options["--store"])
        self.assertEqual(self.addresses(r"db\d"), store.netloc.split("@")[1].split(","))
        for name in ("db1", "db2"):
            made = self.services[name]["environment"]
            self.assertEqual((made["POSTGRES_USER"], "/" + made["POSTGRES_DB"]),
                             (store.username, store.path))


if __name__ == "__main__":
    unittest.main()
