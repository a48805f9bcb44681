#!/usr/bin/env python3
"""Finds every test that docs/behaviour names, in the sources: of GoogleTest, of Python, of ctest.

    tests/rules/behaviour_tests.py [ROOT]

`Suite.*` and `Suite.Begins...` stand for several, `...Ends` for one of the suite named before, a
name alone for a whole suite; what stands in brackets is no name. Exit code 1 when one is missing.
"""

import fnmatch
import pathlib
import re

import run_rule

GOOGLE = re.compile(r"^(?:TYPED_)?TEST(?:_[FP])?\(\s*(\w+)\s*,\s*(\w+)\s*\)", re.MULTILINE)
PYTHON = re.compile(r"^(?:class (\w+)|    def (test_\w+))\b", re.MULTILINE)
CTEST = re.compile(r"^\s*(?:add_test\(NAME|gateway_script\()\s*([\w/${}]+)", re.MULTILINE)


def tests(root):
    """Names of suites and of tests, each once."""
    names = set()
    for path in sorted((root / "tests").rglob("*")):
        if path.suffix == ".cpp":
            for suite, test in GOOGLE.findall(path.read_text(encoding="utf-8")):
                names.update((suite, f"{suite}.{test}"))
        elif path.suffix == ".py":
            suite = ""
            for found, test in PYTHON.findall(path.read_text(encoding="utf-8")):
                suite = found or suite
                name = f"{suite}.{test}" if test else suite
                names.update((name, f"{path.stem}.{name}"))
        elif path.name == "CMakeLists.txt":
            for name in CTEST.findall(path.read_text(encoding="utf-8")):
                names.add(re.sub(r"\$\{\w+\}", "*", name))
    return names - {"*"}


def is_there(pattern, names):
    """`*` may stand on both sides: a loop of CMake makes `cloud/*`."""
    return any(fnmatch.fnmatchcase(name, pattern) or fnmatch.fnmatchcase(pattern, name)
               for name in names)


def cells(line):
    return [cell.strip() for cell in line.strip().strip("|").split("|")]


def names_of_page(text):
    """Number of the line and pattern of every test that the tables of a page name."""
    suite = ""
    for number, line in enumerate(text.splitlines(), 1):
        if not line.startswith("|"):
            continue
        for name in re.findall(r"`([^`]+)`", re.sub(r"\([^()]*\)", "", cells(line)[-1])):
            pattern = name.replace("...", "*")
            if name.startswith("..."):
                pattern = f"{suite}.{pattern}"
            suite = pattern.split(".")[0]
            yield number, name, pattern


def violations(root):
    names = tests(root)
    for path in sorted((root / "docs/behaviour").glob("*.md")):
        for number, name, pattern in names_of_page(path.read_text(encoding="utf-8")):
            if not is_there(pattern, names):
                yield f"{path.relative_to(root)}:{number}: there is no test {name}"


if __name__ == "__main__":
    run_rule.main(violations)
