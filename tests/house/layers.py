#!/usr/bin/env python3
"""Checks what the sources include.

    layers.py ROOT

A layer includes only itself and the layers before it. The engine uses the standard library alone,
but for the Exif library in its one place; the operating system's headers stay in the platform layer.
"""
import re
import sys
from pathlib import Path

LAYERS = ["foundation", "box", "reader", "clip", "merge", "front", "adapt", "workflow", "apps"]
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')
# Headers of other libraries, by their first folder or name, and the files that may use them.
LIBRARIES = {
    "libexif": ["clip/exif_library"],
    "CLI": ["apps/"],
    "fmt": ["apps/", "workflow/"],
    "nlohmann": ["apps/", "workflow/"],
}
SYSTEM = re.compile(r"^(sys/|linux/|(unistd|fcntl|dirent|poll|pthread|signal|termios|spawn)\.h$)")
SYSTEM_USERS = ["foundation/platform/", "foundation/c_file.cpp", "workflow/", "apps/"]


def layer_of(name):
    first = name.split("/")[0]
    return first if first in LAYERS else None


def fault(name, form, included):
    """What is wrong with one include of the file `name`, or None."""
    own = layer_of(name)
    other = layer_of(included)
    if form == '"':
        if own == "apps" and included.startswith("clipchain/"):
            return None
        if other is None:
            return f'"{included}" is not written from src/'
        if LAYERS.index(other) > LAYERS.index(own):
            return f"{own} must not include {included}"
        return None
    users = LIBRARIES.get(included.split("/")[0])
    if users is None and SYSTEM.match(included):
        users = SYSTEM_USERS
    if users is not None and not any(name.startswith(user) for user in users):
        return f"<{included}> has no place in {own}"
    return None


def sources(root):
    for folder in (root / "src", root / "apps"):
        for path in sorted(folder.rglob("*")):
            if path.suffix in (".h", ".cpp", ".c", ".inc"):
                base = folder if folder.name == "src" else root
                yield path, path.relative_to(base).as_posix()


def check(root):
    faults = []
    count = 0
    for path, name in sources(root):
        if layer_of(name) is None:
            faults.append(f"{path}: no layer has this folder")
            continue
        count += 1
        for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
            match = INCLUDE.match(line)
            wrong = match and fault(name, match.group(1), match.group(2))
            if wrong:
                faults.append(f"{path}:{number}: {wrong}")
    if count == 0:
        faults.append(f"{root}: no sources found")
    return faults


if __name__ == "__main__":
    found = check(Path(sys.argv[1]))
    print("\n".join(found) or "every include points down")
    sys.exit(1 if found else 0)
