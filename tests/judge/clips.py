"""Neighbouring clips for the judge, made with ffmpeg, and the edits that make kinds of them."""
import os
import random
import struct
import subprocess

from mp4 import (Box, File, field, handler_of, p32, pairs, set_field, table_of, time_fields, u16, u32, u64)

X264 = ["-c:v", "libx264", "-preset", "ultrafast", "-g", "12"]
AAC = ["-c:a", "aac", "-b:a", "64k"]
MOV = "mov"
FAMILIES = {  # name: (extension, arguments of the encoders, more)
    "h264_aac": ("mp4", X264 + AAC, {}),
    "h264_reordered": ("mp4", ["-c:v", "libx264", "-preset", "veryfast", "-bf", "3", "-g", "12"] + AAC, {}),
    "h264_baseline": ("mp4", X264 + ["-profile:v", "baseline"] + AAC, {}),
    "h264_high": ("mp4", ["-c:v", "libx264", "-preset", "veryfast", "-profile:v", "high", "-bf", "0", "-g", "12"] + AAC, {}),
    "h264_large": ("mp4", X264 + AAC, {"size": "96x64"}),
    "h264_mono": ("mp4", X264 + AAC + ["-ac", "1"], {}),
    "h264_stereo": ("mp4", X264 + AAC + ["-ac", "2"], {}),
    "h264_44100": ("mp4", X264 + AAC + ["-ar", "44100"], {}),
    "h264_30": ("mp4", X264 + AAC, {"rate": "30000/1001"}),
    "hevc_hvc1": ("mp4", ["-c:v", "libx265", "-preset", "ultrafast", "-x265-params", "log-level=none:keyint=12:info=0", "-tag:v", "hvc1"] + AAC, {}),
    "hevc_hev1": ("mp4", ["-c:v", "libx265", "-preset", "ultrafast", "-x265-params", "log-level=none:keyint=12:info=0", "-tag:v", "hev1"] + AAC, {}),
    "av1_opus": ("mp4", ["-c:v", "libaom-av1", "-cpu-used", "8", "-usage", "realtime", "-g", "12", "-c:a", "libopus"], {}),
    "vp9_opus": ("mp4", ["-c:v", "libvpx-vp9", "-deadline", "realtime", "-cpu-used", "8", "-g", "12", "-c:a", "libopus"], {}),
    "mpeg4_mp3": ("mp4", ["-c:v", "mpeg4", "-g", "12", "-c:a", "libmp3lame"], {}),
    "mpeg4_aac": ("mp4", ["-c:v", "mpeg4", "-g", "12"] + AAC, {}),
    "mjpeg_sowt": (MOV, ["-c:v", "mjpeg", "-pix_fmt", "yuvj420p", "-c:a", "pcm_s16le"], {}),
    "prores_in24": (MOV, ["-c:v", "prores_ks", "-profile:v", "0", "-c:a", "pcm_s24be"], {}),
    "h264_twos": (MOV, X264 + ["-c:a", "pcm_s16be"], {}),
    "h264_sowt": (MOV, X264 + ["-c:a", "pcm_s16le"], {}),
    "h264_lpcm": (MOV, X264 + ["-c:a", "pcm_s16le", "-ar", "96000"], {}),
    "h264_fl32": (MOV, X264 + ["-c:a", "pcm_f32le"], {}),
    "h264_aac_mov": (MOV, X264 + AAC, {}),
    "h264_ac3": ("mp4", X264 + ["-c:a", "ac3", "-b:a", "96k"], {}),
    "h264_eac3": ("mp4", X264 + ["-c:a", "eac3", "-b:a", "96k"], {}),
    "h264_alac": ("mp4", X264 + ["-c:a", "alac"], {}),
    "h264_flac": ("mp4", X264 + ["-c:a", "flac"], {"same_sound": True}),  # its description holds a checksum
    "h264_opus": ("mp4", X264 + ["-c:a", "libopus"], {}),
    "two_sounds": ("mp4", X264 + AAC + ["-map", "0:v", "-map", "1:a", "-map", "1:a", "-metadata:s:a:0", "language=eng",
                                         "-metadata:s:a:1", "language=fra", "-filter:a:1", "volume=0.5"], {}),
    "pictures_only": ("mp4", X264 + ["-map", "0:v"], {}),
    "sound_only": ("m4a", AAC + ["-map", "1:a"], {}),
    "timecode": (MOV, X264 + AAC + ["-timecode", "01:00:0{n}:00"], {}),
    "subtitles": ("mp4", X264 + AAC + ["-c:s", "mov_text", "-map", "0:v", "-map", "1:a", "-map", "2:s"], {"text": True}),
    "chapters": ("mp4", X264 + AAC + ["-map", "0:v", "-map", "1:a", "-map_chapters", "2"], {"chapters": True}),
}
REORDERED = ["-c:v", "libx264", "-preset", "veryfast", "-bf", "3", "-g", "12"]
FAMILIES.update({
    "h264_24": ("mp4", REORDERED + AAC, {"rate": "24000/1001"}),
    "h264_60": ("mp4", X264 + AAC, {"rate": "60000/1001"}),
    "open_groups": ("mp4", REORDERED + ["-x264-params", "open-gop=1:keyint=6:min-keyint=6:scenecut=0"] + AAC, {}),
    "uneven_pictures": ("mp4", X264 + ["-vf", "select='not(eq(mod(n,7),3))'", "-fps_mode", "vfr"] + AAC, {}),
    "hevc_reordered": ("mp4", ["-c:v", "libx265", "-preset", "superfast", "-x265-params", "log-level=none:keyint=12:bframes=3:info=0", "-tag:v", "hvc1"] + AAC, {}),
    "hevc_large": ("mp4", ["-c:v", "libx265", "-preset", "ultrafast", "-x265-params", "log-level=none:keyint=12:info=0", "-tag:v", "hvc1"] + AAC, {"size": "96x64"}),
    "two_pictures": ("mp4", X264 + AAC + ["-map", "0:v", "-map", "0:v", "-map", "1:a"], {}),
    "with_cover": ("mp4", X264 + AAC + ["-map", "0:v", "-map", "1:a", "-map", "2:v", "-c:v:1", "mjpeg", "-disposition:v:1", "attached_pic"], {"cover": True}),
    "with_tags": ("mp4", X264 + AAC + ["-metadata", "title=clip {n}", "-metadata", "date=2024-05-0{n}"], {}),
    "mp3_in_mov": (MOV, X264 + ["-c:a", "libmp3lame"], {}),
    "adpcm": (MOV, X264 + ["-c:a", "adpcm_ima_qt"], {}),
    "ulaw": (MOV, X264 + ["-c:a", "pcm_mulaw", "-ar", "8000", "-ac", "1"], {}),
})
for name, flags in {
    "delayed": "frag_keyframe+empty_moov+delay_moov", "no_index": "frag_keyframe+empty_moov+default_base_moof+skip_sidx",
    "timed": "empty_moov+default_base_moof", "clocked": "frag_keyframe+empty_moov+default_base_moof+write_colr",
}.items():
    FAMILIES["fragments_" + name] = ("mp4", REORDERED + AAC + ["-movflags", flags, "-frag_duration", "300000"], {})
