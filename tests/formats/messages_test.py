"""Everything that the plug-in writes and sends is valid, and what its own cloud answers is too."""

import json
import pathlib
import shutil
import unittest
import zlib

import golden
import made
import recorder
import schemas


class DataFiles(unittest.TestCase):
    def check(self, example, file_type, compress):
        for name, content in made.files(example, file_type, compress):
            with self.subTest(example=example, file=name):
                self.assertTrue(name.endswith("." + file_type + ("z" if compress else "")))
                if compress:
                    content = zlib.decompress(content)
                    self.assertEqual(content[-1:], b"\0")
                    content = content[:-1]
                schema = "real-data" if name.startswith("S") else "alarm-data"
                self.assertEqual(schemas.problem(schema, content), "")

    def test_json_of_every_example_is_valid(self):
        for example in made.TREES:
            self.check(example.name, "json", 0)

    def test_xml_of_every_example_is_valid(self):
        for example in made.TREES:
            self.check(example.name, "xml", 0)

    def test_deflated_files_are_the_document_and_a_nul(self):
        for file_type in ("json", "xml"):
            self.check("small-plant", file_type, 1)

    def test_points_that_the_host_has_no_value_for_are_valid_too(self):
        """Forwarded points alone can be without a value: -1.000."""
        made.install(made.EXAMPLES / "forwarding-table")
        path = made.CONFIG / "forward_config.xml"
        path.write_text(path.read_text(encoding="utf-8").replace("02010401", "020104ff"),
                        encoding="utf-8")
        content = pathlib.Path(made.produce()[0]).read_bytes()
        self.assertIn(b'value="-1.000"', content)
        self.assertEqual(schemas.problem("real-data", content), "")


class Exchanges(unittest.TestCase):
    def check(self, exchanges):
        for exchange in exchanges:
            method, path = exchange.line
            with self.subTest(method=method, path=path):
                request, answer = schemas.of_target(method, path)
                body = recorder.body_of(exchange.request)
                if recorder.headers_of(exchange.request).get("content-encoding") == "deflate":
                    body = zlib.decompress(body).removesuffix(b"\0")
                self.assertEqual(bool(body), request is not None)
                if request:
                    self.assertEqual(schemas.problem(request, body), "")
                if answer:
                    self.assertEqual(
                        schemas.problem(answer, recorder.body_of(exchange.answer)), "")

    def check_complete(self, exchanges):
        self.assertEqual({(exchange.line[0], exchange.line[1].split("/")[2])
                          for exchange in exchanges}, set(schemas.OF_EXCHANGE))
        self.check(exchanges)

    def test_json_over_http_is_valid(self):
        self.check_complete(made.exchanges("json"))

    def test_xml_over_http_is_valid(self):
        self.check_complete(made.exchanges("xml"))

    def test_json_over_https_is_valid(self):
        self.check_complete(made.exchanges("json", "https"))

    def test_deflated_bodies_are_valid(self):
        for file_type in ("json", "xml"):
            self.check_complete(made.exchanges(file_type, "http", 1))


class GoldenFiles(unittest.TestCase):
    def test_golden_files_are_what_is_made(self):
        made_now = dict(golden.contents())
        self.assertEqual({path.name for path in golden.FOLDER.iterdir()}, set(made_now))
        for name, content in made_now.items():
            with self.subTest(file=name):
                kept = (golden.FOLDER / name).read_bytes()
                if name.endswith("z"):  # zlib's versions compress differently
                    kept, content = zlib.decompress(kept), zlib.decompress(content)
                self.assertEqual(kept, content)

    def test_golden_files_are_valid(self):
        for path in golden.FOLDER.iterdir():
            with self.subTest(file=path.name):
                content = path.read_bytes()
                if path.name.endswith("z"):
                    content = zlib.decompress(content).removesuffix(b"\0")
                self.assertEqual(schemas.problem(path.stem, content), "")


class GeneratedConfiguration(unittest.TestCase):
    """What corvenna-gateway writes."""

    def check(self, *options):
        shutil.rmtree(made.CONFIG, ignore_errors=True)
        made.run([*made.program("tools/gateway/corvenna-gateway"), "configure", *options])
        files = sorted(made.CONFIG.rglob("*.xml"))
        self.assertGreaterEqual(len(files), 5)
        for path in files:
            with self.subTest(file=path.name):
                self.assertEqual(schemas.xml_problem(schemas.of_file(path), path.read_bytes()), "")

    def test_configuration_of_waves_is_valid(self):
        self.check("--source", "wave", "--wave-size", "3x2x4")

    def test_configuration_of_this_machine_is_valid(self):
        self.check("--source", "self")

    def test_configuration_with_every_option_is_valid(self):
        password = pathlib.Path("/tmp/password")
        password.write_text("crane & <quay>\n", encoding="utf-8")
        self.check("--source", "wave", "--server", "cloud.example", "--port", "65535", "--https",
                   "--prefix", "/a/b", "--format", "xml", "--compress", "--real-data", "-1",
                   "--alarm-data", "-1", "--heartbeat", "-1", "--check-fail", "-1", "--recall", "-1",
                   "--user", "u", "--password-file", str(password), "--model", "Mosso-G",
                   "--serial", "ABC00123", "--name", "Größe \"1\" & <2>", "--owner", "O",
                   "--room", "R", "--position", "9.9,-53.5", "--address", "A")


if __name__ == "__main__":
    unittest.main()
