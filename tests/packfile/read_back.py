#!/usr/bin/env python3
"""Reads a produced data file back and compares it with a document made here from the same points.

    read_back.py INPUT FILE

INPUT is text, one record a line, names and units in hexadecimal, doubles as their 64 bits:

    format json|xml          (the document's format)
    time SECONDS             (real data: the sample time; alarm data has none)
    point ID NAME UNIT       (a point of the channel set)
    value ID BITS            (an entry of the snapshot)
    alarm TIME ID THRESHOLD VALUE TYPE FLAG
"""
import json
import struct
import subprocess
import sys
import time
import xml.etree.ElementTree
import zlib


def decode(bits):
    return struct.unpack('>d', bytes.fromhex(bits))[0]


def value_text(bits, limit):
    value = decode(bits)
    text = 'nan' if value != value else '%.3f' % abs(value)
    negative = int(bits[0], 16) >= 8
    return (('-' if negative else '') + text)[:limit].encode()


class Input:
    def __init__(self, path):
        self.points, self.values, self.alarms, self.time = {}, {}, [], None
        with open(path, encoding='ascii') as lines:
            for line in lines:
                kind, *fields = line.rstrip('\n').split(' ')
                if kind == 'format':
                    self.format = fields[0]
                elif kind == 'time':
                    self.time = int(fields[0])
                elif kind == 'point':
                    name, unit = (bytes.fromhex(field) for field in fields[1:])
                    self.points[int(fields[0])] = (name, unit)
                elif kind == 'value':
                    self.values[int(fields[0])] = fields[1]
                elif kind == 'alarm':
                    self.alarms.append(fields)


def local_text(seconds):
    return time.strftime('%Y-%m-%d %H:%M:%S', time.localtime(seconds)).encode()


def devices_of(given):
    """Yields (channel, device, [(id, name, unit, value, kind)]) in the document's order."""
    for device in sorted({point >> 16 for point in given.points}):
        channel, number = device >> 8, device & 0xFF
        if channel == 193:
            continue
        status = device << 16 | 0x0100
        ids = sorted(point for point in given.points if point >> 16 == device)
        if channel != 192 and decode(given.values.get(status, 'bff0000000000000')) < 0.1:
            yield channel, number, [(status, b'Comm_Status', b'', b'0', 'down')]
            continue
        entries = []
        for point in ids:
            name, unit = given.points[point]
            value = value_text(given.values[point], 14)
            if point == status and channel != 192:
                entries.append((point, b'Comm_Status', unit, value, 'up'))
            else:
                entries.append((point, name, unit, value, 'ordinary'))
        yield channel, number, entries


JSON_ESCAPES = {8: rb'\b', 9: rb'\t', 10: rb'\n', 12: rb'\f', 13: rb'\r', 34: rb'\"', 92: rb'\\'}
XML_ESCAPES = {9: b'&#9;', 10: b'&#10;', 13: b'&#13;', 34: b'&quot;', 38: b'&amp;', 60: b'&lt;',
               62: b'&gt;'}


def quote_json(text):
    pieces = []
    for byte in text:
        if byte in JSON_ESCAPES:
            pieces.append(JSON_ESCAPES[byte])
        elif byte < 32:
            pieces.append(b'\\u%04X' % byte)
        else:
            pieces.append(bytes([byte]))
    return b'"' + b''.join(pieces) + b'"'


def quote_xml(text):
    return b'"' + b''.join(XML_ESCAPES.get(byte, bytes([byte])) for byte in text) + b'"'


def json_object(*pairs):
    return b'{' + b','.join(quote_json(key) + b':' + value for key, value in pairs) + b'}'


def xml_attributes(*pairs):
    return b''.join(b' ' + key + b'=' + quote_xml(value) for key, value in pairs)


def real_json(given):
    devices = []
    for channel, device, entries in devices_of(given):
        nodes = []
        for point, name, unit, value, kind in entries:
            if kind == 'up':
                unit, value = b'', b'1'
            nodes.append(json_object((b'dblink', quote_json(b'%08x' % point)),
                                     (b'name', quote_json(name)), (b'unit', quote_json(unit)),
                                     (b'value', quote_json(value))))
        devices.append(json_object((b'id', b'%d' % device), (b'channel', b'%d' % channel),
                                   (b'node', b'[' + b','.join(nodes) + b']')))
    return json_object((b'logdt', quote_json(local_text(given.time))),
                       (b'device', b'[' + b','.join(devices) + b']'))


