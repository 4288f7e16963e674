#!/usr/bin/env python3
"""Prints the shares of lines and branches that ran, by folder.

    coverage_table.py SUMMARY.json SOURCE-ROOT      the summary is that of llvm-cov export
"""
import collections
import json
import os
import sys
from pathlib import Path

KINDS = ("lines", "branches")


def folder_of(name, root):
    parts = Path(os.path.normpath(name)).relative_to(root).parts
    return "/".join(parts[:2])


def share(covered, count):
    return f"{100 * covered / count:6.1f} % of {count:5}" if count else "nothing".rjust(17)


def main():
    summary = json.loads(Path(sys.argv[1]).read_text(encoding="utf-8"))
    root = Path(sys.argv[2])
    sums = collections.defaultdict(collections.Counter)
    for file in summary["data"][0]["files"]:
        for folder in (folder_of(file["filename"], root), "all"):
            for kind in KINDS:
                for what in ("covered", "count"):
                    sums[folder][kind, what] += file["summary"][kind][what]
    print(f"{'folder':20}  {'lines':>17}  {'branches':>17}")
    for folder in sorted(sums, key=lambda name: (name == "all", name)):
        counts = sums[folder]
        cells = (share(counts[kind, "covered"], counts[kind, "count"]) for kind in KINDS)
        print(f"{folder:20}  {'  '.join(cells)}")


if __name__ == "__main__":
    main()
