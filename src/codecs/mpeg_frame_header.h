// The four bytes at the beginning of a frame of MPEG audio.
// Source: ISO/IEC 11172-3, 2.4.1.3, ISO/IEC 13818-3; MPEG-2.5 extends them to lower rates.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace zelmora {

enum class mpeg_version : std::uint8_t { mpeg1, mpeg2, mpeg2_5 };
enum class mpeg_channel_mode : std::uint8_t { stereo, joint_stereo, dual_channel, mono };

struct mpeg_frame_header {
  std::uint32_t frame_size = 0; ///< [bytes], the header's four included
  std::uint8_t bitrate_index = 0;
  std::uint16_t bitrate = 0; ///< [kbit/s]
  std::uint8_t sample_rate_index = 0;
  std::uint32_t sample_rate = 0; ///< [Hz]
  std::uint8_t layer = 0;        ///< 1 to 3
  mpeg_version version = mpeg_version::mpeg1;
  std::uint8_t channels = 0;
  std::uint16_t samples = 0; ///< per channel
  mpeg_channel_mode mode = mpeg_channel_mode::stereo;
  std::uint8_t mode_extension = 0;
  bool has_crc = false;
  bool has_padding = false;

  friend bool operator==(const mpeg_frame_header&, const mpeg_frame_header&) = default;
};

inline constexpr std::size_t mpeg_header_size = 4;

/// The header that `data` begins with; none for other bytes, reserved values, and frames without a fixed rate.
std::optional<mpeg_frame_header> parse_mpeg_header(std::span<const std::byte> data);

/// Whether two frames can belong to one stream.
bool have_same_mpeg_format(const mpeg_frame_header& a, const mpeg_frame_header& b);

} // namespace zelmora
