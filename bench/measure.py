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
import subprocess
import tempfile
import time
from pathlib import Path

CLIPS = 4


def measured(command, output):
    """Seconds and peak memory in MiB of a command that writes `output`."""
    output.unlink(missing_ok=True)
    os.sync()
    before = time.monotonic()
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL)
    _, status, usage = os.wait4(process.pid, 0)
    seconds = time.monotonic() - before
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        raise SystemExit(f"failed: {command}")
    return seconds, usage.ru_maxrss / 1024


def copy_ways(tool, inputs, work):
    """Name, command and output of each way to put the inputs together."""
    names = " ".join(f"'{path}'" for path in inputs)
    list_file = work / "list.txt"
    list_file.write_text("".join(f"file '{path}'\n" for path in inputs), encoding="utf-8")
    cat, concat = work / "cat.bin", work / "concat.mp4"
    ffmpeg = f"ffmpeg -v error -nostdin -f concat -safe 0 -i '{list_file}' -c copy '{concat}'"
    merged = work / "merged.mp4"
    return {
        "merge": ([tool, "merge", "-o", merged, *inputs], merged),
        "cat": (["sh", "-c", f"cat {names} > '{cat}' && sync -d '{cat}'"], cat),
        "ffmpeg": (["sh", "-c", f"{ffmpeg} && sync -d '{concat}'"], concat),
    }


def measure_copies(root, tool, work, megabytes, rounds):
    maker = root / "bench" / "make_large_clip.py"
    short = root / "examples" / "clips" / "clip1.mp4"
    inputs = [work / f"large{number}.mp4" for number in range(1, CLIPS + 1)]
    for path in inputs:
        subprocess.run([maker, root, short, str(megabytes * 10**6), path], check=True)
        with open(path, "rb") as file:
            while file.read(1 << 24):
                pass
    ways = copy_ways(tool, inputs, work)
    best = {name: (float("inf"), 0.0) for name in ways}
    for _ in range(rounds):
        for name, (command, output) in ways.items():
            seconds, memory = measured(command, output)
            best[name] = (min(best[name][0], seconds), max(best[name][1], memory))
            output.unlink()
    size = sum(path.stat().st_size for path in inputs)
    return size, best


def measure_tables(build, work, rounds):
    """Rows of clips, samples of each, best seconds."""
    listing = subprocess.run(
        ["taskset", "-c", "0", build / "bench" / "table_work", work / "tables.mp4", str(rounds)],
        capture_output=True,
        text=True,
        check=True,
    ).stdout
    return [(int(a), int(b), float(c)) for a, b, c in map(str.split, listing.splitlines())]


def machine():
    model = "unknown processor"
    for line in Path("/proc/cpuinfo").read_text(encoding="utf-8").splitlines():
        if line.startswith("model name"):
            model = line.split(": ", 1)[1]
            break
    memory = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / 2**30
    system = f"{platform.system()} {platform.release()}"
    return f"{model}, {os.cpu_count()} cores, {memory:.0f} GiB, {system}"


def report(size, copies, tables):
    cat = copies["cat"][0]
    lines = [
        "# What was measured",
        "",
        f"{datetime.date.today()} · {machine()}",
        "",
        f"## Putting {CLIPS} clips of {size / CLIPS / 1e6:.0f} MB together",
        "",
        "Inputs in the page cache, output removed before each round and flushed to the disk in each;",
        "the best of the rounds, taken alternately.",
        "",
        "| | seconds | MB/s | against `cat` | peak memory, MiB |",
        "|---|---|---|---|---|",
    ]
    names = {
        "merge": "`clipchain merge`",
        "cat": "`cat`, `sync -d`",
        "ffmpeg": "`ffmpeg -f concat -c copy`, `sync -d`",
    }
    for name, (seconds, memory) in copies.items():
        lines.append(f"| {names[name]} | {seconds:.2f} | {size / seconds / 1e6:.0f} "
                     f"| {seconds / cat:.2f} | {memory:.0f} |")
    lines += [
        "",
        "## Tables: parse, merge and write, from memory, on one core",
        "",
        "Every sample has an entry of its own for its duration, its offset and its size.",
        "",
        "| clips | samples of each | seconds | million samples a second | against half the input |",
        "|---|---|---|---|---|",
    ]
    seconds_of = {(clips, samples): seconds for clips, samples, seconds in tables}
    for clips, samples, seconds in tables:
        half = seconds_of.get((clips, samples // 2)) or seconds_of.get((clips // 2, samples))
        times = f"{seconds / half:.2f} ×" if half else ""
        rate = clips * samples / seconds / 1e6
        lines.append(f"| {clips} | {samples} | {seconds:.3f} | {rate:.1f} | {times} |")
    return "\n".join(lines) + "\n"


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("root", type=Path)
    parser.add_argument("build", type=Path)
    parser.add_argument("data", type=Path)
    parser.add_argument("--megabytes", type=int, default=500)
    parser.add_argument("--rounds", type=int, default=3)
    options = parser.parse_args()
    options.data.mkdir(parents=True, exist_ok=True)
    with tempfile.TemporaryDirectory(prefix="clipchain-bench-", dir=options.data) as folder:
        work = Path(folder)
        tool = options.build / "apps" / "clipchain" / "clipchain"
        size, copies = measure_copies(options.root, tool, work, options.megabytes, options.rounds)
        tables = measure_tables(options.build, work, 2 * options.rounds)
    text = report(size, copies, tables)
    (options.root / "bench" / "results.md").write_text(text, encoding="utf-8")
    print(text, end="")


if __name__ == "__main__":
    main()
