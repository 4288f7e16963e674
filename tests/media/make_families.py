#!/usr/bin/env python3
"""Makes families of clips that merge, one folder each, for the tests.

    make_families.py SOURCE-ROOT FOLDER

What is in FOLDER is kept as long as this script, mp4edit and ffmpeg stay as they are. Without
ffmpeg nothing is made, and the tests that want the clips skip.
"""
import hashlib
import shutil
import subprocess
import sys
from pathlib import Path

FFMPEG = ["ffmpeg", "-v", "error", "-nostdin", "-y"]
EXACT = ["-fflags", "+bitexact", "-flags:v", "+bitexact", "-flags:a", "+bitexact"]
# B-pictures and several groups of pictures even in short clips.
H264 = ["-c:v", "libx264", "-profile:v", "high", "-bf", "2", "-threads", "1", "-x264-params",
        "keyint=10:min-keyint=10:scenecut=0:open-gop=0"]
MPEG4 = ["-c:v", "mpeg4", "-g", "10", "-b:v", "100k"]
AAC = ["-c:a", "aac", "-b:a", "32k"]
BOTH, VIDEO, AUDIO = ["-map", "0:v", "-map", "1:a"], ["-map", "0:v"], ["-map", "1:a"]
AVC_AAC = [*BOTH, *H264, *AAC]
# What a recording device would not write: bit rates of a single file, groups of run-in samples.
CAMERA = ["--settle-rates", "0", "--drop", "sgpd", "--drop", "sbgp"]


def mp4(encoding, seconds, *edits):
    return encoding, "mp4", [*CAMERA, *edits], seconds


def lpcm(order, seconds):
    encoding = [*BOTH, *H264, "-c:a", f"pcm_s16{order}"]
    # A QuickTime writer names the loudspeakers in the sample entry and pads in front of the media.
    return encoding, "mov", [*CAMERA, "--drop", "chan", "--free-wide"], seconds


# Family: for each clip the encoder's arguments, the container, the edits, the seconds.
FAMILIES = {
    "avc_aac": [mp4(AVC_AAC, 1.0), mp4(AVC_AAC, 0.6), mp4(AVC_AAC, 1.4)],
    "mpeg4_visual": [mp4([*BOTH, *MPEG4, *AAC], seconds) for seconds in (0.8, 1.0)],
    "lpcm_little_endian": [lpcm("le", 0.6), lpcm("le", 0.8), lpcm("le", 0.4)],
    "lpcm_big_endian": [lpcm("be", 0.6), lpcm("be", 0.8)],
    "video_only": [mp4([*VIDEO, *H264], 0.6), mp4([*VIDEO, *H264], 1.0)],
    "audio_only": [mp4([*AUDIO, *AAC], 0.6), mp4([*AUDIO, *AAC], 1.0)],
    "large_offsets": [mp4(AVC_AAC, 0.6, "--co64"), mp4(AVC_AAC, 0.6), mp4(AVC_AAC, 0.6, "--co64")],
    "movie_box_in_front_and_behind": [
        mp4(AVC_AAC, 0.6, "--moov", place) for place in ("first", "last", "first")
    ],
    "large_media_box": [
        mp4(AVC_AAC, 0.6, "--large-mdat"),
        mp4(AVC_AAC, 0.6, "--large-mdat", "--moov", "first"),
        mp4(AVC_AAC, 0.6),
    ],
    "no_edit_lists": [mp4(AVC_AAC, seconds, "--drop", "edts") for seconds in (0.6, 0.8)],
    "single_frames": [mp4([*VIDEO, *H264, "-frames:v", "1"], 1) for _ in range(3)],
    "tracks_in_opposite_order": [mp4(AVC_AAC, 0.6), mp4(AVC_AAC, 0.6, "--reverse-tracks")],
}


def sources(number):
    """Picture and sound that differ from clip to clip."""
    picture = f"testsrc=s=96x64:r=25,hue=h={number * 40}"
    sound = f"sine=f={300 + 100 * number}:r=48000"
    return ["-f", "lavfi", "-i", picture, "-f", "lavfi", "-i", sound]


def encode(number, seconds, encoding, target):
    cut = ["-t", str(seconds), "-pix_fmt", "yuv420p"]
    subprocess.run([*FFMPEG, *sources(number), *cut, *encoding, *EXACT, target], check=True)


def make_clip(root, folder, number, clip):
    encoding, container, edits, seconds = clip
    raw = folder / f"raw.{container}"
    encode(number, seconds, encoding, raw)
    edited = folder / f"{number}.{container}"
    subprocess.run([root / "scripts" / "mp4edit", *edits, raw, edited], check=True)
    raw.unlink()


def make_fragmented(target):
    """A clip in fragments, whose movie box names no samples."""
    encode(0, 1, [*AVC_AAC, "-movflags", "frag_keyframe+empty_moov"], target)


def fingerprint(root):
    version = subprocess.run(["ffmpeg", "-version"], capture_output=True, check=True).stdout
    parts = [version, Path(__file__).read_bytes(), (root / "scripts" / "mp4edit").read_bytes()]
    return hashlib.sha256(b"".join(parts)).hexdigest()


def main(root, target):
    if shutil.which("ffmpeg") is None:
        print("no ffmpeg: no clips are made")
        return
    stamp = target / "made-by"
    wanted = fingerprint(root)
    if stamp.exists() and stamp.read_text(encoding="ascii") == wanted:
        print("the clips are up to date")
        return
    shutil.rmtree(target, ignore_errors=True)
    for name, clips in FAMILIES.items():
        folder = target / name
        folder.mkdir(parents=True)
        for number, clip in enumerate(clips, 1):
            make_clip(root, folder, number, clip)
    odd = target / "odd"
    odd.mkdir()
    make_fragmented(odd / "fragmented.mp4")
    stamp.write_text(wanted, encoding="ascii")
    print(f"{len(FAMILIES)} families of clips made")


if __name__ == "__main__":
    main(Path(sys.argv[1]), Path(sys.argv[2]))
