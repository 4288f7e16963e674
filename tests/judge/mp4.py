"""MP4 files as Python objects: a tree of boxes that can be edited, and the samples of each track.

Written for the judge alone: nothing of the project under test is used.
"""
import struct

CONTAINERS = {b"moov", b"trak", b"mdia", b"minf", b"stbl", b"edts", b"mvex", b"moof", b"traf"}
FOREVER = 1 << 60


def u16(data, at=0):
    return struct.unpack_from(">H", data, at)[0]


def u32(data, at=0):
    return struct.unpack_from(">I", data, at)[0]


def s32(data, at=0):
    return struct.unpack_from(">i", data, at)[0]


def u64(data, at=0):
    return struct.unpack_from(">Q", data, at)[0]


def p32(*values):
    return struct.pack(">%dI" % len(values), *(v & 0xFFFFFFFF for v in values))


class Box:
    def __init__(self, kind, data=b"", children=None, large=False, origin=None):
        self.kind, self.data, self.children, self.large = kind, data, children, large
        self.origin = origin  # where the body began in the file that it was read from
        self.to_end = False   # written with a size of 0

    def body(self):
        return self.data if self.children is None else b"".join(c.bytes() for c in self.children)

    def bytes(self):
        body = self.body()
        if self.large:
            return struct.pack(">I4sQ", 1, self.kind, 16 + len(body)) + body
        return struct.pack(">I4s", 0 if self.to_end else 8 + len(body), self.kind) + body

    def all(self, kind):
        return [c for c in self.children or [] if c.kind == kind]

    def get(self, *path):
        box = self
        for kind in path:
            box = next((c for c in box.children or [] if c.kind == kind), None)
            if box is None:
                return None
        return box

    def put(self, box):
        """Replaces the first child of that type, or appends."""
        for i, child in enumerate(self.children):
            if child.kind == box.kind:
                self.children[i] = box
                return
        self.children.append(box)

    def drop(self, kind):
        self.children = [c for c in self.children if c.kind != kind]


def parse(data, start=0, end=None, base=0):
    boxes, at = [], start
    end = len(data) if end is None else end
    while at + 8 <= end:
        size, kind = struct.unpack_from(">I4s", data, at)
        header = 8
        if size == 1:
            size, header = u64(data, at + 8), 16
        elif size == 0:
            size = end - at
        if size < header:
            raise ValueError("box of size %d" % size)
        stop = min(at + size, end)
        large = header == 16
        if kind in CONTAINERS:
            box = Box(kind, children=parse(data, at + header, stop, base), large=large)
        else:
            box = Box(kind, data[at + header:stop], large=large)
        box.origin = base + at + header
        box.cut = at + size > end
        boxes.append(box)
        at += size
    return boxes


class File:
    """A whole file. `bytes()` lays it out anew and moves chunk offsets and base offsets along."""

    def __init__(self, data):
        self.boxes = parse(data)

    @classmethod
    def load(cls, path):
        with open(path, "rb") as file:
            return cls(file.read())

    def top(self, kind):
        return next((b for b in self.boxes if b.kind == kind), None)

    @property
    def movie(self):
        return self.top(b"moov")

    @property
    def tracks(self):
        return self.movie.all(b"trak")

    def track(self, handler):
        return next(t for t in self.tracks if handler_of(t) == handler)

    def bytes(self):
        places, at = [], 0
        for box in self.boxes:
            size = len(box.bytes())
            if box.origin is not None and box.kind in (b"mdat", b"moof"):
                places.append((box.origin, box.origin + len(box.body()), at + (16 if box.large else 8)))
            at += size
        def moved(offset):
            for begin, end, now in places:
                if begin <= offset <= end and (offset < end or begin == end):
                    return offset - begin + now
            return offset
        for box in self.boxes:
            if box.kind == b"moov":
                for track in box.all(b"trak"):
                    table = track.get(b"mdia", b"minf", b"stbl")
                    for kind, form, width in ((b"stco", ">I", 4), (b"co64", ">Q", 8)):
                        offsets = table.get(kind)
                        if offsets is None:
                            continue
                        values = [struct.unpack_from(form, offsets.data, 8 + i * width)[0] for i in range(u32(offsets.data, 4))]
                        offsets.data = offsets.data[:8] + b"".join(struct.pack(form, moved(v)) for v in values)
            if box.kind == b"moof":
                for part in box.all(b"traf"):
                    header = part.get(b"tfhd")
                    if header.data[3] & 1:
                        base = u64(header.data, 8)
                        # It names the begin of the "moof" box, whose body is known.
                        now = moved(base + 8) - 8 if moved(base) == base else moved(base)
                        header.data = header.data[:8] + struct.pack(">Q", now) + header.data[16:]
        out = b"".join(b.bytes() for b in self.boxes)
        at = 0
        for box in self.boxes:  # what was written is where it is from now on
            box.origin = at + (16 if box.large else 8)
            at += len(box.bytes())
        return out


