"""Writes MP4 files that say what a camera's clip says, with media of zeros that takes no disk.

Written for the judge of cards alone: nothing of the project under test is used.
"""
import os
import struct
from dataclasses import dataclass, field


def box(kind, *parts):
    body = b"".join(parts)
    return struct.pack(">I4s", 8 + len(body), kind) + body


def full(kind, version, flags, *parts):
    return box(kind, struct.pack(">I", version << 24 | flags), *parts)


def u32(*values):
    return struct.pack(">%dI" % len(values), *values)


@dataclass
class Timecode:
    first: int
    nominal: int          # frames of the count in a second
    drop: bool = False
    per_frame: bool = False  # a sample for each picture, as numbers of frames
    fields: bool = False     # these as hours, minutes, seconds and frames, a byte each


@dataclass
class Clip:
    path: str = ""
    size: int = 0         # of the file, about; no less than what the boxes take
    frames: int = 1
    scale: int = 30000
    delta: int = 1000     # of a frame, in 1/scale s
    created: int = 0      # seconds since 1904
    width: int = 1920
    codec: bytes = b"\x01\x64\x00\x33\xff\xe1\x00\x04\x67\x64\x00\x33\x01\x00\x04\x68\xee\x3c\x80"
    rate: int = 0         # declared, in bits a second; 0: none
    sound: bool = False
    timecode: Timecode = None
    user_data: list = field(default_factory=list)   # boxes inside of "udta"
    extensions: list = field(default_factory=list)  # boxes of the movie box
    long_times: bool = False
    movie_first: bool = False
    written: float = 0    # the system's time of the file

    def seconds(self):
        return self.frames * self.delta / self.scale


def times(clip, duration, scale):
    if clip.long_times:
        return struct.pack(">QQIQ", clip.created, clip.created, scale, duration)
    return u32(clip.created, clip.created, scale, duration)


MATRIX = u32(0x10000, 0, 0, 0, 0x10000, 0, 0, 0, 0x40000000)


