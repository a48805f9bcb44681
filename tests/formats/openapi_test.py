"""schemas/gateway-api.yaml says of every exchange what is true."""

import re
import unittest

import made
import recorder
import schemas
import yaml

API = yaml.safe_load((schemas.FOLDER / "gateway-api.yaml").read_text(encoding="utf-8"))
METHODS = {"get", "put", "post", "delete"}


def resolved(node):
    """What a reference inside the document leads to."""
    while isinstance(node, dict) and node.get("$ref", "").startswith("#/"):
        found = API
        for step in node["$ref"][2:].split("/"):
            found = found[step]
        node = found
    return node


def references(node):
    if isinstance(node, dict):
        for name, value in node.items():
            if name in ("$ref", "x-xsd"):
                yield value
            else:
                yield from references(value)
    elif isinstance(node, list):
        for value in node:
            yield from references(value)


def operations():
    for path, item in API["paths"].items():
        for method in METHODS & set(item):
            yield method, path, item, item[method]


def operation_of(method, path):
    """The most exact path that fits, and its operation."""
    found = []
    for name, candidate, item, operation in operations():
        pattern = re.sub(r"\\\{file\\\}", ".+", re.escape(candidate))
        pattern = re.sub(r"\\\{\w+\\\}", "[^/]+", pattern)
        if name == method.lower() and re.fullmatch(pattern, path):
            found.append((candidate.count("{file}"), candidate, item, operation))
    return min(found, key=lambda one: one[0])[1:] if found else (None, None, None)


class Document(unittest.TestCase):
    def test_references_lead_somewhere(self):
        found = list(references(API))
        self.assertGreater(len(found), 30)
        for reference in found:
            with self.subTest(reference=reference):
                if reference.startswith("#/"):
                    self.assertIsInstance(resolved({"$ref": reference}), dict)
                else:
                    self.assertTrue((schemas.FOLDER / reference).is_file())

    def test_every_message_schema_is_used(self):
        used = set(references(API))
        for name in schemas.MESSAGES:
            self.assertIn(f"{name}.schema.json", used)
            self.assertIn(f"{name}.xsd", used)

    def test_operations_have_names_of_their_own_and_answers(self):
        names = [operation["operationId"] for *_, operation in operations()]
        self.assertEqual(len(names), 9)
        self.assertEqual(len(set(names)), len(names))
        for _, path, item, operation in operations():
            self.assertTrue(operation["summary"])
            for status, answer in operation["responses"].items():
                self.assertRegex(status, r"^(\d{3}|default)$")
                self.assertTrue(resolved(answer)["description"])
            named = {resolved(one)["name"] for one in item.get("parameters", []) +
                     operation.get("parameters", []) if resolved(one)["in"] == "path"}
            self.assertEqual(named, set(re.findall(r"\{(\w+)\}", path)))

    def test_version_is_one_whose_schemas_are_json_schema(self):
        self.assertRegex(API["openapi"], r"^3\.1\.\d+$")


class Recorded(unittest.TestCase):
    def check(self, exchanges, file_type):
        met = set()
        for exchange in exchanges:
            method, path = exchange.line
            path = path.removeprefix("/plant")
            with self.subTest(method=method, path=path, status=exchange.status):
                name, item, operation = operation_of(method, path)
                self.assertIsNotNone(operation)
                met.add((method, name))
                self.assertIn(str(exchange.status), operation["responses"])
                self.check_headers(exchange, item, operation)
                self.check_body(exchange, operation, file_type)
        self.assertEqual(len(met), 9)

    def check_headers(self, exchange, item, operation):
        sent = recorder.headers_of(exchange.request)
        known = {}
        for one in item.get("parameters", []) + operation.get("parameters", []):
            parameter = resolved(one)
            if parameter["in"] == "header":
                known[parameter["name"].lower()] = parameter
        for name, parameter in known.items():
            self.assertTrue(name in sent or not parameter["required"], name)
        usual = {"host", "accept", "content-type", "content-length", "cookie", "authorization"}
        self.assertLessEqual(set(sent), usual | set(known))
        self.assertTrue("authorization" not in sent or {"password": []} in operation["security"])

    def check_body(self, exchange, operation, file_type):
        media = recorder.headers_of(exchange.request).get("content-type", "").split(";")[0]
        self.assertEqual(bool(media), "requestBody" in operation)
        request, _ = schemas.of_target(*exchange.line)
        if media:
            self.assertEqual(media, f"application/{file_type}")
            schema = operation["requestBody"]["content"][media]["schema"]
            self.assertEqual(schema.get("$ref", schema.get("x-xsd")),
                             f"{request}.schema.json" if file_type == "json" else f"{request}.xsd")

    def test_json_over_http_is_described(self):
        self.check(made.exchanges("json"), "json")

    def test_xml_over_http_is_described(self):
        self.check(made.exchanges("xml"), "xml")

    def test_deflated_bodies_are_described(self):
        self.check(made.exchanges("json", "http", 1), "json")

    def test_https_with_a_password_is_described(self):
        self.check(made.exchanges("json", "https", 0, True), "json")


if __name__ == "__main__":
    unittest.main()
