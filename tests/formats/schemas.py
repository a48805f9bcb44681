"""The schemas, and validators that are not ours: xmllint, and Python's jsonschema."""

import json
import pathlib
import re
import subprocess

import jsonschema

FOLDER = pathlib.Path(__file__).resolve().parents[2] / "schemas"

# The schema of a configuration file by its name; every other file is a point file.
OF_FILE = {"sys.xml": "sys", "sn.xml": "sn", "Channel-template.xml": "channel-template",
           "forward_config.xml": "forward-config"}

# The schemas of request and answer, by method and first step of the path.
OF_EXCHANGE = {
    ("POST", "gateway"): ("gateway", None),
    ("POST", "device"): ("devices", None),
    ("POST", "realdata"): ("real-data", None),
    ("POST", "alarmdata"): ("alarm-data", None),
    ("GET", "calldata"): (None, "recall-list"),
    ("DELETE", "calldata"): ("recall-done", None),
    ("GET", "downfile"): (None, "download-list"),
    ("PUT", "downfile"): ("download-status", None),
    ("GET", "files"): (None, None),
}
MESSAGES = sorted({name for pair in OF_EXCHANGE.values() for name in pair if name})
CONFIGURATION = ["channel-template", "forward-config", "point-file", "sn", "sys"]


def of_file(path):
    return OF_FILE.get(pathlib.Path(path).name, "point-file")


def xml_problem(name, document):
    """What xmllint finds; empty when the document is valid."""
    if isinstance(document, str):
        document = document.encode()
    done = subprocess.run(["xmllint", "--noout", "--nonet", "--schema", str(FOLDER / f"{name}.xsd"), "-"],
                          input=document, capture_output=True, check=False)
    said = done.stderr.decode(errors="replace")
    # 1: no XML; 3: not valid. Whatever else there is (5: a bad schema) is a fault of ours.
    assert done.returncode in (0, 1, 3, 4), (name, done.returncode, said)
    return "" if done.returncode == 0 else said


def json_schema(name):
    return json.loads((FOLDER / f"{name}.schema.json").read_text(encoding="utf-8"))


def json_problem(name, document):
    """What jsonschema finds; empty when the document is valid."""
    try:
        value = json.loads(document)
    except ValueError as error:
        return str(error)
    validator = jsonschema.Draft202012Validator(json_schema(name))
    return "\n".join(f"{list(error.absolute_path)}: {error.message}"
                     for error in validator.iter_errors(value))


def problem(name, document):
    """By what the document looks like."""
    start = document[:1]
    return (xml_problem if start in ("<", b"<") else json_problem)(name, document)


def of_target(method, path):
    """The schemas of an exchange by its path, whatever prefix stands before it."""
    step = re.search(r"/(gateway|device|realdata|alarmdata|calldata|downfile|files)\b", path).group(1)
    return OF_EXCHANGE[method, step]
