#include "mpeg/frame_protection.h"

#include "frame/bit_reader.h"
#include "frame/bytes.h"
#include "mpeg/layer3_side_info.h"

#include <algorithm>
#include <array>

namespace zelmora {

namespace {

constexpr std::size_t checksum_size = 2;
constexpr std::size_t first_protected = 2; ///< of the header: what is behind its sync word and layer [bytes]
constexpr unsigned subbands = 32;

class crc16 {
 public:
  void add_bit(bool bit) {
    const bool top = (value_ & 0x8000) != 0;
    value_ = static_cast<std::uint16_t>(value_ << 1);
    if (top != bit) value_ ^= 0x8005;
  }
  void add_bits(std::span<const std::byte> data, std::size_t bits) {
    bit_reader in(data);
    for (std::size_t i = 0; i < bits; ++i) add_bit(in.flag());
  }
  std::uint16_t value() const { return value_; }

 private:
  std::uint16_t value_ = 0xFFFF;
};

/// A byte's part of the checksum of all frames.
constexpr std::array<std::uint16_t, 256> music_crc_table = [] {
  constexpr unsigned reflected_polynomial = 0xA001;
  std::array<std::uint16_t, 256> table{};
  for (unsigned i = 0; i < table.size(); ++i) {
    unsigned value = i;
    for (int bit = 0; bit < 8; ++bit) value = (value & 1) != 0 ? value >> 1 ^ reflected_polynomial : value >> 1;
    table[i] = static_cast<std::uint16_t>(value);
  }
  return table;
}();

/// Subbands from this one on share one allocation between the channels.
unsigned joint_bound(const mpeg_frame_header& header) {
  if (header.mode != mpeg_channel_mode::joint_stereo) return subbands;
  return 4u * (header.mode_extension + 1u);
}

/// Widths of the bit allocations of layer 2: how many subbands have 4, 3 and 2 bits. ISO/IEC 11172-3, tables B.2a to
/// B.2d; ISO/IEC 13818-3, table B.1.
struct allocation_widths {
  unsigned four, three, two;
};
constexpr allocation_widths full_rate{11, 12, 4};
constexpr allocation_widths full_rate_long{11, 12, 7};
constexpr allocation_widths low_rate{2, 6, 0};
constexpr allocation_widths low_rate_long{2, 10, 0};
constexpr allocation_widths half_sampling{4, 7, 19};

const allocation_widths& widths_of(const mpeg_frame_header& header) {
  if (header.version != mpeg_version::mpeg1) return half_sampling;
  const auto rate = header.bitrate / header.channels; // [kbit/s]
  if (rate <= 48) return header.sample_rate == 32000 ? low_rate_long : low_rate;
  if (rate <= 80 || header.sample_rate == 48000) return full_rate;
  return full_rate_long;
}

/// Bits of allocation, and with layer 2 those that select scale factors, behind the checksum.
std::size_t protected_bits(std::span<const std::byte> body, const mpeg_frame_header& header) {
  if (header.layer == 3) return mpeg_side_info_size(header) * 8;
  const auto bound = joint_bound(header);
  if (header.layer == 1) {
    const auto shared = bound == subbands ? 0u : subbands - bound;
    return 4u * ((subbands - shared) * header.channels + shared);
  }
  const auto& widths = widths_of(header);
  bit_reader in(body);
  std::size_t bits = 0;
  std::size_t selections = 0;
  for (unsigned band = 0; band < widths.four + widths.three + widths.two; ++band) {
    const unsigned width = band < widths.four ? 4 : band < widths.four + widths.three ? 3 : 2;
    const unsigned stored = band < bound ? header.channels : 1;
    for (unsigned i = 0; i < stored; ++i) {
      bits += width;
      // A shared allocation has a selection for each channel.
      if (in.read(width) != 0) selections += band < bound ? 1 : header.channels;
    }
  }
  return bits + 2 * selections;
}

} // namespace

bool check_mpeg_frame(std::span<const std::byte> frame, const mpeg_frame_header& header) {
  if (frame.size() < header.frame_size) return false;
  if (!header.has_crc) return true;
  be_reader in(frame);
  crc16 crc;
  crc.add_bits(in.take(mpeg_header_size).subspan(first_protected), (mpeg_header_size - first_protected) * 8);
  if (in.remaining() < checksum_size) return false;
  const auto stored = in.be16();
  const auto body = in.take(in.remaining());
  try {
    crc.add_bits(body, protected_bits(body, header));
  } catch (const zelmora_io::exception_io_data&) {
    return false; // too small for what it protects
  }
  return crc.value() == stored;
}

void lame_checksum::add(std::span<const std::byte> data) noexcept {
  for (const auto byte : data)
    value_ =
        static_cast<std::uint16_t>(value_ >> 8 ^ music_crc_table[(value_ ^ std::to_integer<unsigned>(byte)) & 0xFF]);
  bytes_ += data.size();
}

} // namespace zelmora
