// The checksum that a frame of MPEG audio may carry behind its header.
// Source: ISO/IEC 11172-3, 2.4.3.1; ISO/IEC 13818-3.
#pragma once

#include "codecs/mpeg_frame_header.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace zelmora {

/// Whether `frame`, which begins with `header`, is whole and what it protects agrees with its checksum; frames without
/// one are taken as they are.
bool check_mpeg_frame(std::span<const std::byte> frame, const mpeg_frame_header& header);

/// The checksum of LAME's header: CRC-16, polynomial 0x8005, bits reflected. It has one of all frames behind it
/// (`mpeg_music_checksum`), and one of what stands before that field.
class lame_checksum {
 public:
  void add(std::span<const std::byte> data) noexcept;
  std::uint16_t value() const noexcept { return value_; }
  std::uint64_t bytes() const noexcept { return bytes_; }

 private:
  std::uint16_t value_ = 0;
  std::uint64_t bytes_ = 0;
};

} // namespace zelmora
