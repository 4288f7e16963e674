"""Whether a merged file is its clips one after the other: every sample, and what is told of it."""
from mp4 import Movie, handler_of

SEAM = 0.0222  # seconds that a clip's tracks may lie otherwise to each other than in the clip
SPACE = (b"free", b"skip")


def payload(data, tag):
    if not data or data[0] != tag:
        return b"", 0
    size, at = 0, 1
    while at < len(data):
        size, more, at = size << 7 | data[at] & 0x7F, data[at] & 0x80, at + 1
        if not more:
            break
    return data[at:at + size], at


def rate_places(entry):
    """(place, width of the buffer's size) of each set of bit rates that an entry declares."""
    places = []
    at = entry.find(b"btrt")
    while at >= 0:
        if int.from_bytes(entry[at - 4:at], "big") == 20:
            places.append((at + 4, 4))
        at = entry.find(b"btrt", at + 1)
    at = entry.find(b"esds")
    if at >= 0:
        body = at + 8
        stream, header = payload(entry[body:], 3)
        begin = body + header + 3
        if stream and stream[2] == 0 and entry[begin] == 4:
            _, inner = payload(entry[begin:], 4)
            places.append((begin + inner + 2, 3))
    return places


def bare(entry):
    """The entry without its size and bit rates, and (width, buffer, most) where they were."""
    rates = []
    for at, width in reversed(rate_places(entry)):
        rates.insert(0, (width, int.from_bytes(entry[at:at + width], "big"), int.from_bytes(entry[at + width:at + width + 4], "big")))
        entry = entry[:at - 8] + entry[at + 12:] if width == 4 else entry[:at] + bytes(width + 8) + entry[at + width + 8:]
    return entry[4:], rates


def likeness(track):
    return (track.handler, tuple(bare(e)[0] for e in track.entries))


def partners(result, clip):
    left, found = list(clip.tracks), []
    for track in result.tracks:
        alike = [t for t in left if likeness(t) == likeness(track)] or [t for t in left if t.handler == track.handler]
        same = [t for t in alike if t.name == track.name]
        if not alike:
            return None
        found.append((same or alike)[0])
        left.remove(found[-1])
    return None if left else found


def shown(movie, track):
    """(delay, begin) in seconds of an edit list that shows the media in a row."""
    delay, edits = 0, list(track.edits)
    while edits and edits[0][1] == -1:
        delay += edits.pop(0)[0] / movie.scale
    if not edits:
        return delay, 0
    return delay, edits[0][1] / track.scale


def compare_samples(result, merged, number, clip, track, last, errors, loses):
    name = "track %d, clip %d, sample %%d: " % (merged.id, number)
    begin = merged.done
    for i, theirs in enumerate(track.samples):
        where = name % (i + 1)
        if begin + i >= len(merged.samples):
            errors.append(where + "is missing")
            return
        mine = merged.samples[begin + i]
        if mine.size != theirs.size or result.bytes_of(mine) != clip.bytes_of(theirs):
            errors.append(where + "has other bytes")
        if not any(a <= mine.at and mine.at + mine.size <= b for a, b in result.media):
            errors.append(where + "is in no media box")
        if mine.offset * track.scale != theirs.offset * merged.scale:
            errors.append(where + "offset %d, not %d" % (mine.offset, theirs.offset))
        more = mine.step * track.scale - theirs.step * merged.scale
        ends = i + 1 == len(track.samples)
        if more and not (ends and not last and 0 < more <= 2 * track.scale * merged.scale):
            errors.append(where + "step %d, not %d" % (mine.step, theirs.step))
        if mine.sync != theirs.sync:
            errors.append(where + "sync %s, not %s" % (mine.sync, theirs.sync))
        if bare(mine.entry)[0] != bare(theirs.entry)[0]:
            errors.append(where + "has another description")
        for field, kind in (("partial", b"stps"), ("depends", b"sdtp"), ("groups", b"sbgp"), ("parts", b"subs")):
            wanted, found = getattr(theirs, field), getattr(mine, field)
            lacks = merged.table.get(kind) is None and (kind in loses or (clip.fragmented and kind == b"sdtp"))
            if wanted != found and not lacks:
                errors.append(where + "%s %s, not %s" % (field, found, wanted))
        if len(errors) > 5:
            return
    merged.done += len(track.samples)


