#!/usr/bin/env python3
"""Holds the documents and the files together that they show whole: a code block behind a line
`<!-- whole: PATH -->` is that file, byte for byte.

    tests/rules/included_files.py [ROOT] [--write]

With --write the blocks are made what the files are. Exit code 1 when one is not.
"""

import pathlib
import re
import sys

import run_rule

BLOCK = re.compile(r"^<!-- whole: (\S+) -->\n(```\w*\n)(.*?)^```$", re.MULTILINE | re.DOTALL)
MARK = re.compile(r"<!-- whole: ")


def pages(root):
    return sorted((root / "docs").rglob("*.md"))


def violations(root):
    for path in pages(root):
        text = path.read_text(encoding="utf-8")
        name = path.relative_to(root)
        blocks = list(BLOCK.finditer(text))
        if len(blocks) != len(MARK.findall(text)):
            yield f"{name}: a mark of a whole file has no block behind it"
        for block in blocks:
            file = root / block.group(1)
            if not file.is_file():
                yield f"{name}: there is no {block.group(1)}"
            elif file.read_text(encoding="utf-8") != block.group(3):
                yield (f"{name}: the block is not {block.group(1)}; "
                       "tests/rules/included_files.py --write makes it that")


def write(root):
    for path in pages(root):
        text = path.read_text(encoding="utf-8")
        made = BLOCK.sub(lambda block: "<!-- whole: {} -->\n{}{}```".format(
            block.group(1), block.group(2),
            (root / block.group(1)).read_text(encoding="utf-8")), text)
        if made != text:
            path.write_text(made, encoding="utf-8")


def main():
    words = [word for word in sys.argv[1:] if word != "--write"]
    root = run_rule.root_of(words)
    if "--write" in sys.argv:
        write(root)
    run_rule.report(violations, root)


if __name__ == "__main__":
    main()
