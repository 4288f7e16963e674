#!/usr/bin/env python3
"""Checks that every header compiles alone, and twice in a row.

    headers.py ROOT C++-COMPILER C-COMPILER

The headers of flat functions are plain C and are given to the C compiler too.
"""
import os
import shutil
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

C_HEADERS = ["merge/m4lm.h", "workflow/clipchain.h", "foundation/platform/cfw.h"]
CACHE = ["ccache"] if shutil.which("ccache") else []
WARNINGS = ["-Wall", "-Wextra", "-Wshadow", "-Wconversion", "-Werror"]


def compile_alone(root, command, name):
    """The compiler's complaint, or an empty text."""
    with tempfile.TemporaryDirectory() as place:
        # A compiler cache knows a unit again whose command is the same, and that makes a file.
        for folder in ("src", "apps"):
            (Path(place) / folder).symlink_to((root / folder).resolve())
        (Path(place) / "unit").write_text(f'#include "{name}"\n' * 2, encoding="utf-8")
        run = subprocess.run(
            [*CACHE, *command, *WARNINGS, "-Isrc", "-Iapps", "-c", "unit", "-o", "unit.o"],
            cwd=place,
            capture_output=True,
            text=True,
            check=False,
        )
    return "" if run.returncode == 0 else f"{name} does not compile alone:\n{run.stderr}"


def check(root, cxx, c):
    jobs = []
    for folder in (root / "src", root / "apps"):
        for path in sorted(folder.rglob("*.h")):
            name = path.relative_to(folder).as_posix()
            jobs.append((root, [cxx, "-x", "c++", "-std=c++20"], name))
            if name in C_HEADERS:
                jobs.append((root, [c, "-x", "c", "-std=c11", "-pedantic"], name))
    if not jobs:
        return [f"{root}: no headers found"]
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        return [fault for fault in pool.map(lambda job: compile_alone(*job), jobs) if fault]


if __name__ == "__main__":
    found = check(Path(sys.argv[1]), sys.argv[2], sys.argv[3])
    print("\n".join(found) or "every header compiles alone")
    sys.exit(1 if found else 0)
