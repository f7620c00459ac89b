// What must hold for any bytes that claim to be blocks of IMA ADPCM.
#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace zelmora::fuzz {

/// `data` is a WAVEFORMATEX record of 20 bytes, and blocks. Returns what is wrong, empty for nothing.
std::string check_ima(std::span<const std::byte> data);

} // namespace zelmora::fuzz