for name, flags in {
    "key": "frag_keyframe+empty_moov", "base_moof": "frag_keyframe+empty_moov+default_base_moof",
    "no_offset": "frag_keyframe+empty_moov+omit_tfhd_offset", "separate": "frag_keyframe+empty_moov+separate_moof",
    "cmaf": "cmaf+frag_keyframe", "dash": "dash+frag_keyframe", "sidx": "frag_keyframe+empty_moov+global_sidx+default_base_moof",
    "first_in_movie": "frag_keyframe", "every_frame": "frag_every_frame+empty_moov+default_base_moof",
    "negative": "frag_keyframe+empty_moov+negative_cts_offsets+default_base_moof",
}.items():
    FAMILIES["fragments_" + name] = ("mp4", X264 + AAC + ["-movflags", flags], {})
FAMILIES["fragments_reordered"] = ("mp4", ["-c:v", "libx264", "-preset", "veryfast", "-bf", "3", "-g", "12"] + AAC +
                                   ["-movflags", "frag_keyframe+empty_moov+default_base_moof"], {})
FAMILIES["negative_offsets"] = ("mp4", ["-c:v", "libx264", "-preset", "veryfast", "-bf", "3", "-g", "12"] + AAC + ["-movflags", "negative_cts_offsets"], {})
FAMILIES["fragments_sound"] = ("m4a", AAC + ["-map", "1:a", "-movflags", "frag_keyframe+empty_moov+default_base_moof", "-frag_duration", "200000"], {})


