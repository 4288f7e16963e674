#!/usr/bin/env python3
"""Merges clips as safely as the tool does, through ctypes: merge_clips.py OUT IN...

Nothing that exists is replaced, no clip is touched, and OUT is there only when it is complete,
compared with the clips and on the disk. CLIPCHAIN_LIBRARY names the shared library where the system
does not find it.
"""
import ctypes
import json
import os
import sys

library = ctypes.CDLL(os.environ.get("CLIPCHAIN_LIBRARY", "libclipchain.so.0"))
Paths, Text = ctypes.POINTER(ctypes.c_char_p), ctypes.c_void_p
library.clipchain_merge.argtypes = [
    Paths, ctypes.c_size_t, ctypes.c_char_p, ctypes.c_void_p, ctypes.POINTER(Text)
]
library.clipchain_free.argtypes = [Text]


def merge(output, inputs):
    """What the library reports: "done", "size" and "findings"; None where memory is short."""
    paths = (ctypes.c_char_p * len(inputs))(*map(os.fsencode, inputs))
    text = Text()
    library.clipchain_merge(paths, len(inputs), os.fsencode(output), None, ctypes.byref(text))
    if not text:
        return None
    try:
        return json.loads(ctypes.string_at(text))
    finally:
        library.clipchain_free(text)


def main():
    if len(sys.argv) < 3:
        sys.exit("usage: merge_clips.py OUT IN...")
    report = merge(sys.argv[1], sys.argv[2:])
    if report is None:
        sys.exit("nothing was merged")
    for finding in report["findings"]:
        print(f"{finding['severity']}: {finding['path'] or ''} {finding['text']}", file=sys.stderr)
    return 0 if report["done"] else 1


if __name__ == "__main__":
    sys.exit(main())
