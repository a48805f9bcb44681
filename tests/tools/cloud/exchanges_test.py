"""What gateways send and what they are answered."""

import hashlib
import unittest

from cloud_server import (FORMS, CloudTest, alarm_data, devices, file_status, gateway, real_data,
                          recall_done)

HOUR = ("2024-03-05 07:00:00", "2024-03-05 08:00:00")
NEXT_HOUR = ("2024-03-05 08:00:00", "2024-03-05 09:00:00")


class Registration(CloudTest):
    def test_a_gateway_is_kept_in_every_form(self):
        for number, form in enumerate(FORMS):
            with self.subTest(**form):
                sn = f"SN{number}"
                answer = self.cloud.post("/gateway", gateway(form["xml"], sn),
                                         compress=form["compress"])
                self.assertEqual(answer.status, 200)
                kept = self.cloud.list(f"/gateways/{sn}")
                self.assertEqual(
                    [kept[key] for key in ("name", "version", "site", "longitude", "latitude",
                                           "owner", "owner_description", "room",
                                           "room_description", "camera")],
                    ["Gate", "1.2.3\n", "Site", "8.5", "47.3", "Owner", "owns", "Room", "cellar",
                     "reserve"])

    def test_devices_are_kept_in_every_form(self):
        for number, form in enumerate(FORMS):
            with self.subTest(**form):
                answer = self.cloud.post(f"/device/SN{number}", devices(form["xml"]),
                                         compress=form["compress"])
                self.assertEqual(answer.status, 200)
                self.assertEqual(
                    self.cloud.list(f"/gateways/SN{number}/devices"),
                    [{"channel": 2, "device": 1, "name": "Meter1", "description": "d1"},
                     {"channel": 2, "device": 2, "name": "Meter2", "description": "d2"}])

    def test_a_device_list_replaces_the_one_before(self):
        self.cloud.post("/device/SN1", devices())
        self.cloud.post("/device/SN1", devices(names=["Only"]))
        self.assertEqual([row["name"] for row in self.cloud.list("/gateways/SN1/devices")],
                         ["Only"])

    def test_an_empty_device_list_is_a_list(self):
        for document in (devices(names=[]), devices(True, names=[])):
            self.assertEqual(self.cloud.post("/device/SN1", document).status, 200)

    def test_the_last_contact_is_noted(self):
        self.cloud.post("/device/SN1", devices(), scheme="https")
        row = self.cloud.list("/gateways")[0]
        self.assertEqual((row["sn"], row["last_exchange"], row["address"], row["scheme"]),
                         ("SN1", "device", "127.0.0.1", "https"))
        self.assertRegex(row["last_contact"], r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z$")


class RealData(CloudTest):
    def test_samples_are_kept_in_every_form(self):
        for number, form in enumerate(FORMS):
            with self.subTest(**form):
                answer = self.cloud.post(f"/realdata/SN{number}", real_data(xml=form["xml"]),
                                         compress=form["compress"])
                self.assertEqual(answer.status, 200)
                points = self.cloud.list(f"/gateways/SN{number}/points")
                self.assertEqual([(p["dblink"], p["channel"], p["device"], p["name"], p["unit"],
                                   p["time"]) for p in points],
                                 [("02010001", 2, 1, "Ua", "V", "2024-03-05 07:08:09"),
                                  ("02010100", 2, 1, "Comm_Status", "", "2024-03-05 07:08:09"),
                                  ("02020100", 2, 2, "Comm_Status", "", "2024-03-05 07:08:09")])
                self.assertEqual(points[0]["value"], "229.870")

    def test_the_answer_counts_in_the_language_of_the_body(self):
        self.assertEqual(self.cloud.post("/realdata/SN1", real_data()).text,
                         '{"result":"ok","stored":"3","known":"0"}')
        self.assertEqual(self.cloud.post("/realdata/SN1", real_data(xml=True)).text,
                         '<?xml version="1.0" encoding="UTF-8"?>\n'
                         '<data result="ok" stored="0" known="3"/>\n')

    def test_a_sample_that_comes_again_is_kept_once_and_as_it_first_came(self):
        for value in ("1.000", "1.000", "2.000"):
            self.assertEqual(self.cloud.post("/realdata/SN1", real_data(value=value)).status, 200)
        history = self.cloud.list("/gateways/SN1/points/02010001/history")
        self.assertEqual([(row["time"], row["value"]) for row in history],
                         [("2024-03-05 07:08:09", "1.000")])

    def test_the_same_time_of_another_gateway_or_point_is_another_sample(self):
        self.cloud.post("/realdata/SN1", real_data())
        self.assertIn('"stored":"3"', self.cloud.post("/realdata/SN2", real_data()).text)

    def test_recalled_data_does_not_become_the_current_value(self):
        self.cloud.post("/realdata/SN1", real_data("2024-03-05 07:08:09", "2.000"))
        self.cloud.post("/realdata/SN1", real_data("2024-03-05 06:00:00", "1.000"))
        self.assertEqual(self.cloud.list("/gateways/SN1/points")[0]["value"], "2.000")
        self.assertEqual([row["value"] for row in
                          self.cloud.list("/gateways/SN1/points/02010001/history")],
                         ["1.000", "2.000"])

    def test_values_that_printf_makes_are_values(self):
        for second, value in enumerate(["-1.000", "12345678901.50", "nan", "-inf", "0"]):
            answer = self.cloud.post("/realdata/SN1",
                                     real_data(f"2024-03-05 07:08:{second:02}", value))
            self.assertEqual(answer.status, 200, value)

    def test_a_document_without_devices_is_good(self):
        for document in ('{"logdt":"2024-03-05 07:08:09","device":[]}',
                         '<data logdt="2024-03-05 07:08:09"/>'):
            self.assertEqual(self.cloud.post("/realdata/SN1", document).status, 200)

    def test_a_name_that_was_cut_inside_a_character_loses_no_data(self):
        body = real_data().encode().replace(b'"Ua"', b'"Temp\xc3"')
        answer = self.cloud.request("POST", "/realdata/SN1", body,
                                    {"Content-Type": "application/json"})
        self.assertEqual(answer.status, 200)
        self.assertEqual(self.cloud.list("/gateways/SN1/points")[0]["name"], "Temp\N{REPLACEMENT CHARACTER}")

    def test_a_leap_day_is_a_day(self):
        self.assertEqual(self.cloud.post("/realdata/SN1", real_data("2024-02-29 23:59:59")).status,
                         200)


class LongDocuments(CloudTest):
    def test_are_read_to_their_end(self):
        for devices_of_channel in (1, 2, 8, 50, 200):
            document = '<?xml version="1.0" encoding="UTF-8"?>\n<data logdt="2024-03-05 07:08:09">\n'
            for device in range(1, devices_of_channel + 1):
                nodes = "".join(f'    <node dblink="02{device:02x}{point:04x}" name="Ua"'
                                f' value="{point}.000" unit="V"/>\n' for point in range(1, 9))
                document += f'  <device id="{device}" channel="2">\n{nodes}  </device>\n'
            document += "</data>\n"
            for compress in (False, True):
                sn = f"SN{devices_of_channel}{compress}"
                answer = self.cloud.post("/realdata/" + sn, document, compress=compress)
                self.assertEqual(answer.status, 200, answer.body)
                points = self.cloud.list(f"/gateways/{sn}/points")
                self.assertEqual(len(points), 8 * devices_of_channel)


class AlarmData(CloudTest):
    def test_alarms_are_kept_in_every_form(self):
        for number, form in enumerate(FORMS):
            with self.subTest(**form):
                answer = self.cloud.post(f"/alarmdata/SN{number}", alarm_data(xml=form["xml"]),
                                         compress=form["compress"])
                self.assertEqual(answer.status, 200)
                row = self.cloud.list(f"/gateways/SN{number}/alarms")[0]
                for key in ("id", "received"):
                    del row[key]
                self.assertEqual(row, {"sn": f"SN{number}", "gateway_name": None,
                                       "device_name": None, "type_text": "type -1",
                                       "flag_text": "began", "active": 1,
                                       "time": "2024-03-05 07:08:09", "channel": 2, "device": 1,
                                       "dblink": "02010001", "name": "Ua", "value": "253.100",
                                       "threshold": "250.000", "unit": "V", "type": -1, "flag": 1})

    def test_equal_alarms_of_one_document_are_different_events(self):
        self.assertIn('"stored":"2"', self.cloud.post("/alarmdata/SN1", alarm_data(2)).text)

    def test_a_document_that_comes_again_adds_none(self):
        self.cloud.post("/alarmdata/SN1", alarm_data(2))
        self.assertIn('"stored":"0","known":"2"',
                      self.cloud.post("/alarmdata/SN1", alarm_data(2)).text)
        self.assertEqual(len(self.cloud.list("/gateways/SN1/alarms")), 2)

    def test_an_empty_list_is_good(self):
        for document in ('{"node":[]}', "<data/>"):
            self.assertEqual(self.cloud.post("/alarmdata/SN1", document).status, 200)


class Recalls(CloudTest):
    def test_the_list_in_json(self):
        self.cloud.recall(*HOUR)
        self.cloud.recall(*NEXT_HOUR)
        self.assertEqual(self.cloud.get("/calldata/SN1").text,
                         '{"node":[{"startdt":"2024-03-05 07:00:00","enddt":"2024-03-05 08:00:00"},'
                         '{"startdt":"2024-03-05 08:00:00","enddt":"2024-03-05 09:00:00"}]}')

    def test_the_list_in_xml(self):
        self.cloud.recall(*HOUR)
        self.assertEqual(self.cloud.get("/calldata/SN1", "xml").text,
                         '<?xml version="1.0" encoding="UTF-8"?>\n<data>\n  <node '
                         'startdt="2024-03-05 07:00:00" enddt="2024-03-05 08:00:00"/>\n</data>\n')

    def test_nothing_to_recall_is_an_empty_list(self):
        self.assertEqual(self.cloud.get("/calldata/SN1").text, '{"node":[]}')
        self.assertEqual(self.cloud.get("/calldata/SN1", "xml").text,
                         '<?xml version="1.0" encoding="UTF-8"?>\n<data/>\n')

    def test_a_served_range_goes_and_the_others_stay(self):
        for form in FORMS:
            with self.subTest(**form):
                self.cloud.recall(*HOUR)
                self.cloud.recall(*NEXT_HOUR)
                answer = self.cloud.send("DELETE", "/calldata/SN1",
                                         recall_done(*HOUR, xml=form["xml"]),
                                         compress=form["compress"])
                self.assertEqual((answer.status, answer.body), (204, b""))
                self.assertEqual(self.cloud.get("/calldata/SN1").json["node"],
                                 [{"startdt": NEXT_HOUR[0], "enddt": NEXT_HOUR[1]}])

    def test_a_range_that_only_overlaps_removes_nothing(self):
        self.cloud.recall(*HOUR)
        answer = self.cloud.send("DELETE", "/calldata/SN1", recall_done(HOUR[0], NEXT_HOUR[1]))
        self.assertEqual(answer.status, 404)
        self.assertEqual(len(self.cloud.get("/calldata/SN1").json["node"]), 1)

    def test_another_gateways_range_removes_nothing(self):
        self.cloud.recall(*HOUR)
        self.assertEqual(self.cloud.send("DELETE", "/calldata/SN2", recall_done(*HOUR)).status, 404)
        self.assertEqual(len(self.cloud.get("/calldata/SN1").json["node"]), 1)

    def test_an_acknowledgement_whose_answer_was_lost_may_come_again(self):
        self.cloud.recall(*HOUR)
        for _ in range(2):
            self.assertEqual(self.cloud.send("DELETE", "/calldata/SN1", recall_done(*HOUR)).status,
                             204)

    def test_the_state_follows_the_range(self):
        self.cloud.recall(*HOUR)
        states = [self.cloud.list("/gateways/SN1/recalls")[0]["state"]]
        self.cloud.get("/calldata/SN1")
        states.append(self.cloud.list("/gateways/SN1/recalls")[0]["state"])
        self.cloud.send("DELETE", "/calldata/SN1", recall_done(*HOUR))
        states.append(self.cloud.list("/gateways/SN1/recalls")[0]["state"])
        self.assertEqual(states, ["waiting", "fetched", "served"])

    def test_a_long_list_comes_in_packets(self):
        ranges = [(f"2024-03-05 {h:02}:{m:02}:00", f"2024-03-05 {h:02}:{m:02}:59")
                  for h in range(2) for m in range(30)]
        for one in ranges:
            self.cloud.recall(*one)
        served = []
        for accept in ["xml", "json"] * len(ranges):
            body = self.cloud.get("/calldata/SN1", accept).body
            self.assertLessEqual(len(body), 1200)
            nodes = self.cloud.get("/calldata/SN1").json["node"]
            if not nodes:
                break
            for node in nodes:
                self.cloud.send("DELETE", "/calldata/SN1",
                                recall_done(node["startdt"], node["enddt"]))
                served.append((node["startdt"], node["enddt"]))
        self.assertEqual(served, ranges)


class Files(CloudTest):
    def upload(self):
        return self.cloud.post("/realdata/SN1", real_data()).status

    def status(self, md5, status, **form):
        return self.cloud.send("PUT", "/downfile/SN1",
                               file_status(md5, status, form.get("xml", False)),
                               compress=form.get("compress", False)).status

    def state(self, number=0):
        return self.cloud.list("/gateways/SN1/files")[::-1][number]["state"]

    def test_the_list_in_both_languages(self):
        offered = self.cloud.offer(content=b"hello\n", name="a.txt", type=9, path="/opt/x")
        file = self.cloud.list("/gateways/SN1/files")[0]["file"]
        self.assertRegex(file, r"^files/[0-9a-f]{12}/a\.txt$")
        self.assertEqual(offered["md5"], hashlib.md5(b"hello\n").hexdigest())
        self.assertEqual(self.cloud.get("/downfile/SN1").text,
                         '{"node":[{"file":"%s","md5":"%s","type":"9","path":"/opt/x"}]}'
                         % (file, offered["md5"]))
        self.assertEqual(self.cloud.get("/downfile/SN1", "xml").text,
                         '<?xml version="1.0" encoding="UTF-8"?>\n<data>\n  <node file="%s" '
                         'md5="%s" type="9" path="/opt/x"/>\n</data>\n' % (file, offered["md5"]))

    def test_real_data_is_answered_426_until_the_final_status(self):
        for final, state in ((2, "done"), (0, "damaged")):
            with self.subTest(final=final):
                md5 = self.cloud.offer(content=state.encode())["md5"]
                self.assertEqual(self.upload(), 426)
                self.assertEqual(self.status(md5, 1), 200)
                self.assertEqual(self.upload(), 426)
                self.assertEqual(len(self.cloud.get("/downfile/SN1").json["node"]), 1)
                self.assertEqual(self.status(md5, final), 200)
                self.assertEqual(self.upload(), 200)
                self.assertEqual(self.cloud.get("/downfile/SN1").text, '{"node":[]}')
                self.assertEqual(self.cloud.list("/gateways/SN1/files")[0]["state"], state)

    def test_the_data_of_an_upload_answered_426_is_kept(self):
        self.cloud.offer()
        self.assertEqual(self.upload(), 426)
        self.assertEqual(len(self.cloud.list("/gateways/SN1/points")), 3)

    def test_alarms_are_not_answered_426(self):
        self.cloud.offer()
        self.assertEqual(self.cloud.post("/alarmdata/SN1", alarm_data()).status, 200)

    def test_another_gateway_is_not_answered_426(self):
        self.cloud.offer(sn="SN2")
        self.assertEqual(self.upload(), 200)

    def test_a_status_is_taken_in_every_form(self):
        for number, form in enumerate(FORMS):
            with self.subTest(**form):
                md5 = self.cloud.offer(content=b"%d" % number)["md5"]
                self.assertEqual(self.status(md5, 2, **form), 200)
                self.assertEqual(self.state(number), "done")

    def test_two_files_of_one_digest_are_reported_one_after_the_other(self):
        md5 = self.cloud.offer(name="a.bin")["md5"]
        self.cloud.offer(name="b.bin")
        seen = []
        for status in (1, 1, 2, 2):
            self.status(md5, status)
            seen.append((self.state(0), self.state(1)))
        self.assertEqual(seen, [("begun", "offered"), ("begun", "begun"), ("done", "begun"),
                                ("done", "done")])

    def test_a_status_of_an_unknown_digest_is_refused(self):
        self.assertEqual(self.status("0" * 32, 1), 404)

    def test_a_withdrawn_file_is_offered_no_more(self):
        number = self.cloud.offer()["id"]
        file = self.cloud.list("/gateways/SN1/files")[0]["file"]
        self.assertEqual(self.cloud.api("DELETE", f"/gateways/SN1/files/{number}").status, 204)
        self.assertEqual(self.upload(), 200)
        self.assertEqual(self.cloud.request("GET", "/" + file).status, 404)
        self.assertEqual(self.state(), "withdrawn")

    def test_the_content_arrives_whole_and_in_parts(self):
        content = bytes(range(256)) * 1000
        self.cloud.offer(content=content)
        path = "/" + self.cloud.list("/gateways/SN1/files")[0]["file"]
        size = len(content)
        rows = [
            (None, 200, content, None),
            ("bytes=0-", 206, content, f"bytes 0-{size - 1}/{size}"),
            ("bytes=1000-", 206, content[1000:], f"bytes 1000-{size - 1}/{size}"),
            ("bytes=1000-1999", 206, content[1000:2000], f"bytes 1000-1999/{size}"),
            (f"bytes={size - 1}-", 206, content[-1:], f"bytes {size - 1}-{size - 1}/{size}"),
            (f"bytes=5-{size + 7}", 206, content[5:], f"bytes 5-{size - 1}/{size}"),
            ("bytes=-10", 206, content[-10:], f"bytes {size - 10}-{size - 1}/{size}"),
        ]
        for requested, status, body, content_range in rows:
            for scheme in ("http", "https"):
                with self.subTest(range=requested, scheme=scheme):
                    headers = {"Range": requested} if requested else {}
                    answer = self.cloud.get(path, scheme=scheme, **headers)
                    self.assertEqual(answer.status, status)
                    self.assertEqual(answer.body, body)
                    self.assertEqual(answer.headers.get("Content-Range"), content_range)

    def test_a_range_behind_the_end_is_refused(self):
        self.cloud.offer(content=b"12345")
        path = "/" + self.cloud.list("/gateways/SN1/files")[0]["file"]
        answer = self.cloud.get(path, Range="bytes=5-")
        self.assertEqual((answer.status, answer.headers["Content-Range"]), (416, "bytes */5"))

    def test_an_empty_file_can_be_offered(self):
        self.cloud.offer(content=b"")
        answer = self.cloud.request("GET", "/" + self.cloud.list("/gateways/SN1/files")[0]["file"])
        self.assertEqual((answer.status, answer.body), (200, b""))

    def test_a_file_is_found_by_its_whole_address_only(self):
        self.cloud.offer()
        _, token, name = self.cloud.list("/gateways/SN1/files")[0]["file"].split("/")
        for path in (f"/files/{token}", f"/files/{token}/other", f"/files/{'0' * 12}/{name}",
                     f"/files/{token}/{name}/", f"/files/../cloud.db", "/files/..%2fcloud.db/x"):
            self.assertEqual(self.cloud.request("GET", path).status, 404, path)

    def test_a_long_list_comes_in_packets(self):
        for number in range(12):
            self.cloud.offer(content=b"%d" % number, name="n" * 48, path="/" + "p" * 100)
        body = self.cloud.get("/downfile/SN1")
        self.assertLessEqual(len(body.body), 1200)
        self.assertGreater(len(body.json["node"]), 1)


class Paths(CloudTest):
    options = ("--prefix", "/iot/v1")

    def test_everything_stands_behind_the_prefix(self):
        self.assertEqual(self.cloud.post("/iot/v1/realdata/SN1", real_data()).status, 200)
        self.assertEqual(self.cloud.get("/iot/v1/calldata/SN1").status, 200)
        self.cloud.offer()
        file = self.cloud.list("/gateways/SN1/files")[0]["file"]
        self.assertEqual(self.cloud.request("GET", "/iot/v1/" + file).status, 200)

    def test_nothing_stands_elsewhere(self):
        for path in ("/realdata/SN1", "/iot/realdata/SN1", "/iot/v1realdata/SN1", "/iot/v1", "/",
                     "/iot/v1/realdata", "/iot/v1/realdata/SN1/more", "/iot/v1/api/gateways"):
            self.assertEqual(self.cloud.post(path, real_data()).status, 404, path)

    def test_other_methods_are_refused_and_the_right_ones_named(self):
        for method, path, allowed in (
                ("GET", "realdata/SN1", "POST"), ("PUT", "calldata/SN1", "GET, DELETE"),
                ("DELETE", "downfile/SN1", "GET, PUT"), ("POST", "calldata/SN1", "GET, DELETE"),
                ("PATCH", "realdata/SN1", "POST"), ("OPTIONS", "gateway", "POST"),
                ("HEAD", "files/0/x", "GET")):
            answer = self.cloud.request(method, "/iot/v1/" + path)
            self.assertEqual((answer.status, answer.headers.get("Allow")), (405, allowed), method)

    def test_what_is_no_method_finds_nothing(self):
        for path in ("gateway", "realdata/SN1", "calldata/SN1", "downfile/SN1", "files/0/x"):
            self.assertEqual(self.cloud.request("NOPE", "/iot/v1/" + path).status, 404, path)

    def test_the_admin_api_is_not_there_for_gateways(self):
        self.assertEqual(self.cloud.request("GET", "/api/gateways").status, 404)


class Ports(unittest.TestCase):
    def test_one_scheme_alone(self):
        from cloud_server import Cloud
        for scheme, other in (("http", "https"), ("https", "http")):
            with self.subTest(scheme=scheme):
                cloud = Cloud("--" + scheme, "0")
                self.addCleanup(cloud.close)
                self.assertNotIn(other, cloud.ready)
                self.assertEqual(cloud.post("/realdata/SN1", real_data(), scheme=scheme).status,
                                 200)


if __name__ == "__main__":
    unittest.main()
