#!/usr/bin/env python3
"""Breaks clips in many ways, rescues them, and compares every sample with the original's.

    measure_rescue.py CLIPCHAIN FOLDER [--quick] [--only KIND…] [--verbose]

FOLDER keeps the clips that are made. A sample that is not exactly one of the
original's fails, and so does a kind of clip of which too little is found.
"""
import argparse
import bisect
import json
import os
import random
import subprocess
import sys
import tempfile
from pathlib import Path

sys.path.insert(0, str(Path(__file__).parent))
import breaking
import make_clips
from mp4_tables import number, read_tracks, top_level

# What must be found of the samples whose end is proved: all, but of frames that do not lie still, and of
# long pieces of PCM, the last one of which has a length of its own, which only the true end of the media proves.
def bar_of(name):
    if "pcm" in name and name.endswith(" s"):
        return 0.97
    return 0.98 if any(format in name for format in ("aac", "mp3", "ac-3")) else 1.0


MEDIA_KINDS = ("vide", "soun")


class Failure(Exception):
    pass


def rescue(tool, broken, reference, out):
    command = [tool, "rescue", broken, "--like", reference, "-o", out, "--json"]
    run = subprocess.run(command, capture_output=True, text=True, timeout=300)
    if run.returncode not in (0, 1):
        raise Failure(f"exit code {run.returncode}: {run.stderr[:500]}")
    report = json.loads(run.stdout)
    if (run.returncode == 0) != os.path.exists(out):
        raise Failure("the exit code and the output contradict each other")
    return report


def media_bytes(track, data):
    """The samples one behind the other; those that lie together are taken together."""
    pieces, begin, end = [], 0, 0
    for place, size in zip(track.offsets, track.sizes):
        if place != end:
            pieces.append(data[begin:end])
            begin = place
        end = place + size
    return b"".join(pieces + [data[begin:end]])


def is_beginning(original, data, found, rescued):
    """Whether samples of one size are the first ones of the original's, with its durations: seen at once."""
    count, sizes = len(found.sizes), set(original.sizes)
    if len(sizes) != 1 or set(found.sizes) != sizes or original.shown is not None or original.sync is not None:
        return False
    return (found.durations[: count - 1] == original.durations[: count - 1]
            and media_bytes(original, data).startswith(media_bytes(found, rescued)))


def compare_track(name, original, data, found, rescued, counts, regular):
    """Every sample of the result is one of the original's, in its order."""
    if is_beginning(original, data, found, rescued):
        counts["media" if found.handler in MEDIA_KINDS else "other"][0] += len(found.sizes)
        return
    at = 0
    for index, size in enumerate(found.sizes):
        piece = rescued[found.offsets[index] : found.offsets[index] + size]
        start = at
        while at < len(original.sizes):
            place = original.offsets[at]
            if original.sizes[at] == size and data[place : place + size] == piece:
                break
            at += 1
        if at == len(original.sizes):
            raise Failure(f"{name}: sample {index} of {found.format} is none of the original's")
        if at != start and found.handler == "vide":
            raise Failure(f"{name}: {at - start} pictures are missing in front of {index}")
        if regular:
            if found.shown is not None and found.shown[index] != original.shown[at]:
                raise Failure(f"{name}: picture {index} is shown {found.shown[index]} later, not {original.shown[at]}")
            if original.sync is not None and ((index + 1 in found.sync) != (at + 1 in original.sync)):
                raise Failure(f"{name}: sync flag of picture {index}")
            if index + 1 < len(found.sizes) and found.durations[index] != original.durations[at]:
                raise Failure(f"{name}: {found.format} {index} lasts {found.durations[index]}, not {original.durations[at]}")
        at += 1
    kind = "media" if found.handler in MEDIA_KINDS else "other"
    counts[kind][0] += len(found.sizes)


def says_its_end(broken):
    """Whether the head of the media says where it ends, and that is in the file."""
    media = [box for box in top_level(broken) if box[0] == "mdat"]
    if not media or number(broken, media[0][1]) == 0:
        return False
    behind = broken[media[0][3] :]
    return not behind or behind[4:8] == b"moov"


def expected_counts(tracks, position_limit, ends, foreign):
    """Samples whose end is proved: what begins behind them is there, or the media ends there. With foreign bytes behind that
    is a picture, for nothing tells the last piece of sound from them."""
    # Of the one behind, enough must be there to know it by.
    known = 64
    counts = {"media": 0, "other": 0}
    whole = ends and position_limit == limit_of(tracks)
    last = 0
    for track in tracks:
        behind = bisect.bisect_right(track.offsets, position_limit - known)
        if foreign and len(tracks) > 1:  # the last whole picture, with what is in front of it
            behind -= 1 if track.handler == "vide" else behind
        if behind > 0:
            last = max(last, track.offsets[behind - 1])
    for track in tracks:
        kind = "media" if track.handler in MEDIA_KINDS else "other"
        limit = position_limit if whole else min(last, position_limit)
        inside = bisect.bisect_right(track.offsets, limit)
        counts[kind] += inside if inside == 0 or track.offsets[inside - 1] + track.sizes[inside - 1] <= limit else inside - 1
    return counts


def limit_of(tracks):
    return max(o + s for t in tracks for o, s in zip(t.offsets, t.sizes))


