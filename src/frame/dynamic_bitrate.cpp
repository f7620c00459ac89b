#include "frame/dynamic_bitrate.h"

#include <cmath>

namespace zelmora {

void dynamic_bitrate_helper::initialize() {
  if (initialized_) return;
  initialized_ = true;
  enabled_ = refresh_rate_ > 0;
  interval_ = enabled_ ? 1 / refresh_rate_ : 0;
}

void dynamic_bitrate_helper::clear_stretch() {
  stretch_seconds_ = 0;
  stretch_bits_ = 0;
}

void dynamic_bitrate_helper::on_frame(double seconds, std::size_t bits) {
  initialize();
  time_ += seconds;
  stretch_seconds_ += seconds;
  stretch_bits_ += bits;
}

bool dynamic_bitrate_helper::on_update(file_info& info, double& delta) {
  initialize();
  if (!enabled_ || stretch_seconds_ <= interval_) return false;
  const auto rate =
      static_cast<std::int64_t>(std::floor(static_cast<double>(stretch_bits_) / stretch_seconds_ * 0.001 + 0.5));
  const bool changed = info.info_get_int(info_field::bitrate_dynamic) != rate;
  if (changed) {
    delta = time_ - stretch_seconds_;
    info.info_set_int(info_field::bitrate_dynamic, rate);
  }
  clear_stretch();
  return changed;
}

void dynamic_bitrate_helper::reset() {
  time_ = 0;
  clear_stretch();
  initialized_ = false;
}

} // namespace zelmora
