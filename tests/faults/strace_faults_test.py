"""The eyes of strace_faults.py see each of the faults that they are for, and none in what is right."""
import shutil
import tempfile
import unittest
from pathlib import Path

from strace_faults import OLD, Bench, Case, sample

PART = ".out.mp4.clipchain-1-0123456789abcdef.part"
FLUSHES = '1 fsync(5</x/.part>) = 0\n1 fsync(3</x>) = 0\n'


class Eyes(unittest.TestCase):
    def setUp(self):
        self.folder = Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.folder)
        clip = self.folder / "clip"
        clip.write_bytes(b"clip")
        self.bench = Bench("tool", [clip, clip], self.folder)
        self.bench.reference = b"whole"

    def faults(self, code, output=None, fault="error=EIO:when=1", call="read", errors="why",
               calls=FLUSHES, variant="new", change=None):
        place = self.bench.lay_out("place", variant == "overwrite")
        if output is not None:
            (place / "out.mp4").write_bytes(output)
        if change:
            change(place)
        case = Case(variant, call, 1, fault)
        found = list(self.bench.look(case, place, code, errors, calls))
        shutil.rmtree(place)
        return found

    def test_pass_what_is_right(self):
        self.assertEqual([], self.faults(0, b"whole"))
        self.assertEqual([], self.faults(1))
        self.assertEqual([], self.faults(1, b"whole"))
        self.assertEqual([], self.faults(1, OLD, variant="overwrite"))
        self.assertEqual([], self.faults(-9, fault="signal=KILL:when=1", errors=""))

    def test_see_an_output_that_is_not_complete(self):
        self.assertEqual(1, len(self.faults(1, b"who")))
        self.assertEqual(1, len(self.faults(1, b"", variant="overwrite")))
        self.assertEqual(1, len(self.faults(1, OLD)))

    def test_see_success_without_an_output(self):
        self.assertEqual(1, len(self.faults(0)))
        self.assertEqual(1, len(self.faults(0, OLD, variant="overwrite")))

    def test_see_a_clip_that_changed(self):
        change = lambda place: (place / "1.mp4").write_bytes(b"clap")
        self.assertEqual(["clip 1 changed"], self.faults(1, change=change))

    def test_see_a_merge_that_does_not_end_or_says_nothing(self):
        self.assertEqual(["it does not end"], self.faults(None))
        self.assertEqual(["it fails without a word"], self.faults(1, errors=""))

    def test_see_a_hidden_file_that_stays(self):
        change = lambda place: (place / PART).write_bytes(b"")
        self.assertNotEqual([], self.faults(1, change=change))
        self.assertNotEqual([], self.faults(1, change=change, errors=PART))
        self.assertEqual([], self.faults(1, change=change, errors=PART, call="unlink"))
        self.assertNotEqual([], self.faults(1, change=change, call="unlink"))
        self.assertEqual([], self.faults(-9, change=change, fault="signal=KILL:when=1", errors=""))

    def test_see_a_flush_that_is_missing_or_tried_again(self):
        self.assertEqual(1, len(self.faults(0, b"whole", calls="1 fsync(3</x>) = 0\n")))
        failed = "1 fsync(5</x/.part>) = -1 EIO (Input/output error) (INJECTED)\n"
        self.assertEqual([], self.faults(1, calls=failed))
        self.assertEqual(1, len(self.faults(1, calls=failed + FLUSHES)))
        self.assertNotEqual([], self.faults(0, b"whole", calls=failed + "1 fsync(3</x>) = 0\n"))

    def test_see_leftovers_that_the_next_run_passes_over(self):
        place = self.bench.lay_out("place", False)
        (place / PART).write_bytes(b"")
        self.bench.tool = "true"
        (place / "out.mp4").write_bytes(b"whole")
        self.assertEqual(2, len(list(self.bench.look_after_kill(place))))


class Sample(unittest.TestCase):
    CASES = [
        Case(variant, call, number, f"{fault}:when={number}")
        for variant in ("new", "full")
        for call in ("read", "write", "fsync")
        for number in range(40)
        for fault in ("error=EIO", "signal=KILL")
    ]

    def test_is_the_same_each_time_and_holds_each_call_and_fault(self):
        chosen = sample(self.CASES)
        self.assertEqual(60, len(set(chosen)))
        self.assertEqual(chosen, sample(list(reversed(self.CASES))))
        self.assertEqual({"read", "write", "fsync"}, {case.call for case in chosen})
        self.assertEqual(4, len({(case.variant, case.fault.split(":")[0]) for case in chosen}))


if __name__ == "__main__":
    unittest.main()
