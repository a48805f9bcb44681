"""What balancers, supervisors and Prometheus ask, and what becomes of requests while the store fails."""

import errno
import os
import struct
import tempfile
import time
import unittest
from unittest import mock

from prometheus_client.parser import text_string_to_metric_families

from cloud_server import ANSWER_SECONDS, Cloud, CloudTest, alarm_data, file_status, gateway, real_data

TOKEN = "token-of-32-characters-0123456789"
# Of the password "sesame", with the least cost, so that the test is quick.
USERS = "anna:$2b$04$abcdefghijklmnopqrstuuinwY/tkBVrn3xrxQI/TgnMHhkvl85RW\n"
PROBES = {"/healthz": "alive\n", "/readyz": "ready\n"}


def samples(text):
    """Every sample of a scrape by name and labels, as an independent reader sees them."""
    return {(sample.name, *sorted(sample.labels.items())): sample.value
            for family in text_string_to_metric_families(text) for sample in family.samples}


class Probes(CloudTest):
    def probe(self, path, scheme, method="GET", **headers):
        return self.cloud.request(method, path, headers=headers, scheme=scheme)

    def test_are_answered_on_every_port(self):
        for scheme in ("http", "https", "admin"):
            for path, text in PROBES.items():
                answer = self.probe(path, scheme)
                self.assertEqual((answer.status, answer.text), (200, text), (scheme, path))
                self.assertEqual(answer.headers["Content-Type"], "text/plain; charset=UTF-8")
                self.assertEqual(answer.headers["Cache-Control"], "no-store")

    def test_may_ask_for_the_head_alone_and_change_nothing(self):
        for scheme in ("http", "admin"):
            for path in PROBES:
                answer = self.probe(path, scheme, "HEAD")
                self.assertEqual((answer.status, answer.body), (200, b""))
                answer = self.probe(path, scheme, "POST")
                self.assertEqual((answer.status, answer.headers["Allow"]), (405, "GET, HEAD"))

    def test_meet_no_fault(self):
        self.cloud.fault("any", "status", value=500, count=1)
        for path in PROBES:
            self.assertEqual(self.probe(path, "http").status, 200)
        self.assertEqual(self.cloud.post("/realdata/SN1", real_data()).status, 500)

    def test_leave_no_line_in_the_trace(self):
        for path in PROBES:
            self.probe(path, "http")
        self.cloud.get("/calldata/SN1")
        self.cloud.trace("/calldata/")
        self.assertEqual([entry["target"] for entry in self.cloud.list("/trace")],
                         ["/calldata/SN1"])

    def test_are_counted(self):
        for _ in range(3):
            self.probe("/readyz", "http")
        # They are counted when the answer has gone out, so that its reader can be first.
        deadline = time.monotonic() + ANSWER_SECONDS
        count = 0
        while count < 3 and time.monotonic() < deadline:
            found = samples(self.cloud.request("GET", "/metrics", scheme="admin").text)
            count = found.get(("corvenna_requests_total", ("exchange", "probe"),
                               ("status", "200")), 0)
        self.assertEqual(count, 3)


