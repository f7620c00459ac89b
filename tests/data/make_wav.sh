#!/bin/bash
# The WAV family. Needs ffmpeg (5.1), sox (14.4), sndfile-programs (1.2), python3. See make.sh.
#
# expected_pcm.tsv: what an independent decoder makes of each file. Columns: file, rate [Hz], channels, frames, MD5 of
# the interleaved 32-bit little-endian float PCM, the decoder. Where several can read a file they are made to agree.
set -euo pipefail
out=$1
tool="$PWD/wav_tool.py"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

ff() { ffmpeg -nostdin -loglevel error -y "$@"; }
# Writers put their version into a file unless they are told to be bit-exact.
ffw() { ff "${@:1:$#-1}" -map_metadata -1 -fflags +bitexact -flags:a +bitexact "${@: -1}"; }
soxw() { sox -R -D "$@"; }

printf '# file\trate\tchannels\tframes\tpcm_md5\tdecoder\n' > "$out/expected_pcm.tsv"
# expect FILE RATE CHANNELS DECODER COMMAND...: the command writes the PCM as 32-bit floats to standard output.
expect() {
  local file=$1 rate=$2 channels=$3 decoder=$4
  shift 4
  "$@" > pcm.f32
  local bytes
  bytes=$(stat -c %s pcm.f32)
  printf '%s\t%s\t%s\t%s\t%s\t%s\n' "$file" "$rate" "$channels" $((bytes / channels / 4)) \
    "$(md5sum < pcm.f32 | cut -d' ' -f1)" "$decoder" >> "$out/expected_pcm.tsv"
}
pcm_ffmpeg() { ff -i "$1" -f f32le -; }
# By way of AU; a float AU of integers would come out scaled to their peak.
sndfile_as() { sndfile-convert "-$1" "$2" out.au > /dev/null && ff -i out.au -f f32le -; }
pcm_sndfile() { sndfile_as pcm32 "$1"; }
pcm_sndfilef() { sndfile_as float64 "$1"; }
pcm_sox() { sox -D "$1" -t f32 -; }
# agree FILE RATE CHANNELS READER...: all readers must give the same samples.
agree() {
  local file=$1 rate=$2 channels=$3 reader
  shift 3
  "pcm_$1" "$out/$file" > first.f32
  for reader in "$@"; do
    "pcm_$reader" "$out/$file" > other.f32
    cmp -s first.f32 other.f32 || { echo "$file: $1 and $reader disagree" >&2; exit 1; }
  done
  expect "$file" "$rate" "$channels" "$(IFS=+; echo "$*")" cat first.f32
}
# head_of FILE FRAMES BYTES_PER_FRAME: the first frames of what ffmpeg decodes from an intact file.
head_of() { pcm_ffmpeg "$1" > whole.f32 && head -c $(($2 * $3)) whole.f32; }

# --- Sources: two blocks of 1024 frames and a bit, all 32 bits of a sample in use ---------------------------------
soxw -r 44100 -n -b 32 -e signed source2.wav synth 2101s sine 997 triangle 641 gain -3
soxw -r 44100 -n -b 32 -e signed source1.wav synth 2101s sine 300-9000 gain -1
soxw -r 48000 -n -b 32 -e signed source6.wav synth 1300s sine 200 sine 310 sine 430 sine 50 sine 610 sine 770 gain -3
soxw -r 48000 -n -b 32 -e signed source8.wav synth 1300s sine 200 sine 310 sine 430 sine 50 sine 610 sine 770 sine 890 sine 1010 gain -3

for n in 1 2; do ffw -i source$n.wav -c:a pcm_f32le float$n.wav; done

# --- RIFF, every width ------------------------------------------------------------------------------------------
ffw -i source2.wav -c:a pcm_u8 "$out/u8.wav";           agree u8.wav 44100 2 ffmpeg sndfile sox
ffw -i source2.wav -c:a pcm_s16le "$out/s16.wav";       agree s16.wav 44100 2 ffmpeg sndfile sox
ffw -i source2.wav -c:a pcm_s24le "$out/s24.wav";       agree s24.wav 44100 2 ffmpeg sndfile sox
ffw -i source2.wav -c:a pcm_s32le "$out/s32.wav";       agree s32.wav 44100 2 ffmpeg sndfile
ffw -i source2.wav -c:a pcm_f32le "$out/f32.wav";       agree f32.wav 44100 2 ffmpeg sndfilef
ffw -i source2.wav -c:a pcm_f64le "$out/f64.wav";       agree f64.wav 44100 2 ffmpeg sndfilef
soxw source1.wav -b 16 -e signed "$out/s16_mono_sox.wav";         agree s16_mono_sox.wav 44100 1 ffmpeg sndfile sox
soxw source2.wav -b 24 -e signed "$out/s24_sox_extensible.wav";   agree s24_sox_extensible.wav 44100 2 ffmpeg sndfile sox
sndfile-convert -float32 float1.wav peak.wav > /dev/null
python3 "$tool" poke peak.wav 60 00000000 "$out/f32_sndfile.wav"; agree f32_sndfile.wav 44100 1 ffmpeg sndfilef
# The time stamp in the PEAK chunk above is the time of writing. No encoder writes the next two; the samples are rounded, and expanded again, by Python's struct module.
python3 "$tool" float16 float2.wav "$out/f16.wav";     expect f16.wav 44100 2 python python3 "$tool" decode "$out/f16.wav"
python3 "$tool" float24 float2.wav "$out/f24.wav";     expect f24.wav 44100 2 python python3 "$tool" decode "$out/f24.wav"

