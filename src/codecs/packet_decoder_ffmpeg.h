// What the packet decoders over libavcodec have in common.
#pragma once

#include "codecs/ffmpeg_bridge.h"
#include "codecs/packet_decoder.h"

#include <memory>
#include <span>
#include <string_view>
#include <vector>

namespace zelmora {

/// How far back a decoder has to begin for its samples to be right.
struct packet_dependency {
  unsigned frames = 0;
  double seconds = 0;
};

/// A codec's class derives from this, opens it, and adds its own fields to `get_info`.
class packet_decoder_ffmpeg : public packet_decoder {
 public:
  std::uint64_t set_stream_property(const guid& property, std::uint64_t value, const void* ptr,
                                    std::size_t size) override;
  void get_info(file_info& info) override;
  unsigned get_max_frame_dependency() override { return dependency_.frames; }
  double get_max_frame_dependency_time() override { return dependency_.seconds; }
  void reset_after_seek() override;
  void decode(const void* data, std::size_t size, audio_chunk& chunk, abort_callback& abort) override;
  bool analyze_first_frame_supported() override { return true; }
  void analyze_first_frame(const void* data, std::size_t size, abort_callback& abort) override;

 protected:
  explicit packet_decoder_ffmpeg(packet_dependency dependency) : dependency_(dependency) {}

  /// Opens the library's decoder: now, or when `decode` is false with the first packet that comes all the same. Until
  /// then what `setup` says is all that is known.
  void open_codec(bool decode, const ffmpeg_setup& setup);
  /// The packet in the form that the library takes; as it is by default.
  virtual std::span<const std::byte> prepare(std::span<const std::byte> packet) { return packet; }

  ffmpeg_stream_facts facts() const;

 private:
  std::unique_ptr<ffmpeg_decoder> decoder_; ///< null until it is needed
  ffmpeg_setup setup_;
  std::vector<std::byte> extradata_; ///< of the setup
  packet_dependency dependency_;
  std::uint32_t container_rate_ = 0; ///< [Hz]
};

} // namespace zelmora
