#include "pcm/ima_adpcm.h"

#include "frame/bytes.h"
#include "frame/exceptions.h"

#include <algorithm>
#include <array>

namespace zelmora {

using zelmora_io::exception_io_data;

namespace {

constexpr std::array<std::int16_t, 89> step_sizes{
    7,    8,     9,     10,    11,    12,    13,    14,    16,    17,    19,    21,    23,    25,   28,
    31,   34,    37,    41,    45,    50,    55,    60,    66,    73,    80,    88,    97,    107,  118,
    130,  143,   157,   173,   190,   209,   230,   253,   279,   307,   337,   371,   408,   449,  494,
    544,  598,   658,   724,   796,   876,   963,   1060,  1166,  1282,  1411,  1552,  1707,  1878, 2066,
    2272, 2499,  2749,  3024,  3327,  3660,  4026,  4428,  4871,  5358,  5894,  6484,  7132,  7845, 8630,
    9493, 10442, 11487, 12635, 13899, 15289, 16818, 18500, 20350, 22385, 24623, 27086, 29794, 32767};
constexpr std::array<std::int8_t, 16> index_steps{-1, -1, -1, -1, 2, 4, 6, 8, -1, -1, -1, -1, 2, 4, 6, 8};

constexpr std::size_t group_size = 4; ///< of one channel's data, turn by turn [bytes]
constexpr unsigned nibbles_per_group = 8;
constexpr audio_sample full_scale = 32768;

/// One channel within a block.
class predictor {
 public:
  predictor(std::int16_t first, unsigned index)
      : value_(first), index_(static_cast<int>(std::min<std::size_t>(index, step_sizes.size() - 1))) {}

  audio_sample sample() const noexcept { return static_cast<audio_sample>(value_) / full_scale; }

  audio_sample next(unsigned nibble) noexcept {
    const int step = step_sizes[static_cast<std::size_t>(index_)];
    int difference = step / 8;
    if ((nibble & 4u) != 0) difference += step;
    if ((nibble & 2u) != 0) difference += step / 2;
    if ((nibble & 1u) != 0) difference += step / 4;
    if ((nibble & 8u) != 0) difference = -difference;
    value_ = std::clamp(value_ + difference, -32768, 32767);
    index_ = std::clamp(index_ + index_steps[nibble], 0, static_cast<int>(step_sizes.size()) - 1);
    return sample();
  }

 private:
  int value_;
  int index_;
};

} // namespace

ima_adpcm::ima_adpcm(const wave_format& format)
    : rate_(format.rate), channels_(format.channels), block_size_(format.block_align) {
  if (rate_ == 0 || format.bits == 0 || channels_ == 0 || block_size_ <= header_size()) throw exception_io_data();
  samples_per_block_ = (block_size_ - header_size()) * 8 / (format.bits * channels_) + 1;
}

std::uint64_t ima_adpcm::count_samples(std::uint64_t bytes) const noexcept {
  const auto rest = bytes % block_size_;
  const auto whole = bytes / block_size_ * samples_per_block_;
  if (rest <= header_size() || (rest - header_size()) % (group_size * channels_) != 0) return whole;
  return whole + (rest - header_size()) * 2 / channels_ + 1;
}

void ima_adpcm::decode(std::span<const std::byte> block, audio_chunk& chunk) const {
  if (block.size() <= header_size() || (block.size() - header_size()) % (group_size * channels_) != 0)
    throw exception_io_data();
  const auto groups = (block.size() - header_size()) / (group_size * channels_);
  const auto samples = groups * nibbles_per_group + 1;
  chunk.set_data_size(samples * channels_);
  chunk.set_srate(rate_);
  chunk.set_channels(channels_, channel_config_guess(channels_));
  chunk.set_sample_count(samples);
  const auto data = block.subspan(header_size());
  for (std::size_t c = 0; c < channels_; ++c) {
    const auto header = block.subspan(4 * c, 4);
    predictor state(load_le<std::int16_t>(header.data()), std::to_integer<unsigned>(header[2]));
    auto* out = chunk.get_data() + c;
    *out = state.sample();
    for (std::size_t g = 0; g < groups; ++g) {
      auto bits = load_le<std::uint32_t>(data.data() + (g * channels_ + c) * group_size);
      for (unsigned n = 0; n < nibbles_per_group; ++n, bits >>= 4) *(out += channels_) = state.next(bits & 15u);
    }
  }
}

} // namespace zelmora
