"""The program as its users have it: output, exit codes, a tree of many mistakes, a large one."""

import csv
import io
import json
import os
import pathlib
import time
import unittest

import checked

FORTY = pathlib.Path(__file__).resolve().parent / "forty"

# The mistakes that lie in forty/, and what follows from two of them.
MISTAKES = [
    ("other-case-element", "sys.xml", 4),
    ("other-case-attribute", "sys.xml", 5),
    ("unknown-attribute", "sys.xml", 6),
    ("unknown-element", "sys.xml", 7),
    ("bad-server", "sys.xml", 11),
    ("out-of-range", "sys.xml", 12),
    ("bad-prefix", "sys.xml", 13),
    ("interval-too-short", "sys.xml", 14),
    ("interval-too-short", "sys.xml", 15),
    ("interval-too-short", "sys.xml", 16),
    ("not-a-number", "sys.xml", 17),
    ("other-case-attribute", "sys.xml", 18),
    ("unknown-format", "sys.xml", 19),
    ("not-a-number", "sys.xml", 20),
    ("unknown-forward-channel", "sys.xml", 21),
    ("text-cut", "sys.xml", 22),
    ("no-certificate", "sys.xml", 22),
    ("peers-not-verified", "sys.xml", 22),
    ("text-cut", "version/main-version.conf", 1),
    ("unknown-model", "system/sn.xml", 3),
    ("text-cut", "system/sn.xml", 4),
    ("bad-serial", "system/sn.xml", 4),
    ("unknown-data-id", "forward_config.xml", 6),
    ("nameless-point", "forward_config.xml", 7),
    ("out-of-range", "forward_config.xml", 8),
    ("unknown-element", "forward_config.xml", 9),
    ("unknown-protocol", "forward_config.xml", 12),
    ("inherited", "forward_config.xml", 13),
    ("no-status-point", "Channel-template.xml", 4),
    ("duplicate-device", "Channel-template.xml", 5),
    ("inherited", "Channel-template.xml", 6),
    ("no-points", "Channel-template.xml", 6),
    ("other-case-attribute", "Channel-template.xml", 7),
    ("inherited", "Channel-template.xml", 7),
    ("no-points", "Channel-template.xml", 7),
    ("duplicate-device", "Channel-template.xml", 7),
    ("same-device-name", "Channel-template.xml", 8),
    ("out-of-range", "Channel-template.xml", 10),
    ("not-a-number", "Channel-template.xml", 11),
    ("byte-order-mark", "Channel-template.xml", 11),
    ("no-points", "Channel-template.xml", 12),
    ("odd-point-path", "Channel-template.xml", 12),
    ("inherited", "Feeder1.xml", 6),
    ("duplicate-data-id", "Feeder1.xml", 7),
    ("inherited", "Feeder1.xml", 8),
    ("point-number", "Feeder1.xml", 9),
    ("unknown-attribute", "Feeder1.xml", 9),
    ("duplicate-data-id", "Feeder1.xml", 9),
    ("not-a-number", "Feeder1.xml", 10),
    ("unknown-element", "Feeder1.xml", 12),
]


class Mistakes(unittest.TestCase):
    def test_tree_of_many_mistakes_has_each_found_at_its_line(self):
        done = checked.run("--root", FORTY, "--json")
        said = json.loads(done.stdout)
        found = [(one["rule"], os.path.relpath(one["file"], FORTY / "quorvane/Config"), one["line"])
                 for one in said["findings"]]
        self.assertEqual(found, MISTAKES)
        self.assertGreaterEqual(len(set(MISTAKES)), 40)
        self.assertEqual((said["errors"], said["warnings"]), (4, len(MISTAKES) - 4))
        self.assertEqual(done.returncode, 2)

    def test_every_finding_says_what_happens_and_what_to_do(self):
        said = json.loads(checked.run("--root", FORTY, "--json").stdout)
        for one in said["findings"]:
            with self.subTest(rule=one["rule"], line=one["line"]):
                self.assertTrue(one["what"] and one["effect"] and one["advice"])

    def test_page_explains_every_rule(self):
        page = (checked.PROJECT / "docs/check.md").read_text(encoding="utf-8")
        sources = "".join(path.read_text(encoding="utf-8")
                          for path in (checked.PROJECT / "tools/check").glob("*.cpp"))
        for rule in {rule for rule, *_ in MISTAKES} | {
                "file-missing", "file-damaged", "file-unreadable", "wrong-root", "no-cloud",
                "no-version", "left-out", "bad-port", "no-serial", "url-too-long",
                "device-list-too-long", "snapshot-too-large"}:
            with self.subTest(rule=rule):
                self.assertIn(f"| `{rule}` |", page)
                self.assertIn(f'"{rule}"', sources)


