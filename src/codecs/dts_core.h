// The bit stream of DTS in the forms in which it is stored. ETSI TS 102 114, 5.3.1 and annex on 14-bit words.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace zelmora {

/// `packet` as words of 16 bits, big-endian: itself when it is stored so, else made in `buffer`, with `padding` zero
/// bytes behind it. Raises `exception_io_data` when it doesn't begin with a synchronisation word of any form.
std::span<const std::byte> make_plain_dts(std::span<const std::byte> packet, std::vector<std::byte>& buffer,
                                          std::size_t padding);

} // namespace zelmora
