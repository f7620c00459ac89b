#!/bin/sh
# Measures `zel` beside the plain programs of this folder, and beside peers where they are installed: one run, one table.
#
#   bench/compare.sh BIN_DIR [PATTERN]     BIN_DIR holds zel and the programs of this folder
#
# PATTERN (a shell pattern) picks rows by their label. BENCH_DIR is where the files are made: about 2 GB of memory
# (default: a fresh folder in /dev/shm, else in TMPDIR). ROUNDS sets the runs of each command (7).
set -eu

bin=$(cd "$1" && pwd)
pattern=${2-*}
zel=$bin/zel
rounds=${ROUNDS:-7}

base=${BENCH_DIR-}
[ -n "$base" ] || { base=/dev/shm; [ -w $base ] || base=${TMPDIR:-/tmp}; }
dir=$(mktemp -d "$base/zel-bench.XXXXXX")
trap 'rm -rf "$dir"' EXIT
trap 'exit 130' INT TERM

# The four bytes of a little-endian number, for printf.
le32() { printf '\\%03o\\%03o\\%03o\\%03o' $(($1 & 255)) $(($1 >> 8 & 255)) $(($1 >> 16 & 255)) $(($1 >> 24 & 255)); }

# wav_header BYTES: the 44 bytes before BYTES of 16-bit stereo at 44100 Hz.
wav_header() {
  printf "RIFF$(le32 $(($1 + 36)))WAVEfmt \\020\\000\\000\\000\\001\\000\\002\\000$(le32 44100)$(le32 176400)\\004\\000\\020\\000data$(le32 "$1")"
}

# sparse_wav FILE SECONDS: silence that takes no room.
sparse_wav() {
  wav_header $(($2 * 176400)) >"$1"
  truncate -s $(($2 * 176400 + 44)) "$1"
}

# noise_wav FILE SECONDS: one second of noise over and over.
noise_wav() {
  head -c 176400 /dev/urandom >"$dir/second"
  { wav_header $(($2 * 176400)); i=0; while [ $i -lt "$2" ]; do cat "$dir/second"; i=$((i + 1)); done; } >"$1"
}

row() { # row LABEL MEASURE-OPTIONS... -- COMMAND... --vs COMMAND...
  label=$1
  shift
  options=
  while [ "$1" != -- ]; do options="$options $1"; shift; done
  shift
  case $label in $pattern) ;; *) return 0 ;; esac
  # shellcheck disable=SC2086
  "$bin/measure" --rounds "$rounds" $options "$label" "$@"
}
has() { command -v "$1" >/dev/null; }

noise_wav "$dir/ten.wav" 600
sparse_wav "$dir/minute.wav" 60
sparse_wav "$dir/hour.wav" 3600
mkdir "$dir/small"
head -c 9000 /dev/urandom >"$dir/small.pcm"
i=0
while [ $i -lt 2000 ]; do
  { wav_header 9000; cat "$dir/small.pcm"; } >"$dir/small/$i.wav"
  i=$((i + 1))
done
find "$dir/small" -name '*.wav' | sort >"$dir/list"

printf '%-44s %12s %12s %19s %7s  %s\n' "what (ours : theirs)" ours theirs "peak memory" ratio bar

row "decode 10 min WAV : plain read and convert" --bar 1.2 -- \
  "$zel" decode --format f32 -o "$dir/ours.f32" "$dir/ten.wav" --vs "$bin/plain_convert" "$dir/ten.wav" "$dir/theirs.f32"
cmp -s "$dir/ours.f32" "$dir/theirs.f32" || [ ! -e "$dir/ours.f32" ] || echo "  (the two outputs DIFFER)"
row "decode 10 min WAV to WAV : plain" -- \
  "$zel" decode -o "$dir/ours.wav" "$dir/ten.wav" --vs "$bin/plain_convert" "$dir/ten.wav" "$dir/theirs.f32"
