#!/usr/bin/env python3
"""Takes the power away from a machine that merges, at every moment and in thousands of ways.

    power_loss_test.py [--sharing] STRACE TOOL CLIP CLIP

With --sharing in a folder whose file system shares blocks, as the result then does with its clips.

What the tool asks of the system is recorded. A model of a disk then plays it up to a moment and
loses power: of what no flush has secured, writes are lost, done in another order, or torn between
blocks of 4 KiB, sizes are the old or the new ones, and names in a folder are changed or not. The
promise is that the output is then not there, is the old file, or is the complete new one, and that
it is the new one as soon as the tool has said so.
"""
import random
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

BLOCK = 4096
WAYS = 60  # to lose power, at each moment
OUTPUT = "out.mp4"
SKIPPED = 77
SHARING = "--reflink=always"
CALLS = ("open openat creat write writev pwrite64 pwritev ftruncate truncate rename renameat renameat2 unlink"
         " unlinkat link linkat fsync fdatasync syncfs sync close lseek copy_file_range sendfile dup dup2 dup3 ioctl")


class File:
    """What a disk may hold of a file: its flushed bytes, and the changes since."""

    def __init__(self, flushed=b""):
        self.flushed = flushed
        self.changes = []  # (offset, bytes), or (size, None) for a cut

    def write(self, offset, data):
        self.changes.append((offset, data))

    def flush(self):
        self.flushed = self.after(self.changes)
        self.changes = []

    def after(self, changes):
        content = bytearray(self.flushed)
        for offset, data in changes:
            if data is None:
                del content[offset:]
                content.extend(bytes(offset - len(content)))
            else:
                content.extend(bytes(max(0, offset + len(data) - len(content))))
                content[offset : offset + len(data)] = data
        return bytes(content)

    def current(self):
        return self.after(self.changes)

    def after_power_loss(self, chance):
        way = chance.random()
        if way < 0.2:
            return self.flushed
        if way < 0.3:
            return self.current()
        blocks = []
        for offset, data in self.changes:
            if data is None:
                blocks.append((offset, None))
                continue
            at = 0
            while at < len(data):
                end = min(len(data), (offset + at) // BLOCK * BLOCK + BLOCK - offset)
                blocks.append((offset + at, data[at:end]))
                at = end
        likely = chance.choice((0.1, 0.5, 0.9))
        kept = [block for block in blocks if chance.random() < likely]
        chance.shuffle(kept)
        content = self.after(kept)
        if chance.random() < 0.3:
            content += bytes(max(0, len(self.current()) - len(content)))  # the size came through
        return content


class Disk:
    def __init__(self, names):
        self.flushed_names = dict(names)
        self.names = dict(names)
        self.steps = []  # changes of names that no flush has secured: dictionaries of what they set

    def set(self, **changed):
        self.names = self.applied(self.names, changed)
        self.steps.append(changed)

    @staticmethod
    def applied(names, changed):
        names = {**names, **changed}
        return {name: file for name, file in names.items() if file is not None}

    def flush_names(self):
        self.flushed_names = dict(self.names)
        self.steps = []

    def output_after_power_loss(self, chance):
        names = self.flushed_names
        likely = chance.choice((0.0, 0.5, 1.0))
        for changed in self.steps:
            if chance.random() < likely:
                names = self.applied(names, changed)
        file = names.get(OUTPUT)
        return None if file is None else file.after_power_loss(chance)


LINE = re.compile(r"^(?:\d+ +)?(\w+)\((.*)\) += (-?\d+)")
BEGINS = re.compile(r"^(\d+) +((\w+)\(.*) <unfinished \.\.\.>$")
ENDS = re.compile(r"^(\d+) +<\.\.\. \w+ resumed>(.*)$")
READING = {"openat", "close", "lseek"}  # what other threads do with clips
SHARES = re.compile(
    r"(\d+), (?:\w+ or )?FICLONERANGE, {src_fd=(\d+), src_offset=(\d+), src_length=(\d+), dest_offset=(\d+)}$")
STRING = re.compile(r'"((?:\\x[0-9a-f]{2})*)"(\.\.\.)?')


def strings(arguments):
    for found in STRING.finditer(arguments):
        if found[2]:
            raise RuntimeError("the record leaves bytes out")
    return [bytes.fromhex(found[1].replace("\\x", "")) for found in STRING.finditer(arguments)]


class Player:
    """Plays a record on a disk. A call that it does not know is an error, not a gap."""

    def __init__(self, disk, outputs, clips):
        self.disk = disk
        self.outputs = outputs  # a name that is written to must be one of the tool's own
        self.clips = clips  # name: bytes
        self.open = {}  # number of the descriptor: [file or None for the folder, position]
        self.read = {}  # number of the descriptor: bytes of a clip
        self.said = False

    def play(self, call, arguments, result):
        handler = getattr(self, "do_" + call, None)
        if handler is None:
            raise RuntimeError(f"no model of {call}({arguments[:80]}")
        handler(arguments, result)

    @staticmethod
    def number(arguments):
        return int(re.match(r"\d+", arguments)[0])

    def do_openat(self, arguments, result):
        name = strings(arguments)[0].decode()
        if "O_DIRECTORY" in arguments:
            self.open[result] = [None, 0]
            return
        name = Path(name).name
        if "O_WRONLY" not in arguments and "O_RDWR" not in arguments:
            self.read[result] = self.clips.get(name)
            return
        if not self.outputs(name):
            raise RuntimeError(f"{name} is opened to be written to")
        if name not in self.disk.names:
            self.disk.set(**{name: File()})
        elif "O_TRUNC" in arguments:
            self.disk.names[name].changes.append((0, None))
        self.open[result] = [self.disk.names[name], 0]

    def do_write(self, arguments, result):
        number = self.number(arguments)
        if number == 1:
            self.said = True  # the tool tells its result on its output
        entry = self.open.get(number)
        if entry is not None:
            entry[0].write(entry[1], strings(arguments)[-1][:result])
            entry[1] += result

    def do_pwrite64(self, arguments, result):
        offset = int(arguments.rsplit(",", 1)[1])
        self.open[self.number(arguments)][0].write(offset, strings(arguments)[-1][:result])

    def do_lseek(self, arguments, result):
        entry = self.open.get(self.number(arguments))
        if entry is not None:
            entry[1] = result

    def do_ftruncate(self, arguments, _):
        self.open[self.number(arguments)][0].changes.append((int(arguments.rsplit(",", 1)[1]), None))

    # What is shared is there once its file is flushed, as if it had been written.
    def do_ioctl(self, arguments, _):
        found = SHARES.match(arguments)
        if found is None:
            if "CLONE" in arguments:
                raise RuntimeError(f"no model of ioctl({arguments[:80]}")
            return
        to, source, begin, length, at = map(int, found.groups())
        data = self.read[source][begin : begin + length]
        self.open[to][0].write(at, data)

    def do_fsync(self, arguments, _):
        file = self.open[self.number(arguments)][0]
        if file is None:
            self.disk.flush_names()
        else:
            file.flush()

    do_fdatasync = do_fsync

    def do_close(self, arguments, _):
        self.open.pop(self.number(arguments), None)
        self.read.pop(self.number(arguments), None)

    def do_renameat2(self, arguments, _):
        old, new = (Path(name.decode()).name for name in strings(arguments))
        self.disk.set(**{old: None, new: self.disk.names[old]})

    do_rename = do_renameat = do_renameat2

    def do_unlink(self, arguments, _):
        self.disk.set(**{Path(strings(arguments)[-1].decode()).name: None})

    do_unlinkat = do_unlink


def whole_calls(lines):
    """The calls of a record as lines, each where it ends: one during which another thread makes a call
    stands in two. A close stands where it begins, since its number may be taken before it ends."""
    begun = {}  # thread: the name of its call and what stands of it
    for line in lines:
        if begins := BEGINS.match(line):
            thread, text, name = begins.groups()
            begun[thread] = name, text
            line = f"{text}) = 0" if name == "close" else ""
        elif ends := ENDS.match(line):
            name, text = begun.pop(ends[1])
            line = text + ends[2] if name != "close" else ""
        call = LINE.match(line)
        if call is None:
            continue
        flushing = [name for name, _ in begun.values() if name.endswith("sync")]
        if flushing and call[1] not in READING:
            raise RuntimeError(f"{call[1]} in the middle of {flushing[0]}: nobody knows what is secured")
        yield call


def record(strace, tool, folder, options):
    log = folder / "record"
    subprocess.run(
        [strace, "-f", "-xx", "-s", "100000000", "-e", "trace=" + ",".join(CALLS.split()), "-o", log,
         tool, "merge", *options, "-o", OUTPUT, "clip1.mp4", "clip2.mp4"],
        cwd=folder, check=True, capture_output=True,
    )
    lines = log.read_text().splitlines()
    log.unlink()
    calls = whole_calls(lines)
    return [(call[1], call[2], int(call[3])) for call in calls if int(call[3]) >= 0]


def check(strace, tool, clips, old, options):
    """The number of states looked at, and what is wrong with them; an error if nothing could be."""
    folder = Path(tempfile.mkdtemp())
    try:
        named = {f"clip{number}.mp4": Path(clip).read_bytes() for number, clip in enumerate(clips, 1)}
        for name, content in named.items():
            (folder / name).write_bytes(content)
        if old is not None:
            (folder / OUTPUT).write_bytes(old)
        calls = record(strace, tool, folder, options)
        new = (folder / OUTPUT).read_bytes()
    finally:
        shutil.rmtree(folder)
    careless = [call for call in calls if not call[0].endswith("sync")]
    if not play(careless, old, new, named)[1]:
        raise RuntimeError("a tool that flushes nothing would pass")
    states, faults = play(calls, old, new, named)
    if SHARING in options and not any("FICLONERANGE" in arguments for _, arguments, _ in calls):
        raise RuntimeError("nothing was shared")
    return states, faults


def play(calls, old, new, clips):
    disk = Disk({} if old is None else {OUTPUT: File(old)})
    player = Player(disk, lambda name: name == OUTPUT or name.startswith("."), clips)
    chance = random.Random(20240601)
    states, faults = 0, []
    for place, (call, arguments, result) in enumerate(calls):
        player.play(call, arguments, result)
        allowed = [new] if player.said else [old, new]
        for _ in range(WAYS):
            states += 1
            if disk.output_after_power_loss(chance) not in allowed:
                faults.append(f"after call {place}, {call}({arguments[:60]}")
                break
    if disk.names[OUTPUT].current() != new:
        faults.append("the model does not come to what the disk holds")
    if not player.said:
        faults.append("the tool never said that it was done")
    return states, faults


def may_trace(strace):
    return subprocess.run([strace, "-o", "/dev/null", "true"], capture_output=True, check=False).returncode == 0


MERGES = (("a new output", None, []),
          ("an output that is replaced", b"old" * 5000, ["--overwrite"]),
          ("every byte verified", None, ["--verify=full"]))
SHARING_MERGES = (("shared media", None, [SHARING]),
                  ("shared media behind the movie box", b"old" * 5000, [SHARING, "--faststart", "--overwrite"]))


def main(*arguments):
    sharing = arguments[0] == "--sharing"
    strace, tool, *clips = arguments[1 if sharing else 0 :]
    if not may_trace(strace):
        print("no process may look at another one here")
        return SKIPPED
    failed = False
    for title, old, options in SHARING_MERGES if sharing else MERGES:
        states, faults = check(strace, tool, clips, old, options)
        print(f"{title}: {states} states, {len(faults)} broken promises")
        print("\n".join(faults[:5]), end="\n" if faults else "")
        failed |= bool(faults) or states < 1000
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
