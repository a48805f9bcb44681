"""Limits: one below, at, one above. What is said to be taken is what the loaders take."""

import json
import unittest

import checked

SYS, TEMPLATE = "sys.xml", "Channel-template.xml"


class Numbers(checked.CheckTest):
    # Attribute, its value in the example, what is written, what is taken, the rule that is broken.
    ROWS = [
        ("RealDataInv", "60", 59, 300, "interval-too-short"), ("RealDataInv", "60", 60, 60, None),
        ("RealDataInv", "60", 61, 61, None), ("RealDataInv", "60", 0, 300, "interval-too-short"),
        ("RealDataInv", "60", -1, -1, None), ("RealDataInv", "60", 32767, 32767, None),
        ("RealDataInv", "60", 32768, -32768, "out-of-range"),
        ("RealDataInv", "60", 65596, 60, "out-of-range"),
        ("AlarmDataInv", "30", 29, 30, "interval-too-short"), ("AlarmDataInv", "30", 30, 30, None),
        ("AlarmDataInv", "30", 31, 31, None), ("AlarmDataInv", "30", 1, 30, "interval-too-short"),
        ("AlarmDataInv", "30", 0, 0, None), ("AlarmDataInv", "30", -5, -5, None),
        ("HeartInterval", "60", 59, 60, "interval-too-short"), ("HeartInterval", "60", 60, 60, None),
        ("HeartInterval", "60", 61, 61, None), ("FailInterval", "30", 29, 30, "interval-too-short"),
        ("FailInterval", "30", 30, 30, None), ("FailInterval", "30", 31, 31, None),
        ("RecallInterval", "300", 59, 60, "interval-too-short"), ("RecallInterval", "300", 60, 60, None),
        ("RecallInterval", "300", 61, 61, None), ("RecallInterval", "300", 40000, -25536, "out-of-range"),
        ("port", "8080", 65534, 65534, None), ("port", "8080", 65535, 65535, None),
        ("port", "8080", 70000, 4464, "out-of-range"), ("port", "8080", 1, 1, None),
    ]

    def test_settings(self):
        for name, old, written, taken, rule in self.ROWS:
            with self.subTest(attribute=name, written=written):
                self.use("small-plant")
                self.replace(SYS, f'{name}="{old}"', f'{name}="{written}"')
                said = self.check()
                self.assertEqual(said["settings"][name], taken)
                self.assertEqual([one["rule"] for one in said["findings"]], [rule] if rule else [])
                if rule:
                    self.assertEqual(said["findings"][0]["effect"], f"{taken} is taken")

    def test_bytes_of_devices(self):
        for written, taken in ((254, 254), (255, 255), (256, 0), (-1, 255)):
            with self.subTest(written=written):
                self.use("small-plant")
                self.replace(TEMPLATE, 'SlaveId="1"', f'SlaveId="{written}"')
                said = self.check()
                self.assertEqual(said["devices"][2]["address"], taken)
                self.assertEqual([one["rule"] for one in said["findings"]],
                                 [] if written == taken else ["out-of-range"])

    def test_point_numbers(self):
        for written, data_id in ((4094, "0201f0fe"), (4095, "0201f0ff"), (4096, "02010000")):
            with self.subTest(written=written):
                self.use("small-plant")
                self.replace("Pump.xml", '<Node Id="1" Name="Flow"', f'<Node Id="{written}" Name="Flow"')
                said = self.check()
                point = next(one for one in said["points"] if one["name"] == "Flow")
                self.assertEqual(point["dblink"], data_id)
                self.assertEqual([one["rule"] for one in said["findings"]],
                                 ["point-number"] if written > 4095 else [])


class Texts(checked.CheckTest):
    # File, attribute with its value, its limit.
    ROWS = [(SYS, 'stationName="Harbour east"', 255), (SYS, 'desc="On call day and night"', 255),
            (SYS, 'user=""', 62), (SYS, 'password=""', 62), (SYS, 'certfile=""', 126),
            ("system/sn.xml", 'sn="VB004711"', 18), (TEMPLATE, 'DeviceName="Pump"', 126),
            (TEMPLATE, 'Desc="Bilge pump"', 126), (TEMPLATE, 'Protocol="MODBUS_TCP"', 126),
            ("Pump.xml", 'Name="Speed"', 126), ("Pump.xml", 'EUUnits="rpm"', 126)]

    def test_texts(self):
        for name, attribute, limit in self.ROWS:
            for length in (limit - 1, limit, limit + 1):
                with self.subTest(attribute=attribute, length=length):
                    self.use("small-plant")
                    self.replace(name, attribute, f'{attribute.split("=")[0]}="{"a" * length}"')
                    self.assertEqual(self.rules(), ["text-cut"] if length > limit else [])

    def test_version(self):
        for length in (98, 99, 100):
            self.write("version/main-version.conf", "1" * length)
            self.assertEqual(self.rules(), ["text-cut"] if length > 99 else [])


