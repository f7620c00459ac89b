#!/usr/bin/python3
"""Reads files of independent taggers beside those taggers' own readers, and has our files read by independent readers.

    compare_with_peers.py TAG_TOOL [SCRATCH]

TAG_TOOL is build/dev/bin/tag_tool. Needs lame or ffmpeg, and whatever of mutagen, eyeD3, TagLib (python3-taglib, kid3-cli),
id3v2 (id3lib) and ffmpeg is installed: a tagger that is missing is left out with a line that says so. Exit status 1 when something differs.
"""
import json
import os
import shutil
import subprocess
import sys
import tempfile

tool = os.path.abspath(sys.argv[1])
scratch = sys.argv[2] if len(sys.argv) > 2 else tempfile.mkdtemp(prefix="tags")
os.makedirs(scratch, exist_ok=True)
counts = {"same": 0, "different": 0}

try:
    import mutagen
    import mutagen.id3 as id3
    from mutagen.apev2 import APEv2
except ImportError:
    mutagen = None
try:
    import eyed3
    eyed3.log.setLevel("CRITICAL")
except ImportError:
    eyed3 = None
try:
    import taglib
except ImportError:
    taglib = None


def has(program):
    found = shutil.which(program) is not None
    if not found:
        print(f"left out: {program} is not installed")
    return found


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def compare(what, ours, theirs):
    if ours == theirs:
        counts["same"] += 1
    else:
        counts["different"] += 1
        print(f"DIFFERENT {what}: ours {ours!r}, theirs {theirs!r}")


def show(path):
    return json.loads(run(tool, "show", path))


def bare(name):
    """A file of half a second without any tag."""
    path = os.path.join(scratch, name)
    if not os.path.exists(os.path.join(scratch, "bare.mp3")):
        run("ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", "sine=frequency=440:duration=0.5", "-b:a", "64k",
            "-id3v2_version", "0", "-write_id3v1", "0", "-write_xing", "0", os.path.join(scratch, "bare.mp3"))
    shutil.copy(os.path.join(scratch, "bare.mp3"), path)
    return path


# What fields are called in frames that hold one text or several, for readers that show frames.
FRAMES = {
    "grouping": "TIT1", "title": "TIT2", "subtitle": "TIT3", "set subtitle": "TSST", "album": "TALB", "isrc": "TSRC",
    "encoded by": "TENC", "copyright": "TCOP", "publisher": "TPUB", "owner": "TOWN", "radio station": "TRSN",
    "radio station owner": "TRSO", "encoding settings": "TSSE", "bpm": "TBPM", "media type": "TMED",
    "initial key": "TKEY", "titlesortorder": "TSOT", "artistsortorder": "TSOP", "albumsortorder": "TSOA",
    "albumartistsortorder": "TSO2", "composersortorder": "TSOC", "itunes grouping": "GRP1", "movement name": "MVNM",
    "language": "TLAN", "itunescompilation": "TCMP", "original artist": "TOPE", "original album": "TOAL",
    "artist": "TPE1", "album artist": "TPE2", "conductor": "TPE3", "remixed by": "TPE4", "composer": "TCOM",
    "lyricist": "TEXT",
}
URLS = {
    "commercial information url": "WCOM", "copyright url": "WCOP", "file webpage url": "WOAF", "artist webpage url": "WOAR",
    "source webpage url": "WOAS", "internet radio webpage url": "WORS", "payment url": "WPAY", "publisher url": "WPUB",
}
# Fields in frames of another form: the frame, what is written, and how it looks there.
OTHERS = {
    3: {"TORY": (["original release date=1998"], "1998"), "TRDA": (["recording dates=2001-05-06"], "2001-05-06")},
    4: {"TDOR": (["original release date=1998-02"], "1998-02"), "TIPL": (["involved people=producer"], "producer"),
        "TMCL": (["musician credits=bass"], "bass")},
    "any": {"TDRL": (["release date=2003-01-02"], "2003-01-02"), "TPOS": (["discnumber=1", "totaldiscs=2"], "1/2"),
            "MVIN": (["movement index=2", "movement count=5"], "2/5"), "TRCK": (["tracknumber=3", "totaltracks=12"], "3/12")},
}
MANY = {"grouping", "publisher", "artistsortorder", "albumartistsortorder", "composersortorder", "language",
        "original artist", "original album", "artist", "album artist", "conductor", "remixed by", "composer", "lyricist"}


def values_for(field):
    text = f"{field} ä 日本 😀"
    if field == "language":
        return ["eng", "deu"]
    if field in ("itunescompilation", "bpm"):
        return ["1"]
    return [text, text + " two"] if field in MANY else [text]


