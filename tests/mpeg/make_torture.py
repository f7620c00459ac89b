#!/usr/bin/env python3
"""Damaged files of MPEG audio, made from whole ones of tests/data/mpeg: `make_torture.py OUT` writes them and says what they are.

Each is a `Case`: what a reader that recovers gets out of it, and what is to be said of it.
"""
import collections
import os
import random
import struct
import sys

DATA = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "data")
sys.path.insert(0, DATA)
import mpeg_frames  # noqa: E402

# fewest, most: samples that come out when the damage is passed over; None for a file that is no stream.
# word: begins what is said of the damage, which makes `verify` fail; empty for a file that is whole.
Case = collections.namedtuple("Case", "name data fewest most word")

ERROR = "MPEG stream error at "
TAG = "ID3 tag garbage inside MPEG stream at "
CHECKSUM = "MPEG frame checksum mismatch."
REFUSED = "Unsupported file format"
ANYTHING = "*"


def load(name):
    with open(os.path.join(DATA, "mpeg", name), "rb") as file:
        return file.read()


def synchsafe(number):
    return bytes(number >> shift & 127 for shift in (21, 14, 7, 0))


def id3v2(frames):
    return b"ID3\x03\0\0" + synchsafe(len(frames)) + frames


def id3v2_frame(name, content):
    return name + struct.pack(">IH", len(content), 0) + content


def ape_tag(value):
    item = struct.pack("<II", len(value), 0) + b"Title\0" + value
    ends = [b"APETAGEX" + struct.pack("<IIIIQ", 2000, len(item) + 32, 1, flags, 0) for flags in (0xA0000000, 0x80000000)]
    return ends[0] + item + ends[1]


def lyrics3():
    body = b"LYRICSBEGIN" + b"IND00002" + b"10" + b"LYR00013" + b"[00:01]hello\r"
    return body + b"%06d" % len(body) + b"LYRICS200"


ID3V1 = b"TAG" + b"A title".ljust(125, b"\0")
NOISE = random.Random(3)


def picture(header):
    """2 MiB in which every few hundred bytes look like the header of a frame."""
    data = bytearray(NOISE.randbytes(2 << 20).replace(b"\xff", b"\xfe"))
    at = 0
    while at + 4 < len(data):
        data[at:at + 4] = header
        at += NOISE.randrange(150, 650)
    return bytes(data)


