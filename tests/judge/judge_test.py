#!/usr/bin/env python3
"""Tests of the judge: it finds nothing in good results, and everything that is changed in one.

    judge_test.py FOLDER
"""
import os
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

from clips import make  # noqa: E402
from compare import compare  # noqa: E402
from mp4 import File, Movie, p32, table_of, u32  # noqa: E402
from small_merger import merge  # noqa: E402


def changed(data, edit):
    file = File(data)
    edit(file)
    return file.bytes()


def table(handler, kind, change):
    def edit(file):
        box = table_of(file.track(handler)).get(kind)
        box.data = change(box.data)
    return edit


def added(at, by):
    return lambda data: data[:at] + p32(u32(data, at) + by) + data[at + 4:]


def flipped(data, at):
    return data[:at] + bytes([data[at] ^ 4]) + data[at + 1:]


def edit_list(file):
    box = file.track(b"vide").get(b"edts", b"elst")
    box.data = added(12, 2048)(box.data)


def mutations(good, clips):
    samples = Movie(good).tracks[0].samples
    yield "a byte of a sample", flipped(good, samples[7].at + 3)
    yield "the last byte of the last sample", flipped(good, samples[-1].at + samples[-1].size - 1)
    for name, edit in {
            "a size": table(b"vide", b"stsz", added(12 + 4 * 5, 1)),
            "a step": table(b"vide", b"stts", added(12, 1)),
            "an offset": table(b"vide", b"ctts", added(12, 512)),
            "a sync sample": table(b"vide", b"stss", added(12, 1)),
            "a chunk": table(b"soun", b"co64", added(12 + 8 * 3, 1)),
            "a description": table(b"vide", b"stsd", lambda d: flipped(d, 100)),
            "a bit rate": table(b"soun", b"stsd", lambda d: d.replace(d[-12:], p32(*[9] * 3))),
            "a description's index": table(b"vide", b"stsc", added(8 + 8, 1)),
            "an edit list": edit_list,
            "the movie's other boxes": lambda f: f.movie.drop(b"udta"),
            "a track": lambda f: f.movie.children.remove(f.track(b"soun")),
            "a handler": lambda f: setattr(f.track(b"soun").get(b"mdia", b"hdlr"), "data", b"\0" * 8 + b"text" + bytes(13)),
    }.items():
        try:
            yield name, changed(good, edit)
        except IndexError as error:
            yield name, error
    yield "the order of the clips", merge(list(reversed(clips)))
    yield "a clip twice", merge([clips[0], clips[0]])
    yield "a clip less", merge(clips[:1])


def found(data, clips):
    try:
        return compare(data, clips)
    except (IndexError, ValueError, StopIteration) as error:
        return ["can't be read: %r" % error]


def main():
    faults = []
    for family in ("h264_reordered", "h264_aac_mov", "fragments_reordered"):
        clips = [open(make(sys.argv[1], family, number), "rb").read() for number in (0, 1)]
        good = merge(clips)
        if compare(good, clips):
            faults.append("%s: a good result: %s" % (family, compare(good, clips)))
        if family != "h264_reordered":
            continue
        for name, data in mutations(good, clips):
            if isinstance(data, bytes) and not found(data, clips):
                faults.append("%s: nothing is found where %s was changed" % (family, name))
    print("\n".join(faults) or "the judge judges")
    return 1 if faults else 0


if __name__ == "__main__":
    os.makedirs(sys.argv[1], exist_ok=True)
    sys.exit(main())
