#!/usr/bin/env python3
"""Merges protected clips (ISO/IEC 23001-7) and decrypts what comes out.

    merge_protected.py CLIPCHAIN

ffmpeg makes two clips; each is put into fragments too, with what its samples need in "senc", in the
media or in "senc" alone. Merged in any of these forms, every packet must be decrypted to what it is
in the decrypted clips, and what is told of each sample must be what the clips tell. Skips (77)
without ffmpeg.
"""
import shutil
import struct
import subprocess
import sys
import tempfile
from pathlib import Path

SKIPPED = 77
KEY = "00112233445566778899aabbccddeeff"
FORMS = ("plain", "fragments", "in media", "senc alone", "rotating systems", "clear lead")
CONTAINERS = (b"moov", b"trak", b"mdia", b"minf", b"stbl", b"moof", b"traf")
USERS_TYPE = bytes.fromhex("a2394f525a9b4f14a2446c427c648df4")
SYSTEM = bytes(16) + struct.pack(">I", 4)


def make(path, begin, kid):
    """One second, protected."""
    subprocess.run(
        ["ffmpeg", "-v", "error", "-nostdin", "-y", "-f", "lavfi", "-i", "testsrc2=s=96x64:r=25", "-f", "lavfi",
         "-i", "sine=f=440:r=48000", "-ss", str(begin), "-t", "1", "-c:v", "libx264", "-bf", "2", "-g", "10",
         "-pix_fmt", "yuv420p", "-threads", "1", "-c:a", "aac", "-encryption_scheme", "cenc-aes-ctr",
         "-encryption_key", KEY, "-encryption_kid", kid, str(path)], check=True)


def box(kind, *parts):
    body = b"".join(parts)
    return struct.pack(">I4s", len(body) + 8, kind) + body


def u32(*numbers):
    return struct.pack(f">{len(numbers)}I", *numbers)


def children(data, begin, end):
    """(type, begin, body, end) of each box."""
    while begin + 8 <= end:
        size, kind = struct.unpack_from(">I4s", data, begin)
        body = begin + 8
        if size == 1:
            size, body = struct.unpack_from(">Q", data, begin + 8)[0], begin + 16
        yield kind, begin, body, begin + size
        begin += size


def find(data, begin, end, *path):
    """The bodies' places of all boxes down a path of types."""
    for kind, _, body, stop in children(data, begin, end):
        if kind == path[0]:
            yield from [(body, stop)] if len(path) == 1 else find(data, body, stop, *path[1:])


def table(data, place, kind):
    for body, stop in find(data, *place, kind):
        return data[body:stop]
    return b""


def runs(body, form):
    return [value for count, value in struct.iter_unpack(form, body[8:]) for _ in range(count)] if body else []


class Track:
    """The samples of a track: (position, size, duration, offset, sync, what is told of it)."""

    def __init__(self, data, trak):
        self.trak = trak
        (stbl,) = find(data, *trak, b"mdia", b"minf", b"stbl")
        sizes = table(data, stbl, b"stsz")
        uniform, count = struct.unpack_from(">II", sizes, 4)
        sizes = [uniform] * count if uniform else list(struct.unpack_from(f">{count}I", sizes, 12))
        durations = runs(table(data, stbl, b"stts"), ">II")
        offsets = runs(table(data, stbl, b"ctts"), ">Ii") or [0] * count
        syncs = table(data, stbl, b"stss")
        syncs = {n for (n,) in struct.iter_unpack(">I", syncs[8:])} if syncs else set(range(1, count + 1))
        chunks = [n for (n,) in struct.iter_unpack(">I", table(data, stbl, b"stco")[8:])]
        spread = list(struct.iter_unpack(">III", table(data, stbl, b"stsc")[8:]))
        positions = []
        for i, at in enumerate(chunks, 1):
            for _ in range([run for run in spread if run[0] <= i][-1][1]):
                positions.append(at)
                at += sizes[len(positions) - 1]
        told = self.told(data, stbl, count)
        self.samples = list(zip(positions, sizes, durations, offsets, [i + 1 in syncs for i in range(count)], told))

    @staticmethod
    def told(data, stbl, count):
        saiz, saio = table(data, stbl, b"saiz"), table(data, stbl, b"saio")
        usual, number = struct.unpack_from(">BI", saiz, 4)
        assert number == count and struct.unpack_from(">I", saio, 4)[0] == 1
        sizes = [usual] * count if usual else list(saiz[9:9 + count])
        (at,) = struct.unpack_from(">Q" if saio[0] else ">I", saio, 8)
        told = []
        for size in sizes:
            told.append(data[at:at + size])
            at += size
        return told


