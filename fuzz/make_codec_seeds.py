#!/usr/bin/python3
"""Makes the seeds of the fuzz targets of codecs again, from tests/data/packets and tests/data/wav_codecs.

    fuzz/make_codec_seeds.py

Some packets of each file are enough. Seeds of other names are left alone: the finds of earlier runs.
"""
import os
import struct

here = os.path.dirname(os.path.abspath(__file__))
data = os.path.join(here, "..", "tests", "data")

# The rows of the table in packets_check.cpp.
STREAMS = {"mp4_aac": 0, "adts": 1, "adif": 2, "mkv_aac": 3, "ac3": 4, "mkv_eac3": 5, "alac": 6, "mkv_alac": 7, "amr_nb": 8,
           "amr_wb": 9, "mkv_dts": 10, "mp4_dts": 11, "mp3": 12, "mkv_mp2": 13, "mp4_mpeg": 14, "mkv_acm": 15, "pcm_le": 16,
           "pcm_be": 17, "pcm_float": 18, "mp4_pcm_be": 19, "ogg": 20, "mp4_opus": 21, "mp4_flac": 22}
ANALYZE, PADDED = 1, 2
RESET = struct.pack("<H", 0xFFFF)


def load(*path):
    with open(os.path.join(data, *path), "rb") as source:
        return source.read()


def save(target, name, content):
    folder = os.path.join(here, "seeds", target)
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, name), "wb") as out:
        out.write(content)


def packets_of(name):
    """Setup and packets of a file of tests/data/packets."""
    content, records = load("packets", name + ".packets"), []
    while content:
        size = struct.unpack("<I", content[:4])[0]
        records.append(content[4:4 + size])
        content = content[4 + size:]
    return records[0], records[1:]


def sized(content):
    return struct.pack("<H", len(content)) + content


def stream(kind, setup, packets, flags=0, rate=0, channels=0, bits=0):
    head = struct.pack("<BBIBB", STREAMS[kind], flags, rate, channels, bits)
    return head + sized(setup) + b"".join(map(sized, packets))


def some(packets, most=2500):
    """The first packets: one, and what else fits."""
    chosen = packets[:1]
    for packet in packets[1:]:
        if sum(map(len, chosen)) + len(packet) > most:
            break
        chosen.append(packet)
    return chosen


def make_packets():
    def save_stream(name, *arguments, **more):
        save("packets", name, stream(*arguments, **more))

    for name, kinds in (("aac_lc", ("mp4_aac", "mkv_aac")), ("ac3", ("ac3",)), ("eac3", ("mkv_eac3",)), ("mp2", ("mkv_mp2",)),
                        ("mp3", ("mp3", "mp4_mpeg")), ("dts", ("mkv_dts", "mp4_dts")), ("amr_nb", ("amr_nb",))):
        setup, packets = packets_of(name)
        for kind in kinds:
            save_stream(f"{name}_{kind}", kind, setup, some(packets), flags=ANALYZE)
    # FFmpeg keeps the atom's header: Matroska has neither it nor version and flags.
    for name in "alac16", "alac24":
        setup, packets = packets_of(name)
        last = min(packets, key=len)
        save_stream(name + "_alac", "alac", setup[8:], [last], flags=PADDED)
        save_stream(name + "_mkv_alac", "mkv_alac", setup[12:], [last, b"", last])
    aac = packets_of("aac_lc")[1]
    adts = bytes.fromhex("fff15080") + struct.pack(">I", (len(aac[0]) + 7) << 13 | 0x1FFC)[1:]
    save_stream("adts", "adts", adts, aac[:2])
    save_stream("adif", "adif", b"ADIF" + bytes(28), aac[:1])
    plain = packets_of("dts")[1][0]
    swapped = b"".join(plain[i + 1:i + 2] + plain[i:i + 1] for i in range(0, len(plain), 2))
    save_stream("dts_swapped", "mkv_dts", b"", [swapped, swapped[:7], b""])
    for kind in "pcm_le", "pcm_be", "pcm_float", "mp4_pcm_be":
        save_stream(kind, kind, b"", [bytes(range(48)), bytes(13)], rate=44100, channels=2, bits=32)
    ramp = bytes(range(240))
    save_stream("pcm_acm", "mkv_acm", struct.pack("<HHIIHHH", 1, 2, 8000, 32000, 4, 16, 0), [ramp, ramp[:7]])
    for name, record, content in wave_streams():
        if name.endswith("_mono") or name in ("gsm", "g722", "g726", "mulaw", "mp3", "ac3"):
            pieces = [content[i:i + 700] for i in range(0, 2100, 700)]
            save_stream(name + "_acm", "mkv_acm", record, [*pieces[:2], b"", pieces[2], b""])
    save_stream("ogg", "ogg", b"\x01vorbis" + bytes(23), [b"\x03vorbis", b"\x05vorbis"])
    save_stream("opus", "mp4_opus", b"OpusHead\x01\x02" + bytes(9), [b"\xfc\xff\xfe"])
    save_stream("flac", "mp4_flac", bytes.fromhex("00000000 80000022") + bytes(34), [b"\xff\xf8" + bytes(20)])


