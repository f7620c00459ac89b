// The frame without audio that goes before all others: a Xing or Info header with the LAME extension.
// Source: "MP3 Info Tag revision 1" (gabriel.mp3-tech.org/mp3infotag.html).
#pragma once

#include "mpeg/vbr_headers.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace zelmora {

/// What it is to tell.
struct vbr_header_record {
  bool is_vbr = true;
  std::uint32_t frames = 0; ///< without the one that tells it
  std::uint64_t bytes = 0;  ///< with that one; more than the field can tell is left out
  std::optional<xing_seek_table> table;
  std::optional<std::uint32_t> quality;
  std::string encoder; ///< one of more than nine bytes is left out
  std::uint8_t method = 0;
  std::uint8_t lowpass = 0; ///< [100 Hz]
  std::uint64_t delay = 0;  ///< cut to what the field holds [samples]
  std::uint64_t padding = 0;
};

/// Told of what had to be cut.
using vbr_header_log = std::function<void(const std::string& line)>;

/// The size of the frame in front of a stream whose first frame begins with `first` [bytes]. Raises
/// `exception_io_unsupported_feature` for MPEG-2.5.
std::uint32_t vbr_header_size(std::span<const std::byte, mpeg_header_size> first);

/// The frame for that stream, which is of layer 3.
std::vector<std::byte> write_vbr_header(std::span<const std::byte, mpeg_header_size> first,
                                        const vbr_header_record& record, const vbr_header_log& log);

/// What is behind the music, of `held` samples in all frames; 0, with a line for `log`, when they hold too few.
std::uint64_t padding_of(std::uint64_t held, std::uint64_t delay, std::uint64_t length, const vbr_header_log& log);

/// `offset_of(i)` is that of the frame i hundredths of the time into the stream, `bytes` the size of the stream, both
/// from the header on [bytes].
xing_seek_table make_seek_table(std::uint64_t bytes, const std::function<std::uint64_t(std::uint64_t i)>& offset_of);

} // namespace zelmora
