#include "codecs/ffmpeg/frame_samples.h"

#include <algorithm>
#include <stdexcept>

namespace zelmora {

namespace {

template <class Sample>
constexpr float scale = 1;
template <>
constexpr float scale<std::int16_t> = 1.0f / 32768;
template <>
constexpr float scale<std::int32_t> = 1.0f / 2147483648;

template <class Sample>
audio_sample convert(Sample value) {
  return static_cast<audio_sample>(value) * scale<Sample>;
}
template <>
audio_sample convert(float value) {
  return value;
}

template <class Sample>
void copy_interleaved(const AVFrame& frame, std::size_t channels, audio_sample* out) {
  const auto* const in = reinterpret_cast<const Sample*>(frame.extended_data[0]);
  std::transform(in, in + static_cast<std::size_t>(frame.nb_samples) * channels, out, convert<Sample>);
}

template <class Sample>
void copy_planar(const AVFrame& frame, std::size_t channels, audio_sample* __restrict out) {
  const auto samples = static_cast<std::size_t>(frame.nb_samples);
  if (channels == 2) { // The usual case, in a form that compilers turn into vector instructions.
    const auto* const __restrict left = reinterpret_cast<const Sample*>(frame.extended_data[0]);
    const auto* const __restrict right = reinterpret_cast<const Sample*>(frame.extended_data[1]);
    for (std::size_t i = 0; i < samples; ++i) {
      out[2 * i] = convert(left[i]);
      out[2 * i + 1] = convert(right[i]);
    }
    return;
  }
  for (std::size_t c = 0; c < channels; ++c) {
    const auto* const in = reinterpret_cast<const Sample*>(frame.extended_data[c]);
    for (std::size_t i = 0; i < samples; ++i) out[i * channels + c] = convert(in[i]);
  }
}

} // namespace

std::uint32_t channel_mask_of(const AVChannelLayout& layout) {
  const auto channels = static_cast<std::uint32_t>(std::max(layout.nb_channels, 0));
  const auto mask = layout.order == AV_CHANNEL_ORDER_NATIVE ? layout.u.mask : 0;
  // The lower 18 speakers are those of WAVEFORMATEXTENSIBLE, with the same bits.
  const auto wave_mask = static_cast<std::uint32_t>(mask);
  return mask == wave_mask && channel_config_count(wave_mask) == channels ? wave_mask : channel_config_guess(channels);
}

ffmpeg_format ffmpeg_frame_format(const AVFrame& frame) {
  return {static_cast<std::uint32_t>(std::max(frame.sample_rate, 0)),
          static_cast<std::uint32_t>(std::max(frame.ch_layout.nb_channels, 0)), channel_mask_of(frame.ch_layout)};
}

void ffmpeg_frame_to_float(const AVFrame& frame, audio_sample* out) {
  const auto channels = static_cast<std::size_t>(frame.ch_layout.nb_channels);
  switch (frame.format) {
  case AV_SAMPLE_FMT_S16: return copy_interleaved<std::int16_t>(frame, channels, out);
  case AV_SAMPLE_FMT_S32: return copy_interleaved<std::int32_t>(frame, channels, out);
  case AV_SAMPLE_FMT_FLT: return copy_interleaved<float>(frame, channels, out);
  case AV_SAMPLE_FMT_S16P: return copy_planar<std::int16_t>(frame, channels, out);
  case AV_SAMPLE_FMT_S32P: return copy_planar<std::int32_t>(frame, channels, out);
  case AV_SAMPLE_FMT_FLTP: return copy_planar<float>(frame, channels, out);
  default: throw std::runtime_error("Unexpected sample format");
  }
}

} // namespace zelmora
