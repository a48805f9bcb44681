"""The samples in docs/formats are what the plug-in writes and reads, and are valid."""

import pathlib
import re
import unittest
import zlib

import documents
import made
import cloud_server  # of tests/tools/cloud, where the line before looks
import recorder
import schemas


class Samples(unittest.TestCase):
    def test_every_block_says_what_it_is(self):
        found = documents.blocks()
        self.assertGreater(len(found), 30)
        for block in found:
            self.assertIsNotNone(block.kind, f"{block.page.name}: {block.text[:60]}")

    def test_blocks_hold_what_is_produced(self):
        for block in documents.blocks():
            with self.subTest(block=str(block)):
                text = documents.made_text(block)
                if text is not None:
                    self.assertEqual(block.text, text)

    def test_documents_in_blocks_are_valid(self):
        for block in documents.blocks():
            with self.subTest(block=str(block)):
                schema = documents.schema_of(block)
                if schema:
                    self.assertEqual(schemas.problem(schema, documents.document_of(block)), "")

    def test_every_message_is_shown_in_both_formats(self):
        shown = {(documents.schema_of(block), documents.document_of(block)[:1] == "<")
                 for block in documents.blocks()}
        for name in schemas.MESSAGES:
            self.assertLessEqual({(name, False), (name, True)}, shown)

    def test_every_configuration_file_is_shown(self):
        shown = {documents.schema_of(block) for block in documents.blocks()}
        self.assertLessEqual(set(schemas.CONFIGURATION), shown)


class Reference(unittest.TestCase):
    """Every name that a schema knows is explained on a page."""

    def test_names_of_schemas_are_in_the_pages(self):
        text = "\n".join(page.read_text(encoding="utf-8") for page in documents.pages())
        names = set()
        for name in schemas.CONFIGURATION + schemas.MESSAGES:
            schema = (schemas.FOLDER / f"{name}.xsd").read_text(encoding="utf-8")
            names.update(re.findall(r'<xs:(?:element|attribute) name="(\w+)"', schema))
        self.assertGreater(len(names), 60)
        for name in sorted(names):
            self.assertRegex(text, rf"[`<]{name}\b", name)

    def test_links_lead_somewhere(self):
        for page in documents.pages():
            for target in re.findall(r"\]\(([^)#:]+)(?:#[^)]*)?\)", page.read_text(encoding="utf-8")):
                with self.subTest(page=page.name, target=target):
                    self.assertTrue((page.parent / target).exists())


class Deflated(unittest.TestCase):
    """What the protocol page says about bodies that are deflated."""

    def test_body_is_a_zlib_stream_of_the_plain_one_and_a_nul(self):
        for file_type in ("json", "xml"):
            for plain, small in zip(made.exchanges(file_type), made.exchanges(file_type, "http", 1)):
                self.assertEqual(plain.line[0], small.line[0])
                body = recorder.body_of(small.request)
                encoding = recorder.headers_of(small.request).get("content-encoding")
                self.assertEqual(encoding, "deflate" if body else None)
                if body:
                    self.assertEqual(body[:1], b"x")
                    self.assertEqual(zlib.decompress(body), recorder.body_of(plain.request) + b"\0")

    def test_content_length_is_that_of_the_deflated_body(self):
        for exchange in made.exchanges("json", "http", 1):
            body = recorder.body_of(exchange.request)
            length = recorder.headers_of(exchange.request).get("content-length")
            self.assertEqual(length, str(len(body)) if body else None)


    def test_head_in_the_page_is_the_one_recorded(self):
        exchange = made.exchanges("json", "http", 1)[0]
        head = documents.steady(recorder.head_of(exchange.request))
        begin = recorder.body_of(exchange.request)[:10].hex(" ")
        page = (documents.FOLDER / "protocol.md").read_text(encoding="utf-8")
        self.assertIn("".join(f"    {line}\n" for line in head.split("\n")), page)
        self.assertIn(f"    {begin} ...\n", page)


class DataIds(unittest.TestCase):
    """The table of data ids, made by the plug-in of a configuration of just these points."""

    ROW = re.compile(r"^\| channel (\d+), address (\d+), `(\w+)` (\d+)[^|]*\| `([0-9a-f]{8})`", re.MULTILINE)

    def test_table_is_what_the_plug_in_makes_of_it(self):
        page = (documents.FOLDER / "data-id.md").read_text(encoding="utf-8")
        rows = self.ROW.findall(page)
        self.assertEqual(len(rows), 8)
        for channel, address, kind, number, data_id in rows:
            with self.subTest(data_id=data_id):
                made.install(made.EXAMPLES / "small-plant")
                (made.CONFIG / "Channel-template.xml").write_text(
                    f'<ChannelConfig><Channel No="{channel}"><Dev Name="/quorvane/Config/P.xml" '
                    f'SlaveId="{address}"/></Channel></ChannelConfig>', encoding="utf-8")
                (made.CONFIG / "P.xml").write_text(
                    f'<DevConfig><NodeProperty><{kind}><Node Id="{number}" Name="P"/></{kind}>'
                    '</NodeProperty></DevConfig>', encoding="utf-8")
                values = f"real {data_id} 1\nreal {data_id[:4]}0100 1\n"
                content = pathlib.Path(made.produce(values)[0]).read_bytes()
                self.assertIn(f'"dblink":"{data_id}"'.encode(), content)


class Https(unittest.TestCase):
    """What the protocol page says about HTTPS: cookies, and a password with POST alone."""

    def setUp(self):
        self.exchanges = made.exchanges("json", "https", 0, True)

    def test_password_goes_with_registrations_alone(self):
        for exchange in self.exchanges:
            registers = exchange.line[0] == "POST" and re.search("/(gateway|device)", exchange.line[1])
            self.assertEqual("authorization" in recorder.headers_of(exchange.request), bool(registers))

    def test_certificate_that_cannot_be_read_hinders_nothing(self):
        cloud = cloud_server.Cloud()
        self.addCleanup(cloud.close)
        made.install(made.EXAMPLES / "https-compressed", port=cloud.ready["https"], certfile="/none")
        made.exchange(*made.produce())
        self.assertTrue(cloud.list("/gateways")[0]["registered"])

    def test_cookie_comes_back_with_all_but_downloads(self):
        for exchange in self.exchanges[1:]:
            self.assertEqual("cookie" in recorder.headers_of(exchange.request),
                             "/files/" not in exchange.line[1])


if __name__ == "__main__":
    unittest.main()
