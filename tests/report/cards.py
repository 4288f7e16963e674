"""Memory cards for tests: folders of small clips with a camera's identifiers, dates and thumbnails."""
import struct
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
USERTYPE = bytes.fromhex("85c0b687820f11e08111f4ce462b6a48")
SCALE = 1000


def box(kind, *parts):
    body = b"".join(parts)
    return struct.pack(">I4s", 8 + len(body), kind) + body


def thumbnail():
    """The JPEG stream of an example clip, which begins with Exif data."""
    data = (ROOT / "examples" / "clips" / "clip1.mp4").read_bytes()
    start = data.index(b"VRDA") + 4
    size = int.from_bytes(data[start - 8 : start - 4], "big")
    return data[start : start - 8 + size]


def dated(jpeg, date):
    """The stream with another date, "2024:05:06 07:08:09", in its Exif data."""
    at = jpeg.index(b"\x0020") + 1
    while True:
        old = jpeg[at : at + 19]
        if old[4:5] == b":" and old[7:8] == b":":
            return jpeg.replace(old, date.encode())
        at = jpeg.index(b"\x0020", at) + 1


def identifier(number):
    return number.to_bytes(16, "big")


def clip(own, before, behind, seconds, picture, created=0):
    """A whole file; `seconds` may be None for a movie that does not know its length."""
    ticks = 0xFFFFFFFF if seconds is None else round(seconds * SCALE)
    header = struct.pack(">IIII", created, created, SCALE, ticks)
    movie_header = box(b"mvhd", bytes(4), header, bytes(80))
    camera = [box(b"VRCV", b"VireoMP4", bytes(4))]
    if picture:
        camera.append(box(b"VRTH", box(b"VRDA", picture)))
    place = identifier(own) + identifier(behind) + identifier(before)
    camera.append(box(b"VROP", box(b"VRFB", bytes(4), place)))
    movie = box(b"moov", movie_header, box(b"uuid", USERTYPE, *camera))
    return box(b"ftyp", b"mp42", bytes(4), b"mp42isom") + movie + box(b"mdat", bytes(100))