class Maker:
    """Cases over one file without a header frame, in which every frame stands by itself."""

    def __init__(self, name):
        self.name = name
        self.data = load(name)
        self.frames = mpeg_frames.walk(self.data)
        self.cases = []

    def samples(self, frames):
        first = self.frames[0]
        return frames * first.samples - mpeg_frames.DELAYS[first.layer]

    def add(self, what, data, lost=0, word="", most_lost=None):
        """`lost` frames are lost, or up to `most_lost`."""
        whole = len(self.frames)
        fewest = self.samples(whole - (lost if most_lost is None else most_lost))
        self.cases.append(Case(f"{os.path.splitext(self.name)[0]}_{what}.{self.name[-3:]}", data, fewest,
                               self.samples(whole - lost), word))

    def insert(self, frame, extra):
        at = self.frames[frame].at
        return self.data[:at] + extra + self.data[at:]

    def around(self):
        """What stands before and behind the frames, and belongs there."""
        self.add("zeros_behind", self.data + bytes(5000), word=ANYTHING)
        self.add("noise_before", NOISE.randbytes(3000) + self.data)
        self.add("zeros_before", bytes(100_000) + self.data)
        self.add("two_id3v2", id3v2(id3v2_frame(b"TIT2", b"\0x")) * 2 + self.data, word="Multiple ID3v2 tags")
        for what, tail in (("ape", ape_tag(b"x" * 300)), ("id3v1", ID3V1), ("lyrics3", lyrics3() + ID3V1),
                           ("ape_id3v1", ape_tag(b"x" * 300) + ID3V1), ("two_id3v1", ID3V1 * 2)):
            self.add(what + "_behind", self.data + tail, word="" if what != "two_id3v1" else ANYTHING)

    def inside(self):
        middle = len(self.frames) // 2
        for what, count in (("3_bytes", 3), ("short", 700), ("20_kb", 20_000)):
            self.add(f"noise_{what}", self.insert(middle, NOISE.randbytes(count)), word=ERROR)
        self.add("zeros_inside", self.insert(middle, bytes(4000)), word=ERROR)
        # Nothing is looked for behind a mebibyte of noise.
        self.add("noise_2_mb", self.insert(middle, NOISE.randbytes(2_000_000)), most_lost=len(self.frames) - middle, word=ERROR)
        self.add("id3v1_inside", self.insert(middle, ID3V1), word=TAG)
        self.add("five_id3v1_inside", self.insert(middle, ID3V1 * 5), word=TAG)
        self.add("id3v2_inside", self.insert(middle, id3v2(id3v2_frame(b"TIT2", b"\0" + b"x" * 50))), word=ERROR)
        art = id3v2_frame(b"APIC", b"\0image/png\0\x03\0" + picture(self.data[:4]))
        self.add("picture_inside", self.insert(middle, id3v2(art)), word=ERROR)
        self.add("ape_inside", self.insert(middle, ape_tag(b"x" * 300)), most_lost=len(self.frames) - middle, word=ANYTHING)

    def add_flipped(self, what, data, number):
        """Frame `number` may have become another."""
        old, new = self.frames[number], mpeg_frames.parse(data, self.frames[number].at)
        if new is not None and new[1:] == old[1:]:
            return self.add(what, data, word=CHECKSUM if old.crc else "")
        # A frame that seems longer takes those that it covers along.
        lost = max(2, new.size // old.size) + 1 if new else 3
        self.add(what, data, most_lost=lost, word=ANYTHING)
        case = self.cases[-1]
        if new and new.channels != old.channels:
            self.cases[-1] = case._replace(fewest=0)  # one output can't hold both
        elif new and new.samples > old.samples:
            self.cases[-1] = case._replace(most=case.most + new.samples)
        return None

    def frames_hurt(self):
        middle = len(self.frames) // 2
        dropped = self.data[:self.frames[middle].at] + self.data[self.frames[middle + 3].at:]
        # Frames of layer 3 lend each other bits; of others no trace is left but the sound.
        word = "MPEG frames are missing or damaged before " if self.frames[0].layer == 3 else ""
        self.add("frames_dropped", dropped, lost=3, word=word)
        at = self.frames[middle].at
        for bit in range(32):
            broken = bytearray(self.data)
            broken[at + bit // 8] ^= 0x80 >> bit % 8
            self.add_flipped(f"header_bit_{bit}", bytes(broken), middle)
        for seed in range(8):
            broken = bytearray(self.data)
            start = at + 4 + (2 if self.frames[0].crc else 0)
            broken[start:start + 17] = random.Random(seed).randbytes(17)
            # A decoder may go on, or say what it can't read.
            self.add(f"side_information_{seed}", bytes(broken), most_lost=len(self.frames) - middle, word=ANYTHING)
        # The frame that stood there is half, and the one that follows can be found again.
        self.add("half_a_frame", self.data[:at + 50] + self.data[self.frames[middle + 1].at:], lost=1, most_lost=2, word=ERROR)

    def cut(self):
        """At every byte of a frame's head and tail, and in between."""
        frame = self.frames[-3]
        for offset in (*range(0, 9), frame.size // 2, frame.size - 1):
            self.add(f"cut_at_{offset}", self.data[:frame.at + offset], lost=3, word="" if offset == 0 else ANYTHING)
        for size in (0, 1, 3, 4, self.frames[1].at - 1, self.frames[1].at, self.frames[1].at + 3):
            self.cases.append(Case(f"{self.name[:-4]}_first_{size}.{self.name[-3:]}", self.data[:size], None, None, REFUSED))


def glued(one, other, between, word):
    """Two files of one format behind each other."""
    a, b = load(one), load(other)
    frames = len(mpeg_frames.walk(a)) + len(mpeg_frames.walk(b))
    first = mpeg_frames.walk(a)[0]
    samples = frames * first.samples - mpeg_frames.DELAYS[first.layer]
    return Case(f"glued_{one[:-4]}_{other[:-4]}_{len(between)}.mp3", a + between + b, samples, samples, word)


def with_header():
    """A header that tells delay and padding says where the end is, whatever stands there."""
    data = load("mono.mp3")
    frames = mpeg_frames.walk(data)
    length = 13230  # of expected.tsv
    yield Case("told_glued.mp3", data * 2, length, length, ANYTHING)
    yield Case("told_glued_tags.mp3", data + ID3V1 + id3v2(id3v2_frame(b"TIT2", b"\0x")) + data, length, length, ANYTHING)
    yield Case("told_noise_inside.mp3", data[:frames[7].at] + NOISE.randbytes(20_000) + data[frames[7].at:], length, length, ERROR)
    yield Case("told_noise_behind.mp3", data + NOISE.randbytes(3000), length, length, ANYTHING)
    kept = 9 * 1152 - 1105
    yield Case("told_cut.mp3", data[:frames[10].at], kept, kept, ERROR)
    yield Case("told_cut_inside.mp3", data[:frames[10].at + 40], kept, kept, ERROR)
    yield Case("told_dropped.mp3", data[:frames[5].at] + data[frames[9].at:], kept, kept, ERROR)
    for size in (frames[1].at - 1, frames[1].at, frames[1].at + 2):
        yield Case(f"told_header_alone_{size}.mp3", data[:size], None, None, REFUSED)


def make_cases():
    NOISE.seed(3)
    cases = []
    for name in ("cbr64_no_header.mp3", "mpeg25_8kbit.mp3", "stereo.mp2", "crc.mp1"):
        maker = Maker(name)
        maker.around()
        maker.inside()
        maker.frames_hurt()
        maker.cut()
        cases += maker.cases
    plain = "cbr64_no_header.mp3"
    cases.append(glued(plain, plain, b"", ""))
    cases.append(glued(plain, plain, ID3V1, TAG))
    cases.append(glued(plain, plain, ID3V1 + id3v2(id3v2_frame(b"TIT2", b"\0x")), ERROR))
    # Another rate and layer from the middle on.
    other = load("mpeg2_no_header.mp3"), load("mpeg2_mono.mp2")
    for number, second in enumerate(other):
        cases.append(Case(f"glued_formats_{number}.mp3", load(plain) + second, 0, 10**9, ANYTHING))
    return cases + list(with_header())


def write_cases(out):
    os.makedirs(out, exist_ok=True)
    cases = make_cases()
    for case in cases:
        with open(os.path.join(out, case.name), "wb") as file:
            file.write(case.data)
    return cases


if __name__ == "__main__":
    for made in write_cases(sys.argv[1]):
        print(made.name, len(made.data), made.fewest, made.most, made.word or "whole", sep="\t")
