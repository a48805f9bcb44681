"""Each schema refuses what it should: one planted mistake at a time in a document that is good."""

import json
import unittest

import jsonschema
import schemas

SYS = """<sysConfig>
<Info><station stationName="S" longitude="1" latitude="2"/><rooms roomName="R" desc="d"/>
<baseInfo gatewayName="G" address="A"/><owner ownerName="O" desc="e"/></Info>
<cloud cloudip="127.0.0.1" port="80" checked="1" Dir="/a" RealDataInv="60" AlarmDataInv="30"
HeartInterval="60" FailInterval="30" RecallInterval="60" FileType="json" IsCompress="0"
TcpChannel="0"><https checked="0" certfile="c" user="u" password="p"/></cloud></sysConfig>"""
SN = '<snConfig><model model="Mosso-G"/><sn sn="ABC00123"/></snConfig>'
TEMPLATE = """<ChannelConfig><Channel No="1">
<Dev DeviceName="M" Name="/quorvane/Config/M.xml" Protocol="P" Desc="D" SlaveId="1" Group="1"/>
<Dev Name="/quorvane/Config/N.xml" SlaveId="2"/></Channel><Channel No="2"/></ChannelConfig>"""
POINTS = """<DevConfig><NodeProperty><AI Num="1"><Node Id="1" Name="Ua" EUUnits="V"/>
<Node Id="2" Name="Ub"/></AI><DI><Node Id="1" Name="K"/></DI></NodeProperty></DevConfig>"""
FORWARD = """<Fwd_srv><Fwd_chan lnk_p="MODBUS_TCP" addr="7"><Fwd_tbl>
<pt PointName="Ua" db_link="0x01031123"/></Fwd_tbl></Fwd_chan></Fwd_srv>"""
REAL = """<data logdt="2024-03-05 07:08:09"><device id="1" channel="2">
<node dblink="02010001" name="Ua" value="229.870" unit="V"/></device></data>"""
ALARM = """<data><node logdt="2024-03-05 07:08:09" channel="2" device="1" dblink="02010001"
name="Ua" value="253.100" unit="V" thredhold_value="250.000" type="1" flag="-1"/></data>"""
GATEWAY = """<data><gw sn="GW1" name="G" ver="1"><site name="S" longitude="1" latitude="2"/>
<owner name="O" desc="d"/><room name="R" desc="e" camera="reserve"/></gw></data>"""
DEVICES = '<data><device channel="1" id="3" desc="D" name="M"/></data>'
OFFERS = """<data><node file="files/a.bin" md5="ef9b04f93669f2c5429205229ff57ef9" type="9"
path="/tmp" since="today"/></data>"""
STATUS = '<data><node md5="ef9b04f93669f2c5429205229ff57ef9" status="1"/></data>'
RANGE = '<data><node startdt="2024-03-05 07:00:00" enddt="2024-03-05 08:00:00"/></data>'

XML = {"sys": SYS, "sn": SN, "channel-template": TEMPLATE, "point-file": POINTS,
       "forward-config": FORWARD, "real-data": REAL, "alarm-data": ALARM, "gateway": GATEWAY,
       "devices": DEVICES, "download-list": OFFERS, "download-status": STATUS,
       "recall-list": RANGE, "recall-done": RANGE}

