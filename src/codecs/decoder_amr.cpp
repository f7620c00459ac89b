// AMR narrow and wide band in MP4. 3GPP TS 26.071, 26.171.
#include "codecs/packet_decoder_ffmpeg.h"

#include <array>

extern "C" {
#include <libavcodec/codec_id.h>
}

namespace zelmora {

namespace {

struct codec_row {
  guid owner;
  std::uint32_t codec_id;
  std::uint32_t sample_rate; ///< [Hz]
  std::string_view name;
};
constexpr std::array codecs{
    codec_row{packet_decoder::owner_mp4_amr_nb, AV_CODEC_ID_AMR_NB, 8000, "AMR-NB"},
    codec_row{packet_decoder::owner_mp4_amr_wb, AV_CODEC_ID_AMR_WB, 16000, "AMR-WB"},
};

const codec_row* find_codec(const guid& owner) {
  for (const auto& row : codecs)
    if (row.owner == owner) return &row;
  return nullptr;
}

class decoder_amr : public packet_decoder_ffmpeg {
 public:
  decoder_amr() : packet_decoder_ffmpeg({10, 0.2}) {}

  static bool g_is_our_setup(const guid& owner, std::uint32_t, const void*, std::size_t) {
    return find_codec(owner) != nullptr;
  }

  void open(bool decode, const guid& owner, std::uint32_t, const void*, std::size_t, abort_callback&) {
    codec_ = find_codec(owner);
    open_codec(decode, {.codec_id = codec_->codec_id, .sample_rate = codec_->sample_rate, .channels = 1});
  }

  void get_info(file_info& info) override {
    packet_decoder_ffmpeg::get_info(info);
    info.info_set(info_field::codec, codec_->name);
    info.info_set(info_field::encoding, "lossy");
  }

 private:
  const codec_row* codec_ = nullptr;
};

packet_decoder_factory_t<decoder_amr> factory;

} // namespace

} // namespace zelmora