def real_xml(given):
    lines = [b'<?xml version="1.0" encoding="UTF-8"?>',
             b'<data' + xml_attributes((b'logdt', local_text(given.time))) + b'>']
    for channel, device, entries in devices_of(given):
        lines.append(b'  <device' + xml_attributes((b'id', b'%d' % device),
                                                   (b'channel', b'%d' % channel)) + b'>')
        for point, name, unit, value, _ in entries:
            link = (b'dblink', b'%08x' % point)
            first = [(b'name', name), link] if channel == 192 else [link, (b'name', name)]
            lines.append(b'    <node' +
                         xml_attributes(*first, (b'value', value), (b'unit', unit)) + b'/>')
        lines.append(b'  </device>')
    return b'\n'.join(lines + [b'</data>', b''])


def alarm_fields(given, fields):
    seconds, point, threshold, value, kind, flag = fields
    point = int(point)
    name, unit = given.points.get(point, (b'', b''))
    return (local_text(int(seconds)), b'%d' % (point >> 24), b'%d' % (point >> 16 & 0xFF),
            b'%08x' % point, name, unit, value_text(value, 46), value_text(threshold, 46),
            kind.encode(), flag.encode())


def alarm_json(given):
    nodes = []
    for fields in given.alarms:
        when, channel, device, link, name, unit, value, threshold, kind, flag = \
            alarm_fields(given, fields)
        nodes.append(json_object(
            (b'logdt', quote_json(when)), (b'channel', channel), (b'device', device),
            (b'dblink', quote_json(link)), (b'name', quote_json(name)),
            (b'value', quote_json(value)), (b'threshold_value', quote_json(threshold)),
            (b'unit', quote_json(unit)), (b'type', kind), (b'flag', flag)))
    return json_object((b'node', b'[' + b','.join(nodes) + b']'))


def alarm_xml(given):
    lines = [b'<?xml version="1.0" encoding="UTF-8"?>', b'<data>']
    for fields in given.alarms:
        when, channel, device, link, name, unit, value, threshold, kind, flag = \
            alarm_fields(given, fields)
        lines.append(b'  <node' + xml_attributes(
            (b'logdt', when), (b'channel', channel), (b'device', device), (b'dblink', link),
            (b'name', name), (b'value', value), (b'unit', unit), (b'thredhold_value', threshold),
            (b'type', kind), (b'flag', flag)) + b'/>')
    return b'\n'.join(lines + [b'</data>', b''])


DOCUMENTS = {('json', False): real_json, ('xml', False): real_xml,
             ('json', True): alarm_json, ('xml', True): alarm_xml}


def names_of(given):
    """The names that a parser must find, in order."""
    if given.time is None:
        return [given.points.get(int(fields[1]), (b'', b''))[0].decode() for fields in given.alarms]
    return [name.decode() for _, _, entries in devices_of(given) for _, name, *_ in entries]


def parsed_names(given, text):
    if given.format == 'json':
        document = json.loads(text)
        lists = [document] if given.time is None else document['device']
        return [node['name'] for entry in lists for node in entry['node']]
    subprocess.run(['xmllint', '--noout', '-'], input=text, check=True)
    return [node.get('name') for node in xml.etree.ElementTree.fromstring(text).iter('node')]


def main():
    given = Input(sys.argv[1])
    with open(sys.argv[2], 'rb') as file:
        text = file.read()
    if sys.argv[2].endswith('z'):
        text = zlib.decompress(text)
        if not text.endswith(b'\0') or b'\0' in text[:-1]:
            sys.exit('the inflated text does not end in its only NUL')
        text = text[:-1]
    expected = DOCUMENTS[given.format, given.time is None](given)
    if text != expected:
        at = next((i for i, (a, b) in enumerate(zip(text, expected)) if a != b),
                  min(len(text), len(expected)))
        sys.exit(f'byte {at}: {text[at - 60:at + 60]!r} instead of {expected[at - 60:at + 60]!r}')
    if parsed_names(given, text) != names_of(given):
        sys.exit('a parser found other names')


main()
