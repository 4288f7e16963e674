#!/usr/bin/env python3
"""Measures merges against plain copies, in one run, and writes what it found to bench/results.md.

    measure.py SOURCE-ROOT BUILD-FOLDER DATA-FOLDER [--megabytes N] [--rounds N]

Everything of one kind of measurement is taken alternately, so that a busy disk hits all alike. The
inputs are in the page cache, an output is removed before it is written, and each way of copying
ends with the output flushed to the disk.
"""
import argparse
import datetime
import os
import platform
import random
import shlex
import shutil
import statistics
import subprocess
import tempfile
import time
from pathlib import Path

import plot
from checking import checking_report
from joining import joining_report
from keeping import keeping_report

WAYS = {
    "merge": "`clipchain merge`",
    "faststart": "`clipchain merge --faststart`",
    "stream": "`clipchain merge -o -` into a file, `sync -d`",
    "loop": "plain loop: 256 KiB, space reserved, early write-back",
    "range": "plain loop: `copy_file_range`",
    "cat": "`cat`, `sync -d`",
    "rescue": "`clipchain rescue`",
    "read": "`cat` to nowhere",
    "cp": "`cp` of each, `sync -d`",
    "ffmpeg": "`ffmpeg -f concat -c copy`, `sync -d`",
    "mkvmerge": "`mkvmerge` appending, `sync -d`",
}


def measured(way, command, output):
    """Seconds and peak memory in MiB of a command that writes `output`."""
    remove(output)
    os.sync()
    with tempfile.NamedTemporaryFile("r") as usage:
        # Started from here directly, a command would be charged with this program's memory.
        timed = ["/usr/bin/time", "--quiet", "-o", usage.name, "-f", "%M", *command]
        before = time.monotonic()
        code = subprocess.run(timed, stdout=subprocess.DEVNULL, check=False).returncode
        seconds = time.monotonic() - before
        # Of mkvmerge 1 means that it had something to remark.
        if code != 0 and (way, code) != ("mkvmerge", 1):
            raise SystemExit(f"failed: {command}")
        megabytes = int(usage.read()) / 1024
    remove(output)
    return seconds, megabytes


def remove(output):
    if output.is_dir():
        shutil.rmtree(output)
    else:
        output.unlink(missing_ok=True)


def copy_ways(build, inputs, work):
    """Name, command and output of each way to put the inputs together."""
    tool = build / "apps" / "clipchain" / "clipchain"
    plain = build / "bench" / "plain_loop"
    names = shlex.join(map(str, inputs))
    list_file = work / "list.txt"
    list_file.write_text("".join(f"file '{path}'\n" for path in inputs), encoding="utf-8")
    merged, cat, concat = work / "merged.mp4", work / "cat.bin", work / "concat.mp4"
    folder, appended = work / "copies", work / "appended.mkv"
    ffmpeg = f"ffmpeg -v error -nostdin -f concat -safe 0 -i '{list_file}' -map 0:v -map 0:a -c copy"
    append = " + ".join(shlex.quote(str(path)) for path in inputs)

    def shell(line):
        return ["sh", "-c", line]

    ways = {
        "merge": ([tool, "merge", "-o", merged, *inputs], merged),
        "faststart": ([tool, "merge", "--faststart", "-o", merged, *inputs], merged),
        "stream": (shell(f"'{tool}' merge -q -o - {names} > '{cat}' && sync -d '{cat}'"), cat),
        "loop": ([plain, "loop", cat, *inputs], cat),
        "range": ([plain, "range", cat, *inputs], cat),
        "cat": (shell(f"cat {names} > '{cat}' && sync -d '{cat}'"), cat),
        "cp": (shell(f"mkdir '{folder}' && cp {names} '{folder}' && sync -d '{folder}'/*"), folder),
        "ffmpeg": (shell(f"{ffmpeg} '{concat}' && sync -d '{concat}'"), concat),
        "mkvmerge": (shell(f"mkvmerge -q -o '{appended}' {append}; code=$?; sync -d '{appended}'; "
                           "exit $code"), appended),
    }
    return ways


def make_clips(root, work, count, size):
    maker = root / "bench" / "make_large_clip.py"
    short = root / "examples" / "clips" / "clip1.mp4"
    inputs = [work / f"clip{number:04}.mp4" for number in range(1, count + 1)]
    subprocess.run([maker, root, short, str(size), inputs[0]], check=True)
    for path in inputs[1:]:
        shutil.copyfile(inputs[0], path)
    return inputs


