// Uncompressed samples in packets: of Matroska, and of MP4's oldest sample entries.
// matroska.org, Codec Mappings: "A_PCM/INT/LIT", "A_PCM/INT/BIG", "A_PCM/FLOAT/IEEE", "A_MS/ACM".
#include "codecs/packet_decoder.h"
#include "codecs/wave_format.h"
#include "frame/bytes.h"

#include <algorithm>
#include <array>

namespace zelmora {

using zelmora_io::exception_io_data;

namespace {

struct pcm_packet_format {
  std::uint32_t rate = 0; ///< [Hz]
  std::uint32_t channels = 0;
  std::uint32_t bits = 0;
  wave_sample_kind kind = wave_sample_kind::fixed_point;
  std::endian order = std::endian::little;
};

struct codec_row {
  std::string_view matroska_codec; ///< empty for none
  guid mp4_owner;
  wave_sample_kind kind;
  std::endian order;
};
constexpr std::array codecs{
    codec_row{"A_PCM/INT/LIT", packet_decoder::owner_mp4_pcm_le, wave_sample_kind::fixed_point, std::endian::little},
    codec_row{"A_PCM/INT/BIG", packet_decoder::owner_mp4_pcm_be, wave_sample_kind::fixed_point, std::endian::big},
    codec_row{"A_PCM/FLOAT/IEEE", {}, wave_sample_kind::floating_point, std::endian::little},
};

const codec_row* find_codec(const guid& owner, const void* param2, std::size_t size) {
  const auto matroska = get_matroska_setup(owner, param2, size);
  for (const auto& row : codecs)
    if ((matroska && matroska->codec() == row.matroska_codec) || (row.mp4_owner != guid{} && owner == row.mp4_owner))
      return &row;
  return nullptr;
}

bool is_plain_tag(std::span<const std::byte> record) {
  if (record.size() < sizeof(std::uint16_t)) return false;
  const auto tag = load_le<std::uint16_t>(record.data());
  return tag == wave_tag::pcm || tag == wave_tag::ieee_float;
}

class pcm_packet_decoder : public packet_decoder {
 public:
  static bool g_is_our_setup(const guid& owner, std::uint32_t, const void* param2, std::size_t size) {
    return find_codec(owner, param2, size) != nullptr || is_plain_tag(get_matroska_wave_record(owner, param2, size));
  }

  void open(bool, const guid& owner, std::uint32_t, const void* param2, std::size_t size, abort_callback&) {
    if (const auto* const row = find_codec(owner, param2, size)) {
      format_.kind = row->kind;
      format_.order = row->order;
      // The width of a Matroska stream, and everything of an MP4 one, comes as a property.
      if (const auto matroska = get_matroska_setup(owner, param2, size)) {
        format_.rate = matroska->sample_rate;
        format_.channels = matroska->channels;
      }
      return;
    }
    const auto record = parse_wave_format(get_matroska_wave_record(owner, param2, size));
    const auto kind = get_sample_kind(record);
    if (kind == wave_sample_kind::none) throw exception_io_data();
    format_ = {record.rate, record.channels, record.bits, kind, std::endian::little};
    check_width();
  }

  std::uint64_t set_stream_property(const guid& property, std::uint64_t value, const void*, std::size_t) override {
    const auto set = [&](std::uint32_t& field) {
      field = std::in_range<std::uint32_t>(value) ? static_cast<std::uint32_t>(value) : 0;
    };
    if (property == property_sample_rate) set(format_.rate);
    if (property == property_channels) set(format_.channels);
    if (property == property_bits_per_sample) set(format_.bits);
    return 0;
  }

  void get_info(file_info& info) override {
    const bool is_float = format_.kind == wave_sample_kind::floating_point;
    info.info_set(info_field::codec, is_float ? "PCM (floating-point)" : "PCM");
    info.info_set(info_field::encoding, "lossless");
    info.info_set_int(info_field::bitspersample, format_.bits);
    if (is_float)
      info.info_set(info_field::bitspersample_extra, "floating-point");
    else if (format_.bits == 32 || format_.bits == 64)
      info.info_set(info_field::bitspersample_extra, "fixed-point");
    info.info_set_int(info_field::channels, format_.channels);
    info.info_set_int(info_field::samplerate, format_.rate);
  }

  unsigned get_max_frame_dependency() override { return 0; }
  double get_max_frame_dependency_time() override { return 0; }
  void reset_after_seek() override {}

  void decode(const void* data, std::size_t size, audio_chunk& chunk, abort_callback& abort) override {
    abort.check();
    check_width();
    const auto& f = format_;
    const auto mask = channel_config_guess(f.channels);
    if (f.kind == wave_sample_kind::floating_point) {
      const auto flags = f.order == std::endian::big ? std::uint32_t{pcm_flag_big_endian_float} : 0u;
      chunk.set_data_floatingpoint_ex(data, size, f.rate, f.channels, f.bits, flags, mask);
      return;
    }
    // 8 bits are unsigned in every little-endian container, and signed in the big-endian ones.
    std::uint32_t flags = f.order == std::endian::big ? pcm_flag_big_endian : 0u;
    if (f.bits > 8 || f.order == std::endian::big) flags |= pcm_flag_signed;
    chunk.set_data_fixedpoint_ex(data, size, f.rate, f.channels, f.bits, flags, mask);
  }

  bool analyze_first_frame_supported() override { return false; }
  void analyze_first_frame(const void*, std::size_t, abort_callback&) override {}

 private:
  void check_width() const {
    constexpr std::array<std::uint32_t, 4> fixed{8, 16, 24, 32};
    constexpr std::array<std::uint32_t, 2> floating{32, 64};
    const bool is_known = format_.kind == wave_sample_kind::floating_point
                              ? std::ranges::find(floating, format_.bits) != floating.end()
                              : std::ranges::find(fixed, format_.bits) != fixed.end();
    if (!is_known || format_.channels == 0 || format_.channels > audio_chunk::max_channels ||
        format_.rate < audio_chunk::min_sample_rate || format_.rate > audio_chunk::max_sample_rate)
      throw exception_io_data();
  }

  pcm_packet_format format_;
};

packet_decoder_factory_t<pcm_packet_decoder> factory;

} // namespace

} // namespace zelmora
