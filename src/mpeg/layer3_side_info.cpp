#include "mpeg/layer3_side_info.h"

#include "frame/bit_reader.h"

namespace zelmora {

mpeg_bit_use read_mpeg_bit_use(const mpeg_frame_header& header, std::span<const std::byte> side_info) {
  const bool is_mpeg1 = header.version == mpeg_version::mpeg1;
  const bool is_mono = header.channels == 1;
  const unsigned private_bits = is_mpeg1 ? (is_mono ? 5 : 3) : (is_mono ? 1 : 2);
  const unsigned shared_bits = is_mpeg1 ? 4u * header.channels : 0; // scfsi
  const unsigned granules = is_mpeg1 ? 2 : 1;
  constexpr unsigned length_bits = 12;
  const unsigned other_bits = is_mpeg1 ? 47 : 51;

  bit_reader in(side_info);
  const auto from_before = in.read(is_mpeg1 ? 9 : 8);
  in.read(private_bits + shared_bits);
  std::uint64_t bits = 0;
  for (unsigned i = 0; i < granules * header.channels; ++i) {
    bits += in.read(length_bits);
    in.read(other_bits / 2);
    in.read(other_bits - other_bits / 2);
  }
  return {from_before, (bits + 7) / 8};
}

} // namespace zelmora