class Locked(unittest.TestCase):
    """Where gateways, page and API ask for secrets."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        files = {}
        for name, content in (("users", USERS), ("serials", "SN1\n"), ("token", TOKEN + "\n")):
            files[name] = os.path.join(folder.name, name)
            with open(files[name], "w") as file:
                file.write(content)
        self.cloud = Cloud("--users", files["users"], "--serials", files["serials"],
                           "--admin-token-file", files["token"], "--prefix", "/iot")
        self.addCleanup(self.cloud.close)

    def test_probes_need_neither_secret_nor_prefix_nor_a_trusted_name(self):
        for scheme in ("http", "https", "admin"):
            for path, text in PROBES.items():
                answer = self.cloud.request("GET", path, headers={"Host": "balancer.example"},
                                            scheme=scheme)
                self.assertEqual((answer.status, answer.text), (200, text), (scheme, path))
        self.assertEqual(self.cloud.get("/iot/healthz").status, 404)

    def test_a_probe_with_a_body_is_nobodys_way_to_send_one(self):
        self.assertEqual(self.cloud.request("GET", "/healthz", b"x" * 10, scheme="admin").status,
                         401)

    def test_metrics_are_guarded_as_the_page_is(self):
        def status(**headers):
            return self.cloud.request("GET", "/metrics", headers=headers, scheme="admin").status
        bearer = "Bearer " + TOKEN
        self.assertEqual(status(), 401)
        self.assertEqual(status(Authorization=bearer), 200)
        self.assertEqual(status(Authorization=bearer, Host="evil.example"), 403)

    def test_metrics_are_not_on_the_ports_of_gateways(self):
        for path in ("/metrics", "/iot/metrics"):
            self.assertEqual(self.cloud.get(path).status, 404)


class Scrape(CloudTest):
    def scrape(self):
        answer = self.cloud.request("GET", "/metrics", scheme="admin")
        self.assertEqual((answer.status, answer.headers["Content-Type"]),
                         (200, "text/plain; version=0.0.4; charset=utf-8"))
        return answer.text

    def test_every_family_has_a_type_and_a_help(self):
        self.cloud.post("/realdata/SN1", real_data())
        for family in text_string_to_metric_families(self.scrape()):
            self.assertIn(family.type, ("counter", "gauge", "histogram"), family.name)
            self.assertTrue(family.documentation, family.name)
            self.assertTrue(family.name.startswith("corvenna_"), family.name)

    def test_requests_are_counted_by_exchange_and_status(self):
        self.cloud.post("/realdata/SN1", real_data())
        self.cloud.post("/realdata/SN1", real_data())
        self.cloud.post("/realdata/SN1", "{")
        self.cloud.post("/alarmdata/SN1", alarm_data())
        self.cloud.get("/nothing")
        self.cloud.traced_all(5)
        found = samples(self.scrape())
        for exchange, status, count in (("realdata", "200", 2), ("realdata", "400", 1),
                                        ("alarmdata", "200", 1), ("other", "404", 1)):
            self.assertEqual(found["corvenna_requests_total", ("exchange", exchange),
                                   ("status", status)], count, exchange)

    def test_latencies_are_histograms(self):
        self.cloud.fault("realdata", "delay", value=300)
        self.cloud.post("/realdata/SN1", real_data())
        self.cloud.traced(lambda entry: entry["exchange"] == "realdata")
        found = samples(self.scrape())
        name, label = "corvenna_request_seconds", ("exchange", "realdata")
        self.assertEqual(found[name + "_bucket", label, ("le", "0.25")], 0)
        self.assertEqual(found[name + "_bucket", label, ("le", "+Inf")], 1)
        self.assertEqual(found[name + "_count", label], 1)
        self.assertGreaterEqual(found[name + "_sum", label], 0.3)

    def test_bytes_are_those_of_the_wire(self):
        self.cloud.post("/realdata/SN1", real_data())
        entry = self.cloud.traced(lambda entry: entry["exchange"] == "realdata")
        found = samples(self.scrape())
        label = ("exchange", "realdata")
        self.assertEqual(found["corvenna_request_bytes_total", label], len(real_data()))
        self.assertEqual(found["corvenna_answer_bytes_total", label], entry["answer_bytes"])

    def test_samples_and_alarms_are_counted_when_they_are_stored(self):
        for _ in range(2):
            self.cloud.post("/realdata/SN1", real_data())
            self.cloud.post("/alarmdata/SN1", alarm_data(2))
        found = samples(self.scrape())
        for what, count in (("samples", 3), ("alarms", 2)):
            for result in ("stored", "known"):
                self.assertEqual(found[f"corvenna_{what}_total", ("result", result)], count, what)

    def test_what_waits_is_shown(self):
        self.cloud.recall("2024-03-05 07:00:00", "2024-03-05 08:00:00")
        self.cloud.recall("2024-03-05 07:00:00", "2024-03-05 08:00:00", sn="SN2")
        self.cloud.get("/calldata/SN2")
        self.cloud.offer()
        md5 = self.cloud.offer(content=b"other", sn="SN2")["md5"]
        self.cloud.send("PUT", "/downfile/SN2", file_status(md5, 1))
        self.cloud.post("/alarmdata/SN2", alarm_data())
        found = samples(self.scrape())
        for name, state in (("recalls", "waiting"), ("recalls", "fetched"), ("files", "offered"),
                            ("files", "begun")):
            self.assertEqual(found[f"corvenna_{name}_waiting", ("state", state)], 1, state)
        self.assertEqual(found[("corvenna_alarms_active",)], 1)

    def test_gateways_are_shown_by_their_last_contact(self):
        self.cloud.post("/gateway", gateway())
        self.cloud.recall("2024-03-05 07:00:00", "2024-03-05 08:00:00", sn="silent")
        found = {labels[0][1]: value for (name, *labels), value in samples(self.scrape()).items()
                 if name == "corvenna_gateways"}
        self.assertEqual(found, {"1m": 1, "5m": 0, "1h": 0, "1d": 0, "longer": 0, "never": 1})

    def test_commits_of_the_store_have_their_times(self):
        for second in range(3):
            self.cloud.post("/realdata/SN1", real_data(f"2024-03-05 07:08:0{second}"))
        found = samples(self.scrape())
        self.assertEqual(found[("corvenna_store_commit_seconds_count",)], 3)
        self.assertEqual(found[("corvenna_store_commit_requests_sum",)], 3)
        self.assertEqual(found[("corvenna_store_up",)], 1)
        self.assertEqual(found[("corvenna_store_failures_total",)], 0)


@unittest.skipIf(os.environ.get("CORVENNA_EMULATOR"),
                 "nothing can be loaded before a program under the emulator")
class FailingDisk(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.switch = os.path.join(folder.name, "disk")
        with open(self.switch, "wb") as file:
            file.write(bytes(4))
        # The address sanitizer wants to be loaded first; the disk asks it for nothing.
        sanitizer = os.environ.get("ASAN_OPTIONS", "") + ":verify_asan_link_order=0"
        with mock.patch.dict(os.environ, CORVENNA_FAILING_DISK=self.switch, ASAN_OPTIONS=sanitizer,
                             LD_PRELOAD=os.environ["CORVENNA_FAILING_DISK_LIBRARY"]):
            self.cloud = Cloud()
        self.addCleanup(self.cloud.close)

    def disk(self, error):
        with open(self.switch, "r+b", buffering=0) as file:  # it is mapped: never shorter
            file.write(struct.pack("=i", error))

    def all_answers(self):
        """What gateways and the API get to what changes something."""
        return [self.cloud.post("/gateway", gateway()),
                self.cloud.post("/realdata/SN1", real_data("2024-03-05 08:00:00")),
                self.cloud.post("/alarmdata/SN1", alarm_data(2)),
                self.cloud.api("POST", "/gateways/SN1/files", b"content", name="a"),
                self.cloud.recall("2024-03-05 07:00:00", "2024-03-05 08:00:00")]

    def check(self, error, status):
        self.cloud.post("/realdata/SN1", real_data())
        self.disk(error)
        for answer in self.all_answers():
            self.assertEqual((answer.status, answer.headers["Retry-After"]), (status, "30"))
        for scheme in ("http", "admin"):
            ready = self.cloud.request("GET", "/readyz", scheme=scheme)
            self.assertEqual((ready.status, ready.headers["Retry-After"]), (503, "30"))
            self.assertEqual(self.cloud.request("GET", "/healthz", scheme=scheme).status, 200)
        self.disk(0)
        self.assertEqual(self.cloud.get("/readyz").status, 200)
        self.assertEqual(len(self.cloud.list("/gateways/SN1/points/02010001/history")), 1)
        self.assertEqual(self.cloud.list("/gateways/SN1/files"), [])
        self.assertEqual([answer.status for answer in self.all_answers()],
                         [200, 200, 200, 201, 201])

    def test_one_that_is_full_is_told_with_507_and_all_goes_on_when_there_is_room(self):
        self.check(errno.ENOSPC, 507)

    def test_one_that_is_away_is_told_with_503_and_all_goes_on_when_it_is_back(self):
        self.check(errno.EIO, 503)

    def test_failures_are_counted(self):
        self.disk(errno.EIO)
        self.cloud.post("/realdata/SN1", real_data())
        text = self.cloud.request("GET", "/metrics", scheme="admin").text
        self.assertEqual(samples(text)[("corvenna_store_failures_total",)], 1)

    def test_what_only_reads_is_answered(self):
        self.cloud.post("/realdata/SN1", real_data())
        self.disk(errno.ENOSPC)
        self.cloud.post("/realdata/SN1", real_data())
        self.assertEqual(len(self.cloud.list("/gateways/SN1/points/02010001/history")), 1)


if __name__ == "__main__":
    unittest.main()
