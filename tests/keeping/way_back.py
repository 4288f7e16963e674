#!/usr/bin/env python3
"""Hunts for clips that do not come back, and for results that count though something is not in them.

    way_back.py [--pairs N] [--seed N] [--clips DIR] [--keep DIR] TOOL [KIND…]

Makes pairs of small clips: those of the judge's kinds (tests/judge), and with --pairs as many more by its edits put together
at random. Each pair is merged with --originals; `verify` must say yes of every byte, and no once a byte of the result, of the
archive or of a clip has changed; the clips are erased, and `split` must make them again, with every byte and their times. Then
it is merged without an archive, by --force and what else makes a merge lose something: where `verify` says yes the judge
must find every sample of both clips in the result.
"""
import argparse
import os
import random
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "judge"))

from clips import FAMILIES, make  # noqa: E402
from compare import compare  # noqa: E402
from kinds import KINDS  # noqa: E402
from mp4 import File  # noqa: E402

WAYS = [(), ("--force",), ("--exact",), ("--force", "--exact"), ("--seams=as-they-are",), ("--force", "--common-tracks")]
SAMPLED = ("h264_aac", "fragments_key", "several_media_boxes", "tracks_in_another_order", "movie_first_in_one", "uniform_sizes",
           "sample_groups", "track_missing", "edits_cut_the_second", "other_parameter_sets")
# What the judge of merges asks for that is no loss: how far tracks may be apart, how long the last sample of a clip is shown, and
# what is told of the whole.
NO_LOSS = ("ms apart", "the edit list shows", "mdhd says", "still has", "btrt", "rates", ": step ")


# What file systems and cameras do with names and times, and what stands behind the last box of some clips.
NAMES = ("{} \u00fc.mp4", "new\nline{}.mov", "-dash{}.mp4", "x" * 240 + "{}.mp4", ".hidden{}", "e\u0301{}", "{}'\"\\.MP4")
TIMES = (0, -1, -(10**18) + 7, 10**9 - 1, 2**31 * 10**9 + 5, 4_102_444_800 * 10**9 + 1)
TAILS = (bytes(1), bytes(4096), b"\0\0\0\x08free", b"\0\0\0\x01free" + (16).to_bytes(8, "big"), b"\0\0\0\x08mdat",
         b"\0\0\0\0skip" + bytes(9), b"\0\0\0\x0czzzz1234")


def edits_of_all():
    pool = []
    for kind in KINDS.values():
        pool += [("first", edit) for edit in kind.first] + [("second", edit) for edit in kind.second]
    return [edit for _, edit in pool]


def top_level(data):
    """Type, begin and end of each box."""
    at = 0
    while at + 8 <= len(data):
        size = int.from_bytes(data[at:at + 4], "big")
        size = int.from_bytes(data[at + 8:at + 16], "big") if size == 1 else size or len(data) - at
        yield data[at + 4:at + 8], at, min(at + max(size, 8), len(data))
        at += max(size, 8)


