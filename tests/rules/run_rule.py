"""How a test of a rule is run by hand and by ctest."""

import pathlib
import sys


def root_of(arguments):
    """The tree that the arguments name, otherwise the one in which this file stands."""
    return pathlib.Path(arguments[0]).resolve() if arguments else pathlib.Path(__file__).resolve().parents[2]


def report(violations, root):
    """Prints each line; ends the program with 1 when there is one, otherwise with 0."""
    found = list(violations(root))
    for line in found:
        print(line)
    sys.exit(1 if found else 0)


def main(violations):
    report(violations, root_of(sys.argv[1:]))
