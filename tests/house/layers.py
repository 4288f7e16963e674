#!/usr/bin/env python3
"""Checks what the sources include.

    layers.py ROOT

A layer includes only itself and the layers beneath it, and so does a room of a layer. A header of a
layer's top level belongs to the room that has its source; a source there may include every room. What
compares a result with the clips shares nothing with what made it. The engine uses the standard
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

# The rooms of layers and of the tool likewise.
OF_ADAPT = ["boxes", "clips", "times", "tables", "descriptions", "engine"]
IN_A_ROW = ["system", "boxes", "findings", "clips", "assembling", "checks", "evidence", "oracle", "merging"]
ROOMS = {
    "adapt": {room: OF_ADAPT[:index] for index, room in enumerate(OF_ADAPT)},
    "workflow": {room: IN_A_ROW[:index] for index, room in enumerate(IN_A_ROW)},
}
ROOMS["workflow"].update({
    "oracle": ["system", "findings"],
    "rescue": IN_A_ROW,
    "keeping": IN_A_ROW,
    "joining": [*IN_A_ROW, "rescue", "keeping"],
    "pages": [*IN_A_ROW, "rescue", "keeping", "joining"],
    "doors": [*IN_A_ROW, "rescue", "keeping", "joining", "pages"],
})
# What the oracle knows of the layers beneath: how numbers and words are written.
BENEATH_THE_ORACLE = ["foundation/", "adapt/reason.h"]
ROOMS_OF_THE_TOOL = {
    "manual": [],
    "terminal": [],
    "output": ["terminal"],
    "commands": ["manual", "terminal", "output"],
}
# Headers without a source, and where they belong.
HEADERS_ALONE = {
    "adapt": {"fit_options.h": "boxes", "reason.h": "boxes"},
    "workflow": {"fitting.h": "system", "messages.inc": "findings", "progress.h": "system", "seam.h": "checks"},
}
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
    """The room of a file of a layer with rooms, by its path below src/; None if no room has it."""
    layer, *folders, file = name.split("/")
    if folders:
        return folders[0] if folders[0] in ROOMS[layer] else None
    if file in HEADERS_ALONE[layer]:
        return HEADERS_ALONE[layer][file]
    sources = (root / "src" / layer).glob(f"*/{Path(file).stem}.cpp")
    return next((path.parent.name for path in sources if path.parent.name in ROOMS[layer]), None)


def room_fault(root, name, included):
    """What is wrong with an include of one file of a layer with rooms in another one, or None."""
    layer = layer_of(name)
    if (root / "src" / name).with_suffix(".cpp").exists() and name.count("/") == 1:
        return None
    own, other = room_of(root, name), room_of(root, included)
    if own is None or other is None:
        return f"{name if own is None else included} is in no room"
    if own != other and other not in ROOMS[layer][own]:
        return f"{own} must not include {included}"
    return None


def oracle_fault(name, included):
    """The same of what the oracle includes of other layers."""
    if not name.startswith("workflow/oracle/") or included.startswith(tuple(BENEATH_THE_ORACLE)):
        return None
    return f"what compares a result with the clips must not share {included} with what made it"


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
        if own != other:
            return oracle_fault(name, included)
        return room_fault(root, name, included) if own in ROOMS else None
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