def tracks(path):
    data = path.read_bytes()
    return data, [Track(data, trak) for trak in find(data, 0, len(data), b"moov", b"trak")]


def with_clear_entry(stsd):
    """A description more, of samples that are not protected: the same without its "sinf"."""
    entry = stsd[8:]
    fields = {b"encv": 86, b"enca": 36}[entry[4:8]]
    kept = b"".join(entry[at:stop] for kind, at, _, stop in children(entry, fields, len(entry)) if kind != b"sinf")
    kind = {b"encv": b"avc1", b"enca": b"mp4a"}[entry[4:8]]
    return box(b"stsd", u32(0, 2), entry, box(kind, entry[8:fields], kept))


def emptied(data, begin, end, form):
    """The boxes of a movie whose samples stand elsewhere."""
    written = b""
    for kind, start, body, stop in children(data, begin, end):
        if kind in (b"saiz", b"saio", b"senc", b"edts", b"stss", b"ctts", b"sbgp", b"sgpd"):
            continue
        if kind in (b"stts", b"stsc", b"stco"):
            written += box(kind, u32(0, 0))
        elif kind == b"stsz":
            written += box(kind, u32(0, 0, 0))
        elif kind == b"stsd" and form == "clear lead":
            written += with_clear_entry(data[body:stop])
        elif kind in CONTAINERS:
            written += box(kind, emptied(data, body, stop, form))
        else:
            written += data[start:stop]
    return written


def track_fragment(form, number, samples, time, places):
    entries = b"".join(struct.pack(">IIIi", duration, size, 0 if sync else 0x10000, offset)
                       for _, size, duration, offset, sync, _ in samples)
    told = [sample[5] for sample in samples]
    is_clear = form == "clear lead" and time == 0
    boxes = box(b"tfhd", u32(0x020002, number, 2) if is_clear else u32(0x020000, number)) + box(b"tfdt", u32(0, time))
    boxes += box(b"trun", u32(0x01000F01, len(samples), places[0]), entries)
    if is_clear:
        return box(b"traf", boxes), 0
    if form == "senc alone":
        parts = 2 if any(len(entry) > 8 for entry in told) else 0
        return box(b"traf", boxes, box(b"senc", u32(parts, len(told)), *told)), 0
    boxes += box(b"saiz", u32(0), b"\0", u32(len(told)), bytes(len(entry) for entry in told))
    if form == "in media":
        return box(b"traf", boxes, box(b"saio", u32(0, 1, places[1]))), 0
    parts = 2 if any(len(entry) > 8 for entry in told) else 0
    senc = box(b"senc", u32(parts, len(told)), *told)
    boxes += box(b"saio", u32(0, 1, places[1]))
    return box(b"traf", boxes, senc), len(boxes) + 8 + 16


def fragment(data, form, sequence, parts, times):
    """One "moof" and its "mdat": twice, as places depend on sizes."""
    places = {number: (0, 0) for number in parts}
    for _ in range(2):
        moof = box(b"mfhd", u32(0, sequence))
        if form == "rotating systems":
            moof += box(b"pssh", u32(0), SYSTEM, u32(sequence))
        starts = {}
        for number, samples in parts.items():
            traf, told = track_fragment(form, number, samples, times[number], places[number])
            starts[number] = 8 + len(moof) + told
            moof += traf
        at = len(moof) + 16
        media = b""
        for number, samples in parts.items():
            bytes_of = b"".join(data[s[0]:s[0] + s[1]] for s in samples)
            told = b"".join(s[5] for s in samples) if form == "in media" else b""
            places[number] = (at + len(media), at + len(media) + len(bytes_of) if told else starts[number])
            media += bytes_of + told
    return box(b"moof", moof) + box(b"mdat", media)


