#include "cli/seek_check.h"

#include "cli/over_damage.h"
#include "frame/input_open.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fmt/core.h>
#include <random>
#include <span>

namespace zelmora::cli {

namespace {

/// Samples, of all channels, that one round keeps: 16 MiB.
constexpr std::size_t kept_samples = std::size_t{4} << 20;
constexpr std::size_t most_problems = 10;

/// What the linear decode has at a position.
struct window {
  std::uint64_t start = 0;
  double seconds = 0;
  std::uint32_t rate = 0;
  std::uint32_t channels = 0;
  bool closed = false; ///< full, or cut by a change of format
  bool reaches_end = false;
  std::vector<audio_sample> samples;
};

/// Runs the decoder to its next chunk that holds anything.
bool run_filled(input_decoder& decoder, audio_chunk& chunk, abort_callback& abort) {
  do {
    abort.check();
    if (!run_over_damage(decoder, chunk, abort, [](const std::exception&) {})) return false;
  } while (chunk.get_sample_count() == 0);
  if (!chunk.is_valid()) throw zelmora_io::exception_io_data();
  return true;
}

/// Fills windows, in ascending order of their starts, from a linear decode.
class window_recorder {
 public:
  explicit window_recorder(std::span<window> windows) : windows_(windows) {}

  void take(const audio_chunk& chunk) {
    const auto count = chunk.get_sample_count();
    if (chunk.get_srate() != rate_) {
      segment_seconds_ = seconds_at(position_);
      segment_start_ = position_;
      rate_ = chunk.get_srate();
    }
    for (auto i = first_; i < windows_.size() && windows_[i].start < position_ + count; ++i) add(windows_[i], chunk);
    while (first_ < windows_.size() && windows_[first_].closed) ++first_;
    position_ += count;
  }

  /// The end has come: what is not full will not be.
  void end() {
    for (auto& w : windows_) {
      if (w.start >= position_) w.seconds = seconds_at(position_);
      w.reaches_end = w.start + w.samples.size() / std::max(w.channels, 1u) >= position_;
    }
  }

  std::uint64_t position() const noexcept { return position_; }

 private:
  double seconds_at(std::uint64_t position) const {
    return rate_ == 0 ? 0 : segment_seconds_ + audio_math::samples_to_time(position - segment_start_, rate_);
  }

  void add(window& w, const audio_chunk& chunk) {
    if (w.closed) return;
    if (w.samples.empty()) {
      w.seconds = seconds_at(w.start);
      w.rate = chunk.get_srate();
      w.channels = chunk.get_channels();
    }
    if (w.rate != chunk.get_srate() || w.channels != chunk.get_channels()) {
      w.closed = true;
      return;
    }
    const auto skipped = static_cast<std::size_t>(w.start > position_ ? w.start - position_ : 0);
    const auto missing = seek_window - w.samples.size() / w.channels;
    const auto count = std::min(chunk.get_sample_count() - skipped, missing);
    const auto part = chunk.samples().subspan(skipped * w.channels, count * w.channels);
    w.samples.insert(w.samples.end(), part.begin(), part.end());
    w.closed = count == missing;
  }

  std::span<window> windows_;
  std::size_t first_ = 0; ///< all before it are closed
  std::uint64_t position_ = 0;
  std::uint32_t rate_ = 0;
  std::uint64_t segment_start_ = 0; ///< where the rate came into force
  double segment_seconds_ = 0;
};

double largest_difference(std::span<const audio_sample> a, std::span<const audio_sample> b) {
  double largest = 0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    const double difference = std::abs(static_cast<double>(a[i]) - static_cast<double>(b[i]));
    if (difference > largest && std::isfinite(difference)) largest = difference;
  }
  return largest;
}

class seek_checker {
 public:
  seek_checker(input_decoder& decoder, const seek_plan& plan, std::vector<std::string>& problems,
               const std::function<void(double)>& advance, abort_callback& abort)
      : decoder_(decoder), plan_(plan), problems_(problems), advance_(advance), abort_(abort) {}

  seek_results run() {
    auto positions = seek_positions(plan_);
    traced::initialize(decoder_, plan_.subsong, 0, abort_);
    if (!run_filled(decoder_, chunk_, abort_)) chunk_.set_channels(1, channel_mask_mono);
    const auto round = std::max<std::size_t>(kept_samples / (seek_window * chunk_.get_channels()), 1);
    for (std::size_t done = 0; done < positions.size(); done += round)
      check_round(std::span(positions).subspan(done, std::min(round, positions.size() - done)));
    if (failures_ > most_problems) problems_.push_back(fmt::format("{} more seeks differ", failures_ - most_problems));
    return results_;
  }