def our_reading_of_mutagen():
    for version in (3, 4):
        for encoding in (0, 1, 3) if version == 4 else (0, 1):
            path = bare(f"mutagen{version}{encoding}.mp3")
            tags = id3.ID3()
            wanted = {}
            for field, frame in FRAMES.items():
                values = values_for(field)
                if encoding == 0:
                    values = [v.replace("日本 😀", "x").replace("ä", "é") for v in values]
                if version == 3 and frame == "TSST":
                    continue  # mutagen leaves out what 2.3 doesn't have
                # Several values of 2.3 stand in one string.
                tags.add(id3.Frames[frame](encoding=encoding, text=values if version == 4 else [" / ".join(values)]))
                wanted[field] = values
            for field, frame in URLS.items():
                tags.add(id3.Frames[frame](url="http://example.org/" + frame))
                wanted[field] = ["http://example.org/" + frame]
            tags.add(id3.COMM(encoding=encoding, lang="eng", desc="", text=["a comment"]))
            tags.add(id3.COMM(encoding=encoding, lang="deu", desc="mood", text=["glad"]))
            tags.add(id3.USLT(encoding=encoding, lang="eng", desc="", text="words\nand more"))
            tags.add(id3.TXXX(encoding=encoding, desc="My Field", text=["v1", "v2"] if version == 4 else ["v1"]))
            tags.add(id3.TXXX(encoding=encoding, desc="replaygain_track_gain", text=["-7.15 dB"]))
            tags.add(id3.TRCK(encoding=encoding, text=["3/12"]))
            tags.add(id3.TPOS(encoding=encoding, text=["1/2"]))
            tags.add(id3.TCON(encoding=encoding, text=["17"]))
            tags.add(id3.POPM(email="a@b", rating=196, count=4))
            wanted.update({"comment": ["a comment"], "comment mood": ["glad"], "unsynced lyrics": ["words\nand more"],
                           "my field": ["v1", "v2"] if version == 4 else ["v1"], "replaygain_track_gain": ["-7.15 dB"],
                           "tracknumber": ["3"], "totaltracks": ["12"], "discnumber": ["1"], "totaldiscs": ["2"],
                           "genre": ["Rock"], "rating": ["4"]})
            if version == 4:
                tags.add(id3.TDRC(encoding=encoding, text=["2001-02-03"]))
                wanted["date"] = ["2001-02-03"]
            else:
                tags.add(id3.TYER(encoding=encoding, text=["2001"]))
                tags.add(id3.TDAT(encoding=encoding, text=["0302"]))
                wanted["date"] = ["2001-02-03"]
            tags.save(path, v2_version=version, v1=0)
            found = show(path)
            compare(f"mutagen 2.{version} kind", found["info"].get("tagtype"), f"id3v2.{version}")
            for field in sorted(set(wanted) | set(found["meta"])):
                compare(f"mutagen 2.{version} encoding {encoding} {field}", found["meta"].get(field), wanted.get(field))


def simple(found):
    """The fields that every tagger knows."""
    names = ("title", "artist", "album", "date", "genre", "tracknumber", "comment")
    return {name: found["meta"].get(name, [None])[0] for name in names}


PLAIN = {"title": "A Title", "artist": "The Artist", "album": "Its Album", "date": "1999", "genre": "Metal",
         "tracknumber": "7", "comment": "Said of it"}


