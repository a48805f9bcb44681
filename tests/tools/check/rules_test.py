"""One planted mistake, one finding: its rule, its place, and what it says will happen."""

import os
import unittest

import checked

SYS, SN, TEMPLATE = "sys.xml", "system/sn.xml", "Channel-template.xml"
VERSION = "version/main-version.conf"
FORWARD, POINTS = "forward_config.xml", "Feeder1.xml"


class Good(checked.CheckTest):
    def test_examples_are_good(self):
        for example in ("small-plant", "forwarding-table"):
            self.use(example)
            said = self.check()
            self.assertEqual((said["findings"], said["exit"]), ([], 0))


class Names(checked.CheckTest):
    def spoil(self, name, old, new, rule, element, said):
        self.replace(name, old, new, -1)
        finding = self.only(rule)
        self.assertEqual(finding["file"], str(self.folder / name))
        self.assertEqual(finding["line"], self.line_of(name, new.strip("</ ").split("=")[0]))
        self.assertEqual(finding["element"], element)
        self.assertIn(said, finding["what"])
        self.assertIn("passed over", finding["effect"])

    def test_unknown_element(self):
        self.spoil(SYS, "<rooms", "<camera/><rooms", "unknown-element", "<camera>",
                   "not known below <Info>")

    def test_unknown_element_of_a_point_file(self):
        self.spoil(POINTS, "<ACC Num", "<BI/><ACC Num", "unknown-element", "<BI>", "<NodeProperty>")

    def test_element_in_other_letters(self):
        self.spoil(SYS, "<owner", "<Owner", "other-case-element", "<Owner>", "is no <owner>")

    def test_unknown_attribute_of_settings(self):
        self.spoil(SYS, 'port="', 'timeout="5" port="', "unknown-attribute", "<cloud>", '"timeout"')

    def test_unknown_attribute_of_a_device(self):
        self.spoil(TEMPLATE, 'SlaveId="4"', 'Baud="9600" SlaveId="4"', "unknown-attribute", "<Dev>",
                   '"Baud"')

    def test_attribute_in_other_letters(self):
        self.spoil(SYS, "RecallInterval=", "recallinterval=", "other-case-attribute", "<cloud>",
                   '"recallinterval", which is no "RecallInterval"')

    def repeat(self, name, before, element):
        self.replace(name, before, element + "\n" + before)
        finding = self.only("repeated-element")
        self.assertEqual(finding["file"], str(self.folder / name))
        self.assertGreater(finding["line"], self.line_of(name, element))
        self.assertEqual(finding["element"], element.split(" ")[0] + ">")
        self.assertIn("the last one counts", finding["effect"])

    def test_element_that_stands_twice(self):
        for name, element in (
                (SYS, '<station stationName="West"/>'), (SYS, '<rooms roomName="R"/>'),
                (SYS, '<baseInfo gatewayName="G"/>'), (SYS, '<owner ownerName="O"/>'),
                (SYS, '<cloud checked="1"/>'), (SYS, '<https checked="0"/>'),
                (SN, '<sn sn="VB004712"/>')):
            with self.subTest(element=element):
                self.use("small-plant")
                self.repeat(name, element.split(" ")[0] + " ", element)

    def test_service_that_is_off_by_other_letters(self):
        self.replace(SYS, '<cloud checked="1"', '<cloud Checked="1"')
        said = self.check()
        self.assertIn("other-case-attribute", [one["rule"] for one in said["findings"]])
        self.assertFalse(said["settings"]["on"])