if has sndfile-convert; then
  row "decode 10 min WAV to WAV : sndfile-convert" -- \
    "$zel" decode -o "$dir/ours.wav" "$dir/ten.wav" --vs sndfile-convert -float32 "$dir/ten.wav" "$dir/theirs.wav"
fi
if has sox; then
  row "decode 10 min WAV to WAV : sox" -- \
    "$zel" decode -o "$dir/ours.wav" "$dir/ten.wav" --vs sox "$dir/ten.wav" -e floating-point -b 32 "$dir/theirs.wav"
fi
if has ffmpeg; then
  row "decode 10 min WAV : ffmpeg" -- "$zel" decode --format f32 -o "$dir/ours.f32" "$dir/ten.wav" \
    --vs ffmpeg -v error -nostdin -threads 1 -i "$dir/ten.wav" -f f32le -y "$dir/theirs.f32"
fi
rm -f "$dir"/ours.* "$dir"/theirs.*

row "info of 2,000 WAV : open, read 4 KiB, close" --bar 1.5 -- \
  "$zel" info --files-from "$dir/list" --vs "$bin/plain_open" "$dir/list"
row "info --json of 2,000 WAV : open, read, close" --bar 1.5 -- \
  "$zel" info --json --files-from "$dir/list" --vs "$bin/plain_open" "$dir/list"
row "info -j 1 of 2,000 WAV : open, read, close" -- \
  "$zel" info -j 1 --files-from "$dir/list" --vs "$bin/plain_open" "$dir/list"
row "start-up: info of one WAV : /bin/true" -- "$zel" info "$dir/small/0.wav" --vs /bin/true
if has ffprobe; then
  row "start-up: info of one WAV : ffprobe" -- \
    "$zel" info "$dir/small/0.wav" --vs ffprobe -v error -show_format -show_streams "$dir/small/0.wav"
fi

# Tags as two encoders write them: ID3v2.3 in Latin-1 and in UTF-16, with and without ID3v1, 2.4 in UTF-8, and a cover.
if has lame && has ffmpeg; then
  mkdir "$dir/mp3"
  head -c 352800 "$dir/ten.wav" >"$dir/two.wav"
  set -- --quiet --ta "Ann Other" --tl "A Longer Album's Title" --ty 2004 --tg Jazz --tn 3/12 --tc "as heard"
  lame "$@" --tt "Plain" "$dir/two.wav" "$dir/mp3/0.mp3"
  lame "$@" --tt "No older tag" --id3v2-only "$dir/two.wav" "$dir/mp3/1.mp3"
  lame "$@" --tt "Wide" --id3v2-utf16 --add-id3v2 "$dir/two.wav" "$dir/mp3/2.mp3"
  # It complains of lame's comments in UTF-16, and leaves them out.
  ffmpeg -v quiet -nostdin -i "$dir/mp3/2.mp3" -c copy -id3v2_version 4 "$dir/mp3/3.mp3"
  ffmpeg -v error -nostdin -i "$dir/mp3/0.mp3" -f lavfi -i testsrc2=s=200x200:d=0.1 -map 0 -map 1 -frames:v 1 -c:a copy \
    -c:v mjpeg -id3v2_version 3 "$dir/mp3/4.mp3"
  i=5
  while [ $i -lt 2000 ]; do cp "$dir/mp3/$((i % 5)).mp3" "$dir/mp3/$i.mp3"; i=$((i + 1)); done
  find "$dir/mp3" -name '*.mp3' | sort >"$dir/mp3.list"
  if [ -x "$bin/peer_taglib" ]; then
    row "tags of 2,000 MP3 : TagLib" --bar 1.0 -- "$bin/read_tags" "$dir/mp3.list" --vs "$bin/peer_taglib" "$dir/mp3.list"
  fi
  row "tags of 2,000 MP3 : open, read, close" -- "$bin/read_tags" "$dir/mp3.list" --vs "$bin/plain_open" "$dir/mp3.list"
  row "a tag of lame's, 10,000 times : /bin/true" -- "$bin/read_tags" --memory 10000 "$dir/mp3/0.mp3" --vs /bin/true
