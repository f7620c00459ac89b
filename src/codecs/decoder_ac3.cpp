// AC-3 and E-AC-3 in MP4 and Matroska. ETSI TS 102 366.
#include "codecs/packet_decoder_ffmpeg.h"

#include <array>

extern "C" {
#include <libavcodec/codec_id.h>
}

namespace zelmora {

namespace {

struct codec_row {
  guid mp4_owner;
  std::string_view matroska_codec;
  std::uint32_t codec_id;
  std::string_view name;
};
constexpr std::array codecs{
    codec_row{packet_decoder::owner_mp4_ac3, "A_AC3", AV_CODEC_ID_AC3, "AC3"},
    codec_row{packet_decoder::owner_mp4_eac3, "A_EAC3", AV_CODEC_ID_EAC3, "E-AC3"},
};

const codec_row* find_codec(const guid& owner, const void* param2, std::size_t size) {
  const auto matroska = get_matroska_setup(owner, param2, size);
  for (const auto& row : codecs)
    if (owner == row.mp4_owner || (matroska && matroska->codec() == row.matroska_codec)) return &row;
  return nullptr;
}

class decoder_ac3 : public packet_decoder_ffmpeg {
 public:
  decoder_ac3() : packet_decoder_ffmpeg({10, 1.0}) {}

  static bool g_is_our_setup(const guid& owner, std::uint32_t, const void* param2, std::size_t size) {
    return find_codec(owner, param2, size) != nullptr;
  }

  void open(bool decode, const guid& owner, std::uint32_t, const void* param2, std::size_t size, abort_callback&) {
    codec_ = find_codec(owner, param2, size);
    open_codec(decode, {.codec_id = codec_->codec_id});
  }

  void get_info(file_info& info) override {
    packet_decoder_ffmpeg::get_info(info);
    info.info_set(info_field::codec, codec_->name);
  }

 private:
  const codec_row* codec_ = nullptr;
};

packet_decoder_factory_t<decoder_ac3> factory;

} // namespace

} // namespace zelmora
