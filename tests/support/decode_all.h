// Reads an input to its end, and says what came out in a form that can be compared.
#pragma once

#include "frame/input.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace zelmora::test {

/// What a decoder gave from one position to the end.
struct decoded_audio {
  std::uint32_t rate = 0; ///< [Hz], with the next two that of the first chunk
  std::uint32_t channels = 0;
  std::uint32_t mask = 0;
  bool changes_format = false;       ///< a later chunk had another rate, channel count or mask
  std::size_t rejected_chunks = 0;   ///< chunks that a host rejects
  std::vector<audio_sample> samples; ///< interleaved

  std::size_t frames() const { return channels == 0 ? 0 : samples.size() / channels; }
  /// The frames from `first` on.
  std::span<const audio_sample> from(std::size_t first) const { return std::span(samples).subspan(first * channels); }
};

/// Runs the initialised `decoder` until it says that there is no more; an endless one raises a standard exception.
decoded_audio decode_to_end(input_decoder& decoder, abort_callback& abort);

/// MD5 of the little-endian float PCM, as hexadecimal digits.
std::string pcm_md5(std::span<const audio_sample> samples);

/// Keeps what an input logs, as "severity: text".
class recording_logger : public event_logger {
 public:
  void log_entry(std::string_view text, unsigned severity) override;
  const std::vector<std::string>& entries() const { return entries_; }

 private:
  std::vector<std::string> entries_;
};

} // namespace zelmora::test
