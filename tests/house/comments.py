#!/usr/bin/env python3
"""Checks that the headers above the engine begin with what they do, and that comments stand above
what they are about.

    comments.py ROOT

A header's first word is a verb: "Finds …", "Checks whether …". A verb that no header began with so
far is added to the list, which keeps nouns out.
"""
import re
import sys
from pathlib import Path

FOLDERS = ("src/adapt", "src/workflow", "apps")
VERBS = set(
    """Adapts Adds Asks Brings Carries Checks Chooses Closes Collects Copies Compares Computes
    Counts Does Draws Finds Gathers Grows Holds Joins Judges Keeps Knows Lays Leads Learns Lets Lists
    Loads Looks Makes Measures Merges Moves Names Opens Paints Pairs Plans Prepares Prints
    Proposes Puts Reads Registers Rehearses Repeats Reports Runs Says Sets Shows Takes Tells
    Tries Turns Verifies Walks Works Writes""".split()
)
FIRST = re.compile(r"(?://|/\*) (\w+)")
TEXT = re.compile(r'"(?:\\.|[^"\\])*"')
# Closing a namespace or a guard, and what the tools read.
MARKS = re.compile(r"^\s*(\}|#endif)|// (NOLINT|clang-format)")


def stands_behind(line):
    code, mark, _ = TEXT.sub('""', line).partition("//")
    return bool(mark and code.strip()) and not MARKS.search(line)


def check(root):
    paths = sorted(path for folder in FOLDERS for path in (root / folder).rglob("*.h"))
    if not paths:
        return [f"{root}: no headers found"]
    faults = []
    for path in paths:
        lines = path.read_text(encoding="utf-8").splitlines()
        name = path.relative_to(root)
        first = FIRST.match(lines[0]) if lines else None
        if not first or first[1] not in VERBS:
            faults.append(f"{name}:1: does not begin with a verb")
        for number, line in enumerate(lines, 1):
            if stands_behind(line):
                faults.append(f"{name}:{number}: a comment behind what it is about")
    return faults


if __name__ == "__main__":
    found = check(Path(sys.argv[1]))
    print("\n".join(found) or "headers begin with verbs, and comments stand above")
    sys.exit(1 if found else 0)
