#!/usr/bin/env python3
"""Checks that what the engine does takes at most 2.2 times the instructions for twice the input.

    cost_test.py VALGRIND COST-PROGRAM [NAME…]
"""
import os
import re
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor

MOST = 2.2


def instructions(valgrind, program, name, n):
    run = subprocess.run(
        [valgrind, "--tool=callgrind", "--callgrind-out-file=/dev/null", "--toggle-collect=Measured",
         program, name, str(n)],
        capture_output=True,
        text=True,
        check=False,
    )
    collected = re.search(r"Collected : (\d+)", run.stderr)
    if run.returncode != 0 or collected is None or int(collected[1]) == 0:
        raise RuntimeError(f"{name} for {n}: {run.stderr[-500:]}")
    return int(collected[1])


def main(valgrind, program, *names):
    listing = subprocess.run([program], capture_output=True, text=True, check=True).stdout
    jobs = [line.split("\t") for line in listing.splitlines()]
    jobs = [(name, int(n)) for name, n in jobs if not names or name in names]

    def both(job):
        name, n = job
        return name, n, instructions(valgrind, program, name, n), instructions(valgrind, program, name, 2 * n)

    faults = 0
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        for name, n, once, twice in pool.map(both, jobs):
            growth = twice / once
            faults += growth > MOST
            print(f"{name:34} {n:8} {once / n:12.1f} instructions each, {growth:5.2f} times for twice as many"
                  + ("   TOO MUCH" if growth > MOST else ""), flush=True)
    if not jobs:
        print("no jobs")
        return 1
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
