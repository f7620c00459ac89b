#include "codecs/mpeg_frame_header.h"

#include "frame/bit_reader.h"

#include <array>

namespace zelmora {

namespace {

using rate_row = std::array<std::uint16_t, 16>;

/// [kbit/s]; 0 for frames without a fixed rate, and for what is forbidden.
constexpr std::array<rate_row, 5> bitrates{{
    {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448, 0}, // MPEG-1 layer 1
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384, 0},    // MPEG-1 layer 2
    {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 0},     // MPEG-1 layer 3
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256, 0},    // MPEG-2, 2.5 layer 1
    {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160, 0},         // MPEG-2, 2.5 layers 2, 3
}};

constexpr std::array<std::uint32_t, 3> base_rates{11025, 12000, 8000}; ///< of MPEG-2.5 [Hz]

const rate_row& rates_of(const mpeg_frame_header& header) {
  if (header.version == mpeg_version::mpeg1) return bitrates[header.layer - 1u];
  return bitrates[header.layer == 1 ? 3 : 4];
}

unsigned rate_factor(mpeg_version version) {
  switch (version) {
  case mpeg_version::mpeg1: return 4;
  case mpeg_version::mpeg2: return 2;
  default: return 1;
  }
}

void set_size(mpeg_frame_header& header) {
  const std::uint32_t rate = header.bitrate;
  const std::uint32_t padding = header.has_padding ? 1 : 0;
  if (header.layer == 1) {
    header.samples = 384;
    header.frame_size = (48000 * rate / header.sample_rate + 4 * padding) & ~3u;
    return;
  }
  const bool is_half = header.layer == 3 && header.version != mpeg_version::mpeg1;
  header.samples = is_half ? 576 : 1152;
  header.frame_size = header.samples * 125u * rate / header.sample_rate + padding;
}

} // namespace

std::optional<mpeg_frame_header> parse_mpeg_header(std::span<const std::byte> data) {
  if (data.size() < mpeg_header_size) return std::nullopt;
  constexpr std::uint32_t sync = 0x7FF;
  constexpr unsigned reserved_version = 1;
  bit_reader in(data.first(mpeg_header_size));
  if (in.read(11) != sync) return std::nullopt;
  const auto version = in.read(2);
  const auto layer = in.read(2);
  mpeg_frame_header header;
  header.has_crc = !in.flag();
  header.bitrate_index = static_cast<std::uint8_t>(in.read(4));
  header.sample_rate_index = static_cast<std::uint8_t>(in.read(2));
  header.has_padding = in.flag();
  in.read(1); // private
  header.mode = static_cast<mpeg_channel_mode>(in.read(2));
  header.mode_extension = static_cast<std::uint8_t>(in.read(2));
  if (version == reserved_version || layer == 0 || header.sample_rate_index >= base_rates.size()) return std::nullopt;
  constexpr std::array versions{mpeg_version::mpeg2_5, mpeg_version::mpeg2_5, mpeg_version::mpeg2, mpeg_version::mpeg1};
  header.version = versions[version];
  header.layer = static_cast<std::uint8_t>(4 - layer);
  header.bitrate = rates_of(header)[header.bitrate_index];
  if (header.bitrate == 0) return std::nullopt;
  header.sample_rate = base_rates[header.sample_rate_index] * rate_factor(header.version);
  header.channels = header.mode == mpeg_channel_mode::mono ? 1 : 2;
  set_size(header);
  return header;
}

bool have_same_mpeg_format(const mpeg_frame_header& a, const mpeg_frame_header& b) {
  return a.sample_rate == b.sample_rate && a.layer == b.layer && a.version == b.version;
}

} // namespace zelmora
