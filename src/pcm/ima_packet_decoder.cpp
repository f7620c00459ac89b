// IMA ADPCM in Matroska.
#include "codecs/packet_decoder.h"
#include "frame/bytes.h"
#include "pcm/ima_adpcm.h"

#include <optional>

namespace zelmora {

namespace {

class ima_packet_decoder : public packet_decoder {
 public:
  static bool g_is_our_setup(const guid& owner, std::uint32_t, const void* param2, std::size_t size) {
    const auto record = get_matroska_wave_record(owner, param2, size);
    if (record.size() < wave_limits::ex_size) return false;
    constexpr std::size_t bits_offset = 14;
    return load_le<std::uint16_t>(record.data()) == wave_tag::ima_adpcm &&
           load_le<std::uint16_t>(record.data() + bits_offset) == 4;
  }

  void open(bool, const guid& owner, std::uint32_t, const void* param2, std::size_t size, abort_callback&) {
    format_ = parse_wave_format(get_matroska_wave_record(owner, param2, size));
    codec_.emplace(format_);
  }

  std::uint64_t set_stream_property(const guid&, std::uint64_t, const void*, std::size_t) override { return 0; }
  void get_info(file_info& info) override {
    info.info_set_int(info_field::channels, format_.channels);
    info.info_set_int(info_field::samplerate, format_.rate);
    info.info_set_int(info_field::bitrate, (std::int64_t{format_.average_bytes} * 8 + 500) / 1000);
    info.info_set_int(info_field::bitspersample, format_.bits);
    info.info_set_int("decoded_bitspersample", 16);
    info.info_set(info_field::codec, "IMA ADPCM");
    info.info_set(info_field::encoding, "lossy");
  }
  unsigned get_max_frame_dependency() override { return 0; }
  double get_max_frame_dependency_time() override { return 0; }
  void reset_after_seek() override {}
  void decode(const void* data, std::size_t size, audio_chunk& chunk, abort_callback& abort) override {
    abort.check();
    chunk.reset();
    if (size != 0) codec_->decode(setup_bytes(data, size), chunk);
  }
  bool analyze_first_frame_supported() override { return false; }
  void analyze_first_frame(const void*, std::size_t, abort_callback&) override {}

 private:
  wave_format format_;
  std::optional<ima_adpcm> codec_;
};

packet_decoder_factory_t<ima_packet_decoder> factory;

} // namespace

} // namespace zelmora
