// "silence://S", "silence://S,R" and "silence://S,R,C": S seconds of digital silence at R Hz in C channels.
#include "frame/exceptions.h"
#include "pcm/generator.h"

#include <algorithm>
#include <cmath>

namespace zelmora {

using namespace zelmora_io;

namespace {

constexpr std::string_view scheme = "silence://";
constexpr std::uint32_t default_rate = 44100;
constexpr std::uint32_t default_channels = 2;
constexpr std::uint32_t min_rate = 1000;
constexpr std::uint32_t max_rate = 1'000'000;
constexpr std::uint32_t max_channels = 256;
/// A number that a double holds exactly [samples].
constexpr double max_length = 9007199254740992.0; // 2^53

/// The integer at the start of `text`, whatever follows it; between `least` and `most`, else `exception_io_data`.
std::uint32_t bounded_integer(std::string_view text, std::uint32_t least, std::uint32_t most) {
  const double value = std::trunc(parse_decimal(text.substr(0, text.find_first_of(".eE"))).value);
  if (!(value >= least && value <= most)) throw exception_io_data();
  return static_cast<std::uint32_t>(value);
}

class input_silence : public generator_stubs {
 public:
  void open(file_ptr, std::string_view path, t_input_open_reason reason, abort_callback&) {
    refuse_writing(reason);
    parse(generator::parameters(path, scheme));
  }

  void get_info(file_info& info, abort_callback&) {
    info.set_length(audio_math::samples_to_time(length_, rate_));
    info.meta_set("title", "Silence");
    info.info_set_int(info_field::samplerate, rate_);
    info.info_set_int(info_field::channels, channels_);
  }

  void decode_initialize(std::uint32_t, std::uint32_t, abort_callback&) {
    mask_ = generator::channel_mask(channels_);
    position_ = 0;
  }

  bool decode_run(audio_chunk& chunk, abort_callback& abort) {
    abort.check();
    const auto count = std::min<std::uint64_t>(length_ - position_, generator::block_size);
    if (count == 0) return false;
    chunk.set_silence(static_cast<std::size_t>(count), rate_, channels_, mask_);
    position_ += count;
    return true;
  }

  void decode_seek(double seconds, abort_callback&) {
    if (!(seconds >= 0)) throw exception_io_data();
    position_ = std::min(audio_math::time_to_samples(seconds, rate_), length_);
  }

  static bool g_is_our_path(std::string_view path, std::string_view) { return has_prefix_utf8(path, scheme); }
  static guid g_get_guid() { return "6ACCCD4F-D0A2-4982-878D-F95C3E71954C"_guid; }
  static std::string_view g_get_name() { return "zelmora Silence Decoder"; }

 private:
  void parse(std::string_view parameters) {
    const double seconds = generator::positive_number(parameters);
    if (parameters.find(',') != std::string_view::npos) {
      const auto rate_text = generator::after(parameters, ',');
      rate_ = bounded_integer(rate_text, min_rate, max_rate);
      if (rate_text.find(',') != std::string_view::npos)
        channels_ = bounded_integer(generator::after(rate_text, ','), 1, max_channels);
    }
    length_ = static_cast<std::uint64_t>(std::floor(generator::sample_count(seconds, rate_, max_length) + 0.5));
  }

  std::uint32_t rate_ = default_rate;
  std::uint32_t channels_ = default_channels;
  std::uint32_t mask_ = 0;
  std::uint64_t length_ = 0; ///< [samples]
  std::uint64_t position_ = 0;
};

input_factory_t<input_silence> input_factory;

} // namespace

} // namespace zelmora
