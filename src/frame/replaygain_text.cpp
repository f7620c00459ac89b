#include "frame/replaygain_text.h"

#include "frame/text.h"

#include <algorithm>
#include <cmath>
#include <fmt/core.h>
#include <limits>

namespace zelmora {

namespace {

enum class value_kind { gain, peak };

struct field {
  std::string_view name;
  float replaygain_info::*value;
  value_kind kind;
};
constexpr std::array fields{
    field{replaygain_field::track_gain, &replaygain_info::track_gain, value_kind::gain},
    field{replaygain_field::track_peak, &replaygain_info::track_peak, value_kind::peak},
    field{replaygain_field::album_gain, &replaygain_info::album_gain, value_kind::gain},
    field{replaygain_field::album_peak, &replaygain_info::album_peak, value_kind::peak},
};

const field* find_field(std::string_view name) {
  const auto found = std::ranges::find_if(fields, [&](const field& f) { return ascii_equal(f.name, name); });
  return found == fields.end() ? nullptr : &*found;
}

/// The number at the start of `text`; "inf", "nan" and what no float can hold are none.
float parse_value(std::string_view text) {
  const double value = parse_decimal(text).value;
  return std::abs(value) <= double{std::numeric_limits<float>::max()} ? static_cast<float>(value) : 0.0f;
}

} // namespace

std::string format_gain(float gain) {
  return gain == replaygain_info::gain_unset || !std::isfinite(gain) ? std::string() : fmt::format("{:+.2f} dB", gain);
}

std::string format_peak(float peak) {
  return peak == replaygain_info::peak_unset || !std::isfinite(peak) ? std::string() : fmt::format("{:.6f}", peak);
}

bool is_replaygain_field(std::string_view name) { return find_field(name) != nullptr; }

bool set_replaygain_field(replaygain_info& gains, std::string_view name, std::string_view value) {
  const auto* const known = find_field(name);
  if (known == nullptr) return false;
  const float number = parse_value(value);
  gains.*known->value = known->kind == value_kind::peak ? std::max(number, 0.0f) : number;
  return true;
}

std::string get_replaygain_field(const replaygain_info& gains, std::string_view name) {
  const auto* const known = find_field(name);
  if (known == nullptr) return {};
  const float value = gains.*known->value;
  return known->kind == value_kind::gain ? format_gain(value) : format_peak(value);
}

} // namespace zelmora
