"""The changes that a mutant may be: each turns one line into another one."""

import re
from collections import namedtuple

from source import read_lines

Mutant = namedtuple("Mutant", "path number old new")

# Between blanks, as the formatter sets operators; what belongs to a template has none.
OPERATORS = {
    "<": ("<=", ">="), "<=": ("<", ">"), ">": (">=", "<="), ">=": (">", "<"),
    "==": ("!=",), "!=": ("==",), "&&": ("||",), "||": ("&&",), "+": ("-",), "-": ("+",),
    "+=": ("-=",), "-=": ("+=",), "<<": (">>",), ">>": ("<<",),
}
WORDS = {
    "true": ("false",), "false": ("true",), "++": ("--",), "--": ("++",),
    "std::min": ("std::max",), "std::max": ("std::min",),
    "continue;": ("break;",), "break;": ("continue;",), "kOk": ("kFail",), "kFail": ("kOk",),
    "kOn": ("kOff",), "kOff": ("kOn",),
}
RETURNS = {"0": "-1", "-1": "0", "nullptr": None, "true": None, "false": None,
           "std::nullopt": None}

NOT_RUN = re.compile(r"^\s*(static_assert|using|namespace|template|typedef|friend|public:|private:)")
STATEMENT = re.compile(r"^\s+(?:static_cast<void>\()?[\w:.>\-\[\]*+]+(\(.*\)|\s[-+|&]?=\s.*|\+\+|--)\)?;$")
DECLARATION = re.compile(r"^\s+(const |static |constexpr |auto |std::[\w:]+(<.*>)? \w|return\b|throw\b|"
                         r"[\w:]+(<.*>)? [*&]?\w+( =|\(|;|\{))")
GUARD = re.compile(r"^\s+(const )?(XmlGuard|std::(lock_guard|unique_lock)<\w+>) \w+(\(.*\))?;$")
CONDITION = re.compile(r"^(\s*(?:\} else )?if \()(.*)(\) \{)$")
NUMBER = re.compile(r"(?<![\w.'])(0[xX][0-9A-Fa-f]+|\d+)([uUlL]*)(?![\w.'])")


def replaced(text, begin, end, new):
    return text[:begin] + new + text[end:]


def operators(line):
    for match in re.finditer(r"(?<= )([<>=!&|+\-]{1,2})(?= |$)", line.code):
        for new in OPERATORS.get(match.group(1), ()):
            yield replaced(line.text, match.start(1), match.end(1), new)


def words(line):
    for word, others in WORDS.items():
        pattern = r"(?<![\w:.])" + re.escape(word) + (r"(?!\w)" if word[-1].isalnum() else "")
        for match in re.finditer(pattern, line.code):
            for new in others:
                yield replaced(line.text, match.start(), match.end(), new)


def numbers(line):
    for match in NUMBER.finditer(line.code):
        if line.code[:match.start()].endswith("-"):
            continue
        digits = match.group(1)
        octal = len(digits) > 1 and digits.isdigit() and digits[0] == "0"
        value = int(digits, 8 if octal else 0)
        for new in sorted({value + 1, value - 1} - {-1}):
            text = f"0{new:o}" if octal else str(new)
            yield replaced(line.text, match.start(1), match.end(1), text)


def conditions(line):
    match = CONDITION.match(line.text)
    if match is None or re.search(r"(?<![=!<>])=(?!=)|;", line.code[match.start(2):match.end(2)]):
        return
    head, condition, tail = match.groups()
    yield f"{head}!({condition}){tail}"
    yield f"{head}false{tail}"


def statements(line):
    if GUARD.match(line.text) or (STATEMENT.match(line.text) and not DECLARATION.match(line.text)):
        yield line.text[:len(line.text) - len(line.text.lstrip())] + ";"


def returns(line):
    match = re.match(r"^(\s*return )(.+);", line.code)
    if match is None:
        return
    new = RETURNS.get(match.group(2).strip(), "{}")
    if new is not None:
        yield replaced(line.text, match.start(2), match.end(2), new)


def texts(line):
    """Another letter in the middle, which is no conversion of a format, and none at all."""
    for begin, end in line.texts:
        inner = line.text[begin:end]
        letters = [at for at, char in enumerate(inner) if char.isalnum() and at > 0 and
                   not re.search(r"(%[\d.*]*[lzh]*|\\)$", inner[:at])]
        if inner.startswith("R"):
            letters = letters[1:]
        if letters:
            at = begin + letters[len(letters) // 2]
            char = line.text[at]
            new = {"z": "a", "Z": "A", "9": "0"}.get(char) or chr(ord(char) + 1)
            yield replaced(line.text, at, at + 1, new)


ALL = (operators, words, numbers, conditions, statements, returns, texts)


def is_declared_size(path, line):
    """Sizes and constants of headers are in the tests too: a mutant of them would be another
    project, not a mistake in this one."""
    return path.endswith(".h") and re.search(r"\bconstexpr\b|static_assert|\[\w+\];|= 0;$", line.code)


def mutants_of(path, text):
    """All mutants of a source file."""
    found = []
    for line in read_lines(text):
        if NOT_RUN.match(line.text) or is_declared_size(path, line):
            continue
        seen = set()
        for operator in ALL:
            for new in operator(line):
                if new != line.text and new not in seen:
                    seen.add(new)
                    found.append(Mutant(path, line.number, line.text, new))
    return found