class ExitCodes(checked.CheckTest):
    def status(self, *options):
        return checked.run("--root", self.root, *options).returncode

    def test_0_when_nothing_is_found(self):
        self.assertEqual(self.status(), 0)

    def test_1_for_warnings(self):
        self.replace("sys.xml", 'AlarmDataInv="30"', 'AlarmDataInv="29"')
        self.assertEqual(self.status(), 1)

    def test_2_for_errors(self):
        self.replace("sys.xml", 'FileType="json"', 'FileType="csv"')
        self.assertEqual(self.status(), 2)

    def test_2_where_there_is_no_configuration(self):
        self.assertEqual(checked.run("--root", "/usr").returncode, 2)

    def test_2_for_a_wrong_command_line(self):
        for words in (["--rooot"], ["--root", "/none"], ["--points", "xml"], ["--json", "--points", "csv"]):
            done = checked.run(*words)
            self.assertEqual(done.returncode, 2, words)
            self.assertNotEqual(done.stderr, "")

    def test_accepted_rules_do_not_count(self):
        self.use("https-compressed")
        self.assertEqual(self.status(), 1)
        self.assertEqual(self.status("--accept", "peers-not-verified"), 0)

    def test_accepted_rule_that_was_not_broken_is_told(self):
        done = checked.run("--root", self.root, "--accept", "inheritd")
        self.assertEqual(done.returncode, 0)
        self.assertIn("inheritd", done.stderr)