def our_reading_of_others():
    if has("eyeD3"):
        for version in ("2.3", "2.4"):
            path = bare(f"eyed3-{version}.mp3")
            run("eyeD3", "-Q", "--no-color", f"--to-v{version}", "-t", PLAIN["title"], "-a", PLAIN["artist"], "-A",
                PLAIN["album"], "--recording-date", "1999", "-G", "Metal", "-n", "7", "-c", PLAIN["comment"], path)
            found = simple(show(path))
            found["tracknumber"] = found["tracknumber"].lstrip("0")  # it writes two digits
            compare(f"eyeD3 {version}", found, PLAIN)
    if has("id3v2"):
        path = bare("id3lib.mp3")
        run("id3v2", "-t", PLAIN["title"], "-a", PLAIN["artist"], "-A", PLAIN["album"], "-y", "1999", "-g", "9", "-T", "7",
            "-c", ":" + PLAIN["comment"] + ":eng", path)
        found = show(path)
        compare("id3lib kinds", found["info"].get("tagtype"), "id3v2.3|id3v1")
        compare("id3lib", simple(found), {**PLAIN, "comment": simple(found)["comment"]})
    if has("kid3-cli"):
        for tag, kind in (("1", "id3v1"), ("2", "id3v2")):
            path = bare(f"kid3-{tag}.mp3")
            commands = [f"set {name} '{value}' {tag}" for name, value in PLAIN.items()]
            run("kid3-cli", *[part for c in commands for part in ("-c", c)], path)
            found = show(path)
            compare(f"kid3 {kind} kind", found["info"].get("tagtype", "")[:5], kind)
            compare(f"kid3 {kind}", simple(found), PLAIN)
    if has("ffmpeg"):
        for version in ("3", "4"):
            path = os.path.join(scratch, f"ffmpeg-{version}.mp3")
            meta = [part for name, value in PLAIN.items() if name != "tracknumber"
                    for part in ("-metadata", f"{name}={value}")]
            run("ffmpeg", "-v", "error", "-y", "-i", bare("in.mp3"), "-c", "copy", *meta, "-metadata", "track=7/9",
                "-id3v2_version", version, "-write_id3v1", "1", path)
            found = show(path)
            compare(f"ffmpeg 2.{version} kinds", found["info"].get("tagtype"), f"id3v2.{version}|id3v1")
            # It writes a comment as free text of that name.
            compare(f"ffmpeg 2.{version}", simple(found), PLAIN)
            compare(f"ffmpeg 2.{version} total", found["meta"].get("totaltracks"), ["9"])
    if has("lame"):
        wav = os.path.join(scratch, "in.wav")
        run("ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", "sine=duration=0.5", wav)
        for kind, options in (("id3v1", ["--id3v1-only"]), ("id3v2.3", ["--id3v2-only", "--id3v2-utf16"]),
                              ("id3v2.3|id3v1", ["--add-id3v2"])):
            path = os.path.join(scratch, f"lame-{kind.replace('|', '-')}.mp3")
            run("lame", "--quiet", *options, "--tt", PLAIN["title"], "--ta", PLAIN["artist"], "--tl", PLAIN["album"], "--ty",
                "1999", "--tg", "Metal", "--tn", "7", "--tc", PLAIN["comment"], wav, path)
            found = show(path)
            compare(f"lame {kind} kind", found["info"].get("tagtype"), kind)
            compare(f"lame {kind}", simple(found), PLAIN)
    if has("mp3gain"):
        path = bare("mp3gain.mp3")
        run("mp3gain", "-q", "-s", "a", path)
        found = show(path)
        theirs = {key.lower(): str(value) for key, value in APEv2(path).items()}
        compare("mp3gain kind", found["info"].get("tagtype"), "apev2")
        compare("mp3gain gain", float(found["meta"]["replaygain_track_gain"][0].split()[0]),
                round(float(theirs["replaygain_track_gain"].split()[0]), 2))


def text_in(frame):
    """The texts of a frame of eyeD3's, which leaves those it doesn't know as bytes."""
    if getattr(frame, "url", None) is not None:
        return [frame.url]
    if getattr(frame, "text", None) is not None:
        return str(frame.text).split("\0")
    encoding = {0: "latin-1", 1: "utf-16", 2: "utf-16-be", 3: "utf-8"}[frame.data[0]]
    return frame.data[1:].decode(encoding).rstrip("\0").split("\0")


def eyed3_reading_of_ours(path, version, wanted):
    """Every frame of `wanted`, pairs of frame and values."""
    frames = eyed3.load(path).tag.frame_set
    for frame, values in wanted.items():
        got = [text for f in frames.get(frame.encode(), []) for text in text_in(f)]
        compare(f"our 2.{version} {frame} in eyeD3", got, values)


def ape_of_every_field():
    path = bare("ours-ape-all.mp3")
    wanted = {field: values_for(field) for field in FRAMES}
    wanted.update({field: ["http://example.org/" + frame] for field, frame in URLS.items()})
    wanted.update({"my field": ["v1", "v2"], "comment": ["a comment"], "genre": ["Rock", "(Foo"], "date": ["2001-02-03"],
                   "rating": ["4"], "lyrics": ["words"]})
    run(tool, "write", "ape", path, *[f"{field}={value}" for field, values in wanted.items() for value in values])
    names = {"year": "date"}
    theirs = APEv2(path)
    compare("our APE of every field in mutagen", {names.get(k.lower(), k.lower()): list(theirs[k]) for k in theirs}, wanted)
    if taglib:
        # It has names of its own for these.
        names = {"REMIXER": "remixed by", "ALBUMARTIST": "album artist", "LABEL": "publisher", "MEDIA": "media type"}
        tags = taglib.File(path).tags
        compare("our APE of every field in TagLib", {names.get(k, k.lower()): v for k, v in tags.items()}, wanted)


