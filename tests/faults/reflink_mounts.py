#!/usr/bin/env python3
"""Merges with --reflink on file systems that share blocks, each made in a file and mounted.

    reflink_mounts.py TOOL CLIP CLIP…

On btrfs and XFS, in a folder that goes away in the end:

- a result shares what its clips have in whole blocks, holds the same packets, and takes up next to
  nothing of the disk;
- it passes --verify=full and a second join, and "split" makes the clips again;
- "verify" calls no card safe to erase that shares blocks with a result, and does so of a copy;
- with a clip on another file system --reflink=always makes no result, and --reflink=auto a whole one;
- no call that fails, no kill and no loss of power there costs a clip or leaves half a result.

Exit code 77: neither can be made and mounted here.
"""
import json
import os
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

SKIPPED = 77
TESTS = Path(__file__).resolve().parents[1]
SYSTEMS = {"btrfs": ["mkfs.btrfs", "-q"], "xfs": ["mkfs.xfs", "-q", "-m", "reflink=1"]}
SIZE = 400 << 20
# What a merge may write: its movie box, and less than a block at either end of each clip's media.
PER_CLIP = 8 << 10


class Mount:
    """A new file system of that kind, or None where it can't be had."""

    def __init__(self, kind, folder):
        self.place = folder / kind
        self.image = folder / f"{kind}.image"
        self.mounted = False
        if shutil.which(SYSTEMS[kind][0]) is None or os.geteuid() != 0:
            return
        self.place.mkdir()
        with open(self.image, "wb") as file:
            file.truncate(SIZE)
        made = subprocess.run([*SYSTEMS[kind], str(self.image)], capture_output=True)
        mount = ["mount", "-o", "loop", str(self.image), str(self.place)]
        self.mounted = made.returncode == 0 and subprocess.run(mount, capture_output=True).returncode == 0

    def end(self):
        if self.mounted:
            subprocess.run(["umount", str(self.place)], check=True)


