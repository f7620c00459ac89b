#!/usr/bin/python3
"""Makes the seeds of the fuzz targets of tags again, from files of independent taggers and from what no tagger writes.

    fuzz/make_seeds.py [TARGET...]       targets: ape id3v1_lyrics3 riff_tags tag_processor; by default all

Needs ffmpeg (5.1), lame (3.100), mp3gain (1.6), WavPack (5.6), eyeD3 (0.9), id3v2 (0.1), id3tool (1.2), kid3-cli (3.9),
python3-mutagen (1.46), python3-taglib (1.5), and tests/data/wav_tags. A hundred milliseconds of audio are enough: it is
the tags that are looked at. Seeds of other names are left alone: the finds of earlier runs, and those of id3v2, which are
the heads of files that tests/tags/compare_with_peers.py makes.
"""
import os
import shutil
import struct
import subprocess
import sys
import tempfile

import mutagen.apev2
import mutagen.id3 as id3
import taglib

here = os.path.dirname(os.path.abspath(__file__))
scratch = tempfile.mkdtemp(prefix="seeds")
PLAIN = {"title": "A Title", "artist": "The Artist", "album": "Its Album", "date": "1999", "genre": "Metal",
         "tracknumber": "7", "comment": "Said of it"}
# The smallest PNG: one pixel.
PNG = bytes.fromhex("89504e470d0a1a0a0000000d4948445200000001000000010806000000" "1f15c4890000000d4944415478da63fcffff3f030005"
                    "fe02fea7d6059b0000000049454e44ae426082")
JPEG = bytes.fromhex("ffd8ffe000104a46494600010100000100010000ffd9")


def run(*command):
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def load(path):
    with open(path, "rb") as source:
        return source.read()


def bare(name="file.mp3"):
    """The path of a fresh file without any tag: eight frames of 52 bytes."""
    path = os.path.join(scratch, name)
    original = os.path.join(scratch, "bare.mp3")
    if not os.path.exists(original):
        run("ffmpeg", "-y", "-f", "lavfi", "-i", "sine=frequency=440:duration=0.15:sample_rate=22050", "-ac", "1", "-b:a",
            "16k", "-id3v2_version", "0", "-write_id3v1", "0", "-write_xing", "0", original)
    shutil.copy(original, path)
    return path


def save(target, name, content):
    folder = os.path.join(here, "seeds", target)
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, name), "wb") as out:
        out.write(content)


# --- by hand ----------------------------------------------------------------------------------------------------------


def ape_item(key, value, flags=0):
    return struct.pack("<II", len(value), flags) + key + b"\0" + value


def ape_tag(items, version=2000, count=None, header=True):
    body = b"".join(items)
    edge = struct.pack("<IIIIQ", version, len(body) + 32, len(items) if count is None else count, 0, 0)

    def marked(flags):
        return b"APETAGEX" + edge[:12] + struct.pack("<I", flags) + bytes(8)

    return (marked(0xA0000000) if header else b"") + body + marked(0x80000000 if header else 0)


def id3v1(title=b"", artist=b"", album=b"", date=b"", comment=b"", track=None, genre=255):
    block = b"TAG" + title.ljust(30, b"\0") + artist.ljust(30, b"\0") + album.ljust(30, b"\0") + date.ljust(4, b"\0")
    block += comment.ljust(30, b"\0") if track is None else comment.ljust(29, b"\0") + bytes([track])
    return block + bytes([genre])


def lyrics3(*fields):
    block = b"LYRICSBEGIN" + b"".join(name + b"%05d" % len(value) + value for name, value in fields)
    return block + b"%06dLYRICS200" % len(block)


def id3v2(version, frames, flags=0):
    size = len(frames)
    return b"ID3" + bytes([version, 0, flags] + [size >> shift & 0x7F for shift in (21, 14, 7, 0)]) + frames


def frame_of_2_2(name, payload):
    return name + struct.pack(">I", len(payload))[1:] + payload


