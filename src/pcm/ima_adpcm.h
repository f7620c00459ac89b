// IMA ADPCM as WAV files hold it: blocks that stand each for itself.
// Source: IMA Digital Audio Focus and Technical Working Groups, "Recommended Practices for Enhancing Digital Audio
// Compatibility in Multimedia Systems", 3.00 (1992); the blocks are those of mmreg.h, WAVE_FORMAT_DVI_ADPCM.
#pragma once

#include "codecs/wave_format.h"
#include "frame/audio_chunk.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace zelmora {

class ima_adpcm {
 public:
  /// Raises `exception_io_data` for formats that no block can have.
  explicit ima_adpcm(const wave_format& format);

  std::uint32_t rate() const noexcept { return rate_; }
  std::uint32_t block_size() const noexcept { return block_size_; }
  /// Per channel, of a whole block.
  std::uint32_t samples_per_block() const noexcept { return samples_per_block_; }
  /// Per channel, of so many bytes of blocks; the last may be cut.
  std::uint64_t count_samples(std::uint64_t bytes) const noexcept;

  /// Decodes one block, the last of a stream may be shorter. Raises `exception_io_data` for sizes that no block has.
  void decode(std::span<const std::byte> block, audio_chunk& chunk) const;

 private:
  std::uint32_t header_size() const noexcept { return 4 * channels_; }

  std::uint32_t rate_; ///< [Hz]
  std::uint32_t channels_;
  std::uint32_t block_size_; ///< [bytes]
  std::uint32_t samples_per_block_;
};

} // namespace zelmora