class Urls(checked.CheckTest):
    def test_longest_url(self):
        others = len("http://127.0.0.1:8080" + "/alarmdata/")
        self.replace("system/sn.xml", "VB004711", "V" * 18)
        for length in (125, 126, 127):
            with self.subTest(length=length):
                server = length - others - 18 - 62 + len("127.0.0.1")
                self.use("small-plant")
                self.replace("system/sn.xml", "VB004711", "V" * 18)
                self.replace(SYS, '"/plant"', f'"/{"p" * 61}"')
                self.replace(SYS, '"127.0.0.1"', f'"{"c" * server}"')
                self.assertEqual(self.rules(), ["url-too-long"] if length > 126 else [])


class Sizes(checked.CheckTest):
    def plant(self, descriptions, points=1):
        """A device for each description, all of the same points."""
        devices = ""
        for number, description in enumerate(descriptions):
            channel, address = divmod(number, 200)
            name = f"D{number:04}.xml"
            devices += (f'<Channel No="{channel + 1}"><Dev DeviceName="D" Name="/quorvane/Config/{name}" '
                        f'Protocol="P" Desc="{description}" SlaveId="{address}" Group="1"/></Channel>\n')
            nodes = "".join(f'<Node Id="{one}" Name="Point {one}" EUUnits="V"/>'
                            for one in range(1, points))
            self.write(name, f'<DevConfig><NodeProperty><AI>{nodes}</AI><DI><Node Id="0" Name="S" '
                             'EUUnits=""/></DI></NodeProperty></DevConfig>')
        self.write(TEMPLATE, f"<ChannelConfig>{devices}</ChannelConfig>")

    @staticmethod
    def listed(descriptions, is_xml):
        entries = [(number // 200 + 1, number % 200, one, f"D{number:04}")
                   for number, one in enumerate(descriptions)]
        if is_xml:
            return ('<?xml version="1.0" encoding="UTF-8"?>\n<data>\n' + "".join(
                f'  <device channel="{channel}" id="{address}" desc="{one}" name="{name}"/>\n'
                for channel, address, one, name in entries) + "</data>\n")
        return json.dumps({"device": [
            {"channel": channel, "id": address, "desc": one, "name": name}
            for channel, address, one, name in entries]}, separators=(",", ":"))

    def descriptions(self, length, is_xml):
        """So many, and so long, that the list of devices has this length."""
        texts = []
        while len(self.listed(texts + ["d" * 100], is_xml)) <= length:
            texts.append("d" * 100)
        missing = length - len(self.listed(texts, is_xml))
        for at in range(len(texts)):
            more = min(26, missing)
            texts[at] += "d" * more
            missing -= more
        return texts

    def test_list_of_devices(self):
        for file_type in ("json", "xml"):
            for length in (20477, 20478, 20479):
                with self.subTest(format=file_type, length=length):
                    self.use("small-plant")
                    self.replace(SYS, 'FileType="json"', f'FileType="{file_type}"')
                    texts = self.descriptions(length, file_type == "xml")
                    self.assertEqual(len(self.listed(texts, file_type == "xml")), length)
                    self.plant(texts)
                    found = self.findings()
                    self.assertEqual([one["rule"] for one in found],
                                     ["device-list-too-long"] if length > 20478 else [])
                    if found:
                        self.assertIn(f"a list of {length} bytes", found[0]["what"])

    def test_list_that_is_deflated_may_be_longer(self):
        self.replace(SYS, 'IsCompress="0"', 'IsCompress="1"')
        self.plant(["d" * 126] * 150)
        self.assertEqual(self.rules(), [])

    def test_snapshot_that_fits_deflated(self):
        self.replace(SYS, 'IsCompress="0"', 'IsCompress="1"')
        self.plant(["d"] * 10, points=100)
        self.assertEqual(self.rules(), [])

    def test_snapshot_that_does_not_fit_deflated(self):
        self.replace(SYS, 'IsCompress="0"', 'IsCompress="1"')
        self.plant(["d"] * 40, points=100)
        self.assertIn("sent plain", self.only("snapshot-too-large")["effect"])

    def test_snapshot_that_is_not_deflated_has_no_limit(self):
        self.plant(["d"] * 40, points=100)
        self.assertEqual(self.rules(), [])


if __name__ == "__main__":
    unittest.main()