# --- Channels ---------------------------------------------------------------------------------------------------
ffw -i source6.wav -af 'channelmap=0|1|2|3|4|5:5.1' -c:a pcm_s16le "$out/s16_51.wav";       agree s16_51.wav 48000 6 ffmpeg sndfile sox
ffw -i source6.wav -af 'channelmap=0|1|2|3|4|5:5.1(side)' -c:a pcm_s16le "$out/s16_51_side.wav"; agree s16_51_side.wav 48000 6 ffmpeg sndfile sox
ffw -i source8.wav -af 'channelmap=0|1|2|3|4|5|6|7:7.1' -c:a pcm_s24le "$out/s24_71.wav";       agree s24_71.wav 48000 8 ffmpeg sndfile sox
python3 "$tool" valid_bits "$out/s24_sox_extensible.wav" "$out/s20_in_24.wav" 20; agree s20_in_24.wav 44100 2 ffmpeg sndfile
python3 "$tool" mask "$out/s16_51.wav" "$out/mask_of_two_for_six_channels.wav" 3; expect mask_of_two_for_six_channels.wav 48000 6 ffmpeg head_of "$out/s16_51.wav" 1300 24
python3 "$tool" many_channels "$out/s16_40_channels.wav" 40; expect s16_40_channels.wav 44100 40 python python3 "$tool" decode "$out/s16_40_channels.wav"

# --- RF64 and Wave64 --------------------------------------------------------------------------------------------
ffw -i source2.wav -c:a pcm_s16le -rf64 always "$out/rf64.wav";  agree rf64.wav 44100 2 ffmpeg sndfile
sndfile-convert -pcm24 source1.wav "$out/rf64_sndfile.rf64" > /dev/null; agree rf64_sndfile.rf64 44100 1 ffmpeg sndfile
ffw -i source2.wav -c:a pcm_s16le "$out/wave64.w64";             agree wave64.w64 44100 2 ffmpeg sndfile sox
soxw source1.wav -b 24 -e signed "$out/wave64_sox.w64";          agree wave64_sox.w64 44100 1 ffmpeg sndfile sox
sndfile-convert -float32 float2.wav "$out/wave64_sndfile.w64" > /dev/null; agree wave64_sndfile.w64 44100 2 ffmpeg sndfilef

# --- Streams whose writer could not go back to the header ------------------------------------------------------
ffw -i source2.wav -c:a pcm_s16le -f wav - | cat > "$out/piped_ffmpeg.wav";   expect piped_ffmpeg.wav 44100 2 ffmpeg pcm_ffmpeg "$out/piped_ffmpeg.wav"
ffw -i source2.wav -c:a pcm_f32le -f wav - | cat > "$out/piped_float.wav";    expect piped_float.wav 44100 2 ffmpeg pcm_ffmpeg "$out/piped_float.wav"
soxw source1.wav -t s16 - | soxw -t s16 -r 44100 -c 1 - -t wav - 2> /dev/null | cat > "$out/piped_sox.wav"; expect piped_sox.wav 44100 1 ffmpeg pcm_ffmpeg "$out/piped_sox.wav"
ffw -i source2.wav -c:a pcm_s16le -f w64 - | cat > "$out/piped_wave64.w64";   expect piped_wave64.w64 44100 2 ffmpeg-on-s16.wav head_of "$out/s16.wav" 2101 8 # ffmpeg refuses its own

# --- Codecs without a decoder of ours yet: described only -----------------------------------------------------
ffw -i source1.wav -c:a adpcm_ima_wav "$out/ima_adpcm.wav"
ffw -i source1.wav -c:a adpcm_ms "$out/ms_adpcm.wav"
ffw -i source1.wav -c:a pcm_mulaw "$out/mulaw.wav"

