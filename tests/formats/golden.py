"""The golden files of tools/conform/golden: one document of every format, of the small plant.

    tests/support/sandbox /usr/bin/python3 tests/formats/golden.py      writes them anew
"""

import zlib

import documents
import made
import recorder

FOLDER = made.PROJECT / "tools/conform/golden"

# Name of the file, and the exchange that it is the body of: method, step, whether of the answer.
BODIES = [
    ("gateway", "POST", "gateway", False),
    ("devices", "POST", "device", False),
    ("real-data", "POST", "realdata", False),
    ("alarm-data", "POST", "alarmdata", False),
    ("recall-list", "GET", "calldata", True),
    ("recall-done", "DELETE", "calldata", False),
    ("download-list", "GET", "downfile", True),
    ("download-status", "PUT", "downfile", False),
]
DEFLATED = ["real-data", "alarm-data"]  # those that are files


def contents():
    """Name and bytes of all that the plug-in and its cloud make now."""
    for name, method, step, answered in BODIES:
        for file_type in ("json", "xml"):
            exchange = documents.recorded(file_type, method, step)
            body = recorder.body_of(exchange.answer if answered else exchange.request)
            body = documents.steady(body.decode()).encode()
            yield f"{name}.{file_type}", body
            if name in DEFLATED:
                yield f"{name}.{file_type}z", zlib.compress(body + b"\0")


if __name__ == "__main__":
    for file_name, content in contents():
        (FOLDER / file_name).write_bytes(content)
