#!/usr/bin/env python3
"""Merges clips with --chapters and asks other readers what chapters there are, and where.

    chapters.py CLIPCHAIN

Chapters must begin at the first picture of each clip, as ffprobe says when it is shown; mkvmerge,
mkvinfo and MediaInfo must find them too, where they are installed. Results with chapters must be
proven by verify, be made into the clips again by split, and be known again by join. Skips (77)
without ffmpeg.
"""
import json
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

SKIPPED = 77
FFMPEG = ["ffmpeg", "-v", "error", "-nostdin", "-y"]
TITLES = ["a – first.mp4", "b<&>.mp4", "c.mp4"]


def require(condition, complaint):
    if not condition:
        sys.exit(complaint)


def run(*command, code=0):
    done = subprocess.run(command, capture_output=True, check=False)
    require(done.returncode == code,
            f"{command} ended with {done.returncode}: {done.stdout.decode()}{done.stderr.decode()}")
    return done.stdout.decode("utf-8")


def refused(name, *command):
    """The command is refused, and says so by that name."""
    done = subprocess.run(command, capture_output=True, check=False)
    told = (done.stdout + done.stderr).decode("utf-8")
    require(done.returncode == 1 and f"({name})" in told, f"{command} ended with {done.returncode}: {told}")


def make(folder):
    """Clips with pictures that are shown in another order than decoded, and sound that runs longer,
    so that seams are held; each of another length."""
    clips = []
    for number, (title, pictures) in enumerate(zip(TITLES, (31, 17, 44))):
        clip = folder / title
        seconds = pictures / 25 + 0.03
        run(*FFMPEG, "-f", "lavfi", "-i", f"testsrc=s=96x64:r=25:d={pictures / 25}", "-f", "lavfi", "-i",
            f"sine=f={440 + number}:r=48000:d={seconds}", "-c:v", "libx264", "-bf", "2", "-g", "10", "-pix_fmt",
            "yuv420p", "-threads", "1", "-c:a", "aac", "-fflags", "+bitexact", clip)
        clips.append(clip)
    return clips


def pictures_of(path):
    """When each picture is shown, in the order of decoding."""
    told = run("ffprobe", "-v", "error", "-select_streams", "v:0", "-show_entries", "packet=pts_time", "-of",
               "json", path)
    return [float(packet["pts_time"]) for packet in json.loads(told)["packets"]]


def chapters_of(path):
    told = json.loads(run("ffprobe", "-v", "error", "-show_chapters", "-of", "json", path))
    return [(float(c["start_time"]), c["tags"]["title"]) for c in told["chapters"]]


def check_places(clips, result):
    shown = pictures_of(result)
    at = 0
    chapters = chapters_of(result)
    require([title for _, title in chapters] == TITLES, f"ffprobe finds {chapters}")
    for clip, (start, title) in zip(clips, chapters):
        count = len(pictures_of(clip))
        first = min(shown[at:at + count])
        at += count
        require(0 <= start - first + 1.1e-6 < 2.2e-6, f"{title} begins at {start}, its first picture at {first}")
    require(at == len(shown), "there are other pictures than those of the clips")


def check_readers(result, folder):
    """How many others find the chapters."""
    found = 0
    if shutil.which("mkvmerge"):
        told = json.loads(run("mkvmerge", "-J", result))
        require([c["num_entries"] for c in told["chapters"]] == [3], f"mkvmerge finds {told['chapters']}")
        found += 1
        matroska = folder / "chapters.mkv"
        run("mkvmerge", "-q", "-o", matroska, result)
        if shutil.which("mkvinfo"):
            told = run("mkvinfo", matroska)
            require(all(f"Chapter string: {title}" in told for title in TITLES), f"mkvinfo says {told}")
    if shutil.which("mediainfo"):
        told = run("mediainfo", result)
        require(all(title in told for title in TITLES), f"mediainfo says {told}")
        found += 1
    return found


def hashes(path):
    return run("ffmpeg", "-v", "error", "-i", path, "-map", "0", "-c", "copy", "-f", "streamhash", "-")


def check_kept(tool, clips, folder):
    """With chapters or without, a card is proven to be kept, and the clips come back."""
    card = folder / "card"
    card.mkdir()
    for clip in clips:
        shutil.copy(clip, card)
    inputs = sorted(card.iterdir())
    kept = folder / "kept"
    kept.mkdir()
    result = kept / "film.mp4"
    run(tool, "merge", "--chapters", "--originals", "-o", result, *inputs)
    run(tool, "verify", card, "--against", kept)
    run(tool, "split", result, "-o", folder / "back")
    for clip in inputs:
        require((folder / "back" / clip.name).read_bytes() == clip.read_bytes(), f"{clip.name} came back otherwise")
    # Without the archive nobody can say of other titles that they were not changed.
    (kept / "film.mp4.originals").unlink()
    require("clips kept: yes" in run(tool, "verify", card, "--against", kept, "--clips-only"), "nothing proven")
    for number, clip in enumerate(inputs):
        clip.rename(card / f"{number} renamed.mp4")
    told = run(tool, "verify", card, "--against", kept, "--clips-only", code=3)
    require("chapters of other names" in told, f"renamed clips: {told}")


