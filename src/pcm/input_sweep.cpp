// "sweep://A-B,S": a sine that rises or falls exponentially from A to B Hz in S seconds, at full scale.
//
// The phase is the running sum of the frequency. A seek changes the position, and with it the frequency, and leaves the
// phase as it is: the sound goes on without a click, and its samples differ from those of a decode from the start.
#include "frame/exceptions.h"
#include "pcm/generator.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace zelmora {

using namespace zelmora_io;

namespace {

constexpr std::string_view scheme = "sweep://";
/// Values of the signal that are summed for one sample.
constexpr std::uint32_t oversampling = 1;

class input_sweep : public generator_stubs {
 public:
  void open(file_ptr, std::string_view path, t_input_open_reason reason, abort_callback&) {
    refuse_writing(reason);
    parse(generator::parameters(path, scheme));
  }

  void get_info(file_info& info, abort_callback&) {
    info.set_length(audio_math::samples_to_time(total_, rate_));
    info.meta_set("title", "Sweep: " + generator::frequency_text(start_) + " - " + generator::frequency_text(end_));
    generator::set_tone_info(info, rate_);
  }

  void decode_initialize(std::uint32_t, std::uint32_t, abort_callback&) {
    position_ = 0;
    phase_ = 0;
  }

  bool decode_run(audio_chunk& chunk, abort_callback& abort) {
    abort.check();
    const auto count = std::min<std::size_t>(total_ - position_, generator::block_size);
    if (count == 0) return false;
    chunk.set_data_size(count);
    std::generate_n(chunk.get_data(), count, [this] { return next_sample(); });
    chunk.set_srate(rate_);
    chunk.set_channels(1, generator::channel_mask(1));
    chunk.set_sample_count(count);
    return true;
  }

  void decode_seek(double seconds, abort_callback&) {
    if (!(seconds >= 0)) throw exception_io_data();
    position_ =
        static_cast<std::uint32_t>(std::min<std::uint64_t>(audio_math::time_to_samples(seconds, rate_), total_));
  }

  static bool g_is_our_path(std::string_view path, std::string_view) { return has_prefix_utf8(path, scheme); }
  static guid g_get_guid() { return "D1663BBB-FE01-4B4E-851E-83A1888DDCE4"_guid; }
  static std::string_view g_get_name() { return "zelmora Sweep Decoder"; }

 private:
  void parse(std::string_view parameters) {
    rate_ = generator::tone_rate();
    start_ = generator::positive_number(parameters);
    const auto rest = generator::after(parameters, '-');
    end_ = generator::positive_number(rest);
    const double seconds = generator::positive_number(generator::after(rest, ','));
    if (std::max(start_, end_) > rate_ * 0.5)
      throw std::runtime_error("Selected sample rate is too low to properly generate this sweep.");
    constexpr double most = std::numeric_limits<std::uint32_t>::max();
    total_ = static_cast<std::uint32_t>(generator::sample_count(seconds, rate_, most));
    step_ = total_ == 0 ? 0 : 1.0 / total_;
    log_ratio_ = std::log(end_ / start_) * std::numbers::log2e;
  }

  audio_sample next_sample() {
    constexpr double turn = 2 * std::numbers::pi;
    const double frequency = start_ * std::exp2(position_ * step_ * log_ratio_);
    double sum = 0;
    for (std::uint32_t i = 0; i < oversampling; ++i) {
      sum += std::sin(phase_);
      phase_ += frequency * turn / (static_cast<double>(rate_) * oversampling);
      if (phase_ >= turn) phase_ -= turn; // A small phase keeps all its bits however long the sweep.
    }
    ++position_;
    return static_cast<audio_sample>(sum);
  }

  double phase_ = 0; ///< [0, 2 pi)
  double start_ = 0; ///< [Hz]
  double end_ = 0;   ///< [Hz]
  double step_ = 0;  ///< 1 / total
  double log_ratio_ = 0;
  std::uint32_t position_ = 0;
  std::uint32_t total_ = 0;
  std::uint32_t rate_ = 0;
};

input_factory_t<input_sweep> input_factory;

} // namespace

} // namespace zelmora
