"""`corvenna-conform cloud`: the reference cloud keeps to every clause, and a cloud that breaks one
is told exactly that."""

import json
import pathlib
import socket
import subprocess
import tempfile
import unittest
import xml.etree.ElementTree

import conformed
import wrong_cloud
import cloud_server  # of tests/tools/cloud, where conformed looks

# Not over plain HTTP, or not with a plain body.
TLS_CLAUSES = ["gateway-password", "gateway-cookie"]
DEFLATED_CLAUSES = ["deflate-damaged"]


FOLDER = tempfile.TemporaryDirectory(prefix="corvenna-conform-")


def a_file(name, text):
    path = pathlib.Path(FOLDER.name) / name
    path.write_text(text, encoding="utf-8")
    return str(path)


def password_file():
    return a_file("password", "crane\n")


def judged(cloud, *options):
    return conformed.Found(conformed.run("cloud", cloud.url, "--json", *cloud.commands, *options))


class WrongCloud(unittest.TestCase):
    def try_one(self, clause):
        cloud = wrong_cloud.Cloud(clause, clause in TLS_CLAUSES)
        self.addCleanup(cloud.close)
        options = ["--format", "json",
                   "--encoding", "deflate" if clause in DEFLATED_CLAUSES else "plain"]
        if clause in TLS_CLAUSES:
            options += ["--user", "harbour", "--password-file", password_file()]
        found = judged(cloud, *options)
        self.assertEqual(found.of("broken"), [clause], found.why("broken"))
        self.assertEqual(found.exit, 1)


def add_test(clause):
    setattr(WrongCloud, f"test_that_breaks_{clause.replace('-', '_')}_is_told_so",
            lambda self: self.try_one(clause))


for _row in conformed.clauses("cloud"):
    add_test(_row[0])


class RightCloud(unittest.TestCase):
    def test_small_cloud_keeps_to_everything_in_every_way(self):
        for tls in (False, True):
            cloud = wrong_cloud.Cloud("", tls)
            self.addCleanup(cloud.close)
            how = ["--user", "harbour", "--password-file", password_file()] if tls else []
            found = judged(cloud, *how)
            self.assertEqual((found.exit, found.why("broken")), (0, {}))
            self.assertEqual(len(found.report["runs"]), 4)

    def test_reference_cloud_keeps_to_everything_in_every_way(self):
        """Over HTTP and, with passwords, over HTTPS."""
        for options, tls in ([], False), (["--users", self.users()], True):
            cloud = cloud_server.Cloud("--prefix", "/plant", *options)
            self.addCleanup(cloud.close)
            found = conformed.Found(conformed.run(
                "cloud", self.url(cloud, tls), "--json", *self.commands(cloud),
                *(["--user", "harbour", "--password-file", password_file()] if tls else [])))
            self.assertEqual((found.exit, found.why("broken")), (0, {}))
            unjudged = DEFLATED_CLAUSES + ([] if tls else TLS_CLAUSES)
            self.assertEqual(found.of("not judged"), sorted(unjudged), found.why("not judged"))
            self.assertEqual(set(found.of("kept")) | set(unjudged),
                             {row[0] for row in conformed.clauses("cloud")})

    @staticmethod
    def users():
        hashed = subprocess.run(["openssl", "passwd", "-6", "-salt", "conform", "crane"], check=True,
                                capture_output=True, text=True).stdout
        return a_file("users", f"harbour:{hashed}")

    @staticmethod
    def url(cloud, tls):
        scheme = "https" if tls else "http"
        return f"{scheme}://127.0.0.1:{cloud.ready[scheme]}/plant/"

    @staticmethod
    def commands(cloud):
        """What an administrator would do at the page of the cloud."""
        api = f"http://127.0.0.1:{cloud.ready['admin']}/api/gateways/$CORVENNA_SERIAL"
        span = '{"start":"2024-03-05 07:00:00","end":"2024-03-05 08:00:00"}'
        call = ("/usr/bin/python3 -c 'import sys, urllib.request as r; "
                "r.urlopen(sys.argv[1], sys.argv[2].encode())'")
        return ["--recall-command", f"{call} {api}/recalls '{span}'",
                "--offer-command", f'{call} "{api}/files?name=notes.txt&type=9&path=/tmp" content']


