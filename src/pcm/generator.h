// What the signal generators share: audio from nothing but the parameters in a path.
#pragma once

#include "frame/input_impl.h"

#include <array>
#include <cstdint>
#include <string_view>

namespace zelmora {

namespace generator {

/// Frames of one chunk, but for the last.
inline constexpr std::size_t block_size = 1024;

/// What follows `scheme` in `path`, which `is_our_path` has seen.
std::string_view parameters(std::string_view path, std::string_view scheme);
/// What follows the first `separator` in `text`; empty when there is none.
std::string_view after(std::string_view text, char separator);
/// The number at the start of `text`: finite and above 0, else `exception_io_data`.
double positive_number(std::string_view text);
/// The setting; a rate that no stream can have raises `exception_io_data`.
std::uint32_t tone_rate();
/// `seconds` [s] at `rate` [Hz] as a count from 0 to `most`; beyond it raises `exception_io_data`.
double sample_count(double seconds, std::uint32_t rate, double most);
/// "1000 Hz"
std::string frequency_text(double frequency);
/// The usual mask of a channel count; above 32 channels there is none: `exception_io_data`.
std::uint32_t channel_mask(std::uint32_t channels);
/// The technical fields of a one-channel generator.
void set_tone_info(file_info& info, std::uint32_t rate);

} // namespace generator

/// What is the same in all generators.
class generator_stubs : public input_stubs {
 public:
  t_filestats get_file_stats(abort_callback&) { return {}; }

 protected:
  /// There is nothing to write to: raises `exception_io_denied`.
  static void refuse_writing(t_input_open_reason reason);
};

} // namespace zelmora
