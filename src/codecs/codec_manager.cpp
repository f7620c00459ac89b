#include "codecs/codec_manager.h"

#include "codecs/ffmpeg_bridge.h"
#include "codecs/mpeg_frame_header.h"
#include "frame/bytes.h"

#include <algorithm>
#include <array>
#include <stdexcept>

extern "C" {
#include <libavcodec/codec_id.h>
}

namespace zelmora {

using zelmora_io::exception_io_data;

namespace {

/// What stands in the data of a codec, and so how packets are cut from it.
enum class data_form : std::uint8_t {
  samples, ///< each sample for itself
  blocks,  ///< of "block align" bytes
  frames,  ///< of any size, which tell where they end
};

constexpr std::uint16_t mp3_tag = 0x0055;

constexpr unsigned whole_way = ~0u;

struct codec_row {
  std::uint16_t tag;
  std::uint32_t codec_id;
  std::string_view name;
  data_form form;
  unsigned packets_before = whole_way; ///< see `codec_seek_rule`
};

constexpr unsigned of_mpeg = whole_way - 1; ///< it depends on the rates

constexpr std::array codecs{
    codec_row{0x0002, AV_CODEC_ID_ADPCM_MS, "Microsoft ADPCM", data_form::blocks, 0},
    codec_row{0x0006, AV_CODEC_ID_PCM_ALAW, "CCITT A-Law", data_form::samples, 0},
    codec_row{0x0007, AV_CODEC_ID_PCM_MULAW, "CCITT u-Law", data_form::samples, 0},
    codec_row{0x0011, AV_CODEC_ID_ADPCM_IMA_WAV, "IMA ADPCM", data_form::blocks},
    codec_row{0x0020, AV_CODEC_ID_ADPCM_YAMAHA, "Yamaha ADPCM", data_form::blocks},
    codec_row{0x0022, AV_CODEC_ID_TRUESPEECH, "DSP Group TrueSpeech", data_form::blocks},
    codec_row{0x0031, AV_CODEC_ID_GSM_MS, "GSM 6.10", data_form::blocks},
    codec_row{0x0042, AV_CODEC_ID_G723_1, "Microsoft G.723.1", data_form::blocks},
    codec_row{0x0045, AV_CODEC_ID_ADPCM_G726, "G.726", data_form::blocks},
    codec_row{0x0050, AV_CODEC_ID_MP3, "MPEG", data_form::frames, of_mpeg},
    codec_row{mp3_tag, AV_CODEC_ID_MP3, "MPEG Layer-3", data_form::frames, of_mpeg},
    codec_row{0x0061, AV_CODEC_ID_ADPCM_IMA_DK4, "Duck DK4 ADPCM", data_form::blocks, 0},
    codec_row{0x0062, AV_CODEC_ID_ADPCM_IMA_DK3, "Duck DK3 ADPCM", data_form::blocks, 0},
    codec_row{0x0064, AV_CODEC_ID_ADPCM_G726, "G.726", data_form::blocks},
    codec_row{0x0065, AV_CODEC_ID_ADPCM_G722, "G.722", data_form::blocks},
    codec_row{0x0083, AV_CODEC_ID_G729, "G.729", data_form::blocks},
    codec_row{0x0092, AV_CODEC_ID_AC3, "Dolby AC-3", data_form::frames},
    codec_row{0x00FF, AV_CODEC_ID_AAC, "AAC", data_form::frames},
    codec_row{0x0160, AV_CODEC_ID_WMAV1, "Windows Media Audio 1", data_form::blocks},
    codec_row{0x0161, AV_CODEC_ID_WMAV2, "Windows Media Audio 2", data_form::blocks},
    codec_row{0x0162, AV_CODEC_ID_WMAPRO, "Windows Media Audio Professional", data_form::blocks},
    codec_row{0x0163, AV_CODEC_ID_WMALOSSLESS, "Windows Media Audio Lossless", data_form::blocks},
    codec_row{0x0200, AV_CODEC_ID_ADPCM_CT, "Creative ADPCM", data_form::blocks},
    codec_row{0x0270, AV_CODEC_ID_ATRAC3, "Sony ATRAC3", data_form::blocks},
    codec_row{0x028F, AV_CODEC_ID_ADPCM_G722, "G.722", data_form::blocks},
    codec_row{0x1600, AV_CODEC_ID_AAC, "AAC (ADTS)", data_form::frames},
    codec_row{0x1602, AV_CODEC_ID_AAC_LATM, "AAC (LOAS)", data_form::frames},
    codec_row{0x2000, AV_CODEC_ID_AC3, "Dolby AC-3", data_form::frames},
    codec_row{0x2001, AV_CODEC_ID_DTS, "DTS", data_form::frames},
    codec_row{0xF1AC, AV_CODEC_ID_FLAC, "FLAC", data_form::frames},
};

/// The tag that counts: that of the subformat where the record is extensible and has one.
std::uint16_t effective_tag(const wave_format& format) {
  if (format.tag != wave_tag::extensible || format.record.size() < wave_limits::extensible_size) return format.tag;
  constexpr guid family = "00000000-0000-0010-8000-00AA00389B71"_guid;
  auto subformat = parse_wave_extension(format).subformat;
  const auto tag = load_le<std::uint32_t>(&subformat);
  store_le(&subformat, std::uint32_t{0});
  return subformat == family && tag <= 0xFFFF ? static_cast<std::uint16_t>(tag) : format.tag;
}

const codec_row* find_codec(std::uint16_t tag) {
  const auto* const row = std::ranges::find(codecs, tag, &codec_row::tag);
  return row == codecs.end() ? nullptr : row;
}

/// Samples of one block; 0 where only decoding tells.
std::uint32_t block_samples(std::uint32_t codec_id, const wave_format& format) {
  const std::uint32_t channels = format.channels;
  if (codec_id != AV_CODEC_ID_ADPCM_MS) return 0;
  // Seven bytes of each channel are its state, two samples among them; two samples stand in each byte of the rest.
  const auto head = 7 * channels;
  return format.block_align <= head ? 0 : (format.block_align - head) * 2 / channels + 2;
}

/// The bit reservoir of layer 3 reaches back 511 bytes of other frames' data, 255 at the low sampling rates, where a
/// frame of the lowest bit rate holds little beside its own head. ISO/IEC 11172-3, 2.4.1.7, ISO/IEC 13818-3, 2.4.1.7.
codec_seek_rule mpeg_rule(const wave_format& format) {
  constexpr std::uint32_t header_and_crc = 6;
  constexpr unsigned overlap = 1;
  const bool is_low = format.rate < 32000;
  const bool is_mono = format.channels == 1;
  const std::uint32_t side = is_low ? (is_mono ? 9 : 17) : (is_mono ? 17 : 32);
  const std::uint32_t smallest_frame = is_low ? 72000 * 8 / format.rate : 144000 * 32 / format.rate;
  const std::uint32_t head = header_and_crc + side;
  const auto data = smallest_frame > head ? smallest_frame - head : 1;
  codec_seek_rule rule;
  rule.packets_before = (is_low ? 255 : 511) / data + 1 + overlap;
  rule.longest_packet = is_low && format.tag == mp3_tag ? 576 : 1152;
  return rule;
}

/// Pieces of one size.
class block_cutter {
 public:
  block_cutter(std::size_t size, std::uint32_t samples) : size_(size), samples_(samples) {}

