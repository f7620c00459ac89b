#!/usr/bin/python3
"""Judges the commands that rewrite MP3 files: frames and tags stay, and other readers agree on the length.

    check_repairs.py ZEL [SCRATCH]

Needs lame and ffmpeg; mpg123 and mutagen are asked too when they are installed. Exit status 1 when something is not as it
should be.
"""
import os
import random
import shutil
import sys
import tempfile

from make_torture import ID3V1, ape_tag, id3v2, id3v2_frame, mpeg_frames
from peers import peers, run, signal, write_wav
from zel_runner import Zel, check_verified

try:
    from mutagen.mp3 import MP3
except ImportError:
    MP3 = None

FIX, REBUILD, GAPLESS = "Fix VBR MP3 header...", "Rebuild MP3 stream", "Edit MP3 gapless playback information"


def frames_of(data):
    """The bytes of the audio frames, over whatever stands between them: each behind another, or before one."""
    result, at, first, end = [], mpeg_frames.tag_size(data), None, None
    while at + 4 <= len(data):
        frame = mpeg_frames.parse(data, at)
        if not frame or at + frame.size > len(data) or (first and frame[3:7] != first[3:7]) or (
                at != end and not mpeg_frames.parse(data, at + frame.size)):
            at += 1
            continue
        if first or not mpeg_frames.header_kind(data, frame):
            result.append(data[at:at + frame.size])
        first = first or frame
        at = end = at + frame.size
    return result


def load(path):
    with open(path, "rb") as file:
        return file.read()


def make_broken(scratch):
    """Files for the repairs to mend, by name."""
    run("lame", "--quiet", "-t", "-V4", os.path.join(scratch, "song.wav"), os.path.join(scratch, "song.mp3"))
    plain = load(os.path.join(scratch, "song.mp3"))
    middle = mpeg_frames.walk(plain)[100].at
    head, tail = id3v2(id3v2_frame(b"TIT2", b"\0Song")), ape_tag(b"Ape") + ID3V1
    noise = random.Random(7).randbytes(5000)
    told = mpeg_frames.xing_frame(plain[:4], 17, 9999) + plain
    return {"plain": plain, "tagged": head + plain + tail, "told_wrong": told, "noise_inside": plain[:middle] + noise + plain[middle:],
            "id3v1_inside": head + plain[:middle] + ID3V1 + plain[middle:] + tail, "noise_before": noise + plain,
            "cut": plain[:-100]}


def check_peers_length(zel, path, frames):
    """Readers of the header count all samples of its frames, unless it tells delay and padding."""
    wanted = frames * 1152 / 44100
    for name, length in (("mutagen", lambda: MP3(path).info.length if MP3 else wanted), ("ffprobe", lambda: float(
            run("ffprobe", "-v", "error", "-show_entries", "format=duration", "-of", "csv=p=0", path)))):
        if abs(length() - wanted) > 0.03:
            zel.fault(path, "run", f"{wanted} s by {name}", length())


def repairs(zel, scratch):
    write_wav(os.path.join(scratch, "song.wav"), signal(44100 * 8, 44100), 44100)
    for name, data in make_broken(scratch).items():
        for command in (FIX, REBUILD):
            path = os.path.join(scratch, f"repaired_{name}.mp3")
            with open(path, "wb") as file:
                file.write(data)
            status, _, said = zel.run("run", command, path)
            after = load(path)
            if status != 0:
                zel.fault(path, command, "status 0", said)
            if frames_of(after) != frames_of(data):
                zel.fault(path, command, f"the {len(frames_of(data))} frames that were there", len(frames_of(after)))
            if name in ("plain", "tagged", "told_wrong") or command == REBUILD:
                check_verified(zel, path, 50)
                check_peers_length(zel, path, len(frames_of(data)))
            zel.run("run", command, path)
            if load(path) != after:
                zel.fault(path, command, "no change when there is nothing to mend", "other bytes")
            if name in ("tagged", "id3v1_inside") and not (after.startswith(b"ID3") and after.endswith(ID3V1) and b"APETAGEX" in after):
                zel.fault(path, command, "all tags", "some gone")
    edit_gapless(zel, scratch)


def edit_gapless(zel, scratch):
    path = os.path.join(scratch, "gapless.mp3")
    shutil.copy(os.path.join(scratch, "song.mp3"), path)
    frames = len(frames_of(load(path)))
    for delay, padding in ((576, 1000), (0, 0), (4095, 4095), (1105, 300)):
        zel.run("run", GAPLESS, "--delay", str(delay), "--padding", str(padding), path)
        wanted = frames * 1152 - delay - 529 - max(0, padding - 529)
        theirs = {"ours": zel.decode(path), **{name: decode(path) for name, decode in peers() if padding >= 529}}
        for name, decoded in theirs.items():
            if len(decoded) // 4 != wanted:
                zel.fault(path, GAPLESS, f"{wanted} samples by {name} with {delay}, {padding}", len(decoded) // 4)


def main():
    zel = Zel(sys.argv[1])
    with tempfile.TemporaryDirectory() as own:
        scratch = sys.argv[2] if len(sys.argv) > 2 else own
        os.makedirs(scratch, exist_ok=True)
        repairs(zel, scratch)
    print(f"{len(zel.faults)} faults")
    return 1 if zel.faults else 0


raise SystemExit(main())