def constant(kind, data):
    if kind not in (b"mvhd", b"tkhd", b"mdhd"):
        return data
    wide = data[0] == 1
    times, duration, middle = (16, 8, 4) if wide else (8, 4, 4)
    middle += 4 if kind == b"tkhd" else 0
    created = int.from_bytes(data[4:4 + times // 2], "big")
    kept = data[4 + times:4 + times + middle] if kind == b"tkhd" else b""
    rest = data[4 + times + middle + duration:]
    return data[1:4], created, kept, rest[:-4] if kind == b"mvhd" else rest


def compare_boxes(mine, theirs, place, errors):
    tables = (b"stsd stts ctts cslg stsz stz2 stsc stco co64 stss stps sdtp sbgp sgpd subs").split()
    skipped = set(SPACE) | {b"edts", b"trak", b"mvex"} | (set(tables) if place.endswith("stbl") else set())
    kinds = {c.kind for c in mine.children + theirs.children} - skipped
    for kind in sorted(kinds):
        a, b, path = mine.all(kind), theirs.all(kind), place + "/" + kind.decode("latin1")
        if len(a) != len(b):
            errors.append("%s: %d of them, not %d" % (path, len(a), len(b)))
            continue
        for x, y in zip(a, b):
            if x.children is not None:
                compare_boxes(x, y, path, errors)
            elif constant(kind, x.data) != constant(kind, y.data):
                errors.append(path + " is another")


def compare_rates(merged, parts, errors):
    for entry in merged.entries:
        alone, found = bare(entry)
        wanted = [bare(e)[1] for t in parts for e in t.entries if bare(e)[0] == alone]
        if len(found) != len(wanted[0]):
            errors.append("track %d declares bit rates in %d places, not %d" % (merged.id, len(found), len(wanted[0])))
        for width in (3, 4):
            mine = [r[1:] for r in found if r[0] == width]
            theirs = [[r[1:] for r in w if r[0] == width] for w in wanted]
            for place, rates in enumerate(mine):
                most = tuple(max((w[place][field] for w in theirs if place < len(w)), default=0) for field in (0, 1))
                if rates != most:
                    errors.append("track %d declares %s, the largest are %s" % (merged.id, rates, most))


def compare(result_bytes, clips_bytes, loses=()):
    """What is wrong, in words; nothing if the result is right."""
    errors = []
    result, clips = Movie(result_bytes), [Movie(c) for c in clips_bytes]
    found = [partners(result, clip) for clip in clips]
    if None in found:
        return ["tracks %s do not match those of clip %d" % ([t.handler for t in result.tracks], found.index(None))]
    if [t.handler for t in result.tracks] != [t.handler for t in clips[0].tracks]:
        errors.append("tracks in another order than in the first clip")
    for track in result.tracks:
        track.done = 0
    for number, clip in enumerate(clips):
        shifts = []
        for merged, track in zip(result.tracks, found[number]):
            if track.samples:
                delay, begin = shown(result, merged)
                first = merged.samples[merged.done].dts if merged.done < len(merged.samples) else 0
                own_delay, own_begin = shown(clip, track)
                shifts.append(delay + first / merged.scale - begin - (own_delay + track.samples[0].dts / track.scale - own_begin))
            compare_samples(result, merged, number, clip, track, number + 1 == len(clips), errors, loses)
            if len(errors) > 5:
                return errors
        slack = 0.0021 if number == 0 else SEAM
        if max(shifts) - min(shifts) > slack:
            errors.append("clip %d: tracks %.1f ms apart" % (number, 1000 * (max(shifts) - min(shifts))))
    for i, merged in enumerate(result.tracks):
        if merged.done != len(merged.samples):
            errors.append("track %d has %d samples, not %d" % (merged.id, len(merged.samples), merged.done))
        compare_rates(merged, [f[i] for f in found], errors)
        compare_boxes(merged.box, clips[0].tracks[i].box, "trak", errors)
        compare_lengths(result, merged, errors)
    compare_boxes(result.file.movie, clips[0].file.movie, "moov", errors)
    if result.file.top(b"moof") is not None:
        errors.append("still has fragments")
    return errors


def compare_lengths(result, track, errors):
    """What the edit list shows, and the headers say, reaches the end of the media, or of the pictures."""
    def end(t):
        delay, begin = shown(result, t)
        return delay - begin + max((s.dts + s.step + s.offset for s in t.samples), default=0) / t.scale
    pictures = [end(t) for t in result.tracks if handler_of(t.box) == b"vide" and t.samples]
    wanted = min([end(track)] + ([max(pictures)] if pictures else []))
    listed = sum(length for length, _, _ in track.edits) / result.scale if track.edits else wanted
    if track.edits and track.edits[-1][0] == 0:
        listed = wanted
    if listed < wanted - 0.05:
        errors.append("track %d: the edit list shows %.3f of %.3f s" % (track.id, listed, wanted))
    total = sum(s.step for s in track.samples)
    if abs(track.duration - total) > 0.06 * track.scale:
        errors.append("track %d: mdhd says %d, samples take %d" % (track.id, track.duration, total))
