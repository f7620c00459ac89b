// A decoder over a stretch of a track. The stretch is kept in seconds and cut in samples: the chunk that crosses the
// end keeps the number of samples left, rounded to nearest.
#include "frame/input_helper.h"
#include "frame/input_open.h"

#include <algorithm>
#include <array>

namespace zelmora {

namespace {

class range_decoder : public input_decoder {
 public:
  range_decoder(service_ptr_t<input_decoder> inner, std::uint32_t subsong, double start, double length)
      : inner_(std::move(inner)), subsong_(subsong), start_(start), length_(length) {}

  std::uint32_t get_subsong_count() override { return 1; }
  std::uint32_t get_subsong(std::uint32_t) override { return 0; }
  void get_info(std::uint32_t subsong, file_info& info, abort_callback& abort) override {
    check_subsong(subsong);
    traced::get_info(*inner_, subsong_, info, abort);
    info.set_length(length_);
  }
  t_filestats get_file_stats(abort_callback& abort) override { return inner_->get_file_stats(abort); }

  /// `inner` was initialised by whoever made the range.
  void initialize(std::uint32_t subsong, std::uint32_t, abort_callback& abort) override {
    check_subsong(subsong);
    seek(0, abort);
  }

  bool run(audio_chunk& chunk, abort_callback& abort) override {
    if (position_ >= length_ || !traced::run(*inner_, chunk, abort)) return false;
    const double duration = chunk.get_duration();
    if (position_ + duration > length_) {
      const auto left = audio_math::time_to_samples(length_ - position_, chunk.get_srate());
      position_ = length_;
      if (left == 0) return false;
      chunk.set_sample_count(static_cast<std::size_t>(std::min<std::uint64_t>(left, chunk.get_sample_count())));
      return true;
    }
    position_ += duration;
    return true;
  }

  void seek(double seconds, abort_callback& abort) override {
    if (seconds < 0) throw zelmora_io::exception_io_data();
    traced::seek(*inner_, seconds + start_, abort);
    position_ = seconds;
  }
  bool can_seek() override { return inner_->can_seek(); }

  bool get_dynamic_info(file_info& info, double& time_delta) override {
    file_info_impl fresh(info);
    const bool changed = traced::get_dynamic_info(*inner_, fresh, time_delta);
    for (const auto name : {info_field::bitrate_dynamic, info_field::samplerate, info_field::bitrate})
      if (const auto* value = fresh.info_get(name)) info.info_set(name, *value);
    return changed;
  }
  bool get_dynamic_info_track(file_info&, double&) override { return false; }
  void on_idle(abort_callback& abort) override { traced::on_idle(*inner_, abort); }

 private:
  static void check_subsong(std::uint32_t subsong) {
    if (subsong != 0) throw zelmora_io::exception_io_bad_subsong_index();
  }

  service_ptr_t<input_decoder> inner_;
  std::uint32_t subsong_; ///< of `inner_`
  double start_;          ///< [s]
  double length_;         ///< [s]
  double position_ = 0;   ///< [s] from `start_`
};

} // namespace

service_ptr_t<input_decoder> make_range_decoder(service_ptr_t<input_decoder> inner, std::uint32_t subsong, double start,
                                                double length) {
  return service_new<range_decoder>(std::move(inner), subsong, start, length);
}

} // namespace zelmora
