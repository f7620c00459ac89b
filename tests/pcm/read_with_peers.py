#!/usr/bin/python3
"""Reads the tags of a WAV file with every independent reader that is installed: `read_with_peers.py FILE`.

Prints lines "READER<tab>FIELD<tab>VALUE", and "MISSING<tab>READER" for each that isn't there.
"""
import json
import shutil
import subprocess
import sys

path = sys.argv[1]


def say(*parts):
    print(*parts, sep="\t")


try:
    from mutagen.wave import WAVE
    names = {"TIT2": "title", "TPE1": "artist", "TALB": "album"}
    for key, frame in (WAVE(path).tags or {}).items():
        for value in frame.text if key in names else []:
            say("mutagen", names[key], value)
except ImportError:
    say("MISSING", "mutagen")

try:
    import taglib
    for key, values in taglib.File(path).tags.items():
        for value in values:
            say("taglib", key.lower(), value)
except ImportError:
    say("MISSING", "taglib")

if shutil.which("ffprobe"):
    answer = subprocess.run(["ffprobe", "-loglevel", "error", "-of", "json", "-show_entries", "format_tags", path],
                            capture_output=True, text=True, check=True)
    for key, value in json.loads(answer.stdout)["format"].get("tags", {}).items():
        say("ffprobe", key.lower(), value)
else:
    say("MISSING", "ffprobe")
