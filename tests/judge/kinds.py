"""The kinds of neighbouring clips that the judge has merged, and those that must be refused."""
from clips import *  # noqa: F403  the edits, by name

QUICK = 1  # in the share that runs with the other tests


class Kind:
    def __init__(self, name, family, both=(), first=(), second=(), other=None, merges=True, quick=0, raw=None, loses=()):
        self.name, self.family, self.other = name, family, other or family
        self.first, self.second = list(both) + list(first), list(both) + list(second)
        self.merges, self.quick = merges, quick
        self.raw = raw      # changes the bytes of the second clip at the end
        self.loses = loses  # types of boxes that a result may lack


def keys(seed):
    return groups(b"soun", b"roll", [b"\xff\xff"], [(1000, 1)]) if seed == 0 else groups(b"soun", b"roll", [b"\xff\xff"], [(3, 1), (4, 0), (1000, 1)])


# Where the first picture is at 0 and the whole is shown.
CODECS = ["h264_aac", "h264_reordered", "hevc_hvc1", "hevc_hev1", "av1_opus", "vp9_opus", "mpeg4_aac", "mpeg4_mp3", "mjpeg_sowt",
          "prores_in24", "h264_twos", "h264_lpcm", "h264_fl32", "h264_aac_mov", "h264_ac3", "h264_eac3", "h264_alac", "h264_flac",
          "h264_opus", "h264_24", "h264_60", "open_groups", "uneven_pictures", "hevc_reordered", "two_pictures", "with_cover",
          "with_tags", "mp3_in_mov", "adpcm", "ulaw", "two_sounds", "pictures_only", "sound_only", "timecode", "subtitles", "chapters", "h264_30", "negative_offsets"]
FRAGMENTS = ["key", "base_moof", "no_offset", "separate", "cmaf", "dash", "sidx", "first_in_movie", "every_frame", "negative", "reordered", "sound",
             "delayed", "no_index", "timed", "clocked"]

