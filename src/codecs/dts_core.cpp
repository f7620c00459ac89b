#include "codecs/dts_core.h"

#include "frame/bytes.h"
#include "frame/exceptions.h"

namespace zelmora {

using zelmora_io::exception_io_data;

namespace {

enum class dts_form { plain, swapped, words14, words14_swapped, unknown };

dts_form recognise(std::span<const std::byte> packet) {
  if (packet.size() < 6) return dts_form::unknown;
  const auto sync = load_be<std::uint32_t>(packet.data());
  const auto next = load_be<std::uint16_t>(packet.data() + 4);
  constexpr std::uint32_t extension = 0x64582025; // a substream without a core
  if (sync == 0x7FFE8001 || sync == extension) return dts_form::plain;
  if (sync == 0xFE7F0180) return dts_form::swapped;
  // 14 bits of each word: the synchronisation word ends in the third, whose first bits are those of a normal frame.
  if (sync == 0x1FFFE800 && (next & 0xFFF0) == 0x07F0) return dts_form::words14;
  if (sync == 0xFF1F00E8 && (next & 0xF0FF) == 0xF007) return dts_form::words14_swapped;
  return dts_form::unknown;
}

void swap_words(std::span<const std::byte> packet, std::byte* out) {
  for (std::size_t i = 0; i + 1 < packet.size(); i += 2) store_be(out + i, load_le<std::uint16_t>(packet.data() + i));
}

template <std::endian order>
void pack_words14(std::span<const std::byte> packet, std::byte* out) {
  constexpr unsigned width = 14;
  std::uint32_t bits = 0;
  unsigned count = 0; // of `bits`, the lowest
  for (std::size_t i = 0; i + 1 < packet.size(); i += 2) {
    bits = bits << width | (load_bytes<std::uint16_t, order>(packet.data() + i) & 0x3FFFu);
    count += width;
    for (; count >= 8; count -= 8) *out++ = static_cast<std::byte>(bits >> (count - 8));
  }
  if (count != 0) *out = static_cast<std::byte>(bits << (8 - count));
}

} // namespace

std::span<const std::byte> make_plain_dts(std::span<const std::byte> packet, std::vector<std::byte>& buffer,
                                          std::size_t padding) {
  const auto form = recognise(packet);
  if (form == dts_form::unknown) throw exception_io_data();
  if (form == dts_form::plain) return packet;
  const auto words = packet.size() / 2;
  const auto size = form == dts_form::swapped ? words * 2 : (words * 14 + 7) / 8;
  buffer.assign(size + padding, std::byte{0});
  switch (form) {
  case dts_form::swapped: swap_words(packet, buffer.data()); break;
  case dts_form::words14: pack_words14<std::endian::big>(packet, buffer.data()); break;
  default: pack_words14<std::endian::little>(packet, buffer.data()); break;
  }
  return std::span(buffer).first(size);
}

} // namespace zelmora