# Schema, what is replaced, by what.
XML_MISTAKES = [
    ("sys", "sysConfig", "sysconfig"), ("sys", "cloud ", "Cloud "), ("sys", "checked=\"1\"", "Checked=\"1\""),
    ("sys", 'port="80"', 'port="0"'), ("sys", 'port="80"', 'port="65536"'), ("sys", 'port="80"', 'port="http"'),
    ("sys", 'checked="1"', 'checked="256"'), ("sys", 'checked="1"', 'checked="yes"'),
    ("sys", 'Dir="/a"', 'Dir="a"'), ("sys", 'Dir="/a"', 'Dir="/a/"'), ("sys", 'Dir="/a"', 'Dir="/"'),
    ("sys", 'Dir="/a"', f'Dir="/{"a" * 62}"'),
    ("sys", 'RealDataInv="60"', 'RealDataInv="59"'), ("sys", 'RealDataInv="60"', 'RealDataInv="0"'),
    ("sys", 'RealDataInv="60"', 'RealDataInv="-2"'), ("sys", 'RealDataInv="60"', 'RealDataInv="32768"'),
    ("sys", 'AlarmDataInv="30"', 'AlarmDataInv="29"'), ("sys", 'AlarmDataInv="30"', 'AlarmDataInv="1"'),
    ("sys", 'HeartInterval="60"', 'HeartInterval="59"'), ("sys", 'FailInterval="30"', 'FailInterval="29"'),
    ("sys", 'RecallInterval="60"', 'RecallInterval="59"'), ("sys", 'RecallInterval="60"', 'RecallInterval="1 h"'),
    ("sys", 'FileType="json"', 'FileType="JSON"'), ("sys", 'FileType="json"', 'FileType="csv"'),
    ("sys", 'TcpChannel="0"', 'TcpChannel="256"'), ("sys", 'cloudip="127.0.0.1"', 'cloudip="http://cloud"'),
    ("sys", 'cloudip="127.0.0.1"', f'cloudip="{"a" * 63}"'), ("sys", 'cloudip="127.0.0.1"', 'cloudip=""'),
    ("sys", 'certfile="c"', f'certfile="{"c" * 127}"'), ("sys", 'user="u"', f'user="{"u" * 63}"'),
    ("sys", 'password="p"', f'password="{"p" * 63}"'), ("sys", 'stationName="S"', f'stationName="{"S" * 256}"'),
    ("sys", "<Info>", '<Info><camera/>'), ("sys", "</cloud>", "</cloud><cloud/>"),
    ("sn", "snConfig", "SnConfig"), ("sn", "Mosso-G", "mosso-G"), ("sn", "Mosso-G", "Mosso-H"),
    ("sn", "ABC00123", ""), ("sn", "ABC00123", "A" * 19), ("sn", "ABC00123", "A/1"), ("sn", "ABC00123", "A 1"),
    ("sn", '<sn sn="ABC00123"/>', ""), ("sn", '<sn sn="ABC00123"/>', "<sn/>"),
    ("sn", '<sn sn="ABC00123"/>', '<sn sn="A1"/><sn sn="A2"/>'),
    ("channel-template", 'No="1"', ""), ("channel-template", 'No="1"', 'No="256"'),
    ("channel-template", 'No="1"', 'No="-1"'), ("channel-template", 'SlaveId="2"', 'SlaveId="01"'),
    ("channel-template", ' SlaveId="2"', ""), ("channel-template", 'SlaveId="2"', 'slaveid="2"'),
    ("channel-template", 'SlaveId="2"', 'SlaveId="256"'), ("channel-template", 'Name="/quorvane/Config/N.xml"', ""),
    ("channel-template", "/quorvane/Config/N.xml", "/" + "N" * 126),
    ("channel-template", 'Group="1"', 'Group="256"'), ("channel-template", 'Desc="D"', f'Desc="{"D" * 127}"'),
    ("channel-template", "<Dev Name", "<dev Name"),
    ("point-file", "DevConfig", "Devconfig"), ("point-file", "NodeProperty", "Nodeproperty"),
    ("point-file", "DI>", "BI>"), ("point-file", 'Id="2"', 'Id="4096"'), ("point-file", 'Id="2"', 'Id="1"'),
    ("point-file", 'Id="2"', ""), ("point-file", 'Id="2"', 'ID="2"'), ("point-file", 'Id="2"', 'Id="0x2"'),
    ("point-file", 'Name="Ub"', f'Name="{"U" * 127}"'), ("point-file", 'Name="Ub"', ""),
    ("point-file", 'EUUnits="V"', f'EUUnits="{"V" * 127}"'), ("point-file", 'Num="1"', 'Num="one"'),
    ("forward-config", "Fwd_srv", "fwd_srv"), ("forward-config", 'addr="7"', 'addr="256"'),
    ("forward-config", 'addr="7"', ""), ("forward-config", 'lnk_p="MODBUS_TCP"', ""),
    ("forward-config", 'PointName="Ua"', 'PointName=""'), ("forward-config", "0x01031123", "0x010311234"),
    ("forward-config", "0x01031123", "01 03"), ("forward-config", 'db_link="0x01031123"', ""),
    ("real-data", "07:08:09", "7:08:09"), ("real-data", "2024-03-05", "05.03.2024"),
    ("real-data", 'channel="2"', 'channel="193"'), ("real-data", "02010001", "0201000A"),
    ("real-data", "02010001", "2010001"), ("real-data", "229.870", "229,870"), ("real-data", "229.870", ""),
    ("real-data", "229.870", "123456789012345"), ("real-data", 'unit="V"', ""), ("real-data", "device ", "dev "),
    ("alarm-data", "thredhold_value", "threshold_value"), ("alarm-data", 'type="1"', 'type="one"'),
    ("alarm-data", 'flag="-1"', 'flag="2147483648"'), ("alarm-data", 'device="1"', 'device="256"'),
    ("alarm-data", 'name="Ua"', ""), ("gateway", "longitude", "longtitude"), ("gateway", "reserve", "none"),
    ("gateway", '<owner name="O" desc="d"/>', ""), ("gateway", 'sn="GW1"', 'sn=""'), ("gateway", "<gw ", "<gw x='' "),
    ("devices", 'channel="1"', 'channel="193"'), ("devices", 'id="3"', 'id="256"'), ("devices", 'desc="D"', ""),
    ("download-list", "ef9b", "EF9B"), ("download-list", "ef9b", ""), ("download-list", 'type="9"', 'type="plain"'),
    ("download-list", 'path="/tmp"', ""), ("download-list", "files/a.bin", "f" * 512),
    ("download-list", "data", "list"), ("download-status", 'status="1"', 'status="3"'),
    ("download-status", "md5", "MD5"), ("recall-list", "startdt", "start"), ("recall-list", "07:00:00", "25:00:00"),
    ("recall-list", 'enddt="2024-03-05 08:00:00"', ""), ("recall-done", "03-05 07", "13-05 07"),
    ("recall-done", "<node", "<range"), ("recall-done", "</data>", "<node/></data>"),
]