def track(clip, number, kind, scale, duration, media_header, entry, tables):
    seconds = duration * 1000 // scale
    if clip.long_times:
        header = struct.pack(">QQIIQ", clip.created, clip.created, number, 0, seconds)
    else:
        header = u32(clip.created, clip.created, number, 0, seconds)
    version = int(clip.long_times)
    size = (clip.width, clip.width * 9 // 16) if kind == b"vide" else (0, 0)
    return box(
        b"trak",
        full(b"tkhd", version, 7, header, bytes(16), MATRIX, u32(size[0] << 16, size[1] << 16)),
        box(b"mdia",
            full(b"mdhd", version, 0, times(clip, duration, scale), u32(0x55C40000)),
            full(b"hdlr", 0, 0, u32(0), kind, bytes(12), b"\0"),
            box(b"minf", media_header,
                box(b"dinf", full(b"dref", 0, 0, u32(1), full(b"url ", 0, 1))),
                box(b"stbl", full(b"stsd", 0, 0, u32(1), entry), *tables))))


def tables(count, delta, size, offset):
    """All samples of one size, in one chunk."""
    where = (full(b"co64", 0, 0, u32(1), struct.pack(">Q", offset)) if offset >> 32
             else full(b"stco", 0, 0, u32(1, offset)))
    return [full(b"stts", 0, 0, u32(1, count, delta)),
            full(b"stsc", 0, 0, u32(1, 1, count, 1)),
            full(b"stsz", 0, 0, u32(size, count)), where]


def movie(clip, media, size):
    """The movie box for media that begin at that place: timecodes, sound, pictures."""
    duration = clip.frames * clip.delta
    seconds = duration * 1000 // clip.scale
    at = media
    codes = code_bytes(clip)
    sound_frames = int(clip.seconds() * 48000 / 1024)
    sound_size = 4 if clip.sound else 0
    sound_at = media + len(codes)
    picture_at = sound_at + sound_size * sound_frames
    picture_size = max(1, (size - (picture_at - media)) // clip.frames)
    rates = box(b"btrt", u32(0, clip.rate * 2, clip.rate)) if clip.rate else b""
    picture = box(b"avc1", bytes(6), struct.pack(">H", 1), bytes(16),
                  struct.pack(">HH", clip.width, clip.width * 9 // 16), u32(0x480000, 0x480000, 0),
                  struct.pack(">H", 1), bytes(32), struct.pack(">Hh", 24, -1),
                  box(b"avcC", clip.codec), rates)
    tracks = [track(clip, 1, b"vide", clip.scale, duration, full(b"vmhd", 0, 1, bytes(8)), picture,
                    tables(clip.frames, clip.delta, picture_size, picture_at))]
    if clip.sound:
        config = b"\x03\x19\x00\x01\x00\x04\x11\x40\x15\x00\x00\x00" + u32(clip.rate, clip.rate)
        config += b"\x05\x02\x11\x90\x06\x01\x02"
        sound = box(b"mp4a", bytes(6), struct.pack(">H", 1), bytes(8),
                    struct.pack(">HHHHI", 2, 16, 0, 0, 48000 << 16), full(b"esds", 0, 0, config))
        tracks.append(track(clip, 2, b"soun", 48000, sound_frames * 1024,
                            full(b"smhd", 0, 0, bytes(4)), sound,
                            tables(sound_frames, 1024, sound_size, sound_at)))
    if clip.timecode:
        code = clip.timecode
        entry = box(b"tmcd", bytes(6), struct.pack(">H", 1), u32(0, int(code.drop)),
                    u32(code.nominal * 1000 if not code.drop else code.nominal * 1000,
                        1001 if code.drop or clip.delta % 1001 == 0 else 1000),
                    bytes([code.nominal, 0]))
        count = len(codes) // 4
        shown = clip.delta if code.per_frame else duration
        tracks.append(track(clip, 3, b"tmcd", clip.scale, duration,
                            box(b"gmhd", full(b"gmin", 0, 0, bytes(12))), entry,
                            tables(count, shown, 4, at)))
    header = full(b"mvhd", int(clip.long_times), 0, times(clip, seconds, 1000),
                  u32(0x10000), struct.pack(">H", 0x100), bytes(10), MATRIX, bytes(24), u32(4))
    more = [box(b"udta", *clip.user_data)] if clip.user_data else []
    return box(b"moov", header, *tracks, *more, *clip.extensions)


def code_bytes(clip):
    code = clip.timecode
    if code is None:
        return b""
    day = code.nominal * 86400 - (code.nominal // 30 * 2 * 1296 if code.drop else 0)
    count = clip.frames if code.per_frame else 1
    numbers = [(code.first + i) % day for i in range(count)]
    if not code.per_frame or not code.fields:
        return b"".join(u32(number) for number in numbers)
    seconds = [(number // code.nominal, number % code.nominal) for number in numbers]
    return b"".join(bytes([s // 3600, s // 60 % 60, s % 60, f]) for s, f in seconds)


def write(clip):
    os.makedirs(os.path.dirname(clip.path), exist_ok=True)
    kind = box(b"ftyp", b"mp42", u32(0), b"mp42isom")
    media_header = 16
    estimate = len(movie(clip, 1 << 33, 0)) + 8
    least = len(code_bytes(clip)) + clip.frames + (int(clip.seconds() * 50) * 4 if clip.sound else 0)
    media = max(clip.size - len(kind) - media_header - estimate, least)
    media_box = struct.pack(">I4sQ", 1, b"mdat", media_header + media)
    begin = len(kind) + media_header + (estimate if clip.movie_first else 0)
    boxes = movie(clip, begin, media)
    # Offsets of 32 bits take less room.
    filler = box(b"free", bytes(estimate - len(boxes) - 8))
    with open(clip.path, "wb") as file:
        file.write(kind)
        if clip.movie_first:
            file.write(boxes + filler)
        file.write(media_box)
        file.write(code_bytes(clip))
        file.seek(begin + media)
        file.truncate()
        if clip.movie_first:
            file.truncate(begin + media)
        else:
            file.write(boxes + filler)
    if clip.written:
        os.utime(clip.path, (clip.written, clip.written))
