"""Shared by the checks of what is handed out: running programs, and judging what examples do."""
import os
import shutil
import subprocess
import sys
from pathlib import Path

SKIPPED = 77  # what a check answers where the machine has not what it takes

ROOT = Path(__file__).resolve().parents[2]
CLIPS = [ROOT / "examples" / "clips" / f"clip{number}.mp4" for number in (1, 2, 3)]


def run(*command, env=None, expect=0, cwd=None):
    """Runs a program, which must end with the code `expect`, and gives what it printed."""
    words = [str(word) for word in command]
    done = subprocess.run(
        words, env={**os.environ, **(env or {})}, cwd=cwd, capture_output=True, text=True, check=False
    )
    if done.returncode != expect:
        sys.exit(
            f"{' '.join(words)}\nended with {done.returncode}, not {expect}\n{done.stdout}{done.stderr}"
        )
    return done.stdout


def require(condition, complaint):
    if not condition:
        sys.exit(complaint)


def boxes(data, start=0, end=None):
    """The boxes of a block: type, first byte of the body, end."""
    end = len(data) if end is None else end
    while start + 8 <= end:
        size = int.from_bytes(data[start : start + 4], "big")
        body = start + 8
        if size == 1:
            size = int.from_bytes(data[start + 8 : start + 16], "big")
            body = start + 16
        require(body <= start + size <= end, f"a box of {size} bytes at {start}")
        yield data[start + 4 : start + 8], body, start + size
        start += size


def media(path):
    data = path.read_bytes()
    return b"".join(data[body:end] for kind, body, end in boxes(data) if kind == b"mdat")


def movie_duration(path):
    data = path.read_bytes()
    for kind, body, end in boxes(data):
        if kind != b"moov":
            continue
        for inner, start, _ in boxes(data, body, end):
            if inner == b"mvhd":
                require(data[start] == 0, "a movie header of version 0 was expected")
                return int.from_bytes(data[start + 16 : start + 20], "big")
    return sys.exit(f"{path} has no movie header")


def check_merged(path):
    """The file is the clips put together."""
    kinds = [kind for kind, _, _ in boxes(path.read_bytes())]
    require(kinds == [b"ftyp", b"free", b"mdat", b"moov"], f"{path} is made of {kinds}")
    require(media(path) == b"".join(map(media, CLIPS)), f"{path} has other media than the clips")
    lengths = [movie_duration(clip) for clip in CLIPS]
    require(movie_duration(path) == sum(lengths), f"{path} is not as long as the clips")


def check_example(command, folder, env=None):
    """An example merges the clips, and fails where it must."""
    output = folder / "merged.mp4"
    run(*command, output, *CLIPS, env=env)
    check_merged(output)
    run(*command, output, *CLIPS, env=env, expect=1)
    check_merged(output)
    output.unlink()
    run(*command, output, CLIPS[0], folder / "none.mp4", env=env, expect=1)
    output.unlink(missing_ok=True)
    usage = subprocess.run(
        [str(word) for word in command], env={**os.environ, **(env or {})}, capture_output=True, check=False
    )
    require(usage.returncode in (1, 2) and usage.stderr, f"{command} does not say how it is used")


def check_examples(programs, folder, library):
    """All examples of a folder of programs, the Python one on that shared library if one is given."""
    check_example([programs / "merge_clips_c"], folder)
    check_example([programs / "live_merge"], folder)
    check_example([programs / "live_merge", "--memory"], folder)
    check_example([programs / "merge_clips_cpp"], folder)
    check_example([programs / "merge_clips_front"], folder)
    if library is not None:
        script = ROOT / "examples" / "merge_clips.py"
        check_example([sys.executable, script], folder, env={"CLIPCHAIN_LIBRARY": str(library)})
    chained = run(programs / "chain_clips", *reversed(CLIPS))
    for clip in CLIPS:
        require(f"  {clip}\n" in chained, f"chain_clips does not name {clip}:\n{chained}")
    check_keeping(programs / "keep_recordings", folder)


def check_keeping(program, folder):
    """A recording over two cards becomes one file, with a page; a second run replaces nothing."""
    cards = [folder / "card 1", folder / "card 2"]
    for card, clips in zip(cards, (CLIPS[:2], CLIPS[2:])):
        card.mkdir()
        for clip in clips:
            shutil.copy(clip, card)
    kept, page = folder / "kept", folder / "page.html"
    kept.mkdir()
    said = run(program, "--page", page, kept, *cards)
    require("done, from 3 clips" in said, f"keep_recordings says:\n{said}")
    files = list(kept.iterdir())
    require(len(files) == 1, f"kept are {files}")
    check_merged(files[0])
    require("3 clips" in page.read_text(encoding="utf-8"), "the page does not know the clips")
    before = files[0].stat().st_mtime_ns
    said = run(program, kept, *cards, expect=1)
    require("output-exists" in said and files[0].stat().st_mtime_ns == before, f"a second run says:\n{said}")
    run(program, expect=2)
    for made in (*cards, kept):
        shutil.rmtree(made)
    page.unlink()
