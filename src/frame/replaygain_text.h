// ReplayGain values as text, and the names under which tags hold them.
#pragma once

#include "frame/file_info.h"

#include <array>
#include <string>
#include <string_view>

namespace zelmora {

namespace replaygain_field {
inline constexpr std::string_view track_gain = "replaygain_track_gain";
inline constexpr std::string_view track_peak = "replaygain_track_peak";
inline constexpr std::string_view album_gain = "replaygain_album_gain";
inline constexpr std::string_view album_peak = "replaygain_album_peak";
} // namespace replaygain_field

/// "-7.15 dB", "+3.02 dB"; empty when `gain` is unset, or no finite number.
std::string format_gain(float gain);
/// "0.988553"; empty when `peak` is unset, or no finite number.
std::string format_peak(float peak);

/// Whether `name` is one of the four, in any case.
bool is_replaygain_field(std::string_view name);
/// Stores `value` when `name` is one of the four, in any case; else answers false. What follows the number is not read;
/// without one the value is 0. A peak below 0 becomes 0.
bool set_replaygain_field(replaygain_info& gains, std::string_view name, std::string_view value);
/// The text of the value that `name`, one of the four, stands for; empty when it is unset or the name is another.
std::string get_replaygain_field(const replaygain_info& gains, std::string_view name);

} // namespace zelmora
