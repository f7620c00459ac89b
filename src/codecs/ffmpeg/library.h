// libavcodec's objects with owners, and its results as exceptions.
#pragma once

#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace zelmora {

struct av_deleter {
  void operator()(AVCodecContext* context) const noexcept { avcodec_free_context(&context); }
  void operator()(AVCodecParserContext* parser) const noexcept { av_parser_close(parser); }
  void operator()(AVFrame* frame) const noexcept { av_frame_free(&frame); }
  void operator()(AVBufferRef* buffer) const noexcept { av_buffer_unref(&buffer); }
  void operator()(AVPacket* packet) const noexcept { av_packet_free(&packet); }
};
template <class T>
using av_ptr = std::unique_ptr<T, av_deleter>;

/// Raises what a negative `result` stands for: `exception_ffmpeg_patch_welcome` or `exception_io_data`.
void check_av(int result);

} // namespace zelmora
