"""Cards by chance: cameras with customs of their own record, and people do to the cards what people do.

What is really one recording is known from the way in which it came about, never from what the files
say. Nothing here looks at the clips afterwards to find out what could be told about them but
`is_evident`, which goes by what a camera of that kind always writes.
"""
import math
import os
import random
from dataclasses import dataclass, field, replace

import tiny_clips

GIB = 1 << 30
MIB = 1 << 20
BOUNDS = (2 * GIB, 4_000_000_000, 4 * GIB)
MINUTES = (1, 2, 3, 5, 10, 15, 20, 30)
EPOCH_1970 = 2_082_844_800
RATES = ((24, 24000, 1000), (25, 25000, 1000), (30, 30000, 1001), (30, 30000, 1000),
         (50, 50000, 1000), (60, 60000, 1001), (120, 120000, 1001))


@dataclass
class Recording:
    camera: object
    clips: list = field(default_factory=list)  # all that were recorded
    kept: list = field(default_factory=list)   # that are still on the card
    renamed: bool = False
    unset: bool = False  # the clock was not set


class Camera:
    def __init__(self, chance, index, roots):
        self.chance, self.index = chance, index
        pick = chance.choice
        self.clock = chance.choices(
            ["start", "end", "one", "none", "reset", "stuck"], [45, 18, 14, 8, 9, 6])[0]
        self.rounding = chance.choice([0.0, 0.0, 0.5, 0.999])
        self.nominal, self.scale, self.delta = pick(RATES)
        self.gap = pick([0, 0, 0.02, 0.3, 0.8])   # what gets lost from one clip to the next
        self.data_rate = chance.uniform(1.5e6, 2.2e7)
        self.vary = pick([0, 0.01, 0.08])
        self.width = pick([1280, 1920, 2704, 3840])
        self.codec = bytes([1, 0x64, 0, chance.randrange(30, 60)]) + chance.randbytes(15)
        self.sound = chance.random() < 0.3
        self.declares_rate = chance.random() < 0.4
        self.long_times = chance.random() < 0.15
        self.movie_first = chance.random() < 0.2
        self.root = pick(roots)
        self.folder_number = chance.randrange(100, 980)
        self.folder_letters = "".join(chance.choices("ABCDEFGHJKLMNPQRSTUVWXYZ", k=5))
        self.in_folders = chance.random() < 0.8
        self.per_folder = pick([9999, 9999, 9999, 7])
        self.in_folder = 0
        self.number = chance.randrange(9985, 10000) if chance.random() < 0.12 else \
            chance.randrange(1, 9900)
        self.names = pick(["running", "running", "wide", "front", "first", "behind", "dated",
                           "dated_number", "random", "photos"])
        self.prefix = "".join(chance.choices("ABCDEFGHJKLMNPQRSTUVWXYZ", k=3))
        self.codes = chance.choices(["none", "day", "counter", "alike", "zero"], [50, 20, 14, 8, 8])[0]
        self.drop = self.delta == 1001 and self.nominal in (30, 60) and chance.random() < 0.7
        self.per_frame = chance.random() < 0.15 and self.codes != "none"
        self.counted = chance.randrange(0, 90000)
        self.codes_see_gaps = chance.random() < 0.2
        self.in_fields = chance.random() < 0.5
        self.day_code = 0
        self.ids = chance.choices(["none", "recording", "camera", "clip"], [55, 25, 12, 8])[0]
        self.id_size = pick([16, 16, 20, 24, 32])
        self.id_lead = pick([0, 0, 4])
        self.id_where = pick(["udta", "uuid", "meta", "deep"])
        self.serial = chance.randbytes(16)
        self.is_double = False
        self.now = 3.6e9 + chance.random() * 3e8
        self.since_power_on = 0.0
        self.set_limit()

    def set_limit(self):
        chance = self.chance
        self.size_limit = self.frame_limit = 0
        self.slack = 0
        self.common = True
        kind = chance.choice(["size", "size", "minutes", "minutes", "length", "large"])
        second = self.scale / self.delta
        if kind == "size":
            self.size_limit = chance.choice(BOUNDS)
            self.slack = chance.choice([70_000, 4 * MIB, 30 * MIB, 63 * MIB])
        elif kind == "minutes":
            frames = 60 * chance.choice(MINUTES) * second
            self.frame_limit = chance.choice([math.floor(frames), math.ceil(frames)])
        elif kind == "length":
            self.frame_limit = round(chance.uniform(70, 1700) * second)
            self.common = False
        else:
            self.size_limit = chance.choice([6_000_000_000, 8_000_000_000, 12 * GIB, 16_000_000_000])
            self.slack = 0.4 * self.data_rate
            self.common = False

    def limit_seconds(self):
        if self.frame_limit:
            return self.frame_limit * self.delta / self.scale
        return self.size_limit / self.data_rate

    # What a clip of so many frames weighs, and whether it could be taken for one that was split.
    def is_near_limit(self, frames, size):
        second = self.scale / self.delta
        if any(abs(frames - 60 * m * second) < 3 for m in MINUTES):
            return True
        if any(b - 70 * MIB <= size <= b + MIB for b in BOUNDS):
            return True
        if self.frame_limit:
            return abs(frames - self.frame_limit) < 3 * second
        return size > self.size_limit - 2 * self.slack - 2 * self.data_rate - 70 * MIB

    def rate_now(self):
        return self.data_rate * (1 + self.chance.uniform(-self.vary, self.vary))

    def full_clip(self):
        rate = self.rate_now()
        if self.frame_limit:
            frames = self.frame_limit
            return frames, int(rate * frames * self.delta / self.scale)
        size = int(self.size_limit - self.chance.uniform(0, self.slack))
        return int(size / rate * self.scale / self.delta), size

    def short_clip(self):
        for _ in range(50):
            rate = self.rate_now()
            seconds = self.limit_seconds() * self.chance.uniform(0.01, 0.93)
            if self.chance.random() < 0.25:
                seconds = float(int(seconds) + 1)
            frames = max(int(2.2 * self.nominal), round(seconds * self.scale / self.delta))
            size = int(rate * frames * self.delta / self.scale)
            if not self.is_near_limit(frames, size):
                return frames, size
        return int(3 * self.nominal), int(3 * self.data_rate)

    def record(self, parts, ends_full=False):
        """A recording of that many clips, all but the last at the limit."""
        recording = Recording(self)
        begin = self.now
        if self.clock == "reset":
            recording.unset = True
            self.since_power_on = self.chance.uniform(2, 300)
            base = self.chance.choice([EPOCH_1970, EPOCH_1970 + 16436 * 86400,
                                       EPOCH_1970 + 17532 * 86400, 0])
            begin = base + self.since_power_on
        if self.clock == "stuck":
            recording.unset = True
        own = self.chance.randbytes(self.id_size)
        time = begin
        gap = 0
        chapters = self.names in ("front", "first", "behind")
        for part in range(parts):
            is_full = part + 1 < parts or ends_full
            frames, size = self.full_clip() if is_full else self.short_clip()
            clip = tiny_clips.Clip(frames=frames, size=size, scale=self.scale, delta=self.delta,
                                   width=self.width, codec=self.codec, sound=self.sound,
                                   long_times=self.long_times, movie_first=self.movie_first)
            if self.declares_rate:
                clip.rate = int(size * 8 / clip.seconds()) & 0xFFFFFFFF
            shown = {"start": time, "end": time + clip.seconds(), "one": begin, "none": 0,
                     "reset": time, "stuck": 3.45e9}[self.clock]
            clip.created = int(shown + self.rounding) if self.clock != "none" else 0
            self.note_codes(clip, time, part == 0, gap)
            self.note_ids(clip, own)
            clip.path = self.path_of(part, begin, time)
            clip.written = (self.now + (time - begin) + clip.seconds()) - EPOCH_1970
            gap = self.chance.uniform(0, self.gap)
            time += clip.seconds() + gap
            if not chapters:
                self.step()
            recording.clips.append(clip)
        if chapters:
            self.step()
        self.now += time - begin
        recording.kept = list(recording.clips)
        return recording

    def step(self, by=1):
        self.number = (self.number + by - 1) % 9999 + 1

    def note_codes(self, clip, time, is_first, gap):
        day = self.nominal * 86400 - (self.nominal // 30 * 2 * 1296 if self.drop else 0)
        if self.codes != "none":
            # Set by the clock where a recording begins, and counted from there.
            if is_first:
                self.day_code = 0 if self.codes == "zero" else int(time % 86400 * self.nominal) % day
            elif self.codes_see_gaps:
                self.day_code += round(gap * self.scale / self.delta)
            first = {"day": self.day_code, "zero": self.day_code, "counter": self.counted,
                     "alike": 0}[self.codes]
            per_frame = self.per_frame and clip.frames < 40000
            clip.timecode = tiny_clips.Timecode(first % day, self.nominal, self.drop, per_frame,
                                                self.in_fields and not self.drop)
            self.day_code += clip.frames
        self.counted += clip.frames

    def note_ids(self, clip, own):
        if self.ids == "none":
            return
        value = {"recording": own, "camera": self.serial,
                 "clip": self.chance.randbytes(self.id_size)}[self.ids]
        body = bytes(self.id_lead) + value
        if self.id_where == "udta":
            clip.user_data.append(tiny_clips.box(b"RCID", body))
        elif self.id_where == "deep":
            clip.user_data.append(tiny_clips.box(b"MAKE", tiny_clips.box(b"HEAD", b"1234"),
                                                 tiny_clips.box(b"IDEN", body)))
        elif self.id_where == "uuid":
            clip.extensions.append(tiny_clips.box(b"uuid", b"recording-number", body))
        else:
            clip.extensions.append(tiny_clips.full(
                b"meta", 0, 0, tiny_clips.full(b"hdlr", 0, 0, bytes(4), b"mdta", bytes(12), b"\0"),
                tiny_clips.box(b"RCID", body)))
        if self.ids == "recording" and self.chance.random() < 0.5:
            clip.user_data.append(tiny_clips.box(b"SERL", self.serial))

    def folder(self):
        if not self.in_folders:
            return self.root
        self.in_folder += 1
        if self.in_folder > self.per_folder:
            self.in_folder = 1
            self.folder_number += 1
        return "%s/DCIM/%03d%s" % (self.root, self.folder_number, self.folder_letters)

    def path_of(self, part, begin, time):
        n, p = self.number, self.prefix
        seconds = int(time) % 86400
        date = "202406%02d" % (int(time) // 86400 % 30 + 1)
        clock = "%02d%02d%02d" % (seconds // 3600, seconds // 60 % 60, seconds % 60)
        name = {
            "running": "%s_%04d.MP4" % (p, n), "photos": "%s_%04d.MP4" % (p, n),
            "wide": "%s%05d.mp4" % (p, n),
            "front": "%s%02d%04d.MP4" % (p[:2], part + 1, n),
            "first": ("%sX%04d.MP4" % (p, n) if part == 0 else "%s%02d%04d.MP4" % (p[:2], part, n)),
            "behind": "%s%04d_%02d.MP4" % (p, n, part + 1),
            "dated": "%s_%s_%s.MP4" % (p, date, clock),
            "dated_number": "%s%s_%04d.MP4" % (date, clock, n),
            "random": "".join(self.chance.choices("abcdefghjkmnpqrstuvwxyz", k=9)) + ".mp4",
        }[self.names]
        return self.folder() + "/" + name


class Card:
    def __init__(self, seed, root):
        self.chance = random.Random(seed)
        self.seed, self.root = seed, root
        self.roots = [root + "/one"]
        if self.chance.random() < 0.12:
            self.roots.append(root + "/two")
        self.recordings, self.others, self.story = [], [], []
        self.make()

    def make(self):
        chance = self.chance
        cameras = [Camera(chance, i, self.roots) for i in range(chance.choice([1, 1, 1, 2, 3]))]
        if chance.random() < 0.25:
            cameras.append(self.twin_of(cameras[0]))
        elif chance.random() < 0.1:
            cameras[0].is_double = True
        for camera in cameras:
            for _ in range(chance.randrange(1, 8)):
                self.pause(camera)
                parts = 1 if chance.random() < 0.4 else chance.randrange(2, 7)
                # One that ends just where a clip does is told from the next one by time alone.
                ends_full = parts > 1 and camera.codes != "counter" and chance.random() < 0.06
                self.recordings.append(camera.record(parts, ends_full))
                camera.ended_full = ends_full
        for recording in list(self.recordings):
            if recording.camera.is_double:
                self.recordings.append(self.behind_of(recording))
        self.unite_names()
        self.story = ["%s %s names %s codes %s%s ids %s limit %d/%d%s" % (
            c.clock, c.rounding, c.names, c.codes, " drop" if c.drop else "", c.ids, c.size_limit,
            c.frame_limit, "" if c.common else " own") for c in cameras]
        self.lose()
        if chance.random() < 0.06:
            self.rename()
        if chance.random() < 0.15:
            self.copy()
        self.add_strangers(cameras)

    def behind_of(self, recording):
        """What a camera records that looks to both sides: two clips at a time."""
        back = Recording(recording.camera, unset=recording.unset)
        own = self.chance.randbytes(20)
        for clip in recording.clips:
            stem, kind = clip.path.rsplit(".", 1)
            size = int(clip.size * self.chance.uniform(0.8, 1)) if recording.camera.frame_limit \
                else clip.size - self.chance.randrange(1000)
            other = replace(clip, path="%sR.%s" % (stem, kind), size=size)
            clip.path = "%sF.%s" % (stem, kind)
            if recording.camera.ids == "recording":
                other.user_data = [tiny_clips.box(b"RCID", own)]
                other.extensions = []
            back.clips.append(other)
        back.kept = list(back.clips)
        return back

    def twin_of(self, other):
        """A second camera of the same make, that ran at about the same time."""
        twin = Camera(self.chance, 9, self.roots)
        for name in ("clock", "rounding", "nominal", "scale", "delta", "gap", "data_rate", "vary",
                     "width", "codec", "sound", "declares_rate", "long_times", "movie_first",
                     "names", "codes", "codes_see_gaps", "drop", "per_frame", "in_fields", "ids", "id_size", "id_lead", "id_where",
                     "size_limit", "frame_limit", "slack", "common", "in_folders"):
            setattr(twin, name, getattr(other, name))
        twin.now = other.now + self.chance.choice([0, self.chance.uniform(-900, 900),
                                                   self.chance.uniform(2000, 90000)])
        other.has_twin = twin.has_twin = True
        return twin

    def pause(self, camera):
        chance = self.chance
        ended_full = getattr(camera, "ended_full", False)
        if chance.random() < 0.15 and not ended_full and camera.clock != "reset":
            camera.now += chance.uniform(0.1, 1.9)  # begun again at once
            return
        camera.now += chance.choice([chance.uniform(4, 60), chance.uniform(60, 90000)])
        if ended_full:
            camera.now += 10
        if chance.random() < 0.04:
            camera.now += chance.choice([3600, -3600, -86400 * 200.5])
        if camera.names == "photos" or chance.random() < 0.1:
            for _ in range(chance.randrange(1, 4)):
                self.others.append(("photo", camera.path_of(0, 0, 0).rsplit(".", 1)[0] + ".JPG"))
                camera.step()

    def unite_names(self):
        """Two clips of one place: the card would have neither, so the later one gets another name."""
        seen = set()
        for recording in self.recordings:
            for clip in recording.clips:
                while clip.path.lower() in seen:
                    stem, kind = clip.path.rsplit(".", 1)
                    clip.path = stem + "x." + kind
                    recording.renamed = True
                seen.add(clip.path.lower())

    def lose(self):
        for recording in self.recordings:
            if self.chance.random() < 0.05:
                recording.kept.remove(self.chance.choice(recording.kept))

    def rename(self):
        clips = [clip for recording in self.recordings for clip in recording.kept]
        if self.chance.random() < 0.5:
            self.chance.shuffle(clips)
        for i, clip in enumerate(clips):
            clip.path = "%s/%03d.mp4" % (self.roots[0], i + 1)
        for recording in self.recordings:
            recording.renamed = True

    def copy(self):
        for recording in self.recordings:
            for clip in recording.kept:
                if self.chance.random() < 0.35:
                    name = os.path.basename(clip.path)
                    if self.chance.random() < 0.3:
                        name = "copy of " + name
                    self.others.append(("copy", clip, "%s/backup/%s" % (self.roots[0], name)))

    def add_strangers(self, cameras):
        chance = self.chance
        if chance.random() < 0.3:
            # Pictures of a time-lapse, each a clip of its own.
            camera = chance.choice(cameras)
            folder = os.path.dirname(camera.path_of(0, 0, 0))
            every = chance.choice([1, 2, 5, 30])
            for i in range(chance.randrange(3, 12)):
                clip = tiny_clips.Clip(path="%s/LAPS%04d.MP4" % (folder, i + 1), frames=1,
                                       size=900_000 + 1000 * i, scale=camera.scale,
                                       delta=camera.delta, width=camera.width, codec=camera.codec,
                                       created=int(camera.now) + every * i)
                self.others.append(("clip", clip))
        for _ in range(chance.choice([0, 0, 1, 3])):
            codec = bytes([1, 0x4D, 0, 30]) + chance.randbytes(15)
            clip = tiny_clips.Clip(path="%s/%s.mp4" % (self.roots[0], chance.randrange(10 ** 6)),
                                   frames=chance.randrange(100, 9000), size=chance.randrange(10 ** 6, 10 ** 8),
                                   width=640, codec=codec,
                                   created=int(chance.choice(cameras).now) - chance.randrange(2000))
            self.others.append(("clip", clip))

    def put(self):
        for root in self.roots:
            os.makedirs(root, exist_ok=True)
        for recording in self.recordings:
            for clip in recording.kept:
                tiny_clips.write(clip)
        for other in self.others:
            if other[0] == "photo":
                os.makedirs(os.path.dirname(other[1]), exist_ok=True)
                open(other[1], "wb").close()
            elif other[0] == "clip":
                if not os.path.exists(other[1].path):
                    tiny_clips.write(other[1])
            else:
                original, place = other[1].path, other[2]
                if not os.path.exists(place):
                    other[1].path = place
                    tiny_clips.write(other[1])
                    other[1].path = original

    def is_evident(self, recording):
        """Whether its camera's customs make a recording of all clips at least likely by the rules."""
        camera = recording.camera
        if len(recording.kept) < 2 or recording.kept != recording.clips or recording.renamed:
            return False
        same = [r for r in self.recordings if r.camera.codec == camera.codec]
        at_limit = sum(len(r.clips) - 1 for r in same)
        if not camera.common and at_limit < 2 + sum(r.kept != r.clips for r in same):
            return False
        if getattr(camera, "has_twin", False):
            return False
        if camera.is_double and (camera.names in ("dated", "dated_number", "random", "first") or
                                 camera.size_limit):
            return False
        if camera.codes in ("day", "zero") and camera.gap and camera.codes_see_gaps:
            return False
        if camera.clock in ("start", "end") or camera.codes == "day":
            return True
        if camera.ids == "recording" and camera.names in ("running", "wide", "front", "behind"):
            # Where all clips of the description have one value, nobody knows what it is of; nor, without
            # a clock, whether clips of one size are followed by others.
            return len(same) > 1 and camera.common
        return camera.clock == "one" and camera.names in ("running", "wide", "photos", "front",
                                                          "behind")
