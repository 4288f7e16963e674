#!/usr/bin/env python3
"""Judges what the tool makes of neighbouring clips of many kinds, by a reading of its own.

    judge.py --tool PATH [--quick] [--only KIND ...] [--list] [--folder DIR] [--keep DIR] [--seed N] [--least SHARE]

Makes two clips of each kind with ffmpeg and an editor of boxes, and runs `clipchain merge` without --force. A kind that must
merge has to be answered by 0 and a result that holds every sample of both clips, with bytes, sizes, times, offsets, flags,
groups, descriptions, references and the boxes of the first clip's movie, tracks at seams together. A kind that must be
refused has to be answered by 1, and to leave no result. Prints a line for each kind; WRONG is what may never be.
Exit 0 if nothing is wrong, all of the second sort are refused and the share of merged kinds of the first reaches --least.
"""
import argparse
import os
import random
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

from clips import FAMILIES, make  # noqa: E402
from compare import compare  # noqa: E402
from kinds import KINDS  # noqa: E402
from mp4 import File  # noqa: E402


def prepare(kind, folder, work):
    paths = []
    for number, (family, edits) in enumerate(((kind.family, kind.first), (kind.other, kind.second))):
        source = make(folder, family, number)
        file = File.load(source)
        for edit in edits:
            edit(file)
        with open(source, "rb") as original:
            data = file.bytes() if edits else original.read()
        if number == 1 and kind.raw:
            data = kind.raw(data)
        paths.append(os.path.join(work, "%s_%d.%s" % (kind.name, number, FAMILIES[family][0])))
        with open(paths[-1], "wb") as out:
            out.write(data)
    return paths


def judge(kind, options, folder, work):
    """(verdict, why)"""
    try:
        clips = prepare(kind, folder, work)
    except RuntimeError as error:
        return "unmade", str(error)
    before = [open(c, "rb").read() for c in clips]
    result = os.path.join(work, kind.name + "_merged.mp4")
    if os.path.exists(result):
        os.remove(result)
    run = subprocess.run([options.tool, "merge", "-o", result, *clips], capture_output=True, timeout=300)
    said = [line for line in run.stderr.decode(errors="replace").splitlines() if line.startswith(("error", "problem"))]
    if [open(c, "rb").read() for c in clips] != before:
        return "WRONG", "an input was changed"
    if run.returncode not in (0, 1):
        return "WRONG", "exit code %d" % run.returncode
    if run.returncode == 1:
        if os.path.exists(result):
            return "WRONG", "refused, but there is a result"
        return "refused", (said or ["without a reason"])[0]
    if not kind.merges:
        return "WRONG", "merged, and must not be"
    with open(result, "rb") as file:
        errors = compare(file.read(), before, kind.loses)
    return ("WRONG", "; ".join(errors[:3])) if errors else ("merged", "")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--tool")
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("--only", action="append")
    parser.add_argument("--list", action="store_true")
    parser.add_argument("--folder", help="where clips of ffmpeg are kept for the next time")
    parser.add_argument("--keep", help="where the clips and results of each kind are left")
    parser.add_argument("--seed", type=int, help="in which order the kinds come")
    parser.add_argument("--least", type=float, default=0.95)
    options = parser.parse_args()
    kinds = [k for k in KINDS.values() if (not options.quick or k.quick) and (not options.only or k.name in options.only)]
    if options.seed is not None:
        random.Random(options.seed).shuffle(kinds)
    if options.list:
        for kind in kinds:
            print("%-40s %s" % (kind.name, "merges" if kind.merges else "is refused"))
        return 0
    tally = {True: {}, False: {}}
    with tempfile.TemporaryDirectory() as temporary:
        folder, work = options.folder or temporary, options.keep or temporary
        os.makedirs(folder, exist_ok=True)
        os.makedirs(work, exist_ok=True)
        for kind in kinds:
            verdict, why = judge(kind, options, folder, work)
            wanted = "merged" if kind.merges else "refused"
            print("%-8s %-40s %s" % (verdict, kind.name, why if verdict != wanted or not kind.merges else ""), flush=True)
            tally[kind.merges][verdict] = tally[kind.merges].get(verdict, 0) + 1
    merges, refuses = tally[True], tally[False]
    total, wrong = sum(merges.values()), merges.get("WRONG", 0) + refuses.get("WRONG", 0)
    print("%d of %d kinds merged, %d of %d refused as they must be, %d wrong" %
          (merges.get("merged", 0), total, refuses.get("refused", 0), sum(refuses.values()), wrong))
    return 0 if wrong == 0 and merges.get("merged", 0) >= options.least * total else 1


if __name__ == "__main__":
    sys.exit(main())
