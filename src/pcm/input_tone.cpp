// "tone://F" and "tone://F,S": a sine of F Hz at full scale, S seconds of it or without end.
#include "frame/exceptions.h"
#include "pcm/generator.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <optional>

namespace zelmora {

using namespace zelmora_io;

namespace {

constexpr std::string_view scheme = "tone://";
/// Far beyond any player's patience, and a number that a double holds exactly [samples].
constexpr double max_length = 9007199254740992.0; // 2^53

class input_tone : public generator_stubs {
 public:
  void open(file_ptr, std::string_view path, t_input_open_reason reason, abort_callback&) {
    refuse_writing(reason);
    parse(generator::parameters(path, scheme));
  }

  void get_info(file_info& info, abort_callback&) {
    info.set_length(length_ == 0 ? file_info::length_unknown : audio_math::samples_to_time(length_, rate_));
    info.meta_set("title", "Tone: " + generator::frequency_text(frequency_));
    generator::set_tone_info(info, rate_);
  }

  void decode_initialize(std::uint32_t, std::uint32_t, abort_callback&) { position_ = 0; }

  bool decode_run(audio_chunk& chunk, abort_callback& abort) {
    abort.check();
    const auto left = length_ == 0 ? generator::block_size : length_ - position_;
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(left, generator::block_size));
    if (count == 0) return false;
    chunk.set_data_size(count);
    for (std::size_t done = 0; done < count;) done += copy_from_block(chunk.get_data() + done, count - done);
    chunk.set_srate(rate_);
    chunk.set_channels(1, generator::channel_mask(1));
    chunk.set_sample_count(count);
    return true;
  }

  void decode_seek(double seconds, abort_callback&) {
    if (!(seconds >= 0)) throw exception_io_data();
    position_ = audio_math::time_to_samples(seconds, rate_);
    if (length_ != 0) position_ = std::min(position_, length_);
  }

  static bool g_is_our_path(std::string_view path, std::string_view) { return has_prefix_utf8(path, scheme); }
  static guid g_get_guid() { return "C3264300-1346-4EE2-9572-3C83AD7A3BDE"_guid; }
  static std::string_view g_get_name() { return "zelmora Tone Decoder"; }

 private:
  void parse(std::string_view parameters) {
    rate_ = generator::tone_rate();
    frequency_ = generator::positive_number(parameters);
    if (parameters.find(',') != std::string_view::npos) {
      const auto seconds = generator::positive_number(generator::after(parameters, ','));
      length_ = static_cast<std::uint64_t>(std::floor(generator::sample_count(seconds, rate_, max_length) + 0.5));
      if (length_ == 0) throw exception_io_data(); // Would be without end.
    }
    const std::uint32_t highest = rate_ / 2; // in whole Hz
    if (frequency_ > highest)
      throw std::runtime_error("Selected sample rate is too low to properly generate this tone");
  }

  /// Copies what the block around the position has, up to `count` samples.
  std::size_t copy_from_block(audio_sample* out, std::size_t count) {
    const auto offset = static_cast<std::size_t>(position_ % generator::block_size);
    fill_block(position_ - offset);
    const auto step = std::min(count, generator::block_size - offset);
    std::copy_n(block_.begin() + static_cast<std::ptrdiff_t>(offset), step, out);
    position_ += step;
    return step;
  }

  /// Blocks begin at multiples of their size, wherever reading began: a seek yields the same bits as playing on.
  void fill_block(std::uint64_t start) {
    if (block_start_ == start) return;
    // Whole turns are taken off before the angle is formed, with the rounding of the product put back, so that the
    // phase is as good after a day as at the start.
    const auto n = static_cast<double>(start);
    const double product = frequency_ * n;
    const double turns = (std::fmod(product, rate_) + std::fma(frequency_, n, -product)) / rate_;
    const double angle = 2 * std::numbers::pi * turns;
    const double step = 2 * std::numbers::pi * frequency_ / rate_;
    // Rotation by the step: the error grows by about 1e-16 a sample.
    const double step_sine = std::sin(step);
    const double step_cosine = std::cos(step);
    double sine = std::sin(angle);
    double cosine = std::cos(angle);
    for (auto& sample : block_) {
      sample = static_cast<audio_sample>(sine);
      const double next = sine * step_cosine + cosine * step_sine;
      cosine = cosine * step_cosine - sine * step_sine;
      sine = next;
    }
    block_start_ = start;
  }

  double frequency_ = 0; ///< [Hz]
  std::uint64_t position_ = 0;
  std::uint64_t length_ = 0; ///< 0 is without end
  std::uint32_t rate_ = 0;
  std::array<audio_sample, generator::block_size> block_{};
  std::optional<std::uint64_t> block_start_;
};

input_factory_t<input_tone> input_factory;

} // namespace

} // namespace zelmora
