"""Writes a program's manual page from what its --help says.

    page.py PAGE VERSION EXTRA PROGRAM [LAUNCHER...]

EXTRA is a file of sections that no --help has (FILES, EXAMPLES), as they are to stand in the page; it
may be missing. The program runs as a copy beside nothing else, as it will when it is installed.
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

OPTION = re.compile(r"  (?P<name>\S.*?)(?:  +(?P<text>\S.*))?$")
CONTINUED = re.compile(r" {20,}(?P<text>\S.*)$")
LIMITS = re.compile(r"^(?P<kind>[A-Z]+):(?P<limits>.+)$")


def help_of(command, *words):
    said = subprocess.run([*command, *words, "--help"], check=True, stdout=subprocess.PIPE,
                          stdin=subprocess.DEVNULL, encoding="utf-8")
    return said.stdout.rstrip("\n").split("\n")


def escaped(text):
    text = text.replace("\\", "\\e").replace("-", "\\-").replace("~", "\\(ti").replace("^", "\\(ha")
    return re.sub(r"^([.'])", r"\\&\1", text)


class Help:
    """The parts of one --help: what it is for, its usage, rows of positional arguments, options and
    commands, and the lines behind them."""

    def __init__(self, lines):
        usage = next(n for n, line in enumerate(lines) if line.startswith("Usage: "))
        self.about = " ".join(lines[:usage])
        self.usage = lines[usage].removeprefix("Usage: ")
        self.rows = {"Positionals:": [], "Options:": [], "Subcommands:": []}
        self.rest = []
        self.take(lines[usage + 1:])
        self.arguments = self.rows["Positionals:"] + self.rows["Options:"]
        self.commands = self.rows["Subcommands:"]

    def take(self, lines):
        rows = None
        for line in lines:
            if line in self.rows:
                rows = self.rows[line]
            elif not line:
                rows = None
            elif rows is None:
                self.rest.append(line)
            elif CONTINUED.match(line):
                rows[-1][1] += CONTINUED.match(line)["text"]
            else:
                found = OPTION.match(line)
                rows.append([found["name"], found["text"] or ""])


def option_term(name):
    """`--http INT:INT in [0 - 65535]=8080 Needs: --x` as term and remarks."""
    remarks = []
    words = name.split(" ", 1)
    term = "\\fB" + escaped(words[0]).replace(",", "\\fR, \\fB") + "\\fR"
    if len(words) == 1:
        return term, remarks
    value = words[1].removesuffix(" REQUIRED")
    if value != words[1]:
        remarks.append("required")
    for mark, word in (("Needs", "only with"), ("Excludes", "not with")):
        found = re.search(rf" ?{mark}: (\S+)", value)
        if found:
            remarks.append(f"{word} {found[1]}")
            value = value.replace(found[0], "")
    found = re.search(r" ?\(Env:(\w+)\)", value)
    if found:
        remarks.append(f"else what the environment's {found[1]} says")
        value = value.replace(found[0], "")
    value, repeated = value.removesuffix(" ..."), value.endswith(" ...")
    value, limits = with_limits(value)
    remarks = limits + remarks
    value = value.strip()
    return term + (f" \\fI{escaped(value)}\\fR" if value else "") + (" ..." if repeated else ""), remarks


def with_limits(value):
    """`INT:INT in [0 - 9]=8` is INT, from 0 to 9, by default 8."""
    remarks = []
    if re.match(r"[A-Z]+(:[^=]*)?=", value) and not re.match(r"[A-Z]+=[A-Z]+$", value):
        value, default = value.split("=", 1)
        remarks.append(f"default: {default.strip()}")
    found = LIMITS.match(value)
    if found:
        value, limits = found["kind"], found["limits"]
        range_of = re.search(r"in \[(\S+) - (\S+)\]", limits)
        if range_of:
            remarks.insert(0, f"from {range_of[1]} to {range_of[2]}")
        elif limits.startswith("{"):
            remarks.insert(0, "one of " + ", ".join(limits.strip("{}").split(",")))
    return value, remarks


def options_text(rows):
    for name, text in rows:
        term, remarks = option_term(name)
        sentence = text[:1].upper() + text[1:]
        if remarks:
            sentence = " ".join(filter(None, [sentence, f"({'; '.join(remarks)})"]))
        yield f".TP\n{term}\n{escaped(sentence)}" if sentence else f".TP\n{term}\n\\&"


def closing_text(lines):
    for line in lines:
        heading = re.match(r"[^ ].*:$", line)
        if heading:
            yield ".PP\n" + escaped(line)
        elif line.startswith("  "):
            yield ".br\n" + "\\h'2n'" + escaped(line.strip())
        elif line:
            yield ".PP\n" + escaped(line)


def page(program, version, command, extra):
    whole = Help(help_of(command))
    commands = [(name, text, Help(help_of(command, name))) for name, text in whole.commands]
    usages = [one.usage for _, _, one in commands] or [whole.usage]
    parts = [f'.TH {program.upper()} 1 "" "corvenna {version}" "User Commands"',
             ".SH NAME", f"{program} \\- {escaped(brief(whole.about))}",
             ".SH SYNOPSIS", "\n.br\n".join(map(synopsis, usages)),
             ".SH DESCRIPTION", escaped(whole.about),
             ".SH OPTIONS", *options_text(whole.arguments)]
    for name, text, one in commands:
        parts += [f".SH COMMAND {name.upper()}", escaped(text if text.endswith("?") else text + "."), *options_text(
            row for row in one.arguments if not row[0].startswith("-h"))]
    if whole.rest:
        parts += [".SH NOTES", *closing_text(whole.rest)]
    if extra.exists():
        parts.append(extra.read_text(encoding="utf-8").rstrip("\n"))
    return "\n".join(parts) + "\n"


def synopsis(usage):
    name, bracket, rest = usage.partition(" [")
    return f"\\fB{escaped(name)}\\fR{bracket}{escaped(rest)}"


def brief(about):
    """The first sentence, without its point, as whatis(1) shows it."""
    first = re.split(r"[.:] ?", about, maxsplit=1)[0].split(", and ")[0]
    return first[0].lower() + first[1:]


def main(target, version, extra, program, *launcher):
    with tempfile.TemporaryDirectory(dir=pathlib.Path(target).parent) as folder:
        alone = pathlib.Path(folder, "one", "two", "three", os.path.basename(program))
        alone.parent.mkdir(parents=True)
        shutil.copy2(program, alone)
        text = page(alone.name, version, [*launcher, str(alone)], pathlib.Path(extra))
    pathlib.Path(target).write_text(text, encoding="utf-8")


if __name__ == "__main__":
    main(*sys.argv[1:])
