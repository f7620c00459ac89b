#!/usr/bin/env python3
"""Compares what `zel` says of real files with what other projects' own tests expect of them.

run_corpus.py --zel PROGRAM [--tag-tool PROGRAM] [--strict] DIR

DIR is a folder with `expected.tsv` and `files/`, or holds such folders. A row of expected.tsv: path (below files/), field,
expected value, how to compare, source. All files are described by one process. Tags of files whose format nothing here
reads are looked for at both ends of the file, with --tag-tool. Prints agreement by field, then each mismatch. A row counts as

  agree           our value is the expected one
  differ          it is not; or the file should open and did not
  known           it is not, for the reason in known_differences.tsv (path with its folder's name, field, reason)
  no input        nothing here reads that type of file
  not comparable  the field is an expression of the other project that has no counterpart here

Exit status: 1 when zel crashed, hung or lost a file; with --strict also when something differs. 2 for wrong usage.
"""
import argparse
import array
import ast
import collections
import json
import math
import os
import re
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
SECONDS_FOR_ALL = 600
SECONDS_FOR_ONE = 60

Row = collections.namedtuple("Row", "folder path field expected op source")
Verdict = collections.namedtuple("Verdict", "kind ours")
KINDS = ("agree", "differ", "known", "no input", "not comparable")

# Other projects' names of tag fields, and ours.
TAG_FIELDS = {
    "album": ("album",), "albumartist": ("album artist", "albumartist"), "artist": ("artist",),
    "comment": ("comment",), "composer": ("composer",), "disc": ("discnumber",), "disctotal": ("totaldiscs",),
    "genre": ("genre",), "lyrics": ("unsynced lyrics", "unsyncedlyrics", "lyrics"), "title": ("title",),
    "track": ("tracknumber",), "tracktotal": ("totaltracks",), "year": ("date", "year"),
}
NUMERIC_TAGS = {"disc", "disctotal", "track", "tracktotal", "year"}

# What the other libraries call them where they speak of frames.
FRAMES = {"TALB": "album", "TCON": "genre", "TDRC": "date", "TIT2": "title", "TPE1": "artist", "TRCK": "tracknumber",
          "artist": "artist", "title": "title"}
FRAME_EXPRESSION = re.compile(r"""mutagen:\['(\w+)'\](?:\.text|\.genres\[0\])?$
                                  |taglib:ID3v2Tag\(\)->frameListMap\(\)\["(\w+)"\]\.front\(\)->toString\(\)$
                                  |taglib:(?:ID3v2|Info)Tag\(\)->(\w+)\(\)$""", re.VERBOSE)
# Files with tags at their ends, whatever is between them.
BARE_EXTENSIONS = {"aac", "ape", "id3", "mp2", "mp3", "mpc", "ofr", "ofs", "tak", "tta", "wv"}

# Classes of the other library that read files of the extension: their refusal says something about the file itself.
CLASS_EXTENSIONS = {
    "AAC": "aac", "AC3": "ac3", "AIFF": "aif", "ASF": "wma", "DSDIFF": "dff", "DSF": "dsf", "FLAC": "flac", "MP3": "mp3",
    "MonkeysAudio": "ape", "Musepack": "mpc", "OptimFROG": "ofr", "TAK": "tak", "TrueAudio": "tta", "WAVE": "wav",
    "WavPack": "wv",
}


