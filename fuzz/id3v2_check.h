// What must hold for any bytes that claim to be an ID3v2 tag.
#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace zelmora::fuzz {

/// Reads `data`, writes what was read and reads that. Returns what is wrong, empty for nothing.
std::string check_id3v2(std::span<const std::byte> data);

} // namespace zelmora::fuzz