class Files(checked.CheckTest):
    def bad(self, name, rule, effect):
        said = self.check()
        finding = said["findings"][0]
        self.assertEqual((finding["rule"], finding["file"], finding["severity"], said["exit"]),
                         (rule, str(self.folder / name), "error", 2))
        self.assertIn(effect, finding["effect"])
        return said

    def test_file_that_is_missing(self):
        for name in (SYS, SN, TEMPLATE, FORWARD):
            with self.subTest(file=name):
                self.use("small-plant")
                (self.folder / name).unlink()
                self.assertFalse(self.bad(name, "file-missing", "Init gives -1")["loads"])

    def test_file_that_is_damaged_is_told_with_its_line(self):
        self.replace(SYS, "</cloud>", "</clou>")
        said = self.bad(SYS, "file-damaged", "Init gives -1")
        self.assertEqual(said["findings"][0]["line"], self.line_of(SYS, "</clou>"))

    def test_file_that_is_empty(self):
        self.write(FORWARD, "")
        self.bad(FORWARD, "file-damaged", "Init gives -1")

    def test_file_that_is_none(self):
        (self.folder / SN).unlink()
        os.mkfifo(self.folder / SN)
        self.bad(SN, "file-unreadable", "Init gives -1")

    def test_byte_order_mark(self):
        self.write(SYS, "\ufeff" + self.text(SYS))
        self.assertFalse(self.bad(SYS, "byte-order-mark", "Init gives -1")["loads"])

    def test_wrong_root_of_settings_has_the_service_off(self):
        self.write(SYS, self.text(SYS).replace("sysConfig", "sysconfig"))
        said = self.bad(SYS, "wrong-root", "the cloud service is off")
        self.assertTrue(said["loads"])

    def test_wrong_root_of_another_file_ends_the_start(self):
        self.write(SN, self.text(SN).replace("snConfig", "SnConfig"))
        self.assertFalse(self.bad(SN, "wrong-root", "Init gives -1")["loads"])

    def test_settings_without_cloud(self):
        self.replace(SYS, "<cloud ", "<Cloud ")
        self.replace(SYS, "</cloud>", "</Cloud>")
        said = self.check()
        self.assertEqual({one["rule"] for one in said["findings"]},
                         {"other-case-element", "no-cloud"})
        self.assertEqual(said["exit"], 2)

    def test_settings_that_do_not_say_whether_the_service_is_on(self):
        self.replace(SYS, '<cloud checked="1"', "<cloud")
        finding = self.only("service-off")
        self.assertEqual((finding["severity"], finding["line"]),
                         ("error", self.line_of(SYS, "<cloud")))
        self.assertEqual(self.check()["exit"], 2)

    def test_service_that_is_off_on_purpose(self):
        self.replace(SYS, '<cloud checked="1"', '<cloud checked="0"')
        self.assertEqual(self.rules(), [])

    def test_version_that_is_missing(self):
        (self.folder / VERSION).unlink()
        self.assertIn("no version", self.only("no-version")["effect"])

    def test_version_that_is_empty(self):
        self.write(VERSION, "")
        self.assertIn("no version", self.only("no-version")["effect"])

    def test_version_with_a_line_end(self):
        for end in ("\n", "\r\n", "\nsecond line"):
            with self.subTest(end=end):
                self.write(VERSION, "2.4.1" + end)
                self.assertEqual(self.only("version-line-end")["line"], 1)

    def test_version_whose_line_end_does_not_fit(self):
        self.write(VERSION, "9" * 98 + "\n")
        self.only("version-line-end")
        self.write(VERSION, "9" * 99 + "\n")
        self.assertEqual(self.rules(), [])

    def test_byte_order_mark_of_the_version(self):
        self.write(VERSION, "\ufeff2.4.1")
        self.assertIn("told it, too", self.only("byte-order-mark")["effect"])


