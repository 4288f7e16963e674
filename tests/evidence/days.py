"""Days of shooting, played out moment by moment, for a second judge of what the tool proposes.

Written without a look at cards.py, and with a writer of its own: a mistake in the one should not be in the
other. A device has habits; people pause, photograph, set clocks, delete, copy and give other names. What is
one take is known from the way in which it came about.
"""
import calendar
import hashlib
import os
import random
import struct
import time

SINCE_1904 = 2082844800
SIZES = {"2GiB": 2 << 30, "4GB": 4 * 10 ** 9, "4GiB": 4 << 30}
MINUTES = (1, 2, 3, 5, 10, 15, 20, 30)
UNITY = struct.pack(">9I", 0x10000, 0, 0, 0, 0x10000, 0, 0, 0, 0x40000000)


def atom(kind, *body):
    body = b"".join(body)
    return struct.pack(">I4s", len(body) + 8, kind) + body


def versioned(kind, version, flags, *body):
    return atom(kind, bytes([version]) + flags.to_bytes(3, "big"), *body)


def u32(*numbers):
    return b"".join(struct.pack(">I", n & 0xFFFFFFFF) for n in numbers)


def u16(*numbers):
    return b"".join(struct.pack(">H", n) for n in numbers)


class Writer:
    """Writes one clip: media that is a hole in the file but for its beginning, and the movie box behind it."""

    def __init__(self, clip):
        self.clip, self.device = clip, clip.device
        self.wide = clip.device.wide_headers
        self.head = atom(b"ftyp", b"isom", u32(0x200), b"isomavc1")
        self.code = b"" if clip.code is None else u32(clip.code)
        self.media = len(self.head) + 16
        self.units = clip.frames * self.device.tick
        self.end = self.media + len(self.code)

    def long(self, number):
        return struct.pack(">Q", number) if self.wide else u32(number)

    def stamps(self):
        return self.long(self.clip.noted) * 2

    def track(self, number, kind, media_header, entry, tables, width=0, height=0):
        return atom(
            b"trak",
            versioned(b"tkhd", self.wide, 7, self.stamps(), u32(number, 0), self.long(self.units), bytes(16),
                      UNITY, u32(width << 16, height << 16)),
            atom(b"mdia",
                 versioned(b"mdhd", self.wide, 0, self.stamps(), u32(self.device.scale),
                           self.long(self.units), u16(0x55C4, 0)),
                 versioned(b"hdlr", 0, 0, u32(0), kind, bytes(12), b"h\0"),
                 atom(b"minf", media_header,
                      atom(b"dinf", versioned(b"dref", 0, 0, u32(1), versioned(b"url ", 0, 1))),
                      atom(b"stbl", versioned(b"stsd", 0, 0, u32(1), entry), *tables))))

    def video(self):
        clip, device = self.clip, self.device
        each = max(1, (clip.bytes - 9000 - len(self.code)) // clip.frames)
        chunk = 1000
        counts = [chunk] * (clip.frames // chunk)
        if clip.frames % chunk:
            counts.append(clip.frames % chunk)
        offsets = []
        for count in counts:
            offsets.append(self.end)
            self.end += count * each
        runs = [(1, counts[0])]
        if counts[-1] != counts[0]:
            runs.append((len(counts), counts[-1]))
        config = atom(b"avcC", bytes([1, 77, 0, 41, 0xFF, 0xE1, 0, 5, 0x67, 77, 0, device.flavour, 3, 1, 0, 3,
                                      0x68, 0xEB, 0x8F]))
        entry = atom(b"avc1", bytes(6), u16(1), bytes(16), u16(device.width, device.height),
                     u32(0x480000, 0x480000, 0), u16(1), bytes(32), u16(24, 0xFFFF), config)
        tables = [versioned(b"stts", 0, 0, u32(1, clip.frames, device.tick)),
                  versioned(b"stss", 0, 0, u32(1, 1)),
                  versioned(b"stsc", 0, 0, u32(len(runs)), *[u32(first, n, 1) for first, n in runs]),
                  versioned(b"stsz", 0, 0, u32(each, clip.frames)),
                  versioned(b"co64", 0, 0, u32(len(offsets)), *[struct.pack(">Q", o) for o in offsets])]
        return self.track(1, b"vide", versioned(b"vmhd", 0, 1, bytes(8)), entry, tables, device.width,
                          device.height)

    def timecode(self):
        device = self.device
        entry = atom(b"tmcd", bytes(6), u16(1), u32(0, int(device.drop), device.scale, device.tick),
                     bytes([device.nominal, 0]))
        tables = [versioned(b"stts", 0, 0, u32(1, 1, self.units)), versioned(b"stsc", 0, 0, u32(1, 1, 1, 1)),
                  versioned(b"stsz", 0, 0, u32(4, 1)), versioned(b"stco", 0, 0, u32(1, self.media))]
        header = atom(b"gmhd", versioned(b"gmin", 0, 0, u16(64, 0x8000, 0x8000, 0x8000, 0, 0)))
        return self.track(2, b"tmcd", header, entry, tables)

    def write(self, path):
        tracks = [self.video()] + ([self.timecode()] if self.code else [])
        movie = atom(b"moov",
                     versioned(b"mvhd", self.wide, 0, self.stamps(), u32(self.device.scale),
                               self.long(self.units), u32(0x10000), u16(0x100), bytes(10), UNITY, bytes(24),
                               u32(9)),
                     *tracks, *self.clip.extra)
        noise = hashlib.sha256(repr((self.device.key, self.clip.serial)).encode()).digest() * 700
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as out:
            size = struct.pack(">Q", self.end - self.media + 16)
            out.write(self.head + u32(1) + b"mdat" + size + self.code + noise)
            out.truncate(self.end)
            out.seek(self.end)
            out.write(movie)
        if self.clip.written is not None:
            os.utime(path, (self.clip.written, self.clip.written))


class Clip:
    pass


class Take:
    def __init__(self, device, brim):
        self.device, self.brim, self.clips, self.is_set_within = device, brim, [], False


def habits(chance):
    """What devices of one model have in common."""
    pick, often = chance.choice, chance.choices
    nominal, tick = pick([(24, 1001), (24, 1000), (25, 1000), (30, 1001), (30, 1000), (50, 1000), (60, 1001)])
    width, height = pick([(1920, 1080), (3840, 2160), (2704, 1520), (1280, 720)])
    model = {
        "nominal": nominal, "tick": tick, "scale": nominal * 1000, "width": width, "height": height,
        "drop": tick == 1001 and nominal != 24 and chance.random() < .6,
        "flavour": chance.randrange(256), "wide_headers": int(chance.random() < .25),
        "rate": pick([8e5, 2e6, 5e6, 7.5e6, 1.25e7]) * chance.uniform(.8, 1.2), "wobble": pick([0, .02, .06]),
        "notes": often(["start", "end", "one", "nothing", "1904", "1970", "newyear", "still"],
                       [9, 5, 4, 1, 1, 1, 1, 1])[0],
        "stop": often(["2GiB", "4GB", "4GiB", "minutes", "own time", "own size", "never"],
                      [3, 3, 4, 6, 2, 2, 1])[0],
        "minutes": pick(MINUTES), "own_frames": int(chance.uniform(40, 1500) * nominal),
        "own_bytes": int(chance.uniform(.3e9, 12e9)), "under": pick([100_000, 2 << 20, 20 << 20, 63 << 20]),
        "codes": often([None, "clock", "recorded", "0 per clip", "0 per take"], [10, 4, 2, 1, 1])[0],
        "marks": often([None, "take", "device", "clip", "words"], [10, 4, 1, 1, 1])[0],
        "mark_size": pick([16, 18, 24, 32]), "mark_lead": pick([0, 0, 1, 4]),
        "mark_kind": pick(["udta", "uuid", "meta"]),
        "names": often(["count", "low", "five", "front", "behind", "dashes", "stamp", "random"],
                       [6, 2, 1, 3, 2, 1, 3, 1])[0],
        "prefix": pick(["MVI_", "CLIP", "VID_", "A", "FILM-", "_XYZ"]),
        "folders": pick(["dcim", "dcim", "dcim small", "flat", "deep"]), "lag": pick([0, 0, .03, .4, 1.0]),
        "rounds": pick([0, .5, .99]), "loop": chance.random() < .06}
    if model["loop"]:
        model.update(stop="minutes", minutes=pick([1, 1, 3, 5]), names=pick(["stamp", "count"]), marks=None,
                     codes=None)
        if model["notes"] == "still":
            model["notes"] = "start"
    return model


def may_be_at_limit(frames, size, device):
    """Whether anybody could take it for a clip that stopped at a limit that many cameras have."""
    seconds = frames * device.tick / device.scale
    if any(abs(seconds - 60 * m) * device.nominal < 2 for m in MINUTES):
        return True
    return any(0 <= bound - size <= 66 << 20 for bound in SIZES.values())


class Device:
    def __init__(self, chance, key, model=None):
        self.chance, self.key, self.model = chance, key, model or habits(chance)
        self.__dict__.update(self.model)
        self.number = chance.choice([1, chance.randint(1, 9998), chance.randint(9990, 9998)])
        self.folder = chance.randint(100, 998)
        self.files_here = 0
        self.offset = chance.choice([0, 0, 3600, 7200, -18000, -28800, 34200])
        self.reset_at = None
        self.counter = chance.randrange(200000)
        self.body = chance.randbytes(32)
        self.letters = "".join(chance.choices("ABCDEFGHIJKLMNOPQRSTUVWXYZ", k=5))

    def full(self):
        rate = self.rate * (1 + self.chance.uniform(-self.wobble, self.wobble))
        per_second = self.scale / self.tick
        if self.stop in SIZES or self.stop == "own size":
            bound = SIZES.get(self.stop, self.own_bytes)
            under = self.under if self.stop in SIZES else int(rate * .3) + 1
            size = bound - self.chance.randrange(under)
            return max(2, int(size / rate * per_second)), size
        frames = {"minutes": round(self.minutes * 60 * per_second), "own time": self.own_frames,
                  "never": 2000 * self.nominal}[self.stop]
        return frames, int(frames / per_second * rate)

    def part(self):
        for _ in range(99):
            frames, size = self.full()
            share = self.chance.choice([self.chance.uniform(.004, .95), self.chance.uniform(.004, .2)])
            count = max(3 * self.nominal, int(frames * share))
            if count < frames * .96 and not may_be_at_limit(count, size * count // frames, self):
                return count, size * count // frames
        return 3 * self.nominal + 1, int(3 * self.rate)

    def shown(self, moment):
        since = lambda year, seconds: SINCE_1904 + calendar.timegm((year, 1, 1, 0, 0, 0)) + seconds
        unset = {"nothing": 0, "still": int(3.5e9), "1904": int(moment) % 80000 + 1,
                 "1970": SINCE_1904 + int(moment) % 80000, "newyear": since(2016, int(moment) % 3000)}
        if self.notes in unset:
            return unset[self.notes]
        if self.reset_at is not None:
            return int(since(2015, 5) + moment - self.reset_at + self.rounds)
        return int(moment + self.offset + self.rounds)

    def place(self):
        self.files_here += 1
        if self.folders == "dcim small" and self.files_here > 9:
            self.folder, self.files_here = self.folder + 1, 1
        if self.folders in ("dcim", "dcim small"):
            return "DCIM/%03d%s" % (self.folder, self.letters)
        return {"flat": "", "deep": "PRIVATE/CLIP"}[self.folders]

    def count_on(self):
        self.number += 1
        if self.number > 9999:
            self.number = 1
            if self.folders == "dcim":
                self.folder += 1

    def name(self, part, moment):
        stamp = time.strftime("VID_%Y%m%d_%H%M%S.mp4", time.gmtime(moment + self.offset - SINCE_1904))
        return {"count": "%s%04d.MP4" % (self.prefix, self.number),
                "low": "%s%04d.mp4" % (self.prefix.lower(), self.number), "five": "%05d.MP4" % self.number,
                "front": "AB%02d%04d.MP4" % (part + 1, self.number),
                "behind": "%s%04d_%03d.MP4" % (self.prefix, self.number, part + 1),
                "dashes": "rec-%04d-%d.mp4" % (self.number, part + 1), "stamp": stamp,
                "random": "%016x.mp4" % self.chance.getrandbits(64)}[self.names]

    def day(self):
        return self.nominal * 86400 - (self.nominal // 30 * 2592 if self.drop else 0)

    def mark(self, own, begin):
        if not self.marks:
            return []
        words = time.strftime("%Y-%m-%d %H:%M:%S take", time.gmtime(begin - SINCE_1904)).encode()
        value = {"take": own, "device": self.body, "clip": self.chance.randbytes(32),
                 "words": words.ljust(32)}[self.marks][:self.mark_size]
        leaf = atom(b"mark", bytes(self.mark_lead), value)
        handler = versioned(b"hdlr", 0, 0, u32(0), b"mdir", bytes(13))
        return [{"udta": atom(b"udta", atom(b"modl", b"abc 12"), leaf),
                 "uuid": atom(b"uuid", b"0123456789abcdef", bytes(self.mark_lead), value),
                 "meta": versioned(b"meta", 0, 0, handler, leaf)}[self.mark_kind]]

    def shoot(self, now, parts, brim):
        """A take of that many clips from `now` on; when it ends."""
        take, own, begin = Take(self, brim), self.chance.randbytes(32), now
        code = int((begin + self.offset) % 86400 * self.nominal) if self.codes == "clock" else 0
        counts_takes = self.names in ("front", "behind", "dashes")
        for part in range(parts):
            clip = Clip()
            clip.device, clip.take, clip.part, clip.serial = self, take, part, self.chance.random()
            clip.is_full = part + 1 < parts or brim
            clip.frames, clip.bytes = self.full() if clip.is_full else self.part()
            clip.bytes -= self.chance.randrange(20000) if clip.bytes > 60000 else 0
            clip.seconds = clip.frames * self.tick / self.scale
            clip.begin, clip.end = now, now + clip.seconds
            clip.noted = self.shown({"end": clip.end, "one": begin}.get(self.notes, now)) & 0xFFFFFFFF
            clip.code = {None: None, "clock": code % self.day(), "recorded": self.counter % self.day(),
                         "0 per clip": 0, "0 per take": code % self.day()}[self.codes]
            code, self.counter = code + clip.frames, self.counter + clip.frames
            clip.written = clip.end - SINCE_1904
            clip.extra = self.mark(own, begin)
            clip.path = os.path.join(self.place(), self.name(part, now))
            clip.is_renamed = clip.is_deleted = False
            if not counts_takes:
                self.count_on()
            take.clips.append(clip)
            now = clip.end + (self.chance.uniform(0, self.lag) if part + 1 < parts else 0)
        if counts_takes:
            self.count_on()
        return take, now


class Day:
    def __init__(self, seed):
        self.chance = random.Random("day %d" % seed)
        self.seed, self.log, self.takes = seed, [], []
        self.kind = self.chance.choices(["one", "two", "one model twice", "only singles", "one take"],
                                        [10, 5, 3, 1, 2])[0]
        self.devices = [Device(self.chance, 0)]
        if self.kind in ("two", "one model twice"):
            model = self.devices[0].model if self.kind == "one model twice" else None
            self.devices.append(Device(self.chance, 1, model))
        self.shoot()
        self.clips = [clip for take in self.takes for clip in take.clips]
        self.set_within()
        self.delete()
        self.date_files()
        self.left = [clip for clip in self.clips if not clip.is_deleted]
        self.rename()
        self.copy()
        self.lapse()

    def shoot(self):
        chance = self.chance
        date = (chance.randint(2012, 2029), chance.randint(1, 12), chance.randint(2, 28),
                chance.randint(0, 23), chance.randint(0, 59), chance.randint(0, 59))
        start = SINCE_1904 + calendar.timegm(date) + chance.random()
        for device in self.devices:
            now = start
            if device.key:
                now += chance.choice([0, chance.uniform(-1.5, 1.5), chance.uniform(10, 3000)])
            for _ in range(1 if self.kind == "one take" else chance.randint(1, 9)):
                parts = chance.choice([2, 5, 12] if device.loop else [1, 1, 2, 2, 3, 4, 7])
                if self.kind == "only singles" or device.stop == "never":
                    parts = 1
                brim = parts > 1 and chance.random() < .03
                take, now = device.shoot(now, parts, brim)
                self.takes.append(take)
                now += self.pause(device, take)

    def pause(self, device, take):
        chance = self.chance
        if device.names in ("count", "low", "five") and chance.random() < .3:
            for _ in range(chance.randint(1, 5)):  # photos
                device.count_on()
        what = chance.random()
        if what < .05:
            device.offset += chance.choice([3600, -3600])
        elif what < .07:
            device.reset_at = take.clips[-1].end
        elif what < .09:
            device.offset += chance.randint(-10 ** 7, 10 ** 7)
        if what < .09:
            self.log.append("clock changed")
            return 5000 + chance.uniform(5, 40000)
        # A full clip that is begun again at once nobody can tell from a split.
        if not take.brim and not device.loop and chance.random() < .18:
            return chance.uniform(.3, 1.9)
        gap = chance.choice([chance.uniform(5, 40), chance.uniform(40, 900), chance.uniform(900, 40000)])
        return gap + (8 if take.brim else 0)

    def set_within(self):
        take = self.chance.choice(self.takes)
        if self.chance.random() > .12 or len(take.clips) < 2 or take.device.notes not in ("start", "end"):
            return
        change = self.chance.choice([3600, -3600])
        for clip in take.clips[self.chance.randrange(1, len(take.clips)):]:
            clip.noted += change
        take.is_set_within = True

    def delete(self):
        for take in self.takes:
            if self.chance.random() < .05:
                self.chance.choice(take.clips).is_deleted = True
        if self.devices[0].loop:  # it wrote over its oldest clips
            own = [clip for clip in self.clips if clip.device is self.devices[0]]
            for clip in own[:self.chance.randrange(len(own))]:
                clip.is_deleted = True

    def date_files(self):
        how = self.chance.choice(["kept", "kept", "now", "copied"])
        copied = 1.75e9
        for clip in sorted(self.clips, key=lambda clip: clip.path):
            copied += clip.bytes / 9e7
            clip.written = {"kept": clip.written, "now": None, "copied": copied}[how]

    def rename(self):
        chance, how = self.chance, self.chance.random()
        if how < .04:
            self.log.append("clips named by hand")
            order = sorted(self.left, key=lambda clip: clip.begin)
            if chance.random() < .5:
                chance.shuffle(order)
            form = chance.choice(["%d.mp4", "%03d.mp4", "holiday %02d.mp4", "IMG_%04d.MP4"])
            for i, clip in enumerate(order):
                clip.path, clip.is_renamed = "trip/" + form % (i + 1), True
        elif how < .08:
            self.log.append("folders named by hand")
            names = {}
            for clip in self.left:
                folder, name = os.path.split(clip.path)
                new = names.setdefault(folder, chance.choice(["%03dABCDE" % chance.randint(100, 999),
                                                              "folder %d" % len(names)]))
                clip.path, clip.is_renamed = "DCIM/%s/%s" % (new, name), True
        self.taken = set()
        for clip in self.left:
            stem, kind = os.path.splitext(clip.path)
            for n in range(2, 99):
                if clip.path.lower() not in self.taken:
                    break
                clip.path, clip.is_renamed = "%s~%d%s" % (stem, n, kind), True
            self.taken.add(clip.path.lower())

    def copy(self):
        self.copies = []
        if self.chance.random() > .15:
            return
        for clip in self.left:
            folder, name = os.path.split(clip.path)
            path = self.chance.choice(["backup/" + name, os.path.join(folder, "copy_" + name)])
            if self.chance.random() < .4 and path.lower() not in self.taken:
                self.taken.add(path.lower())
                self.copies.append((clip, path))

    def lapse(self):
        """Pictures of a time-lapse, each a clip of its own."""
        self.pictures = []
        if self.chance.random() > .15:
            return
        device, every = self.devices[-1], self.chance.choice([1, 2, 3])
        for i in range(self.chance.randint(4, 20)):
            clip = Clip()
            clip.device, clip.serial, clip.frames, clip.bytes = device, i, 1, 800000 + 97 * i
            clip.code, clip.extra, clip.written = None, [], None
            clip.noted = device.shown(self.takes[-1].clips[-1].end + 50 + i * every) & 0xFFFFFFFF
            self.pictures.append((clip, "DCIM/%03dLAPSE/LPSE%04d.MP4" % (device.folder, i + 1)))

    def put(self, root):
        """Writes the card; the clips of takes by their paths."""
        where = {}
        for clip, path in [(clip, clip.path) for clip in self.left] + self.copies:
            where[os.path.join(root, path)] = clip
            Writer(clip).write(os.path.join(root, path))
        for clip, path in self.pictures:
            Writer(clip).write(os.path.join(root, path))
        return where

    def is_evident(self, take):
        """Whether what its device notes makes a take of all its clips likely, by the rules."""
        device, clips = take.device, take.clips
        if len(clips) < 2 or take.brim or take.is_set_within or self.kind == "one model twice":
            return False
        if any(clip.is_deleted or clip.is_renamed for clip in clips):
            return False
        same = [clip for clip in self.left if clip.device is device]
        # What only two clips share may be chance.
        is_own = device.stop.startswith("own")
        if is_own and sum(clip.is_full for clip in same) < 3:
            return False
        has_numbers = device.names not in ("stamp", "random")
        if device.codes == "clock" or (device.marks == "take" and has_numbers and not is_own and
                                       len({clip.take for clip in same}) > 1):
            return True
        if device.notes not in ("start", "end", "one") or any(self.is_unset(clip) for clip in clips):
            return False
        return device.notes != "one" or has_numbers

    @staticmethod
    def is_unset(clip):
        date = time.gmtime(clip.noted - SINCE_1904)
        return date.tm_year in (1904, 1970) or (date.tm_mon, date.tm_mday, date.tm_hour) == (1, 1, 0)