class Output(checked.CheckTest):
    def test_help_names_options_and_exit_codes(self):
        done = checked.run("--help")
        self.assertEqual(done.returncode, 0)
        for word in ("--root", "--json", "--points", "--accept", "Exit codes"):
            self.assertIn(word, done.stdout)

    def test_tables_show_what_is_understood(self):
        self.replace("sys.xml", 'password=""', 'password="secret"')
        said = checked.run("--root", self.root).stdout
        for text in ("http://127.0.0.1:8080/plant", "60 s", "VB004711", "Bilge pump", "Feeder2",
                     "01031123", "Breaker closed", "kWh", "0 errors, 0 warnings"):
            self.assertIn(text, said)
        self.assertNotIn("secret", said)

    def test_forwarding_tables_are_shown(self):
        self.use("forwarding-table")
        self.assertIn("PUMP.SPEED", checked.run("--root", self.root).stdout)
        self.assertIn({"addr": 7, "channel": 2, "address": 1, "dblink": "02010401",
                       "name": "PUMP.SPEED"}, self.check()["forwarding"])

    def test_findings_are_shown_with_place_effect_and_advice(self):
        self.replace("sys.xml", 'AlarmDataInv="30"', 'AlarmDataInv="29"')
        self.assertIn(f'warning: {self.folder}/sys.xml:10: <cloud> AlarmDataInv is "29" '
                      "[interval-too-short]\n    then: 30 is taken\n    do:   write at least 30",
                      checked.run("--root", self.root).stdout)

    def test_json_has_what_the_loaders_have(self):
        self.replace("sys.xml", 'password=""', 'password="secret"')
        said = self.check()
        self.assertTrue(said["loads"])
        self.assertEqual(said["settings"]["Dir"], "/plant")
        self.assertIs(said["settings"]["password"], True)
        self.assertEqual(said["identity"]["number"], 4711)
        self.assertEqual(said["identity"]["version"], "2.4.1")
        self.assertEqual([one["name"] for one in said["devices"]], ["Feeder1", "Feeder2", "Pump"])
        self.assertEqual(len(said["points"]), 15)

    def test_json_has_what_the_loaders_log(self):
        (self.folder / "Pump.xml").unlink()
        self.assertEqual(self.check()["log"], ["[LoadDevPointAttr]: parsed Parse failed"])

    def test_points_as_csv(self):
        self.replace("Pump.xml", 'Name="Flow"', 'Name="Flow, &quot;in&quot;"')
        done = checked.run("--root", self.root, "--points", "csv")
        rows = list(csv.DictReader(io.StringIO(done.stdout)))
        self.assertEqual(len(rows), 15)
        self.assertEqual(rows[10], {
            "data_id": "02010001", "channel": "2", "address": "1", "device": "Pump", "type": "AI",
            "number": "1", "name": 'Flow, "in"', "unit": "l/s"})

    def test_findings_beside_csv_go_to_standard_error(self):
        self.replace("sys.xml", 'AlarmDataInv="30"', 'AlarmDataInv="29"')
        done = checked.run("--root", self.root, "--points", "csv")
        self.assertIn("interval-too-short", done.stderr)
        self.assertNotIn("interval-too-short", done.stdout)

    def test_name_that_is_cut_inside_a_letter_is_json_all_the_same(self):
        self.replace("Pump.xml", 'Name="Flow"', f'Name="{"a" * 125}\u00e4"')
        self.assertEqual(self.check()["points"][10]["name"], "a" * 125)

    def test_text_of_a_file_steers_no_terminal(self):
        self.replace("Pump.xml", 'Name="Flow"', 'Name="Flow&#10;&#x7f;"')
        said = checked.run("--root", self.root).stdout
        self.assertNotIn("\x7f", said)
        self.assertIn("Flow  ", said)


class Behaviour(checked.CheckTest):
    def test_configuration_at_its_own_place_needs_no_root(self):
        target = pathlib.Path("/quorvane/Config")
        if target.exists() and any(target.iterdir()):
            self.skipTest("only inside the sandbox")
        target.parent.mkdir(exist_ok=True)
        if target.exists():
            target.rmdir()
        (self.root / "quorvane/Config").rename(self.root / "kept")
        os.symlink(self.root / "kept", target)
        self.addCleanup(target.unlink)
        done = checked.run("--json")
        self.assertEqual((done.returncode, json.loads(done.stdout)["findings"]), (0, []))

    def test_nothing_is_written(self):
        (self.folder / "Pump.xml").unlink()
        before = sorted(pathlib.Path("/tmp").rglob("*"))
        checked.run("--root", self.root)
        self.assertEqual(sorted(pathlib.Path("/tmp").rglob("*")), before)

    def test_root_may_end_with_slashes(self):
        said = json.loads(checked.run("--root", f"{self.root}//", "--json").stdout)
        self.assertEqual((said["folder"], said["findings"]), (str(self.folder), []))

    def test_many_devices_take_no_pauses(self):
        def device(number, channel):
            return (f'<Dev DeviceName="D{channel}-{number}" Name="/quorvane/Config/Small.xml"'
                    f' Protocol="P" Desc="" SlaveId="{number}" Group="{channel}"/>\n')

        self.write("Small.xml", '<DevConfig><NodeProperty><DI Num="1"><Node Id="0" Name="Status"'
                   ' EUUnits=""/></DI></NodeProperty></DevConfig>')
        channels = "".join(
            f'<Channel No="{channel}">{"".join(device(number, channel) for number in range(200))}'
            '</Channel>\n' for channel in range(1, 9))
        self.write("Channel-template.xml", f'<ChannelConfig>{channels}</ChannelConfig>')
        begin = time.monotonic()
        self.assertEqual(len(self.check()["points"]), 1600)
        self.assertLess(time.monotonic() - begin, 160)  # the loaders alone would pause 160.8 s


if __name__ == "__main__":
    unittest.main()