class Values(checked.CheckTest):
    def spoil(self, name, old, new, rule, effect):
        self.replace(name, old, new)
        finding = self.only(rule)
        self.assertEqual(finding["line"], self.line_of(name, new))
        self.assertIn(effect, finding["effect"])

    def test_port_that_is_no_number(self):
        self.replace(SYS, 'port="8080"', 'port="http"')
        self.assertEqual(self.rules(), ["not-a-number", "bad-port"])

    def test_number_with_a_unit(self):
        self.spoil(SYS, 'AlarmDataInv="30"', 'AlarmDataInv="30s"', "not-a-number", 'stops at "s"')

    def test_number_of_a_device_that_is_none(self):
        self.replace(TEMPLATE, 'Group="2"', 'Group="two"')
        self.only("not-a-number")

    def test_number_of_a_point_that_is_none(self):
        self.replace(POINTS, 'Id="291"', 'Id="0x123"')
        self.assertIn("not-a-number", self.rules())

    def test_link_that_is_no_number(self):
        self.use("forwarding-table")
        self.replace(FORWARD, 'db_link="01031123"', 'db_link="none"')
        self.assertIn("not-a-number", self.rules())

    def test_link_of_more_than_32_bits(self):
        self.use("forwarding-table")
        self.spoil(FORWARD, 'db_link="01031123"', 'db_link="0101031124"', "out-of-range", "another data id")

    def test_fail_interval_below_its_least(self):
        self.spoil(SYS, 'FailInterval="30"', 'FailInterval="29"', "interval-too-short", "30 is taken")

    def test_text_of_the_gateway_that_is_cut(self):
        self.spoil(SYS, 'address="Quay 7"', f'address="{"q" * 256}"', "text-cut", "its first 255")

    def test_password_that_is_cut(self):
        self.spoil(SYS, 'password=""', f'password="{"p" * 63}"', "text-cut", "its first 62")
        self.assertNotIn("ppp", checked.run("--root", self.root).stdout)

    def test_serial_number_that_is_cut(self):
        self.spoil(SN, 'sn="VB004711"', 'sn="VB00471100000000000"', "text-cut", "its first 18")

    def test_version_that_is_cut(self):
        self.write("version/main-version.conf", "1" * 100)
        self.assertIn("99", self.only("text-cut")["effect"])

    def test_letters_of_several_bytes_count_as_such(self):
        self.spoil(POINTS, 'Name="Energy"', f'Name="{"ä" * 64}"', "text-cut", "it is cut")


class LeftOut(checked.CheckTest):
    def spoil(self, name, old, line, rule, effect):
        self.replace(name, old, "")
        finding = self.only(rule)
        self.assertEqual(finding["line"], line)
        self.assertIn(effect, finding["effect"])

    def test_protocol_of_the_device_before(self):
        line = self.line_of(TEMPLATE, '<Dev DeviceName="Pump"')
        self.spoil(TEMPLATE, 'Protocol="MODBUS_TCP"', line, "inherited", '"MODBUS_RTU"')

    def test_description_of_the_device_before(self):
        line = self.line_of(TEMPLATE, '<Dev DeviceName="Pump"')
        self.spoil(TEMPLATE, 'Desc="Bilge pump"', line, "inherited", "Meter of the feeder to the crane")

    def test_unit_of_the_point_before(self):
        self.spoil(POINTS, ' EUUnits="A"', self.line_of(POINTS, 'Name="Ia"'), "inherited", '"V"')

    def test_number_of_the_point_before(self):
        self.spoil(POINTS, 'Id="2" ', self.line_of(POINTS, 'Id="2"'), "inherited",
                   "whose point is replaced")

    def test_channel_number_of_the_channel_before(self):
        self.spoil(TEMPLATE, ' No="2"', self.line_of(TEMPLATE, 'No="2"'), "inherited", '"1"')

    def test_address_of_the_forwarding_channel_before(self):
        self.use("forwarding-table")
        self.spoil(FORWARD, ' addr="8"', self.line_of(FORWARD, 'addr="8"'), "inherited", '"7"')

    def test_first_address_is_0(self):
        self.replace(TEMPLATE, ' SlaveId="3"', "")
        self.assertIn("0 is taken", self.only("left-out")["effect"])


