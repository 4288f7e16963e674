#!/usr/bin/env python3
"""Checks what the sources include.

    layers.py ROOT

A layer includes only itself and the layers beneath it, and so does a room of the workflow. A header
of the workflow's top level belongs to the room that has its source. The engine uses the standard
library alone, but for the Exif library in its one place; the operating system's headers stay in the
platform layer.
"""
import re
import sys
from pathlib import Path

ENGINE = ["foundation", "box", "reader", "clip", "merge"]
# Each layer and the ones beneath it.
LAYERS = {layer: ENGINE[:index] for index, layer in enumerate(ENGINE)}
LAYERS["front"] = ENGINE
LAYERS["adapt"] = ENGINE
LAYERS["workflow"] = [*ENGINE, "adapt"]
LAYERS["apps"] = [*ENGINE, "adapt", "workflow"]

# The rooms of the workflow and of the tool likewise.
IN_A_ROW = ["system", "boxes", "findings", "clips", "assembling", "checks", "evidence", "merging"]
ROOMS = {room: IN_A_ROW[:index] for index, room in enumerate(IN_A_ROW)}
ROOMS["rescue"] = IN_A_ROW
ROOMS["keeping"] = IN_A_ROW
ROOMS["joining"] = [*IN_A_ROW, "rescue", "keeping"]
ROOMS["pages"] = [*IN_A_ROW, "rescue", "keeping", "joining"]
ROOMS["doors"] = [*ROOMS["pages"], "pages"]
ROOMS_OF_THE_TOOL = {
    "manual": [],
    "terminal": [],
    "output": ["terminal"],
    "commands": ["manual", "terminal", "output"],
}
# Headers without a source, and where they belong.
HEADERS_ALONE = {"fitting.h": "system", "messages.inc": "findings", "progress.h": "system", "seam.h": "checks"}
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')
# Headers of other libraries, by their first folder or name, and the files that may use them.
LIBRARIES = {
    "libexif": ["clip/exif_library"],
    "libavcodec": ["workflow/rescue/codec_library"],
    "libavutil": ["workflow/rescue/codec_library"],
    "CLI": ["apps/"],
    "fmt": ["apps/", "workflow/"],
    "nlohmann": ["apps/", "workflow/"],
}
SYSTEM = re.compile(r"^(sys/|linux/|(unistd|fcntl|dirent|poll|pthread|signal|termios|spawn)\.h$)")
SYSTEM_USERS = ["foundation/platform/", "foundation/c_file.cpp", "workflow/", "apps/"]


def layer_of(name):
    first = name.split("/")[0]
    return first if first in LAYERS else None


def room_of(root, name):
    """The room of a file of the workflow, by its path below src/; None if no room has it."""
    parts = name.split("/")
    if len(parts) > 2:
        return parts[1] if parts[1] in ROOMS else None
    if parts[1] in HEADERS_ALONE:
        return HEADERS_ALONE[parts[1]]
    sources = (root / "src" / "workflow").glob(f"*/{Path(parts[1]).stem}.cpp")
    return next((path.parent.name for path in sources if path.parent.name in ROOMS), None)


def room_fault(root, name, included):
    """What is wrong with an include of one file of the workflow in another one, or None."""
    own, other = room_of(root, name), room_of(root, included)
    if own is None or other is None:
        return f"{name if own is None else included} is in no room of the workflow"
    if own != other and other not in ROOMS[own]:
        return f"{own} must not include {included}"
    return None


def tool_fault(name, included):
    """The same of the tool, whose top level may include every room."""
    own, other = name.split("/")[2:-1], included.split("/")[1:-1]
    if not own or not other or own == other or other[0] in ROOMS_OF_THE_TOOL.get(own[0], []):
        return None
    return f"{own[0]} must not include {included}"


def fault(root, name, form, included):
    """What is wrong with one include of the file `name`, or None."""
    own = layer_of(name)
    other = layer_of(included)
    if form == '"':
        if own == "apps" and included.startswith("clipchain/"):
            return tool_fault(name, included)
        if other is None:
            return f'"{included}" is not written from src/'
        if other != own and other not in LAYERS[own]:
            return f"{own} must not include {included}"
        return room_fault(root, name, included) if own == other == "workflow" else None
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
            wrong = match and fault(root, name, match.group(1), match.group(2))
            if wrong:
                faults.append(f"{path}:{number}: {wrong}")
    if count == 0:
        faults.append(f"{root}: no sources found")
    return faults


if __name__ == "__main__":
    found = check(Path(sys.argv[1]))
    print("\n".join(found) or "every include points down")
    sys.exit(1 if found else 0)