def make(folder, family, number):
    """The path of clip `number` (0 or 1) of a family; None if ffmpeg has no such encoder."""
    ext, arguments, more = FAMILIES[family]
    path = os.path.join(folder, "%s_%d.%s" % (family, number, ext))
    if os.path.exists(path):
        return path
    size, rate = more.get("size", "64x64"), more.get("rate", "25")
    voice = 0 if more.get("same_sound") else number
    inputs = ["-f", "lavfi", "-i", "testsrc2=s=%s:r=%s:d=1,hue=h=%d" % (size, rate, number * 70),
              "-f", "lavfi", "-i", "sine=f=%d:r=48000:d=%s,volume=%s" % (300 + 200 * voice, "1.01", 1 - voice / 3)]
    extra = os.path.join(folder, "%s_%d.txt" % (family, number))
    if more.get("text"):
        with open(extra, "w", encoding="utf-8") as file:
            file.write("1\n00:00:00,100 --> 00:00:00,500\nline %d\n\n2\n00:00:00,500 --> 00:00:00,900\nmore\n" % number)
        inputs += ["-f", "srt", "-i", extra]
    if more.get("cover"):
        inputs += ["-f", "lavfi", "-i", "testsrc=s=32x32:r=1:d=1"]
    if more.get("chapters"):
        with open(extra, "w", encoding="utf-8") as file:
            file.write(";FFMETADATA1\n" + "".join("[CHAPTER]\nTIMEBASE=1/1000\nSTART=%d\nEND=%d\ntitle=c%d\n" % (i * 500, i * 500 + 500, i) for i in range(2)))
        inputs += ["-f", "ffmetadata", "-i", extra]
    arguments = [a.replace("{n}", str(number)) for a in arguments]
    part = path + ".part"
    run = subprocess.run(["ffmpeg", "-v", "error", "-y", *inputs, "-bitexact", "-threads", "1", *arguments, "-strict", "-2", "-f", "ipod" if ext == "m4a" else ext, part],
                         capture_output=True)
    if run.returncode:
        raise RuntimeError("ffmpeg: " + run.stderr.decode(errors="replace").strip()[-200:])
    os.replace(part, path)
    return path


# Edits. Each takes a File and changes it.

def media_first(file):
    return [b for b in file.boxes if b.kind == b"mdat"]


def fast_start(file):
    movie = file.movie
    file.boxes.remove(movie)
    file.boxes.insert(1 if file.boxes[0].kind == b"ftyp" else 0, movie)


def on_top(kind, data):
    def edit(file):
        file.boxes.insert(1 if file.boxes[0].kind == b"ftyp" else 0, Box(kind, data))
    return edit


def before_media(kind, data):
    def edit(file):
        file.boxes.insert(file.boxes.index(file.top(b"mdat")), Box(kind, data))
    return edit


def large_media(file):
    for box in media_first(file):
        box.large = True


