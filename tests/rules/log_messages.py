#!/usr/bin/env python3
"""Holds the library's messages and the tables of docs/troubleshooting.md together, in both
directions: text as it stands in the code, level, and where it goes.

    tests/rules/log_messages.py [ROOT]

A row is `| `text` | LEVEL | sink | meaning | what to do |`. Exit code 1 when a message has no row, a
row no message, or a log call takes its text from where this program does not look.
"""

import collections
import pathlib
import re

import run_rule

FOLDERS = ("base", "log", "config", "packfile", "http", "message", "plugin")
PAGE = "docs/troubleshooting.md"
# They print whole configurations and the test driver's result when somebody asks for that.
LISTINGS = ("config/sys_set_show.cpp", "config/channel_set_show.cpp", "plugin/main.cpp")
LITERAL = r'"(?:\\.|[^"\\\n])*"'
LITERALS = rf"{LITERAL}(?:\s*{LITERAL})*"

Message = collections.namedtuple("Message", "text level sink")
SINKS = {"log_Text": "text", "log_DB": "database"}

COMMENT = re.compile(r"^\s*//[^\n]*\n", re.MULTILINE)
CALL = re.compile(r"\b(log_Text|log_DB)\(\s*kLog(\w+),\s*([^;]*?)\)\s*;")
ANY_CALL = re.compile(r"\b(?:log_Text|log_DB)\(\s*(?!LogLevel\b)")
PRINTED = re.compile(rf"\bstd::printf\(\s*({LITERALS}|\w+)")
ASSERTED = re.compile(rf"\b__assert_fail\(\s*({LITERAL})")
DROPPED = re.compile(rf"\bPrintText\(AllOf\(text\), ({LITERAL}), dropped_\)")
# Where a text stands that a call does not carry itself: what its argument is called, and which
# initialisers hold its literals, of which so many in front are none.
ELSEWHERE = {
    '"%s", rule.missing': (r"\bRootRule \w+ = \{(.*?)\n\};", 1, 1),
    '"%s", root == nullptr ? rule.empty : rule.wrongRoot': (r"\bRootRule \w+ = \{(.*?)\n\};", 2, 2),
    '"%s", messages.empty': (r"\bAnswerMessages \w+ = \{(.*?)\n\};", 0, 1),
    '"%s", messages.wrongRoot': (r"\bAnswerMessages \w+ = \{(.*?)\n\};", 1, 1),
    '"%s", file.failure': (r"\bLoad<\w+>,\s*([^}]*)\}", 0, 1),
}
NAMED = rf"\bconstexpr char {{}}\[\] = ({LITERALS});"


def joined(literals):
    """One text of literals that stand behind each other, as it is spelt in the code."""
    return "".join(part[1:-1] for part in re.findall(LITERAL, literals))


def elsewhere(rule, sources):
    """All texts that a table's rows hold at the places of a rule."""
    pattern, first, count = rule
    for source in sources.values():
        for row in re.findall(pattern, source, re.DOTALL):
            texts = re.findall(LITERALS, row)
            yield from (joined(text) for text in texts[first:first + count])


def of_call(arguments, source, sources):
    """The texts that one call can log; none where they are not found."""
    arguments = re.sub(r"\s+", " ", arguments.strip())
    if arguments in ELSEWHERE:
        return list(elsewhere(ELSEWHERE[arguments], sources))
    literal = re.match(LITERALS, arguments)
    if literal:
        return [] if literal.group() == '"%s"' else [joined(literal.group())]
    return named(arguments.split(",")[0], source)


def named(name, source):
    return [joined(text) for text in re.findall(NAMED.format(re.escape(name)), source)]


def library(root):
    paths = [path for folder in FOLDERS for path in sorted((root / folder).rglob("*"))
             if path.suffix in (".h", ".cpp")]
    return {str(path.relative_to(root)): COMMENT.sub("", path.read_text(encoding="utf-8"))
            for path in paths}


def messages_of(path, source, sources, problems):
    calls = CALL.findall(source)
    if len(calls) != len(ANY_CALL.findall(source)) and path not in ("log/log.cpp", "log/log.h"):
        problems.append(f"{path}: a log call whose level or end is not understood")
    for function, level, arguments in calls:
        texts = of_call(arguments, source, sources)
        if not texts:
            problems.append(f"{path}: the text of {function}({arguments}) stands where "
                            "tests/rules/log_messages.py does not look (ELSEWHERE)")
        for text in texts:
            yield Message(text, level.upper(), SINKS[function])
    for text in DROPPED.findall(source):
        yield Message(joined(text), "WARN", "text, database")
    for text in ASSERTED.findall(source):
        yield Message(joined(text), "", "standard error")
    if path not in LISTINGS:
        for text in PRINTED.findall(source):
            for found in [joined(text)] if text.startswith('"') else named(text, source):
                yield Message(found, "", "standard output")


def messages_of_code(root, problems):
    """For every message the files that say it."""
    sources = library(root)
    places = collections.defaultdict(set)
    for path, source in sources.items():
        for message in messages_of(path, source, sources, problems):
            places[message].add(path)
    return places


def rows_of_page(text, problems):
    """For every row the lines of the page on which it stands."""
    rows = collections.defaultdict(list)
    for number, line in enumerate(text.splitlines(), 1):
        row = re.match(r"\| `([^`]*)` \| *([A-Z]*) *\| ([a-z, ]+?) \| (.*) \| (.*) \|$", line)
        if row:
            text, level, sink, meaning, advice = row.groups()
            rows[Message(text, level, sink)].append(number)
            if not meaning.strip() or not advice.strip():
                problems.append(f"{PAGE}:{number}: meaning or advice is missing")
        elif line.startswith("| `"):
            problems.append(f"{PAGE}:{number}: not text, level, sink, meaning, what to do")
    return rows


def shown(message):
    return f"`{message.text}` | {message.level} | {message.sink}"


def violations(root):
    problems = []
    code = messages_of_code(root, problems)
    rows = rows_of_page((root / PAGE).read_text(encoding="utf-8"), problems)
    yield from problems
    for message in sorted(code.keys() - rows.keys()):
        yield f"{', '.join(sorted(code[message]))}: no row in {PAGE} for {shown(message)}"
    for message in sorted(rows.keys() - code.keys()):
        yield f"{PAGE}:{rows[message][0]}: the library has no message {shown(message)}"
    for message, lines in sorted(rows.items()):
        if len(lines) > 1:
            yield f"{PAGE}:{lines[1]}: a second row for {shown(message)}"


if __name__ == "__main__":
    run_rule.main(violations)