class Devices(checked.CheckTest):
    def test_two_devices_at_one_address(self):
        self.replace(TEMPLATE, 'SlaveId="4"', 'SlaveId="3"')
        found = {one["rule"]: one for one in self.findings()}
        self.assertEqual(set(found), {"duplicate-device", "duplicate-data-id"})
        self.assertIn("device 'Feeder 1' (1-3) at line 4", found["duplicate-device"]["what"])
        self.assertEqual(found["duplicate-device"]["line"], 6)
        self.assertEqual(found["duplicate-device"]["element"], "device 'Feeder 2' (1-3)")

    def test_two_points_of_one_data_id(self):
        self.replace(POINTS, 'Id="2"', 'Id="1"')
        finding = self.only("duplicate-data-id")
        self.assertIn("'Ia' has the data id 01030001 of 'Ua'", finding["what"])

    def test_point_number_that_meets_another(self):
        self.replace(POINTS, 'Id="2"', 'Id="4097"')
        self.assertEqual(self.rules(), ["point-number", "duplicate-data-id"])

    def test_point_file_that_is_missing(self):
        (self.folder / "Pump.xml").unlink()
        finding = self.only("no-points")
        self.assertEqual(finding["element"], "device 'Pump' (2-1)")
        self.assertEqual(finding["line"], 10)
        self.assertIn("Pump.xml is missing", finding["what"])

    def test_point_file_without_points(self):
        self.write("Pump.xml", "<DevConfig><NodeProperty><AI/></NodeProperty></DevConfig>")
        self.assertIn("holds no point", self.only("no-points")["what"])

    def test_point_file_that_is_damaged(self):
        self.write("Pump.xml", "")
        self.assertIn("is damaged", self.only("no-points")["what"])

    def test_point_file_of_another_root(self):
        self.write("Pump.xml", "<Devconfig/>")
        self.assertIn("begins with <Devconfig>", self.only("no-points")["what"])

    def test_point_file_that_is_a_folder(self):
        (self.folder / "Pump.xml").unlink()
        (self.folder / "Pump.xml").mkdir()
        self.assertIn("no regular file", self.only("no-points")["what"])

    def test_byte_order_mark_of_a_point_file(self):
        self.write("Pump.xml", "\ufeff" + self.text("Pump.xml"))
        self.assertIn("byte order mark", self.only("byte-order-mark")["what"])

    def test_two_devices_of_one_point_file(self):
        self.replace(TEMPLATE, "Feeder2.xml", "Feeder1.xml")
        self.assertIn("device 'Feeder 1' (1-3)", self.only("same-device-name")["what"])

    def test_two_point_files_of_one_last_name(self):
        (self.folder / "b").mkdir()
        self.write("b/Feeder1.xml", self.text("Feeder2.xml"))
        self.replace(TEMPLATE, "Feeder2.xml", "b/Feeder1.xml")
        self.assertIn("two of one name", self.only("same-device-name")["effect"])

    def test_point_file_at_another_place(self):
        other = self.root / "etc"
        other.mkdir()
        (other / "Pump.xml").write_text(self.text("Pump.xml"), encoding="utf-8")
        self.replace(TEMPLATE, "/quorvane/Config/Pump.xml", "/etc/Pump.xml")
        self.assertIn('servers know the device as ""', self.only("odd-point-path")["effect"])

    def test_device_without_status(self):
        self.replace("Pump.xml", '<Node Id="0" Name="Status" EUUnits=""/>', "")
        finding = self.only("no-status-point")
        self.assertIn("02010100", finding["what"])
        self.assertEqual(finding["element"], "device 'Pump' (2-1)")

    def test_gateways_own_points_need_no_status(self):
        self.use("https-compressed")
        self.assertEqual(self.rules(), ["peers-not-verified"])


