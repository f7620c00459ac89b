#!/bin/sh
# The main job on real files of the repository, in a folder that is removed at the end.
#
#   tools/demo.sh ZEL
set -eu
cd "$(dirname "$0")/.."
zel=$(realpath "$1")
data=tests/data/wav
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
# The reader's own settings stay out of it.
export ZELMORA_CONFIG_DIR="$dir/config"

say() { printf '\n\033[1m%s\033[0m\n' "$*"; }
show() { # prints a command as one would type it, then runs it
  printf '$ zel'
  for word in "$@"; do printf ' %s' "$word" | sed "s|$dir/||"; done
  printf '\n'
  "$zel" "$@"
}
pcm_md5() { "$zel" verify --json "$1" | sed -n 's/.*"pcm_md5":"\([0-9a-f]*\)".*/\1/p'; }

song=$(ls "$data"/*.wav | head -n 1)

say "Files are described from their first bytes"
show info "$song"

say "... and for programs, as one JSON object a line"
show info --json --io-stats "$song"

say "One is decoded to 32-bit float"
show decode -o "$dir/decoded.wav" "$song"
show info "$dir/decoded.wav"

say "The copy holds the same samples, and any position can be reached exactly"
show verify --seeks 50 "$song" "$dir/decoded.wav"
before=$(pcm_md5 "$song")
after=$(pcm_md5 "$dir/decoded.wav")
[ -n "$before" ] && [ "$before" = "$after" ] || { echo "the decoded audio differs: $before, $after" >&2; exit 1; }
echo "MD5 of the audio, before and after: $before"

say "Signals are made, not only read"
show decode --bits 16 -o "$dir/tone.wav" tone://440,2
show info "$dir/tone.wav"

say "Damage is found, and the exit status tells the truth"
head -c "$(($(stat -c %s "$song") / 2))" "$song" >"$dir/half.wav"
if show verify "$dir/half.wav"; then echo "half a file passed as a whole one" >&2; exit 1; fi
echo "(exit status 1, as it should be)"
