// Codecs of the codec manager in Matroska: "A_MS/ACM" with a WAVEFORMATEX record. matroska.org, Codec Mappings.
#include "codecs/codec_manager.h"
#include "codecs/packet_decoder.h"
#include "frame/bytes.h"

#include <cstring>
#include <vector>

namespace zelmora {

using zelmora_io::exception_io_data;

namespace {

std::optional<std::uint16_t> get_tag(std::span<const std::byte> record) {
  if (record.size() < sizeof(std::uint16_t)) return std::nullopt;
  return load_le<std::uint16_t>(record.data());
}

/// Adds the samples of `more` to `chunk`; of another format than they are raises `exception_io_data`.
void append(audio_chunk& chunk, const audio_chunk& more) {
  if (more.get_sample_count() == 0) return;
  if (chunk.get_sample_count() == 0) return chunk.copy(more);
  if (more.get_srate() != chunk.get_srate() || more.get_channels() != chunk.get_channels()) throw exception_io_data();
  const auto old = chunk.samples().size();
  chunk.set_data_size(old + more.samples().size());
  std::memcpy(chunk.get_data() + old, more.get_data(), more.samples().size_bytes());
  chunk.set_sample_count(chunk.get_sample_count() + more.get_sample_count());
}

class decoder_acm : public packet_decoder {
 public:
  static bool g_is_our_setup(const guid& owner, std::uint32_t, const void* param2, std::size_t size) {
    const auto tag = get_tag(get_matroska_wave_record(owner, param2, size));
    return tag && *tag != wave_tag::extensible;
  }

  /// IMA ADPCM has a decoder of its own.
  static bool g_is_deferred_setup(const guid& owner, std::uint32_t, const void* param2, std::size_t size) {
    const auto record = get_matroska_wave_record(owner, param2, size);
    return get_tag(record) == wave_tag::ima_adpcm && record.size() >= wave_limits::ex_size;
  }

  void open(bool, const guid& owner, std::uint32_t, const void* param2, std::size_t size, abort_callback&) {
    format_ = parse_wave_format(get_matroska_wave_record(owner, param2, size));
    codec_ = get_codec_manager().open(format_);
  }

  std::uint64_t set_stream_property(const guid&, std::uint64_t, const void*, std::size_t) override { return 0; }
  void get_info(file_info& info) override {
    info.info_set_int(info_field::channels, format_.channels);
    info.info_set_int(info_field::samplerate, format_.rate);
    info.info_set_int(info_field::bitrate, (std::int64_t{format_.average_bytes} * 8 + 500) / 1000);
    if (format_.bits != 0) info.info_set_int(info_field::bitspersample, format_.bits);
    info.info_set(info_field::codec, get_codec_manager().get_name(format_));
  }
  unsigned get_max_frame_dependency() override { return 0; }
  double get_max_frame_dependency_time() override { return 0; }
  void reset_after_seek() override {
    codec_->reset();
    rest_ = 0;
  }

  void decode(const void* data, std::size_t size, audio_chunk& chunk, abort_callback& abort) override {
    abort.check();
    chunk.reset();
    take(setup_bytes(data, size));
    const bool is_last = size == 0;
    std::size_t begin = 0;
    try {
      for (;;) {
        const auto packet = codec_->cut(std::span(buffer_).subspan(begin, rest_ - begin), is_last);
        begin += packet.used;
        if (packet.bytes.empty() && packet.used == 0) break;
        if (!packet.bytes.empty()) convert(packet.bytes, chunk, abort);
      }
      if (is_last) convert({}, chunk, abort);
    } catch (const exception_io_data&) {
      keep_from(begin); // What follows the corrupt packet.
      throw;
    }
    keep_from(begin);
  }
  bool analyze_first_frame_supported() override { return false; }
  void analyze_first_frame(const void*, std::size_t, abort_callback&) override {}

 private:
  void convert(std::span<const std::byte> packet, audio_chunk& chunk, abort_callback& abort) {
    codec_->convert(packet, piece_, abort);
    append(chunk, piece_);
  }
  void take(std::span<const std::byte> data) {
    constexpr std::size_t most = 0x40000000;
    if (data.size() > most - std::min(most, rest_)) throw exception_io_data();
    if (buffer_.size() < rest_ + data.size() + codec_conversion::cut_padding)
      buffer_.resize(rest_ + data.size() + codec_conversion::cut_padding);
    if (!data.empty()) std::memcpy(buffer_.data() + rest_, data.data(), data.size());
    rest_ += data.size();
    std::memset(buffer_.data() + rest_, 0, codec_conversion::cut_padding);
  }
  void keep_from(std::size_t begin) {
    if (begin != rest_) std::memmove(buffer_.data(), buffer_.data() + begin, rest_ - begin);
    rest_ -= begin;
  }

  wave_format format_;
  std::unique_ptr<codec_conversion> codec_;
  std::vector<std::byte> buffer_; ///< what no packet was made of yet
  std::size_t rest_ = 0;          ///< of it that counts [bytes]
  audio_chunk_impl piece_;
};

packet_decoder_deferring_factory_t<decoder_acm> factory;

} // namespace

} // namespace zelmora
