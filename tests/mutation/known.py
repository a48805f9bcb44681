"""Blocks that name changes of lines, as survivors are printed: a path, the line and what it becomes.

    # Why it cannot be told apart.
    log/blocks.cpp
    -    old line
    +    new line

Lines are named by their texts, which stay when lines move. What stands before a line's first
character does not count.
"""


def read_blocks(text):
    """@return (path, old, new, reason) of each block."""
    blocks = []
    path = old = None
    reason = []
    for number, line in enumerate(text.split("\n"), start=1):
        if line.startswith("#"):
            reason.append(line[1:].strip())
        elif line.startswith("-"):
            old = line[1:].strip()
        elif line.startswith("+"):
            if path is None or old is None:
                raise ValueError(f"line {number}: a new line without path or old line")
            blocks.append((path, old, line[1:].strip(), " ".join(reason)))
        elif line.strip():
            path, _, rest = line.strip().partition(":")
            old = None
        else:
            reason = []
            old = None
    return blocks