class Hunt:
    def __init__(self, options, folder):
        self.tool = str(Path(options.tool).resolve())
        self.made = options.clips or os.path.join(folder, "made")
        os.makedirs(self.made, exist_ok=True)
        self.top = Path(folder)
        self.keep = options.keep
        self.random = random.Random(options.seed)
        self.faults = []
        self.counts = {"pairs": 0, "merged": 0, "split": 0, "asked": 0, "yes without archive": 0}

    def fault(self, what, said=""):
        self.faults.append(f"{self.name}: {what}: {said.strip()[:600]}")
        print(self.faults[-1], flush=True)
        if self.keep:
            shutil.copytree(self.here, os.path.join(self.keep, f"{self.name}-{len(self.faults)}"), symlinks=True)

    def run(self, *command):
        done = subprocess.run([self.tool, *command], capture_output=True, timeout=300)
        if done.returncode not in (0, 1, 3):
            self.fault(f"exit {done.returncode} of {command[0]}", done.stderr.decode(errors="replace"))
        return done.returncode, (done.stdout + done.stderr).decode(errors="replace")

    def ask(self):
        self.counts["asked"] += 1
        code, said = self.run("verify", str(self.card), "--against", str(self.kept))
        if (code == 0) != ("safe to erase: yes" in said):
            self.fault(f"exit {code} and other words", said)
        return code == 0, said

    def fill(self, clips):
        self.here = self.top / "pair"
        shutil.rmtree(self.here, ignore_errors=True)
        self.card, self.kept = self.here / "card", self.here / "kept"
        self.card.mkdir(parents=True)
        self.kept.mkdir()
        self.clips, self.bytes, self.times = [], [], []
        for number, (name, data) in enumerate(clips):
            path = self.card / name
            path.write_bytes(data)
            time = 1_400_000_000_000_000_000 + self.random.randrange(10**17)
            if self.random.random() < 0.2:
                time = self.random.choice(TIMES)
            os.utime(path, ns=(time, time))
            self.clips.append(path)
            self.bytes.append(data)
            self.times.append(path.stat().st_mtime_ns)
        self.result = self.kept / "whole.mp4"

    def merge(self, *more):
        for path in self.kept.iterdir():
            path.unlink()
        code, said = self.run("merge", "-o", str(self.result), *more, *map(str, self.clips))
        if code == 0:
            self.counts["merged"] += 1
        return code == 0, said

    def try_pair(self, name, clips):
        self.name = name
        self.counts["pairs"] += 1
        self.fill(clips)
        ways = [(), self.random.choice(WAYS[1:])]
        for way in ways:
            if self.merge("--originals", *way)[0]:
                self.with_archive(way)
        for way in ways:
            if self.merge(*way)[0]:
                self.without_archive(way)

    def with_archive(self, way):
        yes, said = self.ask()
        if not yes or "without their other data" in said:
            return self.fault(f"merged with its archive {way}, and not kept", said)
        archive = Path(f"{self.result}.originals")
        for path in (self.result, archive, self.random.choice(self.clips)):
            data, stamp = path.read_bytes(), path.stat()
            at = self.random.randrange(len(data))
            path.write_bytes(data[:at] + bytes([data[at] ^ self.random.randrange(1, 256)]) + data[at + 1:])
            if self.ask()[0]:
                self.fault(f"yes, with byte {at} of {path.name} changed {way}")
            path.write_bytes(data)
            os.utime(path, ns=(stamp.st_atime_ns, stamp.st_mtime_ns))
        media = sum(end - begin for data in self.bytes for kind, begin, end in top_level(data) if kind == b"mdat")
        if media > 1 << 20 and archive.stat().st_size > media / 50:
            self.fault("the archive takes more than 2 %")
        back = self.here / "back"
        code, said = self.run("split", str(self.result), "-o", str(back))
        if code != 0:
            return self.fault(f"not split {way}", said)
        self.counts["split"] += 1
        names = sorted(os.listdir(back))
        if names != sorted(clip.name for clip in self.clips):
            self.fault(f"split into {names}")
        for clip, data, time in zip(self.clips, self.bytes, self.times):
            again = back / clip.name
            if again.read_bytes() != data:
                self.fault(f"{clip.name} came back otherwise {way}")
            if again.stat().st_mtime_ns != time:
                self.fault(f"{clip.name} came back with another time")
        shutil.rmtree(back)

    def without_archive(self, way):
        yes, said = self.ask()
        if not yes:
            return
        self.counts["yes without archive"] += 1
        errors = compare(self.result.read_bytes(), self.bytes)
        errors = [error for error in errors if not any(words in error for words in NO_LOSS)]
        if errors:
            self.fault(f"yes without an archive {way}, but the judge says", "; ".join(errors) + "\n" + said)
        data = self.result.read_bytes()
        at = self.random.randrange(len(data))
        self.result.write_bytes(data[:at] + bytes([data[at] ^ self.random.randrange(1, 256)]) + data[at + 1:])
        if self.ask()[0]:
            self.fault(f"yes, with byte {at} of the result changed {way}")

    def clip(self, family, number, edits, raw=None):
        path = make(self.made, family, number)
        data = Path(path).read_bytes()
        if edits:
            file = File.load(path)
            for edit in edits:
                edit(file)
            data = file.bytes()
        return f"clip{number}.{FAMILIES[family][0]}", raw(data) if raw else data

    def try_kind(self, kind):
        try:
            clips = [self.clip(kind.family, 0, kind.first), self.clip(kind.other, 1, kind.second, kind.raw)]
        except RuntimeError as error:
            print(f"skipped {kind.name}: {error}")
            return
        self.try_pair(kind.name, clips)

    def try_random(self, number, pool):
        families = [name for name in FAMILIES if self.runs(name)]
        family = self.random.choice(families)
        other = family if self.random.random() < 0.9 else self.random.choice(families)
        both = self.random.sample(pool, self.random.choice((0, 0, 1, 1, 2)))
        more = [self.random.sample(pool, self.random.choice((0, 0, 0, 1))) for _ in range(2)]
        try:
            clips = [self.clip(family, 0, both + more[0]), self.clip(other, 1, both + more[1])]
        except Exception:  # edits that do not go together, or not with this family
            return False
        if self.random.random() < 0.2:
            clips = [(self.random.choice(NAMES).format(i), data) for i, (_, data) in enumerate(clips)]
        if self.random.random() < 0.2:
            clips = [(name, data + self.random.choice(TAILS)) for name, data in clips]
        self.try_pair(f"random{number}_{family}", clips)
        return True

    def runs(self, family):
        if not hasattr(self, "available"):
            self.available = {}
        if family not in self.available:
            try:
                self.available[family] = bool([make(self.made, family, n) for n in range(2)])
            except RuntimeError:
                self.available[family] = False
        return self.available[family]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--pairs", type=int, default=0)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--clips", help="where clips of ffmpeg are kept for the next time")
    parser.add_argument("--keep", help="where the files of each fault are left")
    parser.add_argument("--sample", action="store_true", help="a few kinds")
    parser.add_argument("tool")
    parser.add_argument("kinds", nargs="*")
    options = parser.parse_args()
    if shutil.which("ffmpeg") is None:
        print("skipped: there is no ffmpeg")
        return
    with tempfile.TemporaryDirectory(prefix="way-back-") as folder:
        hunt = Hunt(options, folder)
        kinds = options.kinds or (SAMPLED if options.sample else [] if options.pairs else list(KINDS))
        for name in kinds:
            hunt.try_kind(KINDS[name])
        pool, done = edits_of_all(), 0
        while done < options.pairs:
            done += hunt.try_random(done, pool)
    print(", ".join(f"{count} {what}" for what, count in hunt.counts.items()), f"{len(hunt.faults)} faults", sep=", ")
    sys.exit(1 if hunt.faults or not hunt.counts["split"] else 0)


if __name__ == "__main__":
    main()
