#!/bin/bash
# Tagged WAV files. Needs ffmpeg (5.1), xxd, python3-mutagen (1.46), python3-taglib (1.5 over TagLib 1.13), and
# wav/base.wav of make_wav.sh. See make.sh.
#
# expected_tags.tsv: what an independent reader finds. Columns: file, field, value, the reader. ffprobe takes INFO texts as
# they stand, so that it reads only the ASCII ones as we do.
set -euo pipefail
out=$1
base="$PWD/wav/base.wav"
tool="$PWD/wav_tool.py"
cd "$out"

ff() { ffmpeg -nostdin -loglevel error -y "$@"; }

# INFO before the audio, in UTF-8 whatever the code page, with ISFT.
ff -i "$base" -c copy -metadata title=Title -metadata artist='Artist, Other' -metadata album=Album -metadata date=2001 \
  -metadata genre=Blues -metadata comment='A comment' info_ffmpeg.wav
# ISFT alone: a list, but no tag.
ff -i "$base" -c copy -map_metadata -1 isft_only.wav
# The same written to a pipe: sizes of all ones.
ff -i "$base" -c copy -metadata title=Title -f wav - | cat > info_piped.wav
# ID3v2.4 behind the audio, padded.
cp "$base" id3_mutagen.wav
/usr/bin/python3 - id3_mutagen.wav <<'P'
import sys
from mutagen.wave import WAVE
from mutagen.id3 import TIT2, TPE1, TXXX, TRCK
wav = WAVE(sys.argv[1])
wav.add_tags()
wav.tags.add(TIT2(encoding=3, text="Tïtle"))
wav.tags.add(TPE1(encoding=3, text=["Ärtist", "Other"]))
wav.tags.add(TRCK(encoding=3, text="3/9"))
wav.tags.add(TXXX(encoding=3, desc="MOOD", text="calm"))
wav.save()
P
# Both kinds; ID3 behind INFO, which stands before the audio.
cp info_ffmpeg.wav info_ffmpeg_id3_mutagen.wav
/usr/bin/python3 - info_ffmpeg_id3_mutagen.wav <<'P'
import sys
from mutagen.wave import WAVE
from mutagen.id3 import TIT2
wav = WAVE(sys.argv[1])
wav.add_tags()
wav.tags.add(TIT2(encoding=1, text="Other title"))
wav.save(v2_version=3)
P
# Both kinds from one tagger.
cp "$base" both_taglib.wav
/usr/bin/python3 - both_taglib.wav <<'P'
import sys
import taglib
wav = taglib.File(sys.argv[1])
wav.tags = {"TITLE": ["Tïtle"], "ARTIST": ["Artist"], "ALBUM": ["Album"]}
wav.save()
P
# Windows-1252, which programs on Windows write: artist "Bj\xf6rk", and two codes that are no fields of ours.
python3 "$tool" insert "$base" 36 LIST "494e464f$(printf 'IART' | xxd -p)06000000426af6726b00$(printf 'ITCH' | xxd -p)04000000546f6d00$(printf 'IENG' | xxd -p)0300000045670000" nopad info_cp1252.wav

{
  printf '# file\tfield\tvalue\treader\n'
  for file in info_ffmpeg.wav info_piped.wav; do
    ffprobe -loglevel error -of default=nw=1 -show_entries format_tags "$file" | sed -n 's/^TAG:\([a-z]*\)=/\1\t/p' |
      while IFS=$'\t' read -r field value; do
        [ "$field" = encoder ] || printf '%s\t%s\t%s\tffprobe\n' "$file" "$field" "$value"
      done
  done
  /usr/bin/python3 - id3_mutagen.wav info_ffmpeg_id3_mutagen.wav both_taglib.wav <<'P'
import sys
from mutagen.wave import WAVE
names = {"TIT2": "title", "TPE1": "artist", "TALB": "album", "TXXX:MOOD": "mood"}
for path in sys.argv[1:]:
    for key, frame in sorted(WAVE(path).tags.items()):
        if key == "TRCK":
            number, total = frame.text[0].split("/")
            print(path, "tracknumber", number, "mutagen", sep="\t")
            print(path, "totaltracks", total, "mutagen", sep="\t")
        elif key in names:
            for value in frame.text:
                print(path, names[key], value, "mutagen", sep="\t")
P
} > expected_tags.tsv
