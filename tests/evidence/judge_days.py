#!/usr/bin/env python3
"""Judges what the tool proposes for days of shooting, as judge_cards.py does for cards by chance.

    judge_days.py --tool TOOL [--days N] [--first SEED] [--folder F] [--tell]
"""
import argparse
import json
import os
import shutil
import subprocess
import sys
import tempfile

import days


def what_is_wrong(clips, is_complete):
    if None in clips:
        return "a picture of a time-lapse"
    if len({clip.take for clip in clips}) > 1:
        return "clips of several takes"
    steps = [behind.part - before.part for before, behind in zip(clips, clips[1:])]
    if min(steps) <= 0:
        return "another order"
    return "a hole, and it is called complete" if is_complete and max(steps) > 1 else None


def judge(tool, seed, folder, score, tell):
    day, root = days.Day(seed), os.path.join(folder, str(seed))
    try:
        os.makedirs(root)
        where = day.put(root)
        told = subprocess.run([tool, "sequences", "--json", root], capture_output=True, text=True, timeout=300)
    finally:
        shutil.rmtree(root, ignore_errors=True)
    if told.returncode not in (0, 3):
        score["false"] += 1
        print("day %d: exit %d: %s" % (seed, told.returncode, told.stderr))
        return
    found = set()
    for proposal in json.loads(told.stdout)["proposals"]:
        clips = [where.get(path) for path in proposal["clips"]]
        if proposal["grade"] == "possible":
            continue
        score["proposals"] += 1
        wrong = what_is_wrong(clips, proposal["complete"])
        if wrong:
            score["false"] += 1
            print("day %d: %s" % (seed, wrong), day.log, json.dumps(proposal, indent=1))
        elif proposal["complete"]:
            found.add((clips[0].take, len(clips)))
    for take in day.takes:
        if not day.is_evident(take):
            continue
        score["evident"] += 1
        if (take, len(take.clips)) in found:
            score["found"] += 1
        elif tell:
            print("day %d: not found:" % seed, day.log, take.device.model, [clip.path for clip in take.clips])


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--tool", required=True)
    parser.add_argument("--days", type=int, default=40)
    parser.add_argument("--first", type=int, default=0)
    parser.add_argument("--folder")
    parser.add_argument("--tell", action="store_true", help="list what was not found")
    options = parser.parse_args()
    score = {"proposals": 0, "false": 0, "evident": 0, "found": 0}
    folder = tempfile.mkdtemp(dir=options.folder)
    try:
        for seed in range(options.first, options.first + options.days):
            judge(options.tool, seed, folder, score, options.tell)
    finally:
        shutil.rmtree(folder, ignore_errors=True)
    share = score["found"] / score["evident"] if score["evident"] else 0
    print("%d days, %d proposals: %d false; %d of %d recordings found (%.2f %%)" % (
        options.days, score["proposals"], score["false"], score["found"], score["evident"], 100 * share))
    return 1 if score["false"] or share < 0.99 else 0


if __name__ == "__main__":
    sys.exit(main())