def make_sampled(work, count, seconds):
    """Clips as another program writes them: many samples in few bytes."""
    inputs = [work / f"sampled{number:04}.mp4" for number in range(1, count + 1)]
    picture = ["-f", "lavfi", "-i", f"testsrc2=s=320x180:r=30:d={seconds}"]
    sound = ["-f", "lavfi", "-i", f"sine=d={seconds}:r=44100"]
    codecs = ["-c:v", "libx264", "-preset", "veryfast", "-b:v", "80k", "-c:a", "aac", "-b:a", "64k"]
    subprocess.run(["ffmpeg", "-v", "error", *picture, *sound, *codecs, inputs[0]], check=True)
    for path in inputs[1:]:
        shutil.copyfile(inputs[0], path)
    return inputs


def measure_copies(options, folder, inputs):
    """The inputs' bytes and of each way the median of its seconds and the peak memory."""
    ways = copy_ways(options.build, inputs, folder)
    taken = {way: [] for way in ways}
    order = list(ways.items())
    for number in range(options.rounds):
        # What a way leaves for the disk to do falls on another one each time.
        random.Random(number).shuffle(order)
        for way, (command, output) in order:
            taken[way].append(measured(way, command, output))
    # The middle of the rounds: the best of one way may have fallen into a quiet moment.
    best = {way: (statistics.median(seconds for seconds, _ in rounds), max(memory for _, memory in rounds))
            for way, rounds in taken.items()}
    bytes_of_all = sum(path.stat().st_size for path in inputs)
    shutil.rmtree(folder)
    return bytes_of_all, best


def measure_rescue(options, work, size):
    """The bytes of a clip without its movie box, and the same of the ways to read or copy it."""
    folder = work / "rescue"
    folder.mkdir()
    tool = options.build / "apps" / "clipchain" / "clipchain"
    clip, = make_clips(options.root, folder, 1, size)
    whole = clip.read_bytes()
    broken, out = folder / "broken.mp4", folder / "out.mp4"
    broken.write_bytes(whole[: whole.rindex(b"moov") - 4])
    cat = f"cat '{broken}' > '{out}' && sync -d '{out}'"
    ways = {
        "rescue": ([tool, "rescue", broken, "--like", clip, "-o", out], out),
        "read": (["sh", "-c", f"cat '{broken}' > /dev/null"], out),
        "cat": (["sh", "-c", cat], out),
    }
    best = {way: (float("inf"), 0.0) for way in ways}
    for _ in range(options.rounds):
        for way, (command, output) in ways.items():
            seconds, memory = measured(way, command, output)
            best[way] = (min(best[way][0], seconds), max(best[way][1], memory))
    bytes_of_all = broken.stat().st_size
    shutil.rmtree(folder)
    return bytes_of_all, best


def rescue_report(size, best):
    return ["## Rescuing a clip without a movie box", "",
            "The clip that it learns from is as large.", "", *copies_report(1, size, best)[2:]]


def run_rows(command):
    """The numbers that a program of this folder prints, line by line."""
    listing = subprocess.run(command, capture_output=True, text=True, check=True).stdout
    return [tuple(map(float, line.split())) for line in listing.splitlines()]


def machine():
    model = "unknown processor"
    for line in Path("/proc/cpuinfo").read_text(encoding="utf-8").splitlines():
        if line.startswith("model name"):
            model = line.split(": ", 1)[1]
            break
    memory = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / 2**30
    system = f"{platform.system()} {platform.release()}"
    load = os.getloadavg()[0]
    return f"{model}, {os.cpu_count()} cores, {memory:.0f} GiB, {system}, load {load:.1f} before"


def table(head, rows):
    lines = [f"| {' | '.join(head)} |", "|" + "---|" * len(head)]
    return [*lines, *(f"| {' | '.join(row)} |" for row in rows), ""]


def copies_report(count, size, best):
    cat = best["cat"][0]
    plain = min((best[way][0] for way in ("loop", "range") if way in best), default=None)
    against = [f"{seconds / plain:.2f}" if plain else "" for seconds, _ in best.values()]
    rows = [(WAYS[way], f"{seconds:.2f}", f"{size / seconds / 1e6:.0f}", f"{seconds / cat:.2f}", ratio,
             f"{memory:.0f}") for (way, (seconds, memory)), ratio in zip(best.items(), against)]
    head = ["", "seconds", "MB/s", "against `cat`", "against the best plain loop", "peak memory, MiB"]
    return [f"### {count} clips of {size / count / 1e6:.1f} MB", "", *table(head, rows)]


