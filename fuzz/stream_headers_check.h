// What must hold for any bytes that claim to begin a packet or to describe its stream.
#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace zelmora::fuzz {

/// Takes `data` as AudioSpecificConfig, ADTS, DTS and MPEG audio. Returns what is wrong, empty for nothing.
std::string check_stream_headers(std::span<const std::byte> data);

} // namespace zelmora::fuzz
