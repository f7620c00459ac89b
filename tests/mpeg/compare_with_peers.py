#!/usr/bin/env python3
"""Judges the samples that `zel` makes of MPEG audio, by what encoders were given and by what other decoders say.

    compare_with_peers.py ZEL [--only SECTION] [--scratch DIR]

round_trips  signals of awkward lengths come back from lame's and ffmpeg's encoders in full and in place
totals       the length told is the length decoded, and that of the frames that ffprobe counts
seeks        500 positions of long files, with and without headers, and of one with garbage inside
long         500 positions of ten hours; takes half a gigabyte of room

Needs lame, twolame and ffmpeg; mpg123 is asked too when it is installed. Exit status 1 when something differs.
"""
import argparse
import array
import functools
import glob
import os
import random
import tempfile

from make_torture import DATA, mpeg_frames
from peers import peers, run, signal, write_wav
from zel_runner import Zel, channels_of, check_verified, samples_told

LENGTHS = (1, 2, 47, 575, 576, 577, 623, 624, 1151, 1152, 1153, 1728, 4999, 22050)
# Where a signal ends up when a delay is left out or counted twice.
WRONG_PLACES = (-1105, -576, -529, -2, -1, 1, 2, 529, 576, 1105)


def floats(data):
    return array.array("f", data[:len(data) // 4 * 4])


def encode(kind, wav, out):
    commands = {
        "lame_cbr": ["lame", "--quiet", "-b", "128", wav, out], "lame_vbr": ["lame", "--quiet", "-V2", wav, out],
        "lame_abr": ["lame", "--quiet", "--abr", "96", wav, out],
        "ffmpeg_cbr": ["ffmpeg", "-v", "error", "-y", "-i", wav, "-c:a", "libmp3lame", "-b:a", "64k", out],
        "ffmpeg_vbr": ["ffmpeg", "-v", "error", "-y", "-i", wav, "-c:a", "libmp3lame", "-q:a", "3", out],
    }
    run(*commands[kind])
    return out


# ffmpeg's muxer tells no padding above a frame and the 529 samples of a decoder: the length is wrong where more is needed.
def can_be_told(kind, rate, length):
    return kind.startswith("lame") or (length - 1) % (1152 if rate > 24000 else 576) >= 46


# kind of encoding, rate
ROUND_TRIPS = (("lame_cbr", 44100), ("lame_vbr", 44100), ("lame_abr", 32000), ("ffmpeg_cbr", 48000), ("ffmpeg_vbr", 44100),
               ("lame_vbr", 22050), ("lame_cbr", 24000), ("ffmpeg_vbr", 16000), ("ffmpeg_cbr", 11025))


def error_energy(given, decoded, shift):
    """Of decoded[i + shift] against given[i]."""
    first, last = max(0, -shift), min(len(given), len(decoded) - shift)
    return sum((decoded[i + shift] - given[i] / 32768) ** 2 for i in range(first, last)) / max(1, last - first)


def is_in_place(given, decoded):
    here = error_energy(given, decoded, 0)
    return all(here < error_energy(given, decoded, shift) for shift in WRONG_PLACES)


def round_trips(zel, scratch):
    others = {name: [decode, 0] for name, decode in peers()}
    count = 0
    for kind, rate in ROUND_TRIPS:
        for length in filter(functools.partial(can_be_told, kind, rate), LENGTHS):
            given = signal(length, rate)
            wav, path = os.path.join(scratch, "given.wav"), os.path.join(scratch, f"{kind}_{rate}_{length}.mp3")
            write_wav(wav, given, rate)
            encode(kind, wav, path)
            count += 1
            decoded = floats(zel.decode(path))
            if len(decoded) != length:
                zel.fault(path, "decode", f"{length} samples", len(decoded))
            elif length > 2000 and not is_in_place(given, decoded):
                zel.fault(path, "decode", "the signal in its place", "a shifted one")
            for other in others.values():
                other[1] += len(floats(other[0](path))) == length
    told = ", ".join(f"{name} {right}" for name, (_, right) in others.items())
    print(f"round_trips: {count} signals; of other decoders give the length: {told}")


def packets_of(path):
    return int(run("ffprobe", "-v", "error", "-count_packets", "-select_streams", "a", "-show_entries", "stream=nb_read_packets", "-of",
                   "default=nokey=1:noprint_wrappers=1", path))


# Fixtures whose frames are no row, or not as many as they tell; tests of their own look at them.
DAMAGED = {"garbage_inside.mp3", "id3v1_inside.mp3", "frames_missing.mp3", "truncated.mp3", "free_format.mp3",
           "one_frame_then_noise.mp3", "info_of_one_frame.mp3"}


def totals(zel, scratch):
    paths = [path for path in sorted(glob.glob(os.path.join(DATA, "mpeg", "*.mp[123]"))) if os.path.basename(path) not in DAMAGED]
    wav = os.path.join(scratch, "totals.wav")
    write_wav(wav, signal(2 * 44100 * 3, 44100), 44100, 2)
    for number, options in enumerate((["-b", "320"], ["-V0"], ["-V9"], ["-t", "-b", "96"], ["-t", "-V5"], ["--abr", "200", "-t"])):
        paths.append(os.path.join(scratch, f"totals{number}.mp3"))
        run("lame", "--quiet", "--resample", "44.1", *options, wav, paths[-1])
    described = zel.info(paths)
    for path in paths:
        record = described[path]
        if "error" in record:
            zel.fault(path, "info", "a description", record["error"]["message"])
            continue
        decoded = zel.decode(path)
        count = len(decoded) // 4 // channels_of(record)
        if samples_told(record) != count:
            zel.fault(path, "info and decode", f"one length: {samples_told(record)} told", count)
        with open(path, "rb") as file:
            data = file.read()
        first = mpeg_frames.walk(data)
        frames = packets_of(path)
        most = frames * first[0].samples - mpeg_frames.DELAYS[first[0].layer]
        is_gapless = record["subsongs"][0]["info"].get("mp3_accurate_length") == "1"
        if count > most or (not is_gapless and count != most):
            zel.fault(path, "decode", f"{most} samples of {frames} frames", count)
    print(f"totals: {len(paths)} files")


def long_files(scratch):
    """Files of some 20 seconds, by what is special about them."""
    stereo, mono, low = (os.path.join(scratch, name) for name in ("stereo.wav", "mono.wav", "low.wav"))
    write_wav(stereo, signal(2 * 44100 * 20 + 14, 44100), 44100, 2)
    write_wav(mono, signal(44100 * 20 + 7, 44100), 44100)
    write_wav(low, signal(8000 * 30 + 3, 8000), 8000)
    made = {
        "cbr128.mp3": ["lame", "--quiet", "-b", "128", stereo], "cbr64.mp3": ["lame", "--quiet", "--resample", "44.1", "-b", "64", stereo],
        "cbr64_no_header.mp3": ["lame", "--quiet", "--resample", "44.1", "-t", "-b", "64", stereo],
        "vbr.mp3": ["lame", "--quiet", "-V4", stereo], "vbr_no_header.mp3": ["lame", "--quiet", "-t", "-V4", stereo],
        "mono32.mp3": ["lame", "--quiet", "--resample", "44.1", "-b", "32", mono], "low8.mp3": ["lame", "--quiet", "-b", "8", low],
        "mpeg2_vbr.mp3": ["lame", "--quiet", "--resample", "22.05", "-V6", stereo],
        "layer2.mp2": ["twolame", "--quiet", "-b", "96", stereo], "crc.mp3": ["lame", "--quiet", "-p", "-V6", mono],
    }
    for name, command in made.items():
        run(*command, os.path.join(scratch, name))
    return [os.path.join(scratch, name) for name in made]


def seeks_into_damage(zel, scratch):
    """Where `verify` stops at the damage, `decode --start` has to give what a decode of the whole gives there."""
    with open(os.path.join(scratch, "cbr64_no_header.mp3"), "rb") as file:
        data = file.read()
    frames = mpeg_frames.walk(data)
    for what, extra in (("noise", random.Random(5).randbytes(20_000)), ("id3v1", b"TAG" + bytes(125))):
        path = os.path.join(scratch, f"damaged_{what}.mp3")
        at = frames[len(frames) // 2].at
        with open(path, "wb") as file:
            file.write(data[:at] + extra + data[at:])
        whole = zel.decode(path)
        rate, width = frames[0].rate, 4 * frames[0].channels
        choose = random.Random(6)
        middle = len(whole) // width // 2
        targets = [choose.randrange(len(whole) // width) for _ in range(20)] + [middle + n for n in range(-30_000, 40_000, 3500)]
        for target in targets:
            part = zel.decode(path, "--start", f"{target / rate:.9f}", "--length", "0.05")
            if part != whole[target * width:target * width + round(0.05 * rate) * width]:
                zel.fault(path, f"decode --start {target / rate:.9f}", "what a decode of the whole has there", "other samples")


def seeks(zel, scratch):
    paths = long_files(scratch)
    for path in paths:
        check_verified(zel, path, 500)
    seeks_into_damage(zel, scratch)
    print(f"seeks: {len(paths)} files")


def make_ten_hours(scratch, header):
    """A song of a minute over and over; each begins with a frame that needs no earlier one."""
    wav, song = os.path.join(scratch, "minute.wav"), os.path.join(scratch, "minute.mp3")
    quiet = array.array("h", (value // 50 if n // 44100 % 3 == 0 else value for n, value in enumerate(signal(44100 * 60, 44100))))
    write_wav(wav, quiet, 44100)
    run("lame", "--quiet", "-t", "-V5", wav, song)
    with open(song, "rb") as file:
        data = file.read()
    path = os.path.join(scratch, "ten_hours_header.mp3" if header else "ten_hours.mp3")
    mpeg_frames.write_repeated(path, data, 600, header)
    return path


def long(zel, scratch):
    for header in (True, False):
        path = make_ten_hours(scratch, header)
        took = check_verified(zel, path, 500)
        print(f"long: {os.path.basename(path)}, {os.path.getsize(path) >> 20} MiB, verified with 500 seeks in {took:.0f} s")
        os.remove(path)


def main():
    sections = (round_trips, totals, seeks, long)
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("zel")
    parser.add_argument("--only", choices=[section.__name__ for section in sections], help="one section; all but the last by default")
    parser.add_argument("--scratch", help="where files are made and left")
    options = parser.parse_args()
    zel = Zel(options.zel)
    with tempfile.TemporaryDirectory() as own:
        scratch = options.scratch or own
        os.makedirs(scratch, exist_ok=True)
        for section in sections:
            if section.__name__ == options.only or options.only is None and section is not long:
                section(zel, scratch)
    print(f"{len(zel.faults)} faults")
    return 1 if zel.faults else 0


raise SystemExit(main())
