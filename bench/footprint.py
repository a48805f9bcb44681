"""What the built library takes on a gateway, beside the agents that one would install instead."""
import os
import re
import shutil
import subprocess
import tempfile
import time

import counting

LIBRARY = "build/release/libcorvenna.so"
TRIVIAL = "build/release/bench/footprint/libtrivial.so"
PROBE = "build/release/bench/footprint/load_probe"
# Agents as Debian has them: the command that keeps one in the foreground with an ordinary
# configuration.
AGENTS = {
    "collectd": ["collectd", "-f"],
    "rsyslog": ["rsyslogd", "-n", "-iNONE"],
    "mosquitto": ["mosquitto"],
}


def row(what, figure, unit, budget=False):
    return {"what": what, "figure": figure, "unit": unit, "budget": budget}


def stripped_bytes(library):
    with tempfile.TemporaryDirectory() as folder:
        copy = f"{folder}/library"
        subprocess.run(["strip", "-o", copy, library], check=True)
        return os.path.getsize(copy)


def relocations(library):
    text = counting.output_of(["readelf", "-rW", library]).stdout
    return sum(map(int, re.findall(r"contains (\d+) entr", text)))


def library_rows(name, library, budget):
    return [row(f"{name}, stripped", stripped_bytes(library), "bytes", budget),
            row(f"{name}, relocations", relocations(library), "", budget)]


def probe_rows(name, library):
    """Median of several loads, each in a process of its own."""
    loads = sorted(int(counting.output_of([PROBE, library]).stdout.split()[0]) for _ in range(15))
    return [row(f"{name}, dlopen", loads[len(loads) // 2] // 1000, "us")]


def memory_of(pid):
    with open(f"/proc/{pid}/smaps_rollup", encoding="ascii") as file:
        found = dict(re.findall(r"^(\w+): +(\d+) kB", file.read(), re.M))
    return int(found["Rss"]), int(found["Private_Dirty"])


def agent_rows(name, command):
    if shutil.which(command[0]) is None:
        return []
    with subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                          stderr=subprocess.DEVNULL) as agent:
        time.sleep(2)  # it has read its configuration by then
        if agent.poll() is not None:
            return []
        resident, dirty = memory_of(agent.pid)
        agent.terminate()
    return [row(f"{name}, resident", resident, "KiB"), row(f"{name}, private dirty", dirty, "KiB")]


def host_rows():
    """A host that has loaded the library and has called Init with 10,000 points."""
    text = counting.output_of([PROBE, LIBRARY, "10000"]).stdout.split()
    return [row("host before the library, resident", int(text[1]), "KiB"),
            row("host after Init of 10,000 points, resident", int(text[2]), "KiB"),
            row("host after Init of 10,000 points, private dirty", int(text[3]), "KiB")]


def measure(quick):
    rows = library_rows("libcorvenna.so", LIBRARY, True)
    if not quick:
        rows += library_rows("trivial plug-in", TRIVIAL, False)
        rows += probe_rows("libcorvenna.so", LIBRARY) + probe_rows("trivial plug-in", TRIVIAL)
        rows += host_rows()
        for name, command in AGENTS.items():
            rows += agent_rows(name, command)
    return rows
