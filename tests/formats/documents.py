"""The samples in docs/formats: what stands in each, and where it comes from.

    tests/support/sandbox /usr/bin/python3 tests/formats/documents.py      writes them anew

Above every block stands a comment that says what it is:

    <!-- file: small-plant sn.xml -->                       a file of an example
    <!-- part: small-plant sys.xml https -->                some of its lines, as they stand
    <!-- made: json real-data -->                           a data file of the small plant
    <!-- sent: json POST realdata -->                       a request of it, as recorded
    <!-- answered: json POST realdata 426 -->               the answer to such a one
    <!-- body: xml POST device -->                          the request's body alone
    <!-- sample: recall-list -->                            written by hand, and valid
"""

import re
import sys

import made
import recorder
import schemas

FOLDER = made.PROJECT / "docs/formats"
BLOCK = re.compile(r"(?:<!-- (\w+): (.*?) -->\n)?^```(\w*)\n(.*?)^```$", re.MULTILINE | re.DOTALL)

# What differs from one recording to the next, and what stands for it.
TIME_SENT = (re.compile(r"(XVane-Time: )\d{10}"), r"\g<1>1709622549")
PORT = (re.compile(r"(Host: 127\.0\.0\.1:)\d+"), r"\g<1>8080")
TOKEN = (re.compile(r"(files/)[0-9a-f]{12}(/)"), r"\g<1>0123456789ab\g<2>")
COOKIE = (re.compile(r"(corvenna=[0-9a-f]+\.)[0-9a-f]{64}"), r"\g<1>" + "0" * 64)


class Block:
    def __init__(self, page, match):
        self.page, self.kind, self.words = page, match.group(1), (match.group(2) or "").split()
        self.language, self.text = match.group(3), match.group(4)

    def __str__(self):
        return f"{self.page.name}: {self.kind} {' '.join(self.words)}"


def pages():
    return [made.PROJECT / "docs/formats.md", *sorted(FOLDER.glob("*.md"))]


def blocks():
    return [Block(page, match) for page in pages()
            for match in BLOCK.finditer(page.read_text(encoding="utf-8"))]


def steady(text):
    """A recorded text without what is another one every time, and with plain line ends."""
    for pattern, replacement in (TIME_SENT, PORT, TOKEN, COOKIE):
        text = pattern.sub(replacement, text)
    return text.replace("\r\n", "\n")


def example_file(example, name):
    return next((made.EXAMPLES / example).rglob(name)).read_text(encoding="utf-8")


def part_of(example, name, element):
    """The lines of an element, without the depth at which it stands."""
    text = example_file(example, name)
    found = re.search(rf"^( *)<{element}\b(?:[^>]*/>|.*?</{element}>)", text, re.MULTILINE | re.DOTALL)
    return re.sub(rf"^{found.group(1)}", "", found.group(), flags=re.MULTILINE) + "\n"


def recorded(mode, method, step, status=None):
    """The first such exchange that has a list in it, where there are lists. The mode is a format,
    and perhaps "https" and "password" behind it."""
    file_type, *how = mode.split("+")
    found = [exchange for exchange in made.exchanges(
                 file_type, "https" if "https" in how else "http", 0, "password" in how)
             if exchange.line[0] == method and f"/{step}" in exchange.line[1]
             and (status is None or exchange.status == int(status))]
    return max(found, key=lambda exchange: (step == "calldata") * len(exchange.answer))


def whole(message):
    text = steady(message.decode())
    return text if text.endswith("\n") else text + "\n"


def made_text(block):
    """What a block holds by its comment; None for what is written by hand."""
    kind, words = block.kind, block.words
    if kind == "file":
        return example_file(*words)
    if kind == "part":
        return part_of(*words)
    if kind == "made":
        letter = {"real-data": "S", "alarm-data": "T"}[words[1]]
        files = made.files("small-plant", words[0], 0)
        text = next(content for name, content in files if name.startswith(letter)).decode()
        return text.rstrip("\n") + "\n"
    if kind == "sent":
        return whole(recorded(*words).request)
    if kind == "answered":
        return whole(recorded(*words).answer)
    if kind == "body":
        return whole(recorder.body_of(recorded(*words).request))
    assert kind == "sample", str(block)
    return None


def schema_of(block):
    """The schema of a block's document; None where it has none of its own."""
    kind, words = block.kind, block.words
    if kind == "file":
        return schemas.of_file(words[1]) if words[1].endswith(".xml") else None
    if kind == "part":
        return None
    if kind == "made":
        return words[1]
    if kind == "sample":
        return words[0]
    pair = schemas.OF_EXCHANGE[words[1], words[2]]
    return pair[1] if kind == "answered" else pair[0]


def document_of(block):
    """The document in a block, without a head before it."""
    text = block.text
    return text.split("\n\n", 1)[1] if block.kind in ("sent", "answered") else text


def rewrite(page):
    def renewed(match):
        text = made_text(Block(page, match))
        if text is None:
            return match.group()
        return match.group().replace("\n" + match.group(4) + "```", "\n" + text + "```") \
            if match.group(4) else match.group()[:-3] + text + "```"

    page.write_text(BLOCK.sub(renewed, page.read_text(encoding="utf-8")), encoding="utf-8")


if __name__ == "__main__":
    for one in pages():
        rewrite(one)
    sys.exit(0)