def wave_streams():
    """Name, format record and data of each file of tests/data/wav_codecs."""
    for name in sorted(os.listdir(os.path.join(data, "wav_codecs"))):
        if not name.endswith(".wav"):
            continue
        content, at, record = load("wav_codecs", name), 12, b""
        while at + 8 <= len(content):
            code, size = content[at:at + 4], struct.unpack("<I", content[at + 4:at + 8])[0]
            if code == b"fmt ":
                record = content[at + 8:at + 8 + size]
            if code == b"data":
                yield name[:-4], record, content[at + 8:at + 8 + size]
            at += 8 + size + size % 2


def wave_file(record, content):
    chunks = b"WAVEfmt " + struct.pack("<I", len(record)) + record + b"data" + struct.pack("<I", len(content)) + content
    return b"RIFF" + struct.pack("<I", len(chunks)) + chunks


def make_wav():
    for name, record, content in wave_streams():
        align = struct.unpack("<H", record[12:14])[0]
        # Whole packets of those of one size, and a cut one.
        size = max(align * 5 // 2, 700) if align < 600 else align * 3 // 2
        save("wav", "codec_" + name, wave_file(record, content[:2000 if name.startswith(("mp3", "ac3")) else size]))


def make_ima():
    for name, record, content in wave_streams():
        if name.startswith("ima"):
            align = struct.unpack("<H", record[12:14])[0]
            save("ima", name, record[:20] + content[:align] + content[align:align + 44])
    for name, channels, align in (("small_blocks", 1, 8), ("three_channels", 3, 36), ("header_alone", 2, 8), ("odd_block", 1, 11)):
        record = struct.pack("<HHIIHHHH", 17, channels, 8000, 4000, align, 4, 2, 9)
        save("ima", name, record + bytes(range(20, 120)))
    save("ima", "index_200", struct.pack("<HHIIHHHH", 17, 1, 8000, 4000, 12, 4, 2, 17) + bytes([255, 127, 200, 0]) + b"\x77" * 8)


def make_stream_headers():
    save("stream_headers", "aac_lc", packets_of("aac_lc")[0])
    save("stream_headers", "aac_ps", bytes.fromhex("eb098800"))
    save("stream_headers", "aac_escape", bytes.fromhex("f94a1000"))
    save("stream_headers", "aac_explicit_rate", bytes.fromhex("1780560008"))
    save("stream_headers", "adts", bytes.fromhex("fff15080043ffc"))
    for name in "dts", "mp2", "mp3":
        save("stream_headers", name, packets_of(name)[1][0][:96])
    plain = packets_of("dts")[1][0][:84]
    save("stream_headers", "dts_swapped", b"".join(plain[i + 1:i + 2] + plain[i:i + 1] for i in range(0, 84, 2)))
    bits = int.from_bytes(plain, "big")
    words = [bits >> (84 * 8 - 14 * (i + 1)) & 0x3FFF for i in range(48)]
    # The upper two bits repeat the sign.
    signed = [word | (0xC000 if word & 0x2000 else 0) for word in words]
    save("stream_headers", "dts_words14", struct.pack(">48H", *signed))
    save("stream_headers", "dts_words14_swapped", struct.pack("<48H", *signed))


if __name__ == "__main__":
    make_packets()
    make_wav()
    make_ima()
    make_stream_headers()
