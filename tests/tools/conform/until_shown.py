"""Runs a host until its record shows whatever can be judged of it, and then asks it to end, as the kit
does after its seconds: how long a host takes to show all of it is the machine's affair.

    until_shown.py HOST [ARGUMENT...]
"""

import json
import os
import pathlib
import subprocess
import sys
import time

PROJECT = pathlib.Path(__file__).resolve().parents[3]
sys.path.insert(0, str(PROJECT / "tools/demo"))

import plant  # noqa: E402, needs the path

PATIENCE = 200
STOOD_STILL = "this machine stood still while the host ended"
RECORD = pathlib.Path(os.environ.get("CORVENNA_CONFORM_RECORD", ""))


def calls():
    """By their numbers: what was said of them at their beginnings and at their ends. A line that is
    just being written is left out."""
    found = {}
    text = RECORD.read_text(encoding="utf-8") if RECORD.exists() else ""
    for line in text[:text.rfind("\n") + 1].splitlines():
        said = json.loads(line)
        found.setdefault(said["call"], {}).update(said)
    return [call for call in found.values() if "end" in call]


def has_shown_all():
    """A file that did not arrive has been sent again, and a recall has been served: each takes all
    that is to be judged before it."""
    failed, again, served = set(), False, False
    for call in calls():
        if call["name"] == "UploadRealDataFile":
            name = os.path.basename(call["path"])
            again = again or name in failed
            failed |= {name} if call["result"] != 0 else set()
        served = served or (call["name"] == "DeleteRecall" and call["result"] == 0)
    return again and served


def main():
    with subprocess.Popen(sys.argv[1:]) as host:
        while host.poll() is None and not has_shown_all():
            time.sleep(0.1)
        if host.poll() is None:
            pathlib.Path(f"{RECORD}.stop").touch()
            host.terminate()
            if plant.time_lost_until_end(host, PATIENCE) > 5:
                print(STOOD_STILL, file=sys.stderr)
    return host.returncode


if __name__ == "__main__":
    sys.exit(main())
