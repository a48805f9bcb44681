#!/usr/bin/python3
"""Holds the bill of materials of a build against its format and against the programs themselves.

    tests/packages/sbom.py BUILD_FOLDER
"""
import json
import pathlib
import re
import subprocess
import sys

import jsonschema

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent.parent
# Names of licences, as Debian packages the list.
LICENCES = pathlib.Path("/usr/share/nodejs/spdx-license-ids/index.json")


def written(build):
    return subprocess.run([ROOT / "cmake/sbom", build], check=True, stdout=subprocess.PIPE).stdout


def expect(true, message):
    if not true:
        raise SystemExit(f"sbom: {message}")


def check_licences(components):
    known = set(json.loads(LICENCES.read_text(encoding="utf-8")))
    for component in components:
        for entry in component["licenses"]:
            text = entry["license"]["id"] if "license" in entry else entry["expression"]
            name = re.sub(r" WITH .*", "", text)
            expect(name in known, f"{component['name']}: no licence is called {name}")


def check_references(found):
    names = [one["bom-ref"] for one in found["components"] + [found["metadata"]["component"]]]
    expect(len(names) == len(set(names)), "two components have one reference")
    refs = [one["ref"] for one in found["dependencies"]]
    expect(sorted(refs) == sorted(names), "components and dependencies differ")
    for one in found["dependencies"]:
        for other in one["dependsOn"]:
            expect(other in names, f"{one['ref']} depends on {other}, which is not there")


def check_programs(build, found):
    """What is installed is listed, and nothing of it lacks the C library."""
    listed = {one["ref"]: one["dependsOn"] for one in found["dependencies"]}
    installed = set(re.search(r"^set\(CORVENNA_PROGRAMS (.*)\)", (
        ROOT / "tools/CMakeLists.txt").read_text(encoding="utf-8"), re.M)[1].split())
    for name in installed | {"libcorvenna.so"}:
        expect(name in listed, f"{name} is not listed")
        expect(any("/libc6@" in other for other in listed[name]), f"{name} has no C library")
    plugin = {re.search(r"/([^/@]+)@", other)[1] for other in listed["libcorvenna.so"]}
    expect(plugin == {"libc6", "libcurl4", "libgcc-s1", "libsqlite3-0", "libstdc%2B%2B6", "libxml2",
                      "rapidjson-dev", "zlib1g"}, f"the plug-in is said to consist of {plugin}")


def main(build):
    first = written(build)
    expect(first == written(build), "written twice, it differs")
    found = json.loads(first)
    schema = json.loads((HERE / "cyclonedx.schema.json").read_text(encoding="utf-8"))
    jsonschema.validate(found, schema, cls=jsonschema.Draft7Validator)
    check_licences(found["components"])
    check_references(found)
    check_programs(build, found)


if __name__ == "__main__":
    main(pathlib.Path(sys.argv[1]).resolve())
