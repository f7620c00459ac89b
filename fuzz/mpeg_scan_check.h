// What must hold for any bytes in which frames of MPEG audio are looked for.
#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace zelmora::fuzz {

/// Takes `data` as a stream: its first and last frame, all frames over damage, the header of an encoder, checksums.
/// Returns what is wrong, empty for nothing.
std::string check_mpeg_scan(std::span<const std::byte> data);

} // namespace zelmora::fuzz