# --- Damaged, each from a valid file, named by its defect --------------------------------------------------------
# base: 1100 frames of 8 kHz mono 16-bit: 44 bytes of header, 2200 of data.
soxw -r 8000 -n -b 16 -e signed -c 1 base.wav synth 1100s sine 100-3000 gain -1
cp base.wav "$out/base.wav"; agree base.wav 8000 1 ffmpeg sndfile sox
ffw -i base.wav -c:a pcm_s16le base.w64
ffw -i base.wav -c:a pcm_s16le -rf64 always base_rf64.wav
broken() { # broken NAME FRAMES RECIPE...: frames that must still play, 0 for none
  local name=$1 frames=$2
  shift 2
  python3 "$tool" "$@" "$out/$name"
  [ "$frames" = 0 ] || expect "$name" 8000 1 ffmpeg-on-base head_of base.wav "$frames" 4
}
broken data_truncated.wav          600 cut base.wav 1244
broken data_truncated_in_frame.wav 599 cut base.wav 1243
broken data_size_zero.wav          1100 poke base.wav 40 00000000
broken sizes_zero.wav              1100 poke base.wav 40 00000000 4 00000000
broken sizes_of_an_empty_file.wav     1100 poke base.wav 40 00000000 4 24000000
broken sizes_all_ones.wav          1100 poke base.wav 40 ffffffff 4 ffffffff
broken data_size_4_gib_in_100_bytes.wav 28 poke base.wav 40 f0ffffff 4 ffffffff cut 100
broken riff_size_too_small.wav     500 poke base.wav 4 0c040000
broken odd_list_before_data.wav    1100 insert base.wav 36 LIST 494e464f4953465402000000783000 pad
broken odd_chunk_without_pad.wav   0   insert base.wav 36 LIST 494e464f4953465402000000783000
broken garbage_after_data.wav      1100 append base.wav 7f454c46ffffff7f00010203 riff
broken stub_after_data.wav         1100 append base.wav 646174 riff
broken garbage_outside_riff.wav    1100 append base.wav 5441470000000000000000000000000000000000
broken fmt_after_data.wav          1100 fmt_last base.wav
broken fmt_of_17_bytes.wav         0   fmt_size base.wav 17
broken fmt_of_18_bytes.wav         1100 fmt_size base.wav 18
broken fmt_of_2_mib.wav            0   poke base.wav 16 00002000
broken fmt_extra_size_too_large.wav 1100 fmt_size base.wav 18 ffff
broken extensible_too_short.wav    0   fmt_size base.wav 18 0000 feff
broken no_fmt.wav                  0   poke base.wav 12 4a554e4b
broken no_data.wav                 0   poke base.wav 36 4a554e4b
broken channels_0.wav              0   poke base.wav 22 0000
broken channels_257.wav            0   poke base.wav 22 0101
broken rate_999.wav                0   poke base.wav 24 e7030000
broken rate_20000001.wav           0   poke base.wav 24 012d3101
broken average_bytes_0.wav         0   poke base.wav 28 00000000
broken block_align_0.wav           0   poke base.wav 32 0000
broken block_align_4_for_mono_16.wav 0 poke base.wav 32 0400
broken bits_12.wav                 0   poke base.wav 34 0c00
broken rf64_without_ds64.wav       0   poke base.wav 0 52463634 4 ffffffff
broken rf64_ds64_too_short.wav     0   poke base_rf64.wav 16 0f000000
broken rf64_ds64_data_size_all_ones.wav 0 poke base_rf64.wav 28 ffffffffffffffff
broken rf64_riff_size_0.wav        0   poke base_rf64.wav 20 0000000000000000
broken rf64_truncated.wav          600 cut base_rf64.wav 1280
broken rf64_never_closed.wav       1100 poke base_rf64.wav 28 0000000000000000
broken wave64_chunk_size_23.w64    0   poke base.w64 56 1700000000000000
broken wave64_wrong_guid.w64       0   poke base.w64 8 00
broken wave64_truncated.w64        600 cut_data base.w64 600
broken wave64_data_size_wraps.w64  1100 wave64_data_size base.w64 f8ffffffffffffff
broken fact_caps_output.wav        900 insert base.wav 36 fact 84030000
# The sample count that the writer left no longer holds: 1000 of 2101 frames are there.
python3 "$tool" cut "$out/f32.wav" 8080 "$out/f32_truncated.wav"; expect f32_truncated.wav 44100 2 ffmpeg-on-f32.wav head_of "$out/f32.wav" 1000 8

# expected_info.tsv: what ffprobe says of the files that it reads as they are meant. Columns: file, its codec name, rate
# [Hz], channels, channel layout, bits per sample.
printf '# file\tcodec\trate\tchannels\tlayout\tbits\n' > "$out/expected_info.tsv"
for file in u8.wav s16.wav s24.wav s32.wav f32.wav f64.wav s16_mono_sox.wav s24_sox_extensible.wav f32_sndfile.wav \
  s16_51.wav s16_51_side.wav s24_71.wav rf64.wav rf64_sndfile.rf64 wave64.w64 wave64_sox.w64 wave64_sndfile.w64 \
  piped_ffmpeg.wav piped_float.wav piped_sox.wav data_truncated.wav data_size_zero.wav ima_adpcm.wav; do
  printf '%s\t%s\n' "$file" "$(ffprobe -loglevel error -of csv=p=0:s=, -show_entries \
    stream=codec_name,sample_rate,channels,bits_per_sample,channel_layout "$out/$file" | tr ',' '\t')" >> "$out/expected_info.tsv"
done
