// Writing WAV files, and RF64 where 32-bit sizes don't do.
// RIFF/WAVE: "Multimedia Programming Interface and Data Specifications 1.0", WAVEFORMATEXTENSIBLE: Microsoft's mmreg;
// RF64: EBU Tech 3306.
#pragma once

#include "cli/byte_sink.h"
#include "cli/pcm_output.h"

#include <cstdint>
#include <optional>

namespace zelmora::cli {

struct wav_format {
  std::uint32_t rate = 0; ///< [Hz]
  std::uint32_t channels = 0;
  std::uint32_t mask = 0; ///< as many bits as channels, or 0
  sample_form form = sample_form::f32;
};

/// Writes the header at once, so that a stream begins with the sizes that are expected. `finish` puts the real ones in
/// where the sink can be patched.
class wav_writer {
 public:
  /// Expected sizes above this get a place reserved for those of RF64 [bytes].
  static constexpr std::uint64_t reserve_limit = std::uint64_t{1} << 30;

  /// `expected_samples`, per channel, is nothing when the length is not known.
  wav_writer(byte_sink& sink, const wav_format& format, std::optional<std::uint64_t> expected_samples);

  /// Whole frames.
  void write(std::span<const std::byte> data);
  /// Pads and corrects. False when the header stands with sizes that are not those written, and can't be mended: a pipe
  /// whose stream was not as long as it said.
  bool finish();

 private:
  struct sizes;

  std::vector<std::byte> make_header(const sizes& told) const;
  sizes sizes_of(std::uint64_t data_bytes) const;
  bool is_extensible() const;

  byte_sink& sink_;
  wav_format format_;
  std::uint32_t frame_size_;
  bool reserves_ = false;
  std::optional<std::uint64_t> expected_bytes_;
  std::uint64_t written_ = 0; ///< [bytes] of samples
};

} // namespace zelmora::cli