def check_layouts(tool, clips, plain, folder):
    """Wherever the parts of the result lie, its chapters and samples are the same, and the clips are kept."""
    card, kept = folder / "laid_out", folder / "kept_laid_out"
    card.mkdir()
    kept.mkdir()
    for clip in clips:
        shutil.copy(clip, card)
    result = kept / "film.mp4"
    for ways in (["--faststart"], ["--reflink=auto"], ["-"]):
        if ways == ["-"]:
            with open(result, "wb") as output:
                require(subprocess.run([tool, "merge", "-q", "--chapters", "-o", "-", *clips], stdout=output,
                                       check=False).returncode == 0, "no result on a pipe")
        else:
            run(tool, "merge", "--chapters", "--originals", *ways, "-o", result, *clips)
            run(tool, "verify", card, "--against", kept, "--whole")
            back = folder / f"back{ways[0]}"
            run(tool, "split", result, "-o", back)
            require(all((back / clip.name).read_bytes() == clip.read_bytes() for clip in clips), f"{ways}: other clips")
            (kept / "film.mp4.originals").unlink()
        check_places(clips, result)
        require(hashes(result) == hashes(plain), f"{ways}: other samples")
        run(tool, "verify", card, "--against", kept)
        whole = bytearray(result.read_bytes())
        whole[whole.rindex(b"chpl") + 4 + 9 + 7] ^= 1
        result.write_bytes(whole)
        run(tool, "verify", card, "--against", kept, code=3)
        result.unlink()


def check_join(tool, source, folder):
    """Joined with chapters it is there already, asked for or not; what was joined without is not."""
    card = folder / "identified"
    card.mkdir()
    for clip in source:
        shutil.copy(clip, card)
    out = folder / "joined"
    run(tool, "join", card, "-o", out, "--chapters")
    require("1 already there" in run(tool, "join", card, "-o", out, "--chapters"), "joined twice")
    require("1 already there" in run(tool, "join", card, "-o", out, "--originals"), "joined twice")
    run(tool, "verify", card, "--against", out)
    result = next(out.glob("*.mp4"))
    require([title for _, title in chapters_of(result)] == sorted(c.name for c in source), "other chapters")
    whole = bytearray(result.read_bytes())
    whole[whole.rindex(b"chpl") + 4 + 9 + 7] ^= 1
    result.write_bytes(whole)
    run(tool, "join", card, "-o", out, code=3)
    # A title is a part of the result, too; what verify would not take join does not either.
    titled = bytearray(whole)
    titled[titled.rindex(b"chpl") + 4 + 9 + 7] ^= 1
    result.write_bytes(titled)
    require("1 already there" in run(tool, "join", card, "-o", out), "the result as it was")
    titled[titled.rindex(b"clip2")] ^= 32
    result.write_bytes(titled)
    run(tool, "verify", card, "--against", out, code=3)
    require("chapter" in run(tool, "join", card, "-o", out, code=3), "another title is the clip's")
    # Where an archive keeps the titles the clips may have other names; the first one names the result.
    kept = folder / "kept titles"
    run(tool, "join", card, "-o", kept, "--chapters", "--originals")
    for clip in sorted(card.iterdir())[1:]:
        clip.rename(card / ("renamed " + clip.name))
    run(tool, "verify", card, "--against", kept)
    require("1 already there" in run(tool, "join", card, "-o", kept), "the archive is not asked")
    bare = folder / "bare"
    run(tool, "join", card, "-o", bare)
    run(tool, "join", card, "-o", bare, "--chapters", code=3)


def main(tool):
    if shutil.which("ffmpeg") is None or shutil.which("ffprobe") is None:
        print("no ffmpeg: nothing is merged")
        return SKIPPED
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        clips = make(folder)
        result = folder / "film.mp4"
        told = run(tool, "merge", "--chapters", "-o", result, *clips)
        require("chapter" in told, f"nobody is told: {told}")
        check_places(clips, result)
        plain = folder / "plain.mp4"
        run(tool, "merge", "-o", plain, *clips)
        require(hashes(plain) == hashes(result), "chapters change samples")
        readers = check_readers(result, folder)
        # Chapters of its own are not lost without a word.
        again = folder / "again.mp4"
        refused("chapters-there", tool, "merge", "--chapters", "-o", again, result, plain)
        require(not again.exists(), "what was refused is there")
        run(tool, "merge", "--chapters", "--force", "-o", again, result, plain)
        require([title for _, title in chapters_of(again)] == ["film.mp4", "plain.mp4"], "chapters are mixed")
        run(tool, "merge", "--chapters", "--exact", "-o", folder / "no.mp4", *clips, code=2)
        refused("chapters-impossible", tool, "check", "--chapters", *[clips[2]] * 256)
        check_kept(tool, clips, folder)
        check_layouts(tool, clips, plain, folder)
        examples = sorted((Path(__file__).resolve().parents[2] / "examples" / "clips").glob("*.mp4"))
        check_join(tool, examples, folder)
    print(f"chapters are found by ffprobe and {readers} others")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
