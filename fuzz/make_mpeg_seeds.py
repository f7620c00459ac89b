#!/usr/bin/python3
"""Makes the seeds of the fuzz targets of MPEG audio again, from tests/data/mpeg.

    fuzz/make_mpeg_seeds.py

Some frames of each file are enough. Seeds of other names are left alone: the finds of earlier runs.
"""
import os
import sys

here = os.path.dirname(os.path.abspath(__file__))
data = os.path.join(here, "..", "tests", "data")
sys.path.insert(0, data)
import mpeg_frames  # noqa: E402

# How many frames are kept; all for 0, which tags at the end need.
FRAMES = {
    "mono.mp3": 0, "vbr_mono.mp3": 5, "mpeg25_8kbit.mp3": 0, "mpeg2_no_header.mp3": 8, "cbr64_no_header.mp3": 14, "crc.mp3": 3,
    "vbri.mp3": 4, "xing_without_lame.mp3": 4, "garbled_encoder.mp3": 3, "fewer_frames_told.mp3": 0, "info_of_one_frame.mp3": 3,
    "id3v2_id3v1.mp3": 0, "apev2.mp3": 0, "itunsmpb.mp3": 4, "garbage_inside.mp3": 0, "id3v1_inside.mp3": 0, "truncated.mp3": 0,
    "free_format.mp3": 0, "one_frame_then_noise.mp3": 0, "joint_crc.mp2": 4, "mpeg2_mono.mp2": 4, "mono.mp1": 5, "crc.mp1": 5,
}
# Those that repairs do something to, or tags stand in.
REPAIRED = ("garbage_inside.mp3", "id3v1_inside.mp3", "vbri.mp3", "itunsmpb.mp3", "fewer_frames_told.mp3", "truncated.mp3",
            "id3v2_id3v1.mp3", "apev2.mp3", "mpeg2_no_header.mp3", "xing_without_lame.mp3")


def save(target, name, content):
    folder = os.path.join(here, "seeds", target)
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, name.replace(".", "_")), "wb") as out:
        out.write(content)


for name, frames in FRAMES.items():
    with open(os.path.join(data, "mpeg", name), "rb") as source:
        content = source.read()
    if frames:
        last = mpeg_frames.walk(content)[frames - 1]
        content = content[:last.at + last.size]
    save("mp3", name, content)
    if not name.startswith(("id3v2", "apev2", "itunsmpb")):
        save("mpeg_scan", name, content[:2500])
    if name in REPAIRED:
        save("mpeg_repair", name, content)
