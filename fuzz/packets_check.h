// What must hold for any bytes that claim to be a stream of packets, whatever codec their container names.
#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace zelmora::fuzz {

/// `data`: the number of a stream in the check's table, flags, what the container says (rate in four bytes, channels,
/// bits), the setup, and packets; all of these with two bytes of size before them, little-endian. Returns what is
/// wrong, empty for nothing: only data errors may come out, chunks must be valid, and a reset gives the decoder back.
std::string check_packets(std::span<const std::byte> data);

} // namespace zelmora::fuzz