# --- taggers ----------------------------------------------------------------------------------------------------------


def mutagen_frames(encoding, version):
    tags = id3.ID3()
    for name in ("TIT2", "TPE1", "TALB", "TPE2"):
        tags.add(id3.Frames[name](encoding=encoding, text=["A ä", "B"] if version == 4 else ["A ä / B"]))
    tags.add(id3.TRCK(encoding=encoding, text=["3/12"]))
    tags.add(id3.TCON(encoding=encoding, text=["17"]))
    tags.add(id3.TCMP(encoding=encoding, text=["1"]))
    tags.add(id3.TDRC(encoding=encoding, text=["2001-02-03"]))
    tags.add(id3.COMM(encoding=encoding, lang="eng", desc="", text=["a comment"]))
    tags.add(id3.COMM(encoding=0, lang="eng", desc="iTunNORM", text=[" 000003E8" * 10]))
    tags.add(id3.COMM(encoding=0, lang="eng", desc="iTunSMPB", text=[" 00000000 00000210 00000A2C 00000000000000C4"]))
    tags.add(id3.TXXX(encoding=encoding, desc="replaygain_track_gain", text=["-7.15 dB"]))
    tags.add(id3.TXXX(encoding=encoding, desc="MOOD", text=["calm"]))
    tags.add(id3.WXXX(encoding=encoding, desc="home", url="http://example.org/"))
    tags.add(id3.POPM(email="a@b", rating=196, count=4))
    tags.add(id3.PRIV(owner="x", data=b"\xFF\xE0\0"))
    tags.add(id3.APIC(encoding=encoding, mime="image/png", type=3, desc="front", data=PNG))
    tags.add(id3.APIC(encoding=encoding, mime="image/jpeg", type=4, desc="", data=JPEG))
    return tags


def with_mutagen_id3(path, encoding, version, v1):
    tags = mutagen_frames(encoding, version)
    if version == 3:
        tags.update_to_v23()
    tags.save(path, v2_version=version, v1=2 if v1 else 0, padding=lambda _: 32)


def with_mutagen_ape(path):
    tags = mutagen.apev2.APEv2()
    tags["Title"] = "A ä"
    tags["Artist"] = ["x", "y"]
    tags["Track"] = "3/9"
    tags["Disc"] = "1"
    tags["Year"] = "1999"
    tags["Album Artist"] = "z"
    tags["REPLAYGAIN_ALBUM_PEAK"] = "0.5"
    tags["Cover Art (Front)"] = mutagen.apev2.APEValue(b"cover.png\0" + PNG, mutagen.apev2.BINARY)
    tags["Related"] = mutagen.apev2.APEValue("http://example.org/", mutagen.apev2.EXTERNAL)
    tags.save(path)


def with_eyed3(path, version):
    run("eyeD3", "-Q", "--no-color", f"--to-v{version}", "-t", PLAIN["title"], "-a", PLAIN["artist"], "-A", PLAIN["album"],
        "--release-year" if version == "1.1" else "--recording-date", "1999", "-G", "Metal", "-n", "7", "-c", PLAIN["comment"],
        path)


def with_id3v2(path):
    run("id3v2", "-t", PLAIN["title"], "-a", PLAIN["artist"], "-A", PLAIN["album"], "-y", "1999", "-g", "9", "-T", "7", "-c",
        ":" + PLAIN["comment"] + ":eng", path)


def with_kid3(path, tags):
    run("kid3-cli", *[part for tag in tags for name, value in PLAIN.items()
                      for part in ("-c", f"set {name} '{value}' {tag}")], "-c", "save", path)


def with_ffmpeg(path, *options):
    meta = [part for name, value in PLAIN.items() if name != "tracknumber" for part in ("-metadata", f"{name}={value}")]
    run("ffmpeg", "-y", "-i", bare("in.mp3"), *meta, "-metadata", "track=7/9", *options, path)


