#!/usr/bin/env python3
"""Holds the drawings of README and docs/architecture.md: which folder may include which, and no
circles.

    tests/rules/includes.py [ROOT]

A unit is a header with its source file. Exit code 1 when something points the wrong way.
"""

import pathlib
import re

import run_rule

# What a folder of the library may include beside itself. Three neighbours never meet.
BELOW = {
    "base": set(),
    "log": {"base"},
    "config": {"base", "log"},
    "packfile": {"base", "log", "config"},
    "message": {"base", "log", "config"},
    "http": {"base", "log", "config"},
    "plugin": {"base", "log", "config", "packfile", "message", "http"},
}
# The same for the folders of corvenna-cloud; what lies beside them may include all.
CLOUD = {
    "ground": set(),
    "metrics": {"ground"},
    "faults": {"ground"},
    "http": {"ground", "faults"},
    "net": {"ground", "faults", "http"},
    "access": {"ground", "http"},
    "document": {"ground"},
    "store": {"ground", "metrics", "faults", "document"},
    "health": {"ground", "metrics", "http", "store"},
    "page": set(),
    "gateway": {"ground", "metrics", "faults", "http", "access", "document", "store", "health"},
    "admin": {"ground", "metrics", "faults", "http", "access", "document", "store", "health",
              "page"},
}
BELOW.update({f"tools/cloud/{folder}":
              {"base", "tools/common"} | {f"tools/cloud/{other}" for other in below}
              for folder, below in CLOUD.items()})
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)


def includes(root):
    """For every source with a rule the files of the project that it includes."""
    return {str(path.relative_to(root)): INCLUDE.findall(path.read_text(encoding="utf-8"))
            for folder in BELOW for path in sorted((root / folder).rglob("*"))
            if path.suffix in (".h", ".cpp")}


def wrong_ways(found):
    for source, headers in found.items():
        folder = folder_of(source)
        for header in headers:
            other = folder_of(header)
            if other != folder and other not in BELOW[folder]:
                yield f"{source} includes {header}: {folder}/ may include " + (
                    ", ".join(f"{name}/" for name in BELOW if name in BELOW[folder])
                    or "nothing but itself")


def folder_of(path):
    """The folder of a rule that a file lies in; else the folder itself."""
    parents = [str(parent) for parent in pathlib.PurePosixPath(path).parents]
    return next((parent for parent in parents if parent in BELOW), parents[0])


def unit(path):
    return path.rsplit(".", 1)[0]


def circles(found):
    """Groups of units that reach each other."""
    below = {}
    for source, headers in found.items():
        below.setdefault(unit(source), set()).update(
            unit(header) for header in headers if unit(header) != unit(source))
    reach = {one: reachable(below, one) for one in below}
    groups = {tuple(sorted(other for other in reach[one] if one in reach.get(other, ())))
              for one in below if one in reach[one]}
    return sorted(groups)


def reachable(below, start):
    seen, waiting = set(), [start]
    while waiting:
        for other in below.get(waiting.pop(), ()):
            if other not in seen:
                seen.add(other)
                waiting.append(other)
    return seen


def violations(root):
    found = includes(root)
    yield from wrong_ways(found)
    for group in circles(found):
        yield "these units include each other in a circle: " + ", ".join(group)


if __name__ == "__main__":
    run_rule.main(violations)