class Zel:
    """The program under test."""

    def __init__(self, program):
        self.program = program
        self.crashes = []

    def run(self, arguments, paths, seconds, binary=False):
        try:
            result = subprocess.run([self.program, *arguments], input=b"".join(os.fsencode(p) + b"\0" for p in paths),
                                    capture_output=True, timeout=seconds, check=False)
        except subprocess.TimeoutExpired:
            return None, b"" if binary else ""
        return result.returncode, result.stdout if binary else result.stdout.decode("utf-8", "surrogateescape")

    def describe(self, paths):
        """What `info --json` says of each path. A path that ends the process is noted as a crash."""
        status, output = self.run(["info", "--json", "-0", "--files-from", "-"], paths, SECONDS_FOR_ALL)
        records = self.parse(output)
        lost = [path for path in paths if path not in records]
        if status not in (0, 1) or lost:
            for path in lost:
                status, output = self.run(["info", "--json", "-0", "--files-from", "-"], [path], SECONDS_FOR_ONE)
                records.update(self.parse(output))
                if status not in (0, 1) or path not in records:
                    self.crashes.append((path, "info", status))
                    records[path] = {"error": {"type": "crash", "message": f"status {status}"}}
        return records

    def describe_tags(self, tag_tool, paths, records):
        """Adds the tags at both ends of files that are not readable as a whole."""
        bare = [path for path in paths if "error" in records[path] and extension_of(path) in BARE_EXTENSIONS]
        for path in bare:
            try:
                result = subprocess.run([tag_tool, "show", path], capture_output=True, timeout=SECONDS_FOR_ONE, check=False)
                status, output = result.returncode, result.stdout.decode("utf-8", "surrogateescape")
            except subprocess.TimeoutExpired:
                status, output = None, ""
            if status != 0:
                self.crashes.append((path, "tags", status))
                continue
            records[path]["tags"] = {"meta": json.loads(output)["meta"]}

    @staticmethod
    def parse(output):
        return {record["path"]: record for record in map(json.loads, filter(None, output.split("\n")))}

    def extensions(self):
        _, output = self.run(["formats", "--json"], [], SECONDS_FOR_ONE)
        return {e.lower() for line in output.splitlines() if line for e in json.loads(line).get("extensions", [])}

    def decode(self, path):
        """The file as 16-bit samples, or as much of it as there is; None when there is nothing."""
        status, pcm = self.run(["decode", "--format", "s16", "-o", "-", path], [], SECONDS_FOR_ONE, binary=True)
        if status not in (0, 1):
            self.crashes.append((path, "decode", status))
        return pcm if status == 0 or pcm else None

    def survives(self, path):
        status, _ = self.run(["verify", path], [], SECONDS_FOR_ONE)
        if status not in (0, 1):
            self.crashes.append((path, "verify", status))
            return False
        return True


def read_rows(top):
    """The rows of every expected.tsv in `top` or one level below."""
    if os.path.exists(os.path.join(top, "expected.tsv")):
        folders = [top]
    else:
        folders = sorted(entry.path for entry in os.scandir(top) if os.path.exists(os.path.join(entry.path, "expected.tsv")))
    rows = []
    for folder in folders:
        with open(os.path.join(folder, "expected.tsv"), encoding="utf-8", errors="surrogateescape", newline="\n") as file:
            header = file.readline().rstrip("\n").split("\t")
            if header[:4] != ["path", "field", "expected", "op"]:
                sys.exit(f"run_corpus.py: {folder}/expected.tsv has other columns: {header}")
            for line in file:
                cells = line.rstrip("\n").split("\t")
                if len(cells) >= 4:
                    rows.append(Row(folder, *(cells + [""])[:5]))
    return rows


# Bare streams have names that say nothing: they are read through links that do.
LINKED = {".bit": ".mp3"}
links = tempfile.TemporaryDirectory()


def file_of(row):
    path = os.path.join(row.folder, "files", row.path)
    stem, extension = os.path.splitext(path)
    if extension not in LINKED:
        return path
    link = os.path.join(links.name, stem.replace("/", "_") + LINKED[extension])
    if not os.path.lexists(link):
        os.symlink(os.path.abspath(path), link)
    return link


def name_of(row):
    return os.path.basename(os.path.normpath(row.folder)) + "/" + row.path


def read_known(path):
    known = {}
    with open(path, encoding="utf-8") as file:
        for line in file:
            if line.strip() and not line.startswith("#"):
                name, field, reason = line.rstrip("\n").split("\t")
                known[(name, field)] = reason
    return known


