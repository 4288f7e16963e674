#!/usr/bin/env python3
"""Merges clips in every kind of fragments that ffmpeg writes, and compares packet by packet.

    merge_fragments.py CLIPCHAIN

Each kind is merged behind a clip without fragments, in front of it and with itself. The packets of
every track must be those of the clips in a row: bytes, order, distance of decoding and presentation
times, sync flags. Skips (77) without ffmpeg.
"""
import collections
import json
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

SKIPPED = 77
FFMPEG = ["ffmpeg", "-v", "error", "-nostdin", "-y"]
KINDS = {
    "keyframe": "frag_keyframe",
    "empty movie": "frag_keyframe+empty_moov",
    "base is fragment": "frag_keyframe+empty_moov+default_base_moof",
    "one track each": "frag_keyframe+empty_moov+separate_moof",
    "every frame": "frag_every_frame+empty_moov",
    "edit lists": "frag_keyframe+empty_moov+delay_moov",
    "negative offsets": "frag_keyframe+empty_moov+default_base_moof+negative_cts_offsets",
    "implicit base": "frag_keyframe+empty_moov+omit_tfhd_offset",
    "smooth": "isml+frag_keyframe",
    "segments": "dash+frag_keyframe",
    "common": "cmaf+frag_keyframe",
}
Packet = collections.namedtuple("Packet", "pts dts flags hash")


def make(folder):
    """The clip without fragments, and the same samples in each kind."""
    plain = folder / "plain.mp4"
    sources = ["-f", "lavfi", "-i", "testsrc=s=96x64:r=25:d=2", "-f", "lavfi", "-i", "sine=f=440:r=48000:d=2"]
    encoding = ["-c:v", "libx264", "-bf", "2", "-g", "10", "-pix_fmt", "yuv420p", "-threads", "1", "-c:a", "aac"]
    subprocess.run([*FFMPEG, *sources, *encoding, plain], check=True)
    clips = {}
    for number, (kind, flags) in enumerate(KINDS.items()):
        clips[kind] = folder / f"{number}.mp4"
        subprocess.run([*FFMPEG, "-i", plain, "-c", "copy", "-movflags", flags, clips[kind]], check=True)
    return plain, clips


def packets(path):
    """By stream, in decoding order, edit lists aside."""
    asked = "packet=stream_index,pts,dts,flags,data_hash"
    run = subprocess.run(["ffprobe", "-v", "error", "-ignore_editlist", "1", "-show_entries", asked,
                          "-show_data_hash", "md5", "-of", "json", path], capture_output=True, check=True)
    found = collections.defaultdict(list)
    for packet in json.loads(run.stdout)["packets"]:
        found[packet["stream_index"]].append(
            Packet(packet["pts"], packet["dts"], packet["flags"][0], packet["data_hash"]))
    return found


def from_start(run):
    """The packets with times counted from those of the first."""
    return [Packet(p.pts - run[0].pts, p.dts - run[0].dts, p.flags, p.hash) for p in run]


def difference(clips, result):
    """What of the result is not as in the clips; empty if all is."""
    parts = [packets(clip) for clip in clips]
    merged = packets(result)
    for stream in parts[0]:
        at = 0
        for clip, part in zip(clips, parts):
            wanted = from_start(part[stream])
            got = from_start(merged[stream][at:at + len(wanted)])
            at += len(wanted)
            if got != wanted:
                first = next((i for i, pair in enumerate(zip(wanted, got)) if pair[0] != pair[1]), len(got))
                return f"stream {stream} differs at packet {first} of {clip.name}"
        if at != len(merged[stream]):
            return f"stream {stream} has {len(merged[stream])} packets, and the clips {at}"
    return ""


def merge(tool, clips, result):
    """What speaks against the merge of these clips; empty if it is right."""
    run = subprocess.run([tool, "merge", "--overwrite", "-o", result, *clips], capture_output=True, check=False)
    if run.returncode != 0:
        return f"exit code {run.returncode}: {run.stderr.decode(errors='replace')}"
    return difference(clips, result)


def main(tool):
    if shutil.which("ffmpeg") is None or shutil.which("ffprobe") is None:
        print("no ffmpeg: nothing is merged")
        return SKIPPED
    faults = []
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        plain, clips = make(folder)
        for kind, clip in clips.items():
            again = folder / "again.mp4"
            shutil.copy(clip, again)
            for inputs in ([plain, clip], [clip, plain], [clip, again]):
                fault = merge(tool, inputs, folder / "merged.mp4")
                if fault:
                    faults.append(f"{kind}, {' + '.join(path.name for path in inputs)}: {fault}")
    print("\n".join(faults) or f"{len(KINDS)} kinds of fragments merge")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