MERGES = [Kind(name, name, quick=name in ("h264_aac", "h264_reordered", "timecode", "h264_sowt")) for name in CODECS]
MERGES += [Kind("fragments_" + name, "fragments_" + name, quick=name in ("key", "reordered", "no_offset")) for name in FRAGMENTS]
MERGES += [
    Kind("fragments_of_a_longer_recording", "fragments_base_moof", second=[move_fragments(7)]),
    Kind("fragments_and_tables", "h264_aac", other="fragments_key"),
    Kind("tables_after_fragments", "fragments_key", other="h264_aac"),
    Kind("rates_in_one", "h264_aac", second=[without_rates], quick=1),
    Kind("descriptions_in_another_order", "h264_aac", first=[two_descriptions(0)], second=[two_descriptions(1)], quick=1),
    Kind("a_description_more", "h264_reordered", second=[two_descriptions(1)]),
    Kind("spare_chunks", "h264_aac", both=[spare_chunks], quick=1),
    Kind("offsets_of_more_samples", "h264_reordered", second=[table_data(b"vide", b"ctts", lambda d: d[:4] + p32(u32(d, 4) + 1) + d[8:] + p32(3, 512))]),
    Kind("another_file_in_which_nothing_lies", "h264_aac", both=[another_file], quick=1),
    Kind("movie_first", "h264_aac", both=[fast_start]),
    Kind("movie_first_in_one", "h264_aac", second=[fast_start], quick=1),
    Kind("wide_before_media", "h264_aac_mov", both=[before_media(b"wide", b"")], quick=1),
    Kind("uuid_on_top", "h264_aac", both=[on_top(b"uuid", bytes(range(16)) + b"what a camera says")], quick=1),
    Kind("free_on_top", "h264_aac", both=[on_top(b"free", bytes(100)), before_media(b"skip", bytes(9))]),
    Kind("unknown_on_top", "h264_aac", both=[on_top(b"zzzz", b"123"), fast_start]),
    Kind("large_media_header", "h264_aac", both=[large_media]),
    Kind("media_to_the_end", "h264_aac", both=[media_to_end]),
    Kind("several_media_boxes", "h264_aac", both=[split_media(3)], quick=1),
    Kind("several_media_boxes_apart", "h264_aac", both=[split_media(4, (b"free", bytes(33)))]),
    Kind("several_media_boxes_in_one", "h264_reordered", second=[split_media(2)]),
    Kind("no_file_type", "h264_aac_mov", both=[without_type], quick=1),
    Kind("no_file_type_in_one", "h264_aac_mov", second=[without_type]),
    Kind("compact_sizes_16", "h264_aac", both=[compact(16)], quick=1),
    Kind("compact_sizes_8", "sound_only", both=[compact(16)], second=[]),
    Kind("compact_sizes_in_one", "h264_aac", second=[compact(16)]),
    Kind("uniform_sizes", "h264_sowt", quick=1),
    Kind("uniform_sizes_meet_a_table", "h264_sowt", second=[spelled_sizes], quick=1),
    Kind("a_table_meets_uniform_sizes", "h264_sowt", first=[spelled_sizes]),
    Kind("large_offsets", "h264_aac", both=[wide_offsets]),
    Kind("large_offsets_in_one", "h264_aac", second=[wide_offsets]),
    Kind("dependencies", "h264_aac", first=[add_table(b"vide", depends(1))], second=[add_table(b"vide", depends(2))], quick=1),
    Kind("dependencies_in_one", "h264_aac", second=[add_table(b"vide", depends(2))], loses=(b"sdtp",)),
    Kind("partial_syncs", "h264_aac_mov", both=[add_table(b"vide", partial)], loses=(b"stps",), quick=1),
    Kind("sub_samples", "h264_aac", both=[add_table(b"vide", parts)], loses=(b"subs",), quick=1),
    Kind("sample_groups", "h264_aac", first=[lambda f: clear_groups(f), keys(0)], second=[lambda f: clear_groups(f), keys(1)], loses=(b"sbgp",), quick=1),
    Kind("sample_groups_of_pictures", "h264_reordered", first=[groups(b"vide", b"rap ", [b"\x80"], [(1, 1), (5, 0), (1, 1)])],
         second=[groups(b"vide", b"rap ", [b"\x80"], [(3, 0), (1, 1)])], loses=(b"sbgp",)),
    Kind("sample_groups_in_one", "h264_aac", both=[lambda f: clear_groups(f)], second=[keys(1)], loses=(b"sbgp",)),
    Kind("shift_bounds", "h264_reordered", both=[shift_bounds], loses=(b"cslg",), quick=1),
    Kind("shift_bounds_in_one", "negative_offsets", first=[shift_bounds], loses=(b"cslg",)),
    Kind("tracks_in_another_order", "h264_aac", second=[reverse_tracks], quick=1),
    Kind("other_track_ids", "timecode", second=[renumber(10)], quick=1),
    Kind("another_movie_scale", "h264_aac", second=[movie_scale(3)], quick=1),
    Kind("another_media_scale", "h264_reordered", second=[media_scale(b"vide", 2)]),
    Kind("another_media_scale_in_the_first", "h264_aac", first=[media_scale(b"vide", 3)]),
    Kind("other_handler_names", "h264_aac", second=[names(b"another muxer ")], quick=1),
    Kind("another_language", "h264_aac", second=[language]),
    Kind("user_data", "h264_aac", first=[user_data(b"one")], second=[user_data(b"two")]),
    Kind("boxes_of_the_movie", "h264_aac", both=[in_movie(b"zzzz", b"unknown"), in_movie(b"meta", p32(0) + Box(b"hdlr", bytes(8) + b"mdta" + bytes(13)).bytes()),
                                                in_movie(b"kind", p32(0) + b"a\0b\0", b"trak"), in_movie(b"load", bytes(16), b"trak")]),
    Kind("data_track", "h264_aac", both=[data_track], quick=1),
    Kind("data_track_at_another_place", "timecode", both=[data_track], second=[reverse_tracks]),
    Kind("wide_headers", "h264_aac", both=[wide_headers]),
    Kind("wide_headers_in_one", "h264_aac", second=[wide_headers]),
    Kind("late_sound", "h264_aac", both=[edits_of(b"soun", lambda e: [(100, -1, 0x10000)] + e)], quick=1),
    Kind("late_sound_in_one", "h264_aac", second=[edits_of(b"soun", lambda e: [(100, -1, 0x10000)] + e)]),
    Kind("without_edit_lists", "h264_aac", both=[lambda f: [t.drop(b"edts") for t in f.tracks]]),
    Kind("fragments_of_two_kinds", "fragments_every_frame", other="fragments_base_moof"),
    Kind("no_sync_table", "mjpeg_sowt", both=[without_syncs]),
    Kind("other_brands", "h264_aac", second=[brands(b"mp42", b"mp42", b"isom")]),
    Kind("edit_lists_of_two_parts", "h264_aac", both=[split_edit]),
    Kind("edit_list_of_two_parts_in_one", "h264_reordered", second=[split_edit]),
    Kind("bit_rates_of_sound", "h264_ac3", both=[without_rates], first=[extra_rates(b"soun")], second=[extra_rates(b"soun", 5000)]),
    Kind("turned_pictures", "h264_aac", both=[rotated]),
    Kind("random_access_groups", "hevc_reordered", both=[groups(b"vide", b"sync", [b"\x13"], [(1, 1), (5, 0), (1, 1)])], loses=(b"sbgp",)),
    Kind("a_movie_scale_that_does_not_divide", "h264_aac", second=[movie_scale(7), fast_start]),
    Kind("media_scales_of_all_tracks", "h264_reordered", second=[media_scale(b"vide", 3), media_scale(b"soun", 2)]),
    Kind("all_at_once", "h264_reordered", both=[before_media(b"wide", b""), on_top(b"uuid", bytes(40))],
         second=[reverse_tracks, renumber(5), split_media(3), wide_offsets, movie_scale(2), names(b"other ")]),
    Kind("edit_list_in_one", "h264_aac", first=[lambda f: [t.drop(b"edts") for t in f.tracks if handler_of(t) == b"vide"]]),
]


