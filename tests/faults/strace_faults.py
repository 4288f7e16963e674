#!/usr/bin/env python3
"""Makes system calls of a merge fail, one by one, or kills it there, and looks at what is left.

    strace_faults.py [--whole] [--jobs N] [--only TEXT] TOOL CLIP CLIP…

Every system call that a small merge makes after it has started is a place where something can go
wrong. At each of them the call fails with EIO, ENOSPC, EINTR, EDQUOT or EFBIG, once or from then
on, or the process gets SIGKILL, SIGINT or SIGTERM. Whatever happens:

- the clips stay as they are, bit for bit;
- the output is absent, the old one, or complete;
- the exit code is 0 only if the output is complete;
- no hidden file stays behind, unless the process was killed or its removal itself fails, which the
  tool then says;
- a flush that failed is not tried again, and ends the merge;
- after a kill the next merge names what was left behind, and removes it when it is told to.

Without --whole a fixed sample of the cases runs. Exit code 77: strace cannot trace here.
"""
import argparse
import collections
import os
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

ERRORS = ["EIO", "ENOSPC", "EINTR", "EDQUOT", "EFBIG"]
SIGNALS = ["KILL", "INT", "TERM"]
# The tool's first call of its own: it looks whether its standard streams are open.
START = "fcntl(0, F_GETFD)"
# Cannot be made to fail: it does not come back.
WITHOUT_RETURN = {"exit_group", "exit"}
# Answers a position, never an error: the C library would take one for a position. Where threads wait
# for each other it ends the process at an error that the system never gives.
WITHOUT_ERRORS = {"brk", "futex"}
SAMPLE = 60
TIME_LIMIT = 30
OLD = b"the old output"
SKIPPED = 77

Case = collections.namedtuple("Case", "variant call number fault")

# Arguments beside output and clips, whether there is an old output, what fails in any case, and the
# calls that are looked at: all of them, if there are none.
Variant = collections.namedtuple("Variant", "extra old always calls")
VARIANTS = {
    "new": Variant([], False, [], ()),
    "overwrite": Variant(["--overwrite"], True, [], ()),
    "full": Variant(["--verify=full"], False, [], ()),
    # Other layouts are written by other code.
    "faststart": Variant(["--faststart"], False, [], ()),
    # Shared where the file system can, else copied after that was tried.
    "reflink": Variant(["--reflink=auto"], False, [], ("ioctl", "ftruncate", "pwrite64")),
    # Where a file system cannot rename without replacing, a link does.
    "link": Variant([], False, ["-e", "inject=renameat2:error=EINVAL"], ("link", "unlink", "fsync")),
}


def strace(log, options, command):
    return ["strace", "-f", "-qq", "-o", str(log), *options, *command]


def run(command, cwd):
    """The exit code, negative for a signal, or None for a process that does not end; its errors."""
    process = subprocess.Popen(
        command, cwd=cwd, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
        start_new_session=True,
    )
    try:
        _, errors = process.communicate(timeout=TIME_LIMIT)
    except subprocess.TimeoutExpired:
        os.killpg(process.pid, signal.SIGKILL)
        process.communicate()
        return None, ""
    return process.returncode, errors.decode("utf-8", "replace")