  codec_conversion::packet cut(std::span<const std::byte> data, bool is_last) const {
    if (data.size() < size_ && !is_last) return {};
    const auto size = std::min(size_, data.size());
    return {data.first(size), size, size == size_ ? samples_ : 0};
  }

 private:
  std::size_t size_;
  std::uint32_t samples_;
};

/// Frames of MPEG audio. What is cut depends on the bytes from the packet on alone, so that cutting may be taken up at
/// any packet.
class mpeg_cutter {
 public:
  codec_conversion::packet cut(std::span<const std::byte> data, bool is_last) {
    for (std::size_t at = 0; at + mpeg_header_size <= data.size(); ++at, is_behind_packet_ = false) {
      const auto header = parse_mpeg_header(data.subspan(at));
      if (!header || (reference_ && !have_same_mpeg_format(*header, *reference_))) continue;
      const auto rest = data.subspan(at);
      if (rest.size() < header->frame_size + (is_last ? 0 : mpeg_header_size)) {
        if (!is_last) return {{}, at};
        continue; // cut off
      }
      if (!is_behind_packet_ && !is_confirmed(*header, rest)) continue;
      if (!reference_) reference_ = header;
      is_behind_packet_ = true;
      return {rest.first(header->frame_size), at + header->frame_size, header->samples};
    }
    // The beginning of a header may stand at the end.
    return {{}, is_last ? data.size() : data.size() - std::min(data.size(), mpeg_header_size - 1)};
  }

  void reset() noexcept { is_behind_packet_ = reference_.has_value(); }

 private:
  /// Whether another frame follows, or nothing.
  static bool is_confirmed(const mpeg_frame_header& header, std::span<const std::byte> rest) {
    const auto behind = rest.subspan(header.frame_size);
    if (behind.size() < mpeg_header_size) return true;
    const auto next = parse_mpeg_header(behind);
    return next && have_same_mpeg_format(*next, header);
  }

  std::optional<mpeg_frame_header> reference_; ///< of the first frame: the others have its format
  bool is_behind_packet_ = false;
};

class conversion final : public codec_conversion {
 public:
  conversion(const codec_row& row, const wave_format& format, codec_pcm_form form)
      : row_(row), format_(format), form_(form), blocks_(piece_size(row, format), piece_samples(row, format)),
        rule_(make_rule(row, format)) {
    open_decoder();
    open_parser();
  }

