// Codecs that a WAVEFORMATEX record names by its format tag: what they are called, and their conversion to samples.
// Tags: RFC 2361, and mmreg.h.
#pragma once

#include "codecs/wave_format.h"
#include "frame/abort_callback.h"
#include "frame/audio_chunk.h"
#include "frame/exceptions.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

namespace zelmora {

/// The uncompressed samples that a codec yields.
struct codec_pcm_form {
  std::uint32_t rate = 0; ///< [Hz]
  std::uint32_t channels = 0;
  std::uint32_t bits = 0; ///< per sample
};

/// How a conversion gets to a sample other than by decoding all that stands before it.
struct codec_seek_rule {
  std::uint32_t block_bytes = 0;   ///< a packet's, where all have one size; else 0
  std::uint32_t block_samples = 0; ///< of such a packet, per channel
  /// Packets before the wanted one from which on all is as in a linear decode; none when nothing less than the whole
  /// way will do.
  std::optional<unsigned> packets_before{};
  std::uint32_t longest_packet = 1152; ///< samples per channel of one of those
};

/// An open conversion: one thread at a time.
class codec_conversion {
 public:
  virtual ~codec_conversion() = default;

  virtual codec_pcm_form form() const = 0;
  virtual codec_seek_rule seek_rule() const = 0;

  /// Readable bytes that `cut` wants behind its data, zeros or not.
  static constexpr std::size_t cut_padding = 64;
  struct packet {
    std::span<const std::byte> bytes{}; ///< valid until the next call; empty when there is none yet
    std::size_t used = 0;               ///< bytes of the data that are done with
    std::uint32_t samples = 0;          ///< per channel, where it is known before it is decoded
  };
  /// The next packet in `data`, which goes on behind what the last call has used; `is_last` when nothing follows it.
  /// Neither bytes nor anything used: it takes more data, or at its end there is no packet more. Where a seek rule
  /// gives packets, a packet's bytes are the last of those used.
  virtual packet cut(std::span<const std::byte> data, bool is_last) = 0;

  /// Decodes a packet; an empty one gets out what is still inside. Raises `exception_io_data`.
  virtual void convert(std::span<const std::byte> packet, audio_chunk& chunk, abort_callback& abort) = 0;

  /// Forgets what came before, cut and converted. What comes next is the start of the data, or of a packet.
  virtual void reset() = 0;
};

/// The manager of such codecs. Cheap to ask: nothing is loaded before `open`.
class codec_manager {
 public:
  virtual ~codec_manager() = default;

  /// The display name of the codec of `format`; empty for one that nobody knows.
  virtual std::string_view get_name(const wave_format& format) const = 0;
  /// What a stream of `format` would yield; none when it can't be decoded.
  virtual std::optional<codec_pcm_form> suggest(const wave_format& format) const = 0;
  /// Raises `exception_io_data`: "Missing ACM codec" when there is no codec for it, "ACM codec could not be
  /// initialized" when it refuses the format.
  virtual std::unique_ptr<codec_conversion> open(const wave_format& format) const = 0;
};

/// The one over libavcodec.
const codec_manager& get_codec_manager();

} // namespace zelmora
