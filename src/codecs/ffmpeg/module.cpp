// The module's entry point, and what is the same for every decoder.
#include "codecs/ffmpeg/packet_decoder.h"

#include <stdexcept>

namespace zelmora {

void check_av(int result) {
  if (result >= 0) return;
  if (result == AVERROR_PATCHWELCOME) throw exception_ffmpeg_patch_welcome();
  if (result == AVERROR(ENOMEM)) throw std::bad_alloc();
  throw zelmora_io::exception_io_data();
}

namespace {

class parser final : public ffmpeg_parser {
 public:
  parser(av_ptr<AVCodecParserContext> state, av_ptr<AVCodecContext> context)
      : state_(std::move(state)), context_(std::move(context)) {}

  result parse(std::span<const std::byte> data) override {
    std::uint8_t* packet = nullptr;
    int size = 0;
    constexpr std::size_t most = 0x40000000;
    const int used = av_parser_parse2(state_.get(), context_.get(), &packet, &size,
                                      reinterpret_cast<const std::uint8_t*>(data.data()),
                                      static_cast<int>(std::min(data.size(), most)), AV_NOPTS_VALUE, AV_NOPTS_VALUE, 0);
    check_av(used);
    return {static_cast<std::size_t>(used),
            {reinterpret_cast<const std::byte*>(packet), static_cast<std::size_t>(size)}};
  }

 private:
  av_ptr<AVCodecParserContext> state_;
  av_ptr<AVCodecContext> context_;
};

class bridge final : public ffmpeg_bridge {
 public:
  std::string version() override { return av_version_info(); }
  std::unique_ptr<ffmpeg_decoder> open(const ffmpeg_setup& setup, int strictness) override {
    return std::make_unique<ffmpeg_packet_decoder>(setup, strictness);
  }
  std::unique_ptr<ffmpeg_parser> open_parser(std::uint32_t codec_id) override {
    av_ptr<AVCodecParserContext> state(av_parser_init(static_cast<int>(codec_id)));
    if (!state) return nullptr;
    av_ptr<AVCodecContext> context(avcodec_alloc_context3(nullptr));
    if (!context) throw std::runtime_error("ffmpeg: could not allocate context");
    context->codec_id = static_cast<AVCodecID>(codec_id);
    return std::make_unique<parser>(std::move(state), std::move(context));
  }
};

} // namespace

/// The library's own messages go to nobody: what matters is raised.
extern "C" __attribute__((visibility("default"))) ffmpeg_bridge* zelmora_ffmpeg_bridge(unsigned revision) {
  if (revision != ffmpeg_bridge_revision) return nullptr;
  av_log_set_level(AV_LOG_QUIET);
  static bridge instance;
  return &instance;
}

} // namespace zelmora