class Bench:
    """A folder with copies of the clips, and what a merge of them should give."""

    def __init__(self, tool, clips, folder):
        self.tool = str(Path(tool).resolve())
        self.clips = [Path(clip).read_bytes() for clip in clips]
        self.folder = folder
        self.reference = None
        self.references = {}

    def expected(self, variant):
        """The output of an undisturbed merge."""
        return self.references.get(variant, self.reference)

    def lay_out(self, name, old):
        place = self.folder / name
        place.mkdir()
        for index, clip in enumerate(self.clips):
            (place / f"{index}.mp4").write_bytes(clip)
        if old:
            (place / "out.mp4").write_bytes(OLD)
        return place

    def command(self, extra):
        names = [f"{index}.mp4" for index in range(len(self.clips))]
        return [self.tool, "merge", "-o", "out.mp4", *extra, *names]

    def calls(self, variant):
        """The calls of an undisturbed merge after its start: (name, how many times that name was
        called so far in the whole process)."""
        extra, old, always, chosen = VARIANTS[variant]
        place = self.lay_out(f"calls_{variant}", old)
        log = place / "log"
        code, errors = run(strace(log, always, self.command(extra)), place)
        if code != 0:
            raise RuntimeError(f"the undisturbed merge fails: {errors}")
        output = (place / "out.mp4").read_bytes()
        self.references[variant] = output
        if self.reference is None:
            self.reference = output
        assert output == self.reference or variant in ("faststart", "reflink")
        counts = collections.Counter()
        started = False
        for line in log.read_text(errors="replace").splitlines():
            match = re.match(r"\d+ +(\w+)\(", line)
            if not match or match.group(1) in WITHOUT_RETURN:
                continue
            counts[match.group(1)] += 1
            started = started or START in line
            if started and (not chosen or match.group(1) in chosen):
                yield match.group(1), counts[match.group(1)]

    def cases(self, variant):
        for call, number in self.calls(variant):
            for error in ERRORS if call not in WITHOUT_ERRORS else ():
                yield Case(variant, call, number, f"error={error}:when={number}")
                yield Case(variant, call, number, f"error={error}:when={number}+")
            for name in SIGNALS:
                yield Case(variant, call, number, f"signal={name}:when={number}")

    def faults(self, case):
        """What is wrong after one merge with that case."""
        extra, old, always, _ = VARIANTS[case.variant]
        place = self.lay_out(re.sub(r"\W", "_", "_".join(map(str, case))), old)
        log = self.folder / f"{place.name}.log"
        options = ["-y", *always, "-e", f"inject={case.call}:{case.fault}"]
        options += ["-e", f"trace={case.call},fsync,fdatasync,renameat2"]
        code, errors = run(strace(log, options, self.command(extra)), place)
        calls = log.read_text(errors="replace") if log.exists() else ""
        found = list(self.look(case, place, code, errors, calls))
        if "KILL" in case.fault and not found:
            found += self.look_after_kill(place)
        log.unlink(missing_ok=True)
        shutil.rmtree(place)
        return found

    def look(self, case, place, code, errors, calls):
        old = VARIANTS[case.variant].old
        if code is None:
            yield "it does not end"
        for index, clip in enumerate(self.clips):
            if (place / f"{index}.mp4").read_bytes() != clip:
                yield f"clip {index} changed"
        output = (place / "out.mp4").read_bytes() if (place / "out.mp4").exists() else None
        complete = output == self.expected(case.variant)
        if not complete and output != (OLD if old else None):
            yield f"the output is neither absent nor old nor complete: {len(output or b'')} bytes"
        if code == 0 and not complete:
            yield "exit code 0 without a complete output"
        mute = case.call == "write" and case.fault.endswith("+")
        if code not in (0, None) and not errors and "signal" not in case.fault and not mute:
            yield "it fails without a word"
        yield from self.look_at_flushes(case, code, calls)
        left = [path.name for path in place.glob(".out.mp4.clipchain-*")]
        if left and "KILL" not in case.fault and not any(name in errors for name in left):
            yield f"{left} stays behind, and nobody says so"
        if left and not case.call.startswith("unlink") and "KILL" not in case.fault:
            yield f"{left} stays behind"

    @staticmethod
    def look_at_flushes(case, code, calls):
        flushed = collections.Counter()
        failed = set()
        for line in calls.splitlines():
            match = re.search(r"\b(fsync|fdatasync)\(\d+<([^>]*)>.*\) += (-?\d+)", line)
            if not match:
                continue
            name = match.group(2)
            if name in failed:
                yield f"{name} is flushed again after its flush failed"
            if match.group(3) != "0":
                failed.add(name)
            flushed[name] += 1
        if failed and code == 0:
            yield "exit code 0 though a flush failed"
        if code == 0 and len(flushed) < 2:
            yield f"exit code 0 after flushes of {sorted(flushed)} alone"

    def look_after_kill(self, place):
        left = [path.name for path in place.glob(".out.mp4.clipchain-*")]
        if not left:
            return
        code, errors = run(self.command(["--overwrite"]), place)
        if code != 0 or not all(name in errors for name in left):
            yield f"the next run does not name {left}: {code}, {errors}"
        code, errors = run(self.command(["--overwrite", "--remove-leftovers"]), place)
        if code != 0 or list(place.glob(".out.mp4.clipchain-*")):
            yield f"--remove-leftovers does not remove {left}: {code}, {errors}"
        if (place / "out.mp4").read_bytes() != self.reference:
            yield "the merge after a kill gives something else"


def sample(cases):
    """A fixed choice in which each call occurs, and each kind of fault."""
    shuffled = sorted(cases)
    random.Random(20261121).shuffle(shuffled)
    chosen, calls, kinds = [], set(), set()
    for case in shuffled:
        kind = (case.variant, re.sub(r"\d+", "", case.fault))
        if case.call not in calls or kind not in kinds:
            chosen.append(case)
            calls.add(case.call)
            kinds.add(kind)
    chosen += [case for case in shuffled if case not in chosen][: max(0, SAMPLE - len(chosen))]
    return chosen


def can_trace(folder):
    if shutil.which("strace") is None:
        return False
    code, _ = run(strace(folder / "try", ["-e", "inject=getppid:error=EIO"], ["true"]), folder)
    return code == 0


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--whole", action="store_true")
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("--only", default="", help="cases whose text has this in it")
    parser.add_argument("tool")
    parser.add_argument("clips", nargs="+")
    arguments = parser.parse_args()
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        if not can_trace(folder):
            print("skipped: strace is absent or may not trace here")
            return SKIPPED
        bench = Bench(arguments.tool, arguments.clips, folder)
        cases = [case for variant in VARIANTS for case in bench.cases(variant)]
        if not arguments.whole:
            cases = sample(cases)
        cases = [case for case in cases if arguments.only in " ".join(map(str, case))]
        wrong = 0
        with ThreadPoolExecutor(arguments.jobs) as pool:
            for case, found in zip(cases, pool.map(bench.faults, cases)):
                wrong += bool(found)
                for fault in found:
                    print(f"{case.variant}: {case.call}:{case.fault}: {fault}", flush=True)
        print(f"{len(cases)} cases, {wrong} of them wrong")
        return 1 if wrong or not cases else 0


if __name__ == "__main__":
    sys.exit(main())
