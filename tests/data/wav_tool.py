#!/usr/bin/env python3
"""Edits WAV files for make_wav.sh, and decodes the kinds of samples that no other tool does.

  poke SOURCE OFFSET HEX [OFFSET HEX]... [cut SIZE] OUT     overwrite bytes, then cut the file
  cut SOURCE SIZE OUT                                        the first SIZE bytes
  cut_data SOURCE FRAMES OUT                                 up to so many 2-byte frames of a Wave64 file
  insert SOURCE OFFSET CODE HEX [pad] OUT                    a chunk before OFFSET, the RIFF size made to fit
  append SOURCE HEX [riff] OUT                               bytes at the end; "riff" counts them in the RIFF size
  fmt_last SOURCE OUT                                        the format chunk behind the data
  fmt_size SOURCE SIZE [EXTRA [TAG]] OUT                     a longer format chunk
  wave64_data_size SOURCE HEX OUT                            another size in the data chunk of a Wave64 file
  valid_bits|mask SOURCE OUT VALUE                           fields of WAVEFORMATEXTENSIBLE
  float16|float24 SOURCE OUT                                 32-bit floats in fewer bits
  many_channels OUT COUNT                                    16-bit, 60 frames
  decode FILE                                                32-bit floats on standard output
"""
import struct
import sys

WAVE64_DATA = b"data\xf3\xac\xd3\x11\x8c\xd1\x00\xc0\x4f\x8e\xdb\x8a"


def load(path):
    with open(path, "rb") as f:
        return bytearray(f.read())


def save(path, data):
    with open(path, "wb") as f:
        f.write(data)


def chunks(data):
    at = 12
    while at + 8 <= len(data):
        size = struct.unpack_from("<I", data, at + 4)[0]
        yield bytes(data[at:at + 4]), at, data[at + 8:at + 8 + size]
        at += 8 + size + size % 2


def find(data, code):
    return next((at, payload) for name, at, payload in chunks(data) if name == code)


def riff(fmt, pcm, extra=b""):
    body = b"WAVEfmt " + struct.pack("<I", len(fmt)) + bytes(fmt) + extra
    body += b"data" + struct.pack("<I", len(pcm)) + bytes(pcm) + b"\0" * (len(pcm) % 2)
    return b"RIFF" + struct.pack("<I", len(body)) + body


def fix_riff_size(data):
    struct.pack_into("<I", data, 4, len(data) - 8)


def poke(args):
    data, rest, out = load(args[0]), args[1:-1], args[-1]
    while rest:
        if rest[0] == "cut":
            data = data[:int(rest[1])]
        else:
            at, value = int(rest[0]), bytes.fromhex(rest[1])
            data[at:at + len(value)] = value
        rest = rest[2:]
    save(out, data)


def cut(args):
    save(args[2], load(args[0])[:int(args[1])])


def cut_data(args):
    data = load(args[0])
    save(args[2], data[:data.index(WAVE64_DATA) + 24 + 2 * int(args[1])])


def insert(args):
    data, at, payload = load(args[0]), int(args[1]), bytes.fromhex(args[3])
    chunk = args[2].encode() + struct.pack("<I", len(payload)) + payload
    data[at:at] = chunk + (b"\0" if args[4] == "pad" and len(payload) % 2 else b"")
    fix_riff_size(data)
    save(args[-1], data)


def append(args):
    data = load(args[0]) + bytes.fromhex(args[1])
    if args[2] == "riff":
        fix_riff_size(data)
    save(args[-1], data)


def fmt_last(args):
    data = load(args[0])
    at, fmt = find(data, b"fmt ")
    whole = data[at:at + 8 + len(fmt)]
    save(args[1], data[:at] + data[at + len(whole):] + whole)


def fmt_size(args):
    data, size = load(args[0]), int(args[1])
    fmt, pcm = find(data, b"fmt ")[1], find(data, b"data")[1]
    fmt += bytes.fromhex(args[2]) if len(args) > 3 else b""
    fmt = fmt.ljust(size, b"\0")[:size]
    if len(args) > 4:
        fmt[0:2] = bytes.fromhex(args[3])
    save(args[-1], riff(fmt, pcm))


def wave64_data_size(args):
    data = load(args[0])
    at = data.index(WAVE64_DATA) + 16
    data[at:at + 8] = bytes.fromhex(args[1])
    save(args[2], data)


def set_extensible(args, code, offset):
    data = load(args[0])
    struct.pack_into(code, data, find(data, b"fmt ")[0] + 8 + offset, int(args[2]))
    save(args[1], data)


def narrow(args, bits):
    data = load(args[0])
    fmt, pcm = find(data, b"fmt ")[1], find(data, b"data")[1]
    channels, rate = struct.unpack_from("<HI", fmt, 2)
    values = struct.unpack("<%df" % (len(pcm) // 4), pcm)
    if bits == 16:
        pcm = struct.pack("<%de" % len(values), *values)
    else:
        pcm = b"".join(struct.pack("<f", v)[1:] for v in values)
    align = channels * bits // 8
    save(args[1], riff(struct.pack("<HHIIHHH", 3, channels, rate, rate * align, align, bits, 0), pcm))


def many_channels(args):
    count = int(args[1])
    pcm = struct.pack("<%dh" % (60 * count), *((i * 7919) % 65536 - 32768 for i in range(60 * count)))
    save(args[0], riff(struct.pack("<HHIIHH", 1, count, 44100, 88200 * count, 2 * count, 16), pcm))


def decode(args):
    data = load(args[0])
    fmt, pcm = find(data, b"fmt ")[1], find(data, b"data")[1]
    tag, bits = struct.unpack_from("<H", fmt)[0], struct.unpack_from("<H", fmt, 14)[0]
    if (tag, bits) == (3, 16):
        values = struct.unpack("<%de" % (len(pcm) // 2), pcm)
    elif (tag, bits) == (3, 24):
        values = [struct.unpack("<f", b"\0" + pcm[i:i + 3])[0] for i in range(0, len(pcm), 3)]
    else:
        values = [v / 32768 for v in struct.unpack("<%dh" % (len(pcm) // 2), pcm)]
    sys.stdout.buffer.write(struct.pack("<%df" % len(values), *values))


ACTIONS = {
    "poke": poke, "cut": cut, "cut_data": cut_data, "insert": insert, "append": append, "fmt_last": fmt_last,
    "fmt_size": fmt_size, "wave64_data_size": wave64_data_size, "many_channels": many_channels, "decode": decode,
    "valid_bits": lambda a: set_extensible(a, "<H", 18), "mask": lambda a: set_extensible(a, "<I", 20),
    "float16": lambda a: narrow(a, 16), "float24": lambda a: narrow(a, 24),
}

if __name__ == "__main__":
    if len(sys.argv) < 3 or sys.argv[1] not in ACTIONS:
        sys.exit(__doc__)
    ACTIONS[sys.argv[1]](sys.argv[2:])
