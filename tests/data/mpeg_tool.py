#!/usr/bin/env python3
"""Makes and edits files of MPEG audio for make_mpeg.sh, where no encoder does.

  layer1 RATE CHANNELS FRAMES crc|none OUT    noise that wanders through the bands, 192 kbit/s
  vbri SOURCE OUT                             a VBRI header before the frames of SOURCE, which has no header
  header SOURCE [frames N] [text HEX|none] [padding N] OUT   edits a header of lame's; "none" ends it before
  insert SOURCE FRAME HEX|noiseNUMBER OUT     bytes before a frame
  drop SOURCE FROM TO OUT                     leaves out frames
  poke SOURCE FRAME OFFSET HEX OUT            overwrites bytes of a frame
  cut SOURCE SIZE OUT
  noise NUMBER OUT
  repeat SOURCE TIMES header|none OUT         the frames of SOURCE over and over, behind a Xing header or none
  stream FILE                                 prints rate, channels and bitrate [kbit/s] of the audio frames
"""
import random
import struct
import sys

import mpeg_frames


def load(path):
    with open(path, "rb") as file:
        return bytearray(file.read())


def save(path, data):
    with open(path, "wb") as file:
        file.write(data)


class Bits:
    def __init__(self):
        self.value = 0
        self.count = 0

    def put(self, value, width):
        self.value = self.value << width | value
        self.count += width

    def to_bytes(self):
        padding = -self.count % 8
        return (self.value << padding).to_bytes((self.count + padding) // 8, "big")


def layer1_frame(number, rate, channels, with_crc, size, padding, noise):
    """Every band has 16 values to choose from or none. ISO/IEC 11172-3, 2.4.1.5."""
    coded = [(band, channel) for band in range(32) for channel in range(channels)
             if (band + 3 * channel - number // 4) % 8 == 0 and band < 24]
    header = Bits()
    for value, width in ((0x7FF, 11), (3, 2), (3, 2), (0 if with_crc else 1, 1), (6, 4), ((44100, 48000, 32000).index(rate), 2),
                         (padding, 1), (0, 1), (0 if channels == 2 else 3, 2), (0, 6)):
        header.put(value, width)
    body = Bits()
    for band in range(32):
        for channel in range(channels):
            body.put(4 if (band, channel) in coded else 0, 4)  # 5 bits a sample
    allocation = body.to_bytes()
    for band, _ in coded:
        body.put(10 + band // 2, 6)  # the scale factor
    for _ in range(12):
        for _ in coded:
            body.put(noise.randrange(31), 5)
    head = header.to_bytes()
    crc = struct.pack(">H", mpeg_frames.crc16(head[2:4] + allocation)) if with_crc else b""
    return (head + crc + body.to_bytes()).ljust(size, b"\0")


def layer1(rate, channels, frames, crc, out):
    rate, noise, owed, result = int(rate), random.Random(1), 0, b""
    for number in range(int(frames)):
        owed += 12000 * 192 % rate
        padding = owed // rate
        owed %= rate
        size = (12000 * 192 // rate + padding) * 4
        result += layer1_frame(number, rate, int(channels), crc == "crc", size, padding, noise)
    save(out, result)


def vbri(source, out):
    """The layout of the encoder of Fraunhofer IIS: at offset 36, whatever the side information is."""
    data = load(source)
    frames = mpeg_frames.walk(data)
    head = bytes(data[:2]) + bytes([0x90 | data[2] & 0x0C, data[3]])
    size = mpeg_frames.parse(head, 0).size
    entry = 2
    sizes = [sum(f.size for f in frames[i:i + entry]) for i in range(0, len(frames), entry)]
    text = b"VBRI" + struct.pack(">HHHIIHHHH", 1, 1105, 75, sum(sizes) + size, len(frames), len(sizes), 1, 2, entry)
    text += b"".join(struct.pack(">H", s) for s in sizes)
    save(out, (head.ljust(36, b"\0") + text).ljust(size, b"\0") + data)


def header(source, *rest):
    data, out = load(source), rest[-1]
    frame = mpeg_frames.walk(data)[0]
    at = frame.at + mpeg_frames.side_end(frame) + 8
    text_at = at + 8 + 100 + 4  # frames, bytes, table, quality: what lame writes
    for name, value in zip(rest[:-1:2], rest[1:-1:2]):
        if name == "frames":
            struct.pack_into(">I", data, at, int(value))
        elif name == "padding":
            data[text_at + 22] = data[text_at + 22] & 0xF0 | int(value) >> 8
            data[text_at + 23] = int(value) & 0xFF
        elif value == "none":
            data[text_at:frame.at + frame.size] = bytes(frame.at + frame.size - text_at)
        else:
            data[text_at:text_at + 9] = bytes.fromhex(value).ljust(9, b"\0")
    save(out, data)


def insert(source, frame, what, out):
    data = load(source)
    at = mpeg_frames.walk(data)[int(frame)].at
    extra = random.Random(2).randbytes(int(what[5:])) if what.startswith("noise") else bytes.fromhex(what)
    save(out, data[:at] + extra + data[at:])


def drop(source, first, last, out):
    data = load(source)
    frames = mpeg_frames.walk(data)
    save(out, data[:frames[int(first)].at] + data[frames[int(last)].at:])


def poke(source, frame, offset, value, out):
    data = load(source)
    at = mpeg_frames.walk(data)[int(frame)].at + int(offset)
    value = bytes.fromhex(value)
    data[at:at + len(value)] = value
    save(out, data)


def cut(source, size, out):
    save(out, load(source)[:int(size)])


def noise(count, out):
    save(out, random.Random(2).randbytes(int(count)))


def repeat(source, times, header_or_none, out):
    mpeg_frames.write_repeated(out, bytes(load(source)), int(times), header_or_none == "header")


def stream(path):
    frames = mpeg_frames.audio_frames(load(path))
    first = frames[0]
    bits = 8 * sum(frame.size for frame in frames)
    print(first.rate, first.channels, int(bits * first.rate / (len(frames) * first.samples) / 1000 + 0.5))


COMMANDS = (layer1, vbri, header, insert, drop, poke, cut, noise, repeat, stream)
{command.__name__: command for command in COMMANDS}[sys.argv[1]](*sys.argv[2:])