fi

# A minute of tones and noise, over and over: each begins with a frame that needs no earlier one.
if has lame && has ffmpeg && has python3; then
  repeat() { python3 "$(dirname "$0")/../tests/data/mpeg_tool.py" repeat "$dir/song.mp3" "$1" "$2" "$dir/$3"; }
  ffmpeg -v error -nostdin -f lavfi -i "aevalsrc=0.3*sin(880*t+9*sin(3*t))*sin(t)+0.2*random(0)*pow(sin(2*t)\,8)|0.3*sin(60*t*t)+\
0.1*random(1)*sin(t/3):s=44100:d=60" "$dir/song.wav"
  lame --quiet -t -V2 "$dir/song.wav" "$dir/song.mp3"
  repeat 10 none ten.mp3
  repeat 600 header hours.mp3
  repeat 600 none hours_no_header.mp3
  row "decode 10 min VBR MP3 : libavcodec bare" --bar 1.05 -- "$zel" decode --format f32 -o - "$dir/ten.mp3" \
    --vs "$bin/decode_packets" bare mp3 86017 1 "$dir/ten.mp3"
  if has mpg123; then
    row "decode 10 min VBR MP3 : mpg123" --bar 1.0 -- "$zel" decode --format f32 -o - "$dir/ten.mp3" \
      --vs mpg123 -q -e f32 -s "$dir/ten.mp3"
  fi
  if [ -x "$bin/peer_taglib" ]; then
    row "info of 2,000 MP3 : TagLib" --bar 1.0 -- "$zel" info --files-from "$dir/mp3.list" --vs "$bin/peer_taglib" --audio "$dir/mp3.list"
    row "info -j 1 of 2,000 MP3 : TagLib" --bar 1.0 -- \
      "$zel" info -j 1 --files-from "$dir/mp3.list" --vs "$bin/peer_taglib" --audio "$dir/mp3.list"
  fi
  row "info of 10 h VBR MP3 without header : cat" -- "$zel" info "$dir/hours_no_header.mp3" --vs cat "$dir/hours_no_header.mp3"
  row "memory of decode MP3: 10 h : 10 min" --of memory --bar 1.05 -- "$zel" decode --start 35900 --format f32 -o - "$dir/hours.mp3" \
    --vs "$zel" decode --format f32 -o - "$dir/ten.mp3"
  case "100 seeks in MP3" in
    $pattern)
      "$bin/seek_file" "100 seeks in 10 h VBR MP3, header" "$dir/hours.mp3"
      "$bin/seek_file" "100 seeks in 10 h VBR MP3, no header" "$dir/hours_no_header.mp3" ;;
  esac
  rm "$dir"/hours*.mp3
fi

# The numbers of the codecs are libavcodec's.
packets=$(cd "$(dirname "$0")/../tests/data/packets" && pwd)
for codec in "MP3 mp3 86017 mp3 2000" "AAC mp4 86018 aac_lc 8000" "ALAC alac 86032 alac16 1000"; do
  # shellcheck disable=SC2086
  set -- $codec
  row "$1 packets : libavcodec bare" --bar 1.05 -- "$bin/decode_packets" ours "$2" "$3" "$5" "$packets/$4.packets" \
    --vs "$bin/decode_packets" bare "$2" "$3" "$5" "$packets/$4.packets"
done

row "memory of info: hour : minute" --of memory --bar 1.05 -- "$zel" info "$dir/hour.wav" --vs "$zel" info "$dir/minute.wav"
row "memory of decode: hour : minute" --of memory --bar 1.05 -- \
  "$zel" decode --format f32 -o - "$dir/hour.wav" --vs "$zel" decode --format f32 -o - "$dir/minute.wav"
row "memory of verify: hour : minute" --of memory --bar 1.05 -- "$zel" verify "$dir/hour.wav" --vs "$zel" verify "$dir/minute.wav"