def with_lame(path, *options):
    run("ffmpeg", "-y", "-i", bare("in.mp3"), os.path.join(scratch, "in.wav"))
    run("lame", "--quiet", "-t", "-b", "16", *options, "--tt", PLAIN["title"], "--ta", PLAIN["artist"], "--tl", PLAIN["album"],
        "--ty", "1999", "--tg", "Metal", "--tn", "7", "--tc", PLAIN["comment"], os.path.join(scratch, "in.wav"), path)


# --- targets ----------------------------------------------------------------------------------------------------------


def tail(content, mark, audio=16):
    """What stands from `mark` on, behind a few bytes of audio."""
    return content[max(content.index(mark) - audio, 0):]


def make_ape():
    target, mark = "ape", b"APETAGEX"
    with_mutagen_ape(path := bare())
    save(target, "mutagen", tail(load(path), mark))
    run("mp3gain", "-q", "-r", "-k", path := bare())
    save(target, "mp3gain", tail(load(path), mark))
    with_kid3(path := bare(), "13")
    save(target, "kid3-ape-id3v1", tail(load(path), mark))
    path = os.path.join(scratch, "file.wv")
    with_ffmpeg(path)
    save(target, "ffmpeg-wavpack", tail(load(path), mark))
    run("ffmpeg", "-y", "-i", bare(), wav := os.path.join(scratch, "in.wav"))
    run("wavpack", "-q", "-y", "-w", "Title=A Title", "-w", "Artist=The Artist", "-w", "Year=1999", wav, "-o", path)
    save(target, "wavpack", tail(load(path), mark))
    tagged = taglib.File(path)
    tagged.tags = {"TITLE": ["Tïtle"], "ARTIST": ["x", "y"], "ALBUMARTIST": ["z"], "TRACKNUMBER": ["3/9"], "DATE": ["1999"]}
    tagged.save()
    tagged.close()
    save(target, "taglib", tail(load(path), mark))
    items = [ape_item(b"Title", b"t"), ape_item(b"TITLE", b"u\0\0v"), ape_item(b"Track", b"/12"), ape_item(b"Disc", b"3/"),
             ape_item(b"albumartist", b"z"), ape_item(b"", b"nameless"), ape_item(b"a=b", b"no name of a field"),
             ape_item(b"replaygain_track_gain", b"-7.15 dB")]
    save(target, "odd-items", ape_tag(items))
    fixed = [ape_item(b"Title", b"a\0b", 1), ape_item(b"Title", b"c"), ape_item(b"Cover Art (Front)", b"x.png\0" + PNG, 2),
             ape_item(b"Cover Art (Media)", b"no end of the name", 2), ape_item(b"Artist Picture", b"\0" + JPEG, 3),
             ape_item(b"File", b"http://example.org/", 4), ape_item(b"Later", b"?", 6)]
    save(target, "fixed-items", ape_tag(fixed))
    save(target, "version-1", ape_tag([ape_item(b"Title", b"t", 2), ape_item(b"Year", b"1999")], 1000, header=False))
    save(target, "count-too-large", ape_tag(items[:3], count=5) + id3v1(b"of id3v1", track=3))
    save(target, "two-tags", ape_tag(items[:1]) + ape_tag(items[1:3]))
    save(target, "size-past-the-start", b"APETAGEX" + struct.pack("<IIIIQ", 2000, 1000, 1, 0, 0))