def their_reading_of_ours():
    for version, kinds in ((3, "id3v2"), (4, "id3v2")):
        path = bare(f"ours-{version}.mp3")
        seed = id3.ID3()
        seed.add(id3.TIT2(encoding=3 if version == 4 else 1, text=["old"]))
        seed.save(path, v2_version=version, v1=0)
        wanted = {field: values_for(field) for field in FRAMES}
        arguments = [f"{field}={value}" for field, values in wanted.items() for value in values]
        arguments += [f"{field}=http://example.org/{frame}" for field, frame in URLS.items()]
        others = {**OTHERS[version], **OTHERS["any"]}
        arguments += [argument for written, _ in others.values() for argument in written]
        arguments += ["genre=Rock", "genre=(Foo", "comment=a comment", "comment mood=glad",
                      "my field=v1", "my field=v2", "rating=4", "unsynced lyrics=words", "date=2001-02-03",
                      "replaygain_track_gain=-7.15 dB"]
        run(tool, "write", kinds, path, *arguments)
        tags = id3.ID3(path, translate=False)
        compare(f"written version 2.{version}", tags.version[1], version)
        for field, frame in FRAMES.items():
            values = wanted[field]
            got = tags.getall(frame)
            compare(f"our 2.{version} {field} in mutagen", [str(t) for f in got for t in f.text],
                    values if version == 4 else [" / ".join(values)])
        for field, frame in URLS.items():
            compare(f"our 2.{version} {field} in mutagen", [f.url for f in tags.getall(frame)], ["http://example.org/" + frame])
        for frame, (_, shown) in others.items():
            got = [str(t) for f in tags.getall(frame) for t in getattr(f, "text", None) or f.people[0]]
            compare(f"our 2.{version} {frame} in mutagen", [text for text in got if text], [shown])
        if eyed3:
            frames = {frame: wanted[field] if version == 4 else [" / ".join(wanted[field])] for field, frame in FRAMES.items()}
            frames.update({frame: ["http://example.org/" + frame] for frame in URLS.values()})
            frames.update({frame: [shown] for frame, (_, shown) in others.items()})
            frames.update({"TYER" if version == 3 else "TDRC": ["2001-02-03"]})
            eyed3_reading_of_ours(path, version, frames)
        compare(f"our 2.{version} comment", {f.desc: f.text[0] for f in tags.getall("COMM")}, {"": "a comment", "mood": "glad"})
        compare(f"our 2.{version} lyrics", [f.text for f in tags.getall("USLT")], ["words"])
        compare(f"our 2.{version} free text", sorted(str(t) for f in tags.getall("TXXX") if f.desc == "my field" for t in f.text),
                ["v1", "v2"])
        compare(f"our 2.{version} rating", [f.rating for f in tags.getall("POPM")], [196])
        compare(f"our 2.{version} read by ourselves", {k: v for k, v in show(path)["meta"].items() if k in wanted}, wanted)
        if has("kid3-cli"):
            theirs = run("kid3-cli", "-c", "get title 2", "-c", "get album 2", "-c", "get tracknumber 2", path).split("\n")
            compare(f"our 2.{version} in kid3", theirs[:3], [wanted["title"][0], wanted["album"][0], "3/12"])
        if has("ffprobe"):
            theirs = json.loads(run("ffprobe", "-v", "error", "-show_format", "-of", "json", path))["format"]["tags"]
            compare(f"our 2.{version} in ffprobe", (theirs.get("title"), theirs.get("album"), theirs.get("track")),
                    (wanted["title"][0], wanted["album"][0], "3/12"))
    path = bare("ours-ape.mp3")
    run(tool, "write", "ape,id3v1", path, "title=A ä日", "artist=x", "artist=y", "tracknumber=3", "totaltracks=9", "date=1999",
        "album artist=z", "replaygain_album_peak=0.5")
    theirs = APEv2(path)
    compare("our APE in mutagen", {key: list(theirs[key]) for key in theirs},
            {"Title": ["A ä日"], "Artist": ["x", "y"], "Track": ["3/9"], "Year": ["1999"], "Album artist": ["z"],
             "replaygain_album_peak": ["0.500000"]})
    compare("our APE read by ourselves", show(path)["info"].get("tagtype"), "apev2|id3v1")
    if has("kid3-cli"):
        compare("our ID3v1 in kid3", run("kid3-cli", "-c", "get artist 1", path).strip(), "x")


def audio_is_untouched():
    """What is left when the tags go again is what was there before them."""
    with open(bare("before.mp3"), "rb") as source:
        before = source.read()
    for kinds in ("id3v2", "id3v1", "ape", "id3v2,ape,id3v1"):
        path = bare("after.mp3")
        run(tool, "write", kinds, path, "title=t", "artist=" + "a" * 5000)
        run(tool, "write", kinds, path, "title=u", "tracknumber=4")
        with open(path, "rb") as source:
            compare(f"audio inside {kinds}", before in source.read(), True)
        run(tool, "remove", path)
        with open(path, "rb") as source:
            compare(f"after removing {kinds}", source.read() == before, True)


if mutagen is None:
    print("left out: mutagen is not installed")
else:
    our_reading_of_mutagen()
    their_reading_of_ours()
    ape_of_every_field()
our_reading_of_others()
audio_is_untouched()
print(f"{counts['same']} the same, {counts['different']} different")
sys.exit(1 if counts["different"] else 0)
