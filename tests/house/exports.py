#!/usr/bin/env python3
"""Checks what the shared library shows to programs: what the list beside this file says, all of it
and nothing else. A line that goes away or changes breaks programs that were built before.

    exports.py [--write] LIBRARY

With --write the list is made anew; whether what it gained and lost is meant is then to be looked at.
"""
import re
import subprocess
import sys
from pathlib import Path

LIST = Path(__file__).with_name("exports.txt")
NEW, GONE = "shown, but not in the list", "in the list, but not shown"


def shown(library):
    listing = subprocess.run(
        ["nm", "--dynamic", "--demangle", "--defined-only", "--format=posix", library],
        capture_output=True,
        text=True,
        check=True,
    ).stdout
    # A constructor or destructor has several symbols of one name.
    return sorted({re.sub(r" [A-Za-z] [0-9a-f]+ [0-9a-f]*$", "", line) for line in listing.splitlines()})


def faults(symbols, kept):
    yield from (f"{NEW}: {symbol}" for symbol in symbols if symbol not in kept)
    yield from (f"{GONE}: {symbol}" for symbol in kept if symbol not in symbols)


def main():
    symbols = shown(sys.argv[-1])
    if sys.argv[1] == "--write":
        LIST.write_text("".join(f"{symbol}\n" for symbol in symbols), encoding="utf-8")
        return 0
    found = list(faults(symbols, LIST.read_text(encoding="utf-8").splitlines()))
    print("\n".join(found) or "the library shows what it should")
    if found:
        print(f"If this is meant: {__file__} --write {sys.argv[1]}")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