def put_into_fragments(source, target, form):
    data, all_tracks = tracks(source)
    ((body, stop),) = find(data, 0, len(data), b"moov")
    extends = b"".join(box(b"trex", u32(0, i, 1, 0, 0, 0)) for i in range(1, len(all_tracks) + 1))
    written = box(b"ftyp", b"iso6", u32(0), b"iso6") + box(b"moov", emptied(data, body, stop, form), box(b"mvex", extends))
    times = {i: 0 for i in range(1, len(all_tracks) + 1)}
    for part in range(3):
        parts = {}
        for i, track in enumerate(all_tracks, 1):
            count = len(track.samples)
            parts[i] = track.samples[part * count // 3:(part + 1) * count // 3]
        written += fragment(data, form, part + 1, parts, times)
        for i, samples in parts.items():
            times[i] += sum(sample[2] for sample in samples)
    target.write_bytes(written)


def packets(path):
    """The decrypted packets of each track, in order."""
    out = subprocess.run(["ffmpeg", "-v", "error", "-nostdin", "-decryption_key", KEY, "-i", str(path), "-map", "0",
                          "-c", "copy", "-f", "framemd5", "-"], check=True, capture_output=True, text=True).stdout
    found = {}
    for line in out.splitlines():
        if not line.startswith("#"):
            fields = [field.strip() for field in line.split(",")]
            found.setdefault(fields[0], []).append(fields[5])
    return found


class Judge:
    def __init__(self, tool, folder):
        self.tool, self.folder, self.faults = tool, folder, 0

    def expect(self, holds, what):
        if not holds:
            self.faults += 1
            print("fault:", what)

    def run(self, *arguments):
        return subprocess.run([self.tool, *map(str, arguments)], capture_output=True, text=True, check=False)

    def merge(self, clips, *options):
        target = self.folder / "merged.mp4"
        target.unlink(missing_ok=True)
        done = self.run("merge", *options, "-o", target, *clips)
        return target, done

    def merges(self, clips, wanted, told, systems, *options):
        what = " + ".join(clip.stem for clip in clips) + " " + " ".join(options)
        target, done = self.merge(clips, *options)
        self.expect(done.returncode == 0, f"{what}: {done.stderr}")
        if done.returncode != 0:
            return target
        # ffmpeg takes all samples of tables for protected as soon as one is.
        if wanted is not None:
            self.expect(packets(target) == wanted, f"{what}: other packets")
        data, found = tracks(target)
        self.expect([[s[5] for s in track.samples] for track in found] == told, f"{what}: told otherwise")
        self.expect(len(list(find(data, 0, len(data), b"moov", b"pssh"))) == systems, f"{what}: systems")
        return target


def check_guards(judge, first, second, target):
    """What is wrong is found, and the clips come back."""
    card, results = judge.folder / "card", judge.folder / "results"
    for place in (card, results):
        shutil.rmtree(place, ignore_errors=True)
        place.mkdir()
    for clip in (first, second):
        shutil.copy(clip, card)
    target, done = judge.merge([first, second], "--originals")
    judge.expect(done.returncode == 0, f"with originals: {done.stderr}")
    back = judge.folder / "back"
    done = judge.run("split", "-o", back, target)
    judge.expect(done.returncode == 0, f"split: {done.stderr} {done.stdout}")
    for clip in (first, second):
        same = (back / clip.name).exists() and (back / clip.name).read_bytes() == clip.read_bytes()
        judge.expect(same, f"{clip.name} came back otherwise")
    shutil.rmtree(back)
    for left in judge.folder.glob("merged*"):
        left.rename(results / left.name)
    target = results / target.name
    whole = ("verify", "--whole", "--against", results, card)
    judge.expect(judge.run(*whole).returncode == 0, "verify with an archive")
    check_damage(judge, target, whole, f"{first.stem} with an archive")
    for left in results.iterdir():
        if left != target:
            left.unlink()
    clips = ("verify", "--clips-only", "--against", results, card)
    done = judge.run(*clips)
    judge.expect(done.returncode == 0, f"{first.stem}: verify without an archive: {done.stdout}")
    check_damage(judge, target, clips, f"{first.stem} without an archive")


def rewritten(data, begin, end, replace):
    """Boxes, each `replace(type, body)` of which that gives bytes stands for it."""
    written = b""
    for kind, start, body, stop in children(data, begin, end):
        other = replace(kind, data[body:stop])
        if other is not None:
            written += other
        elif kind in CONTAINERS:
            written += box(kind, rewritten(data, body, stop, replace))
        else:
            written += data[start:stop]
    return written


def check_refusals(judge, first, second):
    """What would stay of the first clip alone, or says two things, merges into nothing."""
    changes = {
        "a box of a user's type": lambda kind, body: box(b"uuid", USERS_TYPE, body) if kind == b"senc" else None,
        "another number of samples": lambda kind, body:
            box(kind, body[:4], u32(1), body[8:]) if kind == b"senc" else None}
    for what, change in changes.items():
        clips = []
        for clip in (first, second):
            data = clip.read_bytes()
            clips.append(judge.folder / f"changed-{clip.name}")
            clips[-1].write_bytes(rewritten(data, 0, len(data), change))
        done = judge.run("check", *clips)
        judge.expect(done.returncode == 1, f"{what}: fits: {done.stdout}")
        target, done = judge.merge(clips)
        judge.expect(done.returncode == 1 and not target.exists(), f"{what}: merged")


def check_damage(judge, target, question, what):
    data = target.read_bytes()
    for body, stop in find(data, 0, len(data), b"moov", b"trak", b"senc"):
        for at in (body + 8, stop - 1):
            damaged = bytearray(data)
            damaged[at] ^= 1
            target.write_bytes(damaged)
            judge.expect(judge.run(*question).returncode != 0, f"{what}: byte {at} is another, and nobody says so")
    target.write_bytes(data)


def main():
    if shutil.which("ffmpeg") is None:
        print("skipped: no ffmpeg")
        return SKIPPED
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        judge = Judge(sys.argv[1], folder)
        plain = [folder / "first-plain.mp4", folder / "second-plain.mp4"]
        for i, path in enumerate(plain):
            make(path, i, "00000000000000000000000000000001")
        wanted = {}
        for path in plain:
            for stream, found in packets(path).items():
                wanted.setdefault(stream, []).extend(found)
        by_clip = [[[s[5] for s in track.samples] for track in tracks(path)[1]] for path in plain]
        told = [sum(parts, []) for parts in zip(*by_clip)]
        clips = {form: [] for form in FORMS}
        for path, which in zip(plain, ("first", "second")):
            for form in FORMS:
                clips[form].append(folder / f"{which}-{form}.mp4")
                if form != "plain":
                    put_into_fragments(path, clips[form][-1], form)
        lead = [sum(([b""] * (len(part) // 3) + part[len(part) // 3:] for part in parts), []) for parts in zip(*by_clip)]
        judge.merges(clips.pop("clear lead"), None, lead, 0)
        for form in clips:
            systems = 3 if form == "rotating systems" else 0
            judge.merges(clips[form], wanted, told, systems)
            judge.merges([clips[form][0], plain[1]], wanted, told, systems)
            judge.merges([plain[0], clips[form][1]], wanted, told, systems, "--faststart")
        target = judge.merges(plain, wanted, told, 0, "--reflink=auto")
        check_guards(judge, *plain, target)
        check_guards(judge, *clips["fragments"], target)
        check_refusals(judge, *plain)
        other = folder / "other.mp4"
        make(other, 1, "00000000000000000000000000000002")
        target, done = judge.merge([plain[0], other])
        judge.expect(done.returncode != 0 and not target.exists(), "clips of two keys were merged")
        print("faults:", judge.faults)
        return 1 if judge.faults else 0


if __name__ == "__main__":
    sys.exit(main())
