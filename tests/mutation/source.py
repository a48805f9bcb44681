"""The text of a source file, and which of its characters are code, texts or comments."""

import re

FOLDERS = ("base", "log", "config", "packfile", "http", "message", "plugin")

TOKEN = re.compile(
    r"""(?P<comment>//[^\n]*|/\*.*?\*/)
      | (?P<raw>R"\((?:.*?)\)")
      | (?P<text>"(?:\\.|[^"\\\n])*")
      | (?P<character>(?<![0-9A-Fa-f])'(?:\\.|[^'\\\n])+')
      | (?P<directive>^[ \t]*\#(?:\\\n|[^\n])*)""",
    re.VERBOSE | re.MULTILINE | re.DOTALL)


class Line:
    """One line: its text, and the places in it that hold code and texts."""

    def __init__(self, number, text, code, texts):
        self.number = number
        self.text = text
        self.code = code  # the text with blanks for all that is not code
        self.texts = texts  # (begin, end) of each literal, its quotes included


def read_lines(text):
    """All lines of a source text."""
    kinds = [(match.start(), match.end(), match.lastgroup) for match in TOKEN.finditer(text)]
    code = list(text)
    for begin, end, _ in kinds:
        for at in range(begin, end):
            if code[at] != "\n":
                code[at] = " "
    lines = []
    start = 0
    for number, (line, blanked) in enumerate(
            zip(text.split("\n"), "".join(code).split("\n")), start=1):
        end = start + len(line)
        texts = [(max(b, start) - start, min(e, end) - start) for b, e, kind in kinds
                 if kind in ("text", "raw", "character") and b < end and e > start]
        lines.append(Line(number, line, blanked, texts))
        start = end + 1
    return lines
