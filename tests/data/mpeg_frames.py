"""Frames of MPEG audio, for the tools that make and break files. Source: ISO/IEC 11172-3, 2.4.1.3 and ISO/IEC 13818-3."""
import collections

Frame = collections.namedtuple("Frame", "at size samples rate channels layer version bitrate padding crc")

RATES = {
    (1, 1): (0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448),
    (1, 2): (0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384),
    (1, 3): (0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320),
    (2, 1): (0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256),
    (2, 2): (0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160),
}
# What a decoder's filters hold back at the start, in samples: of layers 1, 2 and 3.
DELAYS = (None, 0, 481, 529)


def parse(data, at):
    """The frame whose header stands at `at`; None for other bytes."""
    head = data[at:at + 4]
    if len(head) < 4 or head[0] != 0xFF or head[1] & 0xE0 != 0xE0:
        return None
    version = {0: 3, 2: 2, 3: 1}.get(head[1] >> 3 & 3)  # 3 is MPEG-2.5
    layer = 4 - (head[1] >> 1 & 3)
    if version is None or layer == 4 or head[2] >> 4 in (0, 15) or head[2] >> 2 & 3 == 3:
        return None
    bitrate = RATES[min(version, 2), layer if version == 1 or layer == 1 else 2][head[2] >> 4]
    rate = (44100, 48000, 32000)[head[2] >> 2 & 3] >> (version - 1)
    padding = head[2] >> 1 & 1
    samples = 384 if layer == 1 else 576 if layer == 3 and version != 1 else 1152
    size = (12000 * bitrate // rate + padding) * 4 if layer == 1 else samples * 125 * bitrate // rate + padding
    return Frame(at, size, samples, rate, 1 if head[3] >> 6 == 3 else 2, layer, version, bitrate, padding, not head[1] & 1)


def tag_size(data):
    """How many bytes of ID3v2 `data` begins with."""
    if data[:3] != b"ID3":
        return 0
    return 10 + (data[6] << 21 | data[7] << 14 | data[8] << 7 | data[9]) + (10 if data[5] & 16 else 0)


def side_end(frame):
    """Where the side information of a frame of layer 3 ends without a checksum, and a header frame keeps its text."""
    wide = frame.channels == 2
    return 4 + ((32 if wide else 17) if frame.version == 1 else (17 if wide else 9))


def walk(data, at=None):
    """The frames that follow one another from `at`, or from behind the tags at the head."""
    at = tag_size(data) if at is None else at
    frames = []
    while (frame := parse(data, at)) and at + frame.size <= len(data):
        frames.append(frame)
        at += frame.size
    return frames


def header_kind(data, frame):
    """"Xing", "Info" or "VBRI" when the frame holds one, else an empty text."""
    text = data[frame.at + side_end(frame):][:4]
    if text in (b"Xing", b"Info"):
        return text.decode()
    return "VBRI" if data[frame.at + 36:][:4] == b"VBRI" else ""


def audio_frames(data):
    """The frames that hold audio: all but a header frame."""
    frames = walk(data)
    return frames[1:] if frames and header_kind(data, frames[0]) else frames


def xing_frame(head, frames, size):
    """A header of 128 kbit/s for so many frames of layer 3 in so many bytes, without a seek table; `head` is of one of them."""
    head = head[:2] + bytes([0x90 | head[2] & 0x0C, head[3]])
    frame = parse(head, 0)
    text = b"Xing" + b"".join(number.to_bytes(4, "big") for number in (3, frames, size + frame.size))
    return (head.ljust(side_end(frame), b"\0") + text).ljust(frame.size, b"\0")


def write_repeated(path, data, times, with_header):
    """The frames of `data` over and over; the first of them should need none before it."""
    frames = walk(data)
    song = b"".join(data[frame.at:frame.at + frame.size] for frame in frames)
    with open(path, "wb") as file:
        if with_header:
            file.write(xing_frame(song[:4], len(frames) * times, len(song) * times))
        for _ in range(times):
            file.write(song)


def crc16(data, value=0xFFFF):
    for byte in data:
        value ^= byte << 8
        for _ in range(8):
            value = (value << 1 ^ 0x8005 if value & 0x8000 else value << 1) & 0xFFFF
    return value
