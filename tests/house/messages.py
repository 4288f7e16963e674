#!/usr/bin/env python3
"""Checks that docs/messages.md explains every message that the workflow can give, and no other.

    messages.py ROOT

src/workflow/messages.inc is the list. The page has one row for each: name, what it says, cause,
remedy.
"""
import re
import sys
from collections import Counter
from pathlib import Path

LIST = "src/workflow/messages.inc"
PAGE = "docs/messages.md"
LISTED = re.compile(
    r'^CLIPCHAIN_MESSAGE\(\s*k(\w+),\s*"([a-z0-9-]+)",\s*Severity::k(\w+)\s*\)', re.M
)
INVOKED = re.compile(r"^CLIPCHAIN_MESSAGE\(", re.M)
CELLS = ["name", "what it says", "cause", "remedy"]
BETWEEN_CELLS = re.compile(r"(?<!\\)\|")


def rows(text):
    """Yields (line number, cells) of the rows of all tables, without heads and rules."""
    for number, line in enumerate(text.splitlines(), 1):
        if not line.startswith("|") or not line.endswith("|"):
            continue
        cells = [cell.strip() for cell in BETWEEN_CELLS.split(line)[1:-1]]
        if cells != CELLS and not all(set(cell) <= set("-: ") and cell for cell in cells):
            yield number, cells


def row_faults(text):
    for number, cells in rows(text):
        if len(cells) != len(CELLS):
            yield f"{PAGE}:{number}: {len(cells)} cells, not {len(CELLS)}"
        elif not re.fullmatch(r"`[a-z0-9-]+`", cells[0]):
            yield f"{PAGE}:{number}: {cells[0]} is no name of a message"
        else:
            for title, cell in zip(CELLS[1:], cells[1:]):
                if not cell:
                    yield f"{PAGE}:{number}: {cells[0]} has no {title}"


def repeated(names):
    return sorted(name for name, count in Counter(names).items() if count > 1)


def camel(name):
    return "".join(word.capitalize() for word in name.split("-"))


def check(root):
    list_text = (root / LIST).read_text(encoding="utf-8")
    page = (root / PAGE).read_text(encoding="utf-8")
    listed = LISTED.findall(list_text)
    names = [name for _, name, _ in listed]
    if not names:
        return [f"{LIST}: no message found"]
    faults = list(row_faults(page))
    explained = [cells[0].strip("`") for _, cells in rows(page)]
    if len(listed) != len(INVOKED.findall(list_text)):
        faults.append(f"{LIST}: a row has another form than (kName, \"name\", Severity::kName)")
    for identifier, name, _ in listed:
        if camel(name) != identifier:
            faults.append(f"{LIST}: k{identifier} has the name {name}")
    faults += [f"{LIST}: {name} is there twice" for name in repeated(names)]
    faults += [f"{PAGE}: {name} is explained twice" for name in repeated(explained)]
    faults += [f"{PAGE}: {name} is not explained" for name in sorted(set(names) - set(explained))]
    faults += [f"{PAGE}: there is no message {name}" for name in sorted(set(explained) - set(names))]
    return faults


if __name__ == "__main__":
    found = check(Path(sys.argv[1]))
    print("\n".join(found) or "every message is explained")
    sys.exit(1 if found else 0)
