#include "cli/pcm_output.h"

#include "frame/bytes.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace zelmora::cli {

sample_form form_of(output_format format) {
  switch (format) {
  case output_format::wav_s16:
  case output_format::s16: return sample_form::s16;
  case output_format::wav_s24:
  case output_format::s24: return sample_form::s24;
  case output_format::wav_s32:
  case output_format::s32: return sample_form::s32;
  case output_format::wav_float:
  case output_format::f32: break;
  }
  return sample_form::f32;
}

bool is_wav(output_format format) { return format <= output_format::wav_s32; }

std::uint32_t sample_size(sample_form form) {
  switch (form) {
  case sample_form::s16: return 2;
  case sample_form::s24: return 3;
  case sample_form::s32:
  case sample_form::f32: break;
  }
  return 4;
}

namespace {

/// `values` as little-endian bytes: as they stand where that is the machine's own order.
template <class T>
std::span<const std::byte> little_endian_bytes(std::span<const T> values, std::vector<std::byte>& room) {
  if constexpr (std::endian::native == std::endian::little) return std::as_bytes(values);
  room.resize(values.size_bytes());
  for (std::size_t i = 0; i < values.size(); ++i) store_le(room.data() + i * sizeof(T), values[i]);
  return room;
}

void pack_24(std::span<const audio_sample> samples, std::vector<std::byte>& out) {
  out.resize(samples.size() * 3);
  auto* byte = out.data();
  for (const auto sample : samples) {
    const auto value =
        static_cast<std::uint32_t>(std::lrintf(std::clamp(sample * 8388608.0f, -8388608.0f, 8388607.0f)));
    *byte++ = static_cast<std::byte>(value & 0xFF);
    *byte++ = static_cast<std::byte>((value >> 8) & 0xFF);
    *byte++ = static_cast<std::byte>((value >> 16) & 0xFF);
  }
}

} // namespace

std::span<const std::byte> pcm_encoder::encode(std::span<const audio_sample> samples) {
  switch (form_) {
  case sample_form::s16:
    words_.resize(samples.size());
    audio_math::convert_to_int16(samples, words_.data(), 1.0f);
    return little_endian_bytes(std::span<const std::int16_t>(words_), packed_);
  case sample_form::s24: pack_24(samples, packed_); return packed_;
  case sample_form::s32:
    longs_.resize(samples.size());
    audio_math::convert_to_int32(samples, longs_.data(), 1.0f);
    return little_endian_bytes(std::span<const std::int32_t>(longs_), packed_);
  case sample_form::f32: break;
  }
  return little_endian_bytes(samples, packed_);
}

} // namespace zelmora::cli
