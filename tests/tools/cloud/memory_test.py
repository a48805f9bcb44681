"""What documents cost that are small on their way and large when they are inflated."""

import threading
import unittest
import zlib

from cloud_server import JSON, XML, CloudTest, real_data

INFLATED = 16 << 20  # the usual --max-inflated
MOST = 4 * INFLATED


def filled(beginning, piece, end):
    return beginning + piece * ((INFLATED - len(beginning) - len(end) - 1) // len(piece)) + end


def numbered(beginning, piece, end):
    """Pieces that all differ, as long as they fit."""
    pieces = []
    left = INFLATED - len(beginning) - len(end) - 1
    while left > 0:
        pieces.append(piece % len(pieces))
        left -= len(pieces[-1])
    return beginning + "".join(pieces[:-1]) + end


NODE = '{"dblink":"02010001","name":"n","unit":"","value":"1"}'
DEVICE = '{"logdt":"2024-03-05 07:08:09","device":[{"id":1,"channel":2,"node":['

# What is in the document, the document.
JSON_BOMBS = [
    ("objects that nobody reads", filled('{"x":[', "{},", "{}]}")),
    ("points", filled(DEVICE, NODE + ",", NODE + "]}]}")),
    ("points with long names", filled(DEVICE, NODE.replace('"n"', '"%s"' % ("n" * 1000)) + ",",
                                      NODE + "]}]}")),
    ("arrays in arrays", filled("{", '"x":[', "")),
    ("arrays of numbers", filled('{"x":[', "1,", "1]}")),
    ("one text", filled('{"x":"', "y", '"}')),
    ("members", numbered("{", '"%d":1,', '"x":1}')),
    ("bytes that are no UTF-8", filled('{"x":"', "\x80", '"}')),
]
XML_BOMBS = [
    ("elements that nobody reads", filled("<data>", "<a/>", "</data>")),
    ("elements with names of their own", numbered("<data>", "<a%d/>", "</data>")),
    ("points", filled('<data logdt="2024-03-05 07:08:09"><device id="1" channel="2">',
                      '<node dblink="02010001" name="n" unit="" value="1"/>', "</device></data>")),
    ("elements in elements", filled("<data>", "<a>", "")),
    ("attributes", numbered("<data ", 'a%d="" ', "/>")),
    ("one attribute", filled('<data a="', "y", '"/>')),
    ("one text", filled("<data>", "y", "</data>")),
    ("one comment", filled("<data><!--", "y", "--></data>")),
    ("character references", filled("<data>", "&#65;", "</data>")),
]
ALARM = ('{"logdt":"2024-03-05 07:08:09","channel":1,"device":2,"dblink":"02010001","name":"%s",'
         '"value":"1","threshold_value":"1","unit":"","type":1,"flag":1}' % ("n" * 90))
ALARM_ELEMENT = ('<node logdt="2024-03-05 07:08:09" channel="1" device="2" dblink="02010001" name="%s" '
                 'value="1" thredhold_value="1" unit="" type="1" flag="1"/>' % ("n" * 90))
MOST_ALARMS = 65536 - 1  # with what they stand in, as many as a document may have
# Near its largest size, too.
ALARMS = [(JSON, '{"node":[' + ",".join([ALARM] * MOST_ALARMS) + "]}"),
          (XML, "<data>" + ALARM_ELEMENT * MOST_ALARMS + "</data>")]
BOMBS = [(JSON, *bomb) for bomb in JSON_BOMBS] + [(XML, *bomb) for bomb in XML_BOMBS]


class Memory(CloudTest):
    def of_process(self, name):
        with open(f"/proc/{self.cloud.process.pid}/status") as file:
            return int(next(line for line in file if line.startswith(name)).split()[1]) * 1024

    def setUp(self):
        super().setUp()
        if self.of_process("VmSize") > 1 << 40 or self.of_process("VmHWM") > INFLATED * 2:
            self.skipTest("a sanitizer or an emulator takes more memory than the server")

    def send(self, content_type, document, kind="realdata"):
        body = zlib.compress(document.encode("latin-1") + b"\0", 9)
        return self.cloud.request("POST", f"/{kind}/SN1", body, {
            "Content-Type": content_type, "Content-Encoding": "deflate"}).status

    def test_no_document_takes_more_than_four_times_its_bound(self):
        for content_type, what, document in BOMBS:
            with self.subTest(what, format=content_type):
                self.assertIn(self.send(content_type, document), (200, 400))
                self.assertLess(self.of_process("VmHWM"), MOST)

    def alarms(self, content_type):
        self.assertEqual(self.send(content_type, dict(ALARMS)[content_type], "alarmdata"), 200)
        self.assertLess(self.of_process("VmHWM"), MOST)

    def test_nor_do_alarms_in_json(self):
        self.alarms(JSON)

    def test_nor_do_alarms_in_xml(self):
        self.alarms(XML)

    def test_nor_does_one_that_comes_into_the_memory_of_another(self):
        points = [(content_type, document) for content_type, what, document in BOMBS
                  if what.startswith("points")]
        in_turn = points * 4
        in_rows = [one for one in points * 2 for _ in range(3)]
        for content_type, document in in_turn + in_rows:
            self.assertIn(self.send(content_type, document), (200, 400))
        self.assertLess(self.of_process("VmHWM"), MOST)

    def test_many_at_once_take_no_more(self):
        threads = [threading.Thread(target=self.send, args=(content_type, document))
                   for content_type, what, document in BOMBS if what.startswith("points")]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertLess(self.of_process("VmHWM"), MOST)

    def test_data_is_stored_meanwhile(self):
        bomb = threading.Thread(target=self.send, args=BOMBS[0][0::2])
        bomb.start()
        self.assertEqual(self.cloud.post("/realdata/SN1", real_data()).status, 200)
        bomb.join()


class Elements(CloudTest):
    """A document may have 65,536 objects or elements."""

    def status(self, objects):
        points = ",".join(NODE.replace("02010001", f"{number:08x}") for number in range(objects - 2))
        return self.cloud.post("/realdata/SN1", DEVICE + points + "]}]}", compress=True)

    def test_as_many_as_may_be_are_stored(self):
        self.assertIn('"stored":"65534"', self.status(65536).text)

    def test_one_more_is_refused(self):
        answer = self.status(65537)
        self.assertEqual(answer.status, 400)
        self.assertIn("more than 65536 objects", answer.text)


if __name__ == "__main__":
    unittest.main()
