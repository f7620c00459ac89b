// The samples of libavcodec's frames as ours.
#pragma once

#include "codecs/ffmpeg/library.h"
#include "frame/audio_chunk.h"

#include <cstdint>

namespace zelmora {

struct ffmpeg_format {
  std::uint32_t sample_rate = 0; ///< [Hz]
  std::uint32_t channels = 0;
  std::uint32_t channel_mask = 0;
  friend bool operator==(const ffmpeg_format&, const ffmpeg_format&) = default;
};

/// The mask of `layout` when it names a speaker for each channel, else the usual one of the channel count.
std::uint32_t channel_mask_of(const AVChannelLayout& layout);

ffmpeg_format ffmpeg_frame_format(const AVFrame& frame);

/// Writes the frame's samples, interleaved, to `out`, which has room for them. Raises `std::runtime_error` for sample
/// formats that no audio decoder here gives.
void ffmpeg_frame_to_float(const AVFrame& frame, audio_sample* out);

} // namespace zelmora
