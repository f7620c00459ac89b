// AAC in MP4, Matroska and ADTS.
#include "codecs/aac_config.h"
#include "codecs/packet_decoder_ffmpeg.h"

#include <array>

extern "C" {
#include <libavcodec/codec_id.h>
}

namespace zelmora {

namespace {

/// Overlap of one frame, and what SBR keeps. [frames], [s]
constexpr packet_dependency aac_dependency{2, 0.128};

/// ISO/IEC 14496-3, table 1.19; 0 where the stream itself tells.
std::uint32_t channel_count(std::uint32_t channel_config) {
  constexpr std::array<std::uint8_t, 15> counts{0, 1, 2, 3, 4, 5, 6, 8, 0, 0, 0, 7, 8, 0, 8};
  return channel_config < counts.size() ? counts[channel_config] : 0;
}

class decoder_aac : public packet_decoder_ffmpeg {
 public:
  decoder_aac() : packet_decoder_ffmpeg(aac_dependency) {}

  static bool g_is_our_setup(const guid& owner, std::uint32_t param1, const void* param2, std::size_t size) {
    if (owner == owner_adts || owner == owner_adif) return true;
    if (owner == owner_mp4) return is_mp4_aac(param1);
    const auto matroska = get_matroska_setup(owner, param2, size);
    return matroska && is_matroska_aac(matroska->codec());
  }

  /// Short frames, USAC and what can't be understood: others may do better.
  static bool g_is_deferred_setup(const guid& owner, std::uint32_t param1, const void* param2, std::size_t size) {
    constexpr std::uint32_t usac = 42;
    constexpr std::uint32_t usac_older = 45;
    try {
      const auto config = parse_aac_config(make_aac_config(owner, param1, param2, size));
      return config.short_frame || config.object_type == usac || config.object_type == usac_older;
    } catch (const zelmora_io::exception_io_data&) {
      return true;
    }
  }

  void open(bool decode, const guid& owner, std::uint32_t param1, const void* param2, std::size_t size,
            abort_callback&) {
    const auto bytes = make_aac_config(owner, param1, param2, size);
    config_ = parse_aac_config(bytes);
    open_codec(decode, {.codec_id = AV_CODEC_ID_AAC,
                        .extradata = bytes,
                        .sample_rate = config_.sample_rate,
                        .channels = channel_count(config_.channel_config)});
  }

  void get_info(file_info& info) override {
    packet_decoder_ffmpeg::get_info(info);
    info.info_set(info_field::codec, "AAC");
    info.info_set(info_field::encoding, "lossy");
    if (const auto name = aac_profile_name(facts().profile, config_.object_type); !name.empty())
      info.info_set("codec_profile", name);
  }

 private:
  aac_audio_config config_;
};

packet_decoder_deferring_factory_t<decoder_aac> factory;

} // namespace

} // namespace zelmora
