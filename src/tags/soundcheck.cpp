#include "tags/soundcheck.h"

#include "frame/exceptions.h"
#include "frame/replaygain_text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <fmt/core.h>
#include <optional>

namespace zelmora {

namespace {

constexpr std::size_t words = 10;
constexpr std::size_t word_digits = 8;
constexpr std::uint32_t unmeasured = 0x24CA8; ///< in place of what iTunes takes from the samples
constexpr double highest_level = 65534;
/// iTunes plays at -16 LUFS where ReplayGain plays at -18 [dB].
constexpr double itunes_offset = 2.0;

/// Reference levels of the first four words.
constexpr std::array<double, 4> references{1000, 1000, 2500, 2500};

/// The gain that counts; unset when neither is set.
float choose_gain(const replaygain_info& gains, soundcheck_source source) {
  const float wanted = source == soundcheck_source::album_gain ? gains.album_gain : gains.track_gain;
  const float other = source == soundcheck_source::album_gain ? gains.track_gain : gains.album_gain;
  return wanted != replaygain_info::gain_unset ? wanted : other;
}

std::uint32_t level(double gain, double reference) {
  const double exact = std::pow(10.0, gain * -0.1) * reference;
  return static_cast<std::uint32_t>(std::lround(std::clamp(exact, 0.0, highest_level)));
}

std::optional<std::uint32_t> parse_word(std::string_view token) {
  std::uint32_t value = 0;
  const char* const last = token.data() + token.size();
  if (token.size() != word_digits || std::from_chars(token.data(), last, value, 16).ptr != last) return std::nullopt;
  return value;
}

} // namespace

std::string compute_soundcheck(const replaygain_info& gains, soundcheck_source source, soundcheck_target target) {
  if (source == soundcheck_source::disabled) return {};
  const float chosen = choose_gain(gains, source);
  if (chosen == replaygain_info::gain_unset || !std::isfinite(chosen)) return {};
  const double gain = double{chosen} + (target == soundcheck_target::itunes ? itunes_offset : 0.0);
  std::array<std::uint32_t, words> values{0, 0, 0, 0, unmeasured, unmeasured, 0, 0, unmeasured, unmeasured};
  for (std::size_t i = 0; i < references.size(); ++i) values[i] = level(gain, references[i]);
  std::string text;
  for (const auto value : values) text += fmt::format(" {:X}", value);
  return text;
}

std::string compute_soundcheck(const replaygain_info& gains, soundcheck_source source) {
  return compute_soundcheck(gains, source, get_soundcheck_target());
}

std::array<double, 4> parse_soundcheck(std::string_view text) {
  std::array<double, 4> gains{};
  std::size_t found = 0;
  while (!text.empty() && found < words) {
    const auto token = text.substr(0, text.find(' '));
    text.remove_prefix(std::min(token.size() + 1, text.size()));
    const auto word = parse_word(token);
    if (!word) continue;
    if (found < gains.size()) gains[found] = -10.0 * std::log10(*word / references[found]);
    ++found;
  }
  if (found < words) throw zelmora_io::exception_io_data();
  return gains;
}

void import_soundcheck(std::string_view text, file_info& info) {
  try {
    const auto gains = parse_soundcheck(text);
    const auto shown = format_gain(static_cast<float>(std::min(gains[0], gains[1])));
    info.info_set(soundcheck_field::gain, shown.empty() ? "N/A" : shown);
    info.info_set(soundcheck_field::raw, text);
  } catch (const zelmora_io::exception_io_data&) {
    // Not from iTunes: there is nothing to show.
  }
}

} // namespace zelmora
