#include "pcm/generator.h"

#include "frame/exceptions.h"
#include "pcm/pcm_settings.h"

#include <cmath>
#include <limits>

namespace zelmora {

using namespace zelmora_io;

namespace generator {

std::string_view parameters(std::string_view path, std::string_view scheme) {
  if (!has_prefix_utf8(path, scheme)) throw exception_io_data();
  return path.substr(scheme.size());
}

std::string_view after(std::string_view text, char separator) {
  const auto position = text.find(separator);
  return position == std::string_view::npos ? std::string_view() : text.substr(position + 1);
}

double positive_number(std::string_view text) {
  const auto value = parse_decimal(text).value;
  if (!(value > 0) || !std::isfinite(value)) throw exception_io_data();
  return value;
}

std::uint32_t tone_rate() {
  const auto rate = get_tone_rate();
  if (rate == 0 || rate > audio_chunk::max_sample_rate) throw exception_io_data();
  return static_cast<std::uint32_t>(rate);
}

double sample_count(double seconds, std::uint32_t rate, double most) {
  const double samples = seconds * rate;
  if (!(samples <= most)) throw exception_io_data();
  return samples;
}

std::string frequency_text(double frequency) { return format_shortest(frequency) + " Hz"; }

std::uint32_t channel_mask(std::uint32_t channels) {
  if (channels > audio_chunk::max_channels) throw exception_io_data();
  return channel_config_guess(channels);
}

void set_tone_info(file_info& info, std::uint32_t rate) {
  constexpr std::int64_t bits = 32;
  info.info_set_int(info_field::samplerate, rate);
  info.info_set_int(info_field::channels, 1);
  info.info_set_int(info_field::bitrate, (std::int64_t{rate} * bits + 500) / 1000);
}

} // namespace generator

void generator_stubs::refuse_writing(t_input_open_reason reason) {
  if (reason == input_open_info_write) throw exception_io_denied();
}

} // namespace zelmora
