#!/bin/sh
# The main job on real files of the repository, in a folder that is removed at the end.
#
#   tools/demo.sh ZEL
set -eu
cd "$(dirname "$0")/.."
zel=$(realpath "$1")
data=$PWD/tests/data/wav
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
# The reader's own settings stay out of it.
export ZELMORA_CONFIG_DIR="$dir/config"

bold= plain=
if [ -t 1 ]; then
  bold=$(printf '\033[1m')
  plain=$(printf '\033[0m')
fi
say() { printf '\n%s%s%s\n' "$bold" "$*" "$plain"; }
show() { # prints a command as one would type it, then runs it
  printf '$ zel %s\n' "$*"
  "$zel" "$@"
}
pcm_md5() { "$zel" verify --json "$1" | sed -n 's/.*"pcm_md5":"\([0-9a-f]*\)".*/\1/p'; }

song=s16.wav
surround=s24_71.wav
cp "$data/$song" "$data/$surround" "$dir"
cd "$dir"

say "Files are described from their first bytes"
show info "$song" "$surround"

say "... and for programs as one JSON object a line, here with the system calls that it took"
show info --json --io-stats "$surround"

say "One is decoded to 32-bit float, and described again"
show decode -o decoded.wav "$song"
show info decoded.wav

say "The copy holds the same samples, and every position can be reached exactly"
show verify --seeks 50 "$song" decoded.wav
before=$(pcm_md5 "$song")
after=$(pcm_md5 decoded.wav)
[ -n "$before" ] && [ "$before" = "$after" ] || { echo "the decoded audio differs: $before, $after" >&2; exit 1; }
echo "MD5 of the audio, before and after: $before"

say "A tag is edited, and no sample changes"
show tag set "title=Aria" "artist=Ann Other" genre=Jazz genre=Blues -- "$song"
show tag show "$song"
tagged=$(pcm_md5 "$song")
[ "$before" = "$tagged" ] || { echo "the audio differs: $before, $tagged" >&2; exit 1; }
echo "MD5 of the audio, before and after: $before"

say "Other codecs play as exactly"
cp "$data/../wav_codecs/mp3.wav" mp3.wav
show verify --seeks 50 mp3.wav

say "MP3 plays for as long as its encoder was given samples, and its tags stand at both ends"
cp "$data/../mpeg/vbr.mp3" "$data/../mpeg/vbr_no_header.mp3" .
show info vbr.mp3
before=$(pcm_md5 vbr.mp3)
show tag set "title=Aria" "artist=Ann Other" -- vbr.mp3
show verify --seeks 50 vbr.mp3
tagged=$(pcm_md5 vbr.mp3)
[ "$before" = "$tagged" ] || { echo "the audio differs: $before, $tagged" >&2; exit 1; }
echo "MD5 of the audio, before and after: $before"

say "... and where a header is missing, it is made"
show info vbr_no_header.mp3
show run --yes "Fix VBR MP3 header..." vbr_no_header.mp3
show info vbr_no_header.mp3

say "Signals are made, not only read"
show decode --bits 16 -o tone.wav tone://440,2
show info tone.wav

say "Damage is found, and the exit status tells the truth"
head -c "$(($(stat -c %s "$song") / 2))" "$song" >half.wav
if show verify half.wav; then
  echo "half a file passed as a whole one" >&2
  exit 1
fi
echo "(exit status 1, as it should be)"