def media_to_end(file):
    fast_start(file)
    media = file.top(b"mdat")
    file.boxes = [b for b in file.boxes if b is not media and b.kind != b"free"] + [media]
    media.to_end = True


def chunk_offsets(file):
    found = []
    for track in file.tracks:
        table = table_of(track)
        stco, co64 = table.get(b"stco"), table.get(b"co64")
        if stco:
            found += [u32(stco.data, 8 + i * 4) for i in range(u32(stco.data, 4))]
        else:
            found += [u64(co64.data, 8 + i * 8) for i in range(u32(co64.data, 4))]
    return sorted(found)


def split_media(parts, between=None):
    """Several media boxes, cut where chunks begin."""
    def edit(file):
        media = file.top(b"mdat")
        begin, end = media.origin, media.origin + len(media.data)
        chunks = sorted(set(chunk_offsets(file)))
        cuts = [begin] + [chunks[len(chunks) * i // parts] for i in range(1, parts)] + [end]
        pieces = []
        for a, b in zip(cuts, cuts[1:]):
            pieces.append(Box(b"mdat", media.data[a - begin:b - begin], origin=a))
            if between:
                pieces.append(Box(*between))
        at = file.boxes.index(media)
        file.boxes[at:at + 1] = pieces
    return edit


def without_type(file):
    file.boxes = [b for b in file.boxes if b.kind != b"ftyp"]


def wide_offsets(file):
    for track in file.tracks:
        table = table_of(track)
        stco = table.get(b"stco")
        values = [u32(stco.data, 8 + i * 4) for i in range(u32(stco.data, 4))]
        table.children[table.children.index(stco)] = Box(b"co64", stco.data[:8] + b"".join(struct.pack(">Q", v) for v in values))


def sizes_of(table):
    data = table.get(b"stsz").data
    common, count = u32(data, 4), u32(data, 8)
    return [common] * count if common else [u32(data, 12 + i * 4) for i in range(count)]


def compact(bits):
    def edit(file):
        for track in file.tracks:
            table = table_of(track)
            sizes = sizes_of(table)
            if max(sizes, default=0) >> bits:
                continue
            body = b"".join(s.to_bytes(bits // 8, "big") for s in sizes)
            table.children[table.children.index(table.get(b"stsz"))] = Box(b"stz2", p32(0, bits, len(sizes)) + body)
    return edit


def spelled_sizes(file):
    """A size for each sample where there was one for all."""
    for track in file.tracks:
        table = table_of(track)
        sizes = sizes_of(table)
        table.put(Box(b"stsz", p32(0, 0, len(sizes), *sizes)))


def add_table(handler, make_box):
    def edit(file):
        table = table_of(file.track(handler))
        table.children.append(make_box(len(sizes_of(table))))
    return edit


def depends(seed):
    numbers = random.Random(seed)
    return lambda count: Box(b"sdtp", p32(0) + bytes(numbers.choice((0x10, 0x24, 0x28, 0x20)) for _ in range(count)))


def partial(count):
    return Box(b"stps", p32(0, 2, 3, count - 2))


def parts(count):
    body = b"".join(struct.pack(">IHHBBIHBBI", step, 2, 5, 1, 0, 0, 7, 0, 1, 0) for step in (2, 4, 3))
    return Box(b"subs", p32(0, 3) + body)


def shift_bounds(file):
    for track in file.tracks:
        table = table_of(track)
        ctts = table.get(b"ctts")
        if ctts:
            values = [v for _, v in pairs(ctts.data)]
            values = [v - (1 << 32) if v >> 31 else v for v in values]
            table.children.append(Box(b"cslg", struct.pack(">Iiiiii", 0, 0, min(values), max(values), 0, 1 << 20)))


def groups(handler, kind, entries, runs):
    def edit(file):
        table = table_of(file.track(handler))
        count = len(sizes_of(table))
        table.children.append(Box(b"sgpd", p32(1 << 24) + kind + p32(len(entries[0]), len(entries)) + b"".join(entries)))
        body, left = b"", count
        for n, index in runs:
            n = min(n, left) or left
            body += p32(n, index)
            left -= n
        table.children.append(Box(b"sbgp", p32(0) + kind + p32(len(body) // 8) + body))
    return edit


def set_entry(handler, change):
    """Changes the first sample description of a track."""
    def edit(file):
        stsd = table_of(file.track(handler)).get(b"stsd")
        size = u32(stsd.data, 8)
        entry = change(stsd.data[8:8 + size])
        entry = p32(len(entry)) + entry[4:]
        stsd.data = stsd.data[:8] + entry + stsd.data[8 + size:]
    return edit


def without_rates(file):
    """No "btrt": fragments are written before anybody knows."""
    def change(entry):
        at = entry.find(b"btrt")
        return entry if at < 0 else entry[:at - 4] + entry[at + 16:]
    for track in file.tracks:
        set_entry(handler_of(track), change)(file)


def other_type(kind):
    return lambda entry: entry[:4] + kind + entry[8:]


def encrypted(key):
    def change(entry):
        sinf = Box(b"sinf", children=[
            Box(b"frma", entry[4:8]), Box(b"schm", p32(0) + b"cenc" + p32(0x10000)),
            Box(b"schi", Box(b"tenc", p32(0) + b"\0\0\x01\x08" + key * 16).bytes())])
        return entry[:4] + b"encv" + entry[8:] + sinf.bytes()
    return change


def reverse_tracks(file):
    movie = file.movie
    tracks = movie.all(b"trak")
    places = [i for i, c in enumerate(movie.children) if c.kind == b"trak"]
    for i, track in zip(places, reversed(tracks)):
        movie.children[i] = track


def renumber(by):
    def edit(file):
        new = {}
        for track in file.tracks:
            header = track.get(b"tkhd")
            place = time_fields(header)[0]
            new[field(header, place)] = field(header, place) + by
            set_field(header, place, field(header, place) + by)
        for track in file.tracks:
            references = track.get(b"tref")
            if references is not None:
                data, at = references.data, 0
                while at + 8 <= len(data):
                    size = u32(data, at)
                    for i in range(at + 8, at + size, 4):
                        data = data[:i] + p32(new[u32(data, i)]) + data[i + 4:]
                    at += size
                references.data = data
        movie_header = file.movie.get(b"mvhd")
        movie_header.data = movie_header.data[:-4] + p32(u32(movie_header.data, len(movie_header.data) - 4) + by)
    return edit


def scale_field(box, place, factor):
    set_field(box, place, field(box, place) * factor)


def movie_scale(factor):
    """The movie's time scale times a whole number, with all that is counted in it."""
    def edit(file):
        header = file.movie.get(b"mvhd")
        for place in time_fields(header):
            scale_field(header, place, factor)
        for track in file.tracks:
            scale_field(track.get(b"tkhd"), time_fields(track.get(b"tkhd"))[1], factor)
            elst = track.get(b"edts", b"elst")
            if elst is not None:
                change_edits(lambda edits: [(length * factor, start, rate) for length, start, rate in edits])(track)
    return edit


def change_edits(change):
    """A change of (length, start, rate) of a track's edit list, written in the narrow form."""
    def edit(track):
        elst = track.get(b"edts", b"elst")
        edits = []
        if elst is not None:
            wide = elst.data[0] == 1
            for i in range(u32(elst.data, 4)):
                edits.append(struct.unpack_from(">QqI" if wide else ">IiI", elst.data, 8 + i * (20 if wide else 12)))
        edits = change(edits)
        box = Box(b"elst", p32(0, len(edits)) + b"".join(struct.pack(">IiI", *e) for e in edits))
        if track.get(b"edts") is None:
            track.children.insert(1, Box(b"edts", children=[box]))
        else:
            track.get(b"edts").put(box)
    return edit


def edits_of(handler, change):
    return lambda file: change_edits(change)(file.track(handler))


def length_of(file, handler):
    header = file.track(handler).get(b"tkhd")
    return field(header, time_fields(header)[1])


def media_scale(handler, factor, exact=True):
    """The media's time scale times a whole number, with all that is counted in it."""
    def edit(file):
        track = file.track(handler)
        header = track.get(b"mdia", b"mdhd")
        scale, duration = time_fields(header)
        if not exact:
            set_field(header, scale, field(header, scale) + 1)
            return
        scale_field(header, scale, factor)
        scale_field(header, duration, factor)
        for kind in (b"stts", b"ctts"):
            box = table_of(track).get(kind)
            if box is not None:
                box.data = box.data[:8] + b"".join(p32(n, v * factor) for n, v in pairs(box.data))
        change_edits(lambda edits: [(length, start * factor if start >= 0 else start, rate) for length, start, rate in edits])(track)
    return edit


def names(text):
    def edit(file):
        for track in file.tracks:
            handler = track.get(b"mdia", b"hdlr")
            handler.data = handler.data[:24] + text + handler_of(track)
            handler.data += b"\0"
    return edit


def language(file):
    header = file.track(b"soun").get(b"mdia", b"mdhd")
    at = 32 if header.data[0] == 1 else 20
    header.data = header.data[:at] + struct.pack(">H", 0x15C7) + header.data[at + 2:]


def user_data(text):
    return lambda file: file.movie.put(Box(b"udta", Box(b"\xa9nam", struct.pack(">HH", len(text), 0x55C4) + text).bytes()))


def in_movie(kind, data, *path):
    def edit(file):
        box = file.movie if not path else file.tracks[0].get(*path) if path != (b"trak",) else file.tracks[0]
        box.children.append(Box(kind, data))
    return edit


def data_track(file):
    """A track of some camera's data: what the pictures are, told in another way."""
    track = parse_copy(file.track(b"soun"))
    ids = [field(t.get(b"tkhd"), time_fields(t.get(b"tkhd"))[0]) for t in file.tracks]
    set_field(track.get(b"tkhd"), time_fields(track.get(b"tkhd"))[0], max(ids) + 1)
    handler = track.get(b"mdia", b"hdlr")
    handler.data = handler.data[:8] + b"meta" + handler.data[12:24] + b"camera data\0"
    info = track.get(b"mdia", b"minf")
    info.drop(b"smhd")
    info.children.insert(0, Box(b"gmhd", Box(b"gmin", p32(0) + bytes(12)).bytes()))
    table = table_of(track)
    table.put(Box(b"stsd", p32(0, 1) + p32(28) + b"xdat" + bytes(6) + b"\0\1" + p32(12) + b"conf" + p32(7)))
    table.drop(b"sgpd")
    table.drop(b"sbgp")
    track.drop(b"edts")
    track.drop(b"tref")
    file.tracks[0].children.append(Box(b"tref", Box(b"cdsc", p32(max(ids) + 1)).bytes()))
    file.movie.children.insert(file.movie.children.index(file.tracks[-1]) + 1, track)


def without_syncs(file):
    """Every picture is one that a decoder can begin with: so says a clip without the table."""
    table_of(file.track(b"vide")).drop(b"stss")


def brands(major, *others):
    def edit(file):
        file.top(b"ftyp").data = major + p32(1) + b"".join(others)
    return edit


def split_edit(file):
    """A list whose two parts follow each other is one."""
    for handler in (b"vide", b"soun"):
        scale = field(file.track(handler).get(b"mdia", b"mdhd"), time_fields(file.track(handler).get(b"mdia", b"mdhd"))[0])
        movie = field(file.movie.get(b"mvhd"), time_fields(file.movie.get(b"mvhd"))[0])

        def halves(edits, scale=scale, movie=movie):
            length, start, rate = edits[-1]
            half = length // 2
            return edits[:-1] + [(half, start, rate), (length - half, start + half * scale // movie, rate)]
        change_edits(halves)(file.track(handler))


def extra_rates(handler, offset=0):
    """Declares bit rates in a box behind the others."""
    return set_entry(handler, lambda entry: entry + Box(b"btrt", p32(1000 + offset, 200000 + offset, 100000 + offset)).bytes())


def rotated(file):
    header = file.track(b"vide").get(b"tkhd")
    at = len(header.data) - 44
    header.data = header.data[:at] + p32(0, 0x10000, 0, 0xFFFF0000, 0, 0, 64 << 16, 0, 0x40000000) + header.data[at + 36:]


def table_data(handler, kind, change):
    """A damaged table."""
    def edit(file):
        box = table_of(file.track(handler)).get(kind)
        box.data = change(box.data)
    return edit


def two_descriptions(place):
    """Another one stands before or behind that of the pictures."""
    def edit(file):
        table = table_of(file.track(b"vide"))
        stsd, stsc = table.get(b"stsd"), table.get(b"stsc")
        entry = stsd.data[8:]
        other = entry[:43] + bytes([entry[43] ^ 1]) + entry[44:]
        stsd.data = stsd.data[:4] + p32(2) + (other + entry if place else entry + other)
        runs = [stsc.data[8 + 12 * i:16 + 12 * i] + p32(1 + place) for i in range(u32(stsc.data, 4))]
        stsc.data = stsc.data[:8] + b"".join(runs)
    return edit


def spare_chunks(file):
    """Two chunks more than hold samples."""
    stco = table_of(file.track(b"vide")).get(b"stco")
    stco.data = stco.data[:4] + p32(u32(stco.data, 4) + 2) + stco.data[8:] + 2 * stco.data[-4:]


def another_file(file):
    dinf = file.track(b"vide").get(b"mdia", b"minf", b"dinf")
    dinf.data = Box(b"dref", p32(0, 2) + Box(b"url ", p32(1)).bytes() + Box(b"url ", p32(0) + b"file:///else.mp4\0").bytes()).bytes()


def parse_copy(track):
    from mp4 import parse
    copy = parse(track.bytes())[0]
    return copy


def drop_track(handler):
    return lambda file: file.movie.children.remove(file.track(handler))


def move_fragments(by):
    """The fragments of a recording that began earlier."""
    def edit(file):
        scales = {field(t.get(b"tkhd"), time_fields(t.get(b"tkhd"))[0]): field(t.get(b"mdia", b"mdhd"), time_fields(t.get(b"mdia", b"mdhd"))[0])
                  for t in file.tracks}
        for moof in file.boxes:
            for part in moof.all(b"traf") if moof.kind == b"moof" else []:
                time = part.get(b"tfdt")
                more = by * scales[u32(part.get(b"tfhd").data, 4)]
                if time.data[0] == 1:
                    time.data = time.data[:4] + struct.pack(">Q", u64(time.data, 4) + more)
                else:
                    time.data = time.data[:4] + p32(u32(time.data, 4) + more)
    return edit


def wide_headers(file):
    """Version 1 of the headers, with times of 64 bits."""
    for box in [file.movie.get(b"mvhd")] + [t.get(b"tkhd") for t in file.tracks] + [t.get(b"mdia", b"mdhd") for t in file.tracks]:
        d = box.data
        middle = 8 if box.kind == b"tkhd" else 4
        box.data = (b"\1" + d[1:4] + struct.pack(">QQ", u32(d, 4), u32(d, 8)) + d[12:12 + middle] +
                    struct.pack(">Q", u32(d, 12 + middle)) + d[16 + middle:])


__all__ = [name for name in dir() if not name.startswith("__")] + ["u16"]
