"""haproxy with the example's configuration."""

import http.client
import os
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../../tools/demo"))

import plant  # noqa: E402
import postgres  # noqa: E402
import servers  # noqa: E402

PATIENCE = 120


class Balancer(unittest.TestCase):
    def setUp(self):
        try:
            servers.haproxy()
        except postgres.Missing as missing:
            self.skipTest(str(missing))
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.balancer = servers.Balancer(folder.name, [plant.hold_port() for _ in range(3)])
        self.addCleanup(self.balancer.socket.close)
        self.balancer.start()
        self.addCleanup(self.balancer.kill)

    def test_tells_gateways_when_to_come_back_while_no_cloud_is_there(self):
        for method, body in (("GET", None), ("POST", b"x" * 100000)):
            connection = http.client.HTTPConnection("127.0.0.1", self.balancer.port, timeout=PATIENCE)
            self.addCleanup(connection.close)
            connection.request(method, "/realdata/SN1", body)
            answer = connection.getresponse()
            self.assertEqual((answer.status, answer.headers["Retry-After"], answer.read()),
                             (503, "30", b"no cloud is ready\n"))


if __name__ == "__main__":
    unittest.main()
