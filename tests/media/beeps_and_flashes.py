#!/usr/bin/env python3
"""Whether a beep and a flash that belong together are heard and seen together in every merged clip.

    beeps_and_flashes.py --tool CLIPCHAIN [--clips 6]

Makes clips of 1 s with a flash of one picture and a beep at the same place, merges many of them without --force, decodes
the result, and compares at which time each beep begins and each flash is shown with how they lie in the clip alone. They
must stay within half a frame of sound, 10.7 ms at 48 kHz, and what a decoder blurs. Answers 77 without ffmpeg.
"""
import argparse
import array
import json
import shutil
import subprocess
import sys
import tempfile
from fractions import Fraction
from pathlib import Path

HALF_A_FRAME = 512 / 48000
BLUR = 0.002  # by which a beep may seem to begin elsewhere behind another sound
RATE = 48000

# Kind of recording: pictures a second, seconds of sound, encoder of pictures, what else ffmpeg is told.
KINDS = {
    "sound a little longer": ("25", 1.02, "-c:v libx264 -preset ultrafast", ""),
    "sound shorter": ("25", 0.97, "-c:v libx264 -preset ultrafast", ""),
    "pictures shown later than decoded": ("24000/1001", 1.0, "-c:v libx264 -preset veryfast -bf 3", ""),
    "sixty pictures a second": ("60000/1001", 1.01, "-c:v libx264 -preset ultrafast", ""),
    "sound that starts late": ("25", 0.8, "-c:v libx264 -preset ultrafast", "0.3"),
    "sound without frames": ("25", 1.03, "-c:v libx264 -preset ultrafast", "pcm"),
}


def run(*command):
    done = subprocess.run([str(part) for part in command], capture_output=True)
    if done.returncode:
        raise RuntimeError(f"{command[0]}: {done.stderr.decode(errors='replace')[:500]}")
    return done.stdout


def make(path, kind, number):
    """A clip whose flash and beep lie at half a second and a bit, another bit in each clip."""
    rate, sound, encoder, more = KINDS[kind]
    late = float(more) if more not in ("", "pcm") else 0
    picture = round((0.48 + number * 0.04) * float(Fraction(rate)))
    at = float(picture / Fraction(rate))
    pictures = f"color=black:s=64x64:r={rate}:d=1,drawbox=c=white:t=fill:enable='eq(n,{picture})'"
    beep = f"aevalsrc=if(between(t\\,{at - late}\\,{at - late + 0.05})\\,0.9*sin(2*PI*1500*(t-{at - late}))\\,0):s={RATE}:d={sound}"
    shift = ["-itsoffset", str(late)] if late else []
    codec = ["-c:a", "pcm_s16le", "-f", "mov"] if more == "pcm" else ["-c:a", "aac", "-b:a", "96k"]
    run("ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", pictures, *shift, "-f", "lavfi", "-i", beep, "-map", "0:v",
        "-map", "1:a", *encoder.split(), "-threads", "1", *codec, path)


def frames(path, stream, *entries):
    told = run("ffprobe", "-v", "error", "-select_streams", stream, "-show_frames", "-show_entries",
               "frame=" + ",".join(entries), "-of", "json", path)
    return json.loads(told)["frames"]


def onsets(values, limit):
    """Where values above the limit begin, behind at least 0.2 s without."""
    found, last = [], -1.0
    for time, value in values:
        if value > limit:
            if not found or time - last > 0.2:
                found.append(time)
            last = time
    return found


def flashes(path):
    light = run("ffmpeg", "-v", "error", "-i", path, "-map", "0:v", "-vf", "format=gray,scale=1:1", "-f", "rawvideo",
                "-fps_mode", "passthrough", "-")
    times = [float(frame["pts_time"]) for frame in frames(path, "v", "pts_time")]
    assert len(times) == len(light), f"{len(times)} pictures have times and {len(light)} were decoded"
    return onsets(zip(times, light), 128)


def beeps(path):
    sound = array.array("h", run("ffmpeg", "-v", "error", "-i", path, "-map", "0:a", "-f", "s16le", "-ac", "1", "-"))
    parts = frames(path, "a", "pts_time", "nb_samples")
    assert sum(part["nb_samples"] for part in parts) == len(sound), "not every frame of sound was decoded"
    values, at = [], 0
    for part in parts:
        start = float(part["pts_time"])
        values += [(start + i / RATE, abs(sound[at + i])) for i in range(part["nb_samples"]) if abs(sound[at + i]) > 8000]
        at += part["nb_samples"]
    return onsets(values, 8000)


def offsets(path, clips):
    seen, heard = flashes(path), beeps(path)
    if len(seen) != clips or len(heard) != clips:
        raise RuntimeError(f"{clips} clips have {len(seen)} flashes and {len(heard)} beeps")
    return [beep - flash for beep, flash in zip(heard, seen)]


def measure(tool, kind, clips, folder, different=2):
    """The largest difference at any seam, in seconds."""
    ending = ".mov" if KINDS[kind][3] == "pcm" else ".mp4"
    made = [folder / f"made{number}{ending}" for number in range(min(different, clips))]
    for number, path in enumerate(made):
        make(path, kind, number)
    alone = [offsets(path, 1)[0] for path in made]
    inputs = [folder / f"clip{number:04}{ending}" for number in range(clips)]
    for number, path in enumerate(inputs):
        shutil.copy(made[number % len(made)], path)
    result = folder / ("result" + ending)
    run(tool, "merge", "-o", result, *inputs)
    return max(abs(offset - alone[number % len(made)]) for number, offset in enumerate(offsets(result, clips)))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--tool", required=True)
    parser.add_argument("--clips", type=int, default=6)
    parser.add_argument("--kind", action="append", choices=list(KINDS))
    options = parser.parse_args()
    if not shutil.which("ffmpeg") or not shutil.which("ffprobe"):
        print("no ffmpeg")
        return 77
    failed = False
    for kind in options.kind or KINDS:
        with tempfile.TemporaryDirectory() as folder:
            apart = measure(options.tool, kind, options.clips, Path(folder))
        failed |= apart > HALF_A_FRAME + BLUR
        print(f"{kind}: {options.clips} clips, beep and flash at most {apart * 1000:.1f} ms farther apart than alone", flush=True)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