def handler_of(track):
    return track.get(b"mdia", b"hdlr").data[8:12]


def table_of(track):
    return track.get(b"mdia", b"minf", b"stbl")


def time_fields(box):
    """(scale or id, duration) of mvhd, tkhd, mdhd with where they stand: [(offset, width), ...]."""
    wide = box.data[0] == 1
    first = (20, 4) if wide else (12, 4)
    gap = 4 if box.kind == b"tkhd" else 0
    second = (24 + gap, 8) if wide else (16 + gap, 4)
    return first, second


def field(box, place):
    at, width = place
    return int.from_bytes(box.data[at:at + width], "big")


def set_field(box, place, value):
    at, width = place
    box.data = box.data[:at] + value.to_bytes(width, "big") + box.data[at + width:]


def pairs(data):
    return [(u32(data, 8 + i * 8), u32(data, 12 + i * 8)) for i in range(u32(data, 4))]


class Sample:
    __slots__ = ("size", "at", "dts", "step", "offset", "sync", "partial", "depends", "entry", "groups", "parts")


class Track:
    def __init__(self, file, box):
        self.box = box
        self.id = field(box.get(b"tkhd"), time_fields(box.get(b"tkhd"))[0])
        header = box.get(b"mdia", b"mdhd")
        self.scale = field(header, time_fields(header)[0])
        self.duration = field(header, time_fields(header)[1])
        self.handler = handler_of(box)
        self.name = box.get(b"mdia", b"hdlr").data[24:]
        self.table = table_of(box)
        stsd = self.table.get(b"stsd").data
        self.entries, at = [], 8
        for _ in range(u32(stsd, 4)):
            size = u32(stsd, at)
            self.entries.append(stsd[at:at + size])
            at += size
        self.edits = []
        elst = box.get(b"edts", b"elst")
        if elst is not None:
            for i in range(u32(elst.data, 4)):
                if elst.data[0] == 1:
                    length, start = struct.unpack_from(">Qq", elst.data, 8 + i * 20)
                    rate = u32(elst.data, 24 + i * 20)
                else:
                    length, start, rate = struct.unpack_from(">IiI", elst.data, 8 + i * 12)
                self.edits.append((length, start, rate))
        self.samples = []
        self.start = 0


def group_runs(box):
    at = 12 if box.data[0] == 1 else 8
    return [(u32(box.data, at + 4 + i * 8), u32(box.data, at + 8 + i * 8)) for i in range(u32(box.data, at))]


def group_entries(box):
    data, found = box.data, []
    if data[0] != 1:
        return [data] * u32(data, 8 if data[0] == 0 else 12)
    common, at = u32(data, 8), 16
    for _ in range(u32(data, 12)):
        size = common
        if common == 0:
            size, at = u32(data, at), at + 4
        found.append(data[at:at + size])
        at += size
    return found


