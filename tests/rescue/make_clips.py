"""Makes pairs of clips with ffmpeg: one to break, and another one of the same kind to learn from."""
import subprocess
from pathlib import Path

SOUND = "sine=frequency={tone}:sample_rate=48000:duration={seconds}"
PICTURE = "testsrc2=size=320x180:rate=25:duration={seconds}"

# name: (ending, options of the video, options of the sound, further ones). None: no such track.
KINDS = {
    "avc alone": ("mp4", "-c:v libx264 -bf 0 -g 25", None, ""),
    "avc with B, alone": ("mp4", "-c:v libx264 -bf 3 -g 30", None, ""),
    "avc slices, alone": ("mp4", "-c:v libx264 -bf 2 -x264-params slices=4:open-gop=1", None, ""),
    "avc slices that differ, alone": ("mp4", "-c:v libx264 -g 25 -x264-params slice-max-size=500", None, ""),
    "avc with new scenes, alone": ("mp4", "-c:v libx264 -g 25 -sc_threshold 10", None, ""),
    "hevc alone": ("mp4", "-c:v libx265 -x265-params log-level=none:bframes=3 -g 40", None, ""),
    "avc and aac": ("mp4", "-c:v libx264 -bf 3", "-c:a aac -b:a 128k", ""),
    "avc slices and aac": ("mp4", "-c:v libx264 -bf 0 -x264-params slices=4", "-c:a aac -ac 2", ""),
    "hevc and aac": ("mp4", "-c:v libx265 -x265-params log-level=none", "-c:a aac -ac 2", ""),
    "avc and pcm": ("mov", "-c:v libx264 -bf 3", "-c:a pcm_s16le -ac 2", ""),
    "avc and pcm 24": ("mov", "-c:v libx264 -bf 0", "-c:a pcm_s24be", ""),
    "hevc and pcm": ("mov", "-c:v libx265 -x265-params log-level=none", "-c:a pcm_s16be", ""),
    "avc and pcm, 0.5 s": ("mov", "-c:v libx264 -bf 2 -g 12", "-c:a pcm_s16le -ac 2", "-chunk_duration 500000"),
    "avc and pcm 24, 1 s": ("mov", "-c:v libx264 -bf 0", "-c:a pcm_s24be", "-chunk_duration 1000000"),
    "avc and mp3": ("mp4", "-c:v libx264 -bf 2", "-c:a libmp3lame", ""),
    "avc and ac-3": ("mp4", "-c:v libx264 -bf 2", "-c:a ac3", ""),
    "avc, aac and timecode": ("mov", "-c:v libx264", "-c:a aac", "-timecode 01:00:00:00"),
    "avc and pcm, timecode": ("mov", "-c:v libx264", "-c:a pcm_s16le", "-timecode 01:00:00:00"),
    "jpeg and pcm": ("mov", "-c:v mjpeg -q:v 6", "-c:a pcm_s16le", ""),
    "jpeg alone": ("mov", "-c:v mjpeg -q:v 9", None, ""),
    "avc and aac, 0.5 s": ("mp4", "-c:v libx264 -bf 2 -g 12", "-c:a aac -ac 2", "-min_frag_duration 0"),
}

# What the clip to break shows beyond the other ones.
BROKEN = 1
SHOWN = {
    "avc slices that differ, alone": "drawbox=t=fill:color=black:enable='between(t,2,3)'",
    "avc with new scenes, alone": "drawbox=t=fill:color=white:enable='between(t,1.3,2.1)'",
}


def make(folder, name, number):
    ending, video, sound, more = KINDS[name]
    path = Path(folder) / f"{name.replace(' ', '_').replace(',', '')}_{number}.{ending}"
    if path.exists():
        return path
    seconds = 4 + number
    inputs = ["-f", "lavfi", "-i", PICTURE.format(seconds=seconds)]
    coding = video.split()
    if sound:
        inputs += ["-f", "lavfi", "-i", SOUND.format(tone=300 + 140 * number, seconds=seconds)]
        coding += sound.split()
    shown = f",{SHOWN[name]}" if name in SHOWN and number == BROKEN else ""
    shift = ["-vf", f"hue=h={40 * number},noise=alls=8:allf=t{shown}"]
    command = ["ffmpeg", "-v", "error", "-nostdin", "-y", *inputs, *shift, *coding, "-preset", "ultrafast"]
    command += ["-pix_fmt", "yuv420p", "-bitexact", *more.split(), "-f", ending, f"{path}.part"]
    if "bf 0" not in video and "libx264" in video:
        command[command.index("ultrafast")] = "veryfast"
    subprocess.run(command, check=True)
    Path(f"{path}.part").rename(path)
    return path
