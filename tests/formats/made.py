"""Everything that the plug-in makes of a configuration, each made once: data files, and exchanges
with the project's own cloud, byte for byte. Runs in tests/support/sandbox."""

import functools
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys
import tempfile

import recorder

PROJECT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(PROJECT / "tests/tools/cloud"))
BUILD = pathlib.Path(os.environ.get("CORVENNA_BUILD", PROJECT / "build/release"))
os.environ.setdefault("CORVENNA_CLOUD", str(BUILD / "tools/cloud/corvenna-cloud"))
os.environ["TZ"] = "UTC"

import cloud_server  # noqa: E402, needs the path and the environment

EXAMPLES = PROJECT / "examples"
TREES = sorted(path.parent for path in EXAMPLES.glob("*/quorvane"))  # beside them stand hosts
CONFIG = pathlib.Path("/quorvane/Config")
SAMPLE_TIME = 1709622489  # 2024-03-05 07:08:09
SERIAL = "VB004711"
RECALLED = ("2024-03-05 07:00:00", "2024-03-05 08:00:00")
OFFERED = b"Crane: lubricate on Friday.\n"

# One feeder is up and one is down, the pump is up.
VALUES = f"""
real 01030001 229.87
real 01030002 12.5
real 01030100 1
real 01030201 4711.25
real 01031123 1
real 01040001 0
real 01040002 0
real 01040100 0
real 01040201 0
real 01041123 0
real 02010001 14.5
real 02010100 1
real 02010101 1
real 02010301 0
real 02010401 1450
real c0010001 41.25
real c0010002 24.1
alarm {SAMPLE_TIME - 2} 01030001 250 253.1 1 1
alarm {SAMPLE_TIME - 1} 02010001 5 14.5 2 0
"""


def program(name):
    return [*shlex.split(os.environ.get("CORVENNA_EMULATOR", "")), str(BUILD / name)]


def run(words, text=""):
    done = subprocess.run(words, input=text, capture_output=True, text=True, check=False,
                          timeout=300)
    assert done.returncode == 0, (words, done.returncode, done.stdout, done.stderr)
    return done.stdout


def install(tree, **settings):
    """Puts a tree in the plug-in's place, with other settings of <cloud> and <https>."""
    shutil.rmtree(CONFIG, ignore_errors=True)
    shutil.copytree(pathlib.Path(tree) / "quorvane/Config", CONFIG)
    path = CONFIG / "sys.xml"
    text = path.read_text(encoding="utf-8")
    for name, value in settings.items():
        pattern = r'(<https checked=")[^"]*' if name == "https" else rf'(\b{name}=")[^"]*'
        text, count = re.subn(pattern, rf"\g<1>{value}", text)
        assert count == 1, (name, count)
    path.write_text(text, encoding="utf-8")


def produce(values=VALUES):
    """The plug-in's data files for the configuration that is installed: real data, alarms."""
    folder = tempfile.mkdtemp(prefix="corvenna-formats-")
    said = run([*program("tests/formats/formats_producer"), "files", folder, str(SAMPLE_TIME)],
               values)
    return [line for line in said.splitlines() if line.startswith(folder)]


def exchange(real, alarms):
    run([*program("tests/formats/formats_producer"), "exchanges", real, alarms])


@functools.lru_cache(maxsize=None)
def files(example, file_type, compress):
    """Name and bytes of both data files."""
    install(EXAMPLES / example, FileType=file_type, IsCompress=compress)
    return [(pathlib.Path(path).name, pathlib.Path(path).read_bytes()) for path in produce()]


@functools.lru_cache(maxsize=None)
def exchanges(file_type, scheme="http", compress=0, cookies=False):
    """All exchanges of the small plant: at first nothing waits for it, then a recall and a file
    do."""
    options = ["--prefix", "/plant"] + (["--users", users_file()] if cookies else [])
    cloud = cloud_server.Cloud(*options)
    try:
        tls = (server_tls(cloud), recorder.trusting_context()) if scheme == "https" else ()
        between = recorder.Recorder(cloud.ready[scheme], *tls)
        try:
            install(EXAMPLES / "small-plant", FileType=file_type, IsCompress=compress,
                    port=between.port, https=int(scheme == "https"),
                    user="harbour", password="crane and quay",
                    certfile=f"{cloud.folder}/certificate.pem" if tls else "")
            data = produce()
            exchange(*data)
            assert cloud.recall(*RECALLED, sn=SERIAL).status == 201
            cloud.offer(sn=SERIAL, content=OFFERED, name="notes.txt", type=9, path="/tmp")
            exchange(*data)
        finally:
            between.close()
    finally:
        cloud.close()
    return between.exchanges


def server_tls(cloud):
    found = sorted(path for path in pathlib.Path(cloud.folder).glob("*.pem"))
    key = next(path for path in found if "key" in path.name)
    certificate = next(path for path in found if path != key)
    return recorder.server_context(certificate, key)


def users_file():
    path = pathlib.Path(tempfile.mkdtemp(prefix="corvenna-users-")) / "users"
    hashed = run(["openssl", "passwd", "-6", "-salt", "formats", "crane and quay"]).strip()
    path.write_text(f"harbour:{hashed}\n", encoding="utf-8")
    return str(path)