JSON = {
    "real-data": {"logdt": "2024-03-05 07:08:09", "device": [{"id": 1, "channel": 2, "node": [
        {"dblink": "02010001", "name": "Ua", "unit": "V", "value": "229.870"}]}]},
    "alarm-data": {"node": [{"logdt": "2024-03-05 07:08:09", "channel": 2, "device": 1,
                             "dblink": "02010001", "name": "Ua", "value": "253.100",
                             "threshold_value": "250.000", "unit": "V", "type": 1, "flag": -1}]},
    "gateway": {"sn": "GW1", "name": "G", "ver": "1\n",
                "site": {"name": "S", "longitude": "1", "latitude": "2"},
                "owner": {"name": "O", "desc": "d"},
                "room": {"name": "R", "desc": "e", "camera": "reserve"}},
    "devices": {"device": [{"channel": 1, "id": 3, "desc": "D", "name": "M"}]},
    "download-list": {"node": [{"file": "files/a.bin", "md5": "ef9b04f93669f2c5429205229ff57ef9",
                                "type": "9", "path": "/tmp", "since": "today"}]},
    "download-status": {"node": {"md5": "ef9b04f93669f2c5429205229ff57ef9", "status": "1"}},
    "recall-list": {"node": [{"startdt": "2024-03-05 07:00:00", "enddt": "2024-03-05 08:00:00"}]},
    "recall-done": {"node": {"startdt": "2024-03-05 07:00:00", "enddt": "2024-03-05 08:00:00"}},
}

JSON_MISTAKES = [
    ("real-data", '"logdt"', '"time"'), ("real-data", "07:08:09", "7:08:09"), ("real-data", '"229.870"', "229.87"),
    ("real-data", '"229.870"', '"12345678901234.5"'), ("real-data", '"229.870"', '"high"'),
    ("real-data", '"channel": 2', '"channel": 193'), ("real-data", '"channel": 2', '"channel": "2"'),
    ("real-data", '"id": 1', '"id": 256'), ("real-data", '"id": 1', '"id": -1'), ("real-data", "02010001", "0201000A"),
    ("real-data", "02010001", "0x2010001"), ("real-data", '"unit": "V", ', ""), ("real-data", '"unit"', '"Unit"'),
    ("real-data", '"V"', "null"), ("alarm-data", "threshold_value", "thredhold_value"),
    ("alarm-data", '"type": 1', '"type": "1"'), ("alarm-data", '"flag": -1', '"flag": -2147483649'),
    ("alarm-data", '"253.100"', "253.1"), ("alarm-data", '"device": 1', '"device": 256'),
    ("alarm-data", '"channel": 2', '"channel": 1.5'), ("gateway", "longitude", "longtitude"),
    ("gateway", "reserve", ""), ("gateway", '"sn": "GW1"', '"sn": ""'), ("gateway", '"GW1"', '"GW1234567890123456789"'),
    ("gateway", '"ver"', '"version"'), ("gateway", '"owner"', '"owners"'), ("devices", '"id": 3', '"id": 300'),
    ("devices", '"channel": 1', '"channel": 193'), ("devices", '"D"', '7'), ("devices", "[{", "{"),
    ("download-list", '"9"', "9"), ("download-list", "ef9b", "EF9B"), ("download-list", '"md5"', '"sum"'),
    ("download-list", '"9"', '"nine"'), ("download-list", "files/a.bin", "f" * 512),
    ("download-status", '"1"', "1"), ("download-status", '"1"', '"3"'), ("download-status", '"node"', '"nodes"'),
    ("recall-list", '"startdt"', '"start"'), ("recall-list", "07:00:00", "24:00:00"), ("recall-list", "2024-03", "2024-3"),
    ("recall-done", '"enddt"', '"end"'), ("recall-done", "08:00:00", "08:60:00"),
]

