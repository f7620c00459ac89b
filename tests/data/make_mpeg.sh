#!/bin/bash
# MPEG audio of all layers and versions. Needs lame (3.100), twolame (0.4.0), ffmpeg (5.1), SoX 14.4.2, python3-mutagen and
# mp3gain. See make.sh.
#
# expected.tsv: file, rate, channels, samples, MD5 of the interleaved little-endian 32-bit float PCM, bitrate of the frames
# [kbit/s] and where the numbers come from. The samples are ffmpeg's, decoded without what it skips and trims by itself, cut
# as the last column says: "input" to the length and place of what the encoder was given, "delay" without what the filters of
# a decoder hold back (529, 481 or 0 samples for layers 3, 2, 1), "count" by the numbers of a header that was edited.
set -euo pipefail
out=$1
tool=$PWD/mpeg_tool.py
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
rm -f "$out"/*

edit() { python3 "$tool" "$@"; }
# sound NAME RATE CHANNELS SECONDS UP [DOWN]: a sweep in each channel, under bursts of noise.
sound() {
  local name=$1 rate=$2 channels=$3 seconds=$4
  shift 4
  soxw -r "$rate" -n -b 16 -c "$channels" sweep.wav synth "$seconds" $(printf 'sine %s ' "$@") gain -8
  soxw -r "$rate" -n -b 16 -c "$channels" bursts.wav synth "$seconds" whitenoise gain -24 tremolo 9 90
  soxw -m -v 1 sweep.wav -v 1 bursts.wav -b 16 "$name.wav"
}
soxw() { sox -R -D "$@"; }
lamew() { lame --quiet --nohist "${@:1:$#-1}" "$out/${@: -1}"; }
twolamew() { twolame --quiet "${@:1:$#-1}" "$out/${@: -1}"; }
ffw() { ffmpeg -nostdin -v error -y "${@:1:$#-1}" -map_metadata -1 -fflags +bitexact -flags:a +bitexact "$out/${@: -1}"; }

# expect FILE START LENGTH WHY: START and LENGTH in samples.
expect() {
  local file=$1 start=$2 length=$3 why=$4 rate channels bitrate
  read -r rate channels bitrate < <(edit stream "$out/$file")
  [ "$why" != count ] || bitrate=-
  ffmpeg -nostdin -v error -threads 1 -flags2 +skip_manual -request_sample_fmt flt -c:a mp3float -i "${as_decoded-$out/$file}" \
    -f f32le -y pcm
  tail -c +$((start * channels * 4 + 1)) pcm > rest
  [ "$length" != all ] || length=$(($(stat -c %s rest) / 4 / channels))
  head -c $((length * channels * 4)) rest > cut
  [ "$(stat -c %s cut)" = $((length * channels * 4)) ] || { echo "$file: ffmpeg has less" >&2; exit 1; }
  printf '%s\t%s\t%s\t%s\t%s\t%s\t%s\n' "$file" "$rate" "$channels" "$length" "$(md5sum < cut | cut -d' ' -f1)" "$bitrate" "$why" \
    >> "$out/expected.tsv"
}
# The delay of lame's encoder is 576 samples, and that of decoders 529.
gives_input() { expect "$2" 1105 "$(soxi -s "$1.wav")" input; }
layer1() { expect "$1" 0 all delay; }
layer2() { expect "$1" 481 all delay; }
layer3() { expect "$1" 529 all delay; }

sound s44 44100 2 0.41 200-9000 7000-90
sound m44 44100 1 0.3 200-9000
sound s48 48000 2 0.2 200-9000 7000-90
sound s24 24000 2 0.4 150-5000 4000-90
sound m24 24000 1 0.3 150-5000
sound s22 22050 2 0.4 150-5000 4000-90
sound m11 11025 1 0.7 100-2500
sound m8 8000 1 1 100-2500

# --- Layer 3, with a header that tells delay and padding -----------------------------------------------------------
lamew -b 128 s44.wav cbr128.mp3;                               gives_input s44 cbr128.mp3
lamew -V 5 s44.wav vbr.mp3;                                    gives_input s44 vbr.mp3
lamew --abr 96 --resample 44.1 s44.wav abr96.mp3;              gives_input s44 abr96.mp3
lamew -b 64 -m m m44.wav mono.mp3;                             gives_input m44 mono.mp3
lamew -V 5 -m m m44.wav vbr_mono.mp3;                          gives_input m44 vbr_mono.mp3
lamew -b 128 -m d s48.wav dual.mp3;                            gives_input s48 dual.mp3
lamew -b 128 -m s s48.wav stereo.mp3;                          gives_input s48 stereo.mp3
lamew -p -b 64 -m m m44.wav crc.mp3;                           gives_input m44 crc.mp3
lamew -V 6 s22.wav mpeg2_vbr.mp3;                              gives_input s22 mpeg2_vbr.mp3
lamew -b 32 -m m m11.wav mpeg25_info.mp3;                      gives_input m11 mpeg25_info.mp3
ffw -i m44.wav -c:a libmp3lame -q:a 6 -id3v2_version 0 ffmpeg_vbr.mp3; gives_input m44 ffmpeg_vbr.mp3

# --- Layer 3 without one ------------------------------------------------------------------------------------------
lamew -t -b 64 --resample 44.1 s44.wav cbr64_no_header.mp3;    layer3 cbr64_no_header.mp3
lamew -t -V 4 -m m m44.wav vbr_no_header.mp3;                  layer3 vbr_no_header.mp3
lamew -b 8 m8.wav mpeg25_8kbit.mp3;                            layer3 mpeg25_8kbit.mp3 # no room for a header
lamew -t -b 32 s24.wav mpeg2_no_header.mp3;                    layer3 mpeg2_no_header.mp3

# --- Layers 2 and 1 -----------------------------------------------------------------------------------------------
twolamew -b 128 s44.wav stereo.mp2;                            layer2 stereo.mp2
twolamew -p -m j -b 96 s48.wav joint_crc.mp2;                  layer2 joint_crc.mp2
twolamew -m d -b 128 s48.wav dual.mp2;                         layer2 dual.mp2
twolamew -b 32 m24.wav mpeg2_mono.mp2;                         layer2 mpeg2_mono.mp2
ffw -i s48.wav -c:a mp2 -b:a 128k ffmpeg.mp2;                  layer2 ffmpeg.mp2
edit layer1 44100 2 14 none "$out/stereo.mp1";                 layer1 stereo.mp1
edit layer1 48000 1 14 none "$out/mono.mp1";                   layer1 mono.mp1
edit layer1 44100 2 14 crc "$out/crc.mp1";                     layer1 crc.mp1

# --- Headers that encoders of today don't write -------------------------------------------------------------------
edit vbri "$out/vbr_no_header.mp3" "$out/vbri.mp3";            layer3 vbri.mp3
edit header "$out/vbr_mono.mp3" text none "$out/xing_without_lame.mp3"; layer3 xing_without_lame.mp3
edit header "$out/mono.mp3" text 01024c414d4580 "$out/garbled_encoder.mp3"; gives_input m44 garbled_encoder.mp3
edit header "$out/mono.mp3" padding 300 "$out/padding_below_decoder_delay.mp3"
expect padding_below_decoder_delay.mp3 1105 $((13 * 1152 - 1105)) count
# The padding stays as it was: what fills 13 frames behind the encoder's delay and the input. Decoders use 529 of it.
edit header "$out/mono.mp3" frames 9 "$out/fewer_frames_told.mp3"
expect fewer_frames_told.mp3 1105 $((9 * 1152 - 1105 - (13 * 1152 - 576 - $(soxi -s m44.wav) - 529))) count
# A header of one frame is none, and its frame, which holds silence, is audio.
edit header "$out/mono.mp3" frames 1 "$out/info_of_one_frame.mp3"
edit poke "$out/mono.mp3" 0 21 00000000 silent_frame_first.mp3
as_decoded=silent_frame_first.mp3 layer3 info_of_one_frame.mp3

# --- Tags before, behind and inside -------------------------------------------------------------------------------
lamew -b 64 -m m --add-id3v2 --id3v2-utf16 --tt Title --ta Artist --tl Album --tn 3/9 m44.wav id3v2_id3v1.mp3
gives_input m44 id3v2_id3v1.mp3
cp "$out/mono.mp3" "$out/apev2.mp3"
mp3gain -q -c -s a -r "$out/apev2.mp3" > /dev/null;            gives_input m44 apev2.mp3
lamew -t -b 64 -m m m44.wav itunsmpb.mp3
/usr/bin/python3 - "$out/itunsmpb.mp3" "$(soxi -s m44.wav)" << 'PYTHON'
import sys
from mutagen.id3 import COMM, ID3
tags, padding = ID3(), 13 * 1152 - 576 - int(sys.argv[2])
text = f" 00000000 {576:08X} {padding:08X} {int(sys.argv[2]):016X}" + " 00000000" * 8
tags.add(COMM(encoding=0, lang="eng", desc="iTunSMPB", text=text))
tags.save(sys.argv[1], v1=0, padding=lambda info: 0)
PYTHON
gives_input m44 itunsmpb.mp3

# --- What is no stream, and damage --------------------------------------------------------------------------------
lame --quiet -t --freeformat -b 160 s24.wav free.mp3
edit cut free.mp3 3000 "$out/free_format.mp3"
edit cut "$out/cbr64_no_header.mp3" 208 one_frame
edit noise 3000 noise
cat one_frame noise > "$out/one_frame_then_noise.mp3"
plain=$out/cbr64_no_header.mp3
edit insert "$plain" 8 noise1500 "$out/garbage_inside.mp3"
edit insert "$plain" 8 "544147$(printf '00%.0s' {1..125})" "$out/id3v1_inside.mp3"
edit poke "$out/crc.mp3" 5 4 0123 one_wrong
edit poke one_wrong 9 4 4567 "$out/wrong_crc.mp3";             gives_input m44 wrong_crc.mp3
edit drop "$out/mono.mp3" 6 9 "$out/frames_missing.mp3"
edit cut "$plain" 3000 "$out/truncated.mp3"
