#!/usr/bin/env python3
"""Holds code and docs/behaviour together: every "On purpose" and every "Ours" in a comment has its
row, and every such row its comment.

    tests/rules/behaviour_tags.py [ROOT]

A row begins with the tag and the function, table or type in which it stands:
`| On purpose, `CLogTxt::Open`: a day's file has mode 0400 | ...`. Exit code 1 when one is missing.
"""

import collections
import pathlib
import re

import run_rule
import sources

PAGES = {"base": "base", "log": "log", "config": "config", "packfile": "packfile",
         "message": "message", "http": "http", "plugin": "plugin", "tools/cloud": "cloud",
         "tools/gateway": "gateway", "tools/common": "gateway"}
TAG = re.compile(r"\b(On purpose|Ours):")
ROW = re.compile(r"^\| (On purpose|Ours)(?:, ([^:|]*(?:::[^:|]*)*))?: ")


def tags_of_code(root):
    """Where each tag stands, by page, kind and name."""
    places = collections.defaultdict(list)
    for folder, page in PAGES.items():
        for path in sorted((root / folder).rglob("*")):
            if path.suffix not in (".h", ".cpp"):
                continue
            source = sources.Source(path.read_text(encoding="utf-8"))
            for begin, end in source.comments:
                for tag in TAG.finditer(source.text, begin, end):
                    place = f"{path.relative_to(root)}:{source.line(tag.start())}"
                    places[page, tag.group(1), source.name_around(begin, end)].append(place)
    return places


def rows_of_pages(root):
    """Where each name of a row stands, by page, kind and name; and the rows without a name."""
    places, nameless = collections.defaultdict(list), []
    for path in sorted((root / "docs/behaviour").glob("*.md")):
        for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
            row = ROW.match(line)
            place = f"{path.relative_to(root)}:{number}"
            names = re.findall(r"`([^`]+)`", row.group(2) or "") if row else []
            for name in names:
                places[path.stem, row.group(1), name].append(place)
            if row and not names:
                nameless.append(place)
    return places, nameless


def violations(root):
    code = tags_of_code(root)
    rows, nameless = rows_of_pages(root)
    for (page, kind, name), places in sorted(code.items()):
        if len(rows[page, kind, name]) < len(places):
            yield (f"{', '.join(places)}: {len(places)} \"{kind}\" in {name}, "
                   f"{len(rows[page, kind, name])} in docs/behaviour/{page}.md; "
                   f"add a row there: | {kind}, `{name}`: what it does | `Suite.Test` |")
    for (page, kind, name), places in sorted(rows.items()):
        if places and (page, kind, name) not in code:
            yield (f"{', '.join(places)}: no \"{kind}:\" in {name}; name the function, table or type "
                   f"of {page}'s folder in which the comment stands, or take the row's mark away")
    for place in nameless:
        yield (f"{place}: the row does not name its place in the code; "
               "write | On purpose, `Name`: ... or | Ours, `Name`: ...")


if __name__ == "__main__":
    run_rule.main(violations)
