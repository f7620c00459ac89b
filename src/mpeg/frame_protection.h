// The checksum that a frame of MPEG audio may carry behind its header.
// Source: ISO/IEC 11172-3, 2.4.3.1; ISO/IEC 13818-3.
#pragma once

#include "codecs/mpeg_frame_header.h"

#include <cstddef>
#include <span>

namespace zelmora {

/// The bytes behind the header of a layer 3 frame, and behind its checksum, that tell how to read the rest.
constexpr std::size_t mpeg_side_info_size(const mpeg_frame_header& header) {
  if (header.layer != 3) return 0;
  const bool is_mono = header.channels == 1;
  if (header.version == mpeg_version::mpeg1) return is_mono ? 17 : 32;
  return is_mono ? 9 : 17;
}

/// Where these bytes begin in a frame [bytes].
constexpr std::size_t mpeg_side_info_offset(const mpeg_frame_header& header) {
  return mpeg_header_size + (header.has_crc ? 2 : 0);
}

/// What is behind them, for the bits of this frame and of those that follow [bytes].
constexpr std::size_t mpeg_main_data_size(const mpeg_frame_header& header) {
  const auto before = mpeg_side_info_offset(header) + mpeg_side_info_size(header);
  return header.frame_size > before ? header.frame_size - before : 0;
}

/// Whether `frame`, which begins with `header`, is whole and what it protects agrees with its checksum; frames without
/// one are taken as they are.
bool check_mpeg_frame(std::span<const std::byte> frame, const mpeg_frame_header& header);

} // namespace zelmora