class Unjudged(unittest.TestCase):
    def test_without_commands_recalls_and_files_are_not_judged_and_that_is_said(self):
        cloud = wrong_cloud.Cloud()
        self.addCleanup(cloud.close)
        found = conformed.Found(conformed.run("cloud", cloud.url, "--json", "--format", "xml"))
        self.assertEqual(found.exit, 0)
        why = found.why("not judged")
        self.assertIn("--recall-command", why["recall-done"])
        self.assertIn("--offer-command", why["file-done"])
        self.assertIn("files-no-hint", found.of("kept"))

    def test_command_that_fails_is_2(self):
        cloud = wrong_cloud.Cloud()
        self.addCleanup(cloud.close)
        done = conformed.run("cloud", cloud.url, "--recall-command", "false")
        self.assertEqual(done.returncode, 2)
        self.assertIn("the command failed: false", done.stderr)

    def test_command_writes_nothing_into_the_report(self):
        cloud = wrong_cloud.Cloud()
        self.addCleanup(cloud.close)
        done = conformed.run("cloud", cloud.url, "--json", "--format", "json", "--encoding", "plain",
                             "--recall-command", "echo said")
        self.assertIn('"subject"', done.stdout.splitlines()[0])
        self.assertEqual(done.stderr, "said\n")

    def test_server_that_is_not_there_is_2(self):
        with socket.socket() as nobody:  # has the port, and does not listen
            nobody.bind(("127.0.0.1", 0))
            done = conformed.run("cloud", f"http://127.0.0.1:{nobody.getsockname()[1]}/plant")
        self.assertEqual((done.returncode, done.stdout), (2, ""))
        self.assertIn("cannot be reached", done.stderr)

    def test_wrong_command_line_is_2(self):
        for words in ([], ["cloud"], ["cloud", "ftp://127.0.0.1"], ["cloud", "http://h/?a=b"],
                      ["cloud", "http://h", "--serial", ""], ["cloud", "http://h", "--serial", "a" * 19],
                      ["cloud", "http://h", "--json", "--junit"], ["cloud", "http://h", "--accept", "x"],
                      ["cloud", "http://h", "--user", "u"]):
            with self.subTest(words=words):
                done = conformed.run(*words)
                self.assertEqual(done.returncode, 2)
                self.assertNotEqual(done.stderr, "")


class Output(unittest.TestCase):
    def setUp(self):
        self.cloud = wrong_cloud.Cloud("recall-done")
        self.addCleanup(self.cloud.close)
        self.words = ["cloud", "--format", "json", "--encoding", "plain", self.cloud.url,
                      *self.cloud.commands]

    def test_text_shows_what_is_broken_and_counts(self):
        done = conformed.run(*self.words)
        self.assertIn("broken: DELETE /calldata/SN [recall-done]\n"
                      "    rule:  Answered 204 (docs/formats/recalls.md)\n"
                      "    found: it was answered 200\n", done.stdout)
        self.assertRegex(done.stdout, r"/plant: 4\d kept, 1 broken, 5 not judged\n$")
        self.assertNotIn("gateway-taken", done.stdout)

    def test_text_shows_all_when_asked(self):
        self.assertIn("kept: POST /gateway [gateway-taken]",
                      conformed.run(*self.words, "--all").stdout)

    def test_json_has_every_clause_in_its_order(self):
        said = json.loads(conformed.run(*self.words, "--json").stdout)
        self.assertEqual((said["subject"], said["broken"]), (self.cloud.url, 1))
        self.assertEqual([run["title"] for run in said["runs"]], [f"{self.cloud.url}, json, plain"])
        self.assertEqual([[one[key] for key in ("clause", "where", "rule", "page")]
                          for one in said["runs"][0]["clauses"]], conformed.clauses("cloud"))

    def test_junit_has_a_case_for_every_clause(self):
        root = xml.etree.ElementTree.fromstring(conformed.run(*self.words, "--junit").stdout)
        suite = root.find("testsuite")
        rows = conformed.clauses("cloud")
        self.assertEqual([case.get("name") for case in suite], [row[0] for row in rows])
        self.assertEqual((suite.get("tests"), suite.get("failures"), suite.get("skipped")),
                         (str(len(rows)), "1", "5"))
        failed = [case.get("name") for case in suite if case.find("failure") is not None]
        self.assertEqual(failed, ["recall-done"])

    def test_accepted_clause_is_left_out(self):
        done = conformed.run(*self.words, "--accept", "recall-done", "--json")
        self.assertEqual(done.returncode, 0)
        self.assertNotIn('"recall-done"', done.stdout)

    def test_page_has_exactly_the_clauses_of_the_program(self):
        pages = {f"formats/{name}": f"[{name[:-3]}](formats/{name})"
                 for name in ("protocol.md", "gateway.md", "devices.md", "uploads.md", "recalls.md",
                              "downloads.md")}
        self.assertEqual(conformed.table("conform.md")["Is your cloud right?"],
                         [[*row[:3], pages[row[3]]] for row in conformed.clauses("cloud")])


if __name__ == "__main__":
    unittest.main()