def tables_report(rows):
    seconds_of = {(clips, samples): seconds for clips, samples, seconds in rows}
    lines = []
    for clips, samples, seconds in rows:
        half = seconds_of.get((clips, samples / 2)) or seconds_of.get((clips / 2, samples))
        lines.append((f"{clips:.0f}", f"{samples:.0f}", f"{seconds:.3f}",
                      f"{clips * samples / seconds / 1e6:.1f}",
                      f"{seconds / half:.2f} ×" if half else ""))
    return [
        "## Tables: parse, merge and write, from memory, on one core",
        "",
        "Every sample has an entry of its own for its times and its size.",
        "",
        *table(["clips", "samples of each", "seconds", "million samples a second",
                "against half the input"], lines),
        "![cost against samples](cost-samples.svg)",
        "![cost against clips](cost-clips.svg)",
        "",
    ]


def registration_report(rows):
    lines = [(f"{clips:.0f}", f"{samples:.0f}", f"{analysis:.3f}", f"{registration:.3f}",
              f"{clips / registration:.0f}", f"{max(0, 1 - analysis / registration):.0%}")
             for clips, samples, analysis, registration in rows]
    return [
        "## Registering the clips of one recording, shuffled",
        "",
        "The last row's clips have 1 MB of movie box each.",
        "",
        *table(["clips", "samples of each", "seconds to analyse", "seconds to register",
                "registrations a second", "share outside the analysis"], lines),
    ]


def write_plots(root, rows):
    by_samples = [(2 * samples / 1e6, seconds) for clips, samples, seconds in rows if clips == 2]
    by_clips = [(clips, seconds) for clips, samples, seconds in rows if samples == 2000]
    for name, words, points in [("samples", "million samples in two clips", by_samples),
                                ("clips", "clips of 2 000 samples", by_clips)]:
        picture = plot.svg(f"Table work: cost against {name}", words, "seconds", points)
        (root / "bench" / f"cost-{name}.svg").write_text(picture, encoding="utf-8")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("root", type=Path)
    parser.add_argument("build", type=Path)
    parser.add_argument("data", type=Path)
    parser.add_argument("--megabytes", type=int, default=500)
    parser.add_argument("--rounds", type=int, default=3)
    options = parser.parse_args()
    options.data.mkdir(parents=True, exist_ok=True)
    lines = ["# What was measured", "", f"{datetime.date.today()} · {machine()}", "",
             "## Putting clips together", "",
             "Inputs in the page cache, output removed before each round and flushed to the disk in",
             "each; the median of the rounds, each in another order.", ""]
    with tempfile.TemporaryDirectory(prefix="clipchain-bench-", dir=options.data) as folder:
        work = Path(folder)
        large = options.megabytes * 10**6
        for make in (lambda to: make_clips(options.root, to, 4, large),
                     lambda to: make_clips(options.root, to, 200, large // 250),
                     lambda to: make_sampled(to, 200, 60)):
            copies = work / "copies-of-clips"
            copies.mkdir()
            inputs = make(copies)
            lines += copies_report(len(inputs), *measure_copies(options, copies, inputs))
        # The movie box of a minute's clips would be more than readers take.
        lines += checking_report(options, work, table, lambda to: make_sampled(to, 1, 30))
        lines += joining_report(options, work, table)
        lines += keeping_report(options, work, table)
        lines += rescue_report(*measure_rescue(options, work, 2 * options.megabytes * 10**6))
        one_core = ["taskset", "-c", "0"]
        programs = options.build / "bench"
        rounds = str(2 * options.rounds)
        rows = run_rows([*one_core, programs / "table_work", work / "tables.mp4", rounds])
        registrations = run_rows([*one_core, programs / "registration", work / "chain", rounds])
    write_plots(options.root, rows)
    text = "\n".join([*lines, *tables_report(rows), *registration_report(registrations)])
    (options.root / "bench" / "results.md").write_text(text, encoding="utf-8")
    print(text, end="")


if __name__ == "__main__":
    main()