 private:
  void check_round(std::span<const std::uint64_t> positions) {
    std::vector<window> windows(positions.size());
    for (std::size_t i = 0; i < positions.size(); ++i) windows[i].start = positions[i];
    std::ranges::sort(windows, {}, &window::start);
    record(windows);
    shuffle(windows);
    for (const auto& w : windows) {
      ++results_.tried;
      if (matches(w)) ++results_.exact;
    }
  }

  void record(std::span<window> windows) {
    traced::initialize(decoder_, plan_.subsong, 0, abort_);
    window_recorder recorder(windows);
    while (run_filled(decoder_, chunk_, abort_)) {
      recorder.take(chunk_);
      advance_(plan_.samples == 0 ? 1.0
                                  : static_cast<double>(recorder.position()) / static_cast<double>(plan_.samples));
    }
    recorder.end();
    if (recorder.position() != plan_.samples)
      problems_.push_back(
          fmt::format("The first decode gave {} samples, a later one {}", plan_.samples, recorder.position()));
  }

  /// Fisher-Yates, by a generator of its own: library shuffles differ.
  void shuffle(std::span<window> windows) {
    for (auto i = windows.size(); i > 1; --i) std::swap(windows[i - 1], windows[random_() % i]);
  }

  bool matches(const window& w) {
    try {
      const auto defect = defect_after_seek(w);
      if (defect.empty()) return true;
      add_problem(w, defect);
    } catch (const zelmora_io::exception_io& failure) {
      add_problem(w, failure.what());
    }
    return false;
  }

  void add_problem(const window& w, std::string_view what) {
    if (++failures_ <= most_problems)
      problems_.push_back(fmt::format("Seek to sample {} ({:.6f} s): {}", w.start, w.seconds, what));
  }

  /// What is wrong after a seek to the window, in words; empty when nothing is.
  std::string defect_after_seek(const window& w) {
    traced::seek(decoder_, w.seconds, abort_);
    const std::span<const audio_sample> expected = w.samples;
    double difference = 0;
    bool same = true;
    for (std::size_t done = 0; done < expected.size();) {
      if (!run_filled(decoder_, chunk_, abort_)) return fmt::format("ends after {} samples", done / w.channels);
      if (chunk_.get_srate() != w.rate || chunk_.get_channels() != w.channels) return "the format is another";
      const auto got = chunk_.samples();
      const auto count = std::min(got.size(), expected.size() - done);
      const auto wanted = expected.subspan(done, count);
      if (std::memcmp(got.data(), wanted.data(), wanted.size_bytes()) != 0) {
        same = false;
        difference = std::max(difference, largest_difference(got.first(count), wanted));
      }
      done += count;
      if (w.reaches_end && count < got.size()) return "goes on past the end";
    }
    results_.max_abs_diff = std::max(results_.max_abs_diff, difference);
    if (!same) return fmt::format("the samples differ by up to {:.9g}", difference);
    if (w.reaches_end && run_filled(decoder_, chunk_, abort_)) return "goes on past the end";
    return {};
  }

  input_decoder& decoder_;
  const seek_plan& plan_;
  std::vector<std::string>& problems_;
  const std::function<void(double)>& advance_;
  abort_callback& abort_;
  audio_chunk_impl chunk_;
  seek_results results_;
  std::size_t failures_ = 0;
  std::mt19937_64 random_{plan_.seed};
};

} // namespace

std::vector<std::uint64_t> seek_positions(const seek_plan& plan) {
  const auto last = plan.samples == 0 ? 0 : plan.samples - 1;
  std::vector<std::uint64_t> result{0, std::min<std::uint64_t>(1, last), last, plan.samples};
  std::mt19937_64 random(plan.seed);
  while (result.size() < plan.seeks) result.push_back(plan.samples == 0 ? 0 : random() % plan.samples);
  result.resize(plan.seeks);
  return result;
}

seek_results check_seeks(input_decoder& decoder, const seek_plan& plan, std::vector<std::string>& problems,
                         const std::function<void(double)>& advance, abort_callback& abort) {
  return seek_checker(decoder, plan, problems, advance, abort).run();
}

} // namespace zelmora::cli