class Trial:
    def __init__(self, tool, clips, place, elsewhere):
        self.tool = tool
        self.place = place
        self.elsewhere = elsewhere
        self.wrong = []
        (place / "card").mkdir()
        self.clips = []
        for clip in clips:
            self.clips.append(place / "card" / Path(clip).name)
            shutil.copyfile(clip, self.clips[-1])

    def run(self, *arguments, clips=None):
        return subprocess.run(
            [self.tool, *map(str, arguments), *map(str, self.clips if clips is None else clips)],
            capture_output=True,
            text=True,
        )

    def expect(self, holds, text):
        if not holds:
            self.wrong.append(text)

    def merge(self, output, *options, clips=None):
        done = self.run("merge", "--json", "-o", output, *options, clips=clips)
        return done.returncode, json.loads(done.stdout)

    def used(self):
        os.sync()
        status = os.statvfs(self.place)
        return (status.f_blocks - status.f_bfree) * status.f_frsize

    def go(self):
        code, plain = self.merge(self.elsewhere / "plain.mp4")
        self.expect(code == 0, "the plain merge fails")
        for options in ([], ["--faststart"], ["--verify=full"]):
            before = self.used()
            output = self.place / "out.mp4"
            code, shared = self.merge(output, "--reflink=always", "--overwrite", *options)
            self.expect(code == 0, f"{options}: {shared['findings']}")
            media = plain["size"]
            self.expect(shared["shared"] > media - len(self.clips) * PER_CLIP - self.movie(output),
                        f"{options}: {shared['shared']} of {media} bytes are shared")
            self.expect(self.used() - before < media / 3, f"{options}: it takes {self.used() - before} bytes")
            self.compare_packets(self.elsewhere / "plain.mp4", output)
        self.keep()
        self.mix()
        self.disturb()
        return self.wrong

    @staticmethod
    def movie(path):
        data = path.read_bytes()
        at = data.rfind(b"moov") - 4
        return int.from_bytes(data[at : at + 4], "big") + 4096

    def compare_packets(self, one, other):
        if shutil.which("ffmpeg") is None:
            return
        hashes = [
            subprocess.run(
                ["ffmpeg", "-v", "error", "-i", str(path), "-map", "0", "-c", "copy", "-f", "streamhash", "-"],
                capture_output=True, text=True,
            ).stdout
            for path in (one, other)
        ]
        self.expect(hashes[0] == hashes[1] and hashes[0], f"{other} has other packets: {hashes}")

    def keep(self):
        kept = self.place / "kept"
        join = ["join", self.place / "card", "-o", kept, "--all", "--reflink=always", "--originals"]
        self.expect(self.run(*join, clips=[]).returncode == 0, "a join fails")
        again = self.run(*join, clips=[])
        self.expect(again.returncode == 0 and "already there" in again.stdout, "a second join fails")
        (self.place / "again").mkdir()
        for result in kept.glob("*.mp4"):
            done = self.run("split", result, "-o", self.place / "again" / result.stem, clips=[])
            self.expect(done.returncode == 0, f"split fails: {done.stderr}")
        made = {path.name: path.read_bytes() for path in (self.place / "again").rglob("*.mp4")}
        for clip in self.clips:
            self.expect(made.get(clip.name) == clip.read_bytes(), f"{clip.name} is not made again")
        verify = ["verify", self.place / "card", "--against"]
        answer = self.run(*verify, kept, clips=[])
        self.expect(answer.returncode != 0, f"shared blocks count as a copy: {answer.stdout}")
        self.expect("shares its blocks" in answer.stdout, f"nobody is told why: {answer.stdout}")
        shutil.copytree(kept, self.elsewhere / "copied")
        answer = self.run(*verify, self.elsewhere / "copied", clips=[])
        self.expect(answer.returncode == 0, f"a copy does not count: {answer.stdout}{answer.stderr}")
        shutil.rmtree(self.elsewhere / "copied")

    def mix(self):
        far = self.elsewhere / self.clips[-1].name
        shutil.copyfile(self.clips[-1], far)
        clips = [*self.clips[:-1], far]
        mixed = self.place / "mixed.mp4"
        code, report = self.merge(mixed, "--reflink=always", clips=clips)
        self.expect(code == 1 and not mixed.exists(), "it shares what lies elsewhere")
        self.expect(any("share blocks" in found["text"] for found in report["findings"]), "nobody says why")
        code, report = self.merge(mixed, "--reflink=auto", clips=clips)
        self.expect(code == 0 and report["shared"] > 0, f"nothing is shared: {report}")
        self.compare_packets(self.elsewhere / "plain.mp4", mixed)
        code, report = self.merge(self.elsewhere / "far.mp4", "--reflink=auto", clips=clips)
        self.expect(code == 0 and report["shared"] == 0, f"a result elsewhere shares: {report}")

    def disturb(self):
        strace = shutil.which("strace")
        if strace is None:
            return
        faults = Path(__file__).with_name("strace_faults.py")
        power_loss = TESTS / "robustness" / "power_loss_test.py"
        for program in ([faults, "--whole", "--only", "reflink", self.tool], [power_loss, "--sharing", strace, self.tool]):
            done = subprocess.run(
                [sys.executable, *map(str, program), *map(str, self.clips[:2])],
                env={**os.environ, "TMPDIR": str(self.place)}, capture_output=True, text=True,
            )
            self.expect(done.returncode in (0, SKIPPED), f"{program[0].name}: {done.stdout}{done.stderr}")


def main():
    tool, *clips = sys.argv[1:]
    tried = False
    wrong = 0
    with tempfile.TemporaryDirectory() as name:
        for kind in SYSTEMS:
            folder = Path(name) / kind
            (folder / "elsewhere").mkdir(parents=True)
            mount = Mount(kind, folder)
            try:
                if not mount.mounted:
                    continue
                tried = True
                for fault in Trial(str(Path(tool).resolve()), clips, mount.place, folder / "elsewhere").go():
                    wrong += 1
                    print(f"{kind}: {fault}", flush=True)
            finally:
                mount.end()
    if not tried:
        print("skipped: no file system that shares blocks can be mounted here")
        return SKIPPED
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
