#!/usr/bin/python3
"""Makes tests/data/packets: packets of several codecs, cut from files of independent encoders by ffprobe.

packet_tool.py OUT_DIR

NAME.packets is a row of records, each a little-endian size of 4 bytes and as many bytes: first the decoder's setup data, then
the packets. expected.tsv has for each the MD5 of the little-endian 32-bit float samples that ffmpeg's own command line makes of
the file with its trimming off, their number per channel, rate and channels.
"""
import hashlib
import json
import os
import re
import struct
import subprocess
import sys
import tempfile

OUT = sys.argv[1]
SIGNAL = "aevalsrc=0.4*sin(2*PI*440*t)+0.2*sin(2*PI*5000*t*t)|0.3*sin(2*PI*880*t):s=44100:d=0.4"
SIGNAL_48 = SIGNAL.replace("44100", "48000")

# name, file, arguments of the encoder
FILES = [
    ("aac_lc", "a.m4a", ["-c:a", "aac", "-aac_pns", "0", "-b:a", "96k"]),
    ("ac3", "a.ac3", ["-c:a", "ac3", "-b:a", "128k"]),
    ("eac3", "a.eac3", ["-c:a", "eac3", "-b:a", "96k"]),
    ("alac16", "b.m4a", ["-c:a", "alac", "-sample_fmt", "s16p"]),
    ("alac24", "c.m4a", ["-c:a", "alac", "-sample_fmt", "s32p"]),
    ("dts", "a.dts", ["-c:a", "dca", "-strict", "-2", "-b:a", "768k"]),
    ("mp3", "a.mp3", ["-c:a", "libmp3lame", "-b:a", "96k", "-write_xing", "0", "-id3v2_version", "0"]),
    ("mp2", "a.mp2", ["-c:a", "mp2", "-b:a", "128k"]),
    ("amr_nb", "a.amr", None),
]


def run(*command):
    return subprocess.run(command, check=True, capture_output=True).stdout


def from_dump(text):
    """The bytes of ffprobe's hexadecimal dump."""
    lines = re.findall(r"^[0-9a-f]{8}: ((?:[0-9a-f]{2,4} ){1,8})", text, re.MULTILINE)
    return bytes.fromhex("".join(lines).replace(" ", ""))


def probe(path, *arguments):
    return json.loads(run("ffprobe", "-v", "error", "-show_data", "-of", "json", *arguments, path))


def main():
    os.makedirs(OUT, exist_ok=True)
    rows = []
    with tempfile.TemporaryDirectory() as scratch:
        for name, file, arguments in FILES:
            path = os.path.join(scratch, file)
            seconds = {"alac24": "d=0.2", "mp3": "d=0.8"}.get(name, "d=0.4")
            signal = SIGNAL_48 if name in ("dts", "eac3", "ac3") else SIGNAL
            if arguments is None:
                run("sox", "-D", "-R", "-n", "-r", "8000", "-c", "1", "-t", "amr-nb", path, "synth", "0.4", "sine", "300-900")
            else:
                run("ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", signal.replace("d=0.4", seconds), "-bitexact", *arguments, path)
            stream = probe(path, "-show_streams")["streams"][0]
            packets = [from_dump(p["data"]) for p in probe(path, "-show_packets")["packets"]]
            assert [len(p) for p in packets] == [int(p["size"]) for p in probe(path, "-show_packets")["packets"]]
            with open(os.path.join(OUT, name + ".packets"), "wb") as out:
                for record in [from_dump(stream.get("extradata", "")), *packets]:
                    out.write(struct.pack("<I", len(record)) + record)
            decoder = ["-c:a", "mp3float"] if name == "mp2" else []
            ignore = ["-ignore_editlist", "1"] if file.endswith(".m4a") else []
            pcm = run("ffmpeg", "-v", "error", "-threads", "1", "-flags2", "+skip_manual", "-request_sample_fmt", "flt", *ignore, *decoder, "-i", path, "-f",
                      "f32le", "-")
            channels = int(stream["channels"])
            rows.append((name, hashlib.md5(pcm).hexdigest(), len(pcm) // 4 // channels, stream["sample_rate"], channels))
    with open(os.path.join(OUT, "expected.tsv"), "w", encoding="utf-8") as out:
        for row in rows:
            out.write("\t".join(map(str, row)) + "\n")


main()
