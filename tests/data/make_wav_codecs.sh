#!/bin/bash
# WAV files of other codecs than PCM, and what independent decoders make of them. Needs ffmpeg (5.1), SoX 14.4.2 with
# libsox-fmt-all, and md5sum. See make.sh.
#
# expected_pcm.tsv: file, rate, channels, frames, MD5 of the little-endian 32-bit float samples, the decoder. IMA ADPCM is
# SoX's: ffmpeg's decoder rounds in another way than the recommendation. MPEG frames are decoded without what ffmpeg trims.
set -euo pipefail
out=$1
cd "$out"
rm -f ./*
signal() { echo "aevalsrc=0.4*sin(2*PI*440*t)+0.2*sin(2*PI*900*t*t):s=$1:d=$2"; }
encode() { # encode FILE RATE SECONDS CHANNELS ARGUMENTS...
  local file=$1 source
  source=$(signal "$2" "$3")
  local channels=$4
  shift 4
  ffmpeg -nostdin -v error -y -f lavfi -i "$source" -ac "$channels" -bitexact "$@" "$file"
}
expect() { # expect FILE RATE CHANNELS DECODER < PCM
  local md5 size
  tee pcm.tmp > /dev/null
  md5=$(md5sum < pcm.tmp | cut -d' ' -f1)
  size=$(stat -c %s pcm.tmp)
  printf '%s\t%s\t%s\t%s\t%s\t%s\n' "$1" "$2" "$3" "$((size / 4 / $3))" "$md5" "$4" >> expected_pcm.tsv
  rm pcm.tmp
}
by_ffmpeg() { # by_ffmpeg FILE RATE CHANNELS
  ffmpeg -nostdin -v error -threads 1 -flags2 +skip_manual -i "$1" -f f32le - | expect "$1" "$2" "$3" ffmpeg
}
by_ffmpeg_up_to_fact() { # the frames that the "fact" chunk counts
  local at count
  at=$(grep -abo fact "$1" | head -n 1 | cut -d: -f1)
  count=$(od -An -tu4 -j $((at + 8)) -N 4 "$1")
  ffmpeg -nostdin -v error -threads 1 -flags2 +skip_manual -request_sample_fmt flt -i "$1" -f f32le - |
    head -c $((count * 4 * $3)) | expect "$1" "$2" "$3" "ffmpeg, as far as fact counts"
}
by_sox() { sox -D "$1" -t f32 - | expect "$1" "$2" "$3" sox; }

encode ima_mono.wav 22050 0.4 1 -c:a adpcm_ima_wav;     by_sox ima_mono.wav 22050 1
encode ima_stereo.wav 44100 0.2 2 -c:a adpcm_ima_wav;   by_sox ima_stereo.wav 44100 2
encode ms_mono.wav 22050 0.4 1 -c:a adpcm_ms;           by_ffmpeg ms_mono.wav 22050 1
encode ms_stereo.wav 44100 0.2 2 -c:a adpcm_ms;         by_ffmpeg ms_stereo.wav 44100 2
encode alaw.wav 8000 0.5 2 -c:a pcm_alaw;               by_ffmpeg alaw.wav 8000 2
encode mulaw.wav 8000 0.5 1 -c:a pcm_mulaw;             by_ffmpeg mulaw.wav 8000 1
encode gsm.wav 8000 1 1 -c:a libgsm_ms;                 by_ffmpeg gsm.wav 8000 1
encode g726.wav 8000 0.5 1 -c:a g726 -b:a 32k;          by_ffmpeg g726.wav 8000 1
encode g722.wav 16000 0.3 1 -c:a adpcm_g722;            by_ffmpeg g722.wav 16000 1
encode mp3.wav 44100 1 2 -c:a libmp3lame -b:a 96k;      by_ffmpeg_up_to_fact mp3.wav 44100 2
encode mp3_low_rate.wav 16000 1 1 -c:a libmp3lame -b:a 24k; by_ffmpeg_up_to_fact mp3_low_rate.wav 16000 1
encode mp3_lowest_rate.wav 24000 2 2 -c:a libmp3lame -b:a 8k; by_ffmpeg_up_to_fact mp3_lowest_rate.wav 24000 2
encode ac3.wav 48000 0.3 2 -c:a ac3 -b:a 96k;           by_ffmpeg ac3.wav 48000 2
