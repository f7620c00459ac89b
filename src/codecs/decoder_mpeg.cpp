// MPEG audio, layers 1 to 3: one decoder of the library takes them all.
#include "codecs/mpeg_frame_header.h"
#include "codecs/packet_decoder_ffmpeg.h"

#include <array>

extern "C" {
#include <libavcodec/codec_id.h>
}

namespace zelmora {

using zelmora_io::exception_io_data;

namespace {

/// The bit reservoir of layer 3 reaches back 511 bytes: ten frames at 64 kbit/s. [frames], [s]
constexpr packet_dependency mpeg_dependency{10, 0.36};

struct owner_row {
  guid owner;
  std::string_view matroska_codec;
  std::uint8_t layer;
};
constexpr std::array owners{
    owner_row{packet_decoder::owner_mp3, "A_MPEG/L3", 3},
    owner_row{packet_decoder::owner_mp2, "A_MPEG/L2", 2},
    owner_row{packet_decoder::owner_mp1, "A_MPEG/L1", 1},
};
constexpr std::array<std::string_view, 3> codec_names{"MP1", "MP2", "MP3"};

/// ISO/IEC 14496-1, objectTypeIndication: MPEG-2 and MPEG-1 audio.
bool is_mp4_mpeg_audio(std::uint32_t object_type) { return object_type == 0x69 || object_type == 0x6B; }

const owner_row* find_owner(const guid& owner, const void* param2, std::size_t size) {
  const auto matroska = get_matroska_setup(owner, param2, size);
  for (const auto& row : owners)
    if (owner == row.owner || (matroska && matroska->codec() == row.matroska_codec)) return &row;
  return nullptr;
}

class decoder_mpeg : public packet_decoder_ffmpeg {
 public:
  decoder_mpeg() : packet_decoder_ffmpeg(mpeg_dependency) {}

  static bool g_is_our_setup(const guid& owner, std::uint32_t param1, const void* param2, std::size_t size) {
    return find_owner(owner, param2, size) != nullptr || (owner == owner_mp4 && is_mp4_mpeg_audio(param1));
  }

  void open(bool decode, const guid& owner, std::uint32_t, const void* param2, std::size_t size, abort_callback&) {
    const auto* const row = find_owner(owner, param2, size);
    layer_ = row == nullptr ? std::uint8_t{0} : row->layer;
    can_analyze_ = owner == owner_mp4 || owner == owner_matroska;
    open_codec(decode, {.codec_id = AV_CODEC_ID_MP3});
  }

  void get_info(file_info& info) override {
    packet_decoder_ffmpeg::get_info(info);
    if (layer_ == 0 || layer_ > codec_names.size()) throw exception_io_data();
    info.info_set(info_field::codec, codec_names[layer_ - 1u]);
    info.info_set(info_field::encoding, "lossy");
  }
  bool analyze_first_frame_supported() override { return can_analyze_; }
  void analyze_first_frame(const void* data, std::size_t size, abort_callback&) override {
    const auto header = parse_mpeg_header(setup_bytes(data, size));
    if (!header) throw exception_io_data();
    layer_ = header->layer;
  }

 private:
  std::uint8_t layer_ = 0; ///< 0 when it is not known yet
  bool can_analyze_ = false;
};

packet_decoder_factory_t<decoder_mpeg> factory;

} // namespace

} // namespace zelmora
