"""What the tests of rules know of C++: comments, and the name of what stands around a place."""

import re

KEEP_LINES = re.compile(r"[^\n]")
TOKEN = re.compile(r'//[^\n]*|/\*.*?\*/|R"(\w*)\(.*?\)\1"|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])+\'',
                   re.DOTALL)
PREPROCESSOR = re.compile(r"^[ \t]*#(?:\\\n|[^\n])*", re.MULTILINE)
CONTROL = re.compile(r"\s*(?:\}\s*)?(?:if|else|for|while|do|switch|case|default|try|catch|return)\b")
TYPE = re.compile(r"\b(?:class|struct|union|enum(?:\s+class)?)\s+(?:CORVENNA_API\s+)?(\w+)")
CALL = re.compile(r"(operator\s*\(\)|[\w~]+(?:::[\w~]+)*)\s*\(")
NO_NAMES = {"alignas", "__attribute__", "decltype", "noexcept", "explicit", "static_assert"}


def blank(text):
    return KEEP_LINES.sub(" ", text)


class Source:
    """One file: its code without comments, texts and preprocessor, and its comments, where several
    lines in a row are one."""

    def __init__(self, text):
        self.comments = []

        def take(match):
            if match.group().startswith("/"):
                self.comments.append((match.start(), match.end()))
            return blank(match.group())

        code = TOKEN.sub(take, text)
        self.code = PREPROCESSOR.sub(lambda match: blank(match.group()), code)
        self.text = text
        self.comments = self.joined()

    def joined(self):
        joined = []
        for begin, end in self.comments:
            between = self.text[joined[-1][1]:begin] if joined else "first"
            if not between.strip() and between.count("\n") == 1:
                joined[-1] = (joined[-1][0], end)
            else:
                joined.append((begin, end))
        return joined

    def line(self, place):
        return self.text.count("\n", 0, place) + 1

    def name_around(self, begin, end):
        """The function, table or type that holds a comment, or that the comment stands above of."""
        scopes = self.scopes(begin)
        types = [name for kind, name in scopes if kind == "type"]
        holders = [name for kind, name in scopes if kind in ("function", "variable")]
        name = holders[0] if holders else self.name_beside(begin, end)
        if types and "::" not in name:
            return f"{types[-1]}::{name}"
        return name

    def name_beside(self, begin, end):
        before = self.code[self.code.rfind("\n", 0, begin) + 1:begin]
        if before.strip():
            return named(before)[1]
        following = self.code[end:]
        stop = re.search(r"[;{]", following)
        return named(following[:stop.start()] if stop else following)[1]

    def scopes(self, place):
        """Kind and name of every block that is open at a place, outermost first."""
        stack, begin = [], 0
        for match in re.finditer(r"[;{}]", self.code[:place]):
            if match.group() == "{":
                stack.append(named(self.code[begin:match.start()]))
            elif match.group() == "}" and stack:
                stack.pop()
            begin = match.end()
        return stack


def named(header):
    """Kind and name of what begins with this text."""
    header = re.sub(r"\b(?:public|private|protected)\s*:", " ", header)
    header = re.sub(r"^\s*template\s*<[^{;]*?>(?=\s*(?:class|struct|\w))", " ", header)
    if CONTROL.match(header) or re.search(r"\bnamespace\b", header):
        return "none", ""
    assigned = re.match(r"([^=(]*?)\s*(?:\[[^\]]*\]\s*)*=(?!=)", header)
    if assigned:
        return "variable", last_word(assigned.group(1))
    for match in CALL.finditer(header):
        name = match.group(1)
        if name not in NO_NAMES:
            return "function", re.sub(r"\s", "", name)
    found = TYPE.search(header)
    if found:
        return "type", found.group(1)
    return "none", last_word(header)


def last_word(text):
    words = re.findall(r"\w+", re.sub(r"\[[^\]]*\]", "", text))
    return words[-1] if words else ""
