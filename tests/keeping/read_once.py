#!/usr/bin/env python3
"""Measures how often a proof reads the bytes of cards and of what keeps them.

    read_once.py TOOL

Cards and results are read at the speed of their disks, so every byte is read once: the media of each
clip, and all of each result and copy. Boxes, the first 100,000 bytes of a clip, where a camera writes
its notes, and two ends of 4 KiB of whatever is compared are looked at before. Exit code 77: strace
cannot trace here.
"""
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "evidence"))
import tiny_clips  # noqa: E402

SKIPPED = 77
SIZE = 4 << 20
# Of what may be read more than once, a file each.
PROBED = 300_000
# Of a clip.
BOXES = 4096
CALL = re.compile(r"\d+ +(lseek|read|pread64)\((\d+)<([^>]*)>, (.*)\) += (\d+)")


def make_clip(path, number):
    clip = tiny_clips.Clip(path=str(path), size=SIZE, frames=250, created=3_800_000_000 + number)
    tiny_clips.write(clip)
    data = bytearray(path.read_bytes())
    begin = data.index(b"mdat") + 12
    end = data.index(b"moov") - 4
    # Nothing in it repeats, so that each place tells which one it is.
    for at in range(begin, end - 8, 8):
        data[at : at + 8] = (number << 32 | at).to_bytes(8, "big")
    path.write_bytes(data)
    return path


def spans_read(log):
    """Where each file was read, by its path."""
    spans, places = {}, {}
    for line in log.read_text(errors="replace").splitlines():
        found = CALL.match(line)
        if not found:
            continue
        call, descriptor, path, arguments, result = found.groups()
        if call == "lseek":
            places[descriptor] = int(result)
            continue
        begin = int(arguments.rsplit(",", 1)[1]) if call == "pread64" else places.get(descriptor, 0)
        if call == "read":
            places[descriptor] = begin + int(result)
        spans.setdefault(path, []).append((begin, begin + int(result)))
    return spans


def look(path, spans, whole):
    """What is wrong with how a file was read, all of it or but for some of its boxes."""
    size = path.stat().st_size
    total = sum(end - begin for begin, end in spans)
    if total > size + PROBED:
        return f"{path.name}: {total} bytes were read of {size}"
    at = 0
    for begin, end in sorted(spans):
        if begin > at and (whole or begin - at > BOXES):
            return f"{path.name}: nobody read from {at} to {begin}"
        at = max(at, end)
    if at < size:
        return f"{path.name}: nobody read from {at} on"
    return None


def ask(tool, top, log):
    command = [tool, "verify", top / "card", "--against", top / "kept"]
    trace = ["strace", "-f", "-y", "-e", "trace=lseek,read,pread64", "-o", log]
    return subprocess.run([*trace, *command], capture_output=True, text=True)


def main():
    if shutil.which("strace") is None:
        print("there is no strace")
        return SKIPPED
    tool = str(Path(sys.argv[1]).resolve())
    faults = []
    with tempfile.TemporaryDirectory(prefix="read-once-") as folder:
        top = Path(folder).resolve()
        for name in ("card", "kept"):
            (top / name).mkdir()
        clips = [make_clip(top / "card" / f"M{i}.mp4", i) for i in range(2)]
        (top / "card" / "sound.wav").write_bytes(bytes(range(256)) * 8192)
        log = top / "log"
        if subprocess.run(["strace", "-o", log, "true"], capture_output=True).returncode != 0:
            print("strace cannot trace here")
            return SKIPPED
        ways = {"a result": ["--force"], "its archive": ["--force", "--originals"], "copies": None}
        for way, options in ways.items():
            shutil.rmtree(top / "kept")
            (top / "kept").mkdir()
            shutil.copy(top / "card" / "sound.wav", top / "kept")
            if options is None:
                for clip in clips:
                    shutil.copy(clip, top / "kept")
            else:
                subprocess.run([tool, "merge", *options, "-o", top / "kept/whole.mp4", *clips],
                               check=True, capture_output=True)
            done = ask(tool, top, log)
            if done.returncode != 0:
                faults.append(f"{way}: {done.stdout}{done.stderr}")
                continue
            spans = spans_read(log)
            for path in sorted(top.glob("[ck]*/*")):
                # A result alone keeps the samples of its clips.
                whole = way != "a result" or path.parent.name == "kept"
                wrong = look(path, spans.get(str(path), []), whole)
                if wrong:
                    faults.append(f"{way}: {wrong}")
    print("\n".join(faults) or "each byte was read once")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
