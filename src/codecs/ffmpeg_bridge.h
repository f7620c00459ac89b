// What this module knows of libavcodec. Linking it costs more than describing a hundred files, so it lies in a module
// of its own, "zel_ffmpeg.so" beside this one, which is loaded when the first decoder is opened.
#pragma once

#include "frame/abort_callback.h"
#include "frame/audio_chunk.h"
#include "frame/exceptions.h"
#include "frame/file_info.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace zelmora {

/// What a decoder is opened with. All but `codec_id` may be left out where the stream itself tells.
struct ffmpeg_setup {
  std::uint32_t codec_id = 0; ///< AVCodecID
  std::span<const std::byte> extradata{};
  std::uint32_t sample_rate = 0; ///< [Hz]
  std::uint32_t channels = 0;
  std::uint32_t bits_per_coded_sample = 0;
  std::uint32_t block_align = 0; ///< [bytes]
  std::uint64_t bit_rate = 0;    ///< [bit/s]
};

/// What a decoder knows of its stream by now; 0, or -1 for the profile, where it doesn't.
struct ffmpeg_stream_facts {
  std::uint32_t sample_rate = 0; ///< [Hz]
  std::uint32_t channels = 0;
  std::uint64_t bit_rate = 0; ///< [bit/s]
  std::uint32_t bits_per_coded_sample = 0;
  std::uint32_t bits_per_raw_sample = 0;
  int profile = -1;
};

/// One open decoder: one thread at a time.
class ffmpeg_decoder {
 public:
  virtual ~ffmpeg_decoder() = default;

  /// Zero bytes that the library wants behind each packet. It gets them here, where packets are copied to a buffer that
  /// it takes a reference to; of memory that it can't, it would make a copy with two allocations more.
  static constexpr std::size_t wanted_padding = 64;

  /// Decodes a packet; an empty one gets out what is still inside. `chunk` is empty when nothing came. Raises
  /// `exception_io_data`, and `exception_ffmpeg_patch_welcome`; decoding may go on afterwards.
  virtual void decode(std::span<const std::byte> packet, audio_chunk& chunk, abort_callback& abort) = 0;
  virtual void reset_after_seek() = 0;

  virtual ffmpeg_stream_facts facts() const = 0;
  /// Sets the fields of the codec: "codec", "codec_profile", "samplerate", "channels", "encoding", "bitspersample".
  virtual void decoded_info(file_info& info) const = 0;
};

/// Cuts a stream of bytes into packets.
class ffmpeg_parser {
 public:
  virtual ~ffmpeg_parser() = default;

  struct result {
    std::size_t used = 0;                ///< bytes of the input that are done with
    std::span<const std::byte> packet{}; ///< empty when more bytes are needed; valid until the next call
  };
  /// No bytes: the stream ends.
  virtual result parse(std::span<const std::byte> data) = 0;
};

class ffmpeg_bridge {
 public:
  virtual std::string version() = 0;
  /// With the library's number of a level of compliance. Raises standard exceptions "ffmpeg: ..." when the library has
  /// no such decoder or can't open it.
  virtual std::unique_ptr<ffmpeg_decoder> open(const ffmpeg_setup& setup, int strictness) = 0;
  /// Null when the library has none for the codec.
  virtual std::unique_ptr<ffmpeg_parser> open_parser(std::uint32_t codec_id) = 0;

 protected:
  ~ffmpeg_bridge() = default;
};

/// The module's bridge, loaded at the first call and never unloaded. Raises `std::runtime_error` when it can't be.
ffmpeg_bridge& load_ffmpeg_bridge();

/// Gives what a decoder has given the rate of the container where the stream doesn't tell one. Raises
/// `exception_io_data` for samples that no stream has, which damaged headers bring about.
void complete_chunk(audio_chunk& chunk, std::uint32_t container_rate);

/// A decoder of that bridge, as compliant as the settings want it.
std::unique_ptr<ffmpeg_decoder> open_ffmpeg_decoder(const ffmpeg_setup& setup);

/// Whether it has been loaded.
bool is_ffmpeg_bridge_loaded() noexcept;

/// The module's one exported function, and the revision of this header that it was made for.
using ffmpeg_bridge_function = ffmpeg_bridge*(unsigned revision);
inline constexpr unsigned ffmpeg_bridge_revision = 3;
inline constexpr const char* ffmpeg_bridge_symbol = "zelmora_ffmpeg_bridge";
inline constexpr const char* ffmpeg_module_name = "zel_ffmpeg.so";

} // namespace zelmora
