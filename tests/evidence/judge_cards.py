#!/usr/bin/env python3
"""Judges what the tool proposes for cards that were made by chance, as real files.

    judge_cards.py --tool TOOL [--cards N] [--first SEED] [--folder F] [--tell]

No proposal that is certain or likely may hold clips of two recordings, or be called complete with a
clip missing in between; of the recordings that say enough at least 99 of 100 are found.
"""
import argparse
import json
import os
import shutil
import subprocess
import sys
import tempfile

import cards

SURE = ("certain", "likely")


class Score:
    def __init__(self):
        self.cards = self.clips = self.proposals = self.evident = self.found = 0
        self.false, self.missed, self.broken = [], [], []


def run(tool, *arguments):
    return subprocess.run([tool, *arguments], capture_output=True, text=True, timeout=300)


def order_of(card):
    """Where each clip stands in the recording that it is of, by its path; copies too."""
    places = {}
    for number, recording in enumerate(card.recordings):
        for i, clip in enumerate(recording.clips):
            if any(clip is kept for kept in recording.kept):
                places[clip.path] = (number, i)
    for other in card.others:
        if other[0] == "copy":
            places.setdefault(other[2], places[other[1].path])
    return places


def what_is_wrong(places, proposal):
    known = [places.get(path) for path in proposal["clips"]]
    if None in known:
        return "a clip of no recording"
    for before, behind in zip(known, known[1:]):
        if before[0] != behind[0]:
            return "clips of two recordings"
        if behind[1] <= before[1]:
            return "another order"
        if behind[1] != before[1] + 1 and proposal["complete"]:
            return "a clip is missing in between, and it is called complete"
    return None


def judge(card, proposals, score):
    places = order_of(card)
    found = set()
    seen = set()
    for proposal in proposals:
        if len(proposal["clips"]) < 2 or seen.intersection(proposal["clips"]):
            score.broken.append((card.seed, "no proposal at all", proposal))
        seen.update(proposal["clips"])
        if proposal["grade"] not in SURE:
            continue
        score.proposals += 1
        wrong = what_is_wrong(places, proposal)
        if wrong:
            score.false.append((card.seed, wrong, proposal, card.story))
        elif proposal["complete"]:
            first = places[proposal["clips"][0]]
            found.add((first[0], len(proposal["clips"])))
    for number, recording in enumerate(card.recordings):
        if card.is_evident(recording):
            score.evident += 1
            if (number, len(recording.kept)) in found:
                score.found += 1
            else:
                score.missed.append((card.seed, recording.camera.index,
                                     [clip.path for clip in recording.clips], card.story))
    score.cards += 1
    score.clips += sum(len(r.kept) for r in card.recordings)


def judge_one(tool, seed, folder, score):
    card = cards.Card(seed, os.path.join(folder, "%d" % seed))
    try:
        card.put()
        told = run(tool, "sequences", "--json", *card.roots)
        if told.returncode not in (0, 3):
            score.broken.append((seed, "exit %d" % told.returncode, told.stderr))
            return
        proposals = json.loads(told.stdout)["proposals"]
        judge(card, proposals, score)
        if seed % 20 == 0:
            judge_join(tool, card, proposals, score)
    finally:
        shutil.rmtree(card.root, ignore_errors=True)


def judge_join(tool, card, proposals, score):
    """What join would join is what sequences proposes."""
    out = os.path.join(card.root, "joined")
    told = run(tool, "join", "--accept", "likely", "--dry-run", "--json", "-o", out, *card.roots)
    sure = [p for p in proposals if p["grade"] in SURE]
    document = json.loads(told.stdout)
    joined = [[i["path"] for i in job["inputs"]] for job in document["jobs"]
              if "accepted" in job and job.get("left_out") is None]
    expected = [p["clips"] for p in sure if p["complete"]]
    if sorted(joined) != sorted(expected) or told.returncode not in (0, 3) or os.path.exists(out):
        score.broken.append((card.seed, "join would join others", joined, expected, told.returncode))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--tool", required=True)
    parser.add_argument("--cards", type=int, default=40)
    parser.add_argument("--first", type=int, default=0)
    parser.add_argument("--folder")
    parser.add_argument("--tell", action="store_true", help="list what was not found")
    options = parser.parse_args()
    score = Score()
    folder = tempfile.mkdtemp(dir=options.folder)
    try:
        for seed in range(options.first, options.first + options.cards):
            judge_one(options.tool, seed, folder, score)
    finally:
        shutil.rmtree(folder, ignore_errors=True)
    for told in score.false + score.broken + (score.missed if options.tell else []):
        print(json.dumps(told, indent=1) if told in score.false else told)
    share = score.found / score.evident if score.evident else 0
    print("%d cards, %d clips, %d proposals: %d false, %d broken; %d of %d recordings found (%.2f %%)" % (
        score.cards, score.clips, score.proposals, len(score.false), len(score.broken), score.found,
        score.evident, 100 * share))
    return 1 if score.false or score.broken or share < 0.99 or not score.proposals else 0


if __name__ == "__main__":
    sys.exit(main())
