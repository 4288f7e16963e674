"""What keeping clips costs: a merge with its originals, and the proof that cards are kept."""
import os
import shlex
import shutil
import statistics
import subprocess
import time

CLIPS = 4


def seconds_of(command, expect=0):
    before = time.monotonic()
    done = subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False)
    if done.returncode != expect:
        raise SystemExit(f"failed: {command}")
    return time.monotonic() - before


def make_card(root, work, size):
    """A card of clips that differ in their media, and a copy of it."""
    card, copies = work / "card", work / "copies"
    card.mkdir()
    first = card / "clip1.mp4"
    maker = root / "bench" / "make_large_clip.py"
    short = root / "examples" / "clips" / "clip1.mp4"
    subprocess.run([maker, root, short, str(size), first], check=True)
    for number in range(2, CLIPS + 1):
        clip = card / f"clip{number}.mp4"
        shutil.copyfile(first, clip)
        with open(clip, "r+b") as file:
            file.seek(size // 2)
            file.write(os.urandom(64))
            file.seek(100)
            file.write(os.urandom(64))
    shutil.copytree(card, copies)
    return sorted(card.iterdir()), copies


def middle_of(rounds, ways):
    """The median of each way's seconds, in another order each round."""
    taken = {name: [] for name in ways}
    names = list(ways)
    for number in range(rounds):
        turn = number % len(names)
        for name in names[turn:] + names[:turn]:
            taken[name].append(ways[name]())
    return {name: statistics.median(seconds) for name, seconds in taken.items()}


def merges(tool, clips, output):
    def merge(*more):
        for path in output.parent.glob(output.name + "*"):
            path.unlink()
        os.sync()
        return seconds_of([tool, "merge", "--force", "-o", output, *more, *clips])

    return {
        "merge": merge,
        "merge --originals": lambda: merge("--originals"),
        "merge --originals --hash sha256": lambda: merge("--originals", "--hash", "sha256"),
    }


def comparisons(tool, clips, copies, results):
    card = clips[0].parent
    pairs = " && ".join(
        f"cmp {shlex.quote(str(clip))} {shlex.quote(str(copies / clip.name))}" for clip in clips
    )

    def verify(folder):
        return lambda: seconds_of([tool, "verify", card, "--against", folder])

    return {
        "cmp": lambda: seconds_of(["sh", "-c", pairs]),
        "verify, copies": verify(copies),
        "verify, a result": verify(results["plain"]),
        "verify, a result with its archive": verify(results["kept"]),
    }


def rows_of(taken, size):
    first = next(iter(taken.values()))
    return [
        (f"`{name}`" if "," not in name else name, f"{seconds:.2f}", f"{size / seconds / 1e6:.0f}",
         f"{seconds / first:.2f}")
        for name, seconds in taken.items()
    ]


def keeping_report(options, work, table):
    folder = work / "keeping"
    folder.mkdir()
    tool = options.build / "apps" / "clipchain" / "clipchain"
    clips, copies = make_card(options.root, folder, options.megabytes * 10**6 // CLIPS)
    size = sum(clip.stat().st_size for clip in clips)
    merged = middle_of(options.rounds, merges(tool, clips, folder / "out.mp4"))
    results = {}
    for name, more in (("plain", []), ("kept", ["--originals"])):
        results[name] = folder / name
        results[name].mkdir()
        seconds_of([tool, "merge", "--force", "-o", results[name] / "out.mp4", *more, *clips])
    compared = middle_of(options.rounds, comparisons(tool, clips, copies, results))
    shutil.rmtree(folder)
    head = ["", "seconds", "MB/s", "against the first"]
    return ["", "## Keeping clips", "",
            f"{CLIPS} clips of {size / CLIPS / 1e6:.1f} MB in the page cache.", "",
            *table(head, rows_of(merged, size)), "", *table(head, rows_of(compared, size))]
