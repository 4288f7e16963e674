#!/usr/bin/env python3
"""Checks that the tests of the workflow and of the tool stand where their sources do: each bears the
name of a source in the same room. What tests several sources together stands in whole/.

    mirror.py ROOT
"""
import sys
from pathlib import Path

MIRRORS = {"tests/workflow": "src/workflow", "tests/apps": "apps/clipchain"}
WHOLE = "whole"
END = "_test.cpp"


def check(root):
    faults = []
    for tests, sources in MIRRORS.items():
        for test in sorted((root / tests).rglob("*" + END)):
            place = test.relative_to(root / tests)
            source = root / sources / place.parent / place.name.removesuffix(END)
            named = any(source.with_suffix(end).exists() for end in (".h", ".cpp"))
            if not named and place.parts[0] != WHOLE:
                faults.append(
                    f"{tests}/{place}: there is no {sources}/{place.parent}/{source.name}.cpp")
    return faults


if __name__ == "__main__":
    found = check(Path(sys.argv[1]))
    print("\n".join(found) or "every test stands where its source does")
    sys.exit(1 if found else 0)
