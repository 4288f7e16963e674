#!/usr/bin/env python3
"""Prints the table of docs/adapting.md: what merges of neighbouring clips give, by kind of clip and program.

    table.py --tool PATH [--folder DIR]

Two clips of each kind are joined by clipchain, by ffmpeg's concat (copying, into the same container) and by mkvmerge (into
Matroska), each where it is installed. A result is read with ffprobe. "yes": every packet of every track stands in it, in
order, and picture and sound are at most 22 ms farther apart behind the seam than in the clip alone. "apart": every packet,
but farther apart. "changed": as many packets, but some have other bytes. "lost": packets or tracks are missing, or more than
there were. "no": refused.
"""
import argparse
import collections
import json
import os
import shutil
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

from judge import prepare  # noqa: E402
from kinds import MERGES  # noqa: E402

LIMIT = 0.022


def packets(path, more=()):
    """By track: its kind, and (hash, time shown) of each packet."""
    run = subprocess.run(
        ["ffprobe", "-v", "quiet", *more, "-show_entries", "packet=stream_index,data_hash,pts_time:stream=index,codec_type",
         "-show_data_hash", "md5", "-of", "json", path], capture_output=True)
    if run.returncode:
        return None
    told = json.loads(run.stdout)
    tracks = collections.OrderedDict((s["index"], (s.get("codec_type", "data"), [])) for s in told.get("streams", []))
    for packet in told.get("packets", []):
        tracks[packet["stream_index"]][1].append((packet.get("data_hash"), float(packet.get("pts_time", 0))))
    return list(tracks.values())


def whole(path):
    """Samples that an edit list hides are samples, too."""
    return [] if path.endswith(".mkv") else ["-ignore_editlist", "1"]


def media(path, kind, number):
    """All bytes of a track: a program may put samples without frames into packets as it likes."""
    run = subprocess.run(["ffmpeg", "-v", "quiet", *whole(path), "-i", path, "-map", "0:%s:%d" % (kind[0], number), "-c", "copy",
                          "-f", "data", "-"], capture_output=True)
    return run.stdout


def begins(tracks, skipped):
    """When picture and sound begin, behind so many packets of each."""
    times = {}
    for kind, found in tracks:
        if kind in ("video", "audio") and kind not in times:
            rest = found[skipped.get(kind, 0):]
            if rest:
                times[kind] = min(t for _, t in rest[:16])
    return times


def by_kind(tracks):
    kinds = {}
    for kind, found in tracks:
        kinds.setdefault(kind, []).append([h for h, _ in found])
    return kinds


def compared(clips, result, parts, merged):
    """What became of the packets of all tracks; nothing if they are all there in order."""
    first, second, found = by_kind(parts[0]), by_kind(parts[1]), by_kind(merged)
    if {k: len(v) for k, v in first.items()} != {k: len(v) for k, v in found.items()}:
        return "lost"
    worst = ""
    for kind, tracks in first.items():
        for number, packet_hashes in enumerate(tracks):
            wanted = packet_hashes + second[kind][number]
            if wanted == found[kind][number]:
                continue
            if kind == "audio" and media(clips[0], kind, number) + media(clips[1], kind, number) == media(result, kind, number) != b"":
                continue
            if len(wanted) != len(found[kind][number]):
                return "lost"
            worst = "changed"
    return worst


def verdict(clips, result):
    parts, merged = [packets(c, whole(c)) for c in clips], packets(result, whole(result))
    if not merged or None in parts:
        return "lost"
    if by_kind(parts[0]).keys() != by_kind(parts[1]).keys():
        return "lost"
    worst = compared(clips, result, parts, merged)
    if worst:
        return worst
    shown, alone, before = packets(result), packets(clips[1]), packets(clips[0])
    count, total = {}, {}
    for tracks in (before, alone):
        seen = set()
        for kind, found in tracks:
            if kind not in seen:
                seen.add(kind)
                count.setdefault(kind, len(found))
                total[kind] = total.get(kind, 0) + len(found)
    if any(total.get(kind) != len(found) for kind, found in {k: f for k, f in reversed(shown)}.items()):
        return "yes"  # packets of sound without frames are no places to look for the seam
    there, own = begins(shown, count), begins(alone, {})
    if "video" not in there or "audio" not in there or "video" not in own or "audio" not in own:
        return "yes"
    apart = (there["video"] - own["video"]) - (there["audio"] - own["audio"])
    return "yes" if abs(apart) <= LIMIT else "apart"


def by_clipchain(options, clips, result):
    return subprocess.run([options.tool, "merge", "-o", result, *clips], capture_output=True).returncode == 0


def by_ffmpeg(_, clips, result):
    names = result + ".txt"
    with open(names, "w", encoding="utf-8") as file:
        file.writelines("file '%s'\n" % c for c in clips)
    command = ["ffmpeg", "-v", "error", "-y", "-f", "concat", "-safe", "0", "-i", names, "-map", "0", "-c", "copy", result]
    return subprocess.run(command, capture_output=True).returncode == 0


def by_mkvmerge(_, clips, result):
    command = ["mkvmerge", "-q", "-o", result, clips[0], "+", clips[1]]
    return subprocess.run(command, capture_output=True).returncode in (0, 1) and os.path.exists(result)


PROGRAMS = [("clipchain", by_clipchain, None), ("ffmpeg concat", by_ffmpeg, None), ("mkvmerge", by_mkvmerge, "mkv")]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--tool", required=True)
    parser.add_argument("--folder")
    parser.add_argument("--every", type=int, default=1, help="only every so many kinds")
    parser.add_argument("--only", action="append", help="only these kinds")
    options = parser.parse_args()
    programs = [p for p in PROGRAMS if p[0] == "clipchain" or shutil.which(p[0].split()[0])]
    print("| clips | " + " | ".join(p[0] for p in programs) + " |\n|---|" + "---|" * len(programs))
    tally = collections.defaultdict(collections.Counter)
    with tempfile.TemporaryDirectory() as work:
        folder = options.folder or work
        os.makedirs(folder, exist_ok=True)
        for kind in [k for k in MERGES[::options.every] if not options.only or k.name in options.only]:
            clips = prepare(kind, folder, work)
            found = []
            for name, join, ending in programs:
                result = os.path.join(work, "result." + (ending or clips[0].rsplit(".", 1)[1]))
                if os.path.exists(result):
                    os.remove(result)
                found.append(verdict(clips, result) if join(options, clips, result) else "no")
                tally[name][found[-1]] += 1
            print("| %s | %s |" % (kind.name.replace("_", " "), " | ".join(found)), flush=True)
    print("| **of %d kinds** | " % sum(tally["clipchain"].values()) +
          " | ".join(", ".join("%d %s" % (tally[p[0]][w], w) for w in ("yes", "apart", "changed", "lost", "no") if tally[p[0]][w]) for p in programs) + " |")
    return 0


if __name__ == "__main__":
    sys.exit(main())
