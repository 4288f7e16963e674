"""What a join costs beside its merges alone, and a second one beside `cmp`."""
import os
import shutil
import struct
import subprocess

from keeping import middle_of, seconds_of

RECORDINGS = 20
CLIPS = 10
IDENTIFIER = 16


def with_camera_box(clip, example):
    """The clip with the box at the end of its movie box in which the example has identifiers."""
    camera = example[example.index(b"uuid") - 4 :]
    camera = camera[: struct.unpack_from(">I", camera)[0]]
    movie = clip.rindex(b"moov") - 4
    size = struct.unpack_from(">I", clip, movie)[0]
    return clip[:movie] + struct.pack(">I", size + len(camera)) + clip[movie + 4 :] + camera


def identifiers(recording, number):
    """Of a clip, of the one behind it and of the one before it; 0 where there is none."""
    own = 1 + recording * (CLIPS + 1) + number
    behind = own + 1 if number + 1 < CLIPS else 0
    before = own - 1 if number > 0 else 0
    return b"".join(value.to_bytes(IDENTIFIER, "big") for value in (own, behind, before))


def make_card(root, work, size):
    """The recordings of a card, each a list of clips."""
    card = work / "card"
    card.mkdir()
    model = work / "model.mp4"
    short = root / "examples" / "clips" / "clip1.mp4"
    subprocess.run([root / "bench" / "make_large_clip.py", root, short, str(size), model], check=True)
    clip = bytearray(with_camera_box(model.read_bytes(), short.read_bytes()))
    model.unlink()
    place = clip.rindex(b"VRFB") + 8
    media = clip.index(b"mdat") + 100
    recordings = []
    for recording in range(RECORDINGS):
        recordings.append([])
        for number in range(CLIPS):
            clip[place : place + 3 * IDENTIFIER] = identifiers(recording, number)
            clip[media : media + 64] = os.urandom(64)
            path = card / f"{recording * CLIPS + number:04}.MP4"
            path.write_bytes(clip)
            recordings[-1].append(path)
    return recordings


def fresh(folder):
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir()
    os.sync()


def ways(tool, work, recordings):
    """What is measured: in pairs, the first of which is what the second is measured against."""
    card = recordings[0][0].parent
    joined, copies, merged = work / "joined", work / "copies", work / "merged"
    join_card = [tool, "join", "--force", card, "-o", joined]

    def merges():
        fresh(merged)
        return sum(seconds_of([tool, "merge", "--force", "-o", merged / f"{i}.mp4", *clips])
                   for i, clips in enumerate(recordings))

    def join():
        fresh(joined)
        return seconds_of(join_card)

    def compare():
        return sum(seconds_of(["cmp", copies / path.name, path]) for path in joined.iterdir())

    def copy():
        shutil.copytree(joined, copies)

    first = {"merges alone": merges, "`join`": join}
    second = {"`cmp` of the results": compare, "`join` again": lambda: seconds_of(join_card)}
    return first, copy, second


def rows_of(taken):
    base = next(iter(taken.values()))
    return [(name, f"{seconds:.2f}", f"{seconds / base:.2f}") for name, seconds in taken.items()]


def joining_report(options, work, table):
    folder = work / "joining"
    folder.mkdir()
    size = options.megabytes * 10**6 // 100
    tool = options.build / "apps" / "clipchain" / "clipchain"
    recordings = make_card(options.root, folder, size)
    first, copy, second = ways(tool, folder, recordings)
    joined = middle_of(options.rounds, first)
    copy()
    again = middle_of(options.rounds, second)
    shutil.rmtree(folder)
    head = ["", "seconds", "against the first"]
    return ["", "## Joining a card", "",
            f"{RECORDINGS} recordings of {CLIPS} clips of {size / 1e6:.1f} MB in the page cache.", "",
            *table(head, rows_of(joined)), "", *table(head, rows_of(again))]
