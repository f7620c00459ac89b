// Float samples as the bytes of an output format.
#pragma once

#include "cli/options.h"
#include "frame/audio_chunk.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace zelmora::cli {

enum class sample_form { f32, s16, s24, s32 };

sample_form form_of(output_format format);
bool is_wav(output_format format);
/// [bytes] of one sample.
std::uint32_t sample_size(sample_form form);

/// Turns chunks into little-endian bytes. Integers are rounded to nearest, ties to even, and clamped.
class pcm_encoder {
 public:
  explicit pcm_encoder(sample_form form) : form_(form) {}
  /// The bytes stay valid until the next call, and no longer than `samples`.
  std::span<const std::byte> encode(std::span<const audio_sample> samples);

 private:
  sample_form form_;
  std::vector<std::int16_t> words_;
  std::vector<std::int32_t> longs_;
  std::vector<std::byte> packed_;
};

} // namespace zelmora::cli
