#include "ima_check.h"

#include "pcm/ima_adpcm.h"
#include "verdict.h"

#include <algorithm>
#include <cmath>

namespace zelmora::fuzz {

using zelmora_io::exception_io_data;

namespace {

constexpr std::size_t record_size = 20;

/// The samples of a block per channel; 0 for one that is refused.
std::size_t decode_block(const ima_adpcm& codec, std::span<const std::byte> block, std::uint32_t channels) {
  audio_chunk_impl chunk;
  try {
    codec.decode(block, chunk);
  } catch (const exception_io_data&) {
    return 0;
  }
  if (!chunk.is_valid() && channels <= audio_chunk::max_channels) throw violation{"an invalid chunk"};
  if (chunk.get_channels() != channels || chunk.get_srate() != codec.rate()) throw violation{"another format"};
  if (!std::ranges::all_of(chunk.samples(), [](audio_sample s) { return std::abs(s) <= 1; }))
    throw violation{"a sample beyond full scale"};
  return chunk.get_sample_count();
}

void check_blocks(const ima_adpcm& codec, const wave_format& format, std::span<const std::byte> blocks) {
  const std::uint32_t header = 4u * format.channels;
  // Formats of other sizes are counted by what they claim.
  const bool is_regular = format.bits == 4 && (codec.block_size() - header) % header == 0;
  std::uint64_t samples = 0;
  for (auto rest = blocks; !rest.empty();) {
    const auto block = rest.first(std::min<std::size_t>(codec.block_size(), rest.size()));
    rest = rest.subspan(block.size());
    const auto count = decode_block(codec, block, format.channels);
    if (is_regular && block.size() == codec.block_size() && count != codec.samples_per_block())
      throw violation{"a whole block of another count"};
    samples += count;
  }
  if (is_regular && codec.count_samples(blocks.size()) != samples) throw violation{"the count isn't that of decoding"};
}

} // namespace

std::string check_ima(std::span<const std::byte> data) {
  return verdict_of([&] {
    const auto record = data.first(std::min(data.size(), record_size));
    try {
      const auto format = parse_wave_format(record);
      check_blocks(ima_adpcm(format), format, data.subspan(record.size()));
    } catch (const exception_io_data&) {
      // No format of such blocks.
    }
  });
}

} // namespace zelmora::fuzz