def common_limit(data, broken):
    """How far the broken clip's media is the original's."""
    _, begin, end = breaking.media_of(data)
    probe = data[begin : begin + 64]
    start = broken.find(probe)
    length = 0
    step = 1 << 16
    while length < end - begin:
        a = data[begin + length : min(begin + length + step, end)]
        b = broken[start + length : start + length + len(a)]
        if a != b:
            length += next((i for i, (x, y) in enumerate(zip(a, b)) if x != y), len(b))
            break
        length += len(a)
    return begin + min(length, end - begin)


def run_form(tool, name, data, tracks, form, broken_bytes, reference, folder, regular, totals, verbose):
    broken = Path(folder) / "broken.mp4"
    out = Path(folder) / "out.mp4"
    broken.write_bytes(broken_bytes)
    out.unlink(missing_ok=True)
    report = rescue(tool, str(broken), str(reference), str(out))
    if broken.read_bytes() != broken_bytes:
        raise Failure(f"{name}: the broken clip was changed")
    limit = common_limit(data, broken_bytes)
    while "zeros" in form and limit and data[limit - 1] == 0:  # its own zeros are like those behind them
        limit -= 1
    expected = expected_counts(tracks, limit, says_its_end(broken_bytes), "behind" in form)
    counts = {"media": [0], "other": [0]}
    if report["done"]:
        rescued = out.read_bytes()
        found = read_tracks(rescued)
        by_format = [t for t in found if t.sizes]
        for track in by_format:
            original = next((t for t in tracks if t.handler == track.handler and t.format == track.format), None)
            if original is None:
                raise Failure(f"{name}: a track of {track.format} that the original has not")
            compare_track(f"{name}, {form}", original, data, track, rescued, counts, regular)
    for kind in counts:
        have, want = counts[kind][0], expected[kind]
        total = totals.setdefault((name, kind), [0, 0])
        total[0] += min(have, want)
        total[1] += want
    if verbose:
        print(f"{name:28} {form:22} media {counts['media'][0]:6} of {expected['media']:6}   "
              f"other {counts['other'][0]:4} of {expected['other']:4}  "
              + ("" if report["done"] else "; ".join(f["text"] for f in report["findings"])[:200]), flush=True)


QUICK = ("movie removed", "cut at 60 %", "movie cut", "size too large", "64 bits and 0", "head of zeros", "zeros behind",
         "foreign behind")


def forms_of(data, quick):
    random.seed(7)
    forms = {name: form(data) for name, form in breaking.FORMS.items()}
    foreign = bytes(random.randrange(256) for _ in range(30000))
    forms["foreign behind"] = breaking.cut(data, 0.65) + foreign
    forms["some foreign behind"] = breaking.cut(data, 0.55) + foreign[:700]
    if quick:
        return {name: forms[name] for name in QUICK}
    for part in range(1, 12):
        forms[f"cut {part}"] = breaking.cut(data, 0.08 * part + random.random() * 0.02)
    return forms


def other_clips_behind(data, tracks, other):
    """The media of another clip of the same kind, from its beginning or from where the copy ends, behind a cut in a sample."""
    _, begin, end = breaking.media_of(data)
    _, from_begin, to_end = breaking.media_of(other)
    forms = {}
    for part in (0.2, 0.37, 0.5, 0.63, 0.81):
        length = int((end - begin) * part)
        forms[f"another clip behind {part}"] = breaking.cut(data, part) + other[from_begin:to_end]
        forms[f"another clip below, behind {part}"] = breaking.cut(data, part) + other[from_begin + length : to_end]
    # Between two pictures, where playing starts in even steps: the other clip's first picture comes too early.
    steps = {b - a for t in tracks if len(tracks) == 1 for a, b in zip(t.sync or [], (t.sync or [])[1:])}
    # A clip that has played from one such picture to the next in full is known to keep the steps.
    for whole in (1, 3) if len(steps) == 1 else ():
        if whole * min(steps) + 10 >= len(tracks[0].offsets):
            continue
        at = tracks[0].offsets[whole * min(steps) + 10]
        forms[f"another clip behind, between pictures, {whole} steps on"] = breaking.without_movie(data)[:at] + other[from_begin:to_end]
    return forms


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("tool")
    parser.add_argument("folder")
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("--only", nargs="*", default=[], help="kinds of clips")
    parser.add_argument("--verbose", action="store_true")
    arguments = parser.parse_args()
    Path(arguments.folder).mkdir(parents=True, exist_ok=True)
    totals, failures = {}, []
    names = [n for n in make_clips.KINDS if not arguments.only or n in arguments.only]
    with tempfile.TemporaryDirectory() as folder:
        for name in names:
            clip = make_clips.make(arguments.folder, name, 1)
            reference = make_clips.make(arguments.folder, name, 2)
            data = clip.read_bytes()
            tracks = read_tracks(data)
            forms = forms_of(data, arguments.quick)
            if not arguments.quick:
                forms.update(other_clips_behind(data, tracks, make_clips.make(arguments.folder, name, 3).read_bytes()))
            for form, broken in forms.items():
                try:
                    run_form(arguments.tool, name, data, tracks, form, broken, reference, folder, True, totals, arguments.verbose)
                except Failure as failure:
                    failures.append(str(failure))
                    print("FAILED", form, failure, flush=True)
    for (name, kind), (have, want) in totals.items():
        if want:
            print(f"{name:28} {kind:6} {have:7} of {want:7}  {100 * have / want:6.2f} %")
    poor = [name for (name, kind), (have, want) in totals.items()
            if kind == "media" and have < want * bar_of(name)]
    for name in poor:
        print(f"FAILED {name}: too little is found")
    return 1 if failures or poor else 0


if __name__ == "__main__":
    sys.exit(main())