def number(text):
    try:
        return float(text)
    except (TypeError, ValueError):
        return None


def equal_numbers(ours, expected, op):
    if ours is None or expected is None:
        return False
    places = re.fullmatch(r"almost\((\d+)\)", op)
    if places:
        return round(ours - expected, int(places.group(1))) == 0
    within = re.fullmatch(r"within\(([\d.e-]+)\)", op)
    if within:
        return abs(ours - expected) <= float(within.group(1))
    return math.isclose(ours, expected, rel_tol=1e-9, abs_tol=1e-9)


def agree(yes, ours):
    return Verdict("agree" if yes else "differ", ours)


def compare_length(row, subsong):
    ours = subsong["length"]
    if ours is None:
        return Verdict("differ", "unknown length")
    expected = number(row.expected)
    if row.field == "length_ms":
        # Some libraries round milliseconds, some cut them off.
        return agree(expected in (math.floor(ours * 1000 + 0.5), math.floor(ours * 1000 + 1e-6)), f"{ours * 1000:.3f}")
    if row.op.startswith("eq") and row.expected.isdigit():
        return agree(math.floor(ours + 1e-9) == expected, f"{ours:.6f}")
    return agree(equal_numbers(ours, expected, row.op), f"{ours:.6f}")


def compare_samples(row, subsong):
    if subsong["length"] is None:
        return Verdict("differ", "unknown length")
    ours = round(subsong["length"] * float(subsong["info"].get("samplerate", "0")))
    return agree(equal_numbers(ours, number(row.expected), "eq"), str(ours))


def compare_bitrate(row, subsong):
    text = subsong["info"].get("bitrate")
    ours = number(text)
    expected = number(row.expected)
    if ours is None:
        return Verdict("differ", "none")
    scale = 1000 if row.field == "bitrate_bps" else 1
    # Ours is told in whole kb/s: the other's is right when it rounds, up or down, to that.
    return agree(expected is not None and abs(ours - expected / scale) < 1, text)


def compare_technical(name):
    def compare(row, subsong):
        text = subsong["info"].get(name)
        return agree(equal_numbers(number(text), number(row.expected), row.op), text if text is not None else "none")
    return compare


def tag_values(subsong, name):
    meta = {key.lower(): values for key, values in subsong.get("meta", {}).items()}
    return next((meta[field] for field in TAG_FIELDS[name] if field in meta), [])


def compare_tag(row, subsong):
    name = row.field[len("tag."):]
    if name not in TAG_FIELDS:
        return Verdict("not comparable", "")
    values = tag_values(subsong, name)
    shown = " / ".join(values) if values else "none"
    if name in NUMERIC_TAGS:
        ours = int(re.match(r"\d*", values[0]).group(0) or 0) if values else 0
        return agree(ours == (int(row.expected) if row.expected.isdigit() else 0), shown)
    joined = {" ".join(values), ", ".join(values), "; ".join(values), *values} if values else {""}
    return agree(row.expected in joined, shown)


def frame_of(field):
    """The field that an expression of another library names; None for other expressions."""
    match = FRAME_EXPRESSION.match(field)
    name = match and next(group for group in match.groups() if group)
    return FRAMES.get(name, name if name in FRAMES.values() else None)


def compare_frame(row, subsong):
    meta = {key.lower(): values for key, values in subsong.get("meta", {}).items()}
    values = meta.get(frame_of(row.field), [])
    if "totaltracks" in meta and frame_of(row.field) == "tracknumber":
        values = [f"{values[0]}/{meta['totaltracks'][0]}"]
    expected = ast.literal_eval(row.expected) if row.expected.startswith("[") else [row.expected] if row.expected else []
    return agree(values == expected, " / ".join(values) if values else "none")


