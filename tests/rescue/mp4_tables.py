"""Reads the sample tables of MP4 files, and nothing but them: what a rescue is measured against."""
import struct
from dataclasses import dataclass, field


def boxes(data, start, end):
    """Each box in a range: type, position, begin and end of its body."""
    while start + 8 <= end:
        size, kind = struct.unpack_from(">I4s", data, start)
        head = 8
        if size == 1:
            if start + 16 > end:
                return
            size = struct.unpack_from(">Q", data, start + 8)[0]
            head = 16
        elif size == 0:
            size = end - start
        if size < head or start + size > end:
            return
        yield kind, start, start + head, start + size
        start += size


def find(data, start, end, *path):
    """The bodies of the boxes at a path of types."""
    for kind, _, begin, stop in boxes(data, start, end):
        if kind == path[0]:
            if len(path) == 1:
                yield begin, stop
            else:
                yield from find(data, begin, stop, *path[1:])


@dataclass
class Track:
    handler: str = ""
    format: str = ""
    scale: int = 0
    sizes: list = field(default_factory=list)
    offsets: list = field(default_factory=list)
    durations: list = field(default_factory=list)
    shown: list = None  # composition offsets
    sync: list = None


def number(data, at, size=4):
    return int.from_bytes(data[at : at + size], "big")


def runs(data, box, form):
    return struct.iter_unpack(form, data[box[0] + 8 : box[0] + 8 + number(data, box[0] + 4) * struct.calcsize(form)])


def sample_sizes(data, box):
    uniform, count = number(data, box[0] + 4), number(data, box[0] + 8)
    if uniform:
        return [uniform] * count
    return list(struct.unpack_from(f">{count}I", data, box[0] + 12))


def sample_offsets(data, table, sizes):
    def one(kind):
        return next(find(data, *table, kind), None)

    chunks = one(b"stco")
    form = ">I"
    if chunks is None:
        chunks, form = one(b"co64"), ">Q"
    places = [place for place, in runs(data, chunks, form)]
    groups = list(runs(data, one(b"stsc"), ">III"))
    offsets, group = [], 0
    for index, place in enumerate(places):
        while group + 1 < len(groups) and groups[group + 1][0] <= index + 1:
            group += 1
        for _ in range(groups[group][1]):
            if len(offsets) == len(sizes):
                break
            offsets.append(place)
            place += sizes[len(offsets) - 1]
    return offsets


def read_track(data, begin, end):
    track = Track()
    media = next(find(data, begin, end, b"mdia"))
    handler = next(find(data, *media, b"hdlr"))
    track.handler = data[handler[0] + 8 : handler[0] + 12].decode("latin1")
    header = next(find(data, *media, b"mdhd"))
    track.scale = number(data, header[0] + (20 if data[header[0]] else 12))
    table = next(find(data, *media, b"minf", b"stbl"))
    entry = next(find(data, *table, b"stsd"))
    track.format = data[entry[0] + 12 : entry[0] + 16].decode("latin1")
    track.sizes = sample_sizes(data, next(find(data, *table, b"stsz")))
    if track.sizes:
        track.offsets = sample_offsets(data, table, track.sizes)
    for count, delta in runs(data, next(find(data, *table, b"stts")), ">II"):
        track.durations += [delta] * count
    shown = next(find(data, *table, b"ctts"), None)
    if shown:
        track.shown = [o for count, offset in runs(data, shown, ">Ii") for o in [offset] * count]
    sync = next(find(data, *table, b"stss"), None)
    if sync:
        track.sync = [sample for sample, in runs(data, sync, ">I")]
    return track


def read_tracks(data):
    return [read_track(data, *box) for box in find(data, 0, len(data), b"moov", b"trak")]


def top_level(data):
    return [(kind.decode("latin1"), at, begin, end) for kind, at, begin, end in boxes(data, 0, len(data))]
