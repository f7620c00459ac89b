// DTS in Matroska and MP4.
#include "codecs/dts_core.h"
#include "codecs/packet_decoder_ffmpeg.h"

extern "C" {
#include <libavcodec/codec_id.h>
}

namespace zelmora {

namespace {

/// Object types that MP4RA registers for DTS in an "mp4a" entry.
bool is_mp4_dts(std::uint32_t object_type) { return object_type == 0xA9 || object_type == 0xAA; }

class decoder_dts : public packet_decoder_ffmpeg {
 public:
  decoder_dts() : packet_decoder_ffmpeg({}) {}

  static bool g_is_our_setup(const guid& owner, std::uint32_t param1, const void* param2, std::size_t size) {
    if (owner == owner_mp4) return is_mp4_dts(param1);
    const auto matroska = get_matroska_setup(owner, param2, size);
    return matroska && matroska->codec().starts_with("A_DTS");
  }

  void open(bool decode, const guid&, std::uint32_t, const void*, std::size_t, abort_callback&) {
    open_codec(decode, {.codec_id = AV_CODEC_ID_DTS});
  }

 private:
  std::span<const std::byte> prepare(std::span<const std::byte> packet) override {
    if (packet.empty()) return packet;
    return make_plain_dts(packet, buffer_, ffmpeg_decoder::wanted_padding);
  }

  std::vector<std::byte> buffer_;
};

packet_decoder_factory_t<decoder_dts> factory;

} // namespace

} // namespace zelmora