def make_id3v1_lyrics3():
    target = "id3v1_lyrics3"
    for name, make in (("eyed3", lambda path: with_eyed3(path, "1.1")), ("lame", lambda path: with_lame(path, "--id3v1-only")),
                       ("kid3", lambda path: with_kid3(path, "1"))):
        make(path := bare())
        save(target, name, load(path)[-144:])
    with_ffmpeg(path := bare(), "-c", "copy", "-id3v2_version", "0", "-write_id3v1", "1")
    save(target, "ffmpeg", load(path)[-144:])
    run("id3tool", "-t", "A Title", "-r", "The Artist", "-a", "Its Album", "-y", "1999", "-g", "9", "-n", "Said of it", "-c", "7",
        path := bare())
    save(target, "id3tool", load(path)[-144:])
    fields = ((b"IND", b"11"), (b"ETT", b"A Title"), (b"EAR", b"Bj\xF6rk"), (b"EAL", b""), (b"INF", b"Said\r\nof it"),
              (b"LYR", b"[00:01]First\r\n[00:02]Second\r\n"), (b"IMG", b"a.jpg"))
    full = id3v1(b"A title of thirty bytes, whole", b"with blanks   ".ljust(30), b"Album", b"1999", b"comment", 7, 125)
    save(target, "lyrics3", bytes(8) + lyrics3(*fields) + full)
    save(target, "lyrics3-alone", lyrics3(*fields[1:3]))
    save(target, "lyrics3-twice", lyrics3(fields[1]) + lyrics3(fields[2]) + full + full)
    save(target, "lyrics3-between-tags", full + lyrics3(*fields) + ape_tag([ape_item(b"Title", b"t")]) + full)
    save(target, "lyrics3-field-too-long", lyrics3(fields[1]).replace(b"ETT00007", b"ETT99999") + full)
    save(target, "lyrics3-without-begin", lyrics3(*fields).replace(b"LYRICSBEGIN", b"LYRICSbegin") + full)
    save(target, "lyrics3-version-1", b"LYRICSBEGINwords\r\nLYRICSEND" + full)
    # The "Enhanced TAG" in front, 227 bytes that are none of ours.
    save(target, "id3v1-enhanced", b"TAG+" + bytes(223) + id3v1(b"\xE4", comment=b"thirty bytes of comment, whole", genre=148))
    save(target, "id3v1-empty", id3v1(track=0, genre=0))


def make_riff_tags():
    target, folder = "riff_tags", os.path.join(here, "..", "tests", "data", "wav_tags")
    for name in sorted(os.listdir(folder)):
        if name.endswith(".wav"):
            save(target, name[:-4], shorten_data(load(os.path.join(folder, name))))

    def chunk(code, payload):
        return code + struct.pack("<I", len(payload)) + payload + bytes(len(payload) % 2)

    def riff(*chunks):
        return b"RIFF" + struct.pack("<I", 4 + sum(map(len, chunks))) + b"WAVE" + b"".join(chunks)

    def info(*items):
        return chunk(b"LIST", b"INFO" + b"".join(chunk(code, text) for code, text in items))

    sound = (chunk(b"fmt ", struct.pack("<HHIIHH", 1, 1, 8000, 8000, 1, 8)), chunk(b"data", bytes(range(100, 121))))
    title, artist = info((b"INAM", b"Title\0"), (b"ITCH", b"Tom\0")), info((b"IART", b"Bj\xF6rk\0"))
    tag = id3v2(3, b"TIT2\0\0\0\x06\0\0\0Title")
    save(target, "junk_before_data", riff(chunk(b"JUNK", bytes(40)), *sound, title, chunk(b"JUNK", b"")))
    save(target, "id3_before_data", riff(chunk(b"ID3 ", tag + bytes(20)), *sound, chunk(b"LIST", b"adtlnote"), artist))
    save(target, "two_of_each", riff(title, chunk(b"id3 ", tag), *sound, artist, chunk(b"id3 ", tag), chunk(b"JUNK", bytes(2))))
    save(target, "foreign_tail", riff(*sound, title) + b"nobody's")
    save(target, "riff_size_0", b"RIFF\0\0\0\0" + riff(*sound, chunk(b"id3 ", tag))[8:])
    save(target, "odd_end", riff(*sound)[:-1])