  codec_pcm_form form() const override { return form_; }
  codec_seek_rule seek_rule() const override { return rule_; }

  packet cut(std::span<const std::byte> data, bool is_last) override {
    if (is_mpeg(row_)) return frames_.cut(data, is_last);
    if (!parser_) return blocks_.cut(data, is_last);
    if (data.empty() && !is_last) return {};
    const auto found = parser_->parse(data);
    return {found.packet, found.used};
  }

  void convert(std::span<const std::byte> bytes, audio_chunk& chunk, abort_callback& abort) override {
    decoder_->decode(bytes, chunk, abort);
    complete_chunk(chunk, form_.rate);
  }

  void reset() override {
    // What the library's flush leaves of codecs with a past differs from what they begin with.
    if (rule_.packets_before == 0u)
      decoder_->reset_after_seek();
    else
      open_decoder();
    frames_.reset();
    open_parser();
  }

 private:
  static constexpr std::size_t samples_per_piece = 1024;

  void open_decoder() {
    const std::span record(format_.record);
    decoder_ = open_ffmpeg_decoder({.codec_id = row_.codec_id,
                                    .extradata = record.subspan(wave_limits::ex_size, format_.extra_size),
                                    .sample_rate = format_.rate,
                                    .channels = format_.channels,
                                    .bits_per_coded_sample = format_.bits,
                                    .block_align = format_.block_align,
                                    .bit_rate = std::uint64_t{format_.average_bytes} * 8});
  }
  void open_parser() {
    if (row_.form != data_form::frames || is_mpeg(row_)) return;
    parser_ = load_ffmpeg_bridge().open_parser(row_.codec_id);
    if (!parser_) throw exception_io_data();
  }

  static bool is_mpeg(const codec_row& row) { return row.codec_id == AV_CODEC_ID_MP3; }

  static std::size_t piece_size(const codec_row& row, const wave_format& format) {
    if (row.form == data_form::samples) return std::size_t{format.channels} * samples_per_piece;
    // Where a block is hardly more than a sample, many are decoded at once: the library takes them one by one.
    constexpr std::size_t small_block = 32;
    constexpr std::size_t usual_piece = 256;
    const std::size_t align = format.block_align;
    return align >= small_block ? align : usual_piece / align * align;
  }
  static std::uint32_t piece_samples(const codec_row& row, const wave_format& format) {
    return row.form == data_form::samples ? samples_per_piece : block_samples(row.codec_id, format);
  }
  static codec_seek_rule make_rule(const codec_row& row, const wave_format& format) {
    if (row.packets_before == of_mpeg) return mpeg_rule(format);
    codec_seek_rule rule;
    if (row.packets_before != whole_way) rule.packets_before = row.packets_before;
    if (row.form == data_form::samples) rule.block_bytes = format.channels, rule.block_samples = 1;
    if (row.form == data_form::blocks) {
      rule.block_samples = block_samples(row.codec_id, format);
      rule.block_bytes = rule.block_samples == 0 ? 0 : format.block_align;
      if (rule.block_samples == 0) rule.packets_before.reset();
    }
    return rule;
  }

  const codec_row& row_;
  wave_format format_;
  codec_pcm_form form_;
  block_cutter blocks_;
  mpeg_cutter frames_;
  codec_seek_rule rule_;
  std::unique_ptr<ffmpeg_decoder> decoder_;
  std::unique_ptr<ffmpeg_parser> parser_;
};

class libavcodec_manager final : public codec_manager {
 public:
  std::string_view get_name(const wave_format& format) const override {
    const auto* const row = find_codec(effective_tag(format));
    return row == nullptr ? std::string_view() : row->name;
  }

  std::optional<codec_pcm_form> suggest(const wave_format& format) const override {
    if (find_codec(effective_tag(format)) == nullptr || format.channels > audio_chunk::max_channels)
      return std::nullopt;
    constexpr std::uint32_t bits = 16;
    return codec_pcm_form{format.rate, format.channels, bits};
  }

  std::unique_ptr<codec_conversion> open(const wave_format& format) const override {
    const auto form = suggest(format);
    if (!form) throw exception_io_data("Missing ACM codec");
    load_ffmpeg_bridge(); // An installation without it is another fault than a stream that is refused.
    try {
      return std::make_unique<conversion>(*find_codec(effective_tag(format)), format, *form);
    } catch (const std::runtime_error&) {
      throw exception_io_data("ACM codec could not be initialized");
    }
  }
};

} // namespace

const codec_manager& get_codec_manager() {
  static const libavcodec_manager manager;
  return manager;
}

} // namespace zelmora
