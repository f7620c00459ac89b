#include "frame/dynamic_bitrate.h"

#include "frame/host_services.h"

#include <cmath>
#include <string>

namespace zelmora {

void dynamic_bitrate_helper::initialize() {
  if (initialized_) return;
  initialized_ = true;
  double rate = 0;
  for (auto& display : enumerate_services<dynamic_info_display>()) rate = display->get_refresh_rate();
  enabled_ = rate > 0;
  interval_ = enabled_ ? 1 / rate : 0;
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
  const auto* shown = info.info_get(info_field::bitrate_dynamic);
  const bool changed = shown == nullptr || *shown != std::to_string(rate);
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