# Fields of a file that opened, by name.
FIELDS = {
    "length_s": compare_length, "length_ms": compare_length, "total_samples": compare_samples,
    "mutagen:info._number_of_samples": compare_samples, "taglib:audioProperties()->sampleCount()": compare_samples,
    "bitrate_kbps": compare_bitrate, "bitrate_bps": compare_bitrate,
    "sample_rate": compare_technical("samplerate"), "channels": compare_technical("channels"),
    "bits_per_sample": compare_technical("bitspersample"),
    "tags": lambda row, subsong: agree((not subsong.get("meta")) == (row.expected == "none"), ", ".join(subsong.get("meta", {}))),
}
# Rows that say no more than whether the file is one that can be read.
OPENS = {"taglib:isValid()", "taglib:audioProperties()"}


# What a decoder's filters hold back, which we leave out and references of other projects may not [samples].
DECODER_DELAYS = {"MP1": 0, "MP2": 481, "MP3": 529}
LONGEST_FRAME = 1152
FILTER_LENGTH = 512


def samples_of(data):
    samples = array.array("h", data[:len(data) // 2 * 2])
    if sys.byteorder == "big":
        samples.byteswap()
    return samples


def align(theirs, length, info, channels):
    """A reference of MPEG audio that is not trimmed as ours is, from where we begin, and without what follows our
    `length` in it: what comes out of a decoder's filters behind the last frame, and silence."""
    if len(theirs) == length:
        return theirs
    theirs = theirs[DECODER_DELAYS[info["codec"]] * channels:]
    end = len(theirs)
    while end > length and theirs[end - 1] == 0:
        end -= 1
    return theirs[:length if length < end <= length + FILTER_LENGTH * channels else end]


def compare_pcm(row, zel, info):
    with open(os.path.join(row.folder, "files", row.expected), "rb") as file:
        theirs = samples_of(file.read())
    ours = zel.decode(file_of(row))
    if ours is None:
        return Verdict("differ" if theirs else "agree", "not decoded")
    ours = samples_of(ours)
    channels = int(info["channels"])
    if info.get("codec") in DECODER_DELAYS:
        theirs = align(theirs, len(ours), info, channels)
        if len(theirs) < len(ours) <= len(theirs) + LONGEST_FRAME * channels:
            ours = ours[:len(theirs)]  # decoders that read ahead lose a frame at the end
    if len(ours) != len(theirs):
        return Verdict("differ", f"{len(ours) // channels} samples, not {len(theirs) // channels}")
    squares = sum((x - y) * (x - y) for x, y in zip(ours, theirs))
    psnr = math.inf if squares == 0 else 10 * math.log10(32767 * 32767 * len(ours) / squares)
    return agree(psnr >= 96, f"PSNR {psnr:.1f} dB")


def compare(row, record, zel, readable):
    """`readable`: something here reads that type of file."""
    error = record.get("error")
    if "tags" in record and row.field.startswith("tag."):
        return compare_tag(row, record["tags"])
    if "tags" in record and frame_of(row.field):
        return compare_frame(row, record["tags"])
    if row.field == "must_not_crash":
        alive = (error is None or error["type"] != "crash") and zel.survives(file_of(row))
        return agree(alive, "alive" if alive else "crashed")
    if row.op == "info" or row.field.startswith("reference_pcm_"):
        return Verdict("not comparable", "")
    if error is not None and not readable:
        return Verdict("no input", "")
    if row.field.startswith("mutagen_error_as:"):
        kind = CLASS_EXTENSIONS.get(row.field.split(":")[1])
        if kind is None or not row.path.lower().endswith("." + kind):
            return Verdict("not comparable", "")
        return agree(error is not None, error["type"] if error else "opened")
    if row.field in OPENS:
        expected = row.expected == "true"
        return agree((error is None) == expected, error["type"] if error else "opened")
    if frame_of(row.field) and error is None:
        return compare_frame(row, record["subsongs"][0])
    known_field = row.field in FIELDS or row.field.startswith("tag.") or row.field == "reference_pcm"
    if not known_field or row.op.endswith("_check_test") and row.field not in FIELDS:
        return Verdict("not comparable", "")
    if error is not None:
        is_empty = row.field == "reference_pcm" and os.path.getsize(os.path.join(row.folder, "files", row.expected)) == 0
        return Verdict("agree" if is_empty else "differ", f"{error['type']}: {error['message']}")
    if row.field == "reference_pcm":
        return compare_pcm(row, zel, record["subsongs"][0]["info"])
    subsong = record["subsongs"][0]
    return compare_tag(row, subsong) if row.field.startswith("tag.") else FIELDS[row.field](row, subsong)


def extension_of(path):
    return os.path.splitext(path)[1].lower().lstrip(".")


def judge(rows, zel, tag_tool, known):
    """Pairs of row and verdict."""
    paths = sorted({file_of(row) for row in rows})
    records = zel.describe(paths)
    readable = zel.extensions() | {extension_of(path) for path, record in records.items() if "error" not in record}
    if tag_tool:
        zel.describe_tags(os.path.abspath(tag_tool), paths, records)
    verdicts = []
    for row in rows:
        record = records[file_of(row)]
        verdict = compare(row, record, zel, extension_of(file_of(row)) in readable)
        if verdict.kind == "differ" and (name_of(row), row.field) in known:
            verdict = Verdict("known", verdict.ours)
        verdicts.append((row, verdict))
    return verdicts


def print_report(verdicts, known):
    table = collections.defaultdict(collections.Counter)
    for row, verdict in verdicts:
        field = row.field.split(":")[0] if row.field.startswith("mutagen_error_as:") else row.field
        if frame_of(field):
            field = "frame of " + frame_of(field)
        elif field.startswith(("mutagen:", "taglib:")) and field not in FIELDS and field not in OPENS:
            field = field.split(":")[0] + ": other expressions"
        table[field][verdict.kind] += 1
    width = max(map(len, table)) + 2
    print("field".ljust(width) + "".join(kind.rjust(16) for kind in KINDS))
    for field in sorted(table):
        print(field.ljust(width) + "".join(str(table[field][kind] or ".").rjust(16) for kind in KINDS))
    total = sum(table.values(), collections.Counter())
    print("all".ljust(width) + "".join(str(total[kind] or ".").rjust(16) for kind in KINDS))
    for kind, title in (("differ", "Mismatches"), ("known", "Known differences")):
        if total[kind]:
            print(f"\n{title}")
        for row, verdict in verdicts:
            if verdict.kind == kind:
                print(f"  {name_of(row)}: {row.field} is {row.expected!r} ({row.op}) there, {verdict.ours} here [{row.source}]")
                if kind == "known":
                    print(f"      {known[(name_of(row), row.field)]}")
    return total


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--zel", required=True)
    parser.add_argument("--tag-tool", help="the program that shows the tags of a bare stream")
    parser.add_argument("--strict", action="store_true", help="exit 1 when something differs")
    parser.add_argument("--known", default=os.path.join(HERE, "known_differences.tsv"))
    parser.add_argument("folder")
    options = parser.parse_args()

    rows = read_rows(options.folder) if os.path.isdir(options.folder) else []
    if not rows:
        parser.error(f"{options.folder}: no expected.tsv in it or one level below")
    zel = Zel(os.path.abspath(options.zel))
    known = read_known(options.known)
    verdicts = judge(rows, zel, options.tag_tool, known)
    total = print_report(verdicts, known)
    for path, verb, status in zel.crashes:
        print(f"\nCRASH: zel {verb} {path}: status {status}")
    settled = total["agree"] + total["differ"] + total["known"]
    print(f"\n{total['agree']} of {settled} comparable rows agree, {total['differ']} differ, {total['known']} are known to differ")
    return 1 if zel.crashes or (options.strict and total["differ"]) else 0


sys.exit(main())
