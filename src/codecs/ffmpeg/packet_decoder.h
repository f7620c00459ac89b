// One open decoder of libavcodec: packets in, chunks out.
#pragma once

#include "codecs/ffmpeg/frame_samples.h"
#include "codecs/ffmpeg/library.h"
#include "codecs/ffmpeg_bridge.h"

#include <vector>

namespace zelmora {

/// Frames received and not yet copied; their slots are used again.
struct ffmpeg_decoder_state {
  std::vector<av_ptr<AVFrame>> slots;
  std::size_t used = 0;

  /// A slot for the next frame.
  AVFrame& next();
  void clear() noexcept;
};

/// Decodes `packet`, whose data is null for what is still inside, into `chunk`.
void ffmpeg_decode_packet(ffmpeg_decoder_state& state, AVCodecContext& context, const AVPacket& packet,
                          audio_chunk& chunk);

class ffmpeg_packet_decoder final : public ffmpeg_decoder {
 public:
  ffmpeg_packet_decoder(const ffmpeg_setup& setup, int strictness);

  void decode(std::span<const std::byte> packet, audio_chunk& chunk, abort_callback& abort) override;
  void reset_after_seek() override;
  ffmpeg_stream_facts facts() const override;
  void decoded_info(file_info& info) const override;

 private:
  void open_context();
  void fill_buffer(std::span<const std::byte> packet);

  av_ptr<AVCodecContext> context_;
  av_ptr<AVPacket> packet_;
  av_ptr<AVBufferRef> buffer_; ///< a packet with its padding
  ffmpeg_decoder_state state_;
};

} // namespace zelmora
