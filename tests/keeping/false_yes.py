#!/usr/bin/env python3
"""Hunts for a "safe to erase: yes" that is none.

    false_yes.py [--whole] [--seed N] TOOL CLIP…

Fills cards and folders of results, spoils one thing at a time, and asks whether the cards can be
erased. Whatever is spoilt, the answer must be no. A sample of the cases, or with --whole thousands.
"""
import argparse
import itertools
import os
import random
import shutil
import subprocess
import sys
import tempfile
import time
from pathlib import Path


class Scene:
    """Cards and results in a folder of their own."""

    def __init__(self, hunt, top, keep=("--originals",)):
        self.hunt, self.top = hunt, top
        self.card, self.kept = top / "card", top / "kept"
        self.card.mkdir()
        self.kept.mkdir()
        self.clips = [Path(shutil.copy(clip, self.card)) for clip in hunt.clips]
        for name, text in (("picture.jpg", b"\xff\xd8" + b"p" * 5000), ("notes/n.txt", b"note")):
            for folder in (self.card, self.kept):
                path = folder / name
                path.parent.mkdir(exist_ok=True)
                path.write_bytes(text)
        self.result = self.kept / "whole.mp4"
        self.cards = [self.card]
        self.merge(self.clips, *keep)

    def merge(self, clips, *more, result=None):
        run = [self.hunt.tool, "merge", "--force", "-o", result or self.result, *more, *clips]
        done = subprocess.run(run, capture_output=True, text=True)
        assert done.returncode == 0, done.stderr

    def command(self):
        return [self.hunt.tool, "verify", *self.cards, "--against", self.kept]

    def ask(self, wrapper=()):
        return subprocess.run([*wrapper, *self.command()], capture_output=True, text=True)


def change(path, at, random):
    with open(path, "r+b") as file:
        file.seek(at)
        old = file.read(1)[0]
        file.seek(at)
        file.write(bytes([old ^ random.randrange(1, 256)]))


def media_of(path):
    """Where the media of a clip stands."""
    data = path.read_bytes()
    at = 0
    while at < len(data):
        size = int.from_bytes(data[at : at + 4], "big")
        header = 8
        if size == 1:
            size, header = int.from_bytes(data[at + 8 : at + 16], "big"), 16
        if data[at + 4 : at + 8] == b"mdat":
            return at + header, size - header
        at += size
    raise ValueError(path)