class Server(checked.CheckTest):
    def spoil(self, old, new, rule, severity="error"):
        self.replace(SYS, old, new)
        finding = self.only(rule)
        self.assertEqual(finding["severity"], severity)
        return finding

    def test_prefix_without_slash(self):
        self.assertIn("127.0.0.1:8080plant", self.spoil('"/plant"', '"plant"', "bad-prefix")["effect"])

    def test_prefix_that_ends_with_a_slash(self):
        self.assertIn("/plant//gateway",
                      self.spoil('"/plant"', '"/plant/"', "bad-prefix", "warning")["effect"])

    def test_prefix_with_a_blank(self):
        self.spoil('"/plant"', '"/my plant"', "bad-prefix")

    def test_server_with_scheme(self):
        self.spoil('"127.0.0.1"', '"http://cloud"', "bad-server")

    def test_server_with_port(self):
        self.spoil('"127.0.0.1"', '"cloud:80"', "bad-server")

    def test_server_that_is_empty(self):
        self.spoil('"127.0.0.1"', '""', "bad-server")

    def test_port_0(self):
        self.spoil('"8080"', '"0"', "bad-port")

    def test_format_in_capitals(self):
        self.assertIn("no file is made", self.spoil('"json"', '"JSON"', "unknown-format")["effect"])

    def test_format_that_begins_well(self):
        self.assertIn("no real data is sent",
                      self.spoil('"json"', '"jsonx"', "unknown-format")["effect"])

    def test_model_that_is_unknown(self):
        self.replace(SN, "Varek-B", "varek-b")
        self.assertIn("Varek-A-G", self.only("unknown-model")["effect"])

    def test_model_that_is_missing(self):
        self.replace(SN, '<model model="Varek-B"/>', "")
        self.only("unknown-model")

    def test_serial_number_that_is_missing(self):
        self.replace(SN, '<sn sn="VB004711"/>', "")
        said = self.check()
        self.assertEqual((said["findings"][0]["rule"], said["loads"], said["exit"]),
                         ("no-serial", False, 2))

    def test_serial_number_with_a_slash(self):
        self.replace(SN, "VB004711", "VB/4711")
        self.only("bad-serial")

    def test_https_has_peers_unverified(self):
        self.use("https-compressed")
        self.assertIn("verifies no certificate", self.only("peers-not-verified")["effect"])

    def test_https_without_certificate(self):
        self.use("https-compressed")
        (self.folder / "ca.pem").unlink()
        self.assertEqual(self.rules(), ["no-certificate", "peers-not-verified"])

    def test_https_with_a_certificate_that_is_none(self):
        self.use("https-compressed")
        self.write("ca.pem", "nothing")
        self.assertEqual(self.rules(), ["no-certificate", "peers-not-verified"])


class Forwarding(checked.CheckTest):
    example = "forwarding-table"

    def test_point_that_no_device_has(self):
        self.replace(FORWARD, "0x02010401", "0x02010402")
        finding = self.only("unknown-data-id")
        self.assertIn("'PUMP.SPEED' has db_link 02010402", finding["what"])
        self.assertIn("-1.000", finding["effect"])
        self.assertEqual(finding["line"], self.line_of(FORWARD, "PUMP.SPEED"))

    def test_point_without_name(self):
        self.replace(FORWARD, 'PointName="PUMP.SPEED" ', "")
        self.assertIn("passed over", self.only("nameless-point")["effect"])

    def test_two_points_of_one_name(self):
        self.replace(FORWARD, "PUMP.SPEED", "PUMP.FLOW")
        finding = self.only("duplicate-point-name")
        self.assertEqual(finding["line"], self.line_of(FORWARD, "0x02010401"))
        self.assertIn("takes that one's place", finding["effect"])

    def test_two_devices_may_have_points_of_one_name(self):
        self.replace(FORWARD, "PUMP.ONLINE", "INTAKE.ONLINE")
        self.assertEqual(self.rules(), [])

    def test_protocol_that_is_unknown(self):
        self.replace(FORWARD, "IEC104", "modbus_tcp")
        self.assertIn("passed over", self.only("unknown-protocol")["effect"])

    def test_channel_that_is_not_there(self):
        self.replace(SYS, 'TcpChannel="7"', 'TcpChannel="9"')
        self.assertIn("all configured points", self.only("unknown-forward-channel")["effect"])


if __name__ == "__main__":
    unittest.main()
