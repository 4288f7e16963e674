#!/usr/bin/env python3
"""Checks that every test that docs/limits.md names exists.

    limits.py ROOT
"""
import re
import sys
from pathlib import Path

NAMED = re.compile(r"`(\w+)\.(\w+)`")
WRITTEN = re.compile(r"^(?:TEST|TEST_F|TEST_P|TYPED_TEST)\(\s*(\w+),\s*(\w+)\)", re.M)


def check(root):
    named = set(NAMED.findall((root / "docs" / "limits.md").read_text(encoding="utf-8")))
    written = set()
    for path in (root / "tests").rglob("*_test.cpp"):
        written.update(WRITTEN.findall(path.read_text(encoding="utf-8")))
    if not named:
        return ["docs/limits.md names no test"]
    return [f"docs/limits.md: no test {suite}.{name}" for suite, name in sorted(named - written)]


if __name__ == "__main__":
    found = check(Path(sys.argv[1]))
    print("\n".join(found) or "every guard has its test")
    sys.exit(1 if found else 0)