class Hunt:
    def __init__(self, options):
        self.tool = str(Path(options.tool).resolve())
        self.clips = [Path(clip).resolve() for clip in options.clips]
        self.random = random.Random(options.seed)
        self.whole = options.whole
        self.runs = 0
        self.faults = []
        self.skipped = set()

    def fault(self, what):
        self.faults.append(what)
        print(what, flush=True)

    def expect_no(self, what, done):
        self.runs += 1
        said = done.stdout + done.stderr
        if done.returncode not in (1, 3) or "safe to erase: yes" in said:
            self.fault(f"{what}: exit {done.returncode}: {said.strip()}")

    def expect_yes(self, what, done):
        self.runs += 1
        if done.returncode != 0 or "safe to erase: yes" not in done.stdout.splitlines()[-1]:
            self.fault(f"{what}: no yes: {done.stdout}{done.stderr}")

    def scene(self, *keep):
        return Scene(self, Path(tempfile.mkdtemp(dir=self.folder)), keep)

    def run(self):
        with tempfile.TemporaryDirectory(prefix="false-yes-") as self.folder:
            for case in (
                self.bytes_changed,
                self.bytes_changed_without_archive,
                self.lengths_changed,
                self.contents_exchanged,
                self.clips_replaced,
                self.clips_missing,
                self.cards_of_equal_names,
                self.stale_receipts,
                self.results_on_the_card,
                self.mounts,
                self.devices,
                self.calls_that_fail,
                self.changes_meanwhile,
            ):
                case()
                for path in Path(self.folder).iterdir():
                    shutil.rmtree(path)
        return self.faults

    def spoil(self, scene, path, whole, sample, ranges=None):
        """Changes a byte of the file, asks, and changes it back."""
        data = path.read_bytes()
        stamp = path.stat()
        for _ in range(whole if self.whole else sample):
            begin, size = self.random.choice(ranges) if ranges else (0, len(data))
            at = begin + self.random.randrange(size)
            change(path, at, self.random)
            os.utime(path, ns=(stamp.st_atime_ns, stamp.st_mtime_ns))
            self.expect_no(f"byte {at} of {path.name}", scene.ask())
            path.write_bytes(data)

    def bytes_changed(self):
        scene = self.scene("--originals", "--checksums")
        self.expect_yes("nothing spoilt", scene.ask())
        archive = Path(f"{scene.result}.originals")
        self.spoil(scene, scene.result, 1000, 12)
        self.spoil(scene, archive, 600, 8)
        self.spoil(scene, Path(f"{scene.result}.xxh"), 100, 3)
        for clip in scene.clips:
            self.spoil(scene, clip, 400, 4)
        self.spoil(scene, scene.kept / "picture.jpg", 50, 2)
        self.spoil(scene, scene.card / "picture.jpg", 50, 2)
        self.expect_yes("everything put back", scene.ask())

    def bytes_changed_without_archive(self):
        scene = self.scene()
        self.expect_yes("no archive", scene.ask())
        self.spoil(scene, scene.result, 1000, 12)
        for clip in scene.clips:
            self.spoil(scene, clip, 300, 3, [media_of(clip)])

    def lengths_changed(self):
        scene = self.scene("--originals")
        for path in (scene.result, Path(f"{scene.result}.originals"), scene.kept / "picture.jpg"):
            data = path.read_bytes()
            for _ in range(100 if self.whole else 3):
                path.write_bytes(data[: self.random.randrange(len(data))])
                self.expect_no(f"{path.name} cut", scene.ask())
                more = bytes(self.random.randrange(256) for _ in range(self.random.randrange(1, 99)))
                path.write_bytes(data + more)
                self.expect_no(f"{path.name} extended", scene.ask())
            path.write_bytes(data)

    def contents_exchanged(self):
        scene = self.scene("--originals")
        other = scene.kept / "other.mp4"
        scene.merge(scene.clips[:1], "--originals", result=other)
        scene.result.rename(scene.kept / "x")
        other.rename(scene.result)
        (scene.kept / "x").rename(other)
        self.expect_no("results exchanged", scene.ask())

    def clips_replaced(self):
        scene = self.scene("--originals")
        for clip in scene.clips:
            data = clip.read_bytes()
            position, size = media_of(clip)
            noise = self.random.randbytes(size)
            clip.write_bytes(data[:position] + noise + data[position + size :])
            self.expect_no("media of the same size", scene.ask())
            clip.write_bytes(self.random.randbytes(len(data)))
            self.expect_no("a file of the same size", scene.ask())
            clip.write_bytes(data)

    def clips_missing(self):
        scene = self.scene("--originals")
        for left_out in range(len(scene.clips)):
            clips = [clip for i, clip in enumerate(scene.clips) if i != left_out]
            for keep in ((), ("--originals",)):
                for path in scene.kept.glob("whole.mp4*"):
                    path.unlink()
                scene.merge(clips, *keep)
                self.expect_no("a clip missing from the result", scene.ask())

    def cards_of_equal_names(self):
        scene = self.scene("--originals")
        second = scene.top / "card2"
        shutil.copytree(scene.card, second)
        scene.cards.append(second)
        self.expect_yes("a copy of the card", scene.ask())
        for clip in scene.clips:
            twin = second / clip.name
            self.spoil(scene, twin, 100, 2)

    def stale_receipts(self):
        scene = self.scene("--originals", "--checksums")
        receipts = {path: path.read_bytes() for path in scene.kept.glob("whole.mp4.*")}
        for path in list(receipts):
            path.unlink()
        scene.result.unlink()
        scene.merge(scene.clips[:2])
        for path, data in receipts.items():
            path.write_bytes(data)
        self.expect_no("receipts of another result", scene.ask())
        scene.result.unlink()
        self.expect_no("receipts alone", scene.ask())

    def results_on_the_card(self):
        scene = self.scene("--originals")
        for path in list(scene.kept.glob("whole.mp4*")):
            path.rename(scene.card / path.name)
            os.link(scene.card / path.name, path)
        self.expect_no("hard links to the card", scene.ask())
        for path in list(scene.kept.glob("whole.mp4*")):
            path.unlink()
            path.symlink_to(scene.card / path.name)
        self.expect_no("links to the card", scene.ask())
        scene.kept = scene.top
        self.expect_no("a folder above the card", scene.ask())
        scene.kept = scene.card
        self.expect_no("the card itself", scene.ask())

    def mounts(self):
        scene = self.scene("--originals")
        for path in list(scene.kept.glob("whole.mp4*")):
            path.rename(scene.card / path.name)
        place, upper = scene.kept / "mounted", scene.top / "upper"
        for folder in (place, upper):
            folder.mkdir()
        overlay = 'mount -t tmpfs none "$3" && mkdir "$3/u" "$3/w" && mount -t overlay none -o "lowerdir=$1,upperdir=$3/u,workdir=$3/w" "$2"'
        modes = overlay.replace("workdir=", "metacopy=on,workdir=") + ' && find "$2" -type f -exec chmod 600 {} +'
        ways = [("mounted a second time", 'mount --bind "$1" "$2"')]
        ways.append(("beneath an overlay that has other modes", modes))
        ways.append(("beneath an overlay", overlay))
        for what, mount in ways:
            script = mount + ' && shift 3 && exec "$@"'
            wrapper = ["unshare", "--mount", "sh", "-c", script, "-", str(scene.card), str(place), str(upper)]
            if subprocess.run([*wrapper, "true"], capture_output=True).returncode != 0:
                self.skipped.add(f"a card {what}: not allowed here")
                continue
            self.expect_no(f"the card {what}", scene.ask(wrapper))
            if mount == overlay:
                scene.cards, scene.kept = [place], scene.card
                self.expect_no("an overlay of what keeps it", scene.ask(wrapper))

    def devices(self):
        """Two devices that show one image of a card."""
        scene = self.scene("--originals")
        for path in list(scene.kept.glob("whole.mp4*")):
            path.rename(scene.card / path.name)
        image, places = scene.top / "image", [scene.top / "a", scene.top / "b"]
        for place in places:
            place.mkdir()
        made = ["mke2fs", "-q", "-t", "ext4", "-d", str(scene.card), str(image), "20M"]
        script = """a=$(losetup -r -f --show "$1") && b=$(losetup -r -f --show "$1") &&
            mount -o ro,noload "$a" "$2" && mount -o ro,noload "$b" "$3" && shift 3 && "$@"
            code=$?; losetup -d $a $b; exit $code"""
        wrapper = ["unshare", "--mount", "sh", "-c", script, "-", str(image), *map(str, places)]
        try:
            able = all(subprocess.run(run, capture_output=True).returncode == 0 for run in (made, [*wrapper, "true"]))
        except FileNotFoundError:
            able = False
        if not able:
            self.skipped.add("a card that two devices show: not allowed here")
            return
        scene.cards, scene.kept = [places[0]], places[1]
        self.expect_no("the card that another device shows", scene.ask(wrapper))

    def calls_that_fail(self):
        if shutil.which("strace") is None:
            self.skipped.add("calls that fail: there is no strace")
            return
        scene = self.scene("--originals")
        log = scene.top / "log"
        probe = subprocess.run(
            ["strace", "-f", "-o", log, "-P", scene.result, *scene.command()], capture_output=True
        )
        if probe.returncode != 0:
            self.skipped.add("calls that fail: strace does not run here")
            return
        archive = f"{scene.result}.originals"
        paths = [scene.result, archive, *scene.clips, scene.card / "picture.jpg"]
        folders = [scene.card, scene.card / "notes", scene.kept]
        reading = ("openat", "newfstatat", "read", "pread64", "lseek", "fsync", "ioctl", "fstatfs")
        cases = [(path, call, "EIO") for path in paths for call in reading]
        cases += [(path, call, "EIO") for path in folders for call in ("openat", "getdents64")]
        # Without its name in them the folder is gone after a loss of power.
        cases += [(path, "fsync", "EIO") for path in (scene.kept, scene.top)]
        # The C library takes a folder that is gone for one that has ended.
        cases += [(path, "getdents64", "ENOENT") for path in folders]
        cases = cases if self.whole else self.random.sample(cases, 8)
        for path, call, error in cases:
            self.fail_calls(scene, path, call, error, log)

    def fail_calls(self, scene, path, call, error, log):
        # From a call on, or that one alone: what was read a second time may be right, or not.
        places = (1, 2, 3, 4, 5, 7, 9, 12) if self.whole else (1, 3)
        for first, more in itertools.product(places, ("+", "")):
            fault = f"inject={call}:error={error}:when={first}{more}"
            wrapper = ["strace", "-f", "-o", str(log), "-P", str(path), "-e", fault]
            done = scene.ask(wrapper)
            if "(INJECTED)" in log.read_text(errors="replace"):
                self.expect_no(f"{call} of {path} failing from call {first}{more}", done)

    def changes_meanwhile(self):
        if shutil.which("strace") is None:
            self.skipped.add("changes meanwhile: there is no strace")
            return
        for number in range(40 if self.whole else 4):
            scene = self.scene("--originals")
            slow = scene.clips[1]
            wrapper = ["strace", "-f", "-o", "/dev/null", "-P", str(slow)]
            wrapper += ["-e", "inject=pread64:delay_enter=60000"]
            run = subprocess.Popen(
                [*wrapper, *scene.command()], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True
            )
            time.sleep(self.random.uniform(0.15, 0.3))
            what = self.disturb(scene, number % 4)
            over = run.poll() is not None
            said = run.communicate()[0]
            if not over:
                done = subprocess.CompletedProcess([], run.returncode, said, "")
                self.expect_no(what, done)

    def disturb(self, scene, number):
        if number == 0:
            (scene.card / "new.jpg").write_bytes(b"new")
            return "a file that appears"
        if number == 1:
            change(scene.clips[0], 50_000, self.random)
            return "a clip that changes"
        if number == 2:
            change(scene.result, 50_000, self.random)
            return "a result that changes"
        other = shutil.copy(scene.result, scene.top / "other")
        change(other, 60_000, self.random)
        os.replace(other, scene.result)
        return "a result that is replaced"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--whole", action="store_true")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("tool")
    parser.add_argument("clips", nargs="+")
    hunt = Hunt(parser.parse_args())
    faults = hunt.run()
    for line in sorted(hunt.skipped):
        print(f"skipped {line}")
    print(f"{hunt.runs} runs, {len(faults)} faults")
    sys.exit(1 if faults or hunt.runs == 0 else 0)


if __name__ == "__main__":
    main()