def add_groups(samples, boxes, outer=None):
    own = {b.data[4:8]: group_entries(b) for b in boxes if b.kind == b"sgpd"}
    for box in boxes:
        if box.kind != b"sbgp":
            continue
        kind, at = box.data[4:8], 0
        for count, index in group_runs(box):
            entries = own if outer is None or index > 0x10000 else outer
            index = index - 0x10000 if index > 0x10000 else index
            found = entries.get(kind, [])
            if 0 < index <= len(found):
                for s in samples[at:at + count]:
                    s.groups = s.groups | {(kind, found[index - 1])}
            at += count
    return own


def add_parts(samples, boxes):
    for box in boxes:
        if box.kind != b"subs":
            continue
        at, number = 8, 0
        width = 4 if box.data[0] == 1 else 2
        for _ in range(u32(box.data, 4)):
            number += u32(box.data, at)
            count = u16(box.data, at + 4)
            at += 6
            parts = []
            for _ in range(count):
                parts.append((int.from_bytes(box.data[at:at + width], "big"), box.data[at + width:at + width + 6]))
                at += width + 6
            if 0 < number <= len(samples) and parts:
                samples[number - 1].parts = samples[number - 1].parts + ((box.data[1:4], tuple(parts)),)


def read_tables(track):
    table = track.table
    sizes = []
    stsz, stz2 = table.get(b"stsz"), table.get(b"stz2")
    if stsz is not None:
        common, count = u32(stsz.data, 4), u32(stsz.data, 8)
        sizes = [common] * count if common else [u32(stsz.data, 12 + i * 4) for i in range(count)]
    elif stz2 is not None:
        bits, count = stz2.data[7], u32(stz2.data, 8)
        if bits == 4:
            sizes = [stz2.data[12 + i // 2] >> (0 if i % 2 else 4) & 15 for i in range(count)]
        else:
            width = bits // 8
            sizes = [int.from_bytes(stz2.data[12 + i * width:12 + (i + 1) * width], "big") for i in range(count)]
    steps = [v for n, v in pairs(table.get(b"stts").data) for _ in range(n)]
    ctts = table.get(b"ctts")
    offsets = [v - (1 << 32) if v >> 31 else v for n, v in pairs(ctts.data) for _ in range(n)] if ctts else []
    stss, stps, sdtp = table.get(b"stss"), table.get(b"stps"), table.get(b"sdtp")
    syncs = {u32(stss.data, 8 + i * 4) for i in range(u32(stss.data, 4))} if stss else None
    partial = {u32(stps.data, 8 + i * 4) for i in range(u32(stps.data, 4))} if stps else set()
    stco, co64 = table.get(b"stco"), table.get(b"co64")
    if stco is not None:
        chunks = [u32(stco.data, 8 + i * 4) for i in range(u32(stco.data, 4))]
    else:
        chunks = [u64(co64.data, 8 + i * 8) for i in range(u32(co64.data, 4))]
    stsc = table.get(b"stsc").data
    runs = [struct.unpack_from(">III", stsc, 8 + i * 12) for i in range(u32(stsc, 4))]
    number, dts, run = 0, 0, 0
    # Without runs no chunk holds a sample, wherever it is.
    for chunk, at in enumerate(chunks if runs else []):
        while run + 1 < len(runs) and runs[run + 1][0] <= chunk + 1:
            run += 1
        for _ in range(runs[run][1]):
            if number == len(sizes):
                break
            s = Sample()
            s.size, s.at, s.dts, s.step = sizes[number], at, dts, steps[number]
            s.offset = offsets[number] if number < len(offsets) else 0
            s.sync = syncs is None or number + 1 in syncs
            s.partial = number + 1 in partial
            s.depends = sdtp.data[4 + number] if sdtp and len(sdtp.data) > 4 + number else 0
            s.entry = track.entries[runs[run][2] - 1]
            s.groups, s.parts = frozenset(), ()
            track.samples.append(s)
            at += s.size
            dts += s.step
            number += 1
    if number != len(sizes):
        raise ValueError("%d of %d samples have a chunk" % (number, len(sizes)))
    add_groups(track.samples, table.children)
    add_parts(track.samples, table.children)


def read_fragment(file, movie_box, moof, tracks):
    defaults = {u32(t.data, 4): [u32(t.data, 8 + i * 4) for i in range(4)] for t in (movie_box.get(b"mvex") or Box(b"mvex", children=[])).all(b"trex")}
    begin = moof.origin - (16 if moof.large else 8)
    after = begin
    for part in moof.all(b"traf"):
        header = part.get(b"tfhd").data
        flags, track = u32(header) & 0xFFFFFF, tracks[u32(header, 4)]
        entry, duration, size, sample_flags = defaults.get(track.id, [1, 0, 0, 0])
        at, base = 8, begin if flags & 0x020000 else after
        if flags & 1:
            base, at = u64(header, at), at + 8
        if flags & 2:
            entry, at = u32(header, at), at + 4
        if flags & 8:
            duration, at = u32(header, at), at + 4
        if flags & 0x10:
            size, at = u32(header, at), at + 4
        if flags & 0x20:
            sample_flags = u32(header, at)
        time = part.get(b"tfdt")
        last = track.samples[-1] if track.samples else None
        dts = last.dts + last.step if last else 0
        if time is not None:
            dts = u64(time.data, 4) if time.data[0] == 1 else u32(time.data, 4)
            if last is not None:
                last.step = dts - last.dts
        if last is None:
            track.start = dts
        place, first = base, len(track.samples)
        for run in part.all(b"trun"):
            data = run.data
            has, count, where = u32(data) & 0xFFFFFF, u32(data, 4), 8
            if has & 1:
                place, where = base + s32(data, where), where + 4
            first_flags = None
            if has & 4:
                first_flags, where = u32(data, where), where + 4
            for i in range(count):
                s = Sample()
                s.step, s.size, own, s.offset = duration, size, sample_flags, 0
                if has & 0x100:
                    s.step, where = u32(data, where), where + 4
                if has & 0x200:
                    s.size, where = u32(data, where), where + 4
                if has & 0x400:
                    own, where = u32(data, where), where + 4
                if has & 0x800:
                    s.offset, where = s32(data, where), where + 4
                if i == 0 and first_flags is not None:
                    own = first_flags
                s.at, s.dts, s.entry, s.partial, s.groups, s.parts = place, dts, track.entries[entry - 1], False, frozenset(), ()
                s.sync, s.depends = not own & 0x10000, own >> 20 & 0xFF
                track.samples.append(s)
                place += s.size
                dts += s.step
            after = place
        told = part.get(b"sdtp")
        for s, value in zip(track.samples[first:], told.data[4:] if told is not None else b""):
            s.depends = value
        outer = {b.data[4:8]: group_entries(b) for b in track.table.all(b"sgpd")}
        add_groups(track.samples[first:], part.children, outer)
        add_parts(track.samples[first:], part.children)


class Movie:
    """What a file says: its tracks with their samples."""

    def __init__(self, data):
        self.data = data
        self.file = File(data)
        box = self.file.movie
        header = box.get(b"mvhd")
        self.scale = field(header, time_fields(header)[0])
        self.duration = field(header, time_fields(header)[1])
        self.fragmented = self.file.top(b"moof") is not None
        self.tracks = [Track(self, t) for t in box.all(b"trak")]
        for track in self.tracks:
            read_tables(track)
        by_id = {t.id: t for t in self.tracks}
        for moof in self.file.boxes:
            if moof.kind == b"moof":
                read_fragment(self, box, moof, by_id)
        self.media = [(b.origin, b.origin + len(b.data)) for b in self.file.boxes if b.kind == b"mdat"]

    def bytes_of(self, sample):
        return self.data[sample.at:sample.at + sample.size]