# What stands at a limit, or is unusual and good.
XML_GOOD = [
    ("sys", 'port="80"', 'port="1"'), ("sys", 'port="80"', 'port="65535"'), ("sys", 'Dir="/a"', 'Dir=""'),
    ("sys", 'Dir="/a"', f'Dir="/{"a" * 61}"'), ("sys", 'RealDataInv="60"', 'RealDataInv="-1"'),
    ("sys", 'RealDataInv="60"', 'RealDataInv="32767"'), ("sys", 'AlarmDataInv="30"', 'AlarmDataInv="0"'),
    ("sys", 'AlarmDataInv="30"', 'AlarmDataInv="-5"'), ("sys", 'FileType="json"', 'FileType="xml"'),
    ("sys", 'TcpChannel="0"', 'TcpChannel="255"'), ("sys", 'cloudip="127.0.0.1"', f'cloudip="{"a" * 62}"'),
    ("sys", 'cloudip="127.0.0.1"', 'cloudip="[::1]"'), ("sys", 'certfile="c"', f'certfile="{"c" * 126}"'),
    ("sys", 'stationName="S"', f'stationName="{"S" * 255}"'),
    ("sys", '<https checked="0" certfile="c" user="u" password="p"/>', ""),
    ("sys", "</cloud>", "</cloud><Info/>"), ("sn", "ABC00123", "A" * 18), ("sn", "Mosso-G", "Varek-A"),
    ("channel-template", 'No="1"', 'No="255"'), ("channel-template", 'No="1"', 'No="0"'),
    ("channel-template", "/quorvane/Config/N.xml", "/" + "N" * 125), ("point-file", 'Id="2"', 'Id="4095"'),
    ("point-file", 'Id="2"', 'Id="0"'), ("point-file", 'Name="Ub"', f'Name="{"U" * 126}"'),
    ("forward-config", "0x01031123", "1031123"), ("forward-config", "MODBUS_TCP", "IEC104"),
    ("real-data", "229.870", "nan"), ("real-data", "229.870", "-inf"), ("real-data", "229.870", "12345678901.50"),
    ("real-data", 'channel="2"', 'channel="192"'), ("alarm-data", "2024-03-05 07:08:09", ""),
    ("alarm-data", 'channel="2"', 'channel="193"'), ("download-list", "files/a.bin", "f" * 511),
]


class XmlSchemas(unittest.TestCase):
    def test_good_documents_are_accepted(self):
        self.assertEqual(set(XML), set(schemas.CONFIGURATION + schemas.MESSAGES))
        for name, document in XML.items():
            with self.subTest(schema=name):
                self.assertEqual(schemas.xml_problem(name, document), "")

    def test_limits_are_accepted(self):
        for name, old, new in XML_GOOD:
            with self.subTest(schema=name, new=new):
                self.assertIn(old, XML[name])
                self.assertEqual(schemas.xml_problem(name, XML[name].replace(old, new)), "")

    def test_each_mistake_is_refused(self):
        self.assertEqual({name for name, *_ in XML_MISTAKES}, set(XML))
        for name, old, new in XML_MISTAKES:
            with self.subTest(schema=name, old=old, new=new):
                self.assertIn(old, XML[name])
                self.assertNotEqual(schemas.xml_problem(name, XML[name].replace(old, new)), "")


class JsonSchemas(unittest.TestCase):
    def test_schemas_are_schemas(self):
        for name in schemas.MESSAGES:
            jsonschema.Draft202012Validator.check_schema(schemas.json_schema(name))

    def test_good_documents_are_accepted(self):
        self.assertEqual(set(JSON), set(schemas.MESSAGES))
        for name, value in JSON.items():
            with self.subTest(schema=name):
                self.assertEqual(schemas.json_problem(name, json.dumps(value)), "")

    def test_empty_lists_are_accepted(self):
        for name, member in (("alarm-data", "node"), ("devices", "device"), ("recall-list", "node"),
                             ("download-list", "node")):
            self.assertEqual(schemas.json_problem(name, json.dumps({member: []})), "")
            self.assertEqual(schemas.xml_problem(name, "<data/>"), "")

    def test_each_mistake_is_refused(self):
        self.assertEqual({name for name, *_ in JSON_MISTAKES}, set(JSON))
        for name, old, new in JSON_MISTAKES:
            with self.subTest(schema=name, old=old, new=new):
                document = json.dumps(JSON[name])
                self.assertIn(old, document)
                self.assertNotEqual(schemas.json_problem(name, document.replace(old, new)), "")


if __name__ == "__main__":
    unittest.main()
