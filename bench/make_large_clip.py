#!/usr/bin/env python3
"""Makes a clip of a wanted size out of a short one: its pictures, padded and repeated.

    make_large_clip.py SOURCE-ROOT SHORT-CLIP BYTES OUT

Each picture gets filler NAL units (ISO/IEC 14496-10, 7.3.2.7), as an encoder with a constant bit
rate writes them, so that readers still take it for what it is.
"""
import importlib.util
import struct
import sys
from importlib.machinery import SourceFileLoader
from pathlib import Path

LARGEST_PICTURE = 250_000


def load_mp4edit(root):
    loader = SourceFileLoader("mp4edit", str(root / "scripts" / "mp4edit"))
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader("mp4edit", loader))
    sys.dont_write_bytecode = True
    loader.exec_module(module)
    return module


def samples_of(track, data):
    """The bytes of each sample of a track."""
    table = {box.kind: box.payload for box in track.only(b"stbl").children}
    uniform, count = struct.unpack_from(">II", table[b"stsz"], 4)
    sizes = [uniform] * count if uniform else struct.unpack_from(f">{count}I", table[b"stsz"], 12)
    chunks = struct.unpack_from(">I", table[b"stco"], 4)[0]
    offsets = struct.unpack_from(f">{chunks}I", table[b"stco"], 8)
    runs = struct.unpack_from(">I", table[b"stsc"], 4)[0]
    entries = [struct.unpack_from(">III", table[b"stsc"], 8 + 12 * i) for i in range(runs)]
    samples = []
    for chunk, at in enumerate(offsets, 1):
        per_chunk = [entry[1] for entry in entries if entry[0] <= chunk][-1]
        for size in sizes[len(samples) : len(samples) + per_chunk]:
            samples.append(data[at : at + size])
            at += size
    return samples


def padded(sample, size):
    rest = size - len(sample) - 4
    if rest < 2:
        return sample
    return sample + struct.pack(">I", rest) + b"\x0c" + b"\xff" * (rest - 2) + b"\x80"


def full_box(*numbers):
    return struct.pack(f">{len(numbers) + 1}I", 0, *numbers)


def repeat_tables(track, samples, times, offsets):
    """Gives a track the tables of all its samples, `times` over, one chunk for each round."""
    per_round = len(samples)
    for box in track.only(b"stbl").children:
        count = struct.unpack_from(">I", box.payload, 4)[0]
        if box.kind == b"stts":
            duration = struct.unpack_from(">I", box.payload, 12)[0]
            box.payload = full_box(1, per_round * times, duration)
        elif box.kind == b"ctts":
            box.payload = full_box(count * times) + box.payload[8:] * times
        elif box.kind == b"stss":
            first = struct.unpack_from(f">{count}I", box.payload, 8)
            numbers = [n + round_ * per_round for round_ in range(times) for n in first]
            box.payload = full_box(len(numbers), *numbers)
        elif box.kind == b"stsz":
            sizes = [len(sample) for sample in samples] * times
            box.payload = full_box(0, len(sizes), *sizes)
        elif box.kind == b"stsc":
            box.payload = full_box(1, 1, per_round, 1)
        elif box.kind == b"stco":
            box.payload = full_box(len(offsets), *offsets)


def put(box, at, number):
    box.payload = box.payload[:at] + struct.pack(">I", number) + box.payload[at + 4 :]


def set_durations(moov, tracks):
    """The headers and edit lists of a movie say how long its samples are."""
    header = moov.only(b"mvhd")
    movie_scale = struct.unpack_from(">I", header.payload, 12)[0]
    longest = 0
    for track in tracks:
        media_header = track.only(b"mdhd")
        scale = struct.unpack_from(">I", media_header.payload, 12)[0]
        count, delta = struct.unpack_from(">II", track.only(b"stts").payload, 8)
        put(media_header, 16, count * delta)
        shown = count * delta
        edits = list(track.all(b"elst"))
        # With composition offsets the list begins with the first picture, else behind priming.
        if not list(track.all(b"ctts")):
            shown -= sum(struct.unpack_from(">I", edit.payload, 12)[0] for edit in edits)
        shown = shown * movie_scale // scale
        for edit in edits:
            put(edit, 8, shown)
        put(track.only(b"tkhd"), 20, shown)
        longest = max(longest, shown)
    put(header, 16, longest)


def is_wanted(box):
    """Not what would be the same in all clips that are made: the camera's box and the timecode."""
    if box.kind == b"trak":
        return box.only(b"stsd").payload[12:16] != b"tmcd"
    return box.kind != b"uuid"


def main(root, short, wanted, target):
    mp4edit = load_mp4edit(root)
    data = short.read_bytes()
    movie = mp4edit.Movie(data)
    movie.moov.children = [box for box in movie.moov.children if is_wanted(box)]
    tracks = list(movie.moov.all(b"trak"))
    media = [samples_of(track, data) for track in tracks]
    picture = min(LARGEST_PICTURE, wanted // len(media[0]))
    # As of an encoder the sizes differ: a table of equal ones would collapse into one number.
    media[0] = [padded(sample, picture - i % 2) for i, sample in enumerate(media[0])]
    one_round = b"".join(b"".join(samples) for samples in media)
    times = max(1, wanted // len(one_round))
    ftyp = movie.top(b"ftyp").write()
    start = len(ftyp) + 8
    for track, samples in zip(tracks, media):
        offsets = [start + round_ * len(one_round) for round_ in range(times)]
        repeat_tables(track, samples, times, offsets)
        start += sum(len(sample) for sample in samples)
    set_durations(movie.moov, tracks)
    with open(target, "wb") as file:
        file.write(ftyp + struct.pack(">I4s", 8 + len(one_round) * times, b"mdat"))
        for _ in range(times):
            file.write(one_round)
        file.write(movie.moov.write())


if __name__ == "__main__":
    main(Path(sys.argv[1]), Path(sys.argv[2]), int(sys.argv[3]), Path(sys.argv[4]))
