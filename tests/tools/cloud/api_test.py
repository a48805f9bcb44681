"""The administrator's API, and whether its OpenAPI document is true."""

import re
import subprocess
import unittest

from cloud_server import (CloudTest, alarm_data, command, devices, file_status, gateway, real_data,
                          recall_done)

HOUR = {"start": "2024-03-05 07:00:00", "end": "2024-03-05 08:00:00"}
TYPES = {"string": str, "integer": int, "number": (int, float), "array": list, "object": dict}


class Document(CloudTest):
    def setUp(self):
        super().setUp()
        self.document = self.cloud.list("/openapi.json")

    def fits(self, value, schema, where):
        """Whether a value is what a schema says."""
        if "$ref" in schema:
            name = schema["$ref"].rsplit("/", 1)[1]
            return self.fits(value, self.document["components"]["schemas"][name], where + name)
        if value is None:
            self.assertTrue(schema.get("nullable"), where)
            return
        self.assertIsInstance(value, TYPES[schema["type"]], where)
        if "enum" in schema:
            self.assertIn(value, schema["enum"], where)
        if "pattern" in schema:
            self.assertRegex(value, schema["pattern"], where)
        if schema.get("format") == "date-time":
            self.assertRegex(value, r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z$", where)
        for item in value if schema["type"] == "array" else []:
            self.fits(item, schema["items"], where + "[]")
        if "properties" in schema:
            self.assertLessEqual(set(schema["required"]), set(value), where)
            self.assertLessEqual(set(value), set(schema["properties"]), where)
            for name, member in value.items():
                self.fits(member, schema["properties"][name], f"{where}.{name}")

    def call(self, operation, status, method, pattern, body=None, query=None, **arguments):
        """Calls an operation and compares the answer with what the document promises."""
        described = self.document["paths"][pattern][method.lower()]
        self.assertEqual(described["operationId"], operation)
        path = pattern.format(**arguments)
        answer = self.cloud.api(method, path.removeprefix("/api"), body, **(query or {}))
        self.assertEqual(answer.status, status, answer.body)
        promised = described["responses"][str(status)]
        for header in promised.get("headers", {}):
            self.assertRegex(answer.headers[header], r"^\d+$")
        if "text/csv" in promised.get("content", {}):
            self.called.add(operation)
            return answer.text
        if "content" in promised:
            self.assertEqual(answer.headers["Content-Type"], "application/json")
            self.fits(answer.json, promised["content"]["application/json"]["schema"], operation)
            self.called.add(operation)
            return answer.json
        self.assertEqual(answer.body, b"")
        self.called.add(operation)
        return None

    def test_names_exactly_the_routes_that_there_are(self):
        routes = set(subprocess.run(command() + ["--routes"], capture_output=True, text=True,
                                    check=True).stdout.splitlines())
        described = {f"{method.upper()} {path}" for path, item in self.document["paths"].items()
                     for method in item}
        self.assertEqual(described, routes)

    def test_names_the_parameters_of_every_path(self):
        for path, item in self.document["paths"].items():
            for method, operation in item.items():
                named = {parameter["name"] for parameter in operation.get("parameters", [])
                         if parameter["in"] == "path"}
                self.assertEqual(named, set(re.findall(r"\{(\w+)\}", path)), (method, path))

    def test_every_operation_does_what_is_described(self):
        self.called = set()
        sn = {"sn": "SN1"}
        gateways, one = "/api/gateways", "/api/gateways/{sn}"
        self.cloud.post("/gateway", gateway())
        self.cloud.post("/device/SN1", devices())
        self.cloud.post("/realdata/SN1", real_data())
        self.cloud.post("/realdata/SN2", real_data())
        self.cloud.post("/alarmdata/SN1", alarm_data(3))

        self.call("getStatus", 200, "GET", "/api/status")
        self.call("getOpenApi", 200, "GET", "/api/openapi.json")
        self.assertEqual(len(self.call("listGateways", 200, "GET", gateways)), 2)
        row = self.call("getGateway", 200, "GET", one, **sn)
        self.assertEqual([row[key] for key in ("devices", "points", "alarms")], [2, 3, 3])
        self.call("getGateway", 404, "GET", one, sn="nobody")
        self.assertEqual(len(self.call("listDevices", 200, "GET", one + "/devices", **sn)), 2)
        self.assertEqual(len(self.call("listPoints", 200, "GET", one + "/points", **sn)), 3)
        history = one + "/points/{dblink}/history"
        point = {**sn, "dblink": "02010001"}
        self.assertEqual(len(self.call("getHistory", 200, "GET", history, **point)), 1)
        self.call("getHistory", 400, "GET", history, query={"from": "yesterday"}, **point)
        self.assertEqual(len(self.call("listAlarms", 200, "GET", one + "/alarms", **sn)), 3)
        self.call("listAlarms", 400, "GET", one + "/alarms", query={"limit": 0}, **sn)
        everyone = self.call("listAllAlarms", 200, "GET", "/api/alarms", query={"state": "active"})
        self.assertEqual(len(everyone), 1)
        self.call("listAllAlarms", 400, "GET", "/api/alarms", query={"state": "loud"})
        overview = self.call("getOverview", 200, "GET", "/api/overview")
        self.assertEqual((overview["gateways"], overview["active_alarms"]), (2, 1))
        chosen = {"points": "02010001,02010100"}
        trends = self.call("getTrends", 200, "GET", one + "/trends", query=chosen, **sn)
        self.assertEqual(len(trends["points"]), 2)
        self.call("getTrends", 400, "GET", one + "/trends", **sn)
        self.call("getTrends", 404, "GET", one + "/trends", query=chosen, sn="nobody")
        table = self.call("exportSamples", 200, "GET", one + "/samples.csv", query=chosen, **sn)
        self.assertEqual(len(table.splitlines()), 2)
        self.call("exportSamples", 400, "GET", one + "/samples.csv", **sn)
        self.call("exportSamples", 404, "GET", one + "/samples.csv", query=chosen, sn="nobody")

        recalls = one + "/recalls"
        number = self.call("askForRecall", 201, "POST", recalls, HOUR, **sn)["id"]
        self.assertEqual(self.call("askForRecall", 200, "POST", recalls, HOUR, **sn)["id"], number)
        self.call("askForRecall", 400, "POST", recalls, {}, **sn)
        self.assertEqual(len(self.call("listRecalls", 200, "GET", recalls, **sn)), 1)
        cancel = recalls + "/{id}"
        self.call("cancelRecall", 404, "DELETE", cancel, sn="SN2", id=number)
        self.call("cancelRecall", 204, "DELETE", cancel, id=number, **sn)
        self.call("cancelRecall", 404, "DELETE", cancel, id=number, **sn)

        files = one + "/files"
        number = self.call("offerFile", 201, "POST", files, b"x", {"name": "a"}, **sn)["id"]
        self.call("offerFile", 400, "POST", files, b"x", **sn)
        self.assertEqual(len(self.call("listFiles", 200, "GET", files, **sn)), 1)
        withdraw = files + "/{id}"
        self.call("withdrawFile", 404, "DELETE", withdraw, sn="SN2", id=number)
        self.call("withdrawFile", 204, "DELETE", withdraw, id=number, **sn)
        self.call("withdrawFile", 404, "DELETE", withdraw, id=number, **sn)

        self.cloud.trace("/alarmdata/")
        self.assertGreater(len(self.call("getTrace", 200, "GET", "/api/trace")), 0)
        self.call("getTrace", 400, "GET", "/api/trace", query={"after": "x"})
        self.call("listFaultKinds", 200, "GET", "/api/fault-kinds")
        chosen = {"exchange": "realdata", "kind": "status"}
        number = self.call("setFault", 201, "POST", "/api/faults", chosen)["id"]
        self.call("setFault", 201, "POST", "/api/faults", {"exchange": "any", "kind": "chunks",
                                                           "value": None, "count": 1})
        self.call("setFault", 400, "POST", "/api/faults", {})
        self.assertEqual(len(self.call("listFaults", 200, "GET", "/api/faults")), 2)
        self.call("clearFault", 204, "DELETE", "/api/faults/{id}", id=number)
        self.call("clearFault", 404, "DELETE", "/api/faults/{id}", id=number)
        self.call("clearFaults", 204, "DELETE", "/api/faults")
        self.call("forgetGateway", 204, "DELETE", one, **sn)
        self.call("forgetGateway", 404, "DELETE", one, **sn)

        every = {operation["operationId"] for item in self.document["paths"].values()
                 for operation in item.values()}
        self.assertEqual(self.called, every)


class Rules(CloudTest):
    def test_other_paths_and_methods_are_refused(self):
        for method, path, status in (("GET", "/nothing", 404), ("GET", "", 404),
                                     ("PUT", "/faults", 405), ("POST", "/gateways", 405),
                                     ("PATCH", "/gateways/SN1", 405),
                                     ("DELETE", "/faults/x", 404), ("DELETE", "/faults/0", 404)):
            self.assertEqual(self.cloud.api(method, path).status, status, (method, path))

    def test_head_is_get_without_a_body(self):
        answer = self.cloud.request("HEAD", "/api/gateways", scheme="admin")
        self.assertEqual((answer.status, answer.body), (200, b""))

    def test_history_is_cut_by_time_and_count(self):
        for second in range(10):
            self.cloud.post("/realdata/SN1", real_data(f"2024-03-05 07:08:{second:02}",
                                                       f"{second}.000"))

        def seconds(**parameters):
            return [int(row["time"][-2:]) for row in
                    self.cloud.list("/gateways/SN1/points/02010001/history", **parameters)]

        self.assertEqual(seconds(), list(range(10)))
        self.assertEqual(seconds(**{"from": "2024-03-05 07:08:03", "to": "2024-03-05 07:08:05"}),
                         [3, 4, 5])
        self.assertEqual(seconds(limit=2), [8, 9])

    def test_alarms_come_in_pages(self):
        self.cloud.post("/alarmdata/SN1", alarm_data(5))
        seen = []
        page = self.cloud.list("/gateways/SN1/alarms", limit=2)
        while page:
            seen += [row["id"] for row in page]
            page = self.cloud.list("/gateways/SN1/alarms", limit=2, before=seen[-1])
        self.assertEqual(seen, sorted(seen, reverse=True))
        self.assertEqual(len(set(seen)), 5)

    def test_ranges_of_recalls_are_checked(self):
        for start, end in (("x", "y"), ("2024-03-05 08:00:00", "2024-03-05 07:00:00"),
                           ("2024-03-05 08:00", "2024-03-05 09:00")):
            self.assertEqual(self.cloud.recall(start, end).status, 400, start)
        self.assertEqual(self.cloud.recall(HOUR["start"], HOUR["start"]).status, 201)

    def test_a_recall_tells_how_many_samples_of_its_range_are_here(self):
        for second in range(4):
            self.cloud.post("/realdata/SN1", real_data(f"2024-03-05 07:08:0{second}"))
        self.cloud.post("/realdata/SN2", real_data("2024-03-05 07:08:01"))
        self.cloud.recall("2024-03-05 07:08:01", "2024-03-05 07:08:02")
        self.assertEqual(self.cloud.list("/gateways/SN1/recalls")[0]["samples"], 2)

    def test_a_served_range_can_be_asked_for_again(self):
        self.cloud.recall(**HOUR)
        self.cloud.send("DELETE", "/calldata/SN1", recall_done(HOUR["start"], HOUR["end"]))
        self.assertEqual(self.cloud.recall(**HOUR).status, 201)
        self.assertEqual(len(self.cloud.get("/calldata/SN1").json["node"]), 1)

    def test_what_waits_can_be_prepared_before_the_first_contact(self):
        self.cloud.recall(**HOUR, sn="new")
        self.cloud.offer(sn="new")
        row = self.cloud.list("/gateways/new")
        self.assertEqual((row["last_contact"], row["recalls_waiting"], row["files_waiting"]),
                         (None, 1, 1))
        self.assertEqual(self.cloud.post("/realdata/new", real_data()).status, 426)

    def test_a_finished_file_can_be_withdrawn_and_keeps_its_state(self):
        offered = self.cloud.offer()
        self.cloud.send("PUT", "/downfile/SN1", file_status(offered["md5"], 2))
        self.assertEqual(self.cloud.api("DELETE", f"/gateways/SN1/files/{offered['id']}").status,
                         204)
        self.assertEqual(self.cloud.list("/gateways/SN1/files")[0]["state"], "done")

    def test_the_trace_is_bounded_and_goes_on_from_an_id(self):
        for number in range(310):
            self.cloud.request("GET", f"/{number}")
        self.cloud.traced(lambda entry: entry["id"] == 310)
        entries = self.cloud.list("/trace")
        self.assertEqual(len(entries), 300)
        self.assertEqual(self.cloud.list("/trace", after=entries[-2]["id"]), entries[-1:])

    def test_the_trace_shows_request_and_answer(self):
        self.cloud.post("/realdata/SN1", real_data(), compress=True)
        entry = self.cloud.trace("/realdata/")
        self.assertEqual(entry["request_body"], real_data())
        self.assertIn("Content-Encoding: deflate", entry["request_headers"])
        self.assertEqual(entry["answer_body"], '{"result":"ok","stored":"3","known":"0"}')
        self.assertEqual((entry["exchange"], entry["method"], entry["status"], entry["note"]),
                         ("realdata", "POST", 200, "3 stored, 0 known before"))

    def test_forgetting_takes_the_contents_of_files_too(self):
        self.cloud.offer()
        file = self.cloud.list("/gateways/SN1/files")[0]["file"]
        self.cloud.api("DELETE", "/gateways/SN1")
        self.assertEqual(self.cloud.request("GET", "/" + file).status, 404)


class FileBound(CloudTest):
    options = ("--max-file", "1000")

    def test_a_file_at_the_bound_is_taken_and_one_above_is_not(self):
        for size, status in ((999, 201), (1000, 201), (1001, 413)):
            answer = self.cloud.api("POST", "/gateways/SN1/files", b"x" * size, name="a")
            self.assertEqual(answer.status, status, size)


if __name__ == "__main__":
    unittest.main()
