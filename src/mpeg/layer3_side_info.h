// What a frame of layer 3 says in front of its bits, and whose bytes those stand in: frames lend each other what they
// don't need. Source: ISO/IEC 11172-3, 2.4.1.7, main_data_begin and part2_3_length; ISO/IEC 13818-3, 2.4.1.7.
#pragma once

#include "codecs/mpeg_frame_header.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace zelmora {

/// [bytes]; 0 for other layers.
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

/// The bytes that a frame's bits stand in.
struct mpeg_bit_use {
  std::uint64_t from_before = 0; ///< those that begin in frames before it [bytes]
  std::uint64_t all = 0;         ///< [bytes]
};

/// From the side information of a frame of layer 3. Raises `exception_io_data` when it isn't whole.
mpeg_bit_use read_mpeg_bit_use(const mpeg_frame_header& header, std::span<const std::byte> side_info);

/// What frames leave for those that follow.
class mpeg_bit_reservoir {
 public:
  /// All bytes of the frames so far, used or not.
  std::uint64_t held() const noexcept { return held_; }
  /// Those that no frame has used yet.
  std::uint64_t left() const noexcept { return left_; }

  void take(const mpeg_frame_header& header, const mpeg_bit_use& use) {
    const auto own = mpeg_main_data_size(header);
    held_ += own;
    left_ = use.from_before + own - std::min(use.from_before + own, use.all);
  }
  /// What is held is not what the next frames were made for.
  void lose() { held_ = 0; }

 private:
  std::uint64_t held_ = 0; ///< [bytes]
  std::uint64_t left_ = 0; ///< [bytes]
};

} // namespace zelmora
