// Apple Lossless in MP4 and Matroska. macosforge.github.io/alac, "ALAC Magic Cookie".
#include "codecs/packet_decoder_ffmpeg.h"
#include "frame/bytes.h"

#include <algorithm>

extern "C" {
#include <libavcodec/codec_id.h>
}

namespace zelmora {

using zelmora_io::exception_io_data;

namespace {

constexpr std::size_t atom_header = 12; ///< size, "alac", version and flags [bytes]
constexpr std::size_t config_size = 24; ///< of ALACSpecificConfig [bytes]
constexpr std::size_t version_size = 4;
constexpr std::size_t max_config = 65536;

/// The atom that the library reads: `config` behind a header.
std::vector<std::byte> make_atom(std::span<const std::byte> config) {
  if (config.size() < config_size || config.size() > max_config) throw exception_io_data();
  std::vector<std::byte> atom(atom_header);
  store_be(atom.data(), static_cast<std::uint32_t>(config.size() + atom_header));
  std::ranges::copy(as_byte_span("alac"), atom.begin() + 4);
  atom.insert(atom.end(), config.begin(), config.end());
  return atom;
}

/// ALACSpecificConfig: samples per frame (4 bytes), version, bits, three tuning values, channels, run, largest frame,
/// bit rate, rate. The library allocates by the first.
ffmpeg_setup parse_config(std::span<const std::byte> config) {
  constexpr std::uint32_t max_frame = 1u << 20;
  be_reader in(config);
  const auto frame = in.be32();
  in.skip(1);
  const auto bits = in.u8();
  in.skip(3);
  const auto channels = in.u8();
  if (frame == 0 || frame > max_frame || bits > 32 || channels == 0 || channels > audio_chunk::max_channels)
    throw exception_io_data();
  in.skip(2 + 4);
  const auto bit_rate = in.be32();
  return {.codec_id = AV_CODEC_ID_ALAC,
          .sample_rate = in.be32(),
          .channels = channels,
          .bits_per_coded_sample = bits,
          .bit_rate = bit_rate};
}

std::span<const std::byte> find_config(const guid& owner, const void* param2, std::size_t size) {
  if (const auto matroska = get_matroska_setup(owner, param2, size)) return matroska->private_data();
  const auto atom = setup_bytes(param2, size);
  if (atom.size() < version_size) throw exception_io_data();
  return atom.subspan(version_size);
}

class decoder_alac : public packet_decoder_ffmpeg {
 public:
  decoder_alac() : packet_decoder_ffmpeg({}) {}

  static bool g_is_our_setup(const guid& owner, std::uint32_t, const void* param2, std::size_t size) {
    if (owner == owner_mp4_alac) return true;
    const auto matroska = get_matroska_setup(owner, param2, size);
    return matroska && matroska->codec() == "A_ALAC";
  }

  void open(bool decode, const guid& owner, std::uint32_t, const void* param2, std::size_t size, abort_callback&) {
    const auto config = find_config(owner, param2, size);
    const auto atom = make_atom(config);
    auto setup = parse_config(config);
    setup.extradata = atom;
    open_codec(decode, setup);
  }

  void get_info(file_info& info) override {
    packet_decoder_ffmpeg::get_info(info);
    info.info_set(info_field::codec, "ALAC");
    info.info_set(info_field::encoding, "lossless");
  }
  bool analyze_first_frame_supported() override { return false; }
};

packet_decoder_factory_t<decoder_alac> factory;

} // namespace

} // namespace zelmora
