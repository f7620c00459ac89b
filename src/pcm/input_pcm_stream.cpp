// Raw samples that a server sends as "audio/L16;rate=...;channels=...": 16 bits, big-endian. RFC 2586.
#include "frame/exceptions.h"
#include "frame/input_impl.h"
#include "frame/text.h"

#include <algorithm>
#include <charconv>
#include <vector>

namespace zelmora {

using namespace zelmora_io;

namespace {

struct pcm_stream_format {
  std::uint32_t rate = 0; ///< [Hz]
  std::uint32_t channels = 1;
  std::uint32_t bits = 16;
  bool is_big_endian = true;

  std::uint32_t frame_size() const noexcept { return channels * bits / 8; } ///< [bytes]
};

constexpr std::string_view our_type = "audio/l16";
constexpr std::uint32_t max_channels = 8;
constexpr std::size_t frames_per_chunk = 1024;

std::string_view trim(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

/// The part of `rest` up to the next ";", which is taken off with it.
std::string_view take_part(std::string_view& rest) {
  const auto end = std::min(rest.find(';'), rest.size());
  const auto part = rest.substr(0, end);
  rest.remove_prefix(std::min(end + 1, rest.size()));
  return trim(part);
}

std::uint32_t parse_number(std::string_view text) {
  std::uint32_t value = 0;
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), value);
  return failure == std::errc{} && end == text.data() + text.size() ? value : 0;
}

pcm_stream_format parse_content_type(std::string_view type) {
  pcm_stream_format format;
  take_part(type);
  while (!type.empty()) {
    const auto parameter = take_part(type);
    const auto equals = std::min(parameter.find('='), parameter.size());
    const auto name = trim(parameter.substr(0, equals));
    const auto value = trim(parameter.substr(std::min(equals + 1, parameter.size())));
    if (ascii_equal(name, "rate")) format.rate = parse_number(value);
    if (ascii_equal(name, "channels")) format.channels = parse_number(value);
  }
  if (format.rate < audio_chunk::min_sample_rate || format.rate > audio_chunk::max_sample_rate)
    throw exception_io_data();
  if (format.channels < 1 || format.channels > max_channels) throw exception_io_data();
  return format;
}

class input_pcm_stream : public input_stubs {
 public:
  void open(file_ptr file, std::string_view path, t_input_open_reason reason, abort_callback& abort) {
    if (reason == input_open_info_write) throw exception_tagging_unsupported();
    file_ = std::move(file);
    input_open_file_helper(file_, path, reason, abort);
    std::string type;
    if (!file_->get_content_type(type)) throw exception_io_data();
    format_ = parse_content_type(type);
  }

  void get_info(file_info& info, abort_callback& abort) {
    if (const auto size = file_->get_size(abort); size != file::unknown_size)
      info.set_length(audio_math::samples_to_time(size / format_.frame_size(), format_.rate));
    info.info_set(info_field::codec, "PCM");
    info.info_set(info_field::encoding, "lossless");
    info.info_set_int(info_field::samplerate, format_.rate);
    info.info_set_int(info_field::channels, format_.channels);
    info.info_set_int(info_field::bitspersample, format_.bits);
  }
  t_filestats get_file_stats(abort_callback& abort) { return file_->get_stats(abort); }

  void decode_initialize(std::uint32_t, std::uint32_t, abort_callback& abort) {
    file_->reopen(abort);
    buffer_.resize(frames_per_chunk * format_.frame_size());
  }

  bool decode_run(audio_chunk& chunk, abort_callback& abort) {
    const auto got = file_->read(buffer_.data(), buffer_.size(), abort);
    const auto size = got - got % format_.frame_size();
    if (size == 0) return false;
    chunk.set_data_fixedpoint_ex(buffer_.data(), size, format_.rate, format_.channels, format_.bits,
                                 pcm_flag_big_endian | pcm_flag_signed, channel_config_guess(format_.channels));
    return true;
  }

  void decode_seek(double seconds, abort_callback& abort) {
    if (!(seconds >= 0)) throw exception_io_data();
    constexpr auto most = std::uint64_t{1} << 56; // what no stream reaches
    auto target = std::min(audio_math::time_to_samples(seconds, format_.rate), most) * format_.frame_size();
    if (file_->can_seek()) {
      if (const auto size = file_->get_size(abort); size != file::unknown_size) target = std::min(target, size);
      return file_->seek(target, abort);
    }
    const auto position = file_->get_position(abort);
    if (target < position) throw exception_io_object_not_seekable();
    file_->skip(target - position, abort);
  }
  bool decode_can_seek() { return file_->can_seek(); }
  void decode_on_idle(abort_callback& abort) { file_->on_idle(abort); }

  static bool g_is_our_content_type(std::string_view type) { return ascii_equal(take_part(type), our_type); }
  static bool g_is_our_path(std::string_view, std::string_view) { return false; }
  static guid g_get_guid() { return "7E217441-394A-4223-A938-40D710FF7332"_guid; }
  static std::string_view g_get_name() { return "zelmora PCM Stream Decoder"; }

 private:
  file_ptr file_;
  pcm_stream_format format_;
  std::vector<std::byte> buffer_;
};

input_factory_t<input_pcm_stream> input_factory;

} // namespace

} // namespace zelmora
