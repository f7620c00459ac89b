#include "frame/dynamic_bitrate.h"

#include "frame/host_services.h"

#include <cmath>
#include <string>

namespace zelmora {

bool bitrate_accumulator::publish(file_info& info) {
  const auto rate = std::floor(static_cast<double>(bits_) / seconds_ * 0.001 + 0.5);
  clear();
  constexpr double most = 1e15; // also what no time at all gives
  if (!(rate >= 0 && rate < most)) return false;
  const auto text = std::to_string(static_cast<std::int64_t>(rate));
  const auto* const shown = info.info_get(info_field::bitrate_dynamic);
  if (shown != nullptr && *shown == text) return false;
  info.info_set(info_field::bitrate_dynamic, text);
  return true;
}

void dynamic_bitrate_helper::initialize() {
  if (initialized_) return;
  initialized_ = true;
  double rate = 0;
  for (auto& display : enumerate_services<dynamic_info_display>()) rate = display->get_refresh_rate();
  enabled_ = rate > 0;
  interval_ = enabled_ ? 1 / rate : 0;
}

void dynamic_bitrate_helper::on_frame(double seconds, std::size_t bits) {
  initialize();
  time_ += seconds;
  stretch_.add_bits(bits, seconds);
}

bool dynamic_bitrate_helper::on_update(file_info& info, double& delta) {
  initialize();
  if (!enabled_ || stretch_.seconds() <= interval_) return false;
  const auto begin = time_ - stretch_.seconds();
  if (!stretch_.publish(info)) return false;
  delta = begin;
  return true;
}

void dynamic_bitrate_helper::reset() {
  time_ = 0;
  stretch_.clear();
  initialized_ = false;
}

} // namespace zelmora
