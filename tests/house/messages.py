#!/usr/bin/env python3
"""Checks that docs/messages.md explains every message that the workflow can give, and no other, that
a test knows each of them, and that numbers on the page are those of the program.

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
# Numbers on the page: the message, the constant and where it stands, and how the page writes it.
NUMBERS = [
    ("movie-too-large", "kLeastUnloadedBoxSize", "src/reader/mp4_file.h", "{:,} bytes"),
    ("sample-sizes-too-many", "kMostSampleSizes", "src/merge/mp4_merge.h", "2^{log2} samples"),
    ("track-drift", "kNoticeableDrift", "src/workflow/checks/drift_check.h", "above {} ms"),
    ("track-drift", "kDisturbingDrift", "src/workflow/checks/drift_check.h", "above {} ms"),
    ("plan-invalid", "kLargestPlan", "src/workflow/plan_file.h", "{mib} MiB"),
    ("plan-unwritable", "kLargestPlan", "src/workflow/plan_file.h", "{mib} MiB"),
]
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


def constant(root, name, path):
    """The value of a constant: a number, or a power of two written as a shift; None without it."""
    text = (root / path).read_text(encoding="utf-8")
    found = re.search(rf"\b{name} =\s*([^;]+);", text)
    shift = found and re.fullmatch(r"std::size_t\{(\d+)\} << (\d+)", found[1])
    if shift:
        return int(shift[1]) << int(shift[2])
    return int(found[1]) if found and found[1].isdigit() else None


def number_faults(root, page):
    told = {cells[0].strip("`"): " ".join(cells) for _, cells in rows(page)}
    for message, name, path, form in NUMBERS:
        if message not in told:
            continue
        value = constant(root, name, path)
        if value is None:
            yield f"{path}: there is no number {name}"
            continue
        words = form.format(value, log2=value.bit_length() - 1, mib=value >> 20)
        if words not in told[message]:
            yield f"{PAGE}: {message} does not say \"{words}\", which is {name} of {path}"


def untested(root, listed):
    """The messages that no test names."""
    tests = [path for path in (root / "tests").rglob("*") if path.suffix in (".cpp", ".h", ".py")]
    texts = "\n".join(path.read_text(encoding="utf-8") for path in tests)
    for identifier, name, _ in listed:
        if not re.search(rf"\bk{identifier}\b|[\"'`(]{name}[\"'`)]", texts):
            yield f"{LIST}: no test knows {name}"


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
    faults += number_faults(root, page)
    faults += untested(root, listed)
    return faults


if __name__ == "__main__":
    found = check(Path(sys.argv[1]))
    print("\n".join(found) or "every message is explained")
    sys.exit(1 if found else 0)
