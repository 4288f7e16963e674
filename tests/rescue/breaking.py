"""Breaks clips as recordings and copies break them. Each way gives the bytes of a broken clip."""
import struct

from mp4_tables import top_level


def media_of(data):
    for kind, at, begin, end in top_level(data):
        if kind == "mdat" and end > begin:
            return at, begin, end
    raise ValueError("there is no media")


def without_movie(data):
    """All but the movie box and what stands behind the media."""
    _, _, end = media_of(data)
    kept = [data[at:stop] for kind, at, _, stop in top_level(data) if kind != "moov" and stop <= end]
    return b"".join(kept)


def front(data):
    """What is in front of the media in a recording that has no movie box yet, and the media."""
    broken = without_movie(data)
    at, begin, end = media_of(broken)
    return broken[:at], broken[at:begin], broken[begin:end]


def cut(data, part):
    """A copy that was cut in its media."""
    before, head, media = front(data)
    return before + head + media[: int(len(media) * part)]


def sized(data, size, part=1.0):
    """The media's head has another size: 0, or one too large."""
    before, head, media = front(data)
    kind = head[4:8]
    return before + struct.pack(">I4s", size, kind) + media[: int(len(media) * part)]


def unsized(data, part=1.0):
    """A head with room for 64 bits that holds 0."""
    before, _, media = front(data)
    return before + struct.pack(">I4sQ", 1, b"mdat", 0) + media[: int(len(media) * part)]


def headless(data, zeros, part=1.0):
    """The head is zeros, or absent."""
    before, _, media = front(data)
    return before + bytes(zeros) + media[: int(len(media) * part)]


def movie_cut(data):
    """The movie box behind the media ends early."""
    broken = without_movie(data)
    movie = next(data[at:end] for kind, at, _, end in top_level(data) if kind == "moov")
    return broken + movie[: len(movie) // 2]


FORMS = {
    "movie removed": without_movie,
    "cut at 30 %": lambda data: cut(data, 0.3),
    "cut at 60 %": lambda data: cut(data, 0.6),
    "cut at 95 %": lambda data: cut(data, 0.95),
    "movie cut": movie_cut,
    "size 0": lambda data: sized(data, 0, 0.9),
    "size too large": lambda data: sized(data, 0x7FFFFFFF),
    "64 bits and 0": lambda data: unsized(data, 0.8),
    "head of zeros": lambda data: headless(data, 8, 0.85),
    "head of 16 zeros": lambda data: headless(data, 16, 0.85),
    "no head": lambda data: headless(data, 0, 0.85),
    "zeros behind": lambda data: cut(data, 0.7) + bytes(100000),
    "zeros behind, sized": lambda data: sized(data, len(front(data)[2]) + 8, 0.7) + bytes(5000),
}