def clear_groups(file):
    for track in file.tracks:
        table_of(track).drop(b"sbgp")
        table_of(track).drop(b"sgpd")


def cut(data):
    return data[:len(data) * 2 // 3]


def first_offset(value):
    """The first chunk lies at that byte."""
    def edit(file):
        table = table_of(file.track(b"vide"))
        stco = table.get(b"stco")
        at = value if value >= 0 else (1 << 32) + value
        stco.data = stco.data[:8] + p32(at) + stco.data[12:]
    return edit


def no_offsets(file):
    """Media that stands in no media box."""
    for box in file.boxes:
        if box.kind == b"mdat":
            box.kind = b"free"


def elsewhere(file):
    dinf = file.track(b"vide").get(b"mdia", b"minf", b"dinf")
    dinf.data = Box(b"dref", p32(0, 1) + Box(b"url ", p32(0) + b"file:///else.mp4\0").bytes()).bytes()


def fewer_times(file):
    stts = table_of(file.track(b"vide")).get(b"stts")
    stts.data = stts.data[:8] + p32(max(1, u32(stts.data, 8) - 5)) + stts.data[12:]


def change_codec(at, value):
    def edit(entry):
        place = entry.index(b"avcC") + 4 + at
        return entry[:place] + bytes([value]) + entry[place + 1:]
    return edit


def cuts(name, change, handler=b"vide", family="h264_aac"):
    return Kind(name, family, both=[edits_of(handler, change)], merges=False)


REFUSES = [
    cuts("edits_begin_late", lambda e: [(600, 5 * 512, 0x10000)]),
    cuts("edits_end_early", lambda e: [(500, e[0][1] if e else 0, 0x10000)]),
    cuts("edits_in_parts", lambda e: [(400, 0, 0x10000), (400, 12800 // 2, 0x10000)]),
    cuts("edits_dwell", lambda e: [(500, 0, 0), (500, 0, 0x10000)]),
    cuts("edits_slow", lambda e: [(2000, 0, 0x8000)]),
    cuts("edits_repeat", lambda e: [(1000, 0, 0x10000), (1000, 0, 0x10000)]),
    cuts("edits_gap_inside", lambda e: [(400, 0, 0x10000), (100, -1, 0x10000), (600, 5120, 0x10000)]),
    cuts("edits_end_early_sound", lambda e: [(500, e[0][1] if e else 0, 0x10000)], handler=b"soun"),
    Kind("edits_cut_the_second", "h264_aac", second=[edits_of(b"vide", lambda e: [(600, 5 * 512, 0x10000)])], merges=False),
    Kind("other_picture_size", "h264_aac", other="h264_large", merges=False),
    Kind("other_codec", "h264_aac", other="hevc_hvc1", merges=False),
    Kind("other_codec_of_sound", "h264_aac", other="h264_ac3", merges=False),
    Kind("other_profile", "h264_baseline", other="h264_high", merges=False),
    Kind("other_parameter_sets", "h264_aac", second=[set_entry(b"vide", change_codec(10, 0x5A))], merges=False),
    Kind("other_level", "h264_aac", second=[set_entry(b"vide", change_codec(3, 60))], merges=False),
    Kind("other_channels", "h264_mono", other="h264_stereo", merges=False),
    Kind("other_sample_rate", "h264_aac", other="h264_44100", merges=False),
    Kind("other_bytes_of_sound", "h264_twos", other="h264_sowt", merges=False),
    Kind("other_depth_of_sound", "h264_sowt", other="h264_lpcm", merges=False),
    Kind("other_name_of_codec", "hevc_hvc1", second=[set_entry(b"vide", other_type(b"hev1"))], merges=False),
    Kind("track_missing", "h264_aac", second=[drop_track(b"soun")], merges=False),
    Kind("track_missing_in_the_first", "h264_aac", first=[drop_track(b"soun")], merges=False),
    Kind("data_track_missing", "h264_aac", first=[data_track], merges=False),
    Kind("pictures_and_sound_apart", "pictures_only", other="sound_only", merges=False),
    Kind("fragments_pictures_and_sound_apart", "fragments_sound", other="pictures_only", merges=False),
    Kind("media_cut_off", "h264_aac", both=[fast_start], raw=cut, merges=False),
    Kind("movie_cut_off", "h264_aac", raw=lambda data: data[:-100], merges=False),
    Kind("fragment_cut_off", "fragments_base_moof", raw=cut, merges=False),
    Kind("samples_in_no_media_box", "h264_aac", second=[no_offsets], merges=False),
    Kind("chunk_in_a_header", "h264_aac", second=[first_offset(4)], merges=False),
    Kind("chunk_behind_the_end", "h264_aac", second=[first_offset(-5000)], merges=False),
    Kind("media_in_another_file", "h264_aac", second=[elsewhere], merges=False),
    Kind("fewer_times_than_samples", "h264_aac", second=[fewer_times], merges=False),
    Kind("encrypted_and_plain", "h264_aac", second=[set_entry(b"vide", encrypted(b"\1"))], merges=False),
    Kind("encrypted_by_other_keys", "h264_aac", first=[set_entry(b"vide", encrypted(b"\1"))], second=[set_entry(b"vide", encrypted(b"\2"))], merges=False),
    Kind("other_picture_size_of_hevc", "hevc_hvc1", other="hevc_large", merges=False),
    Kind("other_sound_before_the_same", "two_sounds", other="h264_aac", merges=False),
    Kind("fewer_sizes_than_samples", "h264_aac", second=[table_data(b"vide", b"stsz", lambda d: d[:8] + p32(u32(d, 8) - 3) + d[12:])], merges=False),
    Kind("a_table_shorter_than_its_count", "h264_aac", second=[table_data(b"vide", b"stsz", lambda d: d[:-8])], merges=False),
    Kind("chunks_without_runs", "h264_aac", second=[table_data(b"vide", b"stsc", lambda d: p32(0, 0))], merges=False),
    Kind("a_description_that_is_not_there", "h264_aac", second=[table_data(b"vide", b"stsc", lambda d: d[:16] + p32(9) + d[20:])], merges=False),
    Kind("sizes_beyond_the_media", "h264_aac", second=[table_data(b"vide", b"stsz", lambda d: d[:12] + p32(1 << 30) + d[16:])], merges=False),
    Kind("inexact_media_scale", "h264_aac", second=[media_scale(b"vide", 1, exact=False)], merges=False),
    Kind("no_movie", "h264_aac", second=[lambda f: f.boxes.remove(f.movie)], merges=False),
    Kind("fragments_without_fragments", "fragments_base_moof",
         second=[lambda f: setattr(f, "boxes", [b for b in f.boxes if b.kind in (b"ftyp", b"moov")])], merges=False),
]

KINDS = {kind.name: kind for kind in MERGES + REFUSES}
for name in ("edits_begin_late", "other_picture_size", "track_missing", "media_cut_off", "encrypted_and_plain", "inexact_media_scale", "other_parameter_sets"):
    KINDS[name].quick = 1
