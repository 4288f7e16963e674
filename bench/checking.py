"""What a check of many clips costs beside reading their movie boxes once."""
import os
import shutil
import struct
import time

from keeping import middle_of, seconds_of

CLIPS = 1000


def forget(clips):
    """Takes what the clips hold out of the page cache; where they lie stays known."""
    os.sync()
    for clip in clips:
        descriptor = os.open(clip, os.O_RDONLY)
        os.posix_fadvise(descriptor, 0, 0, os.POSIX_FADV_DONTNEED)
        os.close(descriptor)


def read_movie_box(clip):
    descriptor = os.open(clip, os.O_RDONLY)
    at, end = 0, os.fstat(descriptor).st_size
    while at < end:
        size, kind = struct.unpack(">I4s", os.pread(descriptor, 8, at))
        if kind == b"moov":
            os.pread(descriptor, size, at)
            break
        at += size
    os.close(descriptor)


def read_movie_boxes(clips):
    before = time.monotonic()
    for clip in clips:
        read_movie_box(clip)
    return time.monotonic() - before


def checking_report(options, work, table, make):
    """`make` puts one clip into a folder."""
    folder = work / "checking"
    folder.mkdir()
    first, = make(folder)
    clips = [folder / f"clip{number:04}.mp4" for number in range(1, CLIPS + 1)]
    for clip in clips:
        shutil.copyfile(first, clip)
    tool = options.build / "apps" / "clipchain" / "clipchain"

    def check(clips):
        return seconds_of([tool, "check", *clips])

    def cold(way):
        def run():
            forget(clips)
            return way(clips)
        return run

    taken = middle_of(options.rounds, {"reading the movie boxes": cold(read_movie_boxes),
                                       "`check`": cold(check)})
    shutil.rmtree(folder)
    reading, _ = taken.values()
    return ["", "## Checking many clips", "",
            f"{CLIPS} clips of half a minute, out of the page cache in each round.", "",
            *table(["", "seconds", "against the first"],
                   [(name, f"{seconds:.2f}", f"{seconds / reading:.2f}")
                    for name, seconds in taken.items()])]