def shorten_data(wav, left=40):
    """A file of few samples. Sizes of all ones stay what they are."""
    at = wav.index(b"data")
    size = struct.unpack("<I", wav[at + 4:at + 8])[0]
    end = min(at + 8 + size, len(wav))
    sized = end < len(wav) or size == end - at - 8
    cut = wav[:at + 4] + (struct.pack("<I", left) if sized else wav[at + 4:at + 8]) + wav[at + 8:at + 8 + left] + wav[end:]
    claimed = struct.unpack("<I", wav[4:8])[0]
    return cut if claimed > len(wav) else cut[:4] + struct.pack("<I", len(cut) - 8) + cut[8:]


def make_tag_processor():
    target = "tag_processor"
    audio = load(bare())[:104]
    untagged = load(bare())

    def save_tags(name, path):
        """Two frames of the audio are enough; gain changes alter them."""
        content = load(path)
        at = content.find(untagged)
        save(target, name, content if at < 0 else content[:at] + audio + content[at + len(untagged):])

    for version in (3, 4):
        with_mutagen_id3(path := bare(), 1 if version == 3 else 3, version, v1=True)
        with_mutagen_ape(path)
        save_tags(f"mutagen-2.{version}-ape-id3v1", path)
    with_mutagen_ape(path := bare())
    save_tags("mutagen-ape", path)
    with_id3v2(path := bare())
    save_tags("id3lib", path)
    with_eyed3(path := bare(), "2.4")
    save_tags("eyed3", path)
    with_kid3(path := bare(), "123")
    save_tags("kid3-all-three", path)
    with_ffmpeg(path := bare(), "-c", "copy", "-write_xing", "0", "-write_id3v1", "1")
    save_tags("ffmpeg", path)
    run("mp3gain", "-q", "-s", "i", "-r", "-k", path := bare())
    content = load(path)
    padding = content.index(bytes(64))
    audio_begin = content.index(b"\xFF\xF3", padding)
    save(target, "mp3gain-id3v2", id3v2(4, content[10:padding], 0x80) + content[audio_begin:audio_begin + 104])
    save(target, "untagged", audio)
    version_2 = id3v2(2, frame_of_2_2(b"TT2", b"\0Title") + frame_of_2_2(b"TCO", b"\0(17)") +
                      frame_of_2_2(b"COM", b"\0eng\0words") + frame_of_2_2(b"PIC", b"\0PNG\3\0" + PNG))
    save(target, "version-2.2", version_2 + audio)
    footer = b"3DI\4\0\x10\0\0\0\x10"
    save(target, "two-heads", id3v2(4, b"TIT2\0\0\0\6\0\0\0Title", 0x10) + footer + version_2 + audio)
    stack = id3v1(b"x") + id3v1(b"y") + lyrics3((b"LYR", b"words")) + ape_tag([ape_item(b"Title", b"t")]) + id3v1(b"z", track=1)
    save(target, "stack", id3v2(3, b"TIT2\0\0\0\6\0\0\0Title" + bytes(20)) + audio + stack)
    save(target, "tags-alone", version_2 + stack)
    save(target, "head-past-the-end", version_2[:-4])
    picture = b"\0image/png\0\3\0" + PNG
    damaged = b"TXXX\0\0\0\x0c\0\x80\0\0\0\x10not zlib" + b"APIC" + struct.pack(">IH", len(picture), 0) + picture
    small = b"\0image/png\0\3\0p"
    save(target, "damaged-picture", id3v2(4, b"TIT2\0\0\0\6\0\0\0Title" + b"APIC\0\0\0\4\0\2\0a\xFF\xFF" +
                                          b"APIC" + struct.pack(">IH", len(small), 0) + small) + audio)
    save(target, "damaged-frame-and-picture", id3v2(3, damaged) + audio)


MAKERS = {"ape": make_ape, "id3v1_lyrics3": make_id3v1_lyrics3, "riff_tags": make_riff_tags,
          "tag_processor": make_tag_processor}
try:
    for wanted in sys.argv[1:] or MAKERS:
        MAKERS[wanted]()
finally:
    shutil.rmtree(scratch)
